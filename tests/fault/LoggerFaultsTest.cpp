#include "FaultySdbus.h"
#include "HostsLogger.h"

#include "support/BusTest.h"
#include "support/Figures.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <log4cplus/appender.h>

#include <csignal>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

using testing::IsEmpty;

namespace {

/** What the logger throws: derived from std::exception, or not. */
struct LoggerError : std::runtime_error
{
    LoggerError() : std::runtime_error("the logger is broken") {}
};

struct Alien
{
};

class ThrowingAppender : public log4cplus::Appender
{
public:
    ~ThrowingAppender() override { destructorImpl(); }
    void close() override {}

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& /*event*/) override
    {
        throw LoggerError();
    }
};

/** A logger whose appender throws, for as long as it lives. */
class BrokenAppender
{
public:
    BrokenAppender() { logger.addAppender(appender); }
    ~BrokenAppender() { logger.removeAppender(appender); }
    BrokenAppender(const BrokenAppender&) = delete;
    BrokenAppender& operator=(const BrokenAppender&) = delete;

private:
    log4cplus::Logger logger = log4cplus::Logger::getInstance("BrailleTranslate");
    log4cplus::SharedAppenderPtr appender{new ThrowingAppender()};
};

class ABrokenLogger : public BusTest
{
protected:
    ABrokenLogger()
    {
        for (const char* role : ROLES)
            service.on(role, answer::translator(2, "x", true, "x"));
        service.on("forwardW", answer::echo);
        service.on("backW", answer::echo);
        display = translation.getPreferredBrailleTranslatorForDisplay();
        entry = translation.getPreferredBrailleTranslatorForEntry();
        computer = translation.getComputerBrailleTranslator();
        grade1 = translation.getGrade1TranslatorForPreferredEntry();
    }

    ~ABrokenLogger() override { beforeLogging = nullptr; }

    /** Each operation that has a handler for failures, but for those of the link's own life. */
    std::vector<std::function<void()>> operations()
    {
        DBusTranslatorProxy* const proxy = translation.getServiceProxy();
        return {
            [this] { translation.getPreferredBrailleTranslatorForDisplay(); },
            [this] { translation.getPreferredBrailleTranslatorForEntry(); },
            [this] { translation.getComputerBrailleTranslator(); },
            [this] { translation.getGrade1TranslatorForPreferredEntry(); },
            [this] { translation.changeLanguageProfile(text); },
            [=] { proxy->forwardW_proxy(text, L"a", 0); },
            [=] { proxy->backW_proxy(text, L"a", 0); },
            [=] { proxy->changeLanguageProfile_proxy(text); },
            [this] { result.getTranslatedPositionW(1); },
        };
    }

    template <typename Exception>
    void expectEachToThrow()
    {
        int thrown = 0;
        for (const auto& operation : operations()) {
            EXPECT_THROW(operation(), Exception);
            ++thrown;
        }
        report("handlers that let the exception through", thrown);
    }

    void expectNothingHalfChanged()
    {
        EXPECT_THAT(log.records(), IsEmpty());
        EXPECT_FALSE(result.getPosMapComputed()[1]);
        service.requestName();
        EXPECT_EQ(translation.getPreferredBrailleTranslatorForDisplay(), display);
        EXPECT_EQ(translation.getPreferredBrailleTranslatorForEntry(), entry);
        EXPECT_EQ(translation.getComputerBrailleTranslator(), computer);
        EXPECT_EQ(translation.getGrade1TranslatorForPreferredEntry(), grade1);
        EXPECT_EQ(result.getTranslatedPositionW(1), 1);
        EXPECT_EQ(display->forwardW(L"abc")->getUntranslatedW(), L"abc");
    }

    static constexpr const char* ROLES[] = {
        "getPreferredBrailleTranslatorForDisplay", "getPreferredBrailleTranslatorForEntry",
        "getComputerBrailleTranslator", "getGrade1TranslatorForPreferredEntry"};

    Translation translation;
    std::string text = "x";
    TranslatorProxy* display = nullptr;
    TranslatorProxy* entry = nullptr;
    TranslatorProxy* computer = nullptr;
    TranslatorProxy* grade1 = nullptr;
    TranslatorProxy handle{2, "x", true, "x", translation.getServiceProxy()};
    BrlTranslationResult result{&handle, BrlTranslationResult::FORWARD, L"abc", L"xyz"};
};

[[noreturn]] void throwLoggerError()
{
    throw LoggerError();
}

[[noreturn]] void throwAlien()
{
    throw Alien();
}

} // namespace

TEST_F(ABrokenLogger, ThatCannotBeHadLetsItsExceptionOutOfEveryHandler)
{
    service.releaseName();
    beforeLogging = throwLoggerError;
    expectEachToThrow<LoggerError>();
    beforeLogging = throwAlien;
    expectEachToThrow<Alien>();
    beforeLogging = nullptr;
    expectNothingHalfChanged();
}

TEST_F(ABrokenLogger, WhoseAppenderThrowsLetsThatOutOfEveryHandler)
{
    service.releaseName();
    {
        const BrokenAppender broken;
        expectEachToThrow<LoggerError>();
    }
    log.clear();
    expectNothingHalfChanged();
}

// From sdbus-c++ 2 on there is no registration that could fail.
#if SDBUS_VERSION < 20000
TEST_F(ABrokenLogger, LeavesNoProxyBehindAfterAFailedRegistration)
{
    FaultySdbus sdbusFaults;
    sdbusFaults.on("finishRegistration", throwLoggerError);
    beforeLogging = throwAlien;
    EXPECT_THROW(DBusTranslatorProxy("/translator", FakeService::busName()), Alien);
    EXPECT_THAT(sdbusFaults.events, testing::ElementsAre("create", "finish", "destroy"));
}
#endif

TEST(ABrokenLoggersDeath, EndsTheProgramInADestructorThatHasSomethingToLog)
{
    const auto destroy = [] {
        const PrivateBus bus;
        FaultySdbus sdbusFaults;
        sdbusFaults.on("unregister", throwLoggerError);
        beforeLogging = throwLoggerError;
        const DBusTranslatorProxy proxy("/translator", FakeService::busName());
    };
    EXPECT_EXIT(destroy(), testing::KilledBySignal(SIGABRT), "terminate called");
}
