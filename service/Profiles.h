#ifndef SERVICE_PROFILES_H
#define SERVICE_PROFILES_H

#include <array>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/** A language profile: which translator, by its identifier, has each role. */
struct Profile
{
    std::string name;
    /** The language, in English, for people. */
    std::string language;
    /** Shows text on the braille display. */
    std::string display;
    /** Reads what is typed in braille, so it translates back well. */
    std::string entry;
    /** One cell per character, for what must be exact. */
    std::string computer;
    /** Uncontracted braille in the language of the entry table. */
    std::string grade1;
};

/** The four roles of a profile, by the names that they have in the configuration. */
constexpr std::array<std::pair<const char*, std::string Profile::*>, 4> ROLES{{
    {"display", &Profile::display},
    {"entry", &Profile::entry},
    {"computer", &Profile::computer},
    {"grade1", &Profile::grade1},
}};

/**
 * The language profiles that a client can switch to.
 *
 * Whether the translators that a profile names are installed is not known here:
 * that is between the profile and the Catalogue.
 *
 * Threads: immutable; may be used from anywhere.
 */
class Profiles
{
public:
    /** Nothing has that name; the text says which names there are. */
    struct NoSuchProfile : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };

    /** These profiles; of several with one name the first is found. */
    explicit Profiles(std::vector<Profile> profiles);

    const std::vector<Profile>& all() const { return list; }

    /**
     * The profile of exactly that name, borrowed. Throws NoSuchProfile, with the
     * names that are close to it, or whose language is, at most three; with all
     * names if none is.
     */
    const Profile& named(const std::string& name) const;

private:
    std::string namesLike(const std::string& name) const;

    std::vector<Profile> list;
};

#endif
