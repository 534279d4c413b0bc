#include <service/Configuration.h>

#include <service/Quoted.h>

#include <toml++/toml.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <ios>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

/** Reads one file; all that is wrong with it is thrown with its place. */
class Reader
{
public:
    Reader(const std::string& fileName, const Catalogue& installed)
        : file(fileName), catalogue(installed)
    {
    }

    Configuration read() const
    {
        const toml::table content = parse();
        allowOnly(content, {"default", "engine", "profile"});
        Profiles profiles(readProfiles(content));
        std::string defaultProfile = readDefault(content, profiles);
        return {std::move(profiles), std::move(defaultProfile), readLimits(content)};
    }

private:
    [[noreturn]] void fail(const toml::source_region& place, const std::string& reason) const
    {
        throw ConfigurationError(nameOf(place) + ": " + reason);
    }

    std::string nameOf(const toml::source_region& place) const
    {
        return file + ":" + std::to_string(std::max(place.begin.line, 1U));
    }

    toml::table parse() const
    {
        const std::string content = contentOfFile();
        try {
            return toml::parse(content, file);
        } catch (const toml::parse_error& error) {
            fail(error.source(), std::string(error.description()) + "; mend the line");
        }
    }

    std::string contentOfFile() const
    {
        std::ifstream stream(file);
        std::string content;
        try {
            if (stream)
                content.assign(std::istreambuf_iterator<char>(stream), {});
        } catch (const std::ios_base::failure&) {
            stream.setstate(std::ios_base::badbit); // a folder can be opened, but not read
        }
        if (!stream)
            throw ConfigurationError(file + ": cannot be read (" +
                                     std::generic_category().message(errno) +
                                     "); name another file with --config");
        return content;
    }

    void allowOnly(const toml::table& table, std::initializer_list<const char*> keys) const
    {
        for (const auto& [key, value] : table) {
            const std::string_view name = key.str();
            if (std::find(keys.begin(), keys.end(), name) != keys.end())
                continue;
            fail(key.source(), "unknown key " + quoted(std::string(name)) + "; here there may be " +
                                   joined({keys.begin(), keys.end()}));
        }
    }

    const toml::table& tableOf(const toml::table& parent, const char* key) const
    {
        static const toml::table none;
        const toml::node* node = parent.get(key);
        if (node == nullptr)
            return none;
        if (!node->is_table())
            fail(node->source(), quoted(key) + " is not a table; write [" + key + "...]");
        return *node->as_table();
    }

    std::string stringOf(const toml::table& parent, const std::string& key,
                         const std::string& what) const
    {
        const toml::node& node = nodeOf(parent, key, what);
        if (!node.is_string())
            fail(node.source(), quoted(key) + " is not a string; put it in quotes");
        return node.as_string()->get();
    }

    const toml::node& nodeOf(const toml::table& parent, const std::string& key,
                             const std::string& what) const
    {
        const toml::node* node = parent.get(key);
        if (node == nullptr)
            fail(parent.source(), what + " has no " + quoted(key) + "; add one");
        return *node;
    }

    /** A string, or an array of at least one. */
    std::vector<std::string> stringsOf(const toml::node& node, const std::string& key) const
    {
        if (const auto* string = node.as_string())
            return {string->get()};
        const toml::array* array = node.as_array();
        if (array == nullptr || array->empty())
            fail(node.source(), quoted(key) +
                                    " is neither a string nor an array of strings; write " + key +
                                    " = \"TABLE\" or [\"TABLE\", \"ANOTHER\"]");
        std::vector<std::string> strings;
        for (const toml::node& element : *array) {
            if (!element.is_string())
                fail(element.source(),
                     "not all of " + quoted(key) + " are strings; put each in quotes");
            strings.push_back(element.as_string()->get());
        }
        return strings;
    }

