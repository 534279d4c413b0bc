/** The one way in which the library reports a failure. Internal. */
#ifndef LIBBRAILLETRANSLATE_FAILURELOG_H
#define LIBBRAILLETRANSLATE_FAILURELOG_H

#include <libBrailleTranslate/LogAppender.h>
#include <log4cplus/loggingmacros.h>

/**
 * Writes the record "operation : what()" at level ERROR.
 *
 * A macro, and used in the body of the operation that failed, because the
 * record carries that operation's name, line and full signature.
 */
#define LOG_FAILURE(exception)                                                                     \
    LOG4CPLUS_ERROR(LogAppender::getLogger(), __func__ << " : " << (exception).what())

#endif
