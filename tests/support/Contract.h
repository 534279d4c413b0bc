#ifndef TESTS_SUPPORT_CONTRACT_H
#define TESTS_SUPPORT_CONTRACT_H

#include <map>
#include <string>

/** What the introspection XML says of a method. */
struct MethodSignatures
{
    std::string in;
    std::string out;

    friend bool operator==(const MethodSignatures& left, const MethodSignatures& right)
    {
        return left.in == right.in && left.out == right.out;
    }
};

using Methods = std::map<std::string, MethodSignatures>;

/** The methods of "braille.translator" by name, as introspection data tells them. */
Methods methodsOf(const std::string& xml);

/** The same, as the project's one contract has them. */
const Methods& contract();

#endif
