/// @file
/// The arguments of calls. A call lists its arguments once, as parts; the parts write the recording and read it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "simulator/recording/CborWriter.h"
#include "simulator/recording/Values.h"

namespace qzsim
{
// Each part has three functions:
// - question() writes what the program passes to the library, which tells calls of the same function apart;
// - answer() writes what the library has written;
// - fill() writes the recorded answer into the memory of the program.
// An answer of a call that failed has only what libraries also write then.

/// A value that the program passes.
template <typename Value>
struct In
{
    char const* mName;
    Value mValue;

    void question(CborWriter& aWriter)
    {
        aWriter.text(mName);
        writeValue(aWriter, mValue);
    }
    void answer(CborWriter&, bool) {}
    void fill(Json const&) {}
};

/// A text that the program passes.
struct InText
{
    char const* mName;
    char const* mText;

    void question(CborWriter& aWriter)
    {
        aWriter.text(mName);
        mText == nullptr ? aWriter.null() : writeText(aWriter, mText);
    }
    void answer(CborWriter&, bool) {}
    void fill(Json const&) {}
};

/// Bytes that the program passes.
struct InBytes
{
    char const* mName;
    void const* mBytes;
    std::size_t mSize;

    void question(CborWriter& aWriter)
    {
        aWriter.text(mName);
        mBytes == nullptr ? aWriter.null() : writeBytes(aWriter, mBytes, mSize);
    }
    void answer(CborWriter&, bool) {}
    void fill(Json const&) {}
};

/// A value that the library writes.
template <typename Value>
struct Out
{
    char const* mName;
    Value* mValue;

    void question(CborWriter&) {}
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        if (aIsGood && mValue != nullptr)
        {
            aWriter.text(mName);
            writeValue(aWriter, *mValue);
        }
    }
    void fill(Json const& aAnswer)
    {
        auto const found = aAnswer.find(mName);
        if (found != aAnswer.end() && mValue != nullptr)
        {
            readValue(*found, *mValue);
        }
    }
};

/// A text that the library writes, with room for some bytes.
struct OutText
{
    char const* mName;
    char* mText;
    std::size_t mRoom;

    void question(CborWriter&) {}
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        if (aIsGood && mText != nullptr)
        {
            aWriter.text(mName);
            writeText(aWriter, {mText, ::strnlen(mText, mRoom)});
        }
    }
    void fill(Json const& aAnswer)
    {
        auto const found = aAnswer.find(mName);
        if (found == aAnswer.end() || mText == nullptr)
        {
            return;
        }
        // The program may have less room than libraries may use.
        std::size_t const size = found->is_string()   ? found->get_ref<std::string const&>().size()
                                 : found->is_binary() ? found->get_binary().size()
                                                      : 0;
        readBytes(*found, mText, std::min(size + 1, mRoom));
        mText[std::min(size, mRoom - 1)] = '\0';
    }
};

/// Bytes that the library writes, in an area of a fixed size.
struct OutBytes
{
    char const* mName;
    void* mBytes;
    std::size_t mSize;
    std::vector<unsigned char> mBefore = {};  ///< what the memory had before the call

    void question(CborWriter& aWriter)
    {
        aWriter.text(mName);
        if (mBytes == nullptr)
        {
            aWriter.null();
            return;
        }
        aWriter.number(std::uint64_t{mSize});
        auto const* const bytes = static_cast<unsigned char const*>(mBytes);
        mBefore.assign(bytes, bytes + mSize);
    }
    void answer(CborWriter& aWriter, bool)
    {
        if (mBytes == nullptr)
        {
            return;
        }
        aWriter.text(mName);
        writeBytes(aWriter, mBytes, mSize);
        if (std::size_t const written = writtenSize(); written != mSize)
        {
            aWriter.text(std::string(mName) + "_written");
            aWriter.number(std::uint64_t{written});
        }
    }

    /// @return number of bytes before those that are as before the call. Zero bytes may have been written again
    std::size_t writtenSize() const
    {
        auto const* const bytes = static_cast<unsigned char const*>(mBytes);
        auto const [last, lastBefore] = std::mismatch(std::make_reverse_iterator(bytes + mBefore.size()),
                                                      std::make_reverse_iterator(bytes), mBefore.rbegin());
        auto const written = static_cast<std::size_t>(last.base() - bytes);
        bool const isZero =
            std::all_of(last.base(), bytes + mBefore.size(), [](unsigned char aByte) { return aByte == 0; });
        return isZero ? mSize : written;
    }
    void fill(Json const& aAnswer)
    {
        auto const found = aAnswer.find(mName);
        if (found != aAnswer.end() && mBytes != nullptr)
        {
            readBytes(*found, mBytes, mSize);
        }
    }
};

