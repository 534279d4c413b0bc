#include <service/Profiles.h>

#include <service/Catalogue.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::string textOfFailure(const Profiles& profiles, const std::string& name)
{
    try {
        profiles.named(name);
    } catch (const Profiles::NoSuchProfile& error) {
        return error.what();
    }
    return "no failure";
}

} // namespace

TEST(Profiles, HaveEnglishBuiltIn)
{
    const Profiles profiles = Profiles::builtIn();
    const Profile& american = profiles.named("en-us");

    EXPECT_EQ(american.name, "en-us");
    EXPECT_EQ(american.display, "en-ueb-g2.ctb");
    EXPECT_EQ(american.entry, "en-ueb-g2.ctb");
    EXPECT_EQ(american.computer, "en-us-comp8-ext.utb");
    EXPECT_EQ(american.grade1, "en-ueb-g1.ctb");
    EXPECT_EQ(profiles.named("en-gb").computer, "en-gb-comp8.ctb");
}

TEST(Profiles, AreFoundByTheirExactNamesOnly)
{
    const Profiles profiles = Profiles::builtIn();
    for (const char* name : {"", "en", "EN-US", "en-us ", "en_US", "/en-us"})
        EXPECT_THROW(profiles.named(name), Profiles::NoSuchProfile) << name;
}

TEST(Profiles, SayWhatWasAskedAndWhatThereIs)
{
    EXPECT_EQ(textOfFailure(Profiles::builtIn(), "xx"),
              "no language profile is named \"xx\"; there are en-gb, en-us");
}

TEST(Profiles, QuoteAStrangeNameOnOneLine)
{
    const Profiles profiles({{"only", "", "", "", ""}});

    EXPECT_EQ(textOfFailure(profiles, "a\nb\x7F\t"),
              "no language profile is named \"a b  \"; there are only");
}

TEST(Profiles, CutALongNameBetweenItsCharacters)
{
    const Profiles profiles({{"only", "", "", "", ""}});
    const std::string seventyNine(79, 'x');

    EXPECT_EQ(textOfFailure(profiles, seventyNine + "y"),
              "no language profile is named \"" + seventyNine + "y\"; there are only");
    EXPECT_EQ(textOfFailure(profiles, seventyNine + "é and more"),
              "no language profile is named \"" + seventyNine + "...\"; there are only");
}

TEST(Profiles, CanBeAnyList)
{
    const Profiles profiles({{"one", "a", "b", "c", "d"}, {"two", "e", "f", "g", "h"}});

    EXPECT_EQ(profiles.all().size(), 2U);
    EXPECT_EQ(profiles.named("two").grade1, "h");
}

TEST(Profiles, NameOnlyTablesThatAreInstalled)
{
    const Catalogue catalogue = Catalogue::installed();
    const Profiles profiles = Profiles::builtIn();
    for (const Profile& profile : profiles.all()) {
        for (const std::string& table :
             {profile.display, profile.entry, profile.computer, profile.grade1})
            EXPECT_NE(catalogue.find(table), nullptr) << profile.name << ": " << table;
    }
}

TEST(Profiles, GiveEachRoleATranslatorThatSuitsIt)
{
    const Catalogue catalogue = Catalogue::installed();
    const Profiles profiles = Profiles::builtIn();
    for (const Profile& profile : profiles.all()) {
        EXPECT_TRUE(catalogue.find(profile.entry)->translatesBack) << profile.name;
        EXPECT_EQ(catalogue.find(profile.computer)->grade, 0) << profile.name;
        EXPECT_EQ(catalogue.find(profile.grade1)->grade, 1) << profile.name;
    }
}
