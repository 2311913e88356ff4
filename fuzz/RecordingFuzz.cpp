// Reads recordings, and fills the memory of a program from the answers in them. Every question of a recording is found
// again, and no answer leaves its memory.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "fuzz/Fuzz.h"
#include "simulator/recording/Parts.h"
#include "simulator/recording/Recording.h"
#include "simulator/recording/ScenarioCheck.h"
#include "simulator/recording/ScenarioText.h"
#include "toml/TomlError.h"

namespace
{
using fuzz::expect;

class Content : public pcapng::Input
{
public:
    explicit Content(fuzz::Input const& aInput) : mBytes(aInput.data()), mSize(aInput.size()) {}

    std::size_t read(unsigned char* aBytes, std::size_t aSize) override
    {
        std::size_t const size = std::min(aSize, mSize);
        std::copy_n(mBytes, size, aBytes);
        mBytes += size;
        mSize -= size;
        return size;
    }

private:
    std::uint8_t const* mBytes;
    std::size_t mSize;
};

/// A list of mappings with room for two.
struct Mappings
{
    HBA_FCPTARGETMAPPING mList;
    HBA_FCPSCSIENTRY mSecond;
};

/// The sanitizers report a write outside of these objects.
void fillMemory(qzsim::Json const& aResults)
{
    HBA_ADAPTERATTRIBUTES adapter{};
    HBA_PORTATTRIBUTES port{};
    HBA_PORTSTATISTICS statistics{};
    std::array<char, 8> name{};
    std::array<unsigned char, 16> response{};
    HBA_UINT32 size = response.size();
    HBA_UINT8 status = 0;
    auto mappings = std::vector<Mappings>(1);
    mappings[0].mList.NumberOfEntries = 2;
    qzsim::Out<HBA_ADAPTERATTRIBUTES>{"attributes", &adapter}.fill(aResults);
    qzsim::Out<HBA_PORTATTRIBUTES>{"attributes", &port}.fill(aResults);
    qzsim::Out<HBA_PORTSTATISTICS>{"statistics", &statistics}.fill(aResults);
    qzsim::Out<HBA_UINT8>{"scsi_status", &status}.fill(aResults);
    qzsim::OutText{"name", name.data(), name.size()}.fill(aResults);
    qzsim::OutSizedBytes{"response", "response_size", response.data(), &size}.fill(aResults);
    qzsim::OutList<HBA_FCPTARGETMAPPING>{"mappings", &mappings[0].mList}.fill(aResults);
    expect(::strnlen(name.data(), name.size()) < name.size(), "a text ends within its room");
}

void checkDifferences(qzsim::Recording const& aRecording, std::string const& aScenario)
{
    try
    {
        for (std::string const& difference : qzsim::differencesOf(aRecording, aScenario))
        {
            expect(difference.find('\n') == std::string::npos, "a difference is one line");
        }
    }
    catch (tomlfile::TomlError const&)  // the scenario is invalid
    {
    }
}
}  // namespace

void fuzz::check(Input aInput)
{
    Content content(aInput);
    try
    {
        qzsim::Recording const recording(content);
        for (qzsim::RecordedCall const& call : recording.calls())
        {
            expect(recording.question(call.mLibrary, call.mFunction, call.mArguments) == call.mQuestion,
                   "a recorded call has an answer");
            qzsim::describeCall(call.mFunction, call.mArguments);
            fillMemory(call.mResults);
        }
        std::string const scenario = qzsim::scenarioOf(recording);
        expect(!scenario.empty(), "a recording has a scenario");
        checkDifferences(recording, scenario);
    }
    catch (qzsim::RecordingError const&)
    {
    }
}
