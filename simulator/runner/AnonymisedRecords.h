/// @file
/// Replaces what identifies a host in a recording.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agentkit/include/Bytes.h"
#include "anonymise/Anonymiser.h"
#include "anonymise/KeyedHash.h"
#include "pcapng/Blocks.h"
#include "simulator/recording/RecordingFile.h"
#include "simulator/recording/Ring.h"

namespace qzsim
{
/// Keeps records in memory until everything that identifies the host has been learned, so that no original reaches the
/// file. A name may occur in an early record before a later one shows that it is a name.
/// An argument and an answer that were equal remain equal, so a replay answers the same calls.
class AnonymisedRecords
{
public:
    /// @param aHost the section of this host
    AnonymisedRecords(anonymise::KeyedHash const& aHash, pcapng::Section const& aHost);

    /// Keeps a record that belongs after those before.
    void keep(Ring::Record const& aRecord);

    /// @return the section with pseudonyms
    pcapng::Section section() const;

    /// Learns from the records, adds them to the file and forgets them.
    /// @param aProgress is called before each record is learned and before it is added, with the part of the work that is
    ///                  done, from 0 to 1
    /// @throws RecordingWriteError
    void writeTo(RecordingFile& aFile, std::function<void(double)> const& aProgress);

private:
    using Json = nlohmann::json;
    using Bytes = std::vector<std::uint8_t>;

    struct Kept
    {
        std::uint64_t mTime;
        std::string mLibrary;
        Bytes mContent;
    };

    void learn(Bytes const& aContent);
    void learn(std::string const& aKey, Json const& aValue);
    void learnText(std::string const& aKey, std::string const& aText);
    void learnAnswer(std::string const& aFunction, Json const& aArguments, Json const& aResults);
    void learnInquiry(Json const& aArguments, Bytes const& aResponse);
    void learnDesignators(qz::Bytes aBytes);
    void learnDesignator(unsigned char const* aDescriptor, qz::Bytes aName);
    void learnNamesIn(Bytes const& aBytes);
    void learnRecordOfBoard(Bytes const& aRecord);

    /// @name The same with pseudonyms; a key tells what its value is
    /// @{
    Json anonymised(std::string const& aKey, Json const& aValue) const;
    Json anonymisedBytes(std::string const& aKey, Bytes const& aBytes) const;
    std::string anonymisedText(std::string const& aKey, std::string const& aText) const;
    std::string anonymisedPath(std::string const& aLibrary) const;
    /// @}

    pcapng::Section const mHost;
    anonymise::Anonymiser mAnonymiser;
    std::deque<Kept> mRecords;
};
}  // namespace qzsim
