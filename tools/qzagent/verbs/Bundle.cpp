#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "anonymise/Anonymiser.h"
#include "anonymise/KeyedHash.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/bundle/BundleWriter.h"
#include "tools/qzagent/bundle/VerbProcess.h"
#include "tools/qzagent/capture/CaptureDocument.h"
#include "tools/qzagent/capture/CaptureInput.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/SectionOfHost.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Descriptor.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/vqm/VqmLoad.h"
#include "tools/qzagent/vqm/VqmVersions.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t longestWatch = 86400;
constexpr std::uint64_t longestPart = 86400;

struct BundleOptions
{
    std::string mOutput;
    std::optional<std::string> mKeyFile;  ///< none to keep originals
    std::uint64_t mSeconds = 10;
    std::uint64_t mTimeout = 300;  ///< of each part, in seconds
};

/// A verb whose document is a part of the bundle.
struct Part
{
    char const* mName;
    AddVerb mAdd;
    std::vector<std::string> mArguments;
    nlohmann::ordered_json mKeys;  ///< of the document when the verb does not answer
};

/// A file without a name, which ends with this object and all processes that have it open.
class NamelessFile
{
public:
    /// @param aBeside path of another file in the same folder
    explicit NamelessFile(std::string const& aBeside) : mDescriptor(create(aBeside)) {}

    std::string path() const { return fmt::format("/proc/self/fd/{}", mDescriptor.number()); }

private:
    static int create(std::string const& aBeside)
    {
        std::string path = aBeside + ".XXXXXX";
        int const descriptor = ::mkostemp(path.data(), O_CLOEXEC);
        if (descriptor < 0)
        {
            throw std::system_error(errno, std::generic_category(), "cannot write " + aBeside);
        }
        ::unlink(path.c_str());
        return descriptor;
    }

    Descriptor const mDescriptor;
};

/// Finds the interfaces of a recording, and learns the originals that only its events contain.
class RecordingSurvey
{
public:
    /// @param aAnonymiser null to learn nothing
    explicit RecordingSurvey(anonymise::Anonymiser* aAnonymiser) : mAnonymiser(aAnonymiser) {}

    void operator()(CaptureEvent const& aEvent)
    {
        addInterface(aEvent.mInterface);
        if (mAnonymiser != nullptr && aEvent.mRecord)
        {
            learn(aEvent);
        }
    }
    void operator()(CaptureCounts const& aCounts) { addInterface(aCounts.mInterface); }
    /// Other items have neither.
    template <typename Item>
    void operator()(Item const&)
    {
    }

    std::vector<pcapng::Interface> const& interfaces() const { return mInterfaces; }

private:
    void addInterface(pcapng::Interface const* aInterface)
    {
        auto const isSame = [aInterface](pcapng::Interface const& aOther)
        { return aOther.mName == aInterface->mName && aOther.mDescription == aInterface->mDescription; };
        if (aInterface != nullptr && std::none_of(mInterfaces.begin(), mInterfaces.end(), isSame))
        {
            mInterfaces.push_back(*aInterface);
        }
    }

    void learn(CaptureEvent const& aEvent)
    {
        mAnonymiser->learnNames(
            {reinterpret_cast<char const*>(aEvent.mEncoded.mData), aEvent.mEncoded.mSize});
        if (aEvent.mRecord->hasNames())
        {
            mAnonymiser->learn(aEvent.mRecord->first()->bytes());
            mAnonymiser->learn(aEvent.mRecord->second()->bytes());
        }
    }

    anonymise::Anonymiser* const mAnonymiser;
    std::vector<pcapng::Interface> mInterfaces;
};

/// Passes the events of a recording to the bundle.
class EventCopy
{
public:
    EventCopy(BundleWriter& aWriter, Report& aReport) : mWriter(aWriter), mReport(aReport) {}

    void operator()(CaptureEvent const& aEvent)
    {
        mWriter.add(aEvent);
        mEvents += aEvent.mRecord ? 1 : 0;
    }
    void operator()(CaptureCounts const& aCounts) { mWriter.add(aCounts); }
    void operator()(CaptureDamage const& aDamage) { mReport.addError(ExitCode::failed, aDamage.mText); }
    /// The bundle has its own section, and a recording has only events.
    template <typename Item>
    void operator()(Item const&)
    {
    }

    std::uint64_t events() const { return mEvents; }

private:
    BundleWriter& mWriter;
    Report& mReport;
    std::uint64_t mEvents = 0;
};

/// @param aName name of the file for messages
template <typename Visitor>
void visitItems(std::string const& aPath, std::string const& aName, Visitor& aVisitor)
{
    CaptureOptions options;
    options.mName = aName;
    CaptureInput input(aPath, options);
    while (std::optional<CaptureItem> const item = input.next())
    {
        std::visit(aVisitor, *item);
    }
}

