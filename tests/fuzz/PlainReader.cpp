#include "PlainReader.h"

#include "Check.h"
#include "WireMessage.h"

#include <sys/socket.h>

#include <utility>

namespace {

/** Comes after each reply, to tell a reply that was dropped from one that is late. */
constexpr uint32_t END_SERIAL = 0x7FFFFFFF;

} // namespace

bool PlainReply::isError() const
{
    return sd_bus_message_is_method_error(message.get(), nullptr) > 0;
}

bool PlainReply::isEmpty() const
{
    return sd_bus_message_is_empty(message.get()) > 0;
}

bool PlainReply::read(char type, void* value)
{
    return sd_bus_message_read_basic(message.get(), type, value) > 0;
}

bool PlainReply::readFlag(bool& flag)
{
    int number = 0;
    if (!read('b', &number))
        return false;
    flag = number != 0;
    return true;
}

bool PlainReply::readString(std::string& text)
{
    const char* start = nullptr;
    if (!read('s', &start))
        return false;
    text = start;
    return true;
}

template <typename Element>
bool PlainReply::readArray(char type, std::vector<Element>& list)
{
    if (!enter('a', std::string(1, type).c_str()))
        return false;
    while (sd_bus_message_at_end(message.get(), 0) == 0) {
        // Large enough for every type that is read here, flags too.
        int32_t element = 0;
        if (!read(type, &element))
            return false;
        list.push_back(static_cast<Element>(element));
    }
    return leave();
}

bool PlainReply::enter(char container, const char* contents)
{
    return sd_bus_message_enter_container(message.get(), container, contents) > 0;
}

bool PlainReply::leave()
{
    return sd_bus_message_exit_container(message.get()) > 0;
}

std::optional<PlainTranslation> PlainReply::translation()
{
    PlainTranslation fields;
    const bool isComplete = enter('r', "biaiabauaus") && readFlag(fields.flag) &&
                            read('i', &fields.value) && readArray('i', fields.map) &&
                            readArray('b', fields.known) && readArray('u', fields.translated) &&
                            readArray('u', fields.untranslated) && readString(fields.text) &&
                            leave();
    if (!isComplete)
        return std::nullopt;
    return fields;
}

std::optional<PlainDescription> PlainReply::description()
{
    PlainDescription fields;
    const bool isComplete = enter('r', "isbs") && read('i', &fields.grade) &&
                            readString(fields.name) && readFlag(fields.flag) &&
                            readString(fields.id) && leave();
    if (!isComplete)
        return std::nullopt;
    return fields;
}

PlainReader::PlainReader() : bus(nullptr, sd_bus_close_unref)
{
    int ends[2];
    check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "making a connection");
    peer = std::make_unique<BusPeer>(ends[0]);
    peer->welcome();
    sd_bus* fresh = nullptr;
    check(sd_bus_new(&fresh) >= 0, "making a bus");
    bus.reset(fresh);
    check(sd_bus_set_fd(fresh, ends[1], ends[1]) >= 0 && sd_bus_set_bus_client(fresh, 1) >= 0 &&
              sd_bus_start(fresh) >= 0,
          "starting a bus");
    while (sd_bus_is_ready(fresh) == 0)
        check(sd_bus_process(fresh, nullptr) >= 0, "connecting to a bus");
}

std::optional<PlainReply> PlainReader::receive(const std::string& bytes)
{
    WireMessage end;
    end.replySerial = END_SERIAL;
    peer->send(bytes + end.bytes());
    std::optional<PlainReply> reply;
    for (;;) {
        sd_bus_message* message = nullptr;
        check(sd_bus_process(bus.get(), &message) >= 0, "receiving from the bus");
        if (message == nullptr)
            continue;
        uint64_t answered = 0;
        sd_bus_message_get_reply_cookie(message, &answered);
        PlainReply received(message);
        if (answered == END_SERIAL)
            break;
        reply.emplace(std::move(received));
    }
    peer->forgetRequests();
    return reply;
}
