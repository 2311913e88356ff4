/// @file
/// The forms of captures.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qzagent
{
enum class CaptureForm
{
    pcapng,
    records,      ///< encoded scope data, one record after another
    json,         ///< an event on each line
    hexadecimal,  ///< commented hexadecimal text of records
    report,       ///< a page of the verb report
};

/// Number of bytes at the beginning of a capture that always tell its form.
constexpr std::size_t formHeadSize = 12;

/// Distinguishes the forms by the first bytes. A pcapng file whose first four bytes are damaged is recognised by its
/// byte-order magic.
/// @param aHead    the first bytes, at most formHeadSize
/// @param aIsWhole whether no further byte of the head can follow
/// @return none when more bytes are necessary
std::optional<CaptureForm> formOf(std::string const& aHead, bool aIsWhole);

/// Number of bytes at the beginning of a file that are searched for pcapng blocks if no other form is certain.
constexpr std::size_t searchedForBlocks = std::size_t{1} << 20U;

/// Recognises a pcapng file whose first bytes are damaged.
/// @param aStart the first bytes, at most searchedForBlocks
/// @return whether a section header, or two usual blocks that follow each other, are in the bytes, and they begin no
///         record, which could contain blocks
bool isDamagedPcapng(std::string const& aStart);

/// Distinguishes the form of a file to which a capture may be appended.
/// @return none for a file that is missing, empty or not a regular file, which takes any form
std::optional<CaptureForm> formOfFile(std::string const& aPath);

/// @param aName "pcapng", "records", "json" or "hex"
/// @return none for other names
std::optional<CaptureForm> formNamed(std::string_view aName);
}  // namespace qzagent
