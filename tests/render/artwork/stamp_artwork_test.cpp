#include <gtest/gtest.h>

#include <cmath>

#include "platform/graphics.h"
#include "render/artwork/stamp_artwork.h"

namespace marqen::test {
namespace {

struct Straight {
    int a, r, g, b;
};

Straight at(const MarqenImage &image, int x, int y) {
    uint8_t c[4];
    MarqenImageUnpremultiply(image.pixelAt(x, y), c);
    return {c[0], c[1], c[2], c[3]};
}

// Draws a stamp into the middle 100 × 100 of a 200 × 200 image (y down).
MarqenImageRef drawStamp(const std::string &name, std::optional<long> tail, bool flipShadow = false,
                         bool *known = nullptr) {
    auto image = MarqenImage::create(200, 200);
    auto context = MarqenGraphicsContext::createForImage(image);
    bool drawn = MarqenPaintCode::drawStampNamed(name, *context, CGRectMake(50, 50, 100, 100), tail, flipShadow);
    if (known) *known = drawn;
    return image;
}

// Alpha-weighted mean y of the pixels outside the badge: where the shadow falls.
double shadowCentreY(const MarqenImage &image) {
    double sum = 0, weight = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            double dx = x + 0.5 - 100, dy = y + 0.5 - 100;
            if (dx * dx + dy * dy < 46 * 46) continue;
            double a = at(image, x, y).a;
            sum += a * y;
            weight += a;
        }
    return weight > 0 ? sum / weight : 0;
}

TEST(StampArtwork, EveryNamedStampDrawsItsColour) {
    struct Expectation {
        const char *name;
        int r, g, b;  // the disc colour, sampled low on the badge where no symbol is
    };
    const Expectation expectations[] = {
        {"com.brondale.marqen.rejected", 229, 57, 53}, {"com.brondale.marqen.exclaim", 251, 140, 0},
        {"com.brondale.marqen.question", 30, 136, 229}, {"com.brondale.marqen.approved", 67, 160, 71},
        {"com.brondale.marqen.perfect", 236, 64, 122}, {"com.brondale.marqen.happy", 255, 202, 40},
        {"com.brondale.marqen.cool", 255, 202, 40},     {"com.brondale.marqen.silly", 255, 202, 40},
        {"com.brondale.marqen.surprise", 255, 202, 40}, {"com.brondale.marqen.angry", 244, 81, 30},
    };
    for (const auto &expected : expectations) {
        bool known = false;
        auto image = drawStamp(expected.name, std::nullopt, false, &known);
        EXPECT_TRUE(known) << expected.name;
        Straight disc = at(*image, 100, 130);
        EXPECT_EQ(disc.a, 255) << expected.name;
        EXPECT_NEAR(disc.r, expected.r, 3) << expected.name;
        EXPECT_NEAR(disc.g, expected.g, 3) << expected.name;
        EXPECT_NEAR(disc.b, expected.b, 3) << expected.name;
        // The white sticker rim.
        Straight rim = at(*image, 100, 58);
        EXPECT_EQ(rim.a, 255) << expected.name;
        EXPECT_GT(rim.r + rim.g + rim.b, 3 * 245) << expected.name;
        // Nothing but a faint shadow far from the badge.
        EXPECT_LT(at(*image, 5, 5).a, 2) << expected.name;
    }
}

TEST(StampArtwork, UnknownNamesDrawNothing) {
    bool known = true;
    auto image = drawStamp("com.example.unknown", 90, false, &known);
    EXPECT_FALSE(known);
    for (int y = 0; y < 200; y += 7)
        for (int x = 0; x < 200; x += 7) ASSERT_EQ(at(*image, x, y).a, 0);
}

TEST(StampArtwork, TailPointsAtItsAngle) {
    // The tail's point is 64 units from the centre: at 0° that is x = 164, at 90° y = 164.
    auto none = drawStamp("com.brondale.marqen.approved", std::nullopt);
    auto right = drawStamp("com.brondale.marqen.approved", 0);
    auto down = drawStamp("com.brondale.marqen.approved", 90);
    auto diagonal = drawStamp("com.brondale.marqen.approved", 225);
    EXPECT_LT(none->pixelAt(158, 100) >> 24, 40u);
    EXPECT_EQ(at(*right, 158, 100).a, 255);
    EXPECT_LT(at(*right, 168, 100).a, 60);
    EXPECT_EQ(at(*down, 100, 158).a, 255);
    EXPECT_LT(at(*down, 158, 100).a, 40);
    const int d = static_cast<int>(100 - 58 / std::sqrt(2.0));
    EXPECT_EQ(at(*diagonal, d, d).a, 255);
}

TEST(StampArtwork, ShadowFallsDownUnlessFlipped) {
    auto normal = drawStamp("com.brondale.marqen.happy", std::nullopt, false);
    auto flipped = drawStamp("com.brondale.marqen.happy", std::nullopt, true);
    EXPECT_GT(shadowCentreY(*normal), 100.5);
    EXPECT_LT(shadowCentreY(*flipped), 99.5);
}

TEST(StampArtwork, ToolIconsAtSmallAndLargeSizes) {
    for (double side : {24.0, 400.0}) {
        auto image = MarqenPaintCode::imageForStampNamed("com.brondale.marqen.rejected", CGSizeMake(side, side));
        ASSERT_TRUE(image);
        EXPECT_EQ(image->width(), static_cast<int>(side));
        // The sticker is fitted whole: 120 design units across, the disc's centre 69 from the left and
        // 58 from the top.
        const double unit = side / 120;
        const int cx = static_cast<int>(69 * unit), cy = static_cast<int>(58 * unit);
        Straight centre = at(*image, cx, cy);  // the white cross
        EXPECT_EQ(centre.a, 255);
        EXPECT_GT(centre.g, 200);
        Straight disc = at(*image, cx, static_cast<int>(cy + 30 * unit));
        EXPECT_GT(disc.r, 180);
        EXPECT_LT(disc.g, 100);
        Straight tail = at(*image, static_cast<int>(cx - 52 * unit), cy);  // in the tail, past the rim
        EXPECT_GT(tail.a, 200);
        // Nothing is cut off: the border holds at most a faint shadow.
        const int last = static_cast<int>(side) - 1;
        for (int i = 0; i <= last; ++i)
            for (auto [x, y] : {std::pair{i, 0}, std::pair{i, last}, std::pair{0, i}, std::pair{last, i}})
                EXPECT_LT(at(*image, x, y).a, 40) << side << ": " << x << "," << y;
    }
    EXPECT_FALSE(MarqenPaintCode::imageForStampNamed("com.brondale.marqen.rejected", CGSizeMake(0, 10)));
    EXPECT_FALSE(MarqenPaintCode::imageForStampNamed("com.brondale.marqen.rejected", CGSizeMake(NAN, 10)));
    auto unknown = MarqenPaintCode::imageForStampNamed("nope", CGSizeMake(10, 10));
    ASSERT_TRUE(unknown);
    EXPECT_EQ(unknown->pixelAt(5, 5), 0u);
}

}  // namespace
}  // namespace marqen::test
