// Tool icons, glyphs and cursors: each draws inside its square only, in the tint it is given, looks
// unlike the others, and keeps its shape at a higher scale factor.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "platform/graphics.h"
#include "platform/image_io.h"
#include "render/interface_artwork.h"

namespace marqen {
namespace {

const MarqenRGBAColor kTint{0.2, 0.4, 0.8, 1};

struct Ink {
    int count = 0;
    int minX = 1 << 30, minY = 1 << 30, maxX = -1, maxY = -1;
};

Ink inkOf(const MarqenImage &image) {
    Ink ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if ((image.pixelAt(x, y) >> 24) > 16) {
                ++ink.count;
                ink.minX = std::min(ink.minX, x), ink.maxX = std::max(ink.maxX, x);
                ink.minY = std::min(ink.minY, y), ink.maxY = std::max(ink.maxY, y);
            }
    return ink;
}

// Draws into the middle 32 × 32 of a 64 × 64 picture, so that ink outside the square shows.
MarqenImageRef framed(const std::function<bool(MarqenGraphicsContext &, CGRect)> &draw, bool *drawn) {
    auto image = MarqenImage::create(64, 64);
    auto context = MarqenGraphicsContext::createForImage(image);
    *drawn = draw(*context, CGRectMake(16, 16, 32, 32));
    return image;
}

int differingPixels(const MarqenImage &a, const MarqenImage &b) {
    int count = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (std::abs(int(a.pixelAt(x, y) >> 24) - int(b.pixelAt(x, y) >> 24)) > 64) ++count;
    return count;
}

TEST(InterfaceArtwork, EveryToolIconDrawsInsideItsSquareAndLooksUnlikeTheOthers) {
    std::vector<MarqenImageRef> icons;
    for (int tool = 0; tool <= 12; ++tool) {
        bool drawn = false;
        auto image = framed([&](MarqenGraphicsContext &c, CGRect r) {
            return MarqenInterfaceArtwork::drawToolIcon(tool, c, r, kTint); }, &drawn);
        ASSERT_TRUE(drawn) << "tool " << tool;
        const Ink ink = inkOf(*image);
        EXPECT_GT(ink.count, 40) << "tool " << tool;
        // Anti-aliasing may spill one pixel past the square, nothing more.
        EXPECT_GE(ink.minX, 15) << "tool " << tool;
        EXPECT_GE(ink.minY, 15) << "tool " << tool;
        EXPECT_LE(ink.maxX, 48) << "tool " << tool;
        EXPECT_LE(ink.maxY, 48) << "tool " << tool;
        icons.push_back(image);
    }
    for (size_t a = 0; a < icons.size(); ++a)
        for (size_t b = a + 1; b < icons.size(); ++b)
            EXPECT_GT(differingPixels(*icons[a], *icons[b]), 30) << "tools " << a << " and " << b << " look alike";
}

TEST(InterfaceArtwork, IconsAreDrawnInTheTint) {
    auto image = MarqenInterfaceArtwork::imageForToolIcon(3, 32, 1, kTint);
    ASSERT_TRUE(image);
    int solid = 0;
    for (int y = 0; y < image->height(); ++y)
        for (int x = 0; x < image->width(); ++x) {
            const uint32_t pixel = image->pixelAt(x, y);
            if ((pixel >> 24) != 255) continue;
            ++solid;
            EXPECT_NEAR(int((pixel >> 16) & 0xff), 51, 1);
            EXPECT_NEAR(int((pixel >> 8) & 0xff), 102, 1);
            EXPECT_NEAR(int(pixel & 0xff), 204, 1);
        }
    EXPECT_GT(solid, 20);
}

TEST(InterfaceArtwork, UnknownToolsAndGlyphsDrawNothing) {
    for (int tool : {-1, 13, 1000}) {
        bool drawn = true;
        auto image = framed([&](MarqenGraphicsContext &c, CGRect r) {
            return MarqenInterfaceArtwork::drawToolIcon(tool, c, r, kTint); }, &drawn);
        EXPECT_FALSE(drawn);
        EXPECT_EQ(inkOf(*image).count, 0);
        EXPECT_FALSE(MarqenInterfaceArtwork::imageForToolIcon(tool, 24, 1, kTint));
    }
    bool drawn = true;
    auto image = framed([&](MarqenGraphicsContext &c, CGRect r) {
        return MarqenInterfaceArtwork::drawGlyph("no-such-glyph", c, r, kTint); }, &drawn);
    EXPECT_FALSE(drawn);
    EXPECT_EQ(inkOf(*image).count, 0);
}

TEST(InterfaceArtwork, GlyphsDrawInsideTheirSquare) {
    ASSERT_EQ(MarqenInterfaceArtwork::glyphNames().size(), 10u);
    for (const auto &name : MarqenInterfaceArtwork::glyphNames()) {
        bool drawn = false;
        auto image = framed([&](MarqenGraphicsContext &c, CGRect r) {
            return MarqenInterfaceArtwork::drawGlyph(name, c, r, kTint); }, &drawn);
        ASSERT_TRUE(drawn) << name;
        const Ink ink = inkOf(*image);
        EXPECT_GT(ink.count, 30) << name;
        EXPECT_GE(ink.minX, 15) << name;
        EXPECT_LE(ink.maxY, 48) << name;
    }
    // Undo and redo are mirror images of each other.
    auto undo = MarqenInterfaceArtwork::imageForGlyph("undo", 24, 1, kTint);
    auto redo = MarqenInterfaceArtwork::imageForGlyph("redo", 24, 1, kTint);
    int mismatches = 0;
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 24; ++x)
            if (std::abs(int(undo->pixelAt(x, y) >> 24) - int(redo->pixelAt(23 - x, y) >> 24)) > 40) ++mismatches;
    EXPECT_EQ(mismatches, 0);
}

TEST(InterfaceArtwork, ScaleFactorSharpensWithoutChangingTheShape) {
    auto single = MarqenInterfaceArtwork::imageForToolIcon(1, 24, 1, kTint);
    auto doubled = MarqenInterfaceArtwork::imageForToolIcon(1, 24, 2, kTint);
    ASSERT_TRUE(single && doubled);
    EXPECT_EQ(doubled->width(), 48);
    EXPECT_EQ(doubled->height(), 48);
    // Four times the pixels of ink, within anti-aliasing.
    const double ratio = double(inkOf(*doubled).count) / inkOf(*single).count;
    EXPECT_GT(ratio, 3.2);
    EXPECT_LT(ratio, 4.8);
    for (CGFloat bad : {0.0, -1.0, std::nan(""), 1e9})
        EXPECT_FALSE(MarqenInterfaceArtwork::imageForToolIcon(1, 24, bad, kTint)) << bad;
}

TEST(InterfaceArtwork, StampToolShowsTheChosenStampOrAGenericOne) {
    auto approved = MarqenInterfaceArtwork::imageForToolIcon(9, 32, 1, kTint, "com.brondale.marqen.approved");
    auto generic = MarqenInterfaceArtwork::imageForToolIcon(9, 32, 1, kTint);
    auto unknown = MarqenInterfaceArtwork::imageForToolIcon(9, 32, 1, kTint, "no.such.stamp");
    ASSERT_TRUE(approved && generic && unknown);
    // The approved badge is green, not the tint.
    const uint32_t centre = approved->pixelAt(16, 15);
    EXPECT_GT(int((centre >> 8) & 0xff), int((centre >> 16) & 0xff));
    EXPECT_GT(differingPixels(*approved, *generic), 100);
    EXPECT_EQ(differingPixels(*unknown, *generic), 0);
}

TEST(InterfaceArtwork, CursorsShowOnAnyBackgroundAndActAtTheirCentre) {
    for (auto shape : {MarqenCursorShape::Crosshair, MarqenCursorShape::Draw, MarqenCursorShape::Text, MarqenCursorShape::Move,
                       MarqenCursorShape::Rotate, MarqenCursorShape::ResizeNorthSouth, MarqenCursorShape::ResizeEastWest,
                       MarqenCursorShape::ResizeNorthWestSouthEast, MarqenCursorShape::ResizeNorthEastSouthWest}) {
        auto cursor = MarqenInterfaceArtwork::cursorImage(shape, 32, 2, {1, 0, 0, 1});
        ASSERT_TRUE(cursor.image);
        EXPECT_EQ(cursor.image->width(), 64);
        EXPECT_EQ(cursor.hotspot.x, 16);
        EXPECT_EQ(cursor.hotspot.y, 16);
        int black = 0, white = 0;
        for (int y = 0; y < 64; ++y)
            for (int x = 0; x < 64; ++x) {
                const uint32_t p = cursor.image->pixelAt(x, y);
                if (p == 0xff000000u) ++black;
                if (p == 0xffffffffu) ++white;
            }
        EXPECT_GT(black, 20) << int(shape);
        EXPECT_GT(white, 20) << int(shape);
    }
    // The freehand cursor carries the ink's colour at its hot spot.
    auto draw = MarqenInterfaceArtwork::cursorImage(MarqenCursorShape::Draw, 32, 1, {1, 0, 0, 1});
    EXPECT_EQ(draw.image->pixelAt(16, 16), 0xffff0000u);
}

}  // namespace
}  // namespace marqen
