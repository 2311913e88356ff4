// Runs the HBA API layer with an HBA library that answers from the input. When the input is used up, every answer is a
// success. A model of each query predicts the requests of the layer.
#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>
#include <string>

#include <arpa/inet.h>
#include <hbaapi.h>

#include "backend/common/include/Clib.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "fuzz/Fuzz.h"

namespace
{
using fuzz::expect;

constexpr HBA_HANDLE handle = 7;
constexpr unsigned int senseSize = 256;
constexpr unsigned int mostAttempts = 5;

/// Every status that has a name, one without a name, and the largest number.
HBA_STATUS statusOf(unsigned int aNumber)
{
    constexpr unsigned int numStatuses = 33;
    HBA_STATUS const status = aNumber % numStatuses;
    return status == numStatuses - 1 ? std::numeric_limits<HBA_STATUS>::max() : status;
}

/// The expected behaviour for target mappings.
class MappingModel
{
public:
    explicit MappingModel(unsigned int aRoom) : mRoom(aRoom) {}

    void take(HBA_STATUS aStatus, unsigned int aEntries)
    {
        mIsOver = aStatus != HBA_STATUS_ERROR_MORE_DATA && aStatus != HBA_STATUS_ERROR_BUSY;
        mHasSucceeded = aStatus == HBA_STATUS_OK;
        if (aStatus == HBA_STATUS_ERROR_MORE_DATA)
        {
            mRoom = aEntries;
        }
        if (aStatus == HBA_STATUS_ERROR_BUSY)
        {
            ++mNumBusy;
            mIsOver = mNumBusy == mostAttempts;
        }
    }

    unsigned int mRoom;
    unsigned long mNumBusy = 0;
    bool mIsOver = false;
    bool mHasSucceeded = false;
};

/// The expected behaviour for REPORT LUNS.
class LunsModel
{
public:
    explicit LunsModel(unsigned int aSize) : mSize(aSize) {}

    void take(HBA_STATUS aStatus, unsigned int aLength)
    {
        ++mNumAttempts;
        bool const hasList = aStatus == HBA_STATUS_OK || aStatus == HBA_STATUS_ERROR_MORE_DATA;
        bool const isRefused = hasList && aLength > 4096;
        bool const isTooLong = hasList && !isRefused && aLength + 8 > mSize;
        mSize = isTooLong ? aLength + 8 : mSize;
        bool const asksForMore = !isRefused && (isTooLong || aStatus == HBA_STATUS_ERROR_MORE_DATA);
        bool const isTransient =
            aStatus == HBA_STATUS_SCSI_CHECK_CONDITION || aStatus == HBA_STATUS_ERROR_BUSY;
        mIsOver = !asksForMore && !(isTransient && mNumAttempts < mostAttempts);
        mHasSucceeded = mIsOver && aStatus == HBA_STATUS_OK && !isRefused;
    }

