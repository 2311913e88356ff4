#include "simulator/recording/Recorder.h"

#include <sys/types.h>
#include <unistd.h>

namespace qzsim
{
void Recorder::begin(CborWriter& aWriter, char const* aKind, std::string_view aName)
{
    aWriter.beginMap();
    aWriter.text(aKind);
    aWriter.text(aName);
    aWriter.text("process");
    aWriter.number(static_cast<std::uint64_t>(::getpid()));
    aWriter.text("thread");
    aWriter.number(static_cast<std::uint64_t>(::gettid()));
}

void Recorder::write(std::string_view aLibrary, CborWriter& aWriter) noexcept
{
    aWriter.end();
    mRing.write(aLibrary, {aWriter.content().data(), aWriter.content().size()});
}
}  // namespace qzsim
