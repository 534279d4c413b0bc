#include "Allocations.h"
#include "FaultySdbus.h"
#include "HostsLogger.h"

#include "support/BusTest.h"
#include "support/Figures.h"
#include "support/HostProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/** Not derived from std::exception. */
struct Alien
{
};

void throwError()
{
    throw std::runtime_error("a fault");
}

void throwAlien()
{
    throw Alien();
}

class AFaultySdbus : public BusTest
{
protected:
    ~AFaultySdbus() override { beforeLogging = nullptr; }

    /** Takes every role's handle, and from now on its end as an event. */
    void watchHandles(Translation& translation)
    {
        const auto watch = [this](const TranslatorProxy* handle, const char* role) {
            ASSERT_NE(handle, nullptr);
            allocations::onDelete(handle, [this, role] { sdbusFaults.events.emplace_back(role); });
        };
        for (const char* method :
             {"getPreferredBrailleTranslatorForDisplay", "getPreferredBrailleTranslatorForEntry",
              "getComputerBrailleTranslator", "getGrade1TranslatorForPreferredEntry"})
            service.on(method, answer::translator(0, "x", true, "one.utb"));
        watch(translation.getPreferredBrailleTranslatorForDisplay(), "display");
        watch(translation.getPreferredBrailleTranslatorForEntry(), "entry");
        watch(translation.getComputerBrailleTranslator(), "computer");
        watch(translation.getGrade1TranslatorForPreferredEntry(), "grade 1");
        sdbusFaults.events.clear();
    }

    FaultySdbus sdbusFaults;
    std::string id = "some.ctb";
};

testing::Matcher<LogRecord> proxyFailure(const char* operation, const char* function)
{
    return IsFailure(operation, "libBrailleTranslate/DBusTranslatorProxy.cpp", function);
}

/** All operations that call the service and report nothing to their caller. */
void useEverything(Translation& translation)
{
    translation.getPreferredBrailleTranslatorForDisplay();
    translation.getPreferredBrailleTranslatorForEntry();
    translation.getComputerBrailleTranslator();
    translation.getGrade1TranslatorForPreferredEntry();
    std::string text = "x";
    translation.changeLanguageProfile(text);
    translation.getServiceProxy()->forwardW_proxy(text, L"a", 0);
    translation.getServiceProxy()->backW_proxy(text, L"a", 0);
}

} // namespace

TEST_F(AFaultySdbus, ThatCannotMakeAProxyFailsTheConstructorUnlogged)
{
    const HostProcess before;
    sdbusFaults.on("createProxy", throwError);
    EXPECT_THROW(DBusTranslatorProxy("/translator", FakeService::busName()), std::runtime_error);
    EXPECT_THROW(Translation(), std::runtime_error);
    sdbusFaults.on("createProxy", throwAlien);
    EXPECT_THROW(DBusTranslatorProxy("/translator", FakeService::busName()), Alien);
    EXPECT_THROW(Translation(), Alien);
    EXPECT_EQ(HostProcess(), before) << "the connection is closed";
    EXPECT_THAT(log.records(), IsEmpty());
}

// From sdbus-c++ 2 on there is no registration to finish.
#if SDBUS_VERSION < 20000
TEST_F(AFaultySdbus, ThatCannotFinishTheRegistrationIsLoggedAndUsed)
{
    service.on("forwardW", answer::echo);
    sdbusFaults.on("finishRegistration", throwError);
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    ASSERT_THAT(log.records(),
                ElementsAre(proxyFailure("DBusTranslatorProxy",
                                         "DBusTranslatorProxy::DBusTranslatorProxy(const char*, "
                                         "const char*)")));
    EXPECT_EQ(log.records()[0].message, "DBusTranslatorProxy : a fault");
    EXPECT_THAT(proxy.forwardW_proxy(id, L"a", 0).get<5>(), ElementsAre('a'));
}

