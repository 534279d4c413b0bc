#include "Options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <memory>

namespace {

/** An option that decides what is printed, instead of the translation alone. */
struct ViewFlag
{
    const char* name;
    View view;
    const char* description;
};

constexpr std::array<ViewFlag, 4> VIEW_FLAGS = {{
    {"-m,--map", mapView,
     "Print text and braille under each other, in columns that belong together"},
    {"--positions", positionsView, "Print the text, the braille and the position map"},
    {"--dump", dumpView, "Print the library's diagnostic text of the result"},
    {"--json", jsonView, "Print a JSON object for each line"},
}};

std::string roleNames()
{
    std::string names;
    for (const Role& role : allRoles())
        names += (names.empty() ? "" : ", ") + std::string(role.name);
    return names;
}

const Role* roleNamed(const std::string& name)
{
    const auto found = std::find_if(allRoles().begin(), allRoles().end(),
                                    [&](const Role& role) { return role.name == name; });
    return found == allRoles().end() ? nullptr : &*found;
}

CLI::Validator role()
{
    return {[](const std::string& name) {
                return roleNamed(name) != nullptr
                           ? std::string()
                           : "no role is named \"" + name + "\"; there are " + roleNames();
            },
            ""};
}

/** In decimal digits, as it is usually written. */
bool isWholeNumber(const std::string& text, int least)
{
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number >= least && std::to_string(number) == text;
}

CLI::Validator wholeNumber(int least)
{
    return {[least](const std::string& text) {
                return isWholeNumber(text, least)
                           ? std::string()
                           : '"' + text + "\" is no whole number from " + std::to_string(least) +
                                 " to " + std::to_string(std::numeric_limits<int>::max());
            },
            ""};
}

/** Help without what excludes what: a complaint says that when it matters. */
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter() { column_width(26); }

    std::string make_usage(const CLI::App* /*program*/, std::string name) const override
    {
        return "Usage: " + name + " [OPTION...] [TEXT...]\n\n";
    }

    std::string make_option_opts(const CLI::Option* option) const override
    {
        return option->get_type_size() == 0 ? "" : ' ' + option->get_type_name();
    }
};

/** The options as the parser knows them, and where it puts them. */
class CommandLine
{
public:
    CommandLine()
        : program("Translates print to braille, or braille to print, through the Translator "
                  "service.\nTEXT is translated line by line; without it, standard input is. With "
                  "--explore it is a file.",
                  "brltranslate")
    {
        program.formatter(std::make_shared<HelpFormatter>());
        program.allow_extras();
        program.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
        addTranslators();
        addViews();
        addFlag("--line-buffered", options.isLineBuffered,
                "Write each line as soon as it is translated, as on a terminal");
        addFlag("-q,--quiet", options.isQuiet, "Show no progress");
        program.set_version_flag("--version", "brltranslate " BRLTRANSLATE_VERSION);
    }

    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Options parse(std::vector<std::string> arguments)
    {
        // The parser would take lists apart that are in brackets: the text is not its business.
        const auto endOfOptions = std::find(arguments.begin(), arguments.end(), "--");
        std::vector<std::string> known(arguments.begin(), endOfOptions);
        std::reverse(known.begin(), known.end());
        try {
            program.parse(std::move(known));
            options.words = program.remaining();
            requireNoOptions(options.words);
        } catch (const CLI::CallForHelp&) {
            options.information = program.help();
        } catch (const CLI::CallForVersion&) {
            options.information = program.version() + '\n';
        } catch (const CLI::ParseError& error) {
            throw Complaint(Status::WRONG_USE,
                            std::string(error.what()) + "; see brltranslate --help");
        }
        if (endOfOptions != arguments.end())
            options.words.insert(options.words.end(), endOfOptions + 1, arguments.end());
        if (options.viewOptions.width && options.view == plainView)
            options.view = displayView;
        return options;
    }

private:
    static void requireNoOptions(const std::vector<std::string>& words)
    {
        for (const std::string& word : words) {
            if (word.size() > 1 && word.front() == '-')
                throw CLI::ExtrasError({word});
        }
    }

    CLI::Option* addFlag(const std::string& name, bool& value, const std::string& description)
    {
        return program.add_flag(name, value, description)->disable_flag_override();
    }

