// The dynamic linker unmaps the libraries when the last user closes them, however often they are opened.
#include <cstddef>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::IsEmpty;
using testing::Not;

namespace
{
/// The places of this process's memory, one per line.
std::vector<std::string> mappings()
{
    std::ifstream file("/proc/self/maps");
    EXPECT_TRUE(file.is_open());
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> mappedLibraries()
{
    std::vector<std::string> found;
    for (std::string const& line : mappings())
    {
        for (char const* const name : {"libQZ", "unload_probe.so"})
        {
            if (line.find(name) != std::string::npos)
            {
                found.push_back(line);
            }
        }
    }
    return found;
}

std::size_t residentPages()
{
    std::ifstream file("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    file >> total >> resident;
    EXPECT_GT(resident, 0u);
    return resident;
}

/// Lazily, because the HBA API is not loaded.
void openUseAndClose()
{
    void* const library = dlopen(UNLOAD_PROBE, RTLD_LAZY | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    auto* const use = reinterpret_cast<bool (*)()>(dlsym(library, "useLibraries"));
    ASSERT_NE(use, nullptr) << dlerror();
    EXPECT_TRUE(use());
    EXPECT_EQ(dlclose(library), 0) << dlerror();
}

void openUseAndClose(unsigned int aTimes)
{
    for (unsigned int time = 0; time < aTimes && !testing::Test::HasFailure(); ++time)
    {
        openUseAndClose();
    }
}

TEST(Unloading, LibrariesAreMappedWhileTheyAreOpen)
{
    void* const library = dlopen(UNLOAD_PROBE, RTLD_LAZY | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_THAT(mappedLibraries(), Not(IsEmpty()));
    dlclose(library);
}

TEST(Unloading, ClosedLibrariesAreUnmapped)
{
    openUseAndClose();
    EXPECT_THAT(mappedLibraries(), IsEmpty());
}

TEST(Unloading, MemoryDoesNotGrowWithEachOpening)
{
    openUseAndClose(100);
    std::size_t const mapped = mappings().size();
    std::size_t const resident = residentPages();
    openUseAndClose(900);
    EXPECT_LE(mappings().size(), mapped);
    if (!IS_EMULATED)  // the emulator keeps translated code in the memory of the process
    {
        EXPECT_LE(residentPages(), resident + 16);
    }
}

TEST(Unloading, StandardStreamsStillWork)
{
    openUseAndClose();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    std::cout << "still " << 1 << std::endl;
    std::cerr << "works" << std::endl;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "still 1\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "works\n");
}
}  // namespace
