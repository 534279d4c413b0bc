/**
 * What the library makes of a service's replies: a complete value, the default
 * value of a reply without a body, or a failure that is reported once; never
 * anything between. A second reader, written with sd-bus alone, says which of
 * them it must be.
 *
 * The replies are real ones. sdbus-c++ can neither be given a message that
 * sd-bus has made, nor write anything but well-formed ones. So this program is
 * the bus at the other end of the library's connection, and writes its bytes:
 * in the moment in which the library hands its call to sdbus-c++, as the serial
 * numbers of calls are known in advance. No thread or process has
 * to be woken for a call, which makes some thousands of them in a second.
 *
 * An input, in the terms of Input.h:
 *
 *   operation     'f' forwardW_proxy, 'b' backW_proxy, 'F' and 'B' a handle's
 *                 forwardW and backW, 'n' a handle by name,
 *                 'p' changeLanguageProfile_proxy
 *   circumstances '@' none, or the sum of 1: most significant byte first,
 *                 2: an error reply, 4: the connection ends within the reply,
 *                 after as many bytes as a byte that follows says,
 *                 8: a signal with the same body comes first
 *   signature     't' a translation's, 'i' a translator's, 'x' a translation's
 *                 and the bytes that follow, 'n' none, others: the bytes that follow
 *   'v' and values for the signature, and then mangling of the body: 'c' count
 *   cuts its end off, 'y' byte goes to its end, 'p' position byte changes one;
 *   or anything else and the body as it is
 */
#include "BusPeer.h"
#include "Check.h"
#include "Input.h"
#include "PlainReader.h"
#include "WireMessage.h"
#include "fault/FaultySdbus.h"
#include "support/LogCapture.h"
#include "support/PrivateMember.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <algorithm>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>

REVEAL(nameOf, TranslatorProxy, name)
REVEAL(flagOf, TranslatorProxy, flag)

namespace {

enum Circumstance : unsigned
{
    BIG_ENDIAN_BYTES = 1,
    ERROR_REPLY = 2,
    TORN = 4,
    SIGNAL_FIRST = 8
};

constexpr const char* TRANSLATION = "(biaiabauaus)";

/** The error that answers a call after the reply, which only counts if that was dropped. */
constexpr const char* DROPPED = "braille.fuzz.Dropped";

constexpr const char* REFUSED = "braille.fuzz.Refused";

/** The library's connection, with this program as the bus. */
class Connection
{
public:
    explicit Connection(const FakeBus& bus)
    {
        auto connected = std::async(std::launch::async, [&bus] { return bus.takeConnection(); });
        proxy = std::make_unique<DBusTranslatorProxy>("/translator", "a.service");
        peer = connected.get();
    }

    DBusTranslatorProxy& library() const { return *proxy; }
    const BusPeer& bus() const { return *peer; }

    /** Of the next call; the first one said hello. */
    uint32_t nextSerial() const { return serial + 1; }

    /** Does this when the library has dropped what was there before, and is about to call. */
    void onNextCall(std::function<void()> action)
    {
        ++serial;
        sdbusFaults.events.clear();
        sdbusFaults.timeouts.clear();
        sdbusFaults.on("callMethod", std::move(action));
    }

private:
    uint32_t serial = 1;
    FaultySdbus sdbusFaults;
    std::unique_ptr<BusPeer> peer;
    std::unique_ptr<DBusTranslatorProxy> proxy;
};

struct Scene
{
    char operation = 'f';
    unsigned circumstances = 0;
    std::size_t tornAt = 0;
    WireMessage reply;

    bool has(Circumstance circumstance) const { return (circumstances & circumstance) != 0; }
};

std::string signatureFrom(Input& input)
{
    switch (input.byte()) {
    case 't':
        return TRANSLATION;
    case 'i':
        return "(isbs)";
    case 'x':
        return TRANSLATION + input.bytes();
    case 'n':
        return "";
    default:
        return input.bytes();
    }
}

void mangle(std::string& body, Input& input)
{
    while (!input.isUsedUp()) {
        const char how = static_cast<char>(input.byte());
        if (how == 'c')
            body.resize(body.size() - std::min<std::size_t>(body.size(), input.count()));
        if (how == 'y')
            body += static_cast<char>(input.byte());
        if (how == 'p') {
            const std::size_t position = input.byte();
            const char unit = static_cast<char>(input.byte());
            if (position < body.size())
                body[position] = unit;
        }
    }
}

Scene sceneFrom(Input input)
{
    Scene scene;
    scene.operation = static_cast<char>(input.byte());
    scene.circumstances = input.byte();
    if (scene.has(TORN))
        scene.tornAt = input.byte();
    WireMessage& reply = scene.reply;
    reply.isBigEndian = scene.has(BIG_ENDIAN_BYTES);
    reply.type = scene.has(ERROR_REPLY) ? WireMessage::ERROR : WireMessage::METHOD_RETURN;
    reply.errorName = REFUSED;
    reply.signature = signatureFrom(input);
    if (input.byte() == 'v') {
        reply.body = bodyOf(reply.signature, reply.isBigEndian, input);
        mangle(reply.body, input);
    } else {
        reply.body = input.rest();
    }
    return scene;
}

/** One call of the library, the reply to it, and what must come of it. */
class Round
{
public:
    Round(Connection& itsConnection, PlainReader& reader, LogCapture& itsLog, Scene itsScene)
        : connection(itsConnection), log(itsLog), scene(std::move(itsScene))
    {
        log.clear();
        scene.reply.replySerial = connection.nextSerial();
        connection.onNextCall([this] { sendReply(); });
        if (!scene.has(TORN))
            expected = reader.receive(scene.reply.bytes());
    }

