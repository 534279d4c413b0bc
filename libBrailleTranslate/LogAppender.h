#ifndef LIBBRAILLETRANSLATE_LOGAPPENDER_H
#define LIBBRAILLETRANSLATE_LOGAPPENDER_H

#include <libBrailleTranslate/Export.h>
#include <log4cplus/logger.h>

/**
 * Where the library gets its logger from.
 *
 * The library only declares this class: the host program defines getLogger(),
 * or links the static library BrailleTranslateLogAppender, which names the
 * logger "BrailleTranslate". The library calls it anew for each record, on the
 * thread whose operation failed; an exception from it leaves that operation, or
 * ends the program if that operation is a destructor.
 */
class BRAILLETRANSLATE_EXPORT LogAppender
{
public:
    /** The logger that takes the library's ERROR records. */
    static log4cplus::Logger getLogger();
};

#endif
