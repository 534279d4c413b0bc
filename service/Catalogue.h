#ifndef SERVICE_CATALOGUE_H
#define SERVICE_CATALOGUE_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

/** One translator: an installed braille table, as clients see it. */
struct Translator
{
    /** The base name of the table's file, UTF-8: what clients translate with. */
    std::string id;
    /** The name for people, UTF-8; no other translator has it. */
    std::string name;
    /** As the table states it, 0 to 3; the contract says what it means. */
    int grade;
    bool translatesBack;
    /** The table's path, for the engine. */
    std::string table;
};

/**
 * The installed translators, and the only way from a client's string to a
 * table: a string that names no entry leads nowhere.
 *
 * Besides its name and identifier, a translator goes by its identifier without
 * the suffix. Some tables come as two files, one with the rules and one (.tbl)
 * that describes and includes it; only the second is an entry, and the first
 * one's name leads to it.
 *
 * Failures: a table that cannot be read is described by its file name. Without
 * any tables the catalogue is empty.
 *
 * Threads: immutable once made, but making one calls the engine (see Engine).
 */
class Catalogue
{
public:
    /** All tables that the engine finds on this system, or in LOUIS_TABLEPATH. */
    static Catalogue installed();

    /** The tables with these paths; of several files of one name only the first. */
    explicit Catalogue(const std::vector<std::string>& tables);

    /** All translators, in the order of their identifiers. */
    const std::vector<Translator>& translators() const;

    /**
     * The translator with exactly this name or identifier; borrowed from the
     * catalogue, null if there is none. An identifier without suffix that
     * several translators would answer to names none of them.
     */
    const Translator* find(const std::string& nameOrId) const;

private:
    void makeNamesUnique();
    void indexNames();

    std::vector<Translator> entries;
    /** From everything that names an entry to its index. */
    std::map<std::string, std::size_t> indexes;
};

#endif
