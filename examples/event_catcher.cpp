// Writes the next three events of category 3, subcategory 7, from any board, to standard output as scope data.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <vector>

#include <hbaapi.h>
#include <poll.h>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/ScopeEvents.h"
#include "agentkit/include/VqmLibrary.h"
#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "simulator/include/QzEvent.h"

namespace
{
constexpr unsigned int wanted = 3;

/// Runs on whatever thread the vendor library chooses, so it only copies.
void receive(unsigned int aBoard, HBA_wwn, unsigned int aCategory, unsigned int aSubcategory, void* aQueue,
             QZ_event* aEvent)
{
    qz::EventHead const head{std::chrono::system_clock::now(), aBoard, aCategory, aSubcategory};
    static_cast<qz::EventQueue*>(aQueue)->push(head, aEvent->mPayload, aEvent->mLength);
}

qz::Event next(qz::EventQueue& aQueue)
{
    qz::Event event;
    while (!aQueue.pop(event))
    {
        pollfd arrival{aQueue.descriptor(), POLLIN, 0};
        ::poll(&arrival, 1, -1);
    }
    return event;
}
}  // namespace

int main()
try
{
    // The queue outlives the library, which may call back until it is freed.
    qz::EventQueue queue(1000, 1 << 20, wanted);
    qz::VqmLibrary library;
    qz::VqmEnvironment environment(library);
    QZCPointer<QZCScopeEvent> const kind = qz::makeScopeEvent(3, 7);
    std::vector<qz::VqmRegistration> registrations;
    unsigned int const boards = environment.supportsQuazorEvents() ? environment.numberOfBoards() : 0;
    for (unsigned int board = 0; board < boards; ++board)
    {
        registrations.push_back(qz::VqmRegistration::quazor(library, board, environment.names(board).mSecond,
                                                            kind, &queue, &receive));
    }
    if (std::none_of(registrations.begin(), registrations.end(),
                     [](auto const& aOne) { return aOne.isActive(); }))
    {
        std::fputs("event_catcher: no board supports such events\n", stderr);
        return 1;
    }
    for (unsigned int i = 0; i < wanted; ++i)
    {
        qz::Event const event = next(queue);
        unsigned int const length = static_cast<unsigned int>(event.mPayload.size());
        QZCEncodableOutStream encoded;
        QZCScopeData(kind, event.mPayload.data(), length, length).encode(encoded);
        QZCBuffer const& bytes = encoded.getEncoded();
        std::fwrite(bytes, 1, bytes.getLength(), stdout);
    }
}
catch (std::exception const& exception)
{
    std::fprintf(stderr, "event_catcher: %s\n", exception.what());
    return 1;
}
