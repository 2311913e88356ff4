// Which memory counts as readable.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tools/qzagent/vqm/MemoryCheck.h"

namespace
{
std::size_t pageSize() { return static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

/// Pages of memory, which are freed at the end.
class Pages
{
public:
    explicit Pages(std::size_t aCount)
        : mSize(aCount * pageSize()),
          mStart(static_cast<unsigned char*>(
              ::mmap(nullptr, mSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)))
    {
    }
    ~Pages() { ::munmap(mStart, mSize); }
    Pages(Pages const&) = delete;
    Pages& operator=(Pages const&) = delete;

    unsigned char* page(std::size_t aIndex) const { return mStart + aIndex * pageSize(); }
    void forbid(std::size_t aIndex) const { ::mprotect(page(aIndex), pageSize(), PROT_NONE); }

private:
    std::size_t mSize;
    unsigned char* mStart;
};

TEST(MemoryCheck, AcceptsBytesOfThisProcess)
{
    std::string const text = "text";
    EXPECT_TRUE(qzagent::MemoryCheck().isReadable(reinterpret_cast<unsigned char const*>(text.data()), 4));
}

TEST(MemoryCheck, AcceptsNoBytesAnywhere) { EXPECT_TRUE(qzagent::MemoryCheck().isReadable(nullptr, 0)); }

TEST(MemoryCheck, RefusesANullPointer) { EXPECT_FALSE(qzagent::MemoryCheck().isReadable(nullptr, 1)); }

TEST(MemoryCheck, AcceptsBytesUpToAPageThatIsNotReadable)
{
    Pages const pages(2);
    pages.forbid(1);
    qzagent::MemoryCheck const check;
    EXPECT_TRUE(check.isReadable(pages.page(0), pageSize()));
    EXPECT_TRUE(check.isReadable(pages.page(1) - 1, 1));
    EXPECT_FALSE(check.isReadable(pages.page(1) - 1, 2));
    EXPECT_FALSE(check.isReadable(pages.page(0), pageSize() + 1));
    EXPECT_FALSE(check.isReadable(pages.page(1), 1));
}

TEST(MemoryCheck, FindsEachPageThatIsNotReadable)
{
    constexpr std::size_t count = 150;
    qzagent::MemoryCheck const check;
    for (std::size_t const forbidden : std::vector<std::size_t>{0, 1, 63, 64, 65, 127, 128, 149})
    {
        Pages const pages(count);
        EXPECT_TRUE(check.isReadable(pages.page(0) + 1, count * pageSize() - 1));
        pages.forbid(forbidden);
        EXPECT_FALSE(check.isReadable(pages.page(0), count * pageSize())) << forbidden;
        EXPECT_TRUE(check.isReadable(pages.page(0), forbidden * pageSize())) << forbidden;
    }
}

TEST(MemoryCheck, RefusesBytesBeyondTheEndOfTheAddressSpace)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the address is never read
    auto const* const last = reinterpret_cast<unsigned char*>(std::numeric_limits<std::uintptr_t>::max());
    qzagent::MemoryCheck const check;
    EXPECT_FALSE(check.isReadable(last, 1));
    EXPECT_FALSE(check.isReadable(last, 2));
    EXPECT_FALSE(check.isReadable(last, std::numeric_limits<std::size_t>::max()));
}
}  // namespace
