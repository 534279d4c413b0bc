#ifndef CLI_FAILUREREPORT_H
#define CLI_FAILUREREPORT_H

#include <optional>
#include <string>
#include <string_view>

/** Why a call to the Translator service failed. */
struct ServiceFailure
{
    std::string errorName; ///< of the D-Bus error, empty if it was none
    std::string message;

    /** Whether the service itself has said no, as opposed to nobody being there. */
    bool isAnswer() const;

    bool isUnknownTranslator() const;
};

/** Takes an error text of the binding apart: "[name] message". */
ServiceFailure toFailure(std::string_view errorText);

/**
 * The library reports failures to its host's log and returns neutral values.
 * This program is that host: it keeps the last record, to tell a person.
 * Returns the failure since the last call, if there was one.
 */
std::optional<ServiceFailure> takeFailure();

#endif
