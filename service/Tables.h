#ifndef SERVICE_TABLES_H
#define SERVICE_TABLES_H

#include <service/Translator.h>

#include <string>
#include <vector>

/**
 * What the engine knows of braille tables, for the Catalogue. Calls the engine,
 * so it belongs into an engine process.
 */

/**
 * The paths of all tables of this system, or of LOUIS_TABLEPATH: those that the
 * engine lists because they describe themselves, which come first, and those
 * beside them that no listed one describes.
 */
std::vector<std::string> installedTables();

/**
 * The tables with these paths, described: in the order of their file names, and
 * of several files of one name only the first. A table that cannot be read is
 * described by its file name; one whose file name is no UTF-8 is left out.
 */
std::vector<Translator> describeTables(const std::vector<std::string>& paths);

#endif
