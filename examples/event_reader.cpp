// Prints the records of encoded scope data on standard input, one line each. Nothing is copied to read a record.
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "agentkit/include/ScopeDataView.h"

namespace
{
std::vector<unsigned char> readAll(std::FILE* aInput)
{
    std::vector<unsigned char> bytes;
    unsigned char block[4096];
    for (std::size_t count = 1; count != 0;)
    {
        count = std::fread(block, 1, sizeof block, aInput);
        bytes.insert(bytes.end(), block, block + count);
    }
    return bytes;
}

void print(qz::ScopeDataView const& aRecord)
{
    std::printf("category %d subcategory %d", aRecord.category(), aRecord.subcategory());
    if (aRecord.hasNames())
    {
        std::printf(" %s %s", aRecord.first()->text().c_str(), aRecord.second()->text().c_str());
    }
    std::printf(" length %zu\n", aRecord.payload() ? aRecord.payload()->mSize : 0);
}
}  // namespace

int main()
try
{
    std::vector<unsigned char> const bytes = readAll(stdin);
    for (std::size_t position = 0; position < bytes.size();)
    {
        qz::ScopeDataView const record(bytes.data() + position, bytes.size() - position);
        print(record);
        position += record.size();
    }
}
catch (qz::ScopeDataError const& error)
{
    std::fprintf(stderr, "event_reader: %s%s\n", error.what(),
                 error.mayBeShort() ? " (the input ends too soon?)" : "");
    return 1;
}
catch (std::exception const& exception)
{
    std::fprintf(stderr, "event_reader: %s\n", exception.what());
    return 1;
}
