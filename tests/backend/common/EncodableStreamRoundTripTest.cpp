#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "tests/backend/common/RandomElements.h"
#include "tests/backend/common/Streams.h"

namespace
{
TEST(EncodableStream, ElementsSurviveARoundTrip)
{
    std::vector<Element> const elements = randomElements(5000);
    QZCEncodableOutStream out;
    for (Element const& element : elements)
    {
        std::visit([&](auto const& aTyped) { out << aTyped; }, element);
    }
    Input input(bytesOf(out));
    for (Element const& element : elements)
    {
        ASSERT_EQ(extracted(input.stream(), element), element);
    }
    EXPECT_EQ(input.stream().getRemaining(), 0u);
}
}  // namespace
