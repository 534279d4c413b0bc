#include <service/Profiles.h>

#include <service/CloseNames.h>
#include <service/Quoted.h>

#include <algorithm>
#include <functional>
#include <utility>

namespace {

/** "English (United States)" is English, too. */
std::string languageOf(const Profile& profile)
{
    return profile.language.substr(0, profile.language.find(" ("));
}

} // namespace

std::string describe(const UnfilledRole& role)
{
    std::vector<std::string> names;
    for (const std::string& translator : role.translators)
        names.push_back(quoted(translator));
    return "its " + role.role + " translator is not installed (" + joined(names, " or ") + ")";
}

std::string whyNotOffered(const Profile& profile)
{
    std::vector<std::string> reasons;
    for (const UnfilledRole& role : profile.unfilled)
        reasons.push_back(describe(role));
    return "the language profile " + quoted(profile.name) + " is not offered: " + joined(reasons) +
           "; install what is missing and restart the service, or name another table in the file";
}

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

const Profile& Profiles::offered(const std::string& name) const
{
    const Profile& profile = named(name);
    if (!profile.isOffered())
        throw NoSuchProfile(whyNotOffered(profile));
    return profile;
}

const Profile* Profiles::closestOffered(const Profile& wanted) const
{
    if (wanted.isOffered())
        return &wanted;
    for (const std::string& language : {languageOf(wanted), std::string("English")}) {
        if (const Profile* const profile = firstOfferedOf(language))
            return profile;
    }
    const auto first = std::find_if(list.begin(), list.end(), std::mem_fn(&Profile::isOffered));
    return first == list.end() ? nullptr : &*first;
}

const Profile* Profiles::firstOfferedOf(const std::string& language) const
{
    const auto first = std::find_if(list.begin(), list.end(), [&language](const Profile& profile) {
        return profile.isOffered() && languageOf(profile) == language;
    });
    return first == list.end() ? nullptr : &*first;
}

std::string Profiles::namesLike(const std::string& name) const
{
    std::vector<std::string> all;
    std::vector<Named> candidates;
    for (const Profile& profile : list) {
        all.push_back(profile.name);
        candidates.push_back({profile.name, {profile.language, languageOf(profile)}});
    }
    const std::vector<std::string> close = closeNames(name, candidates);
    return close.empty() ? "there are " + joined(all) : "close to it: " + joined(close);
}
