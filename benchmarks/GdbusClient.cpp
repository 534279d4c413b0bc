#include "Client.h"

#include "support/FakeService.h"

#include <gio/gio.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Unref
{
    void operator()(GDBusConnection* connection) const { g_object_unref(connection); }
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};

using Variant = std::unique_ptr<GVariant, Unref>;

/** What a function of GLib has returned; throws if it has set an error. */
template <typename Result>
Result* require(Result* result, GError* error)
{
    if (error == nullptr)
        return result;
    const std::string text = error->message;
    g_error_free(error);
    throw std::runtime_error(text);
}

/** Copies the array in that field of a structure; Element is how GLib keeps an element. */
template <typename Element, typename Kept>
void take(GVariant* structure, gsize field, std::vector<Kept>& kept)
{
    const Variant array(g_variant_get_child_value(structure, field));
    gsize count = 0;
    const auto* const first = static_cast<const Element*>(
        g_variant_get_fixed_array(array.get(), &count, sizeof(Element)));
    kept.assign(first, first + count);
}

class GdbusClient : public Client
{
public:
    void translate(const std::wstring& text) override
    {
        GError* error = nullptr;
        GVariant* const codePoints = g_variant_new_fixed_array(G_VARIANT_TYPE_UINT32, text.data(),
                                                               text.size(), sizeof(wchar_t));
        const Variant reply(require(
            g_dbus_connection_call_sync(
                connection.get(), contract::BUS_NAME, contract::OBJECT_PATH, contract::INTERFACE,
                contract::METHOD,
                g_variant_new("(s@aui)", contract::TRANSLATOR, codePoints, contract::CURSOR),
                G_VARIANT_TYPE("((biaiabauaus))"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error),
            error));
        const Variant structure(g_variant_get_child_value(reply.get(), 0));
        gboolean flag = FALSE;
        g_variant_get_child(structure.get(), 0, "b", &flag);
        received.flag = flag != FALSE;
        g_variant_get_child(structure.get(), 1, "i", &received.value);
        take<int32_t>(structure.get(), 2, received.posMap);
        take<guchar>(structure.get(), 3, received.known);
        take<uint32_t>(structure.get(), 4, received.translated);
        take<uint32_t>(structure.get(), 5, received.untranslated);
        const gchar* diagnostic = nullptr;
        g_variant_get_child(structure.get(), 6, "&s", &diagnostic);
        received.text = diagnostic;
    }

    std::vector<uint32_t> translated() const override { return received.translated; }

    std::size_t positions() const override { return received.posMap.size(); }

private:
    /** Not the one that GLib shares in a process, which would stay with the first bus. */
    static GDBusConnection* connect()
    {
        GError* error = nullptr;
        gchar* const address =
            require(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error), error);
        GDBusConnection* const made = g_dbus_connection_new_for_address_sync(
            address,
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, &error);
        g_free(address);
        return require(made, error);
    }

    std::unique_ptr<GDBusConnection, Unref> connection{connect()};
    TranslationFields received;
};

} // namespace

std::unique_ptr<Client> openGdbusClient()
{
    return std::make_unique<GdbusClient>();
}
