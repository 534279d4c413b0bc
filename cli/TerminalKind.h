#ifndef CLI_TERMINALKIND_H
#define CLI_TERMINALKIND_H

/** Whether the kind of terminal that TERM names is known, and has a cursor that can be moved. */
bool canMoveCursor();

#endif
