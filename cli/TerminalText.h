/** Text of any script in the columns of a terminal. */
#ifndef CLI_TERMINALTEXT_H
#define CLI_TERMINALTEXT_H

#include <cstddef>
#include <string>

/** Makes this program's locale one in UTF-8, the user's own if that is. Call it first. */
void useUtf8Locale();

/** As U+0041. */
std::string codePointName(wchar_t character);

/** How many columns a character takes; none if it joins the one before it. */
std::size_t columnsOf(wchar_t character);
std::size_t columnsOf(const std::wstring& text);

/**
 * As a terminal can show it: a picture of a control character, U+FFFD for what
 * has no looks or would change the direction of what is around it.
 */
wchar_t visible(wchar_t character);

/** The same for all of a text; a combining character at its start gets a circle to stand on. */
std::wstring visible(std::wstring text);

/** Whether it takes room, but nothing is to be seen there. */
bool isBlank(wchar_t character);

/** Whether some of it is written from right to left. */
bool isRightToLeft(const std::wstring& text);

/** The text between marks that keep its direction from what is around it. */
std::wstring isolated(const std::wstring& text);

#endif