class Bundle
{
public:
    /// @throws std::exception when the key file or the output cannot be used
    Bundle(Setting const& aSetting, BundleOptions const& aOptions) : mSetting(aSetting), mOptions(aOptions)
    {
        if (aOptions.mKeyFile)
        {
            mAnonymiser.emplace(anonymise::KeyedHash::ofFile(*aOptions.mKeyFile));
        }
        // The file is created again when everything is known, so that an interrupted run leaves none.
        CaptureCopy const attempt(aOptions.mOutput);
    }

    /// @throws std::exception when the bundle cannot be written
    Answer run()
    {
        NamelessFile const recording(mOptions.mOutput);
        nlohmann::ordered_json const noAdapters{{"adapters", nlohmann::ordered_json::array()}};
        nlohmann::ordered_json const noBoards{{"boards", nlohmann::ordered_json::array()}};
        add({"vendor", &addVendor, {"vendor"}, noBoards});
        add({"ports", &addPorts, {"ports"}, noAdapters});
        add({"inventory", &addInventory, {"inventory", "--luns"}, noAdapters});
        add({"statistics-start", &addStatistics, {"statistics"}, noAdapters});
        add({"latency", &addLatency, {"latency"}, noAdapters});
        std::size_t const before = mDocuments.size();
        if (mOptions.mSeconds > 0 && !hasNoBoards())
        {
            watch(recording);
        }
        add({"statistics-end", &addStatistics, {"statistics"}, noAdapters});
        if (!mMissing.empty())
        {
            mSetting.mReport.addError(
                ExitCode::failed,
                fmt::format("interrupted; these parts are missing: {}", fmt::join(mMissing, ", ")));
        }
        return write(before, recording);
    }

private:
    void watch(NamelessFile const& aRecording)
    {
        std::vector<std::string> arguments{"watch",           "--quiet",   "--output",
                                           aRecording.path(), "--seconds", std::to_string(mOptions.mSeconds)};
        if (!valueOf("vendor", "quazor_events", true))
        {
            arguments.emplace_back("--plain");
        }
        add({"watch",
             [this](CommandLine& aCommandLine) { addWatchInto(name(), aCommandLine); },
             arguments,
             {{"received", 0}, {"written", 0}, {"dropped", 0}, {"drops", {}}, {"events", {}}}});
    }

    /// Name of the file for messages. Its folders could show whose host it is.
    std::string name() const
    {
        std::filesystem::path const path(mOptions.mOutput);
        return mAnonymiser ? path.filename().string() : path.string();
    }

    /// @return whether it is certain that no board can have events; says so
    bool hasNoBoards() const
    {
        nlohmann::ordered_json const messages =
            valueOf("vendor", "messages", nlohmann::ordered_json::array());
        bool const hasAnswer = valueOf("vendor", "exit_status", 1) == 0;
        if (!hasAnswer && !isMissingVqm(messages))
        {
            return false;
        }
        bool const hasNone = valueOf("vendor", "boards", nlohmann::ordered_json::array()).empty();
        if (hasNone)
        {
            mSetting.mReport.addNote(
                fmt::format("{}, so events are not recorded", hasAnswer ? "no boards" : "no vendor library"));
        }
        return hasNone;
    }

    static bool isMissingVqm(nlohmann::ordered_json const& aMessages)
    {
        return std::any_of(aMessages.begin(), aMessages.end(),
                           [](nlohmann::ordered_json const& aMessage)
                           { return aMessage.value("text", "") == missingVqmNote; });
    }

    /// @return whether the verb failed only because the host has no vendor library, which many hosts do not have
    static bool isOptional(Part const& aPart, CaptureDocument const& aDocument)
    {
        return aPart.mName == std::string("vendor") &&
               isMissingVqm(parseForeignJson<nlohmann::ordered_json>(aDocument.mText)
                                .value("messages", nlohmann::ordered_json::array()));
    }

    void add(Part const& aPart)
    {
        mSignals.take();
        std::optional<VerbDocument> const found = mSignals.hasArrived() ? std::nullopt : documentOf(aPart);
        if (!found)
        {
            mMissing.emplace_back(aPart.mName);
        }
        else
        {
            mDocuments.push_back(makeCaptureDocument(aPart.mName, found->mText));
            if (found->mExitCode != ExitCode::success && !isOptional(aPart, mDocuments.back()))
            {
                mSetting.mReport.addError(ExitCode::failed,
                                          fmt::format("{} failed; the document has the reason", aPart.mName));
            }
        }
    }

    std::optional<VerbDocument> documentOf(Part const& aPart)
    {
        try
        {
            std::uint64_t const seconds = mOptions.mTimeout + mOptions.mSeconds;
            return runVerbInProcess(mSetting, mSignals, std::chrono::seconds(seconds), aPart.mAdd,
                                    aPart.mArguments);
        }
        catch (std::exception const& exception)
        {
            Report report(mSetting.mReport.errors());
            report.addError(ExitCode::failed,
                            fmt::format("the process of {} {}", aPart.mArguments.front(), exception.what()));
            return VerbDocument{report.document(aPart.mArguments.front(), aPart.mKeys), report.exitCode()};
        }
    }

