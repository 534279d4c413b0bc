/**
 * Usage: profile-figures CONFIGURATION TEXTS
 *
 * Measures every profile of a configuration on the text of its name in the
 * folder TEXTS, and prints the figures as a table in Markdown, below a line that
 * names the version of liblouis.
 */
#include <service/Configuration.h>
#include <service/Engine.h>
#include <service/Tables.h>

#include <boost/locale/encoding_utf.hpp>
#include <liblouis.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

/** Cells that no table has for anything, so that they stand out where a character has none. */
constexpr const char* MARK_UNDEFINED = "undefined 12345678-78-45678-12345678\n";
const CodePoints MARK{0x28FF, 0x28C0, 0x28F8, 0x28FF};

/** A file that makes the engine mark what a table does not define, when it follows the table. */
class Marker
{
public:
    Marker()
    {
        if (mkdtemp(folder.data()) == nullptr)
            throw std::runtime_error("cannot create " + folder);
        std::ofstream(file()) << MARK_UNDEFINED;
    }
    ~Marker() { std::filesystem::remove_all(folder); }
    Marker(const Marker&) = delete;
    Marker& operator=(const Marker&) = delete;

    std::string file() const { return folder + "/marker.utb"; }

private:
    std::string folder = std::filesystem::temp_directory_path() / "profile-figures-XXXXXX";
};

CodePoints decode(const std::string& utf8)
{
    const auto text = boost::locale::conv::utf_to_utf<char32_t>(utf8, boost::locale::conv::stop);
    return {text.begin(), text.end()};
}

std::string encode(const CodePoints& text)
{
    return boost::locale::conv::utf_to_utf<char>(std::u32string(text.begin(), text.end()));
}

std::vector<CodePoints> readLines(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    if (!stream)
        throw std::runtime_error(file.string() + " cannot be read; every profile needs a text");
    std::vector<CodePoints> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(decode(line));
    return lines;
}

/** The length of the longest common subsequence: what has survived, in its order. */
std::size_t survivors(const CodePoints& text, const CodePoints& result)
{
    std::vector<std::size_t> row(result.size() + 1);
    for (const uint32_t codePoint : text) {
        std::size_t diagonal = 0;
        for (std::size_t column = 0; column < result.size(); ++column) {
            const std::size_t above = row[column + 1];
            row[column + 1] =
                result[column] == codePoint ? diagonal + 1 : std::max(above, row[column]);
            diagonal = above;
        }
    }
    return row.back();
}

/** Measures translators on the lines of one text. */
class Measurement
{
public:
    Measurement(const Catalogue& installed, const std::string& markerFile,
                std::vector<CodePoints> textLines)
        : catalogue(installed), marker(markerFile), lines(std::move(textLines))
    {
    }

    /** The share of the characters that come back when they are written and read. */
    double roundTrip(const std::string& id)
    {
        std::size_t survived = 0;
        std::size_t all = 0;
        for (const CodePoints& line : lines) {
            const CodePoints result =
                engine.back(tableOf(id), engine.forward(tableOf(id), line).output).output;
            survived += survivors(line, result);
            // What has been added is as wrong as what is lost.
            all += std::max(line.size(), result.size());
        }
        return static_cast<double>(survived) / static_cast<double>(all);
    }

    /** The characters of the text that the translator has no cells for. */
    CodePoints undefined(const std::string& id)
    {
        const std::string table = tableOf(id) + "," + marker;
        CodePoints found;
        for (const uint32_t character : characters()) {
            const CodePoints cells = engine.forward(table, {character}).output;
            if (std::search(cells.begin(), cells.end(), MARK.begin(), MARK.end()) != cells.end())
                found.push_back(character);
        }
        return found;
    }

    /** The share of the characters that have exactly one cell each. */
    double oneCell(const std::string& id)
    {
        std::size_t single = 0;
        std::size_t all = 0;
        for (const CodePoints& line : lines) {
            const std::vector<int32_t> positions = engine.forward(tableOf(id), line).positions;
            for (std::size_t position = 0; position < line.size(); ++position)
                single += positions[position + 1] == positions[position] + 1 ? 1 : 0;
            all += line.size();
        }
        return static_cast<double>(single) / static_cast<double>(all);
    }

private:
    const std::string& tableOf(const std::string& id) const { return catalogue.find(id)->table; }

    std::set<uint32_t> characters() const
    {
        std::set<uint32_t> all;
        for (const CodePoints& line : lines)
            all.insert(line.begin(), line.end());
        return all;
    }

    const Catalogue& catalogue;
    const std::string marker;
    const std::vector<CodePoints> lines;
    Engine engine;
};

std::string percent(double share)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << 100 * share << " %";
    return text.str();
}

/** Which they are if they are few, else how many. */
std::string listOf(const CodePoints& characters)
{
    constexpr std::size_t FEW = 8;
    if (characters.empty())
        return "none";
    if (characters.size() > FEW)
        return std::to_string(characters.size());
    std::string list;
    for (const uint32_t character : characters)
        list += (list.empty() ? "`" : " `") + encode({character}) + "`";
    return list;
}

void print(const Profile& profile, Measurement measurement)
{
    std::cout << "| " << profile.name << " | " << profile.language;
    if (!profile.isOffered()) {
        std::cout << " | not offered | | | | | | | |\n";
        return;
    }
    for (const auto& [role, member] : ROLES)
        std::cout << " | " << profile.*member;
    std::cout << " | " << percent(measurement.roundTrip(profile.entry)) << " | "
              << listOf(measurement.undefined(profile.display)) << " | "
              << listOf(measurement.undefined(profile.computer)) << " | "
              << percent(measurement.oneCell(profile.computer)) << " |\n";
}

int measure(const std::string& file, const std::filesystem::path& texts)
{
    const Engine quiet; // before the engine says anything on its own
    const Catalogue catalogue(describeTables(installedTables()));
    const Configuration configuration = readConfiguration(file, catalogue);
    const Marker marker;
    std::cout << "With liblouis " << lou_version()
              << ":\n\n"
                 "| profile | language | display | entry | computer | grade 1 | "
                 "entry, comes back | display, undefined | computer, undefined | "
                 "computer, one cell |\n"
                 "|---|---|---|---|---|---|---|---|---|---|\n";
    for (const Profile& profile : configuration.profiles.all())
        print(profile, {catalogue, marker.file(), readLines(texts / (profile.name + ".txt"))});
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc != 3) {
        std::cerr << "Usage: profile-figures CONFIGURATION TEXTS\n";
        return 2;
    }
    return measure(argv[1], argv[2]);
} catch (const std::exception& error) {
    std::cerr << "profile-figures: " << error.what() << '\n';
    return EXIT_FAILURE;
}