    std::vector<Profile> readProfiles(const toml::table& content) const
    {
        std::vector<Profile> profiles;
        for (const auto& [key, node] : tableOf(content, "profile")) {
            const std::string name(key.str());
            if (!node.is_table())
                fail(node.source(),
                     quoted(name) + " is not a table; begin a profile as [profile.NAME]");
            profiles.push_back(readProfile(name, *node.as_table()));
        }
        return profiles;
    }

    Profile readProfile(const std::string& name, const toml::table& table) const
    {
        allowOnly(table, {"language", "display", "entry", "computer", "grade1"});
        const std::string what = "the profile " + quoted(name);
        Profile profile;
        profile.name = name;
        profile.language = stringOf(table, "language", what);
        for (const auto& [role, member] : ROLES) {
            const toml::node& node = nodeOf(table, role, what);
            std::vector<std::string> translators = stringsOf(node, role);
            const auto first = std::find_if(translators.begin(), translators.end(),
                                            [this](const auto& id) { return isInstalled(id); });
            if (first != translators.end())
                profile.*member = *first;
            else
                profile.unfilled.push_back({role, std::move(translators), nameOf(node.source())});
        }
        return profile;
    }

    bool isInstalled(const std::string& nameOrId) const
    {
        return catalogue.translators().empty() || catalogue.find(nameOrId) != nullptr;
    }

    std::string readDefault(const toml::table& content, const Profiles& profiles) const
    {
        std::string name = stringOf(content, "default", "the file");
        if (profiles.all().empty())
            fail(content.get("default")->source(),
                 "the file has no profile; begin one as [profile." + name + "]");
        try {
            profiles.named(name);
        } catch (const Profiles::NoSuchProfile& error) {
            fail(content.get("default")->source(), error.what());
        }
        return name;
    }

    PoolLimits readLimits(const toml::table& content) const
    {
        const toml::table& table = tableOf(content, "engine");
        allowOnly(table, {"workers", "most-workers", "deadline-ms", "deadline-us-per-character"});
        PoolLimits limits;
        limits.workers = number(table, "workers", 2, 64).value_or(limits.workers);
        const auto least = static_cast<int64_t>(limits.workers);
        limits.mostWorkers = number(table, "most-workers", least, 64)
                                 .value_or(std::max(limits.workers, limits.mostWorkers));
        if (const auto deadline =
                number(table, "deadline-ms", 10, PoolLimits::LONGEST_DEADLINE.count()))
            limits.deadline = std::chrono::milliseconds(*deadline);
        if (const auto allowance = number(table, "deadline-us-per-character", 0, 100000))
            limits.deadlinePerCodePoint = std::chrono::microseconds(*allowance);
        return limits;
    }

    std::optional<std::size_t> number(const toml::table& table, const char* key, int64_t least,
                                      int64_t most) const
    {
        const toml::node* node = table.get(key);
        if (node == nullptr)
            return std::nullopt;
        const std::optional<int64_t> value = node->value_exact<int64_t>();
        if (!value || *value < least || *value > most)
            fail(node->source(), quoted(key) + " is to be a whole number from " +
                                     std::to_string(least) + " to " + std::to_string(most));
        return static_cast<std::size_t>(*value);
    }

    const std::string& file;
    const Catalogue& catalogue;
};

} // namespace

Configuration readConfiguration(const std::string& file, const Catalogue& catalogue)
{
    return Reader(file, catalogue).read();
}

std::vector<std::string> warningsOf(const Profiles& profiles)
{
    std::vector<std::string> warnings;
    for (const Profile& profile : profiles.all()) {
        if (!profile.isOffered())
            warnings.push_back(profile.unfilled.front().place + ": " + whyNotOffered(profile));
    }
    return warnings;
}

bool translatesBack(const Translator& translator, const Catalogue& catalogue,
                    const Profiles& profiles)
{
    const auto hasItForEntry = [&](const Profile& profile) {
        return catalogue.find(profile.entry) == &translator;
    };
    return translator.isMadeToTranslateBack ||
           std::any_of(profiles.all().begin(), profiles.all().end(), hasItForEntry);
}
