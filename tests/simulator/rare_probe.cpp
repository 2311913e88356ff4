// A program that makes rarely used calls of the HBA library in the configuration, and prints every byte of the answers.
// The common library is used only to read the configuration.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <tuple>
#include <type_traits>

#include <dlfcn.h>

#include "tests/simulator/RareEntries.h"

namespace
{
template <typename Value>
void show(Value const& aValue)
{
    unsigned char bytes[sizeof aValue];
    std::memcpy(bytes, &aValue, sizeof aValue);
    std::printf(" ");
    for (unsigned char const byte : bytes)
    {
        std::printf("%02x", byte);
    }
}

void show(HBA_FCPID const& aId)
{
    show(aId.FcId);
    show(aId.NodeWWN);
    show(aId.PortWWN);
    show(aId.FcpLun);
}

void show(HBA_FCPBINDING const& aBinding)
{
    show(aBinding.NumberOfEntries);
    show(aBinding.entry[0].type);
    show(aBinding.entry[0].ScsiId);
    show(aBinding.entry[0].FcpId);
    show(aBinding.entry[0].FcId);
}

void show(HBA_FCPBINDING2 const& aBinding)
{
    show(aBinding.NumberOfEntries);
    show(aBinding.entry[0].type);
    show(aBinding.entry[0].ScsiId);
    show(aBinding.entry[0].FcpId);
    show(aBinding.entry[0].LUID);
    show(aBinding.entry[0].status);
}

void show(HBA_LIBRARYATTRIBUTES const& aAttributes)
{
    std::tm const& date = aAttributes.build_date;
    show(aAttributes.final);
    show(aAttributes.LibPath);
    show(aAttributes.VName);
    show(aAttributes.VVersion);
    for (int const value : {date.tm_sec, date.tm_min, date.tm_hour, date.tm_mday, date.tm_mon, date.tm_year,
                            date.tm_wday, date.tm_yday, date.tm_isdst})
    {
        show(value);
    }
}

void prepare(HBA_UINT32& aNumber) { aNumber = sizeOfBuffers; }
// As the second byte of INQUIRY, it asks for a page, and as the page, for identification.
void prepare(HBA_UINT8& aNumber) { aNumber = 0x83; }
void prepare(HBA_UINT64& aLun) { aLun = 0x0102; }
void prepare(HBA_WWNTYPE& aType) { aType = PORT_WWN; }
void prepare(HBA_WWN& aName) { aName = {{0x20, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c}}; }
void prepare(HBA_FCPBINDING& aBinding) { aBinding.NumberOfEntries = 1; }
void prepare(HBA_FCPBINDING2& aBinding) { aBinding.NumberOfEntries = 1; }

template <typename Value>
void prepare(Value&)
{
}

/// A value that is passed.
template <typename Type>
struct Argument
{
    Argument() { prepare(mValue); }
    Type pass() { return mValue; }
    void print() const {}

    Type mValue{};
};

/// Memory for the answer. There may be as many events as a buffer has bytes.
template <typename Type>
struct Argument<Type*>
{
    static constexpr std::size_t count = std::is_same_v<Type, HBA_EVENTINFO> ? sizeOfBuffers : 1;

    Argument() { prepare(mValues[0]); }
    Type* pass() { return mValues.data(); }
    void print() const
    {
        for (auto const& value : mValues)
        {
            show(value);
        }
    }

    std::array<std::remove_const_t<Type>, count> mValues{};
};

template <>
struct Argument<void*>
{
    void* pass() { return mBytes.data(); }
    void print() const { show(mBytes); }

    std::array<unsigned char, sizeOfBuffers> mBytes{};
};

template <typename Result, typename... Arguments>
void call(char const* aName, Result (*aEntry)(Arguments...))
{
    std::tuple<Argument<Arguments>...> arguments;
    std::apply(
        [&](auto&... aArguments)
        {
            if constexpr (std::is_void_v<Result>)
            {
                aEntry(aArguments.pass()...);
                std::printf("%s:", aName);
            }
            else
            {
                std::printf("%s: %u", aName, static_cast<unsigned int>(aEntry(aArguments.pass()...)));
            }
            (aArguments.print(), ...);
            std::printf("\n");
        },
        arguments);
}
}  // namespace

int main(int, char** aArguments)
{
    HBA_LoadLibrary();
    void* const library = ::dlopen(aArguments[1], RTLD_NOW);
    auto* const registerLibrary =
        reinterpret_cast<HBARegisterLibraryV2Func>(::dlsym(library, "HBA_RegisterLibraryV2"));
    HBA_ENTRYPOINTSV2 table{};
    registerLibrary(&table);
    visitRareEntries(table, [](char const* aName, auto aEntry) { call(aName, aEntry); });
    return 0;
}
