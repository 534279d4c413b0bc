#include <service/Profiles.h>

#include <service/Quoted.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <utility>

namespace {

/** As people write names of languages and profiles, without what they do not care about. */
std::string plain(std::string name)
{
    for (char& character : name) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        if (character == '_' || character == ' ')
            character = '-';
    }
    return name;
}

bool beginsWith(const std::string& text, const std::string& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/** How many characters to insert, remove or replace to make one of the other (Levenshtein). */
std::size_t distance(const std::string& one, const std::string& other)
{
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (const char character : one) {
        std::size_t diagonal = row[0]++;
        for (std::size_t column = 0; column < other.size(); ++column) {
            const std::size_t replaced = diagonal + (other[column] == character ? 0 : 1);
            diagonal = row[column + 1];
            row[column + 1] = std::min({replaced, row[column] + 1, row[column + 1] + 1});
        }
    }
    return row.back();
}

/** Whether somebody who wrote one may have meant the other. */
bool isClose(const std::string& asked, const std::string& name)
{
    if (asked.empty() || asked.size() > 2 * name.size() + 2)
        return false;
    const bool isPart = beginsWith(name, asked) || beginsWith(asked, name);
    return isPart || distance(asked, name) <= asked.size() / 3;
}

bool isClose(const std::string& asked, const Profile& profile)
{
    return isClose(asked, plain(profile.name)) || isClose(asked, plain(profile.language));
}

} // namespace

Profiles::Profiles(std::vector<Profile> profiles) : list(std::move(profiles))
{
}

const Profile& Profiles::named(const std::string& name) const
{
    const auto found = std::find_if(
        list.begin(), list.end(), [&name](const Profile& profile) { return profile.name == name; });
    if (found == list.end())
        throw NoSuchProfile("no language profile is named " + quoted(name) + "; " +
                            namesLike(name));
    return *found;
}

std::string Profiles::namesLike(const std::string& name) const
{
    const std::string asked = plain(name);
    std::vector<std::string> all;
    std::vector<std::string> close;
    for (const Profile& profile : list) {
        all.push_back(profile.name);
        if (isClose(asked, profile))
            close.push_back(profile.name);
    }
    return close.empty() ? "there are " + joined(all) : "close to it: " + joined(close);
}
