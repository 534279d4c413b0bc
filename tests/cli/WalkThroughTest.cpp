#include "Brltranslate.h"
#include "support/PrivateBus.h"
#include "support/TemporaryFolder.h"
#include "support/Terminal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr const char* PAGE = TEST_SOURCE_FOLDER "/docs/walkthrough.md";

/** What the page tells to type, and what it shows then; "..." stands for any lines. */
struct Step
{
    std::string command;
    std::vector<std::string> output;
};

/** The lines of all blocks of that kind. */
std::vector<std::vector<std::string>> blocks(const std::string& kind)
{
    std::ifstream page(PAGE);
    std::vector<std::vector<std::string>> found;
    bool isInside = false;
    for (std::string line; std::getline(page, line);) {
        if (line == "```" + kind)
            found.emplace_back();
        else if (isInside && line != "```")
            found.back().push_back(line);
        isInside = line == "```" + kind || (isInside && line != "```");
    }
    return found;
}

std::vector<Step> steps()
{
    std::vector<Step> found;
    for (const auto& block : blocks("console")) {
        for (const std::string& line : block) {
            if (line.compare(0, 2, "$ ") == 0)
                found.push_back({line.substr(2), {}});
            else if (line == ">" || line.compare(0, 2, "> ") == 0)
                found.back().command += '\n' + line.substr(std::min<std::size_t>(line.size(), 2));
            else
                found.back().output.push_back(line);
        }
    }
    return found;
}

/** Whether a text is that, in which "..." stands for anything. */
bool matches(const std::string& text, const std::string& expected)
{
    std::size_t found = 0;
    for (std::size_t begin = 0; begin <= expected.size();) {
        const std::size_t end = std::min(expected.find("...", begin), expected.size());
        const std::string part = expected.substr(begin, end - begin);
        const bool isLast = end == expected.size();
        const std::size_t at = isLast && begin > 0 ? text.rfind(part) : text.find(part, found);
        if (at == std::string::npos || at < found || (begin == 0 && at != 0) ||
            (isLast && at + part.size() != text.size()))
            return false;
        found = at + part.size();
        begin = end + 3;
    }
    return true;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    return text;
}

/** A home for the person who follows the page. */
class TheWalkThrough : public testing::Test
{
protected:
    /** Does all steps in one shell, and returns what each has printed. */
    std::vector<std::vector<std::string>> perform(const std::vector<Step>& script) const
    {
        std::string shell = "cd '" TEST_SOURCE_FOLDER "'\nexec 2>&1\n";
        for (const Step& step : script)
            shell += "echo '@@'\n" + step.command + '\n';
        const Outcome outcome =
            Command{{"bash", "-c", shell},
                    "",
                    {{"HOME", home},
                     {"BUILD_DIR", TEST_BUILD_FOLDER},
                     {"BRAILLETRANSLATORD_CONFIGURATION", TEST_PATIENT_CONFIGURATION}}}
                .run();
        std::vector<std::vector<std::string>> outputs;
        for (const std::string& line : linesOf(outcome.output)) {
            if (line == "@@")
                outputs.emplace_back();
            else
                outputs.back().push_back(line);
        }
        return outputs;
    }

    TemporaryFolder temporary;
    std::string home = temporary.path();
};

/** The picture of the view without the one thing that differs from time to time. */
std::string withoutTime(std::string picture)
{
    const std::size_t begin = picture.find("last call ");
    const std::size_t end = picture.find(" ms", begin);
    return end == std::string::npos ? picture : picture.erase(begin, end - begin);
}

} // namespace

TEST_F(TheWalkThrough, PrintsWhatItShows)
{
    const std::vector<Step> script = steps();
    ASSERT_GT(script.size(), 10U);
    const auto outputs = perform(script);
    ASSERT_EQ(outputs.size(), script.size());
    for (std::size_t step = 0; step < script.size(); ++step)
        EXPECT_TRUE(matches(joined(outputs[step]), joined(script[step].output)))
            << script[step].command << "\nprints\n"
            << joined(outputs[step]);
}

TEST_F(TheWalkThrough, ShowsTheViewAsItIs)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    std::ofstream(home + "/letter.txt") << "The knowledge of reading\nis half of writing.\n";
    Terminal terminal(BRLTRANSLATE + (" --explore " + home + "/letter.txt"), 40, 10);
    terminal.awaitText("char 0/");
    for (const char* key : {"Right", "Right", "Right", "Right", "Tab"})
        terminal.press(key);
    const Picture picture = terminal.await(
        [](const Picture& shown) { return shown.cursorRow == 5 && shown.cursorColumn == 3; });
    EXPECT_EQ(withoutTime(picture.text()), withoutTime(joined(blocks("text").at(0))));
}
