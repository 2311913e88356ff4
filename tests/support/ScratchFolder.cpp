#include "tests/support/ScratchFolder.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <system_error>

ScratchFolder::ScratchFolder()
{
    std::string name = std::filesystem::temp_directory_path() / "qz-test-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), name);
    }
    mPath = name;
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::filesystem::path const& ScratchFolder::path() const { return mPath; }

std::string ScratchFolder::write(std::string const& aName, std::string const& aContent) const
{
    std::filesystem::path const file = mPath / aName;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << aContent;
    return file;
}
