#include "service/MapAudit.h"
#include "support/FakeService.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"
#include "support/PrivateMember.h"

#include <dbus/SdbusVersion.h>
#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>
#include <service/LazyMap.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sdbus-c++/Error.h>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IProxy.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <numeric>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

REVEAL(displayNameOf, TranslatorProxy, name)
REVEAL(cachedComputerOf, Translation, computerBrailleTranslator)

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

/** A Translator service on the test's bus, whichever program it is. */
class Service
{
public:
    Service() = default;
    virtual ~Service() = default;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /** Ends it as a fault would, without a word to anybody. */
    virtual void end() = 0;

    /** After its end: makes the next call find it again. */
    virtual void comeBack() = 0;
};

struct FakeTranslator
{
    int32_t grade;
    std::string name;
    std::string id;

    bool isCalled(const std::string& any) const
    {
        return any == name || any == id || any == id.substr(0, id.rfind('.'));
    }
};

const std::vector<FakeTranslator> FAKE_TRANSLATORS{
    {2, "Contracted braille", "contracted.ctb"},
    {1, "Uncontracted braille", "uncontracted.ctb"},
    {0, "American computer braille", "computer-us.utb"},
    {0, "British computer braille", "computer-gb.utb"},
};

/** From the profiles to the one translator that differs between them. */
const std::map<std::string, std::string> FAKE_PROFILES{{"en-us", "computer-us.utb"},
                                                       {"en-gb", "computer-gb.utb"}};

/** The translator of that name; if there is none, that is the answer. */
const FakeTranslator* findFake(const std::string& name, sd_bus_message* call)
{
    for (const FakeTranslator& translator : FAKE_TRANSLATORS) {
        if (translator.isCalled(name))
            return &translator;
    }
    answer::error("braille.translator.Error.NoSuchTranslator", "none is named so")(call);
    return nullptr;
}

/**
 * A translation that is not one to one: a character repeated shares the place of
 * the first, and on the way to braille a capital has a sign before its cell.
 */
TranslationFields fakeTranslation(const std::vector<uint32_t>& text, bool isForward)
{
    TranslationFields fields;
    fields.untranslated = text;
    for (std::size_t position = 0; position < text.size(); ++position) {
        const uint32_t codePoint = text[position];
        const bool isRepeated = position > 0 && codePoint == text[position - 1];
        const auto cell = static_cast<int32_t>(fields.translated.size());
        fields.posMap.push_back(isRepeated ? fields.posMap.back() : cell);
        if (isRepeated)
            continue;
        if (isForward && codePoint >= 'A' && codePoint <= 'Z')
            fields.translated.push_back(0x2820);
        fields.translated.push_back((isForward ? 0x2800U : 0U) | (codePoint & 0xffU));
    }
    fields.posMap.push_back(static_cast<int32_t>(fields.translated.size()));
    fields.known.assign(fields.posMap.size(), true);
    return fields;
}

/** The fake service of the library's tests with the manners of a real one. */
class FakeOne final : public Service
{
public:
    FakeOne(std::string address, bool hasLazyMaps)
        : busAddress(std::move(address)), isLazy(hasLazyMaps)
    {
        comeBack();
    }

    void end() override { fake.reset(); }

    void comeBack() override
    {
        profile = "en-us";
        fake = std::make_unique<FakeService>(busAddress);
        describeOn("getPreferredBrailleTranslatorForDisplay", [] { return "contracted"; });
        describeOn("getPreferredBrailleTranslatorForEntry", [] { return "contracted"; });
        describeOn("getComputerBrailleTranslator", [this] { return FAKE_PROFILES.at(profile); });
        describeOn("getGrade1TranslatorForPreferredEntry", [] { return "uncontracted"; });
        describeOn("getTranslatorByName", [this] { return call().text; });
        fake->on("changeLanguageProfile", [this](sd_bus_message* message) { change(message); });
        for (const char* method : {"forwardW", "backW"})
            fake->on(method, [this](sd_bus_message* message) { translate(message); });
    }

private:
    /** The call to answer; responders run on the fake's thread, so no other one is behind it. */
    Call call() const { return fake->calls().back(); }

