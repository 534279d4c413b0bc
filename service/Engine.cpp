#include <service/Engine.h>

#include <service/EngineLog.h>

#include <liblouis.h>

#include <algorithm>
#include <malloc.h>
#include <utility>

static_assert(sizeof(widechar) == sizeof(uint32_t), "the engine must take whole code points");

namespace {

constexpr uint32_t REPLACEMENT_CHARACTER = 0xFFFD;

// The engine cuts off what does not fit and says that all went well, so a
// translation that comes near the end of its room is not to be trusted.
constexpr std::size_t LEAST_SPARE_ROOM = 64;
// Whatever fills this is certainly too long.
constexpr std::size_t LARGEST_ROOM = Engine::LONGEST_OUTPUT + 2 * LEAST_SPARE_ROOM;

/** What the two directions differ in. */
struct Direction
{
    decltype(&lou_translate) call;
    int mode;
    std::size_t roomPerCodePoint;
};

constexpr Direction FORWARD{lou_translate, dotsIO | ucBrl, 4};
constexpr Direction BACK{lou_backTranslate, dotsIO, 8};

/** One run of the engine, as it came out. */
struct Run
{
    std::size_t consumed;
    std::vector<int> outputPositions;
    CodePoints output;
    bool hasFilledItsRoom;
};

bool isCharacter(uint32_t codePoint)
{
    const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
    return codePoint != 0 && codePoint <= 0x10FFFF && !isSurrogate;
}

/** Takes away what the engine must not see (NUL would end the text); returns how much that was. */
std::size_t replaceWhatIsNoCharacter(CodePoints& text)
{
    std::size_t replaced = 0;
    for (uint32_t& codePoint : text) {
        if (isCharacter(codePoint))
            continue;
        codePoint = REPLACEMENT_CHARACTER;
        ++replaced;
    }
    return replaced;
}

/** Braille patterns become the engine's own cells, the only ones that it translates back. */
void turnPatternsIntoCells(CodePoints& text)
{
    for (uint32_t& codePoint : text) {
        if ((codePoint & ~0xFFU) == LOU_ROW_BRAILLE)
            codePoint = LOU_DOTS | (codePoint & 0xFFU);
    }
}

std::size_t withinLength(int position, std::size_t length)
{
    return std::min(static_cast<std::size_t>(std::max(position, 0)), length);
}

/** What to throw when the engine refuses a table. */
Engine::Failure failureOf(const std::string& table)
{
    const std::string reason = engine_log::firstError();
    return Engine::Failure("the engine cannot use the table " + table +
                           (reason.empty() ? "" : ": " + reason));
}

Run runOnce(const Direction& direction, const std::string& table, const CodePoints& text,
            std::size_t room)
{
    Run run{0, std::vector<int>(text.size()), CodePoints(room), false};
    int consumed = static_cast<int>(text.size());
    int length = static_cast<int>(room);
    if (direction.call(table.c_str(), text.data(), &consumed, run.output.data(), &length, nullptr,
                       nullptr, run.outputPositions.data(), nullptr, nullptr, direction.mode) == 0)
        throw failureOf(table);
    run.consumed = withinLength(consumed, text.size());
    run.output.resize(withinLength(length, room));
    run.hasFilledItsRoom = room - run.output.size() < LEAST_SPARE_ROOM;
    return run;
}

Run runWithEnoughRoom(const Direction& direction, const std::string& table, const CodePoints& text)
{
    std::size_t room = std::min(direction.roomPerCodePoint * text.size() + 1024, LARGEST_ROOM);
    Run run = runOnce(direction, table, text, room);
    while (run.hasFilledItsRoom && room < LARGEST_ROOM) {
        room = std::min(2 * room, LARGEST_ROOM);
        run = runOnce(direction, table, text, room);
    }
    if (run.output.size() > Engine::LONGEST_OUTPUT)
        throw Engine::TooLong("the translation is longer than " +
                              std::to_string(Engine::LONGEST_OUTPUT) +
                              " code points; send the text in parts");
    return run;
}

/** The engine leaves out positions (-1), and with some tables it goes back: neither may show. */
std::vector<int32_t> positionMap(const Run& run)
{
    const std::size_t end = run.output.size();
    std::vector<int32_t> map(run.outputPositions.size() + 1, static_cast<int32_t>(end));
    std::size_t highest = 0;
    for (std::size_t position = 0; position < run.consumed; ++position) {
        highest = std::max(highest, withinLength(run.outputPositions[position], end));
        map[position] = static_cast<int32_t>(highest);
    }
    return map;
}

std::string diagnosticOf(const Run& run, std::size_t length, std::size_t replaced)
{
    std::string diagnostic;
    if (run.consumed < length)
        diagnostic += "translated " + std::to_string(run.consumed) + " of " +
                      std::to_string(length) + " code points";
    if (replaced > 0)
        diagnostic += (diagnostic.empty() ? "" : "; ") +
                      std::string("values that are no characters, taken as U+FFFD: ") +
                      std::to_string(replaced);
    return diagnostic;
}

EngineResult translate(const Direction& direction, const std::string& table, CodePoints text)
{
    if (text.empty())
        return {true, 0, {0}, {}, {}};
    const std::size_t replaced = replaceWhatIsNoCharacter(text);
    Run run = runWithEnoughRoom(direction, table, text);
    return {run.consumed == text.size(), run.consumed, positionMap(run), std::move(run.output),
            diagnosticOf(run, text.size(), replaced)};
}

} // namespace

Engine::Engine()
{
    engine_log::start();
}

void Engine::load(const std::string& table)
{
    if (lou_getTable(table.c_str()) == nullptr)
        throw failureOf(table);
}

EngineResult Engine::forward(const std::string& table, const CodePoints& text)
{
    return translate(FORWARD, table, text);
}

EngineResult Engine::back(const std::string& table, const CodePoints& text)
{
    CodePoints cells = text;
    turnPatternsIntoCells(cells);
    return translate(BACK, table, std::move(cells));
}

void Engine::giveMemoryBack()
{
    lou_free();
    malloc_trim(0);
}
