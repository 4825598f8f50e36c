// Shadows keep their look: a small scene of shadowed drawing (transparency layers, single operations,
// clips, a turned and scaled CTM, translucent and coloured shadows, shapes past the edge, half of the
// picture transparent) against the premultiplied pixels recorded from the reference implementation,
// within 1 per channel. Set MARQEN_WRITE_SHADOW_REFERENCE=1 to record the file again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "platform/graphics.h"

namespace marqen {
namespace {

constexpr int kWidth = 160, kHeight = 120;

const std::filesystem::path kReference =
    std::filesystem::path(MARQEN_SOURCE_DIR) / "tests/data/render/shadow-scene.rgba";

MarqenImageRef drawScene() {
    MarqenImageRef image = MarqenImage::create(kWidth, kHeight);
    auto context = MarqenGraphicsContext::createForImage(image);
    // Left half opaque (the shadow darkens a ground), right half transparent (the shadow's own alpha).
    context->setFillColor({0.9, 0.85, 0.3, 1});
    context->fillRect(CGRectMake(0, 0, 80, kHeight));

    // A stroked and filled shape casting one shadow, clipped to its bounds as the renderer does.
    context->saveGState();
    context->setShadow({6, -5}, 8, {0, 0, 0, 0.5});
    context->clipToRect(CGRectMake(10, 8, 90, 50));
    context->beginTransparencyLayer();
    context->setFillColor({0.2, 0.4, 1, 0.7});
    context->fillPath(MarqenBezierPath::pathWithRoundedRect(CGRectMake(20, 14, 60, 28), 8, 8));
    context->setStrokeColor({0.8, 0.1, 0.1, 1});
    context->setLineWidth(4);
    context->strokePath(MarqenBezierPath::pathWithRoundedRect(CGRectMake(20, 14, 60, 28), 8, 8));
    context->endTransparencyLayer();
    context->restoreGState();

    // One operation with a coloured, translucent shadow under a global alpha.
    context->saveGState();
    context->setAlpha(0.6);
    context->setShadow({-4, 3}, 5, {0.9, 0, 0.5, 0.7});
    context->setStrokeColor({0, 0.5, 0, 1});
    context->setLineWidth(3);
    context->strokePath(MarqenBezierPath::pathWithOvalInRect(CGRectMake(95, 10, 50, 36)));
    context->restoreGState();

    // A turned, scaled CTM at a fractional offset, with a small blur.
    context->saveGState();
    context->translateCTM(30.3, 70.6);
    context->rotateCTM(0.3);
    context->scaleCTM(1.5, 1.25);
    context->setShadow({3, -3}, 3, {0, 0, 0.3, 0.8});
    context->setFillColor({1, 0.6, 0, 1});
    MarqenBezierPath triangle;
    triangle.moveToPoint({0, 0});
    triangle.addLineToPoint({30, 4});
    triangle.addLineToPoint({12, 26});
    triangle.closeSubpath();
    context->fillPath(triangle);
    context->restoreGState();

    // A wide blur from a small shape, and a shape that runs off the picture's edge.
    context->saveGState();
    context->setShadow({0, 0}, 30, {0, 0, 0, 1});
    context->setFillColor({1, 1, 1, 1});
    context->fillRect(CGRectMake(100, 70, 14, 10));
    context->setShadow({5, -5}, 10, {0.1, 0.1, 0.1, 0.6});
    context->setFillColor({0.3, 0.8, 0.6, 0.9});
    context->fillPath(MarqenBezierPath::pathWithOvalInRect(CGRectMake(130, 90, 50, 50)));
    context->fillPath(MarqenBezierPath::pathWithOvalInRect(CGRectMake(-20, 95, 40, 40)));
    context->restoreGState();

    // A sharp shadow: offset only, no blur.
    context->setShadow({2, -2}, 0, {0, 0, 0, 0.4});
    context->setFillColor({0.1, 0.1, 0.9, 1});
    context->fillRect(CGRectMake(60, 100, 30, 8));
    return image;
}

std::vector<uint8_t> pixelBytes(const MarqenImage &image) {
    std::vector<uint8_t> bytes;
    for (int y = 0; y < image.height(); ++y) {
        const auto *row = reinterpret_cast<const uint8_t *>(image.row(y));
        bytes.insert(bytes.end(), row, row + static_cast<size_t>(image.width()) * 4);
    }
    return bytes;
}

TEST(ShadowPixels, SceneMatchesTheRecordedPixelsWithinOnePerChannel) {
    MarqenImageRef image = drawScene();
    const std::vector<uint8_t> actual = pixelBytes(*image);
    if (std::getenv("MARQEN_WRITE_SHADOW_REFERENCE")) {
        std::ofstream(kReference, std::ios::binary).write(reinterpret_cast<const char *>(actual.data()),
                                                          static_cast<std::streamsize>(actual.size()));
    }
    std::ifstream file(kReference, std::ios::binary);
    ASSERT_TRUE(file) << kReference;
    const std::vector<uint8_t> expected{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    ASSERT_EQ(expected.size(), actual.size());

    int worst = 0, differing = 0, shadowed = 0;
    for (size_t i = 0; i < actual.size(); ++i) {
        const int difference = std::abs(int(actual[i]) - int(expected[i]));
        worst = std::max(worst, difference);
        differing += difference > 0;
        // In the transparent half, a pixel with alpha but no shape over it is shadow alone.
        shadowed += i % 4 == 3 && (i / 4) % kWidth >= 80 && expected[i] > 0 && expected[i] < 200;
    }
    EXPECT_LE(worst, 1) << differing << " channels differ";
    EXPECT_GT(shadowed, 500);  // the scene really draws soft shadows
}

}  // namespace
}  // namespace marqen
