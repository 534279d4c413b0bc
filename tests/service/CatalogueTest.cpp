#include <service/Catalogue.h>

#include <service/Tables.h>

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

const Catalogue& installed()
{
    static const Catalogue catalogue(describeTables(installedTables()));
    return catalogue;
}

std::string stemOf(const std::string& id)
{
    return std::filesystem::path(id).stem();
}

/** Whether a table has a line of metadata. The engine lists no other tables. */
bool describesItself(const std::string& table)
{
    std::ifstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("#+", 0) == 0 || line.rfind("#-", 0) == 0)
            return true;
    }
    return false;
}

/** A folder of tables of our own. */
class MadeCatalogue : public testing::Test
{
protected:
    void add(const std::string& file, const std::string& content)
    {
        const std::filesystem::path path = folder / file;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path) << content;
        tables.push_back(path);
    }

    /** Only there to be included. */
    void addUnlisted(const std::string& file, const std::string& content)
    {
        add(file, content);
        tables.pop_back();
    }

    Catalogue catalogue() const { return Catalogue(describeTables(tables)); }

    int gradeOfTableWith(const std::string& metadata)
    {
        tables.clear();
        add("a.ctb", metadata);
        return catalogue().translators().front().grade;
    }

    TemporaryFolder temporary;
    std::filesystem::path folder = temporary.path();
    std::vector<std::string> tables;
};

} // namespace

TEST(Catalogue, HoldsEveryInstalledTable)
{
    EXPECT_GT(installed().translators().size(), 150U);
}

TEST(Catalogue, DescribesContractedEnglish)
{
    const Translator* translator = installed().find("en-ueb-g2.ctb");

    ASSERT_NE(translator, nullptr);
    EXPECT_EQ(translator->id, "en-ueb-g2.ctb");
    EXPECT_EQ(translator->name, "Unified English contracted braille");
    EXPECT_EQ(translator->grade, 2);
    EXPECT_TRUE(translator->isMadeToTranslateBack);
    EXPECT_TRUE(std::filesystem::exists(translator->table));
}

TEST(Catalogue, KnowsATableThatIsNotMadeToTranslateBack)
{
    const Translator* translator = installed().find("da-dk-g26-lit_1993.ctb");

    ASSERT_NE(translator, nullptr);
    EXPECT_FALSE(translator->isMadeToTranslateBack);
}

TEST(Catalogue, GivesNoTwoTranslatorsOneName)
{
    std::set<std::string> names;
    for (const Translator& translator : installed().translators())
        EXPECT_TRUE(names.insert(translator.name).second) << translator.name;
}

TEST(Catalogue, GivesOnlyGradesThatTheContractKnows)
{
    for (const Translator& translator : installed().translators()) {
        EXPECT_GE(translator.grade, 0) << translator.id;
        EXPECT_LE(translator.grade, 3) << translator.id;
    }
}

TEST(Catalogue, FindsEveryTranslatorByIdentifierAndName)
{
    for (const Translator& translator : installed().translators()) {
        EXPECT_EQ(installed().find(translator.id), &translator);
        EXPECT_EQ(installed().find(translator.name), &translator);
    }
}

TEST(Catalogue, HoldsTablesThatTheEngineDoesNotList)
{
    int count = 0;
    for (const Translator& translator : installed().translators()) {
        if (describesItself(translator.table))
            continue;
        EXPECT_EQ(translator.name, translator.id) << "it has no name";
        ++count;
    }
    EXPECT_GT(count, 0);
}

TEST(Catalogue, HoldsEveryFileThatIsATable)
{
    for (const auto& file : std::filesystem::directory_iterator("/usr/share/liblouis/tables")) {
        const std::string name = file.path().filename();
        const std::string suffix = file.path().extension();
        if (suffix == ".ctb" || suffix == ".utb" || suffix == ".tbl") {
            EXPECT_NE(installed().find(name), nullptr) << name;
        }
    }
}

TEST(Catalogue, FindsTranslatorsByIdentifierWithoutItsSuffix)
{
    // Two tables share this one, so it is no name for either.
    const std::string shared = "bg";
    for (const Translator& translator : installed().translators()) {
        const std::string stem = stemOf(translator.id);
        const Translator* found = installed().find(stem);
        if (stem == shared)
            EXPECT_EQ(found, nullptr);
        else if (translator.name != translator.id)
            EXPECT_EQ(found, &translator) << stem;
        else
            EXPECT_NE(found, nullptr) << stem;
    }
}