    unsigned int mSize;
    unsigned int mNumAttempts = 0;
    bool mIsOver = false;
    bool mHasSucceeded = false;
};

/// The HBA library of one run.
struct HbaLibrary
{
    fuzz::Input mInput;
    std::unique_ptr<MappingModel> mMapping = {};
    std::unique_ptr<LunsModel> mLuns = {};
    HBA_STATUS mStatus = HBA_STATUS_OK;  ///< of the last answer
    unsigned int mNumCalls = 0;
    unsigned long mSleptMS = 0;
};

HbaLibrary* gLibrary = nullptr;

/// Answers a call without a model by filling the area with one byte value.
HBA_STATUS fill(void* aArea, std::size_t aSize)
{
    ++gLibrary->mNumCalls;
    std::memset(aArea, gLibrary->mInput.take(), aSize);
    gLibrary->mStatus = statusOf(gLibrary->mInput.take());
    return gLibrary->mStatus;
}

bool isZero(void const* aArea, std::size_t aSize)
{
    auto const* const bytes = static_cast<unsigned char const*>(aArea);
    return std::all_of(bytes, bytes + aSize, [](unsigned char aByte) { return aByte == 0; });
}

/// @return what the call throws as "code: text"; nothing when it returns
template <typename Exception, typename Call>
std::string refusalOf(Call const& aCall)
{
    try
    {
        aCall();
        return "";
    }
    catch (Exception const& error)
    {
        return std::to_string(error.getCode()) + ": " + error.what();
    }
}

void checkNames(QZCHbaapiAbs& aLayer)
{
    unsigned int const count = gLibrary->mInput.take() % 8;
    QZCVector<QZCString> names;
    gLibrary->mNumCalls = 0;
    gLibrary->mStatus = HBA_STATUS_OK;
    std::string const refusal =
        refusalOf<QZCExitConditionEx>([&] { aLayer.HA_GetAdapterNames(count, names); });
    bool const hasFailed = gLibrary->mStatus != HBA_STATUS_OK;
    expect(refusal == (hasFailed ? "19: HBA_GetAdapterName method failed" : ""),
           "a failing name is reported");
    expect(hasFailed || gLibrary->mNumCalls == count, "every name is requested");
    expect(names.size() == gLibrary->mNumCalls - (hasFailed ? 1 : 0),
           "the names before the failing one are kept");
}

std::string refusalOfAttributes(HBA_STATUS aStatus, bool aHasPorts)
{
    switch (aStatus)
    {
        case HBA_STATUS_OK:
            return aHasPorts ? "" : "802: ZERO Ports on the Adapter";
        case HBA_STATUS_ERROR_NOT_SUPPORTED:
            return "802: HBA_GetAdapterAttributes encounter non-supported Adapter";
        default:
            return "802: HBA_GetAdapterAttributes method failed";
    }
}

void checkPorts(QZCHbaapiAbs& aLayer, HBA_ADAPTERATTRIBUTES const& aAttributes)
{
    unsigned int number = 0;
    std::unique_ptr<HBA_PORTATTRIBUTES[]> ports;
    gLibrary->mNumCalls = 0;
    std::string const refusal =
        refusalOf<QZCHbaapiEx>([&] { ports.reset(aLayer.HA_GetAdapterPorts(handle, &aAttributes, number)); });
    bool const hasFailed = gLibrary->mStatus != HBA_STATUS_OK;
    expect(refusal == (hasFailed ? "802: HBA_GetAdapterPortAttributes method failed" : ""),
           "a failing port is reported");
    expect(number == aAttributes.NumberOfPorts, "the number of ports is that of the attributes");
    expect(hasFailed || gLibrary->mNumCalls == number, "every port is requested");
}

void checkAttributes(QZCHbaapiAbs& aLayer)
{
    unsigned int const numPorts = gLibrary->mInput.size() != 0 ? gLibrary->mInput.data()[0] % 8 : 0;
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> attributes;
    std::string const refusal =
        refusalOf<QZCHbaapiEx>([&] { attributes.reset(aLayer.HA_GetAdapterAttributes(handle)); });
    expect(refusal == refusalOfAttributes(gLibrary->mStatus, numPorts != 0),
           "attributes are returned or refused according to the status");
    if (attributes)
    {
        expect(attributes->NumberOfPorts == numPorts, "attributes are returned unchanged");
        checkPorts(aLayer, *attributes);
    }
}

HBA_FCPTargetMapping* newMapping(unsigned int aEntries)
{
    std::size_t const size = offsetof(HBA_FCPTargetMapping, entry) + aEntries * sizeof(HBA_FCPSCSIENTRY);
    auto* const mapping = static_cast<HBA_FCPTargetMapping*>(std::calloc(1, size));
    mapping->NumberOfEntries = aEntries;
    return mapping;
}

void checkMappings(QZCHbaapiAbs& aLayer)
{
    unsigned int const entries = gLibrary->mInput.take();
    HBA_FCPTargetMapping* mapping = entries != 0 ? newMapping(entries) : nullptr;
    HBA_FCPTargetMapping* returned = nullptr;
    gLibrary->mMapping = std::make_unique<MappingModel>(entries != 0 ? entries : 256);
    gLibrary->mSleptMS = 0;
    std::string const refusal =
        refusalOf<QZCHbaapiEx>([&] { returned = aLayer.HA_GetTargetMappings(handle, mapping); });
    MappingModel const& model = *gLibrary->mMapping;
    expect(model.mIsOver, "mappings are requested until the answer is final");
    expect(refusal == (model.mHasSucceeded ? "" : "802: HBA_GetFcpTargetMapping method failed"),
           "mappings are returned or refused according to the status");
    expect((mapping != nullptr) == model.mHasSucceeded && returned == mapping,
           "a success returns a block and a failure none");
    expect(gLibrary->mSleptMS == 1000 * model.mNumBusy, "the layer waits one second after every busy answer");
    std::free(mapping);
}

void checkLuns(QZCHbaapiAbs& aLayer)
{
    unsigned int size = 4U + gLibrary->mInput.take();
    void* buffer = std::malloc(size);
    std::memset(buffer, 0x5a, size);
    gLibrary->mLuns = std::make_unique<LunsModel>(size);
    std::string const refusal =
        refusalOf<QZCHbaapiEx>([&] { aLayer.HA_SendReportLUNs(handle, HBA_WWN{}, &buffer, &size); });
    LunsModel const& model = *gLibrary->mLuns;
    expect(model.mIsOver, "LUNs are asked for until the answer is final");
    expect(refusal == (model.mHasSucceeded ? "" : "802: HBA_SendReportLUNs method failed"),
           "LUNs come or are refused");
    expect(size == model.mSize, "the size is that of the last block");
    std::memset(buffer, 0, size);
    std::free(buffer);
}
}  // namespace

