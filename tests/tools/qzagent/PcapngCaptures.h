/// @file
/// Builds pcapng captures in both byte orders, without the code that writes them in the agent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/pcapng/Bytes.h"

/// Appends blocks, and knows where each begins.
class PcapngBuilder
{
public:
    explicit PcapngBuilder(bool aIsBigEndian = isBigEndian()) : mIsBigEndian(aIsBigEndian) {}

    PcapngBuilder& section(std::string const& aHost)
    {
        ByteMaker body(mIsBigEndian);
        body.u32(0x1a2b3c4d).u16(1).u16(0).u64(~std::uint64_t{0});
        option(body, 2, aHost);
        option(body, 4, "other 1.0");
        return block(body.u32(0), 0x0a0d0d0a);
    }

    PcapngBuilder& interface(std::string const& aName, std::uint16_t aLinkType = 147)
    {
        ByteMaker body(mIsBigEndian);
        body.u16(aLinkType).u16(0).u32(0);
        option(body, 2, aName);
        option(body, 9, "\x09");
        return block(body.u32(0), 1);
    }

    /// @param aDescription empty for no such option
    PcapngBuilder& unnamed(std::string const& aDescription)
    {
        ByteMaker body(mIsBigEndian);
        body.u16(147).u16(0).u32(0);
        if (!aDescription.empty())
        {
            option(body, 3, aDescription);
        }
        option(body, 9, "\x09");
        return block(body.u32(0), 1);
    }

    /// @param aDropped 0 for no such option
    PcapngBuilder& packet(std::uint32_t aInterface, std::uint64_t aTime, std::string const& aData,
                          std::uint64_t aDropped = 0)
    {
        ByteMaker body(mIsBigEndian);
        body.u32(aInterface).u32(aTime >> 32U).u32(aTime & 0xffffffffU).u32(aData.size()).u32(aData.size());
        padded(body, aData);
        if (aDropped != 0)
        {
            body.u16(4).u16(8).u64(aDropped);
        }
        body.u16(5).u16(8).u64(++mId);
        return block(body.u32(0), 6);
    }

    PcapngBuilder& statistics(std::uint32_t aInterface, std::uint64_t aTime, std::uint64_t aReceived,
                              std::uint64_t aDropped)
    {
        ByteMaker body(mIsBigEndian);
        body.u32(aInterface).u32(aTime >> 32U).u32(aTime & 0xffffffffU);
        body.u16(4).u16(8).u64(aReceived).u16(5).u16(8).u64(aDropped);
        return block(body.u32(0), 5);
    }

    PcapngBuilder& other(std::uint32_t aType) { return block(ByteMaker(mIsBigEndian).u32(7), aType); }

    PcapngBuilder& raw(std::string const& aBytes)
    {
        mContent += aBytes;
        return *this;
    }

    std::string const& content() const { return mContent; }

    /// Positions of the blocks, and after them that of the end.
    std::vector<std::size_t> bounds() const
    {
        std::vector<std::size_t> bounds = mStarts;
        bounds.push_back(mContent.size());
        return bounds;
    }

private:
    static void padded(ByteMaker& aBody, std::string const& aText)
    {
        aBody.text(aText).raw(ByteList((4 - aText.size() % 4) % 4, 0));
    }

    static void option(ByteMaker& aBody, std::uint16_t aNumber, std::string const& aText)
    {
        aBody.u16(aNumber).u16(aText.size());
        padded(aBody, aText);
    }

    PcapngBuilder& block(ByteMaker const& aBody, std::uint32_t aType)
    {
        mStarts.push_back(mContent.size());
        ByteList const bytes = aBody.block(aType);
        mContent.append(bytes.begin(), bytes.end());
        return *this;
    }

    bool mIsBigEndian;
    std::uint64_t mId = 0;
    std::string mContent;
    std::vector<std::size_t> mStarts;
};