    void run()
    {
        if (scene.operation == 'n')
            makeHandle();
        else if (scene.operation == 'p')
            changeProfile();
        else if (scene.operation == 'F' || scene.operation == 'B')
            makeResult();
        else
            translate();
        translateAfterwards();
        connection.bus().forgetRequests();
    }

private:
    void sendReply() const
    {
        const BusPeer& bus = connection.bus();
        std::string bytes = scene.reply.bytes();
        if (scene.has(TORN)) {
            bus.send(bytes.substr(0, scene.tornAt % bytes.size()));
            bus.sendNoMore();
            return;
        }
        if (scene.has(SIGNAL_FIRST)) {
            WireMessage signal = scene.reply;
            signal.type = WireMessage::SIGNAL;
            bytes = signal.bytes() + bytes;
        }
        WireMessage dropped;
        dropped.type = WireMessage::ERROR;
        dropped.replySerial = scene.reply.replySerial;
        dropped.errorName = DROPPED;
        bus.send(bytes + dropped.bytes());
    }

    bool isAnswered() const { return expected && !expected->isError(); }

    void checkFailure(const std::string& report) const
    {
        const auto tells = [&report](const char* error) {
            return report.find(error) != std::string::npos;
        };
        check(tells(DROPPED) == (!scene.has(TORN) && !expected), "a reply that is dropped");
        check(tells(REFUSED) == (expected && expected->isError()), "an error reply");
    }

    /** Operations that throw nothing: one record for a failure, none otherwise. */
    void checkLog(bool isFailure) const
    {
        check(log.records().size() == (isFailure ? 1U : 0U), "the number of log records");
        if (isFailure)
            checkFailure(log.records()[0].message);
    }

    void translate()
    {
        DBusTranslatorProxy& proxy = connection.library();
        std::string id = "x";
        const TranslationReply actual = scene.operation == 'b' ? proxy.backW_proxy(id, L"ab", 1)
                                                               : proxy.forwardW_proxy(id, L"ab", 1);
        const PlainTranslation wanted = wantedTranslation();
        check(actual == TranslationReply(wanted.flag, wanted.value, wanted.map, wanted.known,
                                         wanted.translated, wanted.untranslated, wanted.text),
              "a translation");
    }

    void makeResult()
    {
        TranslatorProxy handle(2, "x", true, "x", &connection.library());
        const std::shared_ptr<BrlTranslationResult> actual =
            scene.operation == 'B' ? handle.backW(L"ab", 1) : handle.forwardW(L"ab", 1);
        const PlainTranslation wanted = wantedTranslation();
        const std::wstring untranslated(wanted.untranslated.begin(), wanted.untranslated.end());
        const std::wstring translated(wanted.translated.begin(), wanted.translated.end());
        check(actual->getUntranslatedW() == untranslated &&
                  actual->getTranslatedW() == translated &&
                  actual->getIsForward() == (scene.operation == 'F') &&
                  actual->getTranslator() == &handle,
              "a result");
        // The default map, which stands in for an empty one, is the other fuzzers' business.
        check(wanted.map.empty() || (actual->getPosMap() == wanted.map &&
                                     actual->getPosMapComputed() == wanted.known),
              "a result's map");
    }

    /** What must have been read, the default for a failure; that has been logged then. */
    PlainTranslation wantedTranslation()
    {
        std::optional<PlainTranslation> read;
        if (isAnswered())
            read = expected->isEmpty() ? PlainTranslation() : expected->translation();
        checkLog(!read);
        return read.value_or(PlainTranslation());
    }

    void makeHandle()
    {
        std::optional<PlainDescription> read;
        if (isAnswered())
            read = expected->isEmpty() ? PlainDescription() : expected->description();
        try {
            const TranslatorProxy handle("x", &connection.library());
            check(read.has_value(), "a handle in spite of a failure");
            check(handle.getGrade() == read->grade && handle.*nameOf() == read->name &&
                      handle.*flagOf() == read->flag && handle.getID() == read->id,
                  "a handle");
        } catch (const std::exception& error) {
            check(!read, "a failure in spite of a reply");
            checkFailure(error.what());
        }
        check(log.records().empty(), "a log record of what was thrown");
    }

    void changeProfile()
    {
        connection.library().changeLanguageProfile_proxy("x");
        checkLog(!isAnswered());
    }

    /** What came of this call must not touch the next one. */
    void translateAfterwards() const
    {
        log.clear();
        WireMessage reply;
        reply.replySerial = connection.nextSerial();
        reply.signature = TRANSLATION;
        Input values(reinterpret_cast<const uint8_t*>("17b24b01b89a8a6"), 15);
        reply.body = bodyOf(reply.signature, false, values);
        connection.onNextCall([this, &reply] {
            if (!scene.has(TORN))
                connection.bus().send(reply.bytes());
        });
        std::string id = "x";
        const TranslationReply actual = connection.library().forwardW_proxy(id, L"8", 0);
        check(log.records().size() == (scene.has(TORN) ? 1U : 0U), "the record of the next call");
        check(actual == (scene.has(TORN)
                             ? TranslationReply()
                             : TranslationReply(true, 7, {2, 4}, {false, true}, {8, 9}, {8}, "6")),
              "the translation of the next call");
    }

    Connection& connection;
    LogCapture& log;
    Scene scene;
    std::optional<PlainReply> expected;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    // All of it lives as long as the program: a connection costs more than many calls.
    static const FakeBus bus;
    static PlainReader reader;
    static LogCapture log;
    static std::unique_ptr<Connection> connection;
    if (connection == nullptr)
        connection = std::make_unique<Connection>(bus);
    const Scene scene = sceneFrom(Input(data, size));
    Round(*connection, reader, log, scene).run();
    if (scene.has(TORN)) {
        connection.reset();
        connection = std::make_unique<Connection>(bus);
    }
    return 0;
}
