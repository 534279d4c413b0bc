// What is built into every application that uses the library: how large its classes are, where
// their members are, and what can be done with them. None of it may change.

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/LogAppender.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include "support/PrivateMember.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

REVEAL(isForwardOf, BrlTranslationResult, isForward)
REVEAL(leftOffsetOf, BrlTranslationResult, leftOffset)
REVEAL(posMapOf, BrlTranslationResult, posMap)
REVEAL(posMapComputedOf, BrlTranslationResult, posMapComputed)
REVEAL(translatedOf, BrlTranslationResult, translated)
REVEAL(translatorOf, BrlTranslationResult, translator)
REVEAL(untranslatedOf, BrlTranslationResult, untranslated)
REVEAL(translatedWOf, BrlTranslationResult, translatedW)
REVEAL(untranslatedWOf, BrlTranslationResult, untranslatedW)
REVEAL(isWideOf, BrlTranslationResult, isWide)
REVEAL(proxyHolderOf, DBusTranslatorProxy, proxyHolder)
REVEAL(displayOf, Translation, preferredDisplayTranslator)
REVEAL(entryOf, Translation, preferredEntryTranslator)
REVEAL(computerOf, Translation, computerBrailleTranslator)
REVEAL(grade1Of, Translation, grade1EntryTranslator)
REVEAL(serviceOf, Translation, dbusProxy)
REVEAL(gradeOf, TranslatorProxy, grade)
REVEAL(reservedOf, TranslatorProxy, reserved)
REVEAL(nameOf, TranslatorProxy, name)
REVEAL(flagOf, TranslatorProxy, flag)
REVEAL(idOf, TranslatorProxy, id)
REVEAL(dbusProxyOf, TranslatorProxy, dbusProxy)

namespace {

/** A pointer to a data member is, with all our compilers, the member's offset. */
template <typename Member, typename Class>
std::size_t offset(Member Class::*member)
{
    static_assert(sizeof(member) == sizeof(std::size_t));
    std::size_t bytes = 0;
    std::memcpy(&bytes, &member, sizeof(bytes));
    return bytes;
}

/** Bytes, with 64 bits to an address (amd64) and with 32 (armhf). */
struct Bytes
{
    const char* what;
    std::size_t actual;
    std::size_t amd64;
    std::size_t armhf;
};

constexpr std::size_t Bytes::*EXPECTED = sizeof(void*) == 8 ? &Bytes::amd64 : &Bytes::armhf;

template <std::size_t Count>
void expectAll(const Bytes (&table)[Count])
{
    for (const Bytes& row : table)
        EXPECT_EQ(row.actual, row.*EXPECTED) << row.what;
}

template <typename Class>
void take(const Class& /*object*/);

/** Whether braces with such arguments pass for an object, which takes an implicit constructor. */
template <typename Class, typename... Arguments>
auto bracesMake(int /*preferred*/) -> decltype(take<Class>({std::declval<Arguments>()...}), bool())
{
    return true;
}

template <typename Class, typename... Arguments>
bool bracesMake(long /*otherwise*/)
{
    return false;
}

} // namespace

TEST(ThePublicClasses, AreAsLargeAsEver)
{
    expectAll({
        {"BrlTranslationResult", sizeof(BrlTranslationResult), 216, 144},
        {"DBusTranslatorProxy", sizeof(DBusTranslatorProxy), 16, 8},
        {"Translation", sizeof(Translation), 40, 20},
        {"TranslatorProxy", sizeof(TranslatorProxy), 120, 84},
        {"alignment of BrlTranslationResult", alignof(BrlTranslationResult), 8, 4},
        {"alignment of DBusTranslatorProxy", alignof(DBusTranslatorProxy), 8, 4},
        {"alignment of Translation", alignof(Translation), 8, 4},
        {"alignment of TranslatorProxy", alignof(TranslatorProxy), 8, 4},
        {"Direction", sizeof(BrlTranslationResult::Direction), 4, 4},
        {"TranslationReply", sizeof(TranslationReply), 152, 88},
        {"TranslatorInfo", sizeof(TranslatorInfo), 80, 56},
    });
}

