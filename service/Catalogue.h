#ifndef SERVICE_CATALOGUE_H
#define SERVICE_CATALOGUE_H

#include <service/Translator.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/** What there is to say when the catalogue is empty. */
constexpr const char* NO_TABLES =
    "no braille tables are installed; install the package liblouis-data";

/**
 * The installed translators, and the only way from a client's string to a
 * table: a string that names no entry leads nowhere.
 *
 * Besides its name and identifier, a translator goes by its identifier without
 * the suffix. Some tables come as two files, one with the rules and one (.tbl)
 * that describes and includes it; only the second is an entry, and the first
 * one's name leads to it.
 *
 * Names are unique: translators that share one get their identifiers appended.
 *
 * Threads: immutable; may be used from anywhere.
 */
class Catalogue
{
public:
    /** These translators, whose identifiers differ. */
    explicit Catalogue(std::vector<Translator> installed);

    /** All translators, in the order in which they were given. */
    const std::vector<Translator>& translators() const;

    /**
     * The translator with exactly this name or identifier; borrowed from the
     * catalogue, null if there is none. An identifier without suffix that
     * several translators would answer to names the only one of them that has a
     * name of its own; otherwise it names none.
     */
    const Translator* find(const std::string& nameOrId) const;

    /** The identifiers of those, at most three, that may have been meant by what names none. */
    std::vector<std::string> closeTo(const std::string& nameOrId) const;

private:
    void makeNamesUnique();
    void indexNames();
    void indexShortNames(bool (*isMeant)(const Translator&));

    std::vector<Translator> entries;
    /** From everything that names an entry to its index. */
    std::map<std::string, std::size_t> indexes;
};

#endif
