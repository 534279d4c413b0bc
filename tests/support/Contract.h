#ifndef TESTS_SUPPORT_CONTRACT_H
#define TESTS_SUPPORT_CONTRACT_H

#include <map>
#include <string>

/** What the introspection XML says of a method. */
struct MethodSignatures
{
    std::string in;
    std::string out;
};

/** The methods of "braille.translator" by name, read from the project's one contract. */
const std::map<std::string, MethodSignatures>& contract();

#endif
