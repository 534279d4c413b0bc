#include "support/BusTest.h"
#include "support/Figures.h"
#include "support/Require.h"

#include <libBrailleTranslate/DBusTranslatorProxy.h>

#include <algorithm>
#include <future>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using testing::IsEmpty;
using testing::SizeIs;

namespace {

/** Makes numbers, and bodies of replies, of which each seed has its own. */
class RandomBodies
{
public:
    explicit RandomBodies(unsigned seed) : generator(seed) {}

    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(generator); }

    template <typename Integer>
    Integer any()
    {
        return std::uniform_int_distribution<Integer>()(generator);
    }

    /** Appends one value of a random type; containers hold fewer levels of others. */
    void appendAnything(sd_bus_message* message, int levels)
    {
        const auto kind =
            static_cast<std::size_t>(upTo(static_cast<int>(BASIC.size()) + (levels > 0 ? 2 : -1)));
        if (kind < BASIC.size())
            return appendBasic(message, BASIC[kind]);
        if (kind == BASIC.size())
            return appendArray(message, BASIC[static_cast<std::size_t>(upTo(9))]);
        if (kind == BASIC.size() + 1)
            return appendStruct(message, levels - 1);
        require(sd_bus_message_append(message, "v", "s", "inside a variant"), "append");
    }

    TranslationFields fields()
    {
        TranslationFields made{upTo(1) == 1, any<int32_t>(), {}, {}, {}, {}, "diagnostic"};
        fill(made.posMap, [this] { return any<int32_t>(); });
        fill(made.known, [this] { return upTo(1) == 1; });
        fill(made.translated, [this] { return any<uint32_t>(); });
        fill(made.untranslated, [this] { return any<uint32_t>(); });
        made.text.resize(static_cast<std::size_t>(upTo(10)));
        return made;
    }

    /** Appends the structure of a translation with one field of another type, or cut short. */
    void appendNearMiss(sd_bus_message* message)
    {
        std::vector<std::string> types{"b", "i", "ai", "ab", "au", "au", "s"};
        const std::vector<std::string> others{"i", "u", "au", "ai", "ai", "as", "b"};
        const auto wrong = static_cast<std::size_t>(upTo(6));
        if (upTo(1) == 1)
            types[wrong] = others[wrong];
        else
            types.resize(std::max<std::size_t>(wrong, 1));
        const std::string contents = std::accumulate(types.begin(), types.end(), std::string());
        require(sd_bus_message_open_container(message, 'r', contents.c_str()), "open");
        for (const std::string& type : types) {
            if (type.size() == 1)
                appendBasic(message, type[0]);
            else
                appendArray(message, type[1]);
        }
        require(sd_bus_message_close_container(message), "close");
    }

private:
    template <typename Element, typename Make>
    void fill(std::vector<Element>& elements, Make make)
    {
        const int count = upTo(20);
        elements.reserve(static_cast<std::size_t>(count));
        for (int element = 0; element < count; ++element)
            elements.push_back(make());
    }

    void appendBasic(sd_bus_message* message, char type)
    {
        // As large as the largest; a boolean may only be 0 or 1, whatever else is in it.
        const uint64_t bits = type == 'b' ? static_cast<uint64_t>(upTo(1)) : any<uint64_t>();
        const void* value = &bits;
        if (type == 's')
            value = "text";
        require(sd_bus_message_append_basic(message, type, value), "append_basic");
    }

    void appendArray(sd_bus_message* message, char type)
    {
        require(sd_bus_message_open_container(message, 'a', std::string(1, type).c_str()), "open");
        for (int element = upTo(5); element > 0; --element)
            appendBasic(message, type);
        require(sd_bus_message_close_container(message), "close");
    }

    /** The contents come first, in a message of their own, because the struct needs their type. */
    void appendStruct(sd_bus_message* message, int levels)
    {
        sd_bus_message* contents = nullptr;
        require(
            sd_bus_message_new_signal(sd_bus_message_get_bus(message), &contents, "/a", "a.b", "C"),
            "new_signal");
        for (int field = upTo(7); field >= 0; --field)
            appendAnything(contents, levels);
        require(sd_bus_message_seal(contents, 1, 0), "seal");
        const std::string type = sd_bus_message_get_signature(contents, 1);
        require(sd_bus_message_open_container(message, 'r', type.c_str()), "open");
        require(sd_bus_message_copy(message, contents, 1), "copy");
        require(sd_bus_message_close_container(message), "close");
        sd_bus_message_unref(contents);
    }

