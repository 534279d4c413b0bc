#include <service/Profiles.h>

#include <service/CloseNames.h>
#include <service/Quoted.h>

#include <algorithm>
#include <utility>

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
    std::vector<std::string> all;
    std::vector<Named> candidates;
    for (const Profile& profile : list) {
        all.push_back(profile.name);
        // "English (United States)" is English, too.
        const std::string language = profile.language.substr(0, profile.language.find(" ("));
        candidates.push_back({profile.name, {profile.language, language}});
    }
    const std::vector<std::string> close = closeNames(name, candidates);
    return close.empty() ? "there are " + joined(all) : "close to it: " + joined(close);
}
