#include "Session.h"

#include "FailureReport.h"
#include "Utf8.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <exception>
#include <utility>

namespace {

// A longer message would make the bus close the connection.
constexpr std::size_t LONGEST_TEXT = 8000000;

void requireThatTheBusCarries(const std::wstring& text)
{
    if (text.size() > LONGEST_TEXT)
        throw Complaint(Status::NOT_TRANSLATED, "more than the " + std::to_string(LONGEST_TEXT) +
                                                    " characters that the bus carries at once");
}

/** sd-bus refuses to send what is no UTF-8, without naming what it is. */
void requireUtf8(const std::string& what, const std::string& name)
{
    if (const auto offset = decodeUtf8(name).malformedAt)
        throw Complaint(Status::WRONG_USE, what + ": " + malformedUtf8At(*offset));
}

std::unique_ptr<Translation> openBus()
try {
    return std::make_unique<Translation>();
} catch (const std::exception& error) {
    throw Complaint(Status::NO_SERVICE,
                    std::string("there is no system bus; start dbus-daemon, or let "
                                "DBUS_SYSTEM_BUS_ADDRESS name another bus (") +
                        error.what() + ")");
}

std::shared_ptr<BrlTranslationResult> checked(std::shared_ptr<BrlTranslationResult> result)
{
    throwIfACallHasFailed();
    return result;
}

} // namespace

const std::array<Role, 4>& allRoles()
{
    static constexpr std::array<Role, 4> ROLES = {{
        {"display", &Translation::getPreferredBrailleTranslatorForDisplay},
        {"entry", &Translation::getPreferredBrailleTranslatorForEntry},
        {"computer", &Translation::getComputerBrailleTranslator},
        {"grade1", &Translation::getGrade1TranslatorForPreferredEntry},
    }};
    return ROLES;
}

Session::Session() : translation(openBus())
{
}

void Session::begin(const Choice& choice, const std::optional<std::string>& profile)
{
    // A name that nobody has is not to change the profile for everybody.
    if (choice.name)
        use(choice);
    if (profile)
        changeProfile(*profile);
    if (!choice.name)
        use(choice);
}

void Session::changeProfile(std::string name)
{
    requireUtf8("profile", name);
    translation->changeLanguageProfile(name);
    throwIfACallHasFailed();
}

TranslatorProxy& Session::use(const Choice& choice)
{
    translator = choice.name ? translatorNamed(*choice.name) : translatorOf(*choice.role);
    return *translator;
}

TranslatorProxy* Session::translatorNamed(const std::string& name)
{
    requireUtf8("translator", name);
    try {
        auto answer = std::make_unique<TranslatorProxy>(name, translation->getServiceProxy());
        if (named == nullptr || named->getID() != answer->getID())
            named = std::move(answer);
        return named.get();
    } catch (const std::exception& error) {
        throw complaintOf(error.what());
    }
}

TranslatorProxy* Session::translatorOf(const Role& role)
{
    TranslatorProxy* const answer = (translation.get()->*role.translator)();
    throwIfACallHasFailed();
    return answer;
}

std::shared_ptr<BrlTranslationResult> Session::forward(const std::wstring& text,
                                                       std::optional<int> cursor)
{
    requireThatTheBusCarries(text);
    return checked(cursor ? translator->forwardW(text, *cursor) : translator->forwardW(text));
}

std::shared_ptr<BrlTranslationResult> Session::back(const std::wstring& cells,
                                                    std::optional<int> cursor)
{
    requireThatTheBusCarries(cells);
    return checked(cursor ? translator->backW(cells, *cursor) : translator->backW(cells));
}
