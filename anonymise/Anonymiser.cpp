#include "anonymise/Anonymiser.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "anonymise/PseudonymOfName.h"
#include "anonymise/SpelledName.h"

namespace anonymise
{
namespace
{
using Json = nlohmann::ordered_json;

constexpr std::size_t shortestSearched = 4;
constexpr std::size_t digitsOfPseudonym = 12;

/// NAA format 6, which has 32 digits. The first seven are the format and the vendor.
constexpr std::size_t digitsOfLongName = 32;
constexpr std::size_t keptDigitsOfLongName = 7;
constexpr char formatOfLongName = '6';

constexpr char const* keyOfAddress = "fc_id";
constexpr std::size_t digitsOfAddress = 6;

/// ASCII only, whatever the locale.
char lower(char aCharacter)
{
    return aCharacter >= 'A' && aCharacter <= 'Z' ? static_cast<char>(aCharacter | 0x20) : aCharacter;
}

std::string lower(std::string_view aText)
{
    std::string text(aText);
    std::transform(text.begin(), text.end(), text.begin(), [](char aCharacter) { return lower(aCharacter); });
    return text;
}

/// Folders and classes of devices, which identify nothing. What follows them is replaced. The first that fits counts.
constexpr std::string_view deviceFolders[] = {
    "/dev/mapper/", "/dev/bsg/", "/dev/", "/sys/class/fc_host/", "/sys/class/scsi_host/", "/sys/block/"};
constexpr std::string_view deviceClasses[] = {"sd", "sg", "sr", "st", "nst", "dm", "nvme", "host", "mpath"};

template <std::size_t count>
std::string_view beginningIn(std::string_view const (&aBeginnings)[count], std::string_view aText)
{
    auto const* const found = std::find_if(std::begin(aBeginnings), std::end(aBeginnings),
                                           [aText](std::string_view aBeginning)
                                           { return aText.substr(0, aBeginning.size()) == aBeginning; });
    return found == std::end(aBeginnings) ? std::string_view() : *found;
}

struct DeviceParts
{
    std::string_view mFolder;
    std::string_view mClass;
};

DeviceParts partsOf(std::string_view aDevice)
{
    std::string_view const folder = beginningIn(deviceFolders, aDevice);
    return {folder, beginningIn(deviceClasses, aDevice.substr(folder.size()))};
}

/// The texts that a search finds at a position begin with the same characters, in either letter case.
std::uint32_t startOf(std::string_view aText)
{
    std::uint32_t start = 0;
    for (char const character : aText.substr(0, shortestSearched))
    {
        start = start << 8U | static_cast<unsigned char>(lower(character));
    }
    return start;
}

/// @return whether the values of the key have a fixed form, which a replacement would violate. LUNs can look like names.
bool isFixed(std::string_view aKey)
{
    constexpr std::string_view keys[] = {"active_fc4_types",
                                         "call",
                                         "command",
                                         "device_type",
                                         "exception",
                                         "function",
                                         "generated_at",
                                         "lun",
                                         "mapped_luns",
                                         "mapped_luns_form",
                                         "reported_luns",
                                         "scsi_status_name",
                                         "sense_key_name",
                                         "severity",
                                         "speed",
                                         "state",
                                         "status_name",
                                         "supported_classes",
                                         "supported_fc4_types",
                                         "supported_speeds",
                                         "tool_version",
                                         "type",
                                         "vendor_specific_id",
                                         "worst_port_state"};
    return std::find(std::begin(keys), std::end(keys), aKey) != std::end(keys);
}

/// @param aDigits hexadecimal, with or without 0x
std::optional<std::uint32_t> addressIn(std::string_view aDigits)
{
    constexpr int base = 16;
    aDigits.remove_prefix(aDigits.substr(0, 2) == "0x" ? 2 : 0);
    std::uint32_t address = 0;
    char const* const end = aDigits.data() + aDigits.size();
    auto const [last, error] = std::from_chars(aDigits.data(), end, address, base);
    return error == std::errc() && last == end ? std::optional(address) : std::nullopt;
}

/// @return the text without the blanks with which fields of a fixed size are filled
std::string_view trimmed(std::string_view aText)
{
    constexpr std::string_view blanks = " \t";
    std::size_t const first = std::min(aText.find_first_not_of(blanks), aText.size());
    return aText.substr(first, aText.find_last_not_of(blanks) + 1 - first);
}

/// What identifies a host: its name without the domain.
std::string hostIn(std::string_view aName) { return lower(aName.substr(0, aName.find('.'))); }

bool isWordCharacter(char aCharacter)
{
    return (aCharacter >= '0' && aCharacter <= '9') || (lower({&aCharacter, 1}) != std::string{aCharacter}) ||
           (aCharacter >= 'a' && aCharacter <= 'z');
}

bool isAscii(char aCharacter) { return static_cast<unsigned char>(aCharacter) < 0x80; }

/// @return whether a word has the form of a name with a domain, such as db02.bank.example. Versions have digits at their
///         end.
bool isDottedName(std::string_view aWord)
{
    std::size_t const dot = aWord.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || aWord.size() - dot < 3)
    {
        return false;
    }
    auto const isLetter = [](char aCharacter)
    { return isWordCharacter(aCharacter) && (aCharacter < '0' || aCharacter > '9'); };
    return std::all_of(aWord.begin() + dot + 1, aWord.end(), isLetter) &&
           std::all_of(aWord.begin(), aWord.begin() + dot,
                       [](char aCharacter)
                       { return isWordCharacter(aCharacter) || aCharacter == '-' || aCharacter == '.'; });
}

/// Replaces what UTF-8 has no character for.
constexpr std::string_view replacementCharacter = "\xef\xbf\xbd";

/// @return the text in Latin-1; empty if it is ASCII or has other characters
std::string latin1Of(std::string_view aText)
{
    std::string text;
    bool isDifferent = false;
    for (std::size_t i = 0; i < aText.size(); ++i)
    {
        auto const byte = static_cast<unsigned char>(aText[i]);
        if (byte < 0x80)
        {
            text += aText[i];
        }
        else if ((byte == 0xc2 || byte == 0xc3) && i + 1 < aText.size())
        {
            ++i;
            text += static_cast<char>((byte & 0x03U) << 6U | (static_cast<unsigned char>(aText[i]) & 0x3fU));
            isDifferent = true;
        }
        else
        {
            return {};
        }
    }
    return isDifferent ? text : std::string();
}

/// @return number of bytes at the beginning of the text that a text with replacement characters stands for; 0 if none
std::size_t roughLength(std::string_view aRough, std::string_view aText)
{
    std::size_t position = 0;
    for (std::size_t i = 0; i < aRough.size(); ++i, ++position)
    {
        if (position >= aText.size())
        {
            return 0;
        }
        if (aRough.substr(i, replacementCharacter.size()) == replacementCharacter)
        {
            if (isAscii(aText[position]))
            {
                return 0;
            }
            i += replacementCharacter.size() - 1;
        }
        else if (lower(aText.substr(position, 1)) != aRough.substr(i, 1))
        {
            return 0;
        }
    }
    return position;
}

std::string hexOf(KeyedHash::Digest const& aDigest) { return fmt::format("{:02x}", fmt::join(aDigest, "")); }

Name reversed(Name const& aName)
{
    auto bytes = aName;
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

/// @return the two halves in the other order; reversed() of it has the bytes of each half reversed
Name exchanged(Name const& aName)
{
    auto bytes = aName;
    std::rotate(bytes.begin(), bytes.begin() + sizeOfName / 2, bytes.end());
    return bytes;
}

/// @return whether bytes that equal a name are likely to be one. A length between zero bytes equals a name of which one
/// byte is other than zero.
bool isDistinct(Name const& aBytes)
{
    auto const zeros = std::count(aBytes.begin(), aBytes.end(), 0);
    return zeros < std::ptrdiff_t{sizeOfName} - 1;
}
}  // namespace

std::optional<Anonymiser::Kind> Anonymiser::kindOf(std::string_view aKey)
{
    struct
    {
        std::string_view mKey;
        Kind mKind;
    } const kinds[] = {
        {"host", Kind::host},
        {"serial_number", Kind::serialNumber},
        {"node_symbolic_name", Kind::symbolicName},
        {"symbolic_name", Kind::symbolicName},
        {"os_device_name", Kind::device},
        {"os_device", Kind::device},
    };
    auto const* const found = std::find_if(std::begin(kinds), std::end(kinds),
                                           [aKey](auto const& aKind) { return aKind.mKey == aKey; });
    return found == std::end(kinds) ? std::nullopt : std::optional(found->mKind);
}

std::string Anonymiser::textOfPseudonym(Kind aKind, std::string_view aOriginal, std::string const& aDigits)
{
    std::string const digits = aDigits.substr(0, digitsOfPseudonym);
    switch (aKind)
    {
        case Kind::host:
            return "host-" + digits;
        case Kind::serialNumber:
            return "serial-" + digits;
        case Kind::symbolicName:
            return "name-" + digits;
        default:
            break;
    }
    DeviceParts const parts = partsOf(aOriginal);
    std::string_view const deviceClass = parts.mClass.empty() ? "device" : parts.mClass;
    return fmt::format("{}{}-{}", parts.mFolder, deviceClass, digits);
}

void Anonymiser::learnHost(std::string const& aName) { learn(Kind::host, aName); }

void Anonymiser::learn(Name const& aName)
{
    Name const pseudonym = pseudonymOf(aName, mHash);
    if (pseudonym != aName)
    {
        mNames.insert_or_assign(aName, pseudonym);
        mNames.emplace(reversed(aName), reversed(pseudonym));
        mNames.emplace(exchanged(aName), exchanged(pseudonym));
        mNames.emplace(reversed(exchanged(aName)), reversed(exchanged(pseudonym)));
    }
}

void Anonymiser::learnLongName(std::string const& aBytes)
{
    std::vector<unsigned char> const bytes(aBytes.begin(), aBytes.end());
    std::string const digits = pseudonymOfLongName(fmt::format("{:02x}", fmt::join(bytes, "")));
    std::string pseudonym;
    for (std::size_t i = 0; i < digits.size(); i += 2)
    {
        pseudonym += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
    }
    mLongNames[aBytes.size()].insert_or_assign(aBytes, pseudonym);
}

void Anonymiser::learn(Json const& aDocument)
{
    for (auto const& [key, value] : aDocument.items())
    {
        if (isFixed(key))
        {
            continue;
        }
        if (value.is_structured())
        {
            learn(value);
        }
        else if (value.is_string())
        {
            auto const& text = value.get_ref<std::string const&>();
            learnNames(text);
            if (key == keyOfAddress)
            {
                learnAddressIn(text);
            }
            else if (std::optional<Kind> const kind = kindOf(key))
            {
                learn(*kind, text);
            }
        }
    }
}

Name Anonymiser::anonymised(Name const& aName) const
{
    auto const known = mNames.find(aName);
    return known == mNames.end() ? pseudonymOf(aName, mHash) : known->second;
}

std::uint32_t Anonymiser::anonymisedAddress(std::uint32_t aAddress) const
{
    return pseudonymOfAddress(aAddress, mHash);
}

std::string Anonymiser::anonymised(std::string_view aText) const
{
    std::string text;
    for (std::size_t position = 0; position < aText.size();)
    {
        if (std::optional<Match> const name = digitsAt(aText, position))
        {
            text += name->mReplacement;
            position += name->mLength;
        }
        else if (Known const* const found = knownAt(aText, position))
        {
            text += found->mPseudonym;
            position += found->mOriginal.size();
        }
        else
        {
            text += aText[position++];
        }
    }
    return text;
}

Json Anonymiser::anonymisedDocument(Json const& aDocument) const
{
    Json document = aDocument;
    for (auto& [key, value] : document.items())
    {
        anonymiseValue(key, value);
    }
    return document;
}

void Anonymiser::anonymise(unsigned char* aBytes, std::size_t aSize) const
{
    anonymiseNarrow(aBytes, aSize);
    anonymiseWide(aBytes, aSize);
}

/// Replaces in each row of bytes that null bytes separate, which is what ASCII and Latin-1 are in UTF-16.
void Anonymiser::anonymiseWide(unsigned char* aBytes, std::size_t aSize) const
{
    std::vector<unsigned char> narrow;
    for (std::size_t begin = 0; begin < aSize;)
    {
        narrow.clear();
        std::size_t end = begin;
        while (end < aSize && aBytes[end] != 0 && (end == begin || aBytes[end - 1] == 0))
        {
            narrow.push_back(aBytes[end]);
            end += 2;
        }
        if (narrow.size() < 2)
        {
            ++begin;
            continue;
        }
        anonymiseNarrow(narrow.data(), narrow.size());
        for (std::size_t i = 0; i < narrow.size(); ++i)
        {
            aBytes[begin + 2 * i] = narrow[i];
        }
        begin = end - 1;
    }
}

void Anonymiser::anonymiseNarrow(unsigned char* aBytes, std::size_t aSize) const
{
    std::string_view const text(reinterpret_cast<char const*>(aBytes), aSize);
    for (std::size_t position = 0; position < aSize;)
    {
        unsigned char* const to = aBytes + position;
        std::string const* const longName = longNameIn(text.substr(position));
        bool const mayBeName = aSize - position >= sizeOfName && isDistinct(nameOf(to));
        auto const binary = mayBeName ? mNames.find(nameOf(to)) : mNames.end();
        if (longName != nullptr)
        {
            std::copy(longName->begin(), longName->end(), to);
            position += longName->size();
        }
        else if (binary != mNames.end())
        {
            std::copy_n(binary->second.begin(), sizeOfName, to);
            position += sizeOfName;
        }
        else if (std::optional<Match> const name = digitsAt(text, position))
        {
            // A shorter number keeps its size.
            std::copy_n(name->mReplacement.end() - static_cast<std::ptrdiff_t>(name->mLength), name->mLength,
                        to);
            position += name->mLength;
        }
        else if (Known const* const found = knownAt(text, position))
        {
            for (std::size_t i = 0; i < found->mOriginal.size(); ++i)
            {
                to[i] = static_cast<unsigned char>(found->mDigits[i % found->mDigits.size()]);
            }
            position += found->mOriginal.size();
        }
        else if (std::optional<Match> const rough = roughAt(text, position))
        {
            std::copy(rough->mReplacement.begin(), rough->mReplacement.end(), to);
            position += rough->mLength;
        }
        else
        {
            ++position;
        }
    }
}

void Anonymiser::learn(Kind aKind, std::string const& aText)
{
    std::string const inner(trimmed(aText));
    std::string const identity = aKind == Kind::host ? hostIn(inner) : inner;
    addKnown(aKind, inner, identity);
    if (aKind == Kind::symbolicName)
    {
        learnHostsIn(aText);
    }
    if (aKind == Kind::host)
    {
        addKnown(aKind, identity, identity);
        std::string const domain = lower(inner).substr(std::min(identity.size() + 1, inner.size()));
        addKnown(aKind, domain, domain);
    }
    else if (aKind == Kind::device)
    {
        addKnown(aKind, inner.substr(partsOf(inner).mFolder.size()), identity);
    }
}

void Anonymiser::learnNames(std::string_view aText)
{
    for (std::size_t position = 0; position < aText.size();)
    {
        std::optional<SpelledName> const name = spelledNameAt(aText, position);
        bool const isCertain = name && name->mIsCertain;
        if (isCertain)
        {
            learn(name->mName);
        }
        position += isCertain ? name->mLength : 1;
    }
}

/// Learns the words of a symbolic name that are names of hosts.
void Anonymiser::learnHostsIn(std::string_view aSymbolicName)
{
    constexpr std::string_view blanks = " \t,;()[]\"'";
    constexpr std::string_view keys[] = {"hn", "host", "hostname", "name"};
    bool isHost = false;
    std::string previous;
    for (std::size_t begin = 0;
         (begin = aSymbolicName.find_first_not_of(blanks, begin)) < aSymbolicName.size();)
    {
        std::size_t const end = std::min(aSymbolicName.find_first_of(blanks, begin), aSymbolicName.size());
        std::string_view word = aSymbolicName.substr(begin, end - begin);
        if (std::size_t const separator = word.find_first_of(":="); separator != std::string_view::npos)
        {
            std::string const key = lower(word.substr(0, separator));
            isHost = std::find(std::begin(keys), std::end(keys), key) != std::end(keys) &&
                     (key != "name" || previous == "host");
            word.remove_prefix(separator + 1);
        }
        previous = lower(word);
        if (!word.empty())
        {
            learnWord(word, std::exchange(isHost, false));
        }
        begin = end;
    }
}

void Anonymiser::learnWord(std::string_view aWord, bool aIsHost)
{
    std::string_view const name = aWord.substr(0, aWord.find_last_not_of('.') + 1);
    if (aIsHost || isDottedName(name))
    {
        learn(Kind::host, std::string(name));
    }
}

void Anonymiser::learnAddressIn(std::string const& aText)
{
    if (std::optional<std::uint32_t> const address = addressIn(aText))
    {
        learnAddress(*address);
    }
}

/// @param aIdentity texts with the same identity have the same digits in their pseudonyms
void Anonymiser::addKnown(Kind aKind, std::string const& aText, std::string const& aIdentity)
{
    std::string const original = lower(aText);
    if (aText.size() < shortestSearched)
    {
        if (aKind == Kind::host && !aText.empty())
        {
            std::string const digits = digitsOf(aIdentity);
            mShortHosts.push_back({original, textOfPseudonym(aKind, aText, digits), digits});
        }
        return;
    }
    if (original.find(replacementCharacter) != std::string::npos)
    {
        std::string const digits = digitsOf(aIdentity);
        mRoughTexts.push_back({original, textOfPseudonym(aKind, aText, digits), digits});
    }
    if (std::string const latin1 = latin1Of(aText); !latin1.empty())
    {
        addKnown(aKind, latin1, aIdentity);
    }
    auto& texts = mTexts[startOf(original)][original.size()];
    if (texts.count(original) == 0)
    {
        std::string const digits = digitsOf(aIdentity);
        texts.emplace(original, Known{original, textOfPseudonym(aKind, aText, digits), digits});
    }
}

std::string Anonymiser::digitsOf(std::string_view aIdentity) const
{
    return hexOf(mHash.of("text", aIdentity));
}

std::string Anonymiser::anonymised(Kind aKind, std::string const& aText) const
{
    std::string_view const inner = trimmed(aText);
    return inner.empty()
               ? std::string()
               : textOfPseudonym(aKind, inner, digitsOf(aKind == Kind::host ? hostIn(inner) : inner));
}

/// @return the World Wide Name or the address that begins at the position
std::optional<Anonymiser::Match> Anonymiser::digitsAt(std::string_view aText, std::size_t aPosition) const
{
    std::optional<Match> found = longNameAt(aText, aPosition);
    if (!found)
    {
        found = nameAt(aText, aPosition);
    }
    return found ? found : addressAt(aText, aPosition);
}

std::optional<Anonymiser::Match> Anonymiser::longNameAt(std::string_view aText, std::size_t aPosition) const
{
    if (aText[aPosition] != formatOfLongName || isWithinDigits(aText, aPosition) ||
        digitsFrom(aText, aPosition) != digitsOfLongName)
    {
        return {};
    }
    std::string const name = lower(aText.substr(aPosition, digitsOfLongName));
    return Match{digitsOfLongName, pseudonymOfLongName(name)};
}

/// @param aDigits at most as many as the hash has, in lower case
std::string Anonymiser::pseudonymOfLongName(std::string const& aDigits) const
{
    return aDigits.substr(0, keptDigitsOfLongName) +
           hexOf(mHash.of("long name", aDigits))
               .substr(keptDigitsOfLongName, aDigits.size() - keptDigitsOfLongName);
}

/// @return the pseudonym of the long name with which the bytes begin; null for none
std::string const* Anonymiser::longNameIn(std::string_view aBytes) const
{
    for (auto const& [size, names] : mLongNames)
    {
        auto const found = names.find(aBytes.substr(0, size));
        if (found != names.end())
        {
            return &found->second;
        }
    }
    return nullptr;
}

std::optional<Anonymiser::Match> Anonymiser::nameAt(std::string_view aText, std::size_t aPosition) const
{
    std::optional<SpelledName> const name = spelledNameAt(aText, aPosition);
    if (!name || (!name->mIsCertain && mNames.count(name->mName) == 0))
    {
        return {};
    }
    return Match{name->mLength, spelledLike(aText.substr(aPosition, name->mLength), anonymised(name->mName))};
}

/// Finds the learned addresses, with 0x or without.
std::optional<Anonymiser::Match> Anonymiser::addressAt(std::string_view aText, std::size_t aPosition) const
{
    if (mAddresses.empty() || isWithinDigits(aText, aPosition))
    {
        return {};
    }
    std::size_t const size = digitsFrom(aText, aPosition);
    if (size == 0)
    {
        return {};
    }
    bool const isHexadecimal = aPosition >= 2 && lower(aText.substr(aPosition - 2, 2)) == "0x" &&
                               !isWithinDigits(aText, aPosition - 2);
    if (size > digitsOfAddress || (size < digitsOfAddress && !isHexadecimal))
    {
        return {};
    }
    std::uint32_t const address = addressIn(aText.substr(aPosition, size)).value_or(0);
    if (mAddresses.count(address) == 0)
    {
        return {};
    }
    return Match{size, fmt::format("{:06x}", pseudonymOfAddress(address, mHash))};
}

Anonymiser::Known const* Anonymiser::knownAt(std::string_view aText, std::size_t aPosition) const
{
    auto const bySize = mTexts.find(startOf(aText.substr(aPosition)));
    if (bySize == mTexts.end())
    {
        return shortHostAt(aText, aPosition);
    }
    for (auto const& [size, texts] : bySize->second)
    {
        auto const found = texts.find(lower(aText.substr(aPosition, size)));
        if (found != texts.end())
        {
            return &found->second;
        }
    }
    return shortHostAt(aText, aPosition);
}

/// Finds short names of hosts where they are whole words.
Anonymiser::Known const* Anonymiser::shortHostAt(std::string_view aText, std::size_t aPosition) const
{
    auto const isAt = [&](Known const& aKnown)
    {
        if (lower(aText[aPosition]) != aKnown.mOriginal.front())
        {
            return false;
        }
        std::size_t const end = aPosition + aKnown.mOriginal.size();
        return lower(aText.substr(aPosition, aKnown.mOriginal.size())) == aKnown.mOriginal &&
               (aPosition == 0 || !isWordCharacter(aText[aPosition - 1])) &&
               (end == aText.size() || !isWordCharacter(aText[end]));
    };
    auto const found = std::find_if(mShortHosts.begin(), mShortHosts.end(), isAt);
    return found == mShortHosts.end() ? nullptr : &*found;
}

/// Finds bytes that a document shows as replacement characters.
std::optional<Anonymiser::Match> Anonymiser::roughAt(std::string_view aText, std::size_t aPosition) const
{
    for (Known const& known : mRoughTexts)
    {
        if (std::size_t const length = roughLength(known.mOriginal, aText.substr(aPosition)); length != 0)
        {
            std::string digits;
            while (digits.size() < length)
            {
                digits += known.mDigits;
            }
            return Match{length, digits.substr(0, length)};
        }
    }
    return {};
}

void Anonymiser::anonymiseValue(std::string_view aKey, Json& aValue) const
{
    if (isFixed(aKey))
    {
        return;
    }
    if (aValue.is_structured())
    {
        aValue = anonymisedDocument(aValue);
    }
    else if (aValue.is_string())
    {
        auto const& text = aValue.get_ref<std::string const&>();
        std::optional<std::uint32_t> const address = aKey == keyOfAddress ? addressIn(text) : std::nullopt;
        std::optional<Kind> const kind = kindOf(aKey);
        if (address)
        {
            aValue = fmt::format("0x{:06x}", pseudonymOfAddress(*address, mHash));
        }
        else
        {
            aValue = kind ? anonymised(*kind, text) : anonymised(text);
        }
    }
}
}  // namespace anonymise
