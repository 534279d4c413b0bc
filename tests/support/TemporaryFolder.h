#ifndef TESTS_SUPPORT_TEMPORARYFOLDER_H
#define TESTS_SUPPORT_TEMPORARYFOLDER_H

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/** A new folder, which goes with all that is in it. */
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        if (mkdtemp(name.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
    }

    ~TemporaryFolder() { std::filesystem::remove_all(name); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path path() const { return name; }

private:
    std::string name = std::filesystem::temp_directory_path() / "brailletranslate-test-XXXXXX";
};

#endif
