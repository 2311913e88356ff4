#include "tools/qzagent/anonymise/Anonymiser.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "tools/qzagent/anonymise/PseudonymOfName.h"
#include "tools/qzagent/anonymise/SpelledName.h"

namespace qzagent
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
std::string lower(std::string_view aText)
{
    std::string text(aText);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char aCharacter) {
                       return aCharacter >= 'A' && aCharacter <= 'Z' ? static_cast<char>(aCharacter | 0x20)
                                                                     : aCharacter;
                   });
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

/// The texts that a search finds at a position begin with the same characters.
std::string startOf(std::string_view aLowerText)
{
    return std::string(aLowerText.substr(0, shortestSearched));
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

/// What identifies a host: its name without the domain.
std::string hostIn(std::string_view aName) { return lower(aName.substr(0, aName.find('.'))); }

std::string hexOf(KeyedHash::Digest const& aDigest) { return fmt::format("{:02x}", fmt::join(aDigest, "")); }

qz::Wwn reversed(qz::Wwn const& aName)
{
    auto bytes = aName.bytes();
    std::reverse(bytes.begin(), bytes.end());
    return qz::Wwn(bytes);
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

void Anonymiser::learn(qz::Wwn const& aName)
{
    qz::Wwn const pseudonym = pseudonymOf(aName, mHash);
    if (pseudonym != aName)
    {
        mNames.insert_or_assign(aName, pseudonym);
        mNames.emplace(reversed(aName), reversed(pseudonym));
    }
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
                learnAddress(text);
            }
            else if (std::optional<Kind> const kind = kindOf(key))
            {
                learn(*kind, text);
            }
        }
    }
}

qz::Wwn Anonymiser::anonymised(qz::Wwn const& aName) const
{
    auto const known = mNames.find(aName);
    return known == mNames.end() ? pseudonymOf(aName, mHash) : known->second;
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
    std::string_view const text(reinterpret_cast<char const*>(aBytes), aSize);
    for (std::size_t position = 0; position < aSize;)
    {
        unsigned char* const to = aBytes + position;
        auto const binary =
            aSize - position < qz::Wwn::size ? mNames.end() : mNames.find(qz::Wwn::ofBytes(to));
        if (binary != mNames.end())
        {
            std::copy_n(binary->second.bytes().begin(), qz::Wwn::size, to);
            position += qz::Wwn::size;
        }
        else if (std::optional<Match> const name = digitsAt(text, position))
        {
            std::copy(name->mReplacement.begin(), name->mReplacement.end(), to);
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
        else
        {
            ++position;
        }
    }
}

void Anonymiser::learn(Kind aKind, std::string const& aText)
{
    std::string const identity = aKind == Kind::host ? hostIn(aText) : aText;
    addKnown(aKind, aText, identity);
    if (aKind == Kind::host)
    {
        addKnown(aKind, identity, identity);
        std::string const domain = lower(aText).substr(std::min(identity.size() + 1, aText.size()));
        addKnown(aKind, domain, domain);
    }
    else if (aKind == Kind::device)
    {
        addKnown(aKind, aText.substr(partsOf(aText).mFolder.size()), identity);
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

void Anonymiser::learnAddress(std::string const& aText)
{
    if (std::optional<std::uint32_t> const address = addressIn(aText))
    {
        mAddresses.insert(*address);
    }
}

/// @param aIdentity texts with the same identity have the same digits in their pseudonyms
void Anonymiser::addKnown(Kind aKind, std::string const& aText, std::string const& aIdentity)
{
    if (aText.size() < shortestSearched)
    {
        return;
    }
    std::string const original = lower(aText);
    std::vector<Known>& list = mTexts[startOf(original)];
    auto const place =
        std::find_if(list.begin(), list.end(),
                     [&original](Known const& aKnown) { return aKnown.mOriginal.size() <= original.size(); });
    bool const isKnown = std::any_of(
        place, list.end(), [&original](Known const& aKnown) { return aKnown.mOriginal == original; });
    if (!isKnown)
    {
        std::string const digits = digitsOf(aIdentity);
        list.insert(place, {original, textOfPseudonym(aKind, aText, digits), digits});
    }
}

std::string Anonymiser::digitsOf(std::string_view aIdentity) const
{
    return hexOf(mHash.of("text", aIdentity));
}

/// The pseudonym of a text that is known to be of this kind.
std::string Anonymiser::anonymised(Kind aKind, std::string const& aText) const
{
    return aText.empty()
               ? std::string()
               : textOfPseudonym(aKind, aText, digitsOf(aKind == Kind::host ? hostIn(aText) : aText));
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
    return Match{digitsOfLongName,
                 name.substr(0, keptDigitsOfLongName) +
                     hexOf(mHash.of("long name", name))
                         .substr(keptDigitsOfLongName, digitsOfLongName - keptDigitsOfLongName)};
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
    if (mAddresses.empty() || isWithinDigits(aText, aPosition) ||
        digitsFrom(aText, aPosition) != digitsOfAddress)
    {
        return {};
    }
    std::uint32_t const address = addressIn(aText.substr(aPosition, digitsOfAddress)).value_or(0);
    if (mAddresses.count(address) == 0)
    {
        return {};
    }
    return Match{digitsOfAddress, fmt::format("{:06x}", pseudonymOfAddress(address, mHash))};
}

Anonymiser::Known const* Anonymiser::knownAt(std::string_view aText, std::size_t aPosition) const
{
    auto const list = mTexts.find(startOf(lower(aText.substr(aPosition, shortestSearched))));
    if (list == mTexts.end())
    {
        return nullptr;
    }
    auto const found =
        std::find_if(list->second.begin(), list->second.end(),
                     [&](Known const& aKnown)
                     { return lower(aText.substr(aPosition, aKnown.mOriginal.size())) == aKnown.mOriginal; });
    return found == list->second.end() ? nullptr : &*found;
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
}  // namespace qzagent
