#include <service/Tables.h>

#include <service/Quoted.h>

#include <liblouis.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace {

/** For what the engine hands out and leaves to its caller to free. */
struct Free
{
    void operator()(void* memory) const { std::free(memory); }
};

using EngineString = std::unique_ptr<char, Free>;

/** What the engine lists: the tables that describe themselves. */
std::vector<std::string> listedTables()
{
    const std::unique_ptr<char*, Free> list(lou_listTables());
    std::vector<std::string> tables;
    for (char** next = list.get(); next != nullptr && *next != nullptr; ++next)
        tables.emplace_back(EngineString(*next).get());
    return tables;
}

/** Whether a file is a table by its name. */
bool isTable(const fs::path& file)
{
    const std::string suffix = file.extension();
    return suffix == ".ctb" || suffix == ".utb" || suffix == ".tbl";
}

/** What a table says of itself under that key; empty if it says nothing. */
std::string describe(const std::string& table, const char* key)
{
    const EngineString value(lou_getTableInfo(table.c_str(), key));
    return value == nullptr ? std::string() : value.get();
}

std::string fileNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

/** Grades between two numbers are partly contracted forms of the lower one. */
int gradeOf(const std::string& table)
{
    const std::string stated = describe(table, "grade");
    int grade = 0;
    if (std::from_chars(stated.data(), stated.data() + stated.size(), grade).ec == std::errc())
        return std::clamp(grade, 0, 3);
    if (describe(table, "type") == "computer")
        return 0;
    return describe(table, "contraction") == "full" ? 2 : 1;
}

/**
 * The file that holds the rules of a table which only describes it; empty for
 * every other table. The inclusion that gives the braille patterns in print
 * their dots belongs to the description.
 */
std::string describedFile(const std::string& table)
{
    constexpr std::string_view SUFFIX = ".tbl";
    if (table.size() < SUFFIX.size() ||
        table.compare(table.size() - SUFFIX.size(), SUFFIX.size(), SUFFIX) != 0)
        return {};
    std::ifstream lines(table);
    std::string described;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string rule;
        std::string file;
        if (!(words >> rule >> file) || rule.front() == '#' || file == "braille-patterns.cti")
            continue;
        if (rule != "include" || !described.empty())
            return {};
        described = file;
    }
    return described;
}

Translator translatorOf(const std::string& table)
{
    const std::string id = fileNameOf(table);
    const std::string name = validUtf8(describe(table, "display-name"));
    return {
        id,    name.empty() ? id : name, gradeOf(table), describe(table, "direction") != "forward",
        table, describedFile(table)};
}

} // namespace

std::vector<std::string> installedTables()
{
    std::vector<std::string> tables = listedTables();
    std::set<fs::path> folders;
    std::set<std::string> known;
    for (const std::string& table : tables) {
        folders.insert(fs::path(table).parent_path());
        known.insert(fileNameOf(table));
        known.insert(describedFile(table));
    }
    for (const fs::path& folder : folders) {
        for (const fs::directory_entry& file : fs::directory_iterator(folder)) {
            if (isTable(file.path()) && known.insert(file.path().filename()).second)
                tables.push_back(file.path());
        }
    }
    return tables;
}

std::vector<Translator> describeTables(const std::vector<std::string>& paths)
{
    std::map<std::string, std::string> tableOfId;
    for (const std::string& path : paths) {
        // Another name could not travel over the bus.
        if (validUtf8(fileNameOf(path)) == fileNameOf(path))
            tableOfId.emplace(fileNameOf(path), path);
    }
    std::vector<Translator> translators;
    translators.reserve(tableOfId.size());
    for (const auto& [id, path] : tableOfId)
        translators.push_back(translatorOf(path));
    return translators;
}