// No pointer points to the member that is missing, which is a reference: what
// DBusTranslatorProxy has beside its holder is sdbusProxy.
TEST(ThePublicClasses, HaveEveryMemberWhereItAlwaysWas)
{
    expectAll({
        {"BrlTranslationResult::isForward", offset(isForwardOf()), 0, 0},
        {"BrlTranslationResult::leftOffset", offset(leftOffsetOf()), 4, 4},
        {"BrlTranslationResult::posMap", offset(posMapOf()), 8, 8},
        {"BrlTranslationResult::posMapComputed", offset(posMapComputedOf()), 32, 20},
        {"BrlTranslationResult::translated", offset(translatedOf()), 72, 40},
        {"BrlTranslationResult::translator", offset(translatorOf()), 104, 64},
        {"BrlTranslationResult::untranslated", offset(untranslatedOf()), 112, 68},
        {"BrlTranslationResult::translatedW", offset(translatedWOf()), 144, 92},
        {"BrlTranslationResult::untranslatedW", offset(untranslatedWOf()), 176, 116},
        {"BrlTranslationResult::isWide", offset(isWideOf()), 208, 140},
        {"DBusTranslatorProxy::proxyHolder", offset(proxyHolderOf()), 0, 0},
        {"Translation::preferredDisplayTranslator", offset(displayOf()), 0, 0},
        {"Translation::preferredEntryTranslator", offset(entryOf()), 8, 4},
        {"Translation::computerBrailleTranslator", offset(computerOf()), 16, 8},
        {"Translation::grade1EntryTranslator", offset(grade1Of()), 24, 12},
        {"Translation::dbusProxy", offset(serviceOf()), 32, 16},
        {"TranslatorProxy::grade", offset(gradeOf()), 0, 0},
        {"TranslatorProxy::reserved", offset(reservedOf()), 8, 4},
        {"TranslatorProxy::name", offset(nameOf()), 40, 28},
        {"TranslatorProxy::flag", offset(flagOf()), 72, 52},
        {"TranslatorProxy::id", offset(idOf()), 80, 56},
        {"TranslatorProxy::dbusProxy", offset(dbusProxyOf()), 112, 80},
    });
}

TEST(ThePublicClasses, HaveNoVirtualFunctions)
{
    EXPECT_FALSE(std::is_polymorphic_v<BrlTranslationResult>);
    EXPECT_FALSE(std::is_polymorphic_v<DBusTranslatorProxy>);
    EXPECT_FALSE(std::is_polymorphic_v<Translation>);
    EXPECT_FALSE(std::is_polymorphic_v<TranslatorProxy>);
}

TEST(ThePublicClasses, CanBeDerivedFrom)
{
    EXPECT_FALSE(std::is_final_v<BrlTranslationResult>);
    EXPECT_FALSE(std::is_final_v<DBusTranslatorProxy>);
    EXPECT_FALSE(std::is_final_v<Translation>);
    EXPECT_FALSE(std::is_final_v<TranslatorProxy>);
}

TEST(ThePublicClasses, AreDestroyedWithoutExceptions)
{
    EXPECT_TRUE(std::is_nothrow_destructible_v<BrlTranslationResult>);
    EXPECT_TRUE(std::is_nothrow_destructible_v<DBusTranslatorProxy>);
    EXPECT_TRUE(std::is_nothrow_destructible_v<Translation>);
    EXPECT_TRUE(std::is_nothrow_destructible_v<TranslatorProxy>);
}

TEST(ThePublicClasses, HaveImplicitConstructors)
{
    using Result = BrlTranslationResult;
    using Map = std::vector<int>;
    using Maker = TranslatorProxy*;
    using Way = Result::Direction;
    using N = std::string;
    using W = std::wstring;
    using Flags = std::vector<bool>;

    EXPECT_TRUE((bracesMake<Result, Maker, Way, N, N>(0)));
    EXPECT_TRUE((bracesMake<Result, Maker, Way, N, N, Map>(0)));
    EXPECT_TRUE((bracesMake<Result, Maker, Way, N, N, int, int>(0)));
    EXPECT_TRUE((bracesMake<Result, Maker, Way, W, W>(0)));
    EXPECT_TRUE((bracesMake<Result, Maker, Way, W, W, Map>(0)));
    EXPECT_TRUE((bracesMake<Result, Maker, Way, W, W, Map, Flags>(0)));
    EXPECT_TRUE((bracesMake<Result, Maker, Way, W, W, int, int>(0)));
    EXPECT_TRUE((bracesMake<DBusTranslatorProxy, const char*, const char*>(0)));
    EXPECT_TRUE((bracesMake<Translation>(0)));
    EXPECT_TRUE((bracesMake<TranslatorProxy, int, N, bool, N, DBusTranslatorProxy*>(0)));
    EXPECT_TRUE((bracesMake<TranslatorProxy, N, DBusTranslatorProxy*>(0)));
}

