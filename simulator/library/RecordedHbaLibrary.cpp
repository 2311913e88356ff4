// The library that records and replays: how the common library gets the entries of an HBA library.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <utility>

#include <dlfcn.h>

#include "simulator/library/RecordedHbaCalls.h"

namespace
{
using qzsim::Table;

/// The entries that the library has. In a replay, those that it had.
template <std::size_t Slot>
struct OutEntries
{
    Table* mTable;

    void question(qzsim::CborWriter&) {}
    void answer(qzsim::CborWriter& aWriter, bool aIsGood)
    {
        aWriter.text("entries");
        aWriter.beginArray();
        qzsim::visitEntries<Slot>(
            [&](auto aEntry, auto)
            {
                if (aIsGood && mTable->*decltype(aEntry)::member != nullptr)
                {
                    aWriter.text(decltype(aEntry)::name);
                }
            });
        aWriter.end();
    }
    void fill(qzsim::Json const& aAnswer)
    {
        auto const entries = aAnswer.find("entries");
        qzsim::visitEntries<Slot>(
            [&](auto aEntry, auto aFunction)
            {
                bool const isThere =
                    entries != aAnswer.end() &&
                    std::find(entries->begin(), entries->end(), decltype(aEntry)::name) != entries->end();
                mTable->*decltype(aEntry)::member = isThere ? aFunction : nullptr;
            });
    }
};

/// Lets the library fill a table.
HBA_STATUS fillTable(void* aLibrary, Table& aTable)
{
    if (void* const function = ::dlsym(aLibrary, "HBA_RegisterLibraryV2"))
    {
        return reinterpret_cast<HBARegisterLibraryV2Func>(function)(&aTable);
    }
    void* const function = ::dlsym(aLibrary, "HBA_RegisterLibrary");
    // The second table begins with the first.
    return function == nullptr ? HBA_STATUS_ERROR
                               : reinterpret_cast<HBARegisterLibraryFunc>(function)(
                                     reinterpret_cast<HBA_ENTRYPOINTS*>(&aTable));
}

/// Fills a table with the functions of this library.
template <std::size_t Slot>
HBA_STATUS registerLibrary(Table& aTable)
{
    qzsim::OpenHbaLibrary& library = qzsim::hbaLibrary(Slot);
    HBA_STATUS const status = qzsim::session().call(
        {library.mPath, "HBA_RegisterLibrary", HBA_STATUS_ERROR, qzsim::isZero},
        [&]
        {
            HBA_STATUS const result = fillTable(library.mHandle, aTable);
            library.mTable = aTable;
            return result;
        },
        OutEntries<Slot>{&aTable});
    if (qzsim::session().isRecording())
    {
        qzsim::visitEntries<Slot>(
            [&](auto aEntry, auto aFunction)
            {
                auto& entry = aTable.*decltype(aEntry)::member;
                entry = entry == nullptr ? nullptr : aFunction;
            });
    }
    return status;
}

template <std::size_t... Slots>
HBA_STATUS registerIn(std::size_t aSlot, Table& aTable, std::index_sequence<Slots...>)
{
    constexpr std::array<HBA_STATUS (*)(Table&), sizeof...(Slots)> functions{registerLibrary<Slots>...};
    return functions[aSlot](aTable);
}

HBA_STATUS registerLast(Table& aTable)
{
    return qzsim::answerOf<HBA_STATUS>(HBA_STATUS_ERROR,
                                       [&]
                                       {
                                           return registerIn(
                                               qzsim::lastOpenedHbaLibrary(), aTable,
                                               std::make_index_sequence<qzsim::mostHbaLibraries>());
                                       });
}
}  // namespace

extern "C" HBA_STATUS HBA_RegisterLibraryV2(HBA_ENTRYPOINTSV2* aTable)
{
    *aTable = {};
    return registerLast(*aTable);
}

extern "C" HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS* aTable)
{
    Table table{};
    HBA_STATUS const status = registerLast(table);
    std::memcpy(aTable, &table, sizeof *aTable);
    return status;
}
