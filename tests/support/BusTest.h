#ifndef TESTS_SUPPORT_BUSTEST_H
#define TESTS_SUPPORT_BUSTEST_H

#include "FakeService.h"
#include "LogCapture.h"
#include "PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

/** A test with a bus of its own, a fake service on it, and the library's log records. */
class BusTest : public testing::Test
{
protected:
    PrivateBus bus;
    FakeService service{bus.address()};
    LogCapture log;
};

inline std::vector<uint32_t> codePointsOf(const std::wstring& text)
{
    return {text.begin(), text.end()};
}

/** A function's signature without the blanks around * and & that compilers disagree about. */
inline std::string withoutBlanksAtStars(const std::string& function)
{
    const auto isStar = [](char character) { return character == '*' || character == '&'; };
    std::string compact;
    for (std::size_t at = 0; at < function.size(); ++at) {
        const bool isBeforeStar = at + 1 < function.size() && isStar(function[at + 1]);
        const bool isAfterStar = !compact.empty() && isStar(compact.back());
        if (function[at] != ' ' || !(isBeforeStar || isAfterStar))
            compact += function[at];
    }
    return compact;
}

/** A line of one of the project's files. */
inline std::string lineOf(const std::string& file, int number)
{
    std::ifstream lines(TEST_SOURCE_FOLDER "/" + file);
    std::string line;
    while (number-- > 0)
        std::getline(lines, line);
    return line;
}

/** A record at ERROR: "operation : reason", from a source file and a function. */
MATCHER_P3(IsFailure, operation, file, function, "")
{
    const std::string start = std::string(operation) + " : ";
    *result_listener << "message '" << arg.message << "', file '" << arg.file << "', function '"
                     << arg.function << "'";
    return arg.level == log4cplus::ERROR_LOG_LEVEL && arg.message.rfind(start, 0) == 0 &&
           arg.message.size() > start.size() && arg.message.back() != '\n' && arg.file == file &&
           lineOf(file, arg.line).find("LOG_FAILURE(error)") != std::string::npos &&
           withoutBlanksAtStars(arg.function) == withoutBlanksAtStars(function);
}

#endif
