#include "ScriptedService.h"

#include "ScriptedEngine.h"

namespace {

/** That translator in all roles. */
std::string profile(const std::string& name, const std::string& translator)
{
    std::string text = "[profile." + name + "]\nlanguage = \"" + name + "\"\n";
    for (const char* role : {"display", "entry", "computer", "grade1"})
        text += std::string(role) + " = \"" + translator + "\"\n";
    return text;
}

std::string configurationWith(const std::string& engineLines)
{
    return "default = \"plain\"\n" + profile("plain", scripted::PLAIN) +
           profile("other", scripted::OTHER) + "[engine]\n" + engineLines;
}

} // namespace

ScriptedService::ScriptedService(const std::string& engineLines)
    : ServiceProcess(TEST_SCRIPTED_FOLDER "/brailletranslatord", {},
                     ::configurationWith(engineLines))
{
}

pid_t ScriptedService::nextHanging()
{
    const std::string lines = logUntil(scripted::HANGING);
    const std::string before = lines.substr(0, lines.rfind(scripted::HANGING));
    return std::stoi(before.substr(before.rfind(' ') + 1));
}
