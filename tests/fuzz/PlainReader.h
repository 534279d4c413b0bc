#ifndef TESTS_FUZZ_PLAINREADER_H
#define TESTS_FUZZ_PLAINREADER_H

#include "BusPeer.h"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/** What a reply carries as a translation. */
struct PlainTranslation
{
    bool flag = false;
    int32_t value = 0;
    std::vector<int32_t> map;
    std::vector<bool> known;
    std::vector<uint32_t> translated;
    std::vector<uint32_t> untranslated;
    std::string text;
};

/** What a reply carries as the description of a translator. */
struct PlainDescription
{
    int32_t grade = 0;
    std::string name;
    bool flag = false;
    std::string id;
};

/** One reply, read by sd-bus's own functions and nothing else. */
class PlainReply
{
public:
    explicit PlainReply(sd_bus_message* itsMessage) : message(itsMessage, sd_bus_message_unref) {}

    bool isError() const;
    bool isEmpty() const;

    /** Either may be asked for, once. */
    std::optional<PlainTranslation> translation();
    std::optional<PlainDescription> description();

private:
    bool read(char type, void* value);
    bool readFlag(bool& flag);
    bool readString(std::string& text);
    template <typename Element>
    bool readArray(char type, std::vector<Element>& list);
    bool enter(char container, const char* contents);
    bool leave();

    std::unique_ptr<sd_bus_message, sd_bus_message* (*)(sd_bus_message*)> message;
};

/** A second connection, which sees the same replies as the library's. */
class PlainReader
{
public:
    PlainReader();

    /** Nothing if sd-bus drops these bytes, as it does with a message out of order. */
    std::optional<PlainReply> receive(const std::string& bytes);

private:
    std::unique_ptr<BusPeer> peer;
    std::unique_ptr<sd_bus, sd_bus* (*)(sd_bus*)> bus;
};

#endif
