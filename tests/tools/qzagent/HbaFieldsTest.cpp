#include <ctime>
#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tools/qzagent/hba/HbaFields.h"

using qzagent::Fields;
using qzagent::fieldsOfPort;

namespace
{
/// A speed with its number in FC-GS-7, whose numbers are those of the HBA API.
struct Speed
{
    HBA_PORTSPEED mBits;
    char const* mName;
};

std::ostream& operator<<(std::ostream& aOut, Speed const& aSpeed) { return aOut << aSpeed.mName; }

class QzagentPortSpeed : public testing::TestWithParam<Speed>
{
};

TEST_P(QzagentPortSpeed, HasItsNameAndItsBits)
{
    HBA_PORTATTRIBUTES port{};
    port.PortSpeed = GetParam().mBits;
    Fields const fields = fieldsOfPort(port);
    EXPECT_EQ(fields["speed"], GetParam().mName);
    EXPECT_EQ(fields["speed_bits"], GetParam().mBits);
}

TEST_P(QzagentPortSpeed, IsNamedAmongTheSupportedSpeeds)
{
    HBA_PORTATTRIBUTES port{};
    port.PortSupportedSpeed = GetParam().mBits | 0x20000000;
    Fields const fields = fieldsOfPort(port);
    EXPECT_EQ(fields["supported_speeds"], Fields::array({GetParam().mName, 0x20000000}));
    EXPECT_EQ(fields["supported_speeds_bits"], GetParam().mBits | 0x20000000);
}

INSTANTIATE_TEST_SUITE_P(Speeds, QzagentPortSpeed,
                         testing::Values(Speed{0x1, "1GBIT"}, Speed{0x2, "2GBIT"}, Speed{0x4, "10GBIT"},
                                         Speed{0x8, "4GBIT"}, Speed{0x10, "8GBIT"}, Speed{0x20, "16GBIT"},
                                         Speed{0x40, "32GBIT"}, Speed{0x80, "20GBIT"}, Speed{0x100, "40GBIT"},
                                         Speed{0x200, "128GBIT"}, Speed{0x400, "64GBIT"},
                                         Speed{0x8000, "NOT_NEGOTIATED"}),
                         [](testing::TestParamInfo<Speed> const& aInfo)
                         { return "Of" + std::string(aInfo.param.mName); });

TEST(QzagentPortSpeeds, AreAbsentIfTheyAreZero)
{
    Fields const fields = fieldsOfPort(HBA_PORTATTRIBUTES{});
    for (char const* const key : {"speed", "speed_bits", "supported_speeds", "supported_speeds_bits"})
    {
        EXPECT_FALSE(fields.contains(key)) << key;
    }
}

/// PortSupportedClassofService with the classes that it stands for.
struct Classes
{
    HBA_COS mValue;
    Fields mClasses;
};

class QzagentPortClasses : public testing::TestWithParam<Classes>
{
};

TEST_P(QzagentPortClasses, HaveTheirNamesAndTheValueOfTheLibrary)
{
    HBA_PORTATTRIBUTES port{};
    port.PortSupportedClassofService = GetParam().mValue;
    Fields const fields = fieldsOfPort(port);
    EXPECT_EQ(fields["supported_classes"], GetParam().mClasses);
    EXPECT_EQ(fields["supported_classes_bits"], GetParam().mValue);
}

INSTANTIATE_TEST_SUITE_P(AsBits, QzagentPortClasses,
                         testing::Values(Classes{0x01, {"F"}}, Classes{0x04, {"2"}},
                                         Classes{0x06, {"1", "2"}}, Classes{0x08, {"3"}},
                                         Classes{0x0c, {"2", "3"}}, Classes{0x28, {"3", 0x20}},
                                         Classes{0x50, {"4", "6"}}));

INSTANTIATE_TEST_SUITE_P(AsANumber, QzagentPortClasses,
                         testing::Values(Classes{2, {"2"}}, Classes{3, {"3"}}));

TEST(QzagentPortSpeeds, AreNumbersIfSeveralBitsAreSet)
{
    HBA_PORTATTRIBUTES port{};
    port.PortSpeed = 0x30;
    EXPECT_EQ(fieldsOfPort(port)["speed"], 0x30);
}
}  // namespace
