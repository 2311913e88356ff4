#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/ScopeDataView.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/capture/Capture.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/HexDump.h"
#include "tools/qzagent/capture/LatencyRecord.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/latency/LatencyChart.h"
#include "tools/qzagent/latency/LatencyJson.h"

namespace qzagent
{
namespace
{
constexpr std::size_t blockSize = 65536;

/// Number and position of a record in its capture.
struct Place
{
    std::uint64_t mNumber;    ///< from 0
    std::uint64_t mPosition;  ///< encoded bytes before the record
};

std::string textOf(Place const& aPlace, qz::ScopeDataView const& aRecord)
{
    std::string text = fmt::format("record {} at byte {}: category {}, subcategory {}", aPlace.mNumber,
                                   aPlace.mPosition, aRecord.category(), aRecord.subcategory());
    if (aRecord.hasNames())
    {
        text += fmt::format(", names {} and {}", aRecord.first()->text(), aRecord.second()->text());
    }
    if (!aRecord.payload())
    {
        return text + ", no payload\n";
    }
    return text + fmt::format(", payload of {} bytes\n", aRecord.payload()->mSize) +
           hexDumpOf(*aRecord.payload());
}

/// Formatted directly, which is faster: no value needs escaping, and there can be millions of records.
std::string jsonOf(Place const& aPlace, qz::ScopeDataView const& aRecord)
{
    std::string json = fmt::format(
        R"({{"record":{},"position_bytes":{},"size_bytes":{},"category":{},"subcategory":{})", aPlace.mNumber,
        aPlace.mPosition, aRecord.size(), aRecord.category(), aRecord.subcategory());
    if (aRecord.hasNames())
    {
        json += fmt::format(R"(,"first_wwn":"{}","second_wwn":"{}")", aRecord.first()->text(),
                            aRecord.second()->text());
    }
    if (aRecord.payload())
    {
        json += fmt::format(R"(,"payload":"{}")", hexOf(*aRecord.payload()));
    }
    return json + "}\n";
}

std::string textOf(Place const& aPlace, LatencyRecord const& aRecord, std::size_t aWidth)
{
    QZCLatencyData const data = aRecord.data();
    return fmt::format("record {} at byte {}: {} I/Os, search type {}, base {}, step {}\n", aPlace.mNumber,
                       aPlace.mPosition, data.getIoCount(), aRecord.searchType(), data.getBase(),
                       data.getStep()) +
           chartOf(data, aWidth);
}

std::string jsonOf(Place const& aPlace, LatencyRecord const& aRecord)
{
    QZCLatencyData const data = aRecord.data();
    nlohmann::ordered_json const json{{"record", aPlace.mNumber},
                                      {"position_bytes", aPlace.mPosition},
                                      {"size_bytes", aRecord.size()},
                                      {"io_count", data.getIoCount()},
                                      {"search_type", aRecord.searchType()},
                                      {"base", data.getBase()},
                                      {"step", data.getStep()},
                                      {"latency_record", jsonOfRecord(data)}};
    return json.dump() + "\n";
}

/// Writes the records to standard output in blocks.
class RecordPrinter
{
public:
    explicit RecordPrinter(Setting const& aSetting) : mSetting(aSetting) {}

    void add(std::uint64_t aPosition, qz::ScopeDataView const& aRecord)
    {
        Place const place{mCount++, aPosition};
        add(mSetting.mIsJson ? jsonOf(place, aRecord) : textOf(place, aRecord));
    }

    void add(std::uint64_t aPosition, LatencyRecord const& aRecord)
    {
        Place const place{mCount++, aPosition};
        add(mSetting.mIsJson ? jsonOf(place, aRecord) : textOf(place, aRecord, mSetting.mOutput.width()));
    }

    void flush()
    {
        mSetting.mOutput.write(mBlock);
        mBlock.clear();
    }

    /// Whether nobody reads what is printed.
    bool isAbandoned() const { return mSetting.mOutput.isAbandoned(); }

    std::uint64_t count() const { return mCount; }

private:
    void add(std::string const& aText)
    {
        mBlock += aText;
        if (mBlock.size() >= blockSize)
        {
            flush();
        }
    }

    Setting const& mSetting;
    std::uint64_t mCount = 0;
    std::string mBlock;
};

/// @param aNext the function that reads the next record
template <typename Next>
void printAll(RecordPrinter& aPrinter, Capture& aCapture, Next aNext)
{
    while (auto const record = aPrinter.isAbandoned() ? std::nullopt : (aCapture.*aNext)())
    {
        aPrinter.add(aCapture.position(), *record);
    }
}

void showAll(Setting const& aSetting, Capture& aCapture)
{
    RecordPrinter printer(aSetting);
    try
    {
        if (aCapture.hasLatencies())
        {
            printAll(printer, aCapture, &Capture::nextLatencies);
        }
        else
        {
            printAll(printer, aCapture, &Capture::next);
        }
    }
    catch (CaptureError const&)
    {
        printer.flush();
        throw;
    }
    printer.flush();
    if (printer.count() == 0)
    {
        aSetting.mReport.addNote("no records in " + aCapture.name());
    }
}

/// Writes its output itself: with --json each record is a separate document, without an envelope.
std::optional<Answer> show(Setting const& aSetting, std::string const& aPath)
{
    try
    {
        Capture capture(aPath);
        showAll(aSetting, capture);
    }
    catch (std::exception const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return {};
}
}  // namespace

void addShow(CommandLine& aCommandLine)
{
    auto const path = std::make_shared<std::string>();
    ArgumentList arguments =
        aCommandLine.addVerb("show", "Show the records of a capture or of latency data",
                             "  qzagent show events.capture\n"
                             "                             each record with its payload\n"
                             "  qzagent show latency.data  the records of latency --output\n",
                             [path](Setting const& aSetting) { return show(aSetting, *path); });
    arguments.addPositional(
        "FILE", *path, "The capture or latency data, encoded or as hexadecimal text; - for standard input");
}
}  // namespace qzagent
