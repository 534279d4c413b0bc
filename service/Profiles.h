#ifndef SERVICE_PROFILES_H
#define SERVICE_PROFILES_H

#include <stdexcept>
#include <string>
#include <vector>

/** A language profile: which translator, by its identifier, has each role. */
struct Profile
{
    std::string name;
    /** Shows text on the braille display. */
    std::string display;
    /** Reads what is typed in braille, so it translates back well. */
    std::string entry;
    /** One cell per character, for what must be exact. */
    std::string computer;
    /** Uncontracted braille in the language of the entry table. */
    std::string grade1;
};

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

    /** The profiles that the service has without any configuration. */
    static Profiles builtIn();

    /** These profiles; of several with one name the first is found. */
    explicit Profiles(std::vector<Profile> profiles);

    const std::vector<Profile>& all() const;

    /** The profile of exactly that name, borrowed. Throws NoSuchProfile. */
    const Profile& named(const std::string& name) const;

private:
    std::string names() const;

    std::vector<Profile> list;
};

#endif
