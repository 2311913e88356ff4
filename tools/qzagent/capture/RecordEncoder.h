/// @file
/// Encodes events as scope data.
#pragma once

#include <cstddef>
#include <map>
#include <tuple>
#include <vector>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/vqm/VqmBoards.h"

namespace qzagent
{
/// Encodes events as scope data: category and subcategory, the names of the board and the payload.
///
/// The library encodes the part before the payload once for each kind of event. It is then copied for each event,
/// which is much faster than a record of the library for each event.
class RecordEncoder
{
public:
    /// The largest category and subcategory of scope data.
    static constexpr unsigned int largestCategory = 0xff;

    /// @return whether scope data can represent the event
    static bool canEncode(qz::EventHead const& aHead)
    {
        return aHead.mCategory <= largestCategory && aHead.mSubcategory <= largestCategory;
    }

    /// @param aHead   of an event that can be encoded
    /// @param aBoard  the event's board; null for a record without names
    /// @param aLength number of payload bytes
    /// @return everything before the payload, valid until the next call
    /// @throws QZCNoMemoryEx when memory is exhausted
    qz::Bytes startOf(qz::EventHead const& aHead, Board const* aBoard, std::size_t aLength);

private:
    struct Starts
    {
        std::vector<unsigned char> mWithPayload;  ///< ends with the length of the payload
        std::vector<unsigned char> mWithoutPayload;
    };

    using Key = std::tuple<Board const*, unsigned int, unsigned int>;

    Starts& startsOf(qz::EventHead const& aHead, Board const* aBoard);

    std::map<Key, Starts> mStarts;
};
}  // namespace qzagent
