/** brltranslate: what a braille display would show, on a terminal. */
#include "Complaint.h"
#include "EndingSignals.h"
#include "Explorer.h"
#include "Filter.h"
#include "Options.h"
#include "StandardStreams.h"
#include "TerminalText.h"

#include <exception>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text;
}

/** Of the terminal that is written to; where there is none, of most. */
std::size_t terminalColumns()
{
    winsize size{};
    const bool isTerminal = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0; // NOLINT(*-vararg)
    return isTerminal && size.ws_col > 0 ? size.ws_col : ViewOptions().terminalColumns;
}

Status listRoles(Session& session, Output& output)
{
    for (const Role& role : allRoles()) {
        const TranslatorProxy& translator = session.use({std::nullopt, &role});
        std::string name = role.name;
        name.resize(10, ' ');
        output.write(name + translator.getID() + ", grade " +
                     std::to_string(translator.getGrade()) + '\n');
    }
    return Status::ALL_TRANSLATED;
}

Status translate(Session& session, const Options& options, Output& output)
{
    Filter filter(session, options, output);
    return options.words.empty() ? filter.translateStandardInput()
                                 : filter.translate(joined(options.words));
}

Status run(const Options& options, Output& output)
{
    Session session;
    session.begin(options.choice, options.profile);
    return options.listsRoles ? listRoles(session, output) : translate(session, options, output);
}

/** What is translated is written, also where something goes wrong then or a signal ends it. */
Status runAndFlush(const Options& options)
{
    Output output(options.isLineBuffered || isatty(STDOUT_FILENO) != 0);
    const EndingSignals signals([&output] { output.abandon(); });
    Status status = Status::ALL_TRANSLATED;
    try {
        status = run(options, output);
    } catch (const Complaint& complaint) {
        status = complain(complaint);
    } catch (const std::exception& error) {
        status = complain({Status::NOT_TRANSLATED, error.what()});
    }
    output.flush();
    return status;
}

Status runAsAsked(int argc, char** argv)
{
    Options options = parseOptions(argc, argv);
    if (options.information) {
        Output output(false);
        output.write(*options.information);
        output.flush();
        return Status::ALL_TRANSLATED;
    }
    if (options.explores)
        return explore(options);
    options.viewOptions.terminalColumns = terminalColumns();
    return runAndFlush(options);
}

} // namespace

int main(int argc, char** argv)
{
    reserveStandardStreams();
    useUtf8Locale();
    try {
        return static_cast<int>(runAsAsked(argc, argv));
    } catch (const Complaint& complaint) {
        return static_cast<int>(complain(complaint));
    } catch (const std::exception& error) {
        return static_cast<int>(complain({Status::NOT_TRANSLATED, error.what()}));
    }
}
