#include <service/CloseNames.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <optional>
#include <utility>

namespace {

constexpr std::size_t MOST_NAMES = 3;

/** As people write names of languages and tables, without what they do not care about. */
std::string plain(std::string name)
{
    for (char& character : name) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        if (character == '_' || character == ' ')
            character = '-';
    }
    return name;
}

bool beginsWith(const std::string& text, const std::string& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

/** How many characters to insert, remove or replace to make one of the other (Levenshtein). */
std::size_t editsBetween(const std::string& one, const std::string& other)
{
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (const char character : one) {
        std::size_t diagonal = row[0]++;
        for (std::size_t column = 0; column < other.size(); ++column) {
            const std::size_t replaced = diagonal + (other[column] == character ? 0 : 1);
            diagonal = row[column + 1];
            row[column + 1] = std::min({replaced, row[column] + 1, row[column + 1] + 1});
        }
    }
    return row.back();
}

/** How far a name is from what was asked for, if it may have been meant. */
std::optional<std::size_t> distance(const std::string& asked, const std::string& name)
{
    if (asked.empty() || asked.size() > 2 * name.size() + 2)
        return std::nullopt;
    if (beginsWith(name, asked) || beginsWith(asked, name))
        return 0;
    const std::size_t edits = editsBetween(asked, name);
    return edits <= asked.size() / 3 ? std::optional(edits) : std::nullopt;
}

std::optional<std::size_t> distance(const std::string& asked, const Named& candidate)
{
    std::optional<std::size_t> least = distance(asked, plain(candidate.name));
    for (const std::string& name : candidate.otherwise) {
        const auto other = distance(asked, plain(name));
        if (other && (!least || *other < *least))
            least = other;
    }
    return least;
}

} // namespace

std::vector<std::string> closeNames(const std::string& asked, const std::vector<Named>& all)
{
    const std::string wanted = plain(asked);
    std::vector<std::pair<std::size_t, std::string>> close;
    for (const Named& candidate : all) {
        if (const auto far = distance(wanted, candidate))
            close.emplace_back(*far, candidate.name);
    }
    const auto isCloser = [](const auto& one, const auto& other) {
        return one.first < other.first;
    };
    std::stable_sort(close.begin(), close.end(), isCloser);
    close.resize(std::min(close.size(), MOST_NAMES));
    std::vector<std::string> names;
    names.reserve(close.size());
    for (auto& [far, name] : close)
        names.push_back(std::move(name));
    return names;
}