extern "C"
{
    HBA_STATUS HBA_GetAdapterName(HBA_UINT32, char* aName) { return fill(aName, 256); }

    HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE, HBA_ADAPTERATTRIBUTES* aAttributes)
    {
        HBA_STATUS const status = fill(aAttributes, sizeof *aAttributes);
        aAttributes->NumberOfPorts = static_cast<unsigned char>(aAttributes->Manufacturer[0]) % 8;
        return status;
    }

    HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE, HBA_UINT32, HBA_PORTATTRIBUTES* aAttributes)
    {
        return fill(aAttributes, sizeof *aAttributes);
    }

    HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE, HBA_FCPTARGETMAPPING* aMapping)
    {
        MappingModel& model = *gLibrary->mMapping;
        expect(!model.mIsOver, "no request follows a final answer");
        expect(aMapping->NumberOfEntries == model.mRoom,
               "the request has the room that the last answer demanded");
        expect(isZero(aMapping->entry, model.mRoom * sizeof *aMapping->entry), "the block is zeroed");
        HBA_STATUS const status = statusOf(gLibrary->mInput.take());
        unsigned int const number = gLibrary->mInput.take();
        std::memset(aMapping->entry, 0xa5, model.mRoom * sizeof *aMapping->entry);
        // The layer ends the process when fewer than two entries are demanded.
        aMapping->NumberOfEntries = status == HBA_STATUS_ERROR_MORE_DATA ? 2 + 2 * number : number;
        model.take(status, aMapping->NumberOfEntries);
        return status;
    }

    HBA_STATUS HBA_SendReportLUNs(HBA_HANDLE, HBA_WWN, void* aResponse, HBA_UINT32 aSize, void* aSense,
                                  HBA_UINT32 aSenseSize)
    {
        LunsModel& model = *gLibrary->mLuns;
        expect(!model.mIsOver, "no request follows a final answer");
        expect(aSize == model.mSize && aSenseSize == senseSize, "the blocks have the expected sizes");
        expect(model.mNumAttempts != 0 || (isZero(aResponse, aSize) && isZero(aSense, aSenseSize)),
               "the blocks of the first request are zeroed");
        HBA_STATUS const status = statusOf(gLibrary->mInput.take());
        unsigned int const high = gLibrary->mInput.take();
        unsigned int const length = high << 8 | gLibrary->mInput.take();
        std::memset(aSense, 0xa5, aSenseSize);
        std::memset(aResponse, 0xa5, aSize);
        unsigned int const written = htonl(length);
        std::memcpy(aResponse, &written, sizeof written);
        model.take(status, length);
        return status;
    }
}

/// Replaces the framework's function, so that the fuzzer does not wait.
void ClibSleepMS(unsigned long aMilliseconds) { gLibrary->mSleptMS += aMilliseconds; }

void fuzz::check(Input aInput)
{
    HbaLibrary library{aInput};
    gLibrary = &library;
    QZCHbaapiAbs layer;
    void (*const checks[])(QZCHbaapiAbs&) = {checkNames, checkAttributes, checkMappings, checkLuns};
    while (library.mInput.size() != 0)
    {
        checks[library.mInput.take() % std::size(checks)](layer);
    }
}
