#include "EchoService.h"
#include "support/SdBusConnection.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* BUS_NAME = TEST_BUS_NAME;

template <class Element>
void appendArray(sd_bus_message* reply, char type, const Element* elements, std::size_t count)
{
    require(sd_bus_message_append_array(reply, type, elements, count * sizeof(Element)), "append");
}

/** sd-bus takes flags only one by one. */
void appendFlags(sd_bus_message* reply, const std::vector<bool>& flags)
{
    require(sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "b"), "open");
    for (const int flag : flags)
        require(sd_bus_message_append_basic(reply, SD_BUS_TYPE_BOOLEAN, &flag), "append");
    require(sd_bus_message_close_container(reply), "close");
}

void appendTranslation(sd_bus_message* reply, const TranslationFields& translation,
                       const uint32_t* text, std::size_t length)
{
    require(sd_bus_message_open_container(reply, SD_BUS_TYPE_STRUCT, "biaiabauaus"), "open");
    require(sd_bus_message_append(reply, "bi", int{translation.flag}, translation.value), "append");
    appendArray(reply, SD_BUS_TYPE_INT32, translation.posMap.data(), translation.posMap.size());
    appendFlags(reply, translation.known);
    appendArray(reply, SD_BUS_TYPE_UINT32, translation.translated.data(),
                translation.translated.size());
    appendArray(reply, SD_BUS_TYPE_UINT32, text, length);
    require(sd_bus_message_append(reply, "s", translation.text.c_str()), "append");
    require(sd_bus_message_close_container(reply), "close");
}

int answer(sd_bus_message* call, void* translation, sd_bus_error*)
{
    if (sd_bus_message_is_method_call(call, nullptr, "forwardW") <= 0)
        return 0;
    const char* id = nullptr;
    const void* text = nullptr;
    std::size_t size = 0;
    int cursor = 0;
    require(sd_bus_message_read(call, "s", &id), "read");
    require(sd_bus_message_read_array(call, SD_BUS_TYPE_UINT32, &text, &size), "read");
    require(sd_bus_message_read(call, "i", &cursor), "read");
    sd_bus_message* reply = nullptr;
    require(sd_bus_message_new_method_return(call, &reply), "new_method_return");
    appendTranslation(reply, *static_cast<const TranslationFields*>(translation),
                      static_cast<const uint32_t*>(text), size / sizeof(uint32_t));
    require(sd_bus_send(nullptr, reply, nullptr), "send");
    sd_bus_message_unref(reply);
    return 1;
}

void serve(const std::string& busAddress, TranslationFields translation, int readyPipe)
{
    sd_bus* const bus = connectTo(busAddress);
    require(sd_bus_add_filter(bus, nullptr, answer, &translation), "add_filter");
    require(sd_bus_request_name(bus, BUS_NAME, 0), "request_name");
    if (write(readyPipe, "", 1) != 1)
        return;
    for (;;) {
        if (require(sd_bus_process(bus, nullptr), "process") == 0)
            require(sd_bus_wait(bus, UINT64_MAX), "wait");
    }
}

[[noreturn]] void runProcess(const std::string& busAddress, const TranslationFields& translation,
                             int readyPipe)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        serve(busAddress, translation, readyPipe);
    } catch (const std::exception& error) {
        std::cerr << "the echo: " << error.what() << '\n';
    }
    _exit(1);
}

/** Whether the process has come as far as that; if it ends before, it closes the pipe. */
bool awaitReady(int readyPipe)
{
    char byte = 0;
    ssize_t count = 0;
    do {
        count = read(readyPipe, &byte, 1);
    } while (count < 0 && errno == EINTR);
    return count == 1;
}

} // namespace

EchoService::EchoService(const std::string& busAddress, const TranslationFields& translation)
{
    std::array<int, 2> ready{};
    require(pipe2(ready.data(), O_CLOEXEC), "pipe2");
    process = fork();
    if (process == 0)
        runProcess(busAddress, translation, ready[1]);
    close(ready[1]);
    const bool isReady = awaitReady(ready[0]);
    close(ready[0]);
    if (!isReady)
        throw std::runtime_error("the echo did not start");
}

EchoService::~EchoService()
{
    kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}
