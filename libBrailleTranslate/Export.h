/**
 * @file
 * Visibility of symbols; everything in the library is hidden unless it says otherwise.
 */
#ifndef LIBBRAILLETRANSLATE_EXPORT_H
#define LIBBRAILLETRANSLATE_EXPORT_H

/** Marks the library's classes, the only symbols that it exports. */
#define BRAILLETRANSLATE_EXPORT __attribute__((visibility("default")))

/** Marks a member of an exported class that is none of its users' business. */
#define BRAILLETRANSLATE_HIDDEN __attribute__((visibility("hidden")))

#endif