    template <typename Choice>
    void describeOn(const std::string& method, Choice choice)
    {
        fake->on(method, [choice](sd_bus_message* message) {
            if (const FakeTranslator* found = findFake(choice(), message))
                answer::translator(found->grade, found->name, true, found->id)(message);
        });
    }

    void change(sd_bus_message* message)
    {
        const std::string wanted = call().text;
        if (FAKE_PROFILES.count(wanted) == 0)
            return answer::error("braille.translator.Error.NoSuchProfile",
                                 "none is named so")(message);
        profile = wanted;
        answer::nothing()(message);
    }

    void translate(sd_bus_message* message)
    {
        const Call wanted = call();
        fake->clearCalls();
        if (findFake(wanted.text, message) == nullptr)
            return;
        TranslationFields fields = fakeTranslation(wanted.codePoints, wanted.member == "forwardW");
        if (isLazy)
            fields.known = hideMap(fields.posMap, wanted.cursor);
        answer::translation(std::move(fields))(message);
    }

    const std::string busAddress;
    const bool isLazy;
    std::string profile; ///< used on the fake's thread only, once that runs
    std::unique_ptr<FakeService> fake;
};

/** The service of this build, which its bus starts whenever somebody calls it. */
class RealOne final : public Service
{
public:
    void end() override
    {
        const auto connection = sdbus::createSystemBusConnection();
        const auto bus =
            sdbus::createProxy(*connection, sdbus_version::ServiceName("org.freedesktop.DBus"),
                               sdbus_version::ObjectPath("/org/freedesktop/DBus"));
        uint32_t process = 0;
        bus->callMethod("GetConnectionUnixProcessID")
            .onInterface("org.freedesktop.DBus")
            .withArguments(TEST_BUS_NAME)
            .storeResultsTo(process);
        kill(static_cast<pid_t>(process), SIGKILL);
    }

    void comeBack() override {}
};

struct Implementation
{
    const char* name;
    PrivateBus::Services services;
    std::unique_ptr<Service> (*start)(const std::string& busAddress);
};

std::ostream& operator<<(std::ostream& output, const Implementation& implementation)
{
    return output << implementation.name;
}

template <bool hasLazyMaps>
std::unique_ptr<Service> startFake(const std::string& busAddress)
{
    return std::make_unique<FakeOne>(busAddress, hasLazyMaps);
}

std::unique_ptr<Service> startReal(const std::string& /*the bus knows how*/)
{
    return std::make_unique<RealOne>();
}

const Implementation IMPLEMENTATIONS[] = {
    {"TheFake", PrivateBus::Services::NONE, startFake<false>},
    {"TheFakeWithLazyMaps", PrivateBus::Services::NONE, startFake<true>},
    {"TheRealOne", PrivateBus::Services::REAL, startReal},
};

using Getter = TranslatorProxy* (Translation::*)();

const Getter ROLES[] = {
    &Translation::getPreferredBrailleTranslatorForDisplay,
    &Translation::getPreferredBrailleTranslatorForEntry,
    &Translation::getComputerBrailleTranslator,
    &Translation::getGrade1TranslatorForPreferredEntry,
};

using Result = std::shared_ptr<BrlTranslationResult>;

/** One of the two ways, which differ in nothing but this. */
struct Way
{
    Result (TranslatorProxy::*atCursor)(const std::wstring&, int);
    Result (TranslatorProxy::*atMiddle)(const std::wstring&);
    const char* operation;
    bool isForward;
};

const Way WAYS[] = {
    {&TranslatorProxy::forwardW, &TranslatorProxy::forwardW, "forwardW_proxy", true},
    {&TranslatorProxy::backW, &TranslatorProxy::backW, "backW_proxy", false},
};

const std::wstring SENTENCE = L"Ann, a bookkeeper: the Balloon needs 1000 feet!";

std::wstring textOf(std::initializer_list<uint32_t> codePoints)
{
    return {codePoints.begin(), codePoints.end()};
}

