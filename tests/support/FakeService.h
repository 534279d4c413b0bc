#ifndef TESTS_SUPPORT_FAKESERVICE_H
#define TESTS_SUPPORT_FAKESERVICE_H

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <systemd/sd-bus.h>
#include <thread>
#include <vector>

/** One call as it came over the bus. */
struct Call
{
    std::string sender;
    std::string destination;
    std::string path;
    std::string interface;
    std::string member;
    std::string signature;
    bool expectsReply = false;
    bool mayStartService = false;
    std::string text; ///< the first argument, where that is a string
    std::vector<uint32_t> codePoints;
    int32_t cursor = 0;
};

/** The fields of a translation's reply, in the order of the wire. */
struct TranslationFields
{
    bool flag = true;
    int32_t value = 0;
    std::vector<int32_t> posMap;
    std::vector<bool> known;
    std::vector<uint32_t> translated;
    std::vector<uint32_t> untranslated;
    std::string text;
};

/** Answers a call, or does not. Runs on the fake service's thread. */
using Responder = std::function<void(sd_bus_message* call)>;

/** Writes any body at all into a reply. */
using BodyWriter = std::function<void(sd_bus_message* reply)>;

/** What the fake service can be told to answer. */
namespace answer {

Responder body(BodyWriter writeBody);
Responder translation(TranslationFields fields);
Responder translator(int32_t grade, const std::string& name, bool flag, const std::string& id);
Responder nothing(); ///< a reply with an empty body
Responder error(const std::string& name, const std::string& text);
Responder silence(); ///< no reply, ever

/** The structure of a translation's reply, for replies that hold more or other things too. */
void append(sd_bus_message* message, const TranslationFields& fields);

/** A plain translation: the text as it came, and one cell for each of its code points. */
void echo(sd_bus_message* call);

} // namespace answer

/**
 * A Translator service that does what the test tells it and records every call
 * that it gets. Written on sd-bus itself, because sdbus-c++ would only let it
 * send well-formed replies. Has a connection and a thread of its own.
 */
class FakeService
{
public:
    /** Connects, takes the service's name, and serves; all calls fail until told otherwise. */
    explicit FakeService(const std::string& busAddress);
    ~FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    /** From now on, the answer to calls of that method. */
    void on(const std::string& member, Responder responder);

    /** All calls since the last clear, in the order of their arrival. */
    std::vector<Call> calls() const;

    /** The same, once there are that many. */
    std::vector<Call> waitForCalls(std::size_t count) const;
    void clearCalls();

    /** Gives the service's name up, or takes it again. The bus knows when this returns. */
    void releaseName();
    void requestName();

    /** Runs something on the fake's thread, with its connection, and waits for it. */
    void run(const std::function<void(sd_bus*)>& task);

    static const char* busName() { return TEST_BUS_NAME; }

private:
    static int onMessage(sd_bus_message* message, void* self, sd_bus_error* error);
    void serve();
    void runTasks();
    void record(sd_bus_message* message);

    sd_bus* bus;
    int wakeUp;
    mutable std::mutex mutex;
    mutable std::condition_variable arrived;
    std::vector<Call> received;
    std::map<std::string, Responder> responders;
    std::vector<std::packaged_task<void()>> tasks;
    bool stopping = false;
    std::thread thread;
};

#endif