TEST_F(AFaultySdbus, ThatFailsOtherwiseInTheRegistrationDestroysTheProxy)
{
    sdbusFaults.on("finishRegistration", throwAlien);
    EXPECT_THROW(DBusTranslatorProxy("/translator", FakeService::busName()), Alien);
    EXPECT_THAT(sdbusFaults.events, ElementsAre("create", "finish", "destroy"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AFaultySdbus, ThatLostTheBusBeforeRegistrationIsLoggedOnce)
{
    sdbusFaults.on("finishRegistration", throwError);
    sdbusFaults.on("getConnection", throwError);
    const DBusTranslatorProxy proxy("/translator", FakeService::busName());
    EXPECT_THAT(log.records(), SizeIs(1));
}
#endif

TEST_F(AFaultySdbus, ThatCannotLendItsConnectionIsUsedAllTheSame)
{
    service.on("forwardW", answer::echo);
    sdbusFaults.on("getConnection", throwError);
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    EXPECT_THAT(proxy.forwardW_proxy(id, L"a", 0).get<5>(), ElementsAre('a'));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AFaultySdbus, ThatCannotUnregisterIsLoggedAndDestroyed)
{
    sdbusFaults.on("unregister", throwError);
    {
        const DBusTranslatorProxy proxy("/translator", FakeService::busName());
    }
#if SDBUS_VERSION < 20000
    EXPECT_THAT(sdbusFaults.events, ElementsAre("create", "finish", "unregister", "destroy"));
#else
    EXPECT_THAT(sdbusFaults.events, ElementsAre("create", "unregister", "destroy"));
#endif
    ASSERT_THAT(log.records(),
                ElementsAre(proxyFailure("~DBusTranslatorProxy",
                                         "DBusTranslatorProxy::~DBusTranslatorProxy()")));
    EXPECT_EQ(log.records()[0].message, "~DBusTranslatorProxy : a fault");
}

TEST(ABusThatDiesWithinADestructor, DoesNotHoldItUp)
{
    Durations destroying("a destructor whose bus dies within it takes");
    LogCapture log;
    for (const int signal : {SIGKILL, SIGTERM}) {
        for (int round = 0; round < rounds(20); ++round) {
            PrivateBus bus;
            FaultySdbus sdbusFaults;
            auto translation = std::make_unique<Translation>();
            // Time for the death itself is not the destructor's.
            Milliseconds dying{};
            sdbusFaults.on("unregister", [&] { dying = timeOf([&] { bus.kill(signal); }); });
            const Milliseconds all = timeOf([&] { translation.reset(); });
            EXPECT_GT(dying, Milliseconds());
            destroying.add(all - dying);
        }
    }
    expectWithin(std::chrono::milliseconds(100), destroying.longestOfNearlyAll());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(AFaultySdbusDeath, EndsTheProgramWhenUnregisteringThrowsSomethingElse)
{
    const auto destroy = [] {
        const PrivateBus bus;
        FaultySdbus sdbusFaults;
        sdbusFaults.on("unregister", throwAlien);
        const DBusTranslatorProxy proxy("/translator", FakeService::busName());
    };
    EXPECT_EXIT(destroy(), testing::KilledBySignal(SIGABRT), "terminate called");
}

TEST_F(AFaultySdbus, IsGivenNoTimeOutWithAnyCall)
{
    Translation translation;
    service.on("getTranslatorByName", answer::translator(2, "x", true, "x"));
    useEverything(translation);
    const TranslatorProxy byName("x", translation.getServiceProxy());
    EXPECT_THAT(sdbusFaults.timeouts, testing::AllOf(SizeIs(8), testing::Each(0U)));
}

TEST_F(AFaultySdbus, IsNotAskedForTheErrorsTextWhenNothingIsLogged)
{
    struct CountedError : std::exception
    {
        explicit CountedError(int& counter) : asked(counter) {}
        const char* what() const noexcept override
        {
            ++asked;
            return "counted";
        }
        int& asked;
    };
    int asked = 0;
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    sdbusFaults.on("callMethod", [&asked] { throw CountedError(asked); });
    log.setLevel(log4cplus::FATAL_LOG_LEVEL);
    proxy.forwardW_proxy(id, L"a", 0);
    EXPECT_EQ(asked, 0);
    log.setLevel(log4cplus::ERROR_LOG_LEVEL);
    proxy.forwardW_proxy(id, L"a", 0);
    EXPECT_EQ(asked, 1);
}

TEST_F(AFaultySdbus, LogsOneRecordForEachOperationThatFails)
{
    Translation translation;
    for (const char* operation : {"createMethodCall", "callMethod"}) {
        log.clear();
        sdbusFaults.on(operation, throwError);
        useEverything(translation);
        std::vector<std::string> messages;
        for (const LogRecord& record : log.records())
            messages.push_back(record.message);
        EXPECT_THAT(messages, ElementsAre("getPreferredBrailleTranslatorForDisplay : a fault",
                                          "getPreferredBrailleTranslatorForEntry : a fault",
                                          "getComputerBrailleTranslator : a fault",
                                          "getGrade1TranslatorForPreferredEntry : a fault",
                                          "changeLanguageProfile_proxy : a fault",
                                          "forwardW_proxy : a fault", "backW_proxy : a fault"));
        sdbusFaults.on(operation, {});
    }
}

TEST_F(AFaultySdbus, IsSilentWhenErrorsAreNotLogged)
{
    log.setLevel(log4cplus::FATAL_LOG_LEVEL);
    for (const char* operation : {"finishRegistration", "callMethod", "unregister"})
        sdbusFaults.on(operation, throwError);
    {
        Translation translation;
        useEverything(translation);
        beforeLogging = [] {
            beforeLogging = nullptr;
            throw std::runtime_error("for the outer handler");
        };
        translation.changeLanguageProfile(id);
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AFaultySdbus, LetsExceptionsOfOtherTypesThroughUnlogged)
{
    Translation translation;
    DBusTranslatorProxy* const proxy = translation.getServiceProxy();
    TranslatorProxy handle(2, "Some table", true, id, proxy);
    BrlTranslationResult result(&handle, BrlTranslationResult::FORWARD, L"abc", L"x");
    sdbusFaults.on("callMethod", throwAlien);
    EXPECT_THROW(proxy->forwardW_proxy(id, L"a", 0), Alien);
    EXPECT_THROW(proxy->backW_proxy(id, L"a", 0), Alien);
    EXPECT_THROW(proxy->changeLanguageProfile_proxy(id), Alien);
    EXPECT_THROW(translation.changeLanguageProfile(id), Alien);
    EXPECT_THROW(translation.getPreferredBrailleTranslatorForDisplay(), Alien);
    EXPECT_THROW(translation.getPreferredBrailleTranslatorForEntry(), Alien);
    EXPECT_THROW(translation.getComputerBrailleTranslator(), Alien);
    EXPECT_THROW(translation.getGrade1TranslatorForPreferredEntry(), Alien);
    EXPECT_THROW(TranslatorProxy("x", proxy), Alien);
    EXPECT_THROW(handle.forwardW(L"a"), Alien);
    EXPECT_THROW(result.getTranslatedPositionW(1), Alien);
    EXPECT_FALSE(result.getPosMapComputed()[1]);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AFaultySdbus, LogsWhatEscapesTheServiceProxysChangeOfProfile)
{
    Translation translation;
    service.releaseName();
    beforeLogging = [] {
        beforeLogging = nullptr;
        throw std::runtime_error("no logger the first time");
    };
    translation.changeLanguageProfile(id);
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_EQ(log.records()[0].message, "changeLanguageProfile : no logger the first time");
    EXPECT_EQ(log.records()[0].file, "libBrailleTranslate/Translation.cpp");
    EXPECT_EQ(withoutBlanksAtStars(log.records()[0].function),
              "void Translation::changeLanguageProfile(std::string&)");
}

TEST_F(AFaultySdbus, AsksForTheLoggerAnewForEachRecord)
{
    int asked = 0;
    beforeLogging = [&asked] { ++asked; };
    Translation translation;
    service.releaseName();
    EXPECT_EQ(asked, 0);
    useEverything(translation);
    EXPECT_EQ(asked, 7);
    useEverything(translation);
    EXPECT_EQ(asked, 14);
}

TEST_F(AFaultySdbus, LetsAFailedCopyOfTheTextThroughUnlogged)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    const std::wstring text(1000, L'a');
    allocations::failNext(text.size() * sizeof(uint32_t));
    EXPECT_THROW(proxy.forwardW_proxy(id, text, 0), std::bad_alloc);
    allocations::failNext(text.size() * sizeof(uint32_t));
    EXPECT_THROW(proxy.backW_proxy(id, text, 0), std::bad_alloc);
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(AFaultySdbus, LogsAFailedAllocationBeforeAProfileIsEvenSent)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    const std::string profile = "en-gb";
    allocations::failNext();
    proxy.changeLanguageProfile_proxy(profile);
    EXPECT_TRUE(allocations::hasFailed());
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("bad_alloc"));
    EXPECT_THAT(service.calls(), IsEmpty());
}

TEST_F(AFaultySdbus, KeepsTheOldHandleWhenThereIsNoMemoryForANewOne)
{
    Translation translation;
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
    TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "two.utb"));
    sdbusFaults.on("callMethod", [] { allocations::failNext(sizeof(TranslatorProxy)); });
    EXPECT_EQ(translation.getComputerBrailleTranslator(), nullptr);
    EXPECT_TRUE(allocations::hasFailed());
    sdbusFaults.on("callMethod", {});
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("bad_alloc"));
    EXPECT_EQ(handle->getID(), "one.utb");
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
    EXPECT_EQ(translation.getComputerBrailleTranslator(), handle);
}

