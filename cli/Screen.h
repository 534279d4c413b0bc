#ifndef CLI_SCREEN_H
#define CLI_SCREEN_H

#include "Exploration.h"

#include <chrono>
#include <cstddef>
#include <cwchar>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/** A key: a character, or one of the terminal library's codes. */
struct Key
{
    bool isFunction = false;
    wchar_t code = 0;
};

/**
 * The whole terminal, from the construction to the destruction. The hardware
 * cursor stands at what has the focus, so that screen readers follow it.
 */
class Screen
{
public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /** prompt: what is being asked for, and what has been typed, if anything is. */
    void draw(const Exploration& exploration, const std::optional<std::wstring>& prompt);

    /** Waits for a key, at most that long. Ends the program by SIGHUP if the terminal has gone. */
    static std::optional<Key> key(std::chrono::milliseconds patience);

    /**
     * For another thread that ends the program: restores the terminal, if there is a screen.
     * All other operations wait for ever then.
     */
    static void abandon();

private:
    struct Place
    {
        int row = 0;
        std::size_t column = 0;
    };

    static int typedKey(wint_t& code);
    Place drawText(const EditedText& text, std::size_t rows) const;
    Place drawBraille(const Exploration& exploration, int row) const;
    Place drawPrompt(int row, const std::wstring& prompt) const;
    void drawLine(int row, const std::wstring& text) const;

    // ncurses is not thread-safe.
    static std::mutex mutex;
    std::size_t columns = 1;
};

#endif
