#include "Subjects.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <boost/locale/encoding_utf.hpp>
#include <boost/locale/utf.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace {

using Result = BrlTranslationResult;

/** Keeps the compiler from leaving out what makes this object. */
template <typename Object>
void use(const Object& object)
{
    asm volatile("" : : "g"(&object) : "memory");
}

/** The same for a number, which need not be stored for it. */
void useNumber(unsigned number)
{
    asm volatile("" : : "r"(number));
}

/** A text of so many code points of one to four bytes each. */
std::string mixedText(std::size_t size)
{
    static const std::vector<std::string> CHARACTERS{"a", "e", " ",      "\u00e9", "\u00df",
                                                     "n", "r", "\u20ac", "\u2801", "\U0001f600"};
    std::string text;
    for (std::size_t position = 0; position < size; ++position)
        text += CHARACTERS[position * 7 % CHARACTERS.size()];
    return text;
}

std::string asciiText(std::size_t size)
{
    return std::string(size, 'a');
}

std::wstring wideText(std::size_t size)
{
    return std::wstring(size, L'\u2801');
}

std::vector<int> ascendingMap(std::size_t size)
{
    std::vector<int> map(size + 1);
    std::iota(map.begin(), map.end(), 0);
    return map;
}

std::vector<unsigned char> someCells(std::size_t size)
{
    std::vector<unsigned char> cells(size);
    std::iota(cells.begin(), cells.end(), static_cast<unsigned char>(0));
    return cells;
}

/** Constructs results, whose arguments have been copied beforehand. */
template <typename... Arguments>
class Construction : public Subject
{
public:
    Construction(std::size_t times, Arguments... arguments) : original(std::move(arguments)...)
    {
        results.reserve(times);
        copies.resize(times, original);
    }

    void prepare() override
    {
        results.clear();
        std::fill(copies.begin(), copies.end(), original);
    }

    void run() override
    {
        for (auto& copy : copies)
            std::apply([this](auto&... arguments) { make(std::move(arguments)...); }, copy);
    }

private:
    void make(Arguments&&... arguments)
    {
        results.emplace_back(nullptr, Result::FORWARD, std::move(arguments)...);
    }

    const std::tuple<Arguments...> original;
    std::vector<std::tuple<Arguments...>> copies;
    std::vector<Result> results;
};

template <typename... Arguments>
std::unique_ptr<Subject> construction(std::size_t times, Arguments... arguments)
{
    return std::make_unique<Construction<Arguments...>>(times, std::move(arguments)...);
}

/** Does the same thing so many times. */
template <typename Action>
class Repetition : public Subject
{
public:
    Repetition(std::size_t count, Action whatToDo) : times(count), action(std::move(whatToDo)) {}

    void run() override
    {
        for (std::size_t time = 0; time < times; ++time)
            action();
    }

private:
    const std::size_t times;
    Action action;
};

template <typename Action>
std::unique_ptr<Subject> repetition(std::size_t times, Action action)
{
    return std::make_unique<Repetition<Action>>(times, std::move(action));
}

/** Takes memory and fills it, in portions of so many bytes; frees it in prepare(). */
class Filling : public Subject
{
public:
    Filling(std::size_t times, std::vector<std::size_t> portions) : sizes(std::move(portions))
    {
        filled.resize(times * sizes.size());
    }

    void prepare() override
    {
        for (auto& memory : filled)
            memory.reset();
    }

    void run() override
    {
        for (std::size_t portion = 0; portion < filled.size(); ++portion) {
            const std::size_t size = sizes[portion % sizes.size()];
            filled[portion] = std::unique_ptr<char[]>(new char[size]);
            std::memset(filled[portion].get(), 0, size);
            use(*filled[portion].get());
        }
    }

private:
    const std::vector<std::size_t> sizes;
    std::vector<std::unique_ptr<char[]>> filled;
};

std::unique_ptr<Subject> fillMap(std::size_t size, std::size_t times)
{
    const std::size_t entries = size + 1;
    return std::make_unique<Filling>(
        times, std::vector<std::size_t>{entries * sizeof(int), (entries + 7) / 8});
}

std::unique_ptr<Subject> fillFlags(std::size_t size, std::size_t times)
{
    return std::make_unique<Filling>(times, std::vector<std::size_t>{(size + 8) / 8});
}

/** Boost.Locale's decoder and nothing around it. */
std::unique_ptr<Subject> decode(std::size_t times, std::string text)
{
    return repetition(times, [text = std::move(text)] {
        const char* next = text.data();
        const char* const end = next + text.size();
        while (next != end)
            useNumber(boost::locale::utf::utf_traits<char>::decode(next, end));
    });
}

std::unique_ptr<Subject> convert(std::size_t size, std::size_t times)
{
    return repetition(times, [text = wideText(size)] {
        use(boost::locale::conv::utf_to_utf<char>(text, boost::locale::conv::skip));
    });
}

std::unique_ptr<Subject> readMap(std::size_t size, std::size_t times)
{
    return repetition(times, [map = ascendingMap(size)] {
        for (const int entry : map)
            useNumber(static_cast<unsigned>(entry));
    });
}

Result knownResult(std::size_t size)
{
    return {nullptr, Result::FORWARD, wideText(size), wideText(size), ascendingMap(size)};
}

