#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "ink/lowpass_point_filter.h"
#include "ink/rite_point_filter.h"

using namespace marqen;

namespace {

using Points = std::vector<CGPoint>;

}  // namespace

TEST(MarqenRitePointFilter, FirstPointRoundsTowardZeroAndFillsTheState) {
    MarqenRitePointFilter filter;
    EXPECT_EQ(filter.filterPoint({10.7, -3.2}), (Points{{10, -3}}));
    EXPECT_EQ(filter.x1pt(), 9 * 10.7);
    EXPECT_EQ(filter.x2pt(), 9 * 10.7);
    EXPECT_EQ(filter.x3pt(), 9 * 10.7);
    EXPECT_DOUBLE_EQ(filter.x1pt(), 96.3);
    EXPECT_DOUBLE_EQ(filter.y1pt(), -28.8);
    EXPECT_EQ(filter.y3pt(), 9 * -3.2);
    EXPECT_EQ(filter.xLast(), 10);
    EXPECT_EQ(filter.yLast(), -3);
    EXPECT_EQ(filter.filteredPoints(), (Points{{10, -3}}));
}

TEST(MarqenRitePointFilter, SmoothsInThirdsAndThinsByCityBlockDistance) {
    MarqenRitePointFilter filter;
    filter.filterPoint({0, 0});
    // Fixed-point samples 0, 10, 26 round to 0, 1, 3: only the last is 2 units away.
    EXPECT_EQ(filter.filterPoint({10, 0}), (Points{{3, 0}}));
    EXPECT_EQ(filter.x1pt(), 26);
    EXPECT_EQ(filter.x2pt(), 90);
    EXPECT_EQ(filter.x3pt(), 90);
    // Samples 47, 61, 70 round to 5, 7, 8; each is measured against the one accepted before it.
    EXPECT_EQ(filter.filterPoint({10, 0}), (Points{{5, 0}, {7, 0}}));
    // Samples 76, 80, 83 round to 8, 9, 9.
    EXPECT_EQ(filter.filterPoint({10, 0}), (Points{{9, 0}}));
    EXPECT_EQ(filter.filteredPoints(), (Points{{0, 0}, {3, 0}, {5, 0}, {7, 0}, {9, 0}}));
}

TEST(MarqenRitePointFilter, LargeJumpsEmitUpToThreePoints) {
    MarqenRitePointFilter filter;
    filter.filterPoint({0, 0});
    EXPECT_EQ(filter.filterPoint({100, 0}), (Points{{11, 0}, {30, 0}}));
    // Samples 477, 718, 978.
    EXPECT_EQ(filter.filterPoint({200, 0}), (Points{{53, 0}, {80, 0}, {109, 0}}));
    EXPECT_EQ(filter.filterPoint({200, 200}), (Points{{139, 0}, {159, 22}, {173, 59}}));
}

TEST(MarqenRitePointFilter, NegativeValuesLeanTowardZero) {
    MarqenRitePointFilter filter;
    filter.filterPoint({0, 0});
    // Samples 0, -10, -26: (-10 + 4) / 9 and (-26 + 4) / 9 round toward zero to 0 and -2,
    // where +10 gave 3 above.
    EXPECT_EQ(filter.filterPoint({-10, 0}), (Points{{-2, 0}}));
}

TEST(MarqenRitePointFilter, RepeatedPointsEmitNothing) {
    MarqenRitePointFilter filter;
    filter.filterPoint({5.5, 7.25});
    for (int i = 0; i < 10; ++i) EXPECT_TRUE(filter.filterPoint({5.5, 7.25}).empty());
    EXPECT_EQ(filter.filteredPoints().size(), 1u);
}

