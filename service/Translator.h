#ifndef SERVICE_TRANSLATOR_H
#define SERVICE_TRANSLATOR_H

#include <string>

/** One translator: an installed braille table, as clients see it. */
struct Translator
{
    /** The base name of the table's file, UTF-8: what clients translate with. */
    std::string id;
    /** The name for people, UTF-8. */
    std::string name;
    /** As the table states it, 0 to 3; the contract says what it means. */
    int grade;
    /** Whether the table is made for that; some do it without saying so. */
    bool isMadeToTranslateBack;
    /** The table's path, for the engine. */
    std::string table;
    /**
     * The base name of the file that holds the table's rules, if the table is
     * one that only describes another file (.tbl); else empty.
     */
    std::string describedFile;
};

#endif