std::unique_ptr<Subject> lookUp(std::size_t size, std::size_t times)
{
    return repetition(times, [result = knownResult(size), size]() mutable {
        for (std::size_t position = 0; position < size; ++position)
            useNumber(
                static_cast<unsigned>(result.getTranslatedPositionW(static_cast<int>(position))));
    });
}

/** Searches a map of one entry more than the size, all over it. */
std::unique_ptr<Subject> searchMap(std::size_t size, std::size_t times)
{
    return repetition(times, [result = knownResult(size), size]() mutable {
        constexpr std::size_t SEARCHES = 1000;
        for (std::size_t search = 0; search < SEARCHES; ++search)
            useNumber(static_cast<unsigned>(
                result.getOriginalPositionW(static_cast<int>(search * 7919 % (size + 1)))));
    });
}

std::unique_ptr<Subject> copyBytes(std::size_t times, std::string text)
{
    return repetition(times, [text = std::move(text)] { use(std::string(text)); });
}

std::vector<SubjectKind> leastCosts()
{
    return {
        {"filling a map", "code point", "", fillMap},
        {"filling flags", "code point", "", fillFlags},
        {"reading a map", "lookup", "", readMap},
        {"decoding two, ASCII", "code point", "",
         [](auto size, auto times) { return decode(2 * times, asciiText(size)); }},
        {"decoding two, mixed", "code point", "",
         [](auto size, auto times) { return decode(2 * times, mixedText(size)); }},
        {"decoding, mixed", "code point", "",
         [](auto size, auto times) { return decode(times, mixedText(size)); }},
        {"converting to UTF-8", "cell", "", convert},
        {"copying a dump", "code point", "",
         [](auto size, auto times) { return copyBytes(times, knownResult(size).toString()); }},
    };
}

std::vector<SubjectKind> constructors()
{
    return {
        {"constructor 1, ASCII", "code point", "decoding two, ASCII",
         [](auto size, auto times) {
             return construction(times, asciiText(size), asciiText(size));
         }},
        {"constructor 1, mixed", "code point", "decoding two, mixed",
         [](auto size, auto times) {
             return construction(times, mixedText(size), mixedText(size));
         }},
        {"constructor 2", "code point", "filling flags",
         [](auto size, auto times) {
             return construction(times, asciiText(size), asciiText(size), ascendingMap(size));
         }},
        {"constructor 3, ASCII", "code point", "decoding two, ASCII",
         [](auto size, auto times) {
             return construction(times, asciiText(size), asciiText(size), 5, 5);
         }},
        {"constructor 3, mixed", "code point", "decoding two, mixed",
         [](auto size, auto times) {
             return construction(times, mixedText(size), mixedText(size), 5, 5);
         }},
        {"constructor 4", "code point", "filling a map",
         [](auto size, auto times) { return construction(times, wideText(size), wideText(size)); }},
        {"constructor 5", "code point", "filling flags",
         [](auto size, auto times) {
             return construction(times, wideText(size), wideText(size), ascendingMap(size));
         }},
        {"constructor 6", "code point", "",
         [](auto size, auto times) {
             return construction(times, wideText(size), wideText(size), ascendingMap(size),
                                 std::vector<bool>(size + 1, true));
         }},
        {"constructor 7", "code point", "filling a map",
         [](auto size, auto times) {
             return construction(times, wideText(size), wideText(size), 5, 5);
         }},
    };
}

std::vector<SubjectKind> operations()
{
    return {
        {"getTranslatedPositionW", "lookup", "reading a map", lookUp},
        {"getOriginalPositionW", "search", "", searchMap},
        {"unicodeBraillify", "cell", "converting to UTF-8",
         [](auto size, auto times) {
             return repetition(times,
                               [cells = someCells(size)] { use(Result::unicodeBraillify(cells)); });
         }},
        {"unUnicodeBraillify, mixed", "code point", "decoding, mixed",
         [](auto size, auto times) {
             return repetition(times,
                               [text = mixedText(size)] { use(Result::unUnicodeBraillify(text)); });
         }},
        {"asciiBrailleToUnicodeBraille, mixed", "code point", "decoding, mixed",
         [](auto size, auto times) {
             return repetition(times, [text = mixedText(size)] {
                 use(Result::asciiBrailleToUnicodeBraille(text));
             });
         }},
        {"toString", "code point", "copying a dump",
         [](auto size, auto times) {
             return repetition(times,
                               [result = knownResult(size)]() mutable { use(result.toString()); });
         }},
    };
}

std::vector<SubjectKind> joined(std::initializer_list<std::vector<SubjectKind>> lists)
{
    std::vector<SubjectKind> all;
    for (const auto& list : lists)
        all.insert(all.end(), list.begin(), list.end());
    return all;
}

} // namespace

const std::vector<SubjectKind>& allSubjects()
{
    static const std::vector<SubjectKind> subjects =
        joined({leastCosts(), constructors(), operations()});
    return subjects;
}

const SubjectKind& subjectNamed(const std::string& name)
{
    const auto& subjects = allSubjects();
    const auto found = std::find_if(subjects.begin(), subjects.end(),
                                    [&](const SubjectKind& kind) { return kind.name == name; });
    if (found == subjects.end())
        throw std::runtime_error("no subject \"" + name + "\"");
    return *found;
}
