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

/** On the bus library alone, with arrays handed over whole where it can do that. */
std::unique_ptr<Client> openBulkClient();

/** On the bus library alone, with arrays handed over element by element, as bindings do. */
std::unique_ptr<Client> openElementClient();

/** A plain call with the D-Bus binding, whose event loop has been left as the library leaves it. */
std::unique_ptr<Client> openBindingClient();

/** The same, with signals and stray messages kept off the call as the library keeps them. */
std::unique_ptr<Client> openGuardedBindingClient();

/** The same as the first with the binding as it comes: calls are handed over to its thread. */
std::unique_ptr<Client> openLoopingBindingClient();

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
