#ifndef CLI_EDITEDTEXT_H
#define CLI_EDITEDTEXT_H

#include <cstddef>
#include <string>
#include <vector>

/** Lines of text, of which there is always one, and a cursor in them that each operation moves. */
class EditedText
{
public:
    explicit EditedText(std::vector<std::wstring> content = {});

    const std::vector<std::wstring>& lines() const { return text; }
    const std::wstring& line() const { return text[row]; }

    /** Where the cursor is: a line, and a position in it, at most its end. */
    std::size_t lineNumber() const { return row; }
    std::size_t position() const { return column; }

    void moveTo(std::size_t newPosition);
    void left();
    void right();
    void up();
    void down();
    void home() { column = 0; }
    void end() { column = line().size(); }

    void insert(wchar_t character);
    void breakLine();
    void eraseBefore();
    void eraseAt();

private:
    bool isAtEndOfText() const { return row + 1 == text.size() && column == line().size(); }
    void goToLine(std::size_t number);
    void joinNextLine();

    std::vector<std::wstring> text;
    std::size_t row = 0;
    std::size_t column = 0;
};

#endif
