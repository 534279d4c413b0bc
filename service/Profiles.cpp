#include <service/Profiles.h>

#include <service/Quoted.h>

#include <algorithm>
#include <utility>

Profiles Profiles::builtIn()
{
    return Profiles({
        {"en-gb", "en-ueb-g2.ctb", "en-ueb-g2.ctb", "en-gb-comp8.ctb", "en-ueb-g1.ctb"},
        {"en-us", "en-ueb-g2.ctb", "en-ueb-g2.ctb", "en-us-comp8-ext.utb", "en-ueb-g1.ctb"},
    });
}

Profiles::Profiles(std::vector<Profile> profiles) : list(std::move(profiles))
{
}

const std::vector<Profile>& Profiles::all() const
{
    return list;
}

const Profile& Profiles::named(const std::string& name) const
{
    const auto found = std::find_if(
        list.begin(), list.end(), [&name](const Profile& profile) { return profile.name == name; });
    if (found == list.end())
        throw NoSuchProfile("no language profile is named " + quoted(name) + "; there are " +
                            names());
    return *found;
}

std::string Profiles::names() const
{
    std::string names;
    for (const Profile& profile : list)
        names += (names.empty() ? "" : ", ") + profile.name;
    return names;
}