const std::vector<std::wstring> TEXTS{
    L"",
    L"a",
    SENTENCE,
    L"\u2801\u2803\u2800\u28ff",
    L"Cafe\u0301 \U0001f600\t\r\n\u00ad",
    textOf({0}),
    textOf({'a', 0, 0, 'b'}),
    textOf({0xd800, 'a', 0xdfff, 0xfffe, 0xffff}),
    textOf({0x10ffff, 0x110000, 'a', 0x7fffffff, 0x80000000, 0xffffffff}),
};

std::wstring textOfLength(std::size_t length)
{
    std::wstring text;
    while (text.size() < length)
        text += SENTENCE;
    return text.substr(0, length);
}

/** Where each position of the source text is said to be, and its end. */
std::vector<int> lookUpAll(BrlTranslationResult& result)
{
    std::vector<int> positions(static_cast<std::size_t>(result.getPosMapLength()));
    std::iota(positions.begin(), positions.end(), 0);
    for (int& position : positions)
        position = result.getTranslatedPositionW(position);
    return positions;
}

/** The first position that is shown at the cell, or at the nearest lower one that shows any. */
int leftmostAt(int cell, const std::vector<int>& positions)
{
    const auto above = std::upper_bound(positions.begin(), positions.end(), cell);
    if (above == positions.begin())
        return -1;
    const auto leftmost = std::find(positions.begin(), positions.end(), *(above - 1));
    return static_cast<int>(leftmost - positions.begin());
}

std::string computerBrailleOf(Translation& client)
{
    const TranslatorProxy* const named = client.getComputerBrailleTranslator();
    return named == nullptr ? "nobody" : named->getID();
}

/** A client of its own; how many of its translations are not what they have to be. */
int faultsOfAClient(const std::wstring& text, const std::string& expected)
{
    Translation translation;
    TranslatorProxy* const handle = translation.getPreferredBrailleTranslatorForDisplay();
    if (handle == nullptr)
        return INT_MAX;
    int faults = 0;
    for (int round = 0; round < 50; ++round)
        faults += handle->forwardW(text)->toString() == expected ? 0 : 1;
    return faults;
}

/** A bus with one of the services, the library as its client, and the library's log records. */
class AnyService : public testing::TestWithParam<Implementation>
{
protected:
    void SetUp() override
    {
        ASSERT_NE(handle, nullptr);
        ASSERT_NE(computer, nullptr);
    }

    void changeProfile(std::string profile) { translation.changeLanguageProfile(profile); }

    std::vector<TranslatorProxy*> handlesOfRoles()
    {
        std::vector<TranslatorProxy*> handles;
        for (const Getter getter : ROLES)
            handles.push_back((translation.*getter)());
        return handles;
    }

    Result translate(const Way& way, const std::wstring& text, int cursor)
    {
        return (handle->*way.atCursor)(text, cursor);
    }

    Result translate(const Way& way, const std::wstring& text)
    {
        return (handle->*way.atMiddle)(text);
    }

    void expectOneFailure(const std::string& operation, const std::string& error)
    {
        ASSERT_THAT(log.records(), SizeIs(1)) << operation;
        EXPECT_EQ(log.records()[0].level, log4cplus::ERROR_LOG_LEVEL);
        EXPECT_THAT(log.records()[0].message, StartsWith(operation + " : "));
        EXPECT_THAT(log.records()[0].message, HasSubstr("braille.translator.Error." + error));
        log.clear();
    }

    /** Ends the service, waits until the bus knows, and lets it come back. */
    void restartService()
    {
        const auto watcher = sdbus::createSystemBusConnection();
        const auto match = sdbus_version::addMatch(
            *watcher,
            "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
                std::string(TEST_BUS_NAME) + "',arg2=''",
            [&watcher](sdbus::Message&) { watcher->leaveEventLoop(); });
        service->end();
        watcher->enterEventLoop();
        service->comeBack();
    }

    PrivateBus bus{GetParam().services};
    std::unique_ptr<Service> service = GetParam().start(bus.address());
    LogCapture log;
    Translation translation;
    TranslatorProxy* const handle = translation.getPreferredBrailleTranslatorForDisplay();
    TranslatorProxy* const computer = translation.getComputerBrailleTranslator();
};

