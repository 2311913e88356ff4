#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include <fmt/format.h>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/DamageReport.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/convert/CaptureCopy.h"
#include "tools/qzagent/convert/ConvertTarget.h"
#include "tools/qzagent/show/ShowOptions.h"

namespace qzagent
{
namespace
{
struct ConvertOptions
{
    std::string mPath;
    std::string mOutput;
    CaptureForm mForm = CaptureForm::pcapng;
    CaptureOptions mCapture;
};

/// Passes the items of a capture to a target.
class Conversion
{
public:
    Conversion(ConvertTarget& aTarget, DamageReport& aDamage) : mTarget(aTarget), mDamage(aDamage) {}

    [[noreturn]] void operator()(CaptureLatencies const&) const
    {
        throw CaptureError("latency data has no events to convert");
    }

    void operator()(CaptureEvent const& aEvent)
    {
        mTarget.add(aEvent);
        mEvents += aEvent.mRecord ? 1 : 0;
    }
    void operator()(CaptureSectionStart const& aSection) { mTarget.addSection(*aSection.mSection); }
    void operator()(CaptureCounts const& aCounts) { mTarget.add(aCounts); }
    void operator()(CaptureOther const& aOther) { mTarget.add(aOther); }
    void operator()(CaptureDamage const& aDamage) { mDamage.add(aDamage.mText); }

    std::uint64_t events() const { return mEvents; }

private:
    ConvertTarget& mTarget;
    DamageReport& mDamage;
    std::uint64_t mEvents = 0;
};

Answer convert(Setting const& aSetting, ConvertOptions const& aOptions)
{
    StopSignals const signals;
    CaptureOptions options = aOptions.mCapture;
    options.mStop = signals.descriptor();
    CaptureInput input(aOptions.mPath, options);
    CaptureCopy copy(aOptions.mOutput);
    std::unique_ptr<ConvertTarget> const target =
        makeTarget(aOptions.mForm, [&](pcapng::Bytes aBytes) { copy.write(aBytes); });
    DamageReport damage(aSetting.mReport, DamageReport::Severity::error);
    Conversion conversion(*target, damage);
    while (std::optional<CaptureItem> const item = input.next())
    {
        std::visit(conversion, *item);
    }
    target->finish();
    copy.finish();
    damage.finish();
    if (!target->losses().empty())
    {
        aSetting.mReport.addNote("the new form has no place for: " + target->losses());
    }
    return {{{"written", conversion.events()}, {"damaged", damage.count()}},
            fmt::format("wrote {} events to {}\n", conversion.events(), aOptions.mOutput)};
}

std::optional<CaptureForm> targetNamed(std::string const& aName)
{
    std::optional<CaptureForm> const form = formNamed(aName);
    return form == CaptureForm::hexadecimal ? std::nullopt : form;
}
}  // namespace

void addConvert(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<ConvertOptions>();
    ArgumentList arguments =
        aCommandLine.addVerb("convert", "Write a capture to a new file in another form",
                             "  qzagent convert events.capture --output events.pcapng\n"
                             "                             a file that other tools can read\n"
                             "  qzagent convert events.pcapng --to json --output events.json\n"
                             "                             a JSON object on each line\n",
                             [options](Setting const& aSetting)
                             { return runCopy(aSetting, [&] { return convert(aSetting, *options); }); });
    arguments.addPositional("FILE", options->mPath, "The capture; - for standard input");
    arguments.addRequiredText("--output", "NEW", options->mOutput, "The new file, which must not exist");
    arguments.addParsed("--to", "FORM", &targetNamed, "pcapng, records or json", options->mForm,
                        "The form of the new file: pcapng, records or json; pcapng by default");
    addCaptureOptions(arguments, options->mCapture);
}
}  // namespace qzagent
