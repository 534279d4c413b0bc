#ifndef SERVICE_PROFILES_H
#define SERVICE_PROFILES_H

#include <array>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/** A role of a profile for which none of the translators that it names is installed. */
struct UnfilledRole
{
    std::string role;
    /** As the configuration names them, at least one. */
    std::vector<std::string> translators;
    /** Where it names them: the file and the line. */
    std::string place;
};

/** A language profile: which translator, as the configuration names it, has each role. */
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
    /** The roles that are empty above. */
    std::vector<UnfilledRole> unfilled = {};

    /** Whether clients can switch to it: only with all four roles. */
    bool isOffered() const { return unfilled.empty(); }
};

/** The four roles of a profile, by the names that they have in the configuration. */
constexpr std::array<std::pair<const char*, std::string Profile::*>, 4> ROLES{{
    {"display", &Profile::display},
    {"entry", &Profile::entry},
    {"computer", &Profile::computer},
    {"grade1", &Profile::grade1},
}};

/** Which translators that role lacks, in one line for people. */
std::string describe(const UnfilledRole& role);

/** Why that profile is not offered, and what to do, in one line for people. */
std::string whyNotOffered(const Profile& profile);

/**
 * The language profiles of a configuration, and which of them a client can
 * switch to.
 *
 * Whether the translators that a profile names are installed is not known here:
 * that is between the profile and the Catalogue.
 *
 * Threads: immutable; may be used from anywhere.
 */
class Profiles
{
public:
    /** Nothing that has that name is offered; the text says why, and what would work. */
    struct NoSuchProfile : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };

    /** These profiles; of several with one name the first is found. */
    explicit Profiles(std::vector<Profile> profiles);

    /** All of them, in the order in which they were given, offered or not. */
    const std::vector<Profile>& all() const { return list; }

    /**
     * The profile of exactly that name, offered or not; borrowed. Throws
     * NoSuchProfile, with the names that are close to it, or whose language is, at
     * most three; with all names if none is.
     */
    const Profile& named(const std::string& name) const;

    /** As named(). Throws NoSuchProfile as well if that profile is not offered. */
    const Profile& offered(const std::string& name) const;

    /**
     * That profile if it is offered, else the first that is offered of the same
     * language, else the first of English, else the first; borrowed, null if none
     * is offered. Text in parentheses behind a language is ignored.
     */
    const Profile* closestOffered(const Profile& wanted) const;

private:
    const Profile* firstOfferedOf(const std::string& language) const;
    std::string namesLike(const std::string& name) const;

    std::vector<Profile> list;
};

#endif
