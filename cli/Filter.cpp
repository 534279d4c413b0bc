#include "Filter.h"

#include "Cells.h"
#include "FailureReport.h"
#include "Utf8.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

// Beyond it, a line is too long for the bus whatever is in it.
constexpr std::size_t LONGEST_LINE = 40000000;

// A call is mostly waiting for other processes: lines that are there already go to the
// service over several connections at once. A few are not worth opening them.
constexpr std::size_t MOST_CONNECTIONS = 4;
constexpr std::size_t LINES_WORTH_HELP = 16;
constexpr std::size_t MOST_LINES_AT_ONCE = 256;

std::wstring decoded(const std::string& bytes)
{
    DecodedText text = decodeUtf8(bytes);
    if (text.malformedAt)
        throw Complaint(Status::NOT_TRANSLATED, malformedUtf8At(*text.malformedAt));
    return std::move(text.text);
}

} // namespace

/** A line of the input, and what becomes of it. */
struct Filter::Line
{
    std::string input;
    bool isCut = false;
    std::string output = {};
    std::optional<Complaint> complaint = {};

    bool isDone = false;

    bool endsAll() const { return complaint && complaint->status() == Status::NO_SERVICE; }
};

/** Lines that several threads translate. Each is written as soon as all before it are. */
class Filter::Batch
{
public:
    Batch(Filter& owner, std::vector<Line>& all) : filter(owner), lines(all) {}

    /** The next line, or NULL if there is none to be translated. */
    Line* take()
    {
        // Looked at first: a line that is taken is given back, or none behind it would be written.
        if (isOver)
            return nullptr;
        const std::size_t number = next++;
        return number < lines.size() ? &lines[number] : nullptr;
    }

    void giveBack(Line& line)
    {
        const std::lock_guard lock(mutex);
        line.isDone = true;
        isOver = isOver || line.endsAll();
        try {
            while (failure == nullptr && written < lines.size() && lines[written].isDone)
                filter.write(lines[written++]);
        } catch (...) {
            failure = std::current_exception();
            isOver = true;
        }
    }

    /** Once all threads have ended: throws what has kept a line from being written. */
    void finish() const
    {
        if (failure != nullptr)
            std::rethrow_exception(failure);
    }

private:
    Filter& filter;
    std::vector<Line>& lines;
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> isOver = false;
    std::mutex mutex;
    std::size_t written = 0;
    std::exception_ptr failure;
};

Filter::Filter(Session& connection, const Options& wishes, Output& destination)
    : session(connection), options(wishes), output(destination), progress(!wishes.isQuiet)
{
}

Filter::~Filter() = default;

Status Filter::translate(const std::string& text)
{
    std::size_t begin = 0;
    do {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::vector<Line> line = {{text.substr(begin, end - begin)}};
        translateLines(line);
        begin = end + 1;
    } while (begin < text.size());
    return worst;
}

Status Filter::translateStandardInput()
{
    LineReader reader(STDIN_FILENO, "standard input", LONGEST_LINE);
    for (std::string line; reader.next(line);) {
        std::vector<Line> lines = {{std::move(line), reader.wasCut()}};
        while (lines.size() < mostLinesAtOnce() && reader.hasLine() && reader.next(line))
            lines.push_back({std::move(line), reader.wasCut()});
        translateLines(lines);
    }
    return worst;
}

/** A person who looks on is to see each as soon as it is there. */
std::size_t Filter::mostLinesAtOnce() const
{
    return output.isLineBuffered() ? 1 : MOST_LINES_AT_ONCE;
}

void Filter::translateLines(std::vector<Line>& lines)
{
    if (lines.size() >= LINES_WORTH_HELP)
        return translateTogether(lines);
    for (Line& line : lines) {
        translateLine(session, line);
        write(line);
    }
}

void Filter::translateTogether(std::vector<Line>& lines)
{
    Batch batch(*this, lines);
    const auto takeLines = [&](Session* with) {
        if (with == nullptr)
            return;
        while (Line* const line = batch.take()) {
            translateLine(*with, *line);
            batch.giveBack(*line);
        }
    };
    std::vector<std::thread> threads;
    helpers.resize(MOST_CONNECTIONS - 1);
    for (std::unique_ptr<Session>& helper : helpers)
        threads.emplace_back([&] { takeLines(connected(helper)); });
    takeLines(&session);
    for (std::thread& thread : threads)
        thread.join();
    batch.finish();
}

/** Without it, the others have more to do. */
Session* Filter::connected(std::unique_ptr<Session>& helper) const
try {
    if (helper == nullptr) {
        auto opened = std::make_unique<Session>();
        opened->use({session.translatorId(), nullptr});
        helper = std::move(opened);
    }
    return helper.get();
} catch (const std::exception&) {
    return nullptr;
}

void Filter::translateLine(Session& with, Line& line) const
try {
    if (line.isCut)
        throw Complaint(Status::NOT_TRANSLATED, "it has more than " + std::to_string(LONGEST_LINE) +
                                                    " bytes, which is too long for the bus");
    line.output = translated(with, line.input);
} catch (const Complaint& complaint) {
    line.complaint = complaint;
} catch (const std::exception& error) {
    line.complaint = Complaint(Status::NOT_TRANSLATED, error.what());
}

std::string Filter::translated(Session& with, const std::string& line) const
{
    std::wstring text = decoded(line);
    if (options.isBack)
        text = options.inputIsDots ? cellsOfDots(text) : cellsOfText(std::move(text));
    requireCursorIn(text);
    const auto cursor = options.viewOptions.cursor;
    const auto result = options.isBack ? with.back(text, cursor) : with.forward(text, cursor);
    std::string view = options.view(*result, options.viewOptions);
    throwIfACallHasFailed();
    return view;
}

void Filter::requireCursorIn(const std::wstring& text) const
{
    const auto cursor = options.viewOptions.cursor;
    if (cursor && static_cast<std::size_t>(*cursor) > text.size())
        throw Complaint(Status::NOT_TRANSLATED,
                        "the cursor, at position " + std::to_string(*cursor) +
                            ", is outside the text, whose end is at position " +
                            std::to_string(text.size()));
}

void Filter::write(const Line& line)
{
    ++done;
    if (line.complaint) {
        const std::string what = "line " + std::to_string(done) + ": " + line.complaint->what();
        if (line.endsAll())
            throw Complaint(Status::NO_SERVICE, what);
        progress.clear();
        worst = std::max(worst, complain({line.complaint->status(), what}));
    }
    // Where the view of a line has several, the next one's begins behind a gap.
    if (options.viewOptions.areApart && hasWritten && !line.output.empty())
        output.write("\n");
    hasWritten = hasWritten || !line.output.empty();
    output.write(line.output);
    progress.show(done);
}
