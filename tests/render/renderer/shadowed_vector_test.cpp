// Shadowed vectors are drawn in a layer bound to their ink: the pixels must be the same bytes as a
// layer as large as their clip gives (the drawing steps done here the long way), for shapes inside
// the picture, at and past its edges, turned, zoomed, filled only, and without ink.
#include <gtest/gtest.h>

#include <vector>

#include "dom/style.h"
#include "dom/vector.h"
#include "platform/graphics.h"
#include "render/color_conversion.h"
#include "render/vector_renderer.h"

namespace marqen {
namespace {

constexpr int kWidth = 240, kHeight = 180;

std::shared_ptr<MarqenDOMVector> shadowedVector(const MarqenBezierPath &path, std::optional<MarqenDOMColor> stroke,
                                                std::optional<MarqenDOMColor> fill, CGFloat lineWidth) {
    auto vector = MarqenDOMVector::create();
    vector->setBezierPath(path);
    vector->setStrokeColor(stroke);
    vector->setFillColor(fill);
    vector->setLineWidth(lineWidth);
    auto style = std::make_shared<MarqenDOMStyle>();
    style->setShadowColor(MarqenDOMColor(10, 20, 60, 1));
    style->setShadowOpacity(0.4);
    style->setShadowRadius(3);
    style->setShadowOffset({2, 3});
    vector->setStyle(style);
    return vector;
}

// The vector drawing steps with a layer as large as the clip.
void drawTheLongWay(const MarqenDOMVector &vector, MarqenGraphicsContext &context, bool alignToGrid) {
    const bool aligned = alignToGrid && vector.alignedBezierPath();
    const MarqenBezierPath &path = aligned ? *vector.alignedBezierPath() : *vector.bezierPath();
    context.saveGState();
    const auto &style = *vector.style();
    MarqenRGBAColor color = MarqenRGBAColorFromDOMColor(style.shadowColor().value_or(MarqenDOMColor()));
    color.alpha = style.shadowOpacity();
    context.setShadow(CGSizeMake(style.shadowOffset().width, -style.shadowOffset().height), style.shadowRadius(), color);
    context.clipToRect(vector.contentBounds());
    context.beginTransparencyLayer();
    if (aligned) context.translateCTM(0.5, 0.5);
    if (vector.strokeColor()) {
        context.setLineWidth(MarqenDOMVectorRenderer::strokeWidthForLineWidth(vector.lineWidth(), aligned));
        context.setLineCap(MarqenLineCap::Round);
        context.setLineJoin(MarqenLineJoin::Round);
        context.setStrokeColor(MarqenRGBAColorFromDOMColor(*vector.strokeColor()));
        context.beginPath();
        context.addPath(path);
        context.strokePath();
    }
    if (vector.fillColor()) {
        context.setFillColor(MarqenRGBAColorFromDOMColor(*vector.fillColor()));
        context.beginPath();
        context.addPath(path);
        context.fillPath(MarqenWindingRule::NonZero);
    }
    context.endTransparencyLayer();
    context.restoreGState();
}

std::vector<uint32_t> draw(const MarqenDOMVector &vector, const CGAffineTransform &ctm, bool alignToGrid, bool longWay) {
    MarqenImageRef image = MarqenImage::create(kWidth, kHeight);
    auto context = MarqenGraphicsContext::createForImage(image);
    context->setFillColor({0.95, 0.9, 0.7, 1});
    context->fillRect(CGRectMake(0, 0, kWidth / 2, kHeight));  // half opaque, half transparent
    context->concatCTM(ctm);
    if (longWay) drawTheLongWay(vector, *context, alignToGrid);
    else MarqenDOMVectorRenderer::drawVector(vector, *context, false, alignToGrid);
    context.reset();
    std::vector<uint32_t> pixels;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) pixels.push_back(image->pixelAt(x, y));
    return pixels;
}

TEST(ShadowedVector, BoundLayerGivesTheSamePixelsAsAWholeOne) {
    const MarqenDOMColor red(200, 30, 20, 1), translucent(20, 120, 220, 0.5), clear(0, 0, 0, 0);
    MarqenBezierPath curve;
    curve.moveToPoint({30, 40});
    curve.addCurveToPoint({140, -20}, {60, 150}, {200, 110});
    struct Case {
        const char *name;
        std::shared_ptr<MarqenDOMVector> vector;
    } cases[] = {
        {"stroked and filled", shadowedVector(MarqenBezierPath::pathWithRoundedRect(CGRectMake(40.3, 30.7, 90, 60), 9, 9),
                                              red, translucent, 7)},
        {"at the edge", shadowedVector(MarqenBezierPath::pathWithRect(CGRectMake(-3, 100.5, 80, 79.5)), red, std::nullopt, 5)},
        {"mostly off the picture", shadowedVector(MarqenBezierPath::pathWithOvalInRect(CGRectMake(200, -60, 120, 90)),
                                                  red, translucent, 9)},
        {"curve", shadowedVector(curve, translucent, std::nullopt, 4)},
        {"filled only, line width 0", shadowedVector(MarqenBezierPath::pathWithOvalInRect(CGRectMake(90, 60, 50, 30)),
                                                     std::nullopt, red, 0)},
        {"without ink", shadowedVector(MarqenBezierPath::pathWithRect(CGRectMake(20, 20, 60, 60)), clear, clear, 3)},
    };
    const CGAffineTransform turned =
        CGAffineTransformConcat(CGAffineTransformMakeRotation(0.35), CGAffineTransformMakeTranslation(30, -20));
    const CGAffineTransform zoomed{0.5, 0, 0, -0.75, 20.5, 170.25};
    for (const Case &c : cases) {
        for (const CGAffineTransform &ctm : {CGAffineTransformIdentity, turned, zoomed}) {
            SCOPED_TRACE(testing::Message() << c.name << " " << ctm.a);
            EXPECT_EQ(draw(*c.vector, ctm, false, false), draw(*c.vector, ctm, false, true));
        }
    }
    // The shadow is really drawn: beside the filled shape, on the transparent half.
    const std::vector<uint32_t> pixels = draw(*cases[4].vector, CGAffineTransformIdentity, false, false);
    EXPECT_GT(pixels[static_cast<size_t>(88) * kWidth + 130] >> 24, 0u);
}

}  // namespace
}  // namespace marqen
