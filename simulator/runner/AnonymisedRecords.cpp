#include "simulator/runner/AnonymisedRecords.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "anonymise/Name.h"
#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "simulator/library/Redirection.h"
#include "simulator/recording/CborReader.h"
#include "simulator/recording/CborWriter.h"
#include "simulator/recording/PacketSize.h"
#include "simulator/recording/Values.h"

namespace qzsim
{
namespace
{
using anonymise::Anonymiser;
using anonymise::sizeOfName;

constexpr std::uint64_t highestAddress = 0xffffff;

template <std::size_t count>
bool isOneOf(std::string_view const (&aNames)[count], std::string_view aName)
{
    return std::find(std::begin(aNames), std::end(aNames), aName) != std::end(aNames);
}

/// @return whether eight bytes with this key are a World Wide Name
bool isNameKey(std::string_view aKey)
{
    constexpr std::string_view keys[] = {"agent",  "destination", "fabric_name", "name",   "node_wwn",
                                         "object", "port",        "port_wwn",    "target", "wwn"};
    return isOneOf(keys, aKey);
}

/// @return whether a number with this key may be an address (FC ID). The first two numbers of an event are.
bool isAddressKey(std::string_view aKey)
{
    constexpr std::string_view keys[] = {"data_0", "data_1", "fc_id", "port_id"};
    return isOneOf(keys, aKey);
}

/// @return whether the answer of the function has World Wide Names at positions that depend on the answer
bool hasNamesAnywhere(std::string_view aFunction)
{
    constexpr std::string_view functions[] = {"HBA_SendCTPassThru", "HBA_SendCTPassThruV2", "HBA_SendLIRR",
                                              "HBA_SendRNID",       "HBA_SendRNIDV2",       "HBA_SendRPL",
                                              "HBA_SendRPS",        "HBA_SendSRL"};
    return isOneOf(functions, aFunction);
}

/// @return whether the eight bytes have the form of a name: a usual format, and a vendor
bool isLikeName(unsigned char const* aBytes)
{
    constexpr unsigned int highest = 4;
    unsigned int const format = aBytes[0] >> highest;
    bool const hasIeeeVendor = (aBytes[2] | aBytes[3] | aBytes[4]) != 0;
    bool const hasRegisteredVendor = ((aBytes[0] & 0x0fU) | aBytes[1] | aBytes[2]) != 0;
    return format == 1   ? (aBytes[0] & 0x0fU) == 0 && aBytes[1] == 0 && hasIeeeVendor
           : format == 2 ? hasIeeeVendor
                         : (format == 5 || format == 6) && hasRegisteredVendor;
}

std::vector<std::uint8_t> const* bytesAt(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found != aObject.end() && found->is_binary() ? &found->get_binary() : nullptr;
}

std::uint64_t numberAt(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found != aObject.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

std::string textOf(unsigned char const* aBytes, std::size_t aSize)
{
    return {reinterpret_cast<char const*>(aBytes), aSize};
}

/// @return the printable text at the beginning of the bytes
std::string printableIn(qz::Bytes aBytes)
{
    std::string const text = textOf(aBytes.mData, aBytes.mSize);
    auto const* const end = std::find_if_not(text.data(), text.data() + text.size(),
                                             [](char const& aCharacter) {
                                                 return isPlainText({&aCharacter, 1});
                                             });
    return {text.data(), end};
}
/// Removes the IP address from the answer to RNID with general topology discovery data.
void hideIpAddress(std::vector<std::uint8_t>& aResponse)
{
    constexpr std::size_t formatPosition = 4;
    constexpr std::uint8_t generalTopology = 0xdf;
    constexpr std::size_t begin = 56;
    constexpr std::size_t end = 72;
    if (aResponse.size() > begin && aResponse[formatPosition] == generalTopology)
    {
        std::fill(aResponse.begin() + begin,
                  aResponse.begin() + static_cast<std::ptrdiff_t>(std::min(aResponse.size(), end)),
                  std::uint8_t{0});
    }
}

void writeItem(CborWriter& aWriter, Json const& aValue)
{
    if (aValue.is_structured())
    {
        aValue.is_object() ? aWriter.beginMap() : aWriter.beginArray();
        for (auto const& [key, value] : aValue.items())
        {
            if (aValue.is_object())
            {
                aWriter.text(key);
            }
            writeItem(aWriter, value);
        }
        aWriter.end();
    }
    else if (auto const* const text = aValue.get_ptr<std::string const*>())
    {
        aWriter.text(*text);
    }
    else if (aValue.is_binary())
    {
        aWriter.bytes({aValue.get_binary().data(), aValue.get_binary().size()});
    }
    else if (aValue.is_number_unsigned())
    {
        aWriter.number(aValue.get<std::uint64_t>());
    }
    else if (aValue.is_number_integer())
    {
        aWriter.number(aValue.get<std::int64_t>());
    }
    else
    {
        aWriter.null();
    }
}
}  // namespace

AnonymisedRecords::AnonymisedRecords(anonymise::KeyedHash const& aHash, pcapng::Section const& aHost)
    : mHost(aHost), mAnonymiser(aHash)
{
    mAnonymiser.learnHost(mHost.mHardware);
}

pcapng::Section AnonymisedRecords::section() const
{
    return {mAnonymiser.anonymisedHost(mHost.mHardware), mAnonymiser.anonymised(mHost.mSystem),
            mHost.mApplication, mHost.mComment};
}

void AnonymisedRecords::keep(Ring::Record const& aRecord)
{
    mRecords.push_back({aRecord.mTime, std::string(aRecord.mLibrary),
                        Bytes(aRecord.mContent.begin(), aRecord.mContent.end())});
}

/// Not while the program runs, which would wait for it.
void AnonymisedRecords::learn(Bytes const& aContent)
{
    Json const packet = readCbor(aContent).value_or(Json::object());
    for (char const* const key : {"arguments", "results", "data"})
    {
        if (auto const found = packet.find(key); found != packet.end())
        {
            learn(key, *found);
        }
    }
    if (packet.contains("call"))
    {
        learnAnswer(packet["call"], packet.value("arguments", Json::object()),
                    packet.value("results", Json::object()));
    }
}

/// Learns what the keys tell.
void AnonymisedRecords::learn(std::string const& aKey, Json const& aValue)
{
    if (aValue.is_structured())
    {
        for (auto const& [key, value] : aValue.items())
        {
            learn(aValue.is_object() ? key : aKey, value);
        }
    }
    else if (auto const* const text = aValue.get_ptr<std::string const*>())
    {
        learnText(aKey, *text);
    }
    else if (aValue.is_number_unsigned() && isAddressKey(aKey) && aValue <= highestAddress)
    {
        mAnonymiser.learnAddress(aValue.get<std::uint32_t>());
    }
    else if (aValue.is_binary())
    {
        Bytes const& bytes = aValue.get_binary();
        if (isNameKey(aKey) && bytes.size() == sizeOfName)
        {
            mAnonymiser.learn(anonymise::nameOf(bytes.data()));
        }
        else if (aKey == "luid")
        {
            learnDesignators({bytes.data(), bytes.size()});
        }
        else if (aKey == "buffer")  // of a link event: the record of an incident
        {
            learnNamesIn(bytes);
        }
        else
        {
            learnText(aKey, textOf(bytes.data(), bytes.size()));
        }
    }
}

void AnonymisedRecords::learnText(std::string const& aKey, std::string const& aText)
{
    mAnonymiser.learnNames(aText);
    if (std::optional<Anonymiser::Kind> const kind = Anonymiser::kindOf(aKey))
    {
        mAnonymiser.learn(*kind, aText);
    }
}

/// Learns what the bytes of an answer contain.
void AnonymisedRecords::learnAnswer(std::string const& aFunction, Json const& aArguments,
                                    Json const& aResults)
{
    Bytes const* const record = bytesAt(aResults, "record");
    if (aFunction == "VQM_GetLinkInfo" && record != nullptr)
    {
        learnRecordOfBoard(*record);
    }
    Bytes const* const response = bytesAt(aResults, "response");
    if (response == nullptr)
    {
        return;
    }
    if (aFunction == "HBA_SendScsiInquiry" || aFunction == "HBA_ScsiInquiryV2")
    {
        learnInquiry(aArguments, *response);
    }
    else if (hasNamesAnywhere(aFunction))
    {
        learnNamesIn(*response);
        if (Bytes const* const request = bytesAt(aArguments, "request"))
        {
            learnNamesIn(*request);
        }
    }
}

void AnonymisedRecords::learnRecordOfBoard(Bytes const& aRecord)
{
    using Records = QZCLibvqmRecords;
    Bytes record = aRecord;
    record.resize(std::max<std::size_t>(record.size(), Records::sgLinkInfoSize));
    mAnonymiser.learn(anonymise::nameOf(record.data() + Records::sgFirstWwnPosition));
    mAnonymiser.learn(anonymise::nameOf(record.data() + Records::sgSecondWwnPosition));
}

void AnonymisedRecords::learnInquiry(Json const& aArguments, Bytes const& aResponse)
{
    constexpr std::size_t headOfPage = 4;
    constexpr std::size_t vendorSpecific = 36;
    constexpr std::uint64_t serialNumberPage = 0x80;
    constexpr std::uint64_t identificationPage = 0x83;
    bool const isPage =
        ((numberAt(aArguments, "vital_product_data") | numberAt(aArguments, "second_byte")) & 1U) != 0;
    std::uint64_t const page = numberAt(aArguments, "page");
    std::size_t const begin = std::min(isPage ? headOfPage : vendorSpecific, aResponse.size());
    qz::Bytes const content{aResponse.data() + begin, aResponse.size() - begin};
    if (isPage && page == identificationPage)
    {
        learnDesignators(content);
    }
    // Many devices have their serial number in the vendor-specific bytes.
    else if (!isPage || page == serialNumberPage)
    {
        mAnonymiser.learn(Anonymiser::Kind::serialNumber, printableIn(content));
    }
}

void AnonymisedRecords::learnDesignators(qz::Bytes aBytes)
{
    constexpr std::size_t head = 4;
    constexpr std::size_t sizePosition = 3;
    // Zero bytes at the end are not recorded.
    for (std::size_t position = 0; position + head < aBytes.mSize;)
    {
        unsigned char const* const descriptor = aBytes.mData + position;
        position += head;
        std::size_t const size = std::min<std::size_t>(descriptor[sizePosition], aBytes.mSize - position);
        learnDesignator(descriptor, {aBytes.mData + position, size});
        position += size;
    }
}

void AnonymisedRecords::learnDesignator(unsigned char const* aDescriptor, qz::Bytes aName)
{
    constexpr unsigned int codeSet = 0x0f;
    constexpr unsigned int binary = 1;
    constexpr std::size_t shortestLong = sizeOfName + 1;
    constexpr std::size_t longest = 32;
    if ((aDescriptor[0] & codeSet) == binary)
    {
        if (aName.mSize == sizeOfName)
        {
            mAnonymiser.learn(anonymise::nameOf(aName.mData));
        }
        else if (aName.mSize >= shortestLong && aName.mSize <= longest)
        {
            mAnonymiser.learnLongName(textOf(aName.mData, aName.mSize));
        }
        return;
    }
    std::string const text = printableIn(aName);
    mAnonymiser.learnNames(text);
    if (mAnonymiser.anonymised(text) == text)
    {
        mAnonymiser.learn(Anonymiser::Kind::serialNumber, text);
    }
}

/// Names in the answers of the fabric begin at multiples of four bytes. Other bytes that look like one are replaced too.
void AnonymisedRecords::learnNamesIn(Bytes const& aBytes)
{
    constexpr std::size_t word = 4;
    Bytes bytes = aBytes;
    bytes.resize(bytes.size() + sizeOfName - 1);
    for (std::size_t position = 0; position + sizeOfName <= bytes.size();)
    {
        bool const isName = isLikeName(bytes.data() + position);
        if (isName)
        {
            mAnonymiser.learn(anonymise::nameOf(bytes.data() + position));
        }
        position += isName ? sizeOfName : word;
    }
}

void AnonymisedRecords::writeTo(RecordingFile& aFile, std::function<void(double)> const& aProgress)
{
    double const work = 2 * static_cast<double>(mRecords.size());
    double done = 0;
    for (Kept const& record : mRecords)
    {
        aProgress(done++ / work);
        learn(record.mContent);
    }
    for (; !mRecords.empty(); mRecords.pop_front())
    {
        aProgress(done++ / work);
        Kept const& record = mRecords.front();
        CborWriter content;
        writeItem(content, anonymised({}, readCbor(record.mContent).value_or(Json::object())));
        std::string const library = anonymisedPath(record.mLibrary);
        aFile.add({record.mTime, library, {content.content().data(), content.content().size()}});
    }
}

AnonymisedRecords::Json AnonymisedRecords::anonymised(std::string const& aKey, Json const& aValue) const
{
    // Names of functions.
    constexpr std::string_view originals[] = {"call", "entries", "event", "functions"};
    if (isOneOf(originals, aKey))
    {
        return aValue;
    }
    if (aValue.is_structured())
    {
        Json copy(aValue.type());
        for (auto const& [key, value] : aValue.items())
        {
            aValue.is_object() ? copy[key] = anonymised(key, value)
                               : copy.emplace_back(anonymised(aKey, value));
        }
        return copy;
    }
    if (auto const* const text = aValue.get_ptr<std::string const*>())
    {
        return aKey == "library" ? anonymisedPath(*text) : anonymisedText(aKey, *text);
    }
    if (aValue.is_number_unsigned() && isAddressKey(aKey) && aValue <= highestAddress)
    {
        return mAnonymiser.anonymisedAddress(aValue.get<std::uint32_t>());
    }
    return aValue.is_binary() ? anonymisedBytes(aKey, aValue.get_binary()) : aValue;
}

AnonymisedRecords::Json AnonymisedRecords::anonymisedBytes(std::string const& aKey, Bytes const& aBytes) const
{
    if (isNameKey(aKey) && aBytes.size() == sizeOfName)
    {
        auto const name = mAnonymiser.anonymised(anonymise::nameOf(aBytes.data()));
        return Json::binary({name.begin(), name.end()});
    }
    if (Anonymiser::kindOf(aKey))
    {
        return anonymisedText(aKey, textOf(aBytes.data(), aBytes.size()));
    }
    Bytes bytes = aBytes;
    if (aKey == "ip_address")
    {
        bytes.clear();
    }
    if (aKey == "response")
    {
        hideIpAddress(bytes);
    }
    // A name may end with zero bytes, which are not recorded, except in payloads.
    bool const isCut = aKey != "payload";
    bytes.resize(bytes.size() + (isCut ? sizeOfName - 1 : 0));
    mAnonymiser.anonymise(bytes.data(), bytes.size());
    while (isCut && !bytes.empty() && bytes.back() == 0)
    {
        bytes.pop_back();
    }
    return Json::binary(bytes);
}

/// Except for texts of a known kind, texts keep their size, because a library has limited room for them.
std::string AnonymisedRecords::anonymisedText(std::string const& aKey, std::string const& aText) const
{
    if (std::optional<Anonymiser::Kind> const kind = Anonymiser::kindOf(aKey))
    {
        return mAnonymiser.anonymised(*kind, aText);
    }
    Bytes bytes(aText.begin(), aText.end());
    mAnonymiser.anonymise(bytes.data(), bytes.size());
    return textOf(bytes.data(), bytes.size());
}

std::string AnonymisedRecords::anonymisedPath(std::string const& aLibrary) const
{
    return aLibrary == vendorLibraryPath || aLibrary == configurationPath
               ? aLibrary
               : anonymisedText("library", aLibrary);
}
}  // namespace qzsim
