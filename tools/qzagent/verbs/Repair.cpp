#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include <fmt/format.h>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/DamageReport.h"
#include "tools/qzagent/capture/RecordSource.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/convert/CaptureCopy.h"
#include "tools/qzagent/convert/PcapngRepair.h"
#include "tools/qzagent/show/ShowOptions.h"

namespace qzagent
{
namespace
{
struct RepairOptions
{
    std::string mPath;
    std::string mOutput;
    CaptureOptions mCapture;
};

std::uint64_t repairPcapng(CaptureFile& aFile, std::size_t aLargest, CaptureCopy& aCopy,
                           DamageReport& aDamage)
{
    PcapngRepair repair(
        aFile, aLargest, [&](pcapng::Bytes aBytes) { aCopy.write(aBytes); },
        [&](std::string const& aText) { aDamage.add(aFile.name() + ": " + aText); });
    repair.run();
    return repair.packets();
}

std::uint64_t repairRecords(CaptureFile& aFile, std::size_t aLargest, CaptureCopy& aCopy,
                            DamageReport& aDamage)
{
    std::uint64_t records = 0;
    RecordSource source(aFile, aLargest);
    while (std::optional<CaptureItem> const item = source.next(false))
    {
        if (auto const* const damage = std::get_if<CaptureDamage>(&*item))
        {
            aDamage.add(damage->mText);
            continue;
        }
        auto const* const event = std::get_if<CaptureEvent>(&*item);
        aCopy.write(event != nullptr ? event->mEncoded : std::get<CaptureLatencies>(*item).mEncoded);
        ++records;
    }
    return records;
}

Answer repair(Setting const& aSetting, RepairOptions const& aOptions)
{
    StopSignals const signals;
    CaptureFile file(aOptions.mPath, CaptureFile::Reading::toTheEnd, aOptions.mCapture.mForm,
                     signals.descriptor());
    std::optional<CaptureForm> const form = file.form();
    if (form == CaptureForm::json)
    {
        throw CaptureError(file.name() + " has lines of JSON, which qzagent convert reads");
    }
    if (form == CaptureForm::report)
    {
        throw CaptureError(file.name() + ": this is HTML, which cannot be repaired");
    }
    CaptureCopy copy(aOptions.mOutput);
    DamageReport damage(aSetting.mReport, DamageReport::Severity::note);
    std::uint64_t const packets = form == CaptureForm::pcapng
                                      ? repairPcapng(file, aOptions.mCapture.mLargest, copy, damage)
                                      : repairRecords(file, aOptions.mCapture.mLargest, copy, damage);
    damage.finish();
    if (packets == 0 && damage.count() != 0)
    {
        throw CaptureError(file.name() + " has no whole record");
    }
    copy.finish();
    return {{{"written", packets}, {"damaged", damage.count()}},
            fmt::format("wrote {} records to {}; places of damage: {}\n", packets, aOptions.mOutput,
                        damage.count())};
}
}  // namespace

void addRepair(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<RepairOptions>();
    ArgumentList arguments =
        aCommandLine.addVerb("repair", "Write what is whole in a damaged capture to a new file",
                             "  qzagent repair events.pcapng --output whole.pcapng\n"
                             "                             every whole block, before and behind damage\n",
                             [options](Setting const& aSetting)
                             { return runCopy(aSetting, [&] { return repair(aSetting, *options); }); });
    arguments.addPositional("FILE", options->mPath, "The capture; - for standard input");
    arguments.addRequiredText("--output", "NEW", options->mOutput, "The new file, which must not exist");
    addCaptureOptions(arguments, options->mCapture);
}
}  // namespace qzagent