TEST(Catalogue, FindsOneTranslatorByBothFilesOfATable)
{
    const Translator* translator = installed().find("en_US-comp8-ext.tbl");

    ASSERT_NE(translator, nullptr);
    EXPECT_EQ(installed().find("en-us-comp8-ext.utb"), translator);
    EXPECT_EQ(installed().find("en-us-comp8-ext"), translator);
    ASSERT_NE(installed().find("en-us-g2.ctb"), nullptr);
    EXPECT_EQ(installed().find("en-us-g2.ctb")->id, "en_US.tbl");
}

TEST(Catalogue, FindsNothingByPathsAndNearMisses)
{
    const std::string path = installed().find("en-ueb-g2.ctb")->table;
    for (const std::string& name : std::vector<std::string>{
             path, "./en-ueb-g2.ctb", "../tables/en-ueb-g2.ctb", "/etc/passwd",
             "en-ueb-g2.ctb,en-ueb-g1.ctb", "EN-UEB-G2.CTB", "en-ueb-g2.", "en-ueb-g",
             "en-ueb-g2.ctb ", "unicode.dis", "language:en", "", "/", "."})
        EXPECT_EQ(installed().find(name), nullptr) << name;
}

TEST(Catalogue, FindsNothingByHugeAndBrokenNames)
{
    EXPECT_EQ(installed().find(std::string(1 << 20, 'x')), nullptr);
    EXPECT_EQ(installed().find(std::string("en-ueb-g2.ctb\0", 14)), nullptr);
    EXPECT_EQ(installed().find("\xFF\xFE"), nullptr);
}

TEST(Catalogue, IsEmptyWithoutTables)
{
    const Catalogue empty{{}};

    EXPECT_TRUE(empty.translators().empty());
    EXPECT_EQ(empty.find("en-ueb-g2.ctb"), nullptr);
    EXPECT_EQ(empty.find(""), nullptr);
}

TEST_F(MadeCatalogue, TakesTheGradeThatATableStates)
{
    EXPECT_EQ(gradeOfTableWith("#+grade:0\n#+type:literary\n"), 0);
    EXPECT_EQ(gradeOfTableWith("#+grade: 1.5\n#+contraction:full\n"), 1);
    EXPECT_EQ(gradeOfTableWith("#+grade:2\n#+type:computer\n"), 2);
    EXPECT_EQ(gradeOfTableWith("#+grade:3\n"), 3);
}

TEST_F(MadeCatalogue, InfersAGradeThatATableDoesNotState)
{
    EXPECT_EQ(gradeOfTableWith("#+type:computer\n#+contraction:full\n"), 0);
    EXPECT_EQ(gradeOfTableWith("#+type:literary\n#+contraction:full\n"), 2);
    EXPECT_EQ(gradeOfTableWith("#+type:literary\n#+contraction:partial\n"), 1);
    EXPECT_EQ(gradeOfTableWith("#+type:literary\n#+contraction:no\n"), 1);
    EXPECT_EQ(gradeOfTableWith("#+type:literary\n"), 1);
    EXPECT_EQ(gradeOfTableWith("#+grade:some\n"), 1);
}

TEST_F(MadeCatalogue, KeepsGradesWithinTheContract)
{
    EXPECT_EQ(gradeOfTableWith("#+grade:7\n"), 3);
    EXPECT_EQ(gradeOfTableWith("#+grade:-1\n"), 0);
}

TEST_F(MadeCatalogue, TakesATableForBackTranslationUnlessItSaysOtherwise)
{
    add("both.ctb", "#+direction:both\n");
    add("forward.ctb", "#+direction:forward\n");
    add("silent.ctb", "#+type:literary\n");
    const Catalogue made = catalogue();

    EXPECT_TRUE(made.find("both")->isMadeToTranslateBack);
    EXPECT_FALSE(made.find("forward")->isMadeToTranslateBack);
    EXPECT_TRUE(made.find("silent")->isMadeToTranslateBack);
}

TEST_F(MadeCatalogue, TellsTranslatorsOfOneNameApartByTheirIdentifiers)
{
    add("a.ctb", "#-display-name: Braille\n#+type:literary\n");
    add("b.ctb", "#-display-name: Braille\n#+type:literary\n");
    const Catalogue made = catalogue();

    EXPECT_EQ(made.find("a.ctb")->name, "Braille (a.ctb)");
    EXPECT_EQ(made.find("b.ctb")->name, "Braille (b.ctb)");
    EXPECT_EQ(made.find("Braille"), nullptr);
}

