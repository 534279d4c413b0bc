#include "Client.h"

#include "support/FakeService.h"
#include "support/Require.h"

#include <memory>
#include <system_error>
#include <systemd/sd-bus.h>

namespace {

struct Unref
{
    void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};

using Message = std::unique_ptr<sd_bus_message, Unref>;

/** Calls action for as long as there are elements in the array that comes next. */
template <typename Action>
void forEachElement(sd_bus_message* message, const char* type, Action action)
{
    require(sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, type), "enter");
    while (action()) {
    }
    require(sd_bus_message_exit_container(message), "exit");
}

/** sd-bus takes and gives flags only one by one. */
std::vector<bool> readFlags(sd_bus_message* message)
{
    std::vector<bool> flags;
    forEachElement(message, "b", [&] {
        int flag = 0;
        if (require(sd_bus_message_read_basic(message, 'b', &flag), "read") == 0)
            return false;
        flags.push_back(flag != 0);
        return true;
    });
    return flags;
}

struct WholeArrays
{
    static void append(sd_bus_message* message, const std::wstring& text)
    {
        require(
            sd_bus_message_append_array(message, 'u', text.data(), text.size() * sizeof(wchar_t)),
            "append");
    }

    template <typename Element>
    static std::vector<Element> read(sd_bus_message* message, char type)
    {
        const void* data = nullptr;
        std::size_t size = 0;
        require(sd_bus_message_read_array(message, type, &data, &size), "read");
        const auto* const elements = static_cast<const Element*>(data);
        return {elements, elements + size / sizeof(Element)};
    }
};

struct SingleElements
{
    static void append(sd_bus_message* message, const std::wstring& text)
    {
        require(sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "u"), "open");
        for (const wchar_t& element : text)
            require(sd_bus_message_append_basic(message, 'u', &element), "append");
        require(sd_bus_message_close_container(message), "close");
    }

    template <typename Element>
    static std::vector<Element> read(sd_bus_message* message, char type)
    {
        const char contents[] = {type, '\0'};
        std::vector<Element> elements;
        forEachElement(message, contents, [&] {
            Element element{};
            if (require(sd_bus_message_read_basic(message, type, &element), "read") == 0)
                return false;
            elements.push_back(element);
            return true;
        });
        return elements;
    }
};

template <typename Arrays>
class SdBusClient : public Client
{
public:
    SdBusClient() : bus(openBus()) {}

    void translate(const std::wstring& text) override { take(call(text).get()); }

    std::vector<uint32_t> translated() const override { return received.translated; }

    std::size_t positions() const override { return received.posMap.size(); }

private:
    static sd_bus* openBus()
    {
        sd_bus* bus = nullptr;
        require(sd_bus_open_system(&bus), "open_system");
        return bus;
    }

    Message call(const std::wstring& text)
    {
        sd_bus_message* question = nullptr;
        require(sd_bus_message_new_method_call(bus.get(), &question, contract::BUS_NAME,
                                               contract::OBJECT_PATH, contract::INTERFACE,
                                               contract::METHOD),
                "new_method_call");
        const Message owner(question);
        require(sd_bus_message_append(question, "s", contract::TRANSLATOR), "append");
        Arrays::append(question, text);
        require(sd_bus_message_append(question, "i", contract::CURSOR), "append");
        sd_bus_message* reply = nullptr;
        require(sd_bus_call(bus.get(), question, 0, nullptr, &reply), "call");
        return Message(reply);
    }

    void take(sd_bus_message* reply)
    {
        int flag = 0;
        const char* text = nullptr;
        require(sd_bus_message_enter_container(reply, SD_BUS_TYPE_STRUCT, "biaiabauaus"), "enter");
        require(sd_bus_message_read(reply, "bi", &flag, &received.value), "read");
        received.flag = flag != 0;
        received.posMap = Arrays::template read<int32_t>(reply, 'i');
        received.known = readFlags(reply);
        received.translated = Arrays::template read<uint32_t>(reply, 'u');
        received.untranslated = Arrays::template read<uint32_t>(reply, 'u');
        require(sd_bus_message_read(reply, "s", &text), "read");
        received.text = text;
    }

    std::unique_ptr<sd_bus, Unref> bus;
    TranslationFields received;
};

} // namespace

std::unique_ptr<Client> openWholeArraysClient()
{
    return std::make_unique<SdBusClient<WholeArrays>>();
}

std::unique_ptr<Client> openElementByElementClient()
{
    return std::make_unique<SdBusClient<SingleElements>>();
}
