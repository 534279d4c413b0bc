#ifndef BENCHMARKS_CLIENT_H
#define BENCHMARKS_CLIENT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/**
 * One way to have a text translated over the bus. Each takes a wide text, has a
 * connection of its own to the system bus, and keeps what the last reply held:
 * both texts, the position map and its flags.
 */
class Client
{
public:
    Client() = default;
    virtual ~Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /** Throws what is derived from std::exception if the call fails. */
    virtual void translate(const std::wstring& text) = 0;

    /** The translated text that the last call has brought. */
    virtual std::vector<uint32_t> translated() const = 0;

    /** How many entries the position map has that the last call has brought. */
    virtual std::size_t positions() const = 0;
};

struct ClientKind
{
    std::string name;
    std::function<std::unique_ptr<Client>()> open;
};

/** sd-bus alone, with arrays of numbers whole. */
std::unique_ptr<Client> openWholeArraysClient();

/** sd-bus alone, with arrays element by element, as sdbus-c++ 1.2 handles them. */
std::unique_ptr<Client> openElementByElementClient();

/** A plain call with sdbus-c++, without a thread, as the library uses it. */
std::unique_ptr<Client> openSdbusCppClient();

/** The same, with signals and unsolicited messages kept off the call as the library does. */
std::unique_ptr<Client> openGuardedSdbusCppClient();

/** A plain call while sdbus-c++ runs its event loop on the connection, in a thread. */
std::unique_ptr<Client> openLoopingSdbusCppClient();

/** The library. */
std::unique_ptr<Client> openLibraryClient();

/** GLib's D-Bus library. */
std::unique_ptr<Client> openGdbusClient();

/** What all but the library must be told. */
namespace contract {

constexpr const char* BUS_NAME = TEST_BUS_NAME;
constexpr const char* OBJECT_PATH = "/translator";
constexpr const char* INTERFACE = "braille.translator";
constexpr const char* METHOD = "forwardW";
constexpr const char* TRANSLATOR = "en-ueb-g2.ctb";
constexpr int CURSOR = 0;

} // namespace contract

#endif
