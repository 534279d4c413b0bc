#ifndef TESTS_SUPPORT_ENVIRONMENT_H
#define TESTS_SUPPORT_ENVIRONMENT_H

#include <cstdlib>
#include <optional>
#include <string>

/** An environment variable that has another value for a while. */
class ScopedVariable
{
public:
    ScopedVariable(const char* variable, const char* value) : name(variable)
    {
        if (const char* old = std::getenv(variable))
            before = old;
        setenv(variable, value, 1);
    }

    ~ScopedVariable()
    {
        if (before)
            setenv(name, before->c_str(), 1);
        else
            unsetenv(name);
    }

    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* name;
    std::optional<std::string> before;
};

#endif
