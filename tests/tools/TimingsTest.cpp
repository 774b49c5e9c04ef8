#include "tools/jay/Timings.h"

#include <gtest/gtest.h>
#include <initializer_list>

namespace {

Timings timingsOf(std::initializer_list<int> values) {
    Timings timings;
    for (const int ms : values) timings.add(std::chrono::milliseconds(ms));
    return timings;
}

TEST(TimingsTest, SummarizeOne) {
    EXPECT_TRUE(Timings().isEmpty());
    const Timings::Summary summary = timingsOf({7}).summary();
    for (const double ms : {summary.least, summary.most, summary.median, summary.percentile99})
        EXPECT_EQ(ms, 7);
}

TEST(TimingsTest, HaveTheMiddleOneOrHalfWayBetweenTwo) {
    EXPECT_EQ(timingsOf({9, 1, 5}).summary().median, 5);
    EXPECT_EQ(timingsOf({9, 1, 5, 6}).summary().median, 5.5);
}

TEST(TimingsTest, LetOneInAHundredExceedThePercentile) {
    Timings timings;
    for (int ms = 200; ms > 0; ms--) timings.add(std::chrono::milliseconds(ms));
    const Timings::Summary summary = timings.summary();
    EXPECT_EQ(summary.least, 1);
    EXPECT_EQ(summary.most, 200);
    EXPECT_EQ(summary.percentile99, 198);
}

}  // namespace
