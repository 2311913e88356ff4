#include "tests/soak/EndToEnd.h"

#include <cstdint>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <vector>

#include <hbaapi.h>
#include <poll.h>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/HbaApi.h"
#include "agentkit/include/ScopeEvents.h"
#include "agentkit/include/VqmLibrary.h"
#include "agentkit/include/Wwn.h"
#include "backend/common/include/Buffer.h"
#include "backend/common/include/Clib.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Exception.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "simulator/include/QzEvent.h"
#include "tests/support/QueuedEvents.h"

// Replaces the framework's function, so that the soak does not wait for a busy adapter.
void ClibSleepMS(unsigned long) {}

namespace
{
using Registrations = std::vector<qz::VqmRegistration>;

constexpr int patience = 10000;  // milliseconds without an event

/// Encodes the record, decodes the result, and compares by encoding again.
template <typename Record>
void checkRoundTrip(Record const& aRecord, Record& aOther, Yield& aYield)
{
    QZCEncodableOutStream there;
    aRecord.encode(there);
    QZCBuffer const& bytes = there.getEncoded();
    QZCEncodableInStream in(bytes, bytes.getLength());
    aOther.decode(in);
    QZCEncodableOutStream back;
    aOther.encode(back);
    QZCBuffer const& same = back.getEncoded();
    unsigned char const* const first = bytes;
    unsigned char const* const second = same;
    if (bytes.getLength() != same.getLength() || std::memcmp(first, second, bytes.getLength()) != 0)
    {
        throw std::runtime_error("a decoded record differs");
    }
    ++aYield.mRecords;
}

/// Runs the step, and counts it if it fails.
template <typename Step>
void attempt(Yield& aYield, Step aStep)
{
    try
    {
        aStep();
    }
    catch (QZCException const&)
    {
        ++aYield.mRefusals;
    }
}

void checkName(HBA_WWN const& aName, Yield& aYield)
{
    QZCWorldWideName other;
    checkRoundTrip(QZCWorldWideName(aName.wwn), other, aYield);
}

void queryPorts(qz::Adapter& aAdapter, Yield& aYield)
{
    for (HBA_PORTATTRIBUTES const& port : aAdapter.ports())
    {
        checkName(port.PortWWN, aYield);
    }
}

void queryTargets(qz::Adapter& aAdapter, Yield& aYield)
{
    for (HBA_FCPSCSIENTRY const& mapping : aAdapter.targetMappings())
    {
        checkName(mapping.FcpId.PortWWN, aYield);
    }
}

void reportLuns(qz::Adapter& aAdapter, HBA_UINT8 aTarget)
{
    aAdapter.reportLuns(qz::Wwn(HBA_WWN{{0x50, 0, 0, 0, 0xab, 0, 0, aTarget}}));
}

void queryAdapter(qz::HbaApi& aApi, QZCString const& aName, Yield& aYield)
{
    qz::Adapter adapter(aApi, aName.get());
    adapter.refresh();
    attempt(aYield, [&] { queryPorts(adapter, aYield); });
    attempt(aYield, [&] { queryTargets(adapter, aYield); });
    attempt(aYield, [&] { reportLuns(adapter, 0x01); });
    attempt(aYield, [&] { reportLuns(adapter, 0x41); });
}

/// Registers the board, and sets its names.
void registerBoard(qz::VqmEnvironment& aEnvironment, unsigned int aNumber, qz::EventQueue& aQueue,
                   qz::BoardNames& aNames, Registrations& aRegistrations, Yield& aYield)
{
    aNames = aEnvironment.names(aNumber);
    auto const any = qz::makeScopeEvent(QZ_ANY_CATEGORY, QZ_ANY_CATEGORY);
    aRegistrations.push_back(qz::VqmRegistration::quazor(aEnvironment.library(), aNumber, aNames.mSecond, any,
                                                         &aQueue, &takeEvent));
    aYield.mRefusals += aRegistrations.back().isActive() ? 0 : 1;
}

void checkEvent(qz::Event const& aEvent, qz::BoardNames const& aBoard, Yield& aYield)
{
    auto const length = static_cast<unsigned int>(aEvent.mPayload.size());
    QZCScopeData const data(kindOf(aEvent.mHead), aEvent.mPayload.data(), length, length, aBoard.mFirst,
                            aBoard.mSecond);
    QZCScopeData other(qz::makeScopeEvent(0, 0));
    checkRoundTrip(data, other, aYield);
}

void takeEvents(qz::EventQueue& aQueue, std::uint64_t aEvents, std::vector<qz::BoardNames> const& aBoards,
                Yield& aYield)
{
    qz::Event event{};
    for (std::uint64_t taken = 0; taken < aEvents;)
    {
        if (aQueue.pop(event))
        {
            checkEvent(event, aBoards.at(event.mHead.mBoard), aYield);
            ++taken;
            continue;
        }
        pollfd queue{aQueue.descriptor(), POLLIN, 0};
        if (::poll(&queue, 1, patience) == 0)
        {
            throw std::runtime_error("no event arrived for 10 seconds");
        }
    }
}
}  // namespace

void queryAdapters(Yield& aYield)
{
    qz::HbaApi api;
    QZCVector<QZCString> names;
    api.layer().HA_GetAdapterNames(api.numberOfAdapters(), names);
    for (QZCString const& name : names)
    {
        attempt(aYield, [&] { queryAdapter(api, name, aYield); });
    }
}

void watchBoards(std::uint64_t aEvents, Yield& aYield)
{
    qz::EventQueue queue(65536, 16 * 1024 * 1024);
    qz::VqmLibrary library;
    qz::VqmEnvironment environment(library);
    std::vector<qz::BoardNames> boards(environment.numberOfBoards());
    Registrations registrations;
    for (unsigned int number = 0; number < boards.size(); ++number)
    {
        attempt(aYield,
                [&] { registerBoard(environment, number, queue, boards[number], registrations, aYield); });
    }
    takeEvents(queue, aEvents, boards, aYield);
}
