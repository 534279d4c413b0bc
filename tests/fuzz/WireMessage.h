#ifndef TESTS_FUZZ_WIREMESSAGE_H
#define TESTS_FUZZ_WIREMESSAGE_H

#include "Input.h"

#include <cstdint>
#include <string>

/** A D-Bus message as bytes; the header is in order, the body may be anything. */
struct WireMessage
{
    enum Type : uint8_t
    {
        METHOD_RETURN = 2,
        ERROR = 3,
        SIGNAL = 4
    };

    Type type = METHOD_RETURN;
    bool isBigEndian = false;
    uint32_t serial = 1;
    uint32_t replySerial = 0;
    std::string errorName;
    std::string signature;
    std::string body;

    std::string bytes() const;
};

/** A body that is right for the signature, as far as that is one, with values from the input. */
std::string bodyOf(const std::string& signature, bool isBigEndian, Input& input);

#endif
