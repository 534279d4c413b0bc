// A source of its own, because term.h defines the names of all capabilities as macros.
#include "TerminalKind.h"

#include <curses.h>
#include <term.h>
#include <unistd.h>

bool canMoveCursor()
{
    int reason = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &reason) != OK)
        return false;
    const bool can = tigetstr("cup") != nullptr;
    del_curterm(cur_term);
    return can;
}
