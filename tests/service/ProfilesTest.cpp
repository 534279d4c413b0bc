#include <service/Profiles.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

const Profiles PROFILES({
    {"de", "German", "d", "e", "c", "g"},
    {"en-gb", "English (United Kingdom)", "", "", "", ""},
    {"en-us", "English (United States)", "", "", "", ""},
    {"zh-cn", "Chinese", "", "", "", ""},
});

/** A profile of that language that lacks two translators. */
Profile incomplete(const std::string& name, const std::string& language)
{
    return {name,
            language,
            "",
            "e",
            "",
            "g",
            {{"display", {"d.ctb"}, "file:3"}, {"computer", {"c.ctb", "d.utb"}, "file:5"}}};
}

Profile complete(const std::string& name, const std::string& language)
{
    return {name, language, "d", "e", "c", "g"};
}

/** What there is instead of the first of these, which is not offered. */
std::string replacementIn(std::vector<Profile> all)
{
    const Profiles profiles(std::move(all));
    const Profile* const closest = profiles.closestOffered(profiles.all().front());
    return closest == nullptr ? "none" : closest->name;
}

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

TEST(Profiles, SayWhichTranslatorsOneThatIsNotOfferedLacks)
{
    const Profiles profiles({incomplete("de", "German"), complete("fr", "French")});
    EXPECT_EQ(profiles.named("de").language, "German") << "it is known";
    EXPECT_EQ(profiles.offered("fr").name, "fr");
    EXPECT_THROW(profiles.offered("en"), Profiles::NoSuchProfile);
    try {
        profiles.offered("de");
        ADD_FAILURE() << "it is offered";
    } catch (const Profiles::NoSuchProfile& error) {
        EXPECT_STREQ(error.what(), "the language profile \"de\" is not offered: its display "
                                   "translator is not installed (\"d.ctb\"), its computer "
                                   "translator is not installed (\"c.ctb\" or \"d.utb\"); install "
                                   "what is missing and restart the service, or name another "
                                   "table in the file");
    }
}

TEST(Profiles, HaveNoReplacementForOneThatIsOffered)
{
    EXPECT_EQ(replacementIn({complete("de", "German"), complete("de-at", "German (Austria)")}),
              "de");
}

TEST(Profiles, ReplaceOneByTheFirstOfItsLanguage)
{
    EXPECT_EQ(replacementIn({incomplete("de", "German (Germany)"), complete("en", "English"),
                             incomplete("de-a", "German"), complete("de-b", "German (Austria)"),
                             complete("de-c", "German (Germany)")}),
              "de-b");
}

TEST(Profiles, ReplaceOneWhoseLanguageIsNotOfferedByEnglish)
{
    EXPECT_EQ(replacementIn({incomplete("de", "German"), complete("af", "Afrikaans"),
                             incomplete("en-gb", "English"),
                             complete("en-us", "English (United States)")}),
              "en-us");
}

TEST(Profiles, ReplaceOneByTheFirstWhenNeitherItsLanguageNorEnglishIsOffered)
{
    EXPECT_EQ(replacementIn({incomplete("de", "German"), incomplete("en", "English"),
                             complete("fr", "French"), complete("it", "Italian")}),
              "fr");
}

TEST(Profiles, HaveNoReplacementWhenNoneIsOffered)
{
    EXPECT_EQ(replacementIn({incomplete("de", "German"), incomplete("en", "English")}), "none");
}
