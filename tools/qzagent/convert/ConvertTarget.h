/// @file
/// The forms into which captures are converted.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "pcapng/Blocks.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
/// Writes the items of a capture in one form, and remembers what the form has no place for.
class ConvertTarget
{
public:
    using Write = std::function<void(pcapng::Bytes)>;

    explicit ConvertTarget(Write const& aWrite) : mWrite(aWrite) {}
    virtual ~ConvertTarget() = default;
    ConvertTarget(ConvertTarget const&) = delete;
    ConvertTarget& operator=(ConvertTarget const&) = delete;

    virtual void addSection(pcapng::Section const& aSection) = 0;
    virtual void add(CaptureEvent const& aEvent) = 0;
    virtual void add(CaptureCounts const& aCounts) = 0;
    virtual void add(CaptureOther const& aOther) = 0;
    virtual void finish() {}

    /// What was lost or replaced, such as "times (5), sections (2)"; empty when nothing was.
    std::string losses() const;

protected:
    void write(pcapng::Bytes aBytes) { mWrite(aBytes); }
    /// Something that a form has no place for.
    enum class Loss
    {
        boards,
        drops,
        others,
        sections,
        statistics,
        systems,
        times,
        unknownTimes
    };

    void lose(Loss aLoss) { ++mLosses[aLoss]; }

private:
    Write const mWrite;
    std::map<Loss, std::uint64_t> mLosses;
};

/// @param aForm pcapng, records or json
std::unique_ptr<ConvertTarget> makeTarget(CaptureForm aForm, ConvertTarget::Write const& aWrite);
}  // namespace qzagent
