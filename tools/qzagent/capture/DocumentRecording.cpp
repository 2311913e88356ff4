#include "tools/qzagent/capture/DocumentRecording.h"

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "pcapng/BlockWriter.h"
#include "tools/qzagent/capture/AppendedFile.h"
#include "tools/qzagent/capture/CaptureDocument.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/DocumentPieces.h"
#include "tools/qzagent/capture/PcapngFile.h"
#include "tools/qzagent/capture/SectionOfHost.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/NewFile.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
DocumentRecording::DocumentRecording(Setting const& aSetting, std::optional<std::string> const& aPath)
    : mSetting(aSetting), mPath(aPath)
{
    if (!mPath)
    {
        return;
    }
    try
    {
        check();
    }
    catch (std::exception const& error)
    {
        mSetting.mReport.addError(ExitCode::failed, error.what());
        mIsPossible = false;
    }
}

void DocumentRecording::finish(std::function<nlohmann::ordered_json()> const& aKeys)
{
    if (!mPath || !mIsPossible)
    {
        return;
    }
    try
    {
        append(aKeys());
    }
    catch (std::exception const& error)
    {
        mSetting.mReport.addError(ExitCode::failed, error.what());
    }
}

void DocumentRecording::check() const
{
    struct stat status = {};
    if (::stat(mPath->c_str(), &status) != 0)
    {
        // It is removed again.
        NewFile const attempt(*mPath);
        return;
    }
    if (formOfFile(*mPath).value_or(CaptureForm::pcapng) != CaptureForm::pcapng)
    {
        throw CaptureWriteError(fmt::format("cannot write {}: it is not a pcapng file", *mPath));
    }
    PcapngFile const file(*mPath);
    addNote(file.damageNote());
    addNote(file.repairNote());
}

void DocumentRecording::append(nlohmann::ordered_json aKeys) const
{
    PcapngFile file(*mPath);
    addNote(file.repairNote());
    CaptureDocument const document = makeCaptureDocument(
        mSetting.mCommand, mSetting.mReport.document(mSetting.mCommand, std::move(aKeys)));
    pcapng::BlockWriter blocks;
    blocks.add(makeSectionOfHost({}));
    blocks.add(interfaceOf(document));
    pcapng::PacketHead head;
    head.mTime = document.mTime;
    addPieces(blocks, head, bytesOf(document));
    file.append(blocks.bytes());
    file.file().sync();
}

void DocumentRecording::addNote(std::optional<std::string> const& aNote) const
{
    if (aNote)
    {
        mSetting.mReport.addNote(*aNote);
    }
}
}  // namespace qzagent