INSTANTIATE_TEST_SUITE_P(On, AnyService, testing::ValuesIn(IMPLEMENTATIONS),
                         [](const auto& which) { return which.param.name; });

} // namespace

TEST_P(AnyService, NamesATranslatorForEachRole)
{
    for (const TranslatorProxy* named : handlesOfRoles()) {
        ASSERT_NE(named, nullptr);
        EXPECT_NE(named->getID(), "");
    }
    EXPECT_EQ(computer->getGrade(), 0);
    EXPECT_EQ(translation.getGrade1TranslatorForPreferredEntry()->getGrade(), 1);
}

TEST_P(AnyService, HasTheSameHandlesWhileItNamesTheSameTranslators)
{
    EXPECT_EQ(handlesOfRoles(), handlesOfRoles());
    EXPECT_EQ(translation.getComputerBrailleTranslator(), computer);
}

TEST_P(AnyService, HasAHandleForEachRoleThoughOneTranslatorHasTwo)
{
    const std::vector<TranslatorProxy*> handles = handlesOfRoles();
    ASSERT_EQ(handles[0]->getID(), handles[1]->getID());
    EXPECT_THAT(std::set(handles.begin(), handles.end()), SizeIs(handles.size()));
}

TEST_P(AnyService, HasANewHandleOnlyForTheRoleThatTheProfileChanges)
{
    std::vector<TranslatorProxy*> handles = handlesOfRoles();
    const std::string before = handles[2]->getID();
    changeProfile("en-gb");
    TranslatorProxy* const after = translation.getComputerBrailleTranslator();
    ASSERT_NE(after, nullptr);
    EXPECT_NE(after, std::exchange(handles[2], after));
    EXPECT_NE(after->getID(), before);
    EXPECT_EQ(handlesOfRoles(), handles);
}

TEST_P(AnyService, ChangesTheProfileForAllClientsAtOnce)
{
    Translation another;
    const std::string before = computerBrailleOf(another);
    changeProfile("en-gb");
    EXPECT_NE(computerBrailleOf(another), before);
    changeProfile("en-us");
    EXPECT_EQ(computerBrailleOf(another), before);
}

TEST_P(AnyService, LeavesHandlesAloneWhenTheProfileChangesUntilTheyAreAskedFor)
{
    const std::string id = computer->getID();
    const std::string result = computer->forwardW(SENTENCE)->toString();
    changeProfile("en-gb");
    EXPECT_EQ((translation.*cachedComputerOf()).get(), computer);
    EXPECT_EQ(computer->getID(), id);
    EXPECT_EQ(computer->forwardW(SENTENCE)->toString(), result);
}

TEST_P(AnyService, RefusesUnknownProfilesWithOneRecordAndChangesNothing)
{
    const std::vector<TranslatorProxy*> handles = handlesOfRoles();
    for (const char* unknown : {"tlh", "", "en-us en-gb"}) {
        std::string profile = unknown;
        translation.changeLanguageProfile(profile);
        EXPECT_EQ(profile, unknown);
        expectOneFailure("changeLanguageProfile_proxy", "NoSuchProfile");
        EXPECT_EQ(handlesOfRoles(), handles);
    }
}

TEST_P(AnyService, FindsTranslatorsByNameIdentifierAndIdentifierWithoutSuffix)
{
    for (TranslatorProxy* named : handlesOfRoles()) {
        const std::string id = named->getID();
        for (const std::string& name : {named->*displayNameOf(), id, id.substr(0, id.rfind('.'))}) {
            const TranslatorProxy found(name, translation.getServiceProxy());
            EXPECT_EQ(found.getID(), id) << name;
            EXPECT_EQ(found.getGrade(), named->getGrade());
            EXPECT_EQ(found.*displayNameOf(), named->*displayNameOf());
        }
    }
}

