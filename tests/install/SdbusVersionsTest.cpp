#include "support/Command.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

using testing::HasSubstr;

namespace {

/** A folder that is a machine's only one with packages for pkg-config, and a build folder in it. */
class AMachine : public testing::Test
{
protected:
    AMachine() { addPackage("libsystemd", "252"); }

    void addPackage(const std::string& name, const std::string& version) const
    {
        std::ofstream(folder / (name + ".pc"))
            << "Name: " << name << "\nDescription: -\nVersion: " << version << '\n';
    }

    /** What CMake says when it configures the project there, in a new build folder. */
    std::string configure() const
    {
        std::filesystem::remove_all(folder / "build");
        const std::string project = TEST_SOURCE_FOLDER "/tests/install/sdbus-versions";
        const std::string source = "-DSOURCE=" TEST_SOURCE_FOLDER;
        const Command cmake{
            {"cmake", "-G", TEST_GENERATOR, "-S", project, "-B", folder / "build", source},
            "",
            {{"PKG_CONFIG_LIBDIR", folder}, {"PKG_CONFIG_PATH", ""}}};
        const Outcome outcome = cmake.run();
        EXPECT_EQ(outcome.status == 0, outcome.errors.find("CMake Error") == std::string::npos);
        return outcome.output + outcome.errors;
    }

    TemporaryFolder temporary;
    std::filesystem::path folder = temporary.path();
};

std::string refusal(const std::string& found)
{
    return " libBrailleTranslate works with sdbus-c++ 1.2 and later and with 2 except 2.3.0; "
           "pkg-config finds " +
           found + '\n';
}

} // namespace

TEST_F(AMachine, WithAnSdbusThatDoesNotWorkIsRefusedInOneLine)
{
    for (const std::string version : {"1.1.0", "2.3.0", "3.0.0"}) {
        addPackage("sdbus-c++", version);
        EXPECT_THAT(configure(), HasSubstr(refusal(version + ": install another version")));
    }
}

TEST_F(AMachine, WithoutSdbusIsRefusedInOneLine)
{
    EXPECT_THAT(configure(), HasSubstr(refusal("none: install libsdbus-c++-dev")));
}

TEST_F(AMachine, WithAnSdbusThatWorksIsAccepted)
{
    const std::map<std::string, std::string> numbers{
        {"1.2.0", "10200"}, {"1.4", "10400"}, {"2.1.0", "20100"}, {"2.3.1", "20301"}};
    for (const auto& [version, number] : numbers) {
        addPackage("sdbus-c++", version);
        EXPECT_THAT(configure(),
                    HasSubstr("SDBUS_VERSION=" + number + ";LIBSYSTEMD_VERSION=252\n"));
    }
}