// What is noexcept has another type, which is part of the name of a template that takes it.
TEST(ThePublicClasses, LeaveItOpenWhetherTheirOperationsThrow)
{
    EXPECT_TRUE((std::is_same_v<decltype(&BrlTranslationResult::getPosMap),
                                const std::vector<int>& (BrlTranslationResult::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&DBusTranslatorProxy::changeLanguageProfile_proxy),
                                void (DBusTranslatorProxy::*)(const std::string&)>));
    EXPECT_TRUE((std::is_same_v<decltype(&Translation::getServiceProxy),
                                DBusTranslatorProxy* (Translation::*)()>));
    EXPECT_TRUE(
        (std::is_same_v<decltype(&TranslatorProxy::getGrade), int (TranslatorProxy::*)() const>));
    EXPECT_TRUE((std::is_same_v<decltype(&TranslatorProxy::getID),
                                std::string (TranslatorProxy::*)() const>));
}

TEST(ThePublicClasses, CanBeCopiedUnlessTheyOwnALinkToTheService)
{
    EXPECT_TRUE(std::is_copy_constructible_v<BrlTranslationResult>);
    EXPECT_TRUE(std::is_copy_assignable_v<BrlTranslationResult>);
    EXPECT_TRUE(std::is_copy_constructible_v<TranslatorProxy>);
    EXPECT_TRUE(std::is_copy_assignable_v<TranslatorProxy>);
    EXPECT_FALSE(std::is_copy_constructible_v<DBusTranslatorProxy>);
    EXPECT_FALSE(std::is_copy_assignable_v<DBusTranslatorProxy>);
    EXPECT_FALSE(std::is_copy_constructible_v<Translation>);
    EXPECT_FALSE(std::is_copy_assignable_v<Translation>);
}

// Of a class that can be copied only, std::vector would copy what it holds whenever it grows.
TEST(ThePublicClasses, AreMovedWithoutExceptionsIfTheyCanBeCopied)
{
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<BrlTranslationResult>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<TranslatorProxy>);
}

TEST(ThePublicClasses, CannotBeMovedIfTheyOwnALinkToTheService)
{
    EXPECT_FALSE(std::is_move_constructible_v<DBusTranslatorProxy>);
    EXPECT_FALSE(std::is_move_assignable_v<DBusTranslatorProxy>);
    EXPECT_FALSE(std::is_move_constructible_v<Translation>);
    EXPECT_FALSE(std::is_move_assignable_v<Translation>);
}

TEST(ADirection, IsAnIntThatIsZeroForForwardAndOneForBack)
{
    EXPECT_EQ(int{BrlTranslationResult::FORWARD}, 0);
    EXPECT_EQ(int{BrlTranslationResult::BACK}, 1);
    EXPECT_TRUE((std::is_same_v<std::underlying_type_t<BrlTranslationResult::Direction>, int>));
}

TEST(TheServicesReplies, AreStructuresOfSdbusAndOfTheContract)
{
    EXPECT_TRUE(
        (std::is_same_v<
            TranslationReply,
            sdbus::Struct<bool, std::int32_t, std::vector<std::int32_t>, std::vector<bool>,
                          std::vector<std::uint32_t>, std::vector<std::uint32_t>, std::string>>));
    EXPECT_TRUE((std::is_same_v<TranslatorInfo,
                                sdbus::Struct<std::int32_t, std::string, bool, std::string>>));
}

// The library calls it by a name that does not tell what it returns.
TEST(TheHostsLogAppender, IsAskedForALoggerByValue)
{
    EXPECT_TRUE((std::is_same_v<decltype(&LogAppender::getLogger), log4cplus::Logger (*)()>));
}
