// Each function behaves like the function of the standard library with the same stem.
#include <algorithm>
#include <chrono>
#include <string>

#include <fmt/format.h>

#include "backend/common/include/Clib.h"
#include "tools/qzframework-check/Bytes.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
namespace
{
void checkCopying()
{
    Bytes const source = countingBytes(9);
    Bytes target(10, 0xff);
    expect(ClibMemcpy(target.data(), source.data(), 9) == target.data(),
           "expected the address of the target as result, found another");
    Bytes expected(10, 0xff);
    std::copy(source.begin(), source.end(), expected.begin());
    expect(target == expected, "expected exactly 9 bytes to be copied");
}

void checkSetting()
{
    Bytes target(10, 0xff);
    expect(ClibMemset(target.data(), 0x1234, 9) == target.data(),
           "expected the address of the target as result, found another");
    Bytes expected(9, 0x34);
    expected.push_back(0xff);
    expect(target == expected, "expected exactly 9 bytes with the low 8 bits of the value");
}

void checkPrinting()
{
    char text[40] = {};
    int const length = ClibSprintf(text, "%02x%s%u", 10, ":", 4294967295u);
    expect(text == std::string("0a:4294967295"),
           fmt::format("expected \"0a:4294967295\", found \"{}\"", text));
    expect(length == 13, fmt::format("expected result 13, found {}", length));
}

void checkPrintingATextAlone()
{
    char text[4] = {};
    int const length = ClibSprintf(text, ":");
    expect(text == std::string(":") && length == 1,
           fmt::format("expected \":\" and 1, found \"{}\" and {}", text, length));
}

void expectScan(char const* aText, int aStored, unsigned int aValue)
{
    unsigned int value = 77;
    int const stored = ClibSscanf(aText, "%x", &value);
    expect(stored == aStored && value == aValue,
           fmt::format("\"{}\" as %x: expected {} stored and value {}, found {} and {}", aText, aStored,
                       aValue, stored, value));
}

void checkScanning()
{
    expectScan("3b", 1, 0x3b);
    expectScan("C9", 1, 0xc9);
    expectScan("1g", 1, 1);
}

void checkScanningNothing()
{
    expectScan("zz", 0, 77);
    expectScan("", -1, 77);
}

void checkByteOrder()
{
    unsigned char const bytes[] = {0x12, 0x34, 0x56, 0x78};
    unsigned int value = 0;
    ClibMemcpy(&value, bytes, sizeof value);
    unsigned int const found = ClibNtohl(value);
    expect(found == 0x12345678, fmt::format("expected 0x12345678, found {:#x}", found));
}

void checkSleeping()
{
    auto const start = std::chrono::steady_clock::now();
    ClibSleepMS(50);
    auto const slept =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    expect(slept.count() >= 50, fmt::format("expected at least 50 ms, found {}", slept.count()));
}
}  // namespace

Requirements clibRequirements()
{
    return {
        {"Clib.ClibMemcpy", "copies the bytes and returns the target", checkCopying},
        {"Clib.ClibMemset", "sets the bytes and returns the target", checkSetting},
        {"Clib.ClibSprintf", "formats values and returns the number of characters", checkPrinting},
        {"Clib.ClibSprintf-text", "formats a text without values", checkPrintingATextAlone},
        {"Clib.ClibSscanf", "scans hexadecimal digits up to the first other character", checkScanning},
        {"Clib.ClibSscanf-nothing", "leaves the value unchanged when there are no digits",
         checkScanningNothing},
        {"Clib.ClibNtohl", "converts network byte order to host byte order", checkByteOrder},
        {"Clib.ClibSleepMS", "sleeps at least for the given time", checkSleeping},
    };
}
}  // namespace frameworkcheck
