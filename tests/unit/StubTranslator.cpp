#include "StubTranslator.h"

#include <stdexcept>
#include <utility>

namespace {

StubTranslator* current = nullptr;

std::shared_ptr<BrlTranslationResult> ask(StubCall call)
{
    if (current == nullptr)
        throw std::logic_error("a translation without a StubTranslator");
    return current->translate(std::move(call));
}

} // namespace

StubTranslator::StubTranslator()
{
    current = this;
}

StubTranslator::~StubTranslator()
{
    current = nullptr;
}

void StubTranslator::answerWithMap(const std::vector<int>& map)
{
    answer([map](const StubCall&) {
        return std::make_shared<BrlTranslationResult>(nullptr, BrlTranslationResult::FORWARD, L"",
                                                      L"", map);
    });
}

std::shared_ptr<BrlTranslationResult> StubTranslator::translate(StubCall call)
{
    made.push_back(std::move(call));
    return answerTo(made.back());
}

// These take the place of the library's own.

std::shared_ptr<BrlTranslationResult> TranslatorProxy::forwardW(const std::wstring& text,
                                                                int cursor)
{
    return ask({this, true, text, cursor});
}

std::shared_ptr<BrlTranslationResult> TranslatorProxy::backW(const std::wstring& text, int cursor)
{
    return ask({this, false, text, cursor});
}
