// Reads captures record by record, from the input itself and from the same bytes as hexadecimal text. Both must
// yield the records that are decoded from all bytes at once.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "agentkit/include/ScopeDataView.h"
#include "agentkit/include/Wwn.h"
#include "fuzz/Fuzz.h"
#include "fuzz/MemoryFile.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureItems.h"
#include "tools/qzagent/capture/HexDump.h"
#include "tools/qzagent/capture/RecordSource.h"

namespace
{
using fuzz::expect;

/// A copy of a record, which outlives the read window.
struct Record
{
    explicit Record(qz::ScopeDataView const& aView)
        : mSize(aView.size()),
          mCategory(aView.category()),
          mSubcategory(aView.subcategory()),
          mFirst(aView.first()),
          mSecond(aView.second())
    {
        if (aView.payload())
        {
            mPayload.emplace(aView.payload()->begin(), aView.payload()->end());
        }
    }

    std::size_t mSize;
    unsigned char mCategory;
    unsigned char mSubcategory;
    std::optional<qz::Wwn> mFirst;
    std::optional<qz::Wwn> mSecond;
    std::optional<std::vector<unsigned char>> mPayload;
};

/// The records up to the end or the first damaged one.
struct Content
{
    std::vector<Record> mRecords;
    std::vector<unsigned char> mLatencies;  ///< the bytes of all records, in a file of latency data
    bool mIsWhole = true;
};

bool isSame(Record const& aLeft, Record const& aRight)
{
    return aLeft.mSize == aRight.mSize && aLeft.mCategory == aRight.mCategory &&
           aLeft.mSubcategory == aRight.mSubcategory && aLeft.mFirst == aRight.mFirst &&
           aLeft.mSecond == aRight.mSecond && aLeft.mPayload == aRight.mPayload;
}

bool isSame(Content const& aLeft, Content const& aRight)
{
    bool same = aLeft.mIsWhole == aRight.mIsWhole && aLeft.mRecords.size() == aRight.mRecords.size() &&
                aLeft.mLatencies == aRight.mLatencies;
    for (std::size_t i = 0; same && i < aLeft.mRecords.size(); ++i)
    {
        same = isSame(aLeft.mRecords[i], aRight.mRecords[i]);
    }
    return same;
}

Content contentOf(std::vector<unsigned char> const& aBytes)
{
    Content content;
    try
    {
        for (std::size_t i = 0; i < aBytes.size(); i += content.mRecords.back().mSize)
        {
            content.mRecords.emplace_back(qz::ScopeDataView(&aBytes[i], aBytes.size() - i));
        }
    }
    catch (qz::ScopeDataError const&)
    {
        content.mIsWhole = false;
    }
    return content;
}

Content readCapture(std::string const& aPath, qzagent::CaptureForm aForm)
{
    constexpr std::size_t largest = std::size_t{1} << 20U;
    Content content;
    try
    {
        qzagent::CaptureFile file(aPath, qzagent::CaptureFile::Reading::toTheEnd, aForm, -1);
        qzagent::RecordSource source(file, largest);
        std::uint64_t position = 0;
        while (std::optional<qzagent::CaptureItem> const item = source.next(false))
        {
            if (auto const* const event = std::get_if<qzagent::CaptureEvent>(&*item))
            {
                expect(event->mPosition == position, "a record begins where the previous one ends");
                position += event->mRecord->size();
                content.mRecords.emplace_back(*event->mRecord);
            }
            else if (auto const* const latencies = std::get_if<qzagent::CaptureLatencies>(&*item))
            {
                expect(latencies->mPosition == content.mLatencies.size(),
                       "a record begins where the previous one ends");
                content.mLatencies.insert(content.mLatencies.end(), latencies->mEncoded.begin(),
                                          latencies->mEncoded.end());
            }
            else
            {
                std::string const text = std::get<qzagent::CaptureDamage>(*item).mText;
                expect(text.find(aPath) != std::string::npos, "an error message names the file");
                content.mIsWhole = false;
            }
        }
    }
    catch (qzagent::CaptureError const& error)
    {
        expect(std::string(error.what()).find(aPath) != std::string::npos, "an error message names the file");
        content.mIsWhole = false;
    }
    return content;
}
}  // namespace

void fuzz::check(Input aInput)
{
    static MemoryFile file;
    std::vector<unsigned char> const bytes(aInput.data(), aInput.data() + aInput.size());
    file.write(bytes.data(), bytes.size());
    Content const content = readCapture(file.path(), qzagent::CaptureForm::records);
    if (content.mLatencies.empty())
    {
        expect(isSame(content, contentOf(bytes)), "the records do not depend on the read window");
    }
    else
    {
        expect(content.mRecords.empty() && content.mLatencies.size() <= bytes.size() &&
                   std::equal(content.mLatencies.begin(), content.mLatencies.end(), bytes.begin()),
               "latency data are the bytes of the file");
    }

    std::string const text = "# as text\n" + qzagent::hexOf({bytes.data(), bytes.size()});
    file.write(text.data(), text.size());
    expect(isSame(readCapture(file.path(), qzagent::CaptureForm::hexadecimal), content),
           "hexadecimal text yields the records of its bytes");
}