TEST(MarqenRitePointFilter, SlowDragKeepsPointsAtLeastTwoApart) {
    MarqenRitePointFilter filter;
    EXPECT_EQ(filter.filterPoint({0, 0}), (Points{{0, 0}}));
    // Steps of one unit: the smoothed samples lag behind, and every second call has moved 2 units.
    for (int x = 1; x <= 100; ++x) {
        Points emitted = filter.filterPoint({static_cast<double>(x), 0});
        if (x >= 3 && x % 2 == 1)
            EXPECT_EQ(emitted, (Points{{x - 1.0, 0}})) << x;
        else
            EXPECT_TRUE(emitted.empty()) << x;
    }
    // Diagonal steps are 2 apart in city-block distance: the lag settles and then every call emits.
    MarqenRitePointFilter diagonal;
    for (int i = 0; i <= 40; ++i) diagonal.filterPoint({static_cast<double>(i), static_cast<double>(i)});
    const Points &points = diagonal.filteredPoints();
    EXPECT_GE(points.size(), 38u);
    for (size_t i = 1; i < points.size(); ++i)
        EXPECT_GE(std::fabs(points[i].x - points[i - 1].x) + std::fabs(points[i].y - points[i - 1].y), 2);
}

TEST(MarqenRitePointFilter, HostileCoordinatesStayDefined) {
    // Worked through by hand: a NaN truncates to 0, infinities and values beyond 32 bits saturate, and
    // the fixed-point sums wrap as 32-bit integers. For example the third input's x samples all saturate
    // to 2147483647, which plus 4 wraps to -2147483645 and divides by 9 to -238609293.
    MarqenRitePointFilter filter;
    EXPECT_EQ(filter.filterPoint({NAN, INFINITY}), (Points{{0, 2147483647}}));
    EXPECT_EQ(filter.filterPoint({1e300, -1e300}), (Points{{0, 0}}));
    EXPECT_EQ(filter.filterPoint({-INFINITY, NAN}),
              (Points{{-238609293, -238609293}, {-238609293, 159072863}, {-238609293, 106048575}}));
    EXPECT_EQ(filter.filterPoint({3e9, -3e9}), (Points{{-238609293, 0}, {159072863, 0}, {106048575, 0}}));
    EXPECT_EQ(filter.filteredPoints().size(), 8u);
    for (const CGPoint &p : filter.filteredPoints()) {
        EXPECT_TRUE(std::isfinite(p.x));
        EXPECT_TRUE(std::isfinite(p.y));
    }
}

TEST(MarqenLowpassPointFilter, MovesTowardTheInputByDtOverDtPlusRC) {
    MarqenLowpassPointFilter filter;
    filter.setDt(1);
    filter.setRC(1);
    EXPECT_EQ(filter.filterPoint({0, 0}), (Points{{0, 0}}));
    EXPECT_EQ(filter.filterPoint({10, 20}), (Points{{5, 10}}));
    EXPECT_EQ(filter.filterPoint({5, 10}), (Points{{5, 10}}));
    filter.setRC(3);
    EXPECT_EQ(filter.filterPoint({9, 10}), (Points{{6, 10}}));
    EXPECT_EQ(filter.filteredPoints(), (Points{{0, 0}, {5, 10}, {5, 10}, {6, 10}}));
}

TEST(MarqenLowpassPointFilter, UsesOneFusedMultiplyAdd) {
    MarqenLowpassPointFilter filter;
    filter.setDt(1);
    filter.setRC(2);
    filter.filterPoint({0.1, 0});
    // Rounded once: a separate multiply and add would give 0.43666666666666654.
    EXPECT_EQ(filter.filterPoint({3 * 0.37, 0}).front().x, 0.43666666666666659);
}

TEST(MarqenLowpassPointFilter, UnsetParametersGiveNotANumber) {
    MarqenLowpassPointFilter filter;
    EXPECT_EQ(filter.filterPoint({1, 2}), (Points{{1, 2}}));
    CGPoint second = filter.filterPoint({3, 4}).front();
    EXPECT_TRUE(std::isnan(second.x));
    EXPECT_TRUE(std::isnan(second.y));
}
