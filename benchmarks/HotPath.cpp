/**
 * Usage: hot-path NAME SIZE
 *
 * Does one of the operations of Subjects.h once, for a tool that counts the
 * instructions inside measured().
 */
#include "Subjects.h"

#include <exception>
#include <iostream>
#include <string>

/** Has a name of its own in the program, so that a tool can tell when it runs. */
[[gnu::noinline]] void measured(Subject& subject)
{
    subject.run();
}

int main(int argc, char** argv)
try {
    if (argc != 3) {
        std::cerr << "Usage: hot-path NAME SIZE\n";
        return 2;
    }
    const auto subject = subjectNamed(argv[1]).make(std::stoul(argv[2]), 1);
    subject->prepare();
    measured(*subject);
} catch (const std::exception& error) {
    std::cerr << "hot-path: " << error.what() << '\n';
    return 1;
}