TEST_F(MadeCatalogue, CallsATableWithoutANameByItsIdentifier)
{
    add("a.ctb", "#+type:literary\n");
    EXPECT_EQ(catalogue().translators().front().name, "a.ctb");
}

TEST_F(MadeCatalogue, TakesTheFirstOfSeveralFilesOfOneName)
{
    add("first/a.ctb", "#-display-name: First\n#+type:literary\n");
    add("second/a.ctb", "#-display-name: Second\n#+type:literary\n");
    const Catalogue made = catalogue();

    ASSERT_EQ(made.translators().size(), 1U);
    EXPECT_EQ(made.translators().front().name, "First");
    EXPECT_EQ(made.translators().front().table, folder / "first/a.ctb");
}

TEST_F(MadeCatalogue, DoesNotGuessBetweenTwoIdentifiersThatDifferInTheirSuffix)
{
    add("a.ctb", "#+type:literary\n");
    add("a.utb", "#+type:computer\n");
    const Catalogue made = catalogue();

    EXPECT_EQ(made.find("a"), nullptr);
    EXPECT_EQ(made.find("a.ctb")->id, "a.ctb");
    EXPECT_EQ(made.find("a.utb")->id, "a.utb");
}

TEST_F(MadeCatalogue, PrefersATableWithANameToOneWithout)
{
    add("a.ctb", "#+type:literary\n");
    add("a.tbl", "#-display-name: Named\n#+type:literary\n");
    const Catalogue made = catalogue();

    EXPECT_EQ(made.find("a")->id, "a.tbl");
    EXPECT_EQ(made.find("a.ctb")->id, "a.ctb");
}

TEST_F(MadeCatalogue, PrefersIdentifiersToNames)
{
    add("a.ctb", "#-display-name: b.ctb\n#+type:literary\n");
    add("b.ctb", "#-display-name: a\n#+type:literary\n");
    const Catalogue made = catalogue();

    EXPECT_EQ(made.find("b.ctb")->id, "b.ctb");
    EXPECT_EQ(made.find("a")->id, "b.ctb") << "and names to identifiers without suffix";
}

TEST_F(MadeCatalogue, FindsADescriptionByTheFileThatItDescribes)
{
    addUnlisted("rules.utb", "space \\s 0\n");
    add("a.tbl", "#+type:literary\n# a remark\n\n  include rules.utb\n"
                 "include braille-patterns.cti\n");
    const Catalogue made = catalogue();

    ASSERT_NE(made.find("rules.utb"), nullptr);
    EXPECT_EQ(made.find("rules.utb")->id, "a.tbl");
    EXPECT_EQ(made.find("rules")->id, "a.tbl");
}

TEST_F(MadeCatalogue, LeavesAnIncludedTableThatIsListedItselfAlone)
{
    add("rules.utb", "#+type:computer\n");
    add("a.tbl", "#+type:literary\ninclude rules.utb\n");
    EXPECT_EQ(catalogue().find("rules.utb")->id, "rules.utb");
}

TEST_F(MadeCatalogue, TakesNoFileForDescribedThatIsOnlyAPartOfATable)
{
    add("two.tbl", "#+type:literary\ninclude one.utb\ninclude other.utb\n");
    add("more.tbl", "#+type:literary\ninclude some.utb\nspace \\s 0\n");
    add("a.ctb", "#+type:literary\ninclude base.utb\n");
    const Catalogue made = catalogue();

    for (const char* name :
         {"one.utb", "other.utb", "some.utb", "base.utb", "braille-patterns.cti"})
        EXPECT_EQ(made.find(name), nullptr) << name;
}

TEST_F(MadeCatalogue, DescribesATableThatCannotBeReadByItsFileName)
{
    tables.push_back(folder / "missing.tbl");
    const Catalogue made = catalogue();

    ASSERT_NE(made.find("missing"), nullptr);
    EXPECT_EQ(made.find("missing")->name, "missing.tbl");
}

TEST_F(MadeCatalogue, LeavesOutWhatCannotTravelOverTheBus)
{
    add("a\xE9.ctb", "#-display-name: A\n#+type:literary\n");
    add("b.ctb", "#-display-name: B\xE9r\n#+type:literary\n");
    const Catalogue made = catalogue();

    ASSERT_EQ(made.translators().size(), 1U);
    EXPECT_EQ(made.translators()[0].name, "B");
}
