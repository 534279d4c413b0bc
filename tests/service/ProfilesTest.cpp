#include <service/Profiles.h>

#include <gtest/gtest.h>

#include <string>

namespace {

const Profiles PROFILES({
    {"de", "German", "d", "e", "c", "g"},
    {"en-gb", "English (United Kingdom)", "", "", "", ""},
    {"en-us", "English (United States)", "", "", "", ""},
    {"zh-cn", "Chinese", "", "", "", ""},
});

std::string failureFor(const std::string& name)
{
    try {
        PROFILES.named(name);
    } catch (const Profiles::NoSuchProfile& error) {
        return error.what();
    }
    return "no failure";
}

} // namespace

TEST(Profiles, AreFoundByTheirExactNames)
{
    EXPECT_EQ(PROFILES.all().size(), 4U);
    EXPECT_EQ(PROFILES.named("de").language, "German");
    for (const char* name : {"", "en", "EN-US", "en-us ", "en_US", "/en-us", "German"})
        EXPECT_THROW(PROFILES.named(name), Profiles::NoSuchProfile) << name;
}

TEST(Profiles, NameTheirRolesAsTheConfigurationDoes)
{
    const Profile& german = PROFILES.named("de");
    std::string found;
    for (const auto& [role, member] : ROLES)
        found += std::string(role) + "=" + german.*member + " ";
    EXPECT_EQ(found, "display=d entry=e computer=c grade1=g ");
}

TEST(Profiles, OfferTheNamesThatAreCloseToAnUnknownOne)
{
    EXPECT_EQ(failureFor("en"), R"(no language profile is named "en"; close to it: en-gb, en-us)");
    EXPECT_EQ(failureFor("en_US"), R"(no language profile is named "en_US"; close to it: en-us)");
    EXPECT_EQ(failureFor("de-at"), R"(no language profile is named "de-at"; close to it: de)");
    EXPECT_EQ(failureFor("zh-cm"), R"(no language profile is named "zh-cm"; close to it: zh-cn)");
}

TEST(Profiles, OfferTheNameOfALanguageThatIsMisspelt)
{
    EXPECT_EQ(failureFor("germna"), R"(no language profile is named "germna"; close to it: de)");
    EXPECT_EQ(failureFor("ENGLISH"),
              R"(no language profile is named "ENGLISH"; close to it: en-gb, en-us)");
}

TEST(Profiles, OfferAllNamesWhenNoneIsClose)
{
    const std::string all = "there are de, en-gb, en-us, zh-cn";
    EXPECT_EQ(failureFor("tlhIngan"), R"(no language profile is named "tlhIngan"; )" + all);
    EXPECT_EQ(failureFor(""), R"(no language profile is named ""; )" + all);
}

TEST(Profiles, AnswerAHugeNameAtOnce)
{
    const std::string text = failureFor(std::string(1U << 20U, 'x'));
    EXPECT_EQ(text.substr(text.size() - 39), "...\"; there are de, en-gb, en-us, zh-cn");
}
