#include "FakeService.h"

#include "SdBusConnection.h"

#include <array>
#include <cstring>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace {

std::string orEmpty(const char* text)
{
    return text == nullptr ? "" : text;
}

bool wantsReply(sd_bus_message* call)
{
    return sd_bus_message_get_expect_reply(call) > 0;
}

template <typename Element, typename Value = Element>
void appendArray(sd_bus_message* message, char type, const std::vector<Element>& elements)
{
    const std::array<char, 2> contents{type, '\0'};
    require(sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, contents.data()), "open");
    for (const Element element : elements) {
        const Value value = element;
        require(sd_bus_message_append_basic(message, type, &value), "append");
    }
    require(sd_bus_message_close_container(message), "close");
}

void readCodePoints(sd_bus_message* message, std::vector<uint32_t>& codePoints)
{
    const void* data = nullptr;
    std::size_t size = 0;
    require(sd_bus_message_read_array(message, SD_BUS_TYPE_UINT32, &data, &size), "read_array");
    codePoints.resize(size / sizeof(uint32_t));
    if (size > 0)
        std::memcpy(codePoints.data(), data, size);
}

} // namespace

namespace answer {

Responder body(BodyWriter writeBody)
{
    return [writeBody = std::move(writeBody)](sd_bus_message* call) {
        if (!wantsReply(call))
            return;
        sd_bus_message* reply = nullptr;
        require(sd_bus_message_new_method_return(call, &reply), "new_method_return");
        writeBody(reply);
        require(sd_bus_send(nullptr, reply, nullptr), "send");
        sd_bus_message_unref(reply);
    };
}

void append(sd_bus_message* message, const TranslationFields& fields)
{
    require(sd_bus_message_open_container(message, SD_BUS_TYPE_STRUCT, "biaiabauaus"), "open");
    require(sd_bus_message_append(message, "bi", int{fields.flag}, fields.value), "append");
    appendArray(message, SD_BUS_TYPE_INT32, fields.posMap);
    appendArray<bool, int>(message, SD_BUS_TYPE_BOOLEAN, fields.known);
    appendArray(message, SD_BUS_TYPE_UINT32, fields.translated);
    appendArray(message, SD_BUS_TYPE_UINT32, fields.untranslated);
    require(sd_bus_message_append(message, "s", fields.text.c_str()), "append");
    require(sd_bus_message_close_container(message), "close");
}

Responder translation(TranslationFields fields)
{
    return body([fields = std::move(fields)](sd_bus_message* reply) { append(reply, fields); });
}

Responder translator(int32_t grade, const std::string& name, bool flag, const std::string& id)
{
    return body([=](sd_bus_message* reply) {
        require(sd_bus_message_append(reply, "(isbs)", grade, name.c_str(), int{flag}, id.c_str()),
                "append");
    });
}

Responder nothing()
{
    return body([](sd_bus_message*) {});
}

Responder error(const std::string& name, const std::string& text)
{
    return [=](sd_bus_message* call) {
        if (wantsReply(call))
            require(sd_bus_reply_method_errorf(call, name.c_str(), "%s", text.c_str()), "error");
    };
}

Responder silence()
{
    return [](sd_bus_message*) {};
}

void echo(sd_bus_message* call)
{
    TranslationFields fields;
    require(sd_bus_message_rewind(call, 1), "rewind");
    require(sd_bus_message_skip(call, "s"), "skip");
    readCodePoints(call, fields.untranslated);
    for (std::size_t position = 0; position <= fields.untranslated.size(); ++position)
        fields.posMap.push_back(static_cast<int32_t>(position));
    fields.known.assign(fields.posMap.size(), true);
    for (const uint32_t codePoint : fields.untranslated)
        fields.translated.push_back(0x2800U | (codePoint & 0xffU));
    translation(std::move(fields))(call);
}

} // namespace answer

FakeService::FakeService(const std::string& busAddress)
    : bus(connectTo(busAddress)), wakeUp(eventfd(0, EFD_CLOEXEC))
{
    require(sd_bus_add_filter(bus, nullptr, onMessage, this), "add_filter");
    require(sd_bus_request_name(bus, busName(), 0), "request_name");
    thread = std::thread([this] { serve(); });
}

