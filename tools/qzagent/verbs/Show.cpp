#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "agentkit/include/ScopeDataView.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/capture/Capture.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/HexDump.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Report.h"

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
    std::string json =
        fmt::format(R"({{"record":{},"position":{},"size":{},"category":{},"subcategory":{})", aPlace.mNumber,
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

/// Writes the records to standard output in blocks.
class RecordPrinter
{
public:
    explicit RecordPrinter(Setting const& aSetting) : mSetting(aSetting) {}

    void add(std::uint64_t aPosition, qz::ScopeDataView const& aRecord)
    {
        Place const place{mCount++, aPosition};
        mBlock += mSetting.mIsJson ? jsonOf(place, aRecord) : textOf(place, aRecord);
        if (mBlock.size() >= blockSize)
        {
            flush();
        }
    }

    void flush()
    {
        mSetting.mOutput.write(mBlock);
        mBlock.clear();
    }

    std::uint64_t count() const { return mCount; }

private:
    Setting const& mSetting;
    std::uint64_t mCount = 0;
    std::string mBlock;
};

void showAll(Setting const& aSetting, Capture& aCapture)
{
    RecordPrinter printer(aSetting);
    try
    {
        while (std::optional<qz::ScopeDataView> const record =
                   aSetting.mOutput.isAbandoned() ? std::nullopt : aCapture.next())
        {
            printer.add(aCapture.position(), *record);
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
        aCommandLine.addVerb("show", "Show the records of a capture",
                             "  qzagent show events.capture\n"
                             "                             each record with its payload\n",
                             [path](Setting const& aSetting) { return show(aSetting, *path); });
    arguments.addPositional("FILE", *path,
                            "The capture, encoded or as hexadecimal text; - for standard input");
}
}  // namespace qzagent
