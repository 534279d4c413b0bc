#include <service/Catalogue.h>

#include <service/EngineLog.h>

#include <liblouis.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

namespace {

/** For what the engine hands out and leaves to its caller to free. */
struct Free
{
    void operator()(void* memory) const { std::free(memory); }
};

using EngineString = std::unique_ptr<char, Free>;

std::vector<std::string> installedTables()
{
    routeEngineLog();
    const std::unique_ptr<char*, Free> list(lou_listTables());
    std::vector<std::string> tables;
    for (char** next = list.get(); next != nullptr && *next != nullptr; ++next)
        tables.emplace_back(EngineString(*next).get());
    return tables;
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

std::string withoutSuffix(const std::string& fileName)
{
    return fileName.substr(0, fileName.rfind('.'));
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

Translator translatorOf(const std::string& table)
{
    const std::string id = fileNameOf(table);
    const std::string name = describe(table, "display-name");
    return {id, name.empty() ? id : name, gradeOf(table), describe(table, "direction") != "forward",
            table};
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

} // namespace

Catalogue Catalogue::installed()
{
    return Catalogue(installedTables());
}

Catalogue::Catalogue(const std::vector<std::string>& tables)
{
    routeEngineLog();
    std::map<std::string, std::string> tableOfId;
    for (const std::string& table : tables)
        tableOfId.emplace(fileNameOf(table), table);
    for (const auto& [id, table] : tableOfId)
        entries.push_back(translatorOf(table));
    makeNamesUnique();
    indexNames();
}

void Catalogue::makeNamesUnique()
{
    std::map<std::string, int> uses;
    for (const Translator& translator : entries)
        ++uses[translator.name];
    for (Translator& translator : entries) {
        if (uses[translator.name] > 1)
            translator.name += " (" + translator.id + ")";
    }
}

void Catalogue::indexNames()
{
    std::map<std::string, std::set<std::size_t>> shortNames;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const std::string& id = entries[index].id;
        indexes.emplace(id, index);
        shortNames[withoutSuffix(id)].insert(index);
        const std::string file = describedFile(entries[index].table);
        if (file.empty())
            continue;
        shortNames[file].insert(index);
        shortNames[withoutSuffix(file)].insert(index);
    }
    for (std::size_t index = 0; index < entries.size(); ++index)
        indexes.emplace(entries[index].name, index);
    for (const auto& [name, owners] : shortNames) {
        if (owners.size() == 1)
            indexes.emplace(name, *owners.begin());
    }
}

const std::vector<Translator>& Catalogue::translators() const
{
    return entries;
}

const Translator* Catalogue::find(const std::string& nameOrId) const
{
    const auto found = indexes.find(nameOrId);
    return found == indexes.end() ? nullptr : &entries[found->second];
}