FakeService::~FakeService()
{
    {
        const std::lock_guard lock(mutex);
        stopping = true;
    }
    eventfd_write(wakeUp, 1);
    thread.join();
    sd_bus_flush_close_unref(bus);
    close(wakeUp);
}

void FakeService::on(const std::string& member, Responder responder)
{
    const std::lock_guard lock(mutex);
    responders[member] = std::move(responder);
}

std::vector<Call> FakeService::calls() const
{
    const std::lock_guard lock(mutex);
    return received;
}

std::vector<Call> FakeService::waitForCalls(std::size_t count) const
{
    std::unique_lock lock(mutex);
    arrived.wait(lock, [&] { return received.size() >= count; });
    return received;
}

void FakeService::clearCalls()
{
    const std::lock_guard lock(mutex);
    received.clear();
}

void FakeService::releaseName()
{
    run([](sd_bus* connection) { require(sd_bus_release_name(connection, busName()), "release"); });
}

void FakeService::requestName()
{
    run([](sd_bus* connection) {
        require(sd_bus_request_name(connection, busName(), 0), "request");
    });
}

void FakeService::run(const std::function<void(sd_bus*)>& task)
{
    std::packaged_task<void()> packaged([&] { task(bus); });
    std::future<void> done = packaged.get_future();
    {
        const std::lock_guard lock(mutex);
        tasks.push_back(std::move(packaged));
    }
    eventfd_write(wakeUp, 1);
    done.get();
}

void FakeService::record(sd_bus_message* message)
{
    Call call;
    call.sender = orEmpty(sd_bus_message_get_sender(message));
    call.destination = orEmpty(sd_bus_message_get_destination(message));
    call.path = orEmpty(sd_bus_message_get_path(message));
    call.interface = orEmpty(sd_bus_message_get_interface(message));
    call.member = orEmpty(sd_bus_message_get_member(message));
    call.signature = orEmpty(sd_bus_message_get_signature(message, 1));
    call.expectsReply = wantsReply(message);
    call.mayStartService = sd_bus_message_get_auto_start(message) > 0;
    if (call.signature.rfind('s', 0) == 0) {
        const char* text = nullptr;
        require(sd_bus_message_read(message, "s", &text), "read");
        call.text = text;
    }
    if (call.signature == "saui") {
        readCodePoints(message, call.codePoints);
        require(sd_bus_message_read(message, "i", &call.cursor), "read");
    }
    const std::lock_guard lock(mutex);
    received.push_back(std::move(call));
    arrived.notify_all();
}

int FakeService::onMessage(sd_bus_message* message, void* self, sd_bus_error*)
{
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0)
        return 0;
    auto& service = *static_cast<FakeService*>(self);
    service.record(message);
    Responder responder = answer::error(SD_BUS_ERROR_UNKNOWN_METHOD, "not in the script");
    {
        const std::lock_guard lock(service.mutex);
        const auto scripted = service.responders.find(sd_bus_message_get_member(message));
        if (scripted != service.responders.end())
            responder = scripted->second;
    }
    responder(message);
    return 1;
}

void FakeService::runTasks()
{
    std::vector<std::packaged_task<void()>> due;
    {
        const std::lock_guard lock(mutex);
        due.swap(tasks);
    }
    for (auto& task : due)
        task();
}

void FakeService::serve()
{
    for (;;) {
        runTasks();
        {
            const std::lock_guard lock(mutex);
            if (stopping)
                return;
        }
        const int processed = sd_bus_process(bus, nullptr);
        if (processed > 0)
            continue;
        // Without a bus only tasks and the end are left to wait for.
        const bool isLost = processed < 0;
        const short events = isLost ? short{0} : static_cast<short>(sd_bus_get_events(bus));
        std::array<pollfd, 2> waiting{
            {{wakeUp, POLLIN, 0}, {isLost ? -1 : sd_bus_get_fd(bus), events, 0}}};
        poll(waiting.data(), waiting.size(), -1);
        eventfd_t count = 0;
        if ((waiting[0].revents & POLLIN) != 0)
            eventfd_read(wakeUp, &count);
    }
}