TEST_F(AFaultySdbus, DestroysTheOldHandleWhenARoleGoesToAnotherTranslator)
{
    Translation translation;
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
    bool isDestroyed = false;
    allocations::onDelete(translation.getComputerBrailleTranslator(), [&] { isDestroyed = true; });
    translation.getComputerBrailleTranslator();
    EXPECT_FALSE(isDestroyed);
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "two.utb"));
    translation.getComputerBrailleTranslator();
    EXPECT_TRUE(isDestroyed);
}

TEST_F(AFaultySdbus, SeesNoHandleGoWhenTheProfileChanges)
{
    Translation translation;
    watchHandles(translation);
    service.on("changeLanguageProfile", answer::nothing());
    translation.changeLanguageProfile(id);
    EXPECT_THAT(sdbusFaults.events, testing::Each("connection"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AFaultySdbus, SeesTheServiceProxyGoBeforeTheHandlesAndTheHandlesInReverseOrder)
{
    {
        Translation translation;
        watchHandles(translation);
    }
    EXPECT_THAT(sdbusFaults.events,
                ElementsAre("unregister", "destroy", "grade 1", "computer", "entry", "display"));
}

TEST_F(AFaultySdbus, SeesAResultAndItsCountsInOneAllocation)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    TranslatorProxy handle(2, "Some table", true, id, &proxy);
    service.on("forwardW", answer::echo);
    const std::vector<std::size_t> sizes = allocations::sizesDuring([&] { handle.forwardW(L"a"); });
    constexpr std::size_t RESULT = sizeof(BrlTranslationResult);
    EXPECT_EQ(std::count(sizes.begin(), sizes.end(), RESULT), 0);
    EXPECT_EQ(std::count_if(sizes.begin(), sizes.end(),
                            [](std::size_t size) { return size > RESULT && size <= RESULT + 32; }),
              1);
}