TEST_P(AnyService, RefusesUnknownNamesByAnErrorThatIsThrownAndNotLogged)
{
    for (const char* name : {"", "nonsense", "/etc/passwd", "\u00e9"}) {
        try {
            const TranslatorProxy found(name, translation.getServiceProxy());
            ADD_FAILURE() << "found " << found.getID();
        } catch (const sdbus::Error& error) {
            EXPECT_EQ(error.getName(), "braille.translator.Error.NoSuchTranslator");
        }
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(AnyService, TranslatesForAHandleByNameAsForTheOneOfTheRole)
{
    TranslatorProxy byName(handle->getID(), translation.getServiceProxy());
    EXPECT_EQ(byName.forwardW(SENTENCE)->toString(), handle->forwardW(SENTENCE)->toString());
}

TEST_P(AnyService, ReturnsEveryTextAsItWasSent)
{
    for (const Way& way : WAYS) {
        for (const std::wstring& text : TEXTS)
            EXPECT_EQ(translate(way, text)->getUntranslatedW(), text) << way.operation;
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(AnyService, TranslatesTextsIntoOthersButTheEmptyOne)
{
    for (const Way& way : WAYS) {
        EXPECT_EQ(translate(way, L"")->getTranslatedW(), L"");
        EXPECT_NE(translate(way, L"a")->getTranslatedW(), L"");
    }
    EXPECT_THAT(handle->forwardW(SENTENCE)->getTranslatedW(),
                Each(testing::AllOf(testing::Ge(L'\u2800'), testing::Le(L'\u28ff'))));
}

TEST_P(AnyService, YieldsWideResultsThatKnowTheirWayAndTheirHandle)
{
    for (const Way& way : WAYS) {
        const Result result = translate(way, SENTENCE);
        EXPECT_EQ(result->getIsForward(), way.isForward);
        EXPECT_EQ(result->getTranslator(), handle);
        EXPECT_EQ(result->getUntranslated() + result->getTranslated(), "") << "wide texts only";
    }
}

TEST_P(AnyService, SendsAMapOfEachPositionAndTheEnd)
{
    for (const Way& way : WAYS) {
        for (const std::wstring& text : TEXTS) {
            const Result result = translate(way, text);
            EXPECT_EQ(result->getPosMapLength(), static_cast<int>(text.size()) + 1);
            EXPECT_THAT(result->getPosMapComputed(), SizeIs(text.size() + 1));
            const std::size_t length = result->getTranslatedW().size();
            EXPECT_EQ(mapFaults(lookUpAll(*result), text.size(), length), "") << way.operation;
        }
    }
}

TEST_P(AnyService, FillsItsMapAsPositionsAreLookedUp)
{
    const Result result = handle->forwardW(SENTENCE);
    const std::vector<int> positions = lookUpAll(*result);
    EXPECT_THAT(result->getPosMapComputed(), Each(true));
    EXPECT_EQ(result->getPosMap(), positions);
    EXPECT_EQ(lookUpAll(*result), positions);
}

TEST_P(AnyService, KnowsItsMapAtTheCursor)
{
    for (const Way& way : WAYS) {
        const std::vector<int> positions = lookUpAll(*translate(way, SENTENCE));
        for (std::size_t cursor = 0; cursor < positions.size(); ++cursor) {
            const Result result = translate(way, SENTENCE, static_cast<int>(cursor));
            EXPECT_TRUE(result->getPosMapComputed()[cursor]) << cursor;
            EXPECT_EQ(result->getPosMap()[cursor], positions[cursor]) << cursor;
        }
    }
}

TEST_P(AnyService, TakesAnyCursorAndTranslatesTheSame)
{
    const int length = static_cast<int>(SENTENCE.size());
    for (const Way& way : WAYS) {
        const Result expected = translate(way, SENTENCE);
        const std::vector<int> positions = lookUpAll(*expected);
        for (const int cursor : {INT_MIN, -1, 0, length, length + 1, INT_MAX}) {
            const Result result = translate(way, SENTENCE, cursor);
            EXPECT_EQ(result->getTranslatedW(), expected->getTranslatedW()) << cursor;
            EXPECT_EQ(lookUpAll(*result), positions) << cursor;
        }
    }
}

TEST_P(AnyService, IsGivenTheMiddleAsTheCursorUnlessACallerChoosesOne)
{
    for (const Way& way : WAYS) {
        for (const int length : {0, 1, 5, 6, 41}) {
            const std::wstring text = SENTENCE.substr(0, static_cast<std::size_t>(length));
            EXPECT_EQ(translate(way, text)->toString(),
                      translate(way, text, length / 2)->toString());
        }
    }
}

TEST_P(AnyService, ShowsEachCellsLeftmostPosition)
{
    for (const Way& way : WAYS) {
        const std::vector<int> positions = lookUpAll(*translate(way, SENTENCE));
        const Result result = translate(way, SENTENCE);
        for (int cell = -1; cell <= positions.back() + 1; ++cell)
            EXPECT_EQ(result->getOriginalPositionW(cell), leftmostAt(cell, positions)) << cell;
    }
}

TEST_P(AnyService, IsNotAskedForPositionsOutsideTheText)
{
    const Result result = handle->forwardW(SENTENCE);
    const int length = static_cast<int>(SENTENCE.size());
    const int end = static_cast<int>(result->getTranslatedW().size());
    EXPECT_EQ(result->getTranslatedPositionW(-4), -4);
    EXPECT_EQ(result->getTranslatedPositionW(length), end);
    EXPECT_EQ(result->getTranslatedPositionW(length + 3), end + 3);
}

TEST_P(AnyService, AnswersAnUnknownIdentifierWithOneRecordAndAnEmptyResult)
{
    TranslatorProxy unknown(2, "x", true, "nonsense.ctb", translation.getServiceProxy());
    for (const Way& way : WAYS) {
        const Result result = (unknown.*way.atCursor)(SENTENCE, 1);
        expectOneFailure(way.operation, "NoSuchTranslator");
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->getUntranslatedW() + result->getTranslatedW(), L"");
        EXPECT_THAT(result->getPosMap(), ElementsAre(0, 0));
        EXPECT_THAT(result->getPosMapComputed(), ElementsAre(false, true));
        EXPECT_EQ(result->getIsForward(), way.isForward);
        EXPECT_EQ(translate(way, L"a")->getUntranslatedW(), L"a") << "the next one is answered";
    }
}

TEST_P(AnyService, TranslatesLongTexts)
{
    const std::wstring text = textOfLength(100000);
    const Result result = handle->forwardW(text);
    EXPECT_TRUE(result->getUntranslatedW() == text) << "too long to print";
    EXPECT_EQ(result->getPosMapLength(), static_cast<int>(text.size()) + 1);
    EXPECT_EQ(result->getPosMap().back(), static_cast<int>(result->getTranslatedW().size()));
}

TEST_P(AnyService, AnswersTwoThreadsAtOnceEachWithItsOwn)
{
    const std::wstring one = textOfLength(2000);
    const std::wstring other = textOfLength(1500);
    auto faults =
        std::async(std::launch::async, faultsOfAClient, one, handle->forwardW(one)->toString());
    EXPECT_EQ(faultsOfAClient(other, handle->forwardW(other)->toString()), 0);
    EXPECT_EQ(faults.get(), 0);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(AnyService, AnswersHandlesThatAreOlderThanItself)
{
    const std::string before = handle->forwardW(SENTENCE)->toString();
    const std::vector<TranslatorProxy*> handles = handlesOfRoles();
    restartService();
    EXPECT_EQ(handle->forwardW(SENTENCE)->toString(), before);
    EXPECT_EQ(handlesOfRoles(), handles);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(AnyService, IsAskedForPositionsByResultsThatAreOlderThanItself)
{
    const Result result = handle->forwardW(SENTENCE);
    const std::vector<int> positions = lookUpAll(*handle->forwardW(SENTENCE));
    restartService();
    EXPECT_EQ(lookUpAll(*result), positions);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(AnyService, LeavesNoRecordOfWhatSucceeds)
{
    log.setLevel(log4cplus::TRACE_LOG_LEVEL);
    changeProfile("en-gb");
    for (TranslatorProxy* named : handlesOfRoles())
        lookUpAll(*named->backW(named->forwardW(SENTENCE)->getTranslatedW()));
    const TranslatorProxy byName(handle->getID(), translation.getServiceProxy());
    EXPECT_THAT(log.records(), IsEmpty());
}
