#include <libBrailleTranslate/TranslatorProxy.h>

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/ServiceCall.h>

#include <tuple>
#include <utility>

namespace {

int middleOf(const std::wstring& text)
{
    return static_cast<int>(text.size() / 2);
}

/** Frees the code points, whose memory the next text can then have: it is in the cache. */
std::wstring toText(std::vector<uint32_t>& codePoints)
{
    std::wstring text(codePoints.begin(), codePoints.end());
    std::vector<uint32_t>().swap(codePoints);
    return text;
}

std::shared_ptr<BrlTranslationResult> makeResult(TranslatorProxy* translator,
                                                 BrlTranslationResult::Direction direction,
                                                 TranslationReply reply)
{
    auto& [success, number, posMap, posMapComputed, translated, untranslated, diagnostic] =
        service_call::fieldsOf(reply);
    std::wstring source = toText(untranslated);
    std::wstring translation = toText(translated);
    return std::make_shared<BrlTranslationResult>(translator, direction, std::move(source),
                                                  std::move(translation), std::move(posMap),
                                                  std::move(posMapComputed));
}

} // namespace

TranslatorProxy::TranslatorProxy(int translatorGrade, std::string displayName, bool serviceFlag,
                                 std::string identifier, DBusTranslatorProxy* service)
    : grade(translatorGrade),
      name(std::move(displayName)),
      flag(serviceFlag),
      id(std::move(identifier)),
      dbusProxy(service)
{
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value in the interface
TranslatorProxy::TranslatorProxy(std::string wantedName, DBusTranslatorProxy* service)
    : dbusProxy(service)
{
    std::tie(grade, name, flag, id) =
        service_call::ask<TranslatorInfo>(service->sdbusProxy, "getTranslatorByName", wantedName);
}

std::string TranslatorProxy::getID() const
{
    return id;
}

int TranslatorProxy::getGrade() const
{
    return grade;
}

std::shared_ptr<BrlTranslationResult> TranslatorProxy::forwardW(const std::wstring& text,
                                                                int cursor)
{
    return makeResult(this, BrlTranslationResult::FORWARD,
                      dbusProxy->forwardW_proxy(id, text, cursor));
}

std::shared_ptr<BrlTranslationResult> TranslatorProxy::forwardW(const std::wstring& text)
{
    return forwardW(text, middleOf(text));
}

std::shared_ptr<BrlTranslationResult> TranslatorProxy::backW(const std::wstring& text, int cursor)
{
    return makeResult(this, BrlTranslationResult::BACK, dbusProxy->backW_proxy(id, text, cursor));
}

std::shared_ptr<BrlTranslationResult> TranslatorProxy::backW(const std::wstring& text)
{
    return backW(text, middleOf(text));
}