    const std::string BASIC = "ybnqiuxtds";
    std::mt19937 generator;
};

TranslationReply replyWith(const TranslationFields& fields)
{
    return TranslationReply{std::make_tuple(fields.flag, fields.value, fields.posMap, fields.known,
                                            fields.translated, fields.untranslated, fields.text)};
}

/** A reply, and what the library must make of it. */
struct Expectation
{
    const char* kind;
    TranslationReply value;
    std::size_t records;
};

/** Answers a call with one of many kinds of random replies, most of them wrong. */
Expectation answerAtRandom(sd_bus_message* call, RandomBodies& random)
{
    const TranslationFields fields = random.fields();
    switch (random.upTo(6)) {
    case 0:
        answer::translation(fields)(call);
        return {"right", replyWith(fields), 0};
    case 1:
        answer::body([&](sd_bus_message* reply) {
            answer::append(reply, fields);
            random.appendAnything(reply, 2);
        })(call);
        return {"right, with more behind it", replyWith(fields), 0};
    case 2:
        answer::nothing()(call);
        return {"empty", {}, 0};
    case 3:
        answer::error("some.Error",
                      std::string(static_cast<std::size_t>(random.upTo(100)), 'e'))(call);
        return {"an error", {}, 1};
    case 4:
        answer::body([&](sd_bus_message* reply) { random.appendNearMiss(reply); })(call);
        return {"nearly right", {}, 1};
    case 5:
        answer::body([&](sd_bus_message* reply) { // without the structure around its fields
            require(sd_bus_message_append(reply, "bi", int{fields.flag}, fields.value), "append");
            random.appendAnything(reply, 1);
        })(call);
        return {"flat", {}, 1};
    default:
        std::string signature;
        answer::body([&](sd_bus_message* reply) {
            random.appendAnything(reply, 3);
            signature = sd_bus_message_get_signature(reply, 1);
        })(call);
        return {signature.front() == '(' ? "another structure" : "no structure", {}, 1};
    }
}

class AReply : public BusTest
{
protected:
    TranslationReply translate() { return proxy.forwardW_proxy(id, L"text", 0); }

    DBusTranslatorProxy proxy{"/translator", FakeService::busName()};
    std::string id = "some.ctb";
};

} // namespace

TEST_F(AReply, OfAnyKindIsTakenWholeOrNotAtAll)
{
    constexpr unsigned SEED = 20240229;
    RandomBodies random(SEED);
    std::map<std::string, int> kinds;
    for (int round = 0; round < rounds(100000); ++round) {
        // The service may still be in set_value() when the next round begins.
        const auto promise = std::make_shared<std::promise<Expectation>>();
        service.on("forwardW", [&random, promise](sd_bus_message* call) {
            promise->set_value(answerAtRandom(call, random));
        });
        log.clear();
        service.clearCalls();
        const TranslationReply reply = translate();
        const Expectation expected = promise->get_future().get();
        ASSERT_EQ(reply, expected.value) << expected.kind << ", round " << round;
        ASSERT_THAT(log.records(), SizeIs(expected.records)) << expected.kind;
        ++kinds[expected.kind];
    }
    for (const auto& [kind, count] : kinds)
        report("replies that are " + kind, count);
}

TEST_F(AReply, ThatIsAnErrorWithALongTextIsLoggedWhole)
{
    const std::string text(1 << 20, 'e');
    service.on("forwardW", answer::error("some.Error", text));
    EXPECT_EQ(translate(), TranslationReply());
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, testing::HasSubstr(text));
}

TEST_F(AReply, ThatComesTwiceIsTakenOnce)
{
    service.on("forwardW", [](sd_bus_message* call) {
        answer::translation({true, 1, {}, {}, {'1'}, {}, ""})(call);
        answer::translation({true, 2, {}, {}, {'2'}, {}, ""})(call);
    });
    EXPECT_EQ(translate().get<1>(), 1);
    service.on("forwardW", answer::translation({true, 3, {}, {}, {'3'}, {}, ""}));
    EXPECT_EQ(translate().get<1>(), 3);
    EXPECT_EQ(translate().get<1>(), 3);
    EXPECT_THAT(log.records(), IsEmpty());
}