    void addTranslators()
    {
        back = addFlag("-b,--back", options.isBack,
                       "Translate braille patterns (U+2800 to U+28FF) back to print");
        addFlag("--dots", options.inputIsDots,
                "Read numbers of dots, such as 125-15, instead of patterns")
            ->needs(back);
        const auto takeRole = [this](const std::string& name) {
            options.choice.role = roleNamed(name);
        };
        roleOption = program
                         .add_option_function<std::string>(
                             "--role", takeRole,
                             "Translate with the translator that has this role, one of " +
                                 roleNames() + "; display if not given")
                         ->check(role())
                         ->type_name("ROLE");
        translator = program
                         .add_option("-t,--translator", options.choice.name,
                                     "Translate with this translator, a name or an identifier")
                         ->type_name("NAME")
                         ->excludes(roleOption);
        program
            .add_option("-p,--profile", options.profile,
                        "First switch the service to this language profile, for everyone who "
                        "uses it")
            ->type_name("NAME");
    }

    void addViews()
    {
        ViewOptions& view = options.viewOptions;
        cursor = program
                     .add_option("-c,--cursor", view.cursor,
                                 "Show the cursor, which is at this position of each line, as "
                                 "dots 7 and 8")
                     ->check(wholeNumber(0))
                     ->type_name("N");
        cells = addFlag("--cells", view.asDots, "Print braille as numbers of dots")->excludes(back);
        width = program
                    .add_option("--width", view.width,
                                "Print lines of a display of N cells, each behind the range of "
                                "positions that it shows; with --explore, the size of the display")
                    ->check(wholeNumber(1))
                    ->type_name("N")
                    ->excludes(back);
        for (const ViewFlag& flag : VIEW_FLAGS)
            addViewFlag(flag);
        addExplanation();
        addProgramViews();
        for (const char* name : {"--positions", "--dump", "--json", "--explain", "--roles"}) {
            width->excludes(program.get_option(name));
            cells->excludes(program.get_option(name));
        }
        for (const char* name : {"--explain", "--roles", "--explore"})
            cursor->excludes(program.get_option(name));
    }

    void addExplanation()
    {
        const auto explain = [this](int position) {
            options.viewOptions.explained = static_cast<std::size_t>(position);
            options.view = explainView;
            options.viewOptions.areApart = true;
        };
        addView(program
                    .add_option_function<int>("--explain", explain,
                                              "Describe what is at this position of each line")
                    ->check(wholeNumber(0))
                    ->type_name("N"));
    }

    void addViewFlag(const ViewFlag& flag)
    {
        const auto choose = [this, &flag] {
            options.view = flag.view;
            options.viewOptions.areApart = flag.view == mapView;
        };
        addView(program.add_flag_callback(flag.name, choose, flag.description)
                    ->disable_flag_override());
    }

    /** What needs no text to translate. */
    void addProgramViews()
    {
        CLI::Option* const roles =
            addFlag("--roles", options.listsRoles, "Print who has which role");
        CLI::Option* const explore = addFlag(
            "--explore", options.explores,
            "Show text and braille on the whole terminal, with a cursor that moves in both");
        for (CLI::Option* const view : {roles, explore}) {
            addView(view);
            view->excludes(back);
        }
        explore->excludes(cells);
        roles->excludes(roleOption)->excludes(translator);
    }

    /** All views exclude each other. */
    void addView(CLI::Option* view)
    {
        for (CLI::Option* const other : views)
            view->excludes(other);
        views.push_back(view);
    }

    CLI::App program;
    Options options;
    CLI::Option* back = nullptr;
    CLI::Option* roleOption = nullptr;
    CLI::Option* translator = nullptr;
    CLI::Option* cursor = nullptr;
    CLI::Option* cells = nullptr;
    CLI::Option* width = nullptr;
    std::vector<CLI::Option*> views;
};

} // namespace

Options parseOptions(int argc, char** argv)
{
    Options options = CommandLine().parse({argv + 1, argv + argc});
    if (options.listsRoles && !options.words.empty())
        throw Complaint(Status::WRONG_USE, "--roles takes no text; see brltranslate --help");
    if (options.explores && options.words.size() > 1)
        throw Complaint(Status::WRONG_USE, "--explore takes one file at most");
    return options;
}
