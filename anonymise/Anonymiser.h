/// @file
/// Replaces what identifies hosts, adapters, ports and devices.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <nlohmann/json.hpp>

#include "anonymise/KeyedHash.h"
#include "anonymise/Name.h"

namespace anonymise
{
/// Replaces originals with pseudonyms: World Wide Names, addresses (FC IDs), names of hosts, serial numbers, symbolic
/// names and names of OS devices. The same original has the same pseudonym wherever it is found with the same key. It
/// learns the originals first, and then finds them in texts and bytes too. Texts of fewer than four characters are
/// replaced where a document has them as values, but not searched elsewhere, because they would be found everywhere.
/// Names of hosts of fewer than four characters are also replaced where they are whole words.
/// Symbolic names often contain names of hosts. A word of a symbolic name is the name of a host if it follows HN:,
/// Host:, Hostname: or Host Name: (or = instead of the colon), or if it has the form of a name with a domain.
/// Values that have a fixed form or that the tool itself chooses, such as the state of a port, are never replaced.
class Anonymiser
{
public:
    /// What a text is the name of.
    enum class Kind
    {
        host,
        serialNumber,
        symbolicName,
        device
    };

    explicit Anonymiser(KeyedHash const& aHash) : mHash(aHash) {}

    /// Learns the name of a host: in full, and without its domain.
    void learnHost(std::string const& aName);

    void learn(Name const& aName);

    void learn(Kind aKind, std::string const& aText);

    void learnAddress(std::uint32_t aAddress) { mAddresses.insert(aAddress); }

    /// Learns a name that is longer than a World Wide Name, such as that of a LUN.
    /// @param aBytes 9 to 32 bytes
    void learnLongName(std::string const& aBytes);

    /// Learns the World Wide Names that a text certainly contains.
    void learnNames(std::string_view aText);

    /// Learns all originals in a document of the tool.
    void learn(nlohmann::ordered_json const& aDocument);

    /// @return what the values of the key in documents are the names of; none if they may be anything else
    static std::optional<Kind> kindOf(std::string_view aKey);

    /// @return the pseudonym of a text that is known to be of this kind
    std::string anonymised(Kind aKind, std::string const& aText) const;

    /// @return the pseudonym of a host, however short its name is
    std::string anonymisedHost(std::string const& aName) const { return anonymised(Kind::host, aName); }

    /// Also of a name that has not been learned.
    Name anonymised(Name const& aName) const;

    /// Also of an address that has not been learned.
    std::uint32_t anonymisedAddress(std::uint32_t aAddress) const;

    /// @return the text with pseudonyms of everything learned, and of other World Wide Names that can be recognised
    std::string anonymised(std::string_view aText) const;

    /// @param aDocument a document of the tool, from which the originals need not have been learned
    nlohmann::ordered_json anonymisedDocument(nlohmann::ordered_json const& aDocument) const;

    /// Replaces the same as in a text, learned long names, and learned names as 8 bytes in either byte order. An address
    /// as 3 bytes is not recognised. Texts are also found in UTF-16, and names as two 32-bit words in another byte order.
    /// Sizes are unchanged: a text is replaced with the beginning of its pseudonym's digits. Eight bytes remain if only
    /// one of them is other than zero, because numbers look the same.
    void anonymise(unsigned char* aBytes, std::size_t aSize) const;

private:
    struct Known
    {
        std::string mOriginal;  ///< in lower case
        std::string mPseudonym;
        std::string mDigits;  ///< of the hash; the pseudonym ends with the first of them
    };

    struct HashOfName
    {
        std::size_t operator()(Name const& aName) const
        {
            return std::hash<std::string_view>()({reinterpret_cast<char const*>(aName.data()), aName.size()});
        }
    };

    struct Match
    {
        std::size_t mLength;
        std::string mReplacement;
    };

    static std::string textOfPseudonym(Kind aKind, std::string_view aOriginal, std::string const& aDigits);

    void learnHostsIn(std::string_view aSymbolicName);
    void learnWord(std::string_view aWord, bool aIsHost);
    void learnAddressIn(std::string const& aText);
    void addKnown(Kind aKind, std::string const& aText, std::string const& aIdentity);
    std::string digitsOf(std::string_view aIdentity) const;
    std::string pseudonymOfLongName(std::string const& aDigits) const;
    std::string const* longNameIn(std::string_view aBytes) const;
    std::optional<Match> digitsAt(std::string_view aText, std::size_t aPosition) const;
    std::optional<Match> longNameAt(std::string_view aText, std::size_t aPosition) const;
    std::optional<Match> nameAt(std::string_view aText, std::size_t aPosition) const;
    std::optional<Match> addressAt(std::string_view aText, std::size_t aPosition) const;
    Known const* knownAt(std::string_view aText, std::size_t aPosition) const;
    Known const* shortHostAt(std::string_view aText, std::size_t aPosition) const;
    std::optional<Match> roughAt(std::string_view aText, std::size_t aPosition) const;
    void anonymiseNarrow(unsigned char* aBytes, std::size_t aSize) const;
    void anonymiseWide(unsigned char* aBytes, std::size_t aSize) const;
    void anonymiseValue(std::string_view aKey, nlohmann::ordered_json& aValue) const;

    KeyedHash const mHash;
    std::unordered_map<Name, Name, HashOfName> mNames;  ///< pseudonyms by name, in both byte orders
    std::set<std::uint32_t> mAddresses;
    std::map<std::size_t, std::map<std::string, std::string, std::less<>>>
        mLongNames;  ///< bytes of pseudonyms by size and bytes
    std::unordered_map<std::uint32_t,
                       std::map<std::size_t, std::unordered_map<std::string, Known>, std::greater<>>>
        mTexts;  ///< by their first characters, size and original, the longest first
    std::vector<Known> mShortHosts;
    std::vector<Known> mRoughTexts;  ///< with characters that stand for bytes that are not UTF-8
};
}  // namespace anonymise