/// Bytes that the library writes, and their number: the room before the call, the used part after it.
struct OutSizedBytes
{
    char const* mName;
    char const* mSizeName;
    void* mBytes;
    HBA_UINT32* mSize;
    OutBytes mArea{mName, mBytes, mSize == nullptr ? 0 : *mSize};

    void question(CborWriter& aWriter) { mArea.question(aWriter); }
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        mArea.answer(aWriter, aIsGood);
        if (mSize != nullptr)
        {
            aWriter.text(mSizeName);
            writeValue(aWriter, *mSize);
        }
    }
    void fill(Json const& aAnswer)
    {
        mArea.fill(aAnswer);
        Out<HBA_UINT32>{mSizeName, mSize}.fill(aAnswer);
    }
};

/// A list with a count before its entries: the room before the call, the number of entries after it.
template <typename List>
struct OutList
{
    char const* mName;
    List* mList;
    HBA_UINT32 mRoom = mList == nullptr ? 0 : mList->NumberOfEntries;

    void question(CborWriter& aWriter)
    {
        aWriter.text(mName);
        mList == nullptr ? aWriter.null() : aWriter.number(std::uint64_t{mRoom});
    }
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        if (!aIsGood || mList == nullptr)
        {
            return;
        }
        aWriter.text("count");
        writeValue(aWriter, mList->NumberOfEntries);
        aWriter.text(mName);
        aWriter.beginArray();
        for (HBA_UINT32 i = 0; i < std::min(mRoom, mList->NumberOfEntries); ++i)
        {
            writeValue(aWriter, mList->entry[i]);
        }
        aWriter.end();
    }
    void fill(Json const& aAnswer)
    {
        auto const found = aAnswer.find(mName);
        if (found == aAnswer.end() || !found->is_array() || mList == nullptr)
        {
            return;
        }
        Out<HBA_UINT32>{"count", &mList->NumberOfEntries}.fill(aAnswer);
        for (HBA_UINT32 i = 0; i < mRoom && i < found->size(); ++i)
        {
            readValue((*found)[i], mList->entry[i]);
        }
    }
};

/// A list of entries that the program passes.
template <typename List>
struct InList
{
    char const* mName;
    List const* mList;

    void question(CborWriter& aWriter)
    {
        aWriter.text(mName);
        aWriter.beginArray();
        for (HBA_UINT32 i = 0; mList != nullptr && i < mList->NumberOfEntries; ++i)
        {
            auto entry = mList->entry[i];
            writeValue(aWriter, entry);
        }
        aWriter.end();
    }
    void answer(CborWriter&, bool) {}
    void fill(Json const&) {}
};

/// A structure that the program passes.
template <typename Structure>
struct InPointer
{
    char const* mName;
    Structure const* mValue;

    void question(CborWriter& aWriter)
    {
        aWriter.text(mName);
        if (mValue == nullptr)
        {
            aWriter.null();
            return;
        }
        Structure value = *mValue;
        writeValue(aWriter, value);
    }
    void answer(CborWriter&, bool) {}
    void fill(Json const&) {}
};

/// The events that an HBA library has kept: the room before the call, their number after it.
struct OutEvents
{
    HBA_EVENTINFO* mEvents;
    HBA_UINT32* mCount;
    HBA_UINT32 mRoom = mCount == nullptr || mEvents == nullptr ? 0 : *mCount;

    void question(CborWriter& aWriter) { In<HBA_UINT32>{"events", mRoom}.question(aWriter); }
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        if (!aIsGood || mCount == nullptr)
        {
            return;
        }
        Out<HBA_UINT32>{"count", mCount}.answer(aWriter, true);
        aWriter.text("events");
        aWriter.beginArray();
        for (HBA_UINT32 i = 0; i < std::min(mRoom, *mCount); ++i)
        {
            writeValue(aWriter, mEvents[i]);
        }
        aWriter.end();
    }
    void fill(Json const& aAnswer)
    {
        Out<HBA_UINT32>{"count", mCount}.fill(aAnswer);
        auto const found = aAnswer.find("events");
        for (HBA_UINT32 i = 0; found != aAnswer.end() && found->is_array() && i < mRoom && i < found->size();
             ++i)
        {
            readValue((*found)[i], mEvents[i]);
        }
    }
};
}  // namespace qzsim