    /// @return the value of a key of a document; the default if there is none
    template <typename Value>
    Value valueOf(std::string const& aDocument, char const* aKey, Value const& aDefault) const
    {
        for (CaptureDocument const& document : mDocuments)
        {
            if (document.mName == aDocument)
            {
                return parseForeignJson<nlohmann::ordered_json>(document.mText).value(aKey, aDefault);
            }
        }
        return aDefault;
    }

    pcapng::Section section() const
    {
        auto const version = [this](char const* aKey)
        {
            std::string const text = valueOf("vendor", aKey, std::string());
            return text.empty() ? std::nullopt : std::optional(text);
        };
        LibvqmVersions versions;
        versions.mLibrary = version("library_version");
        versions.mDriver = version("driver_version");
        return makeSectionOfHost(versions);
    }

    /// @param aBefore number of documents before the events
    Answer write(std::size_t aBefore, NamelessFile const& aRecording)
    {
        pcapng::Section const header = section();
        RecordingSurvey survey(mAnonymiser ? &*mAnonymiser : nullptr);
        visitItems(aRecording.path(), name(), survey);
        if (mAnonymiser)
        {
            learnAll(header);
        }
        BundleWriter writer(mOptions.mOutput, header, mAnonymiser ? &*mAnonymiser : nullptr);
        for (CaptureDocument const& document : mDocuments)
        {
            writer.describe(document);
        }
        for (pcapng::Interface const& board : survey.interfaces())
        {
            writer.describe(board);
        }
        EventCopy copy(writer, mSetting.mReport);
        for (std::size_t i = 0; i <= mDocuments.size(); ++i)
        {
            if (i == aBefore)
            {
                visitItems(aRecording.path(), name(), copy);
            }
            if (i < mDocuments.size())
            {
                writer.add(mDocuments[i]);
            }
        }
        writer.finish();
        return answer(writer.documents(), copy.events());
    }

    /// Everything is learned before anything is written, because a document can contain what only an event identifies.
    void learnAll(pcapng::Section const& aHeader)
    {
        mAnonymiser->learnHost(aHeader.mHardware);
        for (CaptureDocument const& document : mDocuments)
        {
            mAnonymiser->learn(parseForeignJson<nlohmann::ordered_json>(document.mText));
        }
    }

    Answer answer(std::vector<BundleWriter::Written> const& aDocuments, std::uint64_t aEvents) const
    {
        Answer answer{{{"documents", nlohmann::ordered_json::array()}, {"events", aEvents}}, {}};
        Table table({{"CONTENT", Table::Fit::left}, {"SIZE", Table::Fit::right}}, mSetting.mIsColoured);
        for (BundleWriter::Written const& document : aDocuments)
        {
            answer.mKeys["documents"].push_back({{"name", document.mName}, {"size_bytes", document.mSize}});
            table.addRow({document.mName, fmt::format("{} bytes", document.mSize)});
        }
        table.addRow({std::string("events"), std::to_string(aEvents)});
        answer.mText = table.text();
        return answer;
    }

    Setting const& mSetting;
    BundleOptions const& mOptions;
    StopSignals mSignals{true};  // a lost connection does not lose the visit
    std::optional<anonymise::Anonymiser> mAnonymiser;
    std::vector<CaptureDocument> mDocuments;
    std::vector<std::string> mMissing;  ///< names of the documents that a signal prevented
};

Answer bundle(Setting const& aSetting, BundleOptions const& aOptions)
{
    try
    {
        return Bundle(aSetting, aOptions).run();
    }
    catch (std::exception const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return {{{"documents", nlohmann::ordered_json::array()}, {"events", 0}}, {}};
}
}  // namespace

void addBundle(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<BundleOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "bundle", "Write everything about the host and its events to one file",
        "  qzagent bundle --output visit.pcapng\n"
        "                             all verbs' documents and the events of ten seconds\n"
        "  qzagent bundle --output visit.pcapng --anonymise key\n"
        "                             the same with pseudonyms in place of names and serial numbers\n",
        [options](Setting const& aSetting) { return bundle(aSetting, *options); });
    arguments.addRequiredText("--output", "FILE", options->mOutput, "The new file, which must not exist");
    arguments.addText(
        "--anonymise", "KEYFILE", options->mKeyFile,
        "Replace what identifies hosts, ports and devices. The same key file, of at least 16 bytes, "
        "gives the same pseudonyms");
    arguments.addNumber("--seconds", "S", {0, longestWatch}, options->mSeconds,
                        "Record events for S seconds; 10 by default");
    arguments.addNumber("--part-timeout", "S", {1, longestPart}, options->mTimeout,
                        "Kill a part that takes S seconds longer than it should; 300 by default");
}
}  // namespace qzagent
