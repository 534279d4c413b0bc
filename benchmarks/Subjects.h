#ifndef BENCHMARKS_SUBJECTS_H
#define BENCHMARKS_SUBJECTS_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/** What is measured: an operation of the library that needs no bus, or the least it could cost. */
class Subject
{
public:
    Subject() = default;
    virtual ~Subject() = default;
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    /** What must be there before each run() and is not part of it. */
    virtual void prepare() {}

    virtual void run() = 0;
};

struct SubjectKind
{
    std::string name;
    /** What the size counts: "code point", "lookup", "cell" or "search". */
    std::string unit;
    /** The kind, by name, that does no more than what cannot be saved; empty for such a kind. */
    std::string floor;
    /** For so many units, and everything so many times in one run(). */
    std::function<std::unique_ptr<Subject>(std::size_t size, std::size_t times)> make;
};

const std::vector<SubjectKind>& allSubjects();

/** Throws std::runtime_error if there is none. */
const SubjectKind& subjectNamed(const std::string& name);

#endif
