#ifndef SERVICE_ENGINELOG_H
#define SERVICE_ENGINELOG_H

/**
 * Sends what the braille engine has to say to the logger
 * "brailletranslatord.engine", from now on and for the whole process; left
 * alone, the engine writes to stderr.
 *
 * Whoever calls the engine calls this first. Once is enough, more do no harm.
 */
void routeEngineLog();

#endif
