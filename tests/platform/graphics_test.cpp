#include <gtest/gtest.h>
#include <cairo.h>

#include <cmath>
#include <cstdlib>
#include <optional>

#include "platform/graphics.h"
#include "platform/image_io.h"
#include "platform/path_hit_test.h"
#include "support/test_support.h"

using namespace marqen;

namespace {
uint32_t alphaAt(const MarqenImage &image, int x, int y) { return image.pixelAt(x, y) >> 24; }
}  // namespace

TEST(MarqenCGPathIntersectsRect, BoundingBoxShortcuts) {
    MarqenBezierPath square = MarqenBezierPath::pathWithRect(CGRectMake(10, 10, 10, 10));
    EXPECT_FALSE(MarqenCGPathIntersectsRect(square, CGRectMake(30, 30, 5, 5), true));   // disjoint
    EXPECT_TRUE(MarqenCGPathIntersectsRect(square, CGRectMake(0, 0, 100, 100), false)); // contains the box
    EXPECT_FALSE(MarqenCGPathIntersectsRect(square, CGRectMake(0, 0, 0, 100), true));   // empty rectangle
    EXPECT_FALSE(MarqenCGPathIntersectsRect(MarqenBezierPath(), CGRectMake(0, 0, 10, 10), true));
}

TEST(MarqenCGPathIntersectsRect, RasterisedOverlap) {
    // A thin diagonal from (0,0) to (100,100): its box overlaps both rectangles below partially.
    MarqenBezierPath diagonal;
    diagonal.moveToPoint({0, 0});
    diagonal.addLineToPoint({100, 100});
    EXPECT_TRUE(MarqenCGPathIntersectsRect(diagonal, CGRectMake(40, 40, 20, 20), false));  // the line crosses it
    EXPECT_FALSE(MarqenCGPathIntersectsRect(diagonal, CGRectMake(60, 10, 20, 20), false)); // off the line
    EXPECT_FALSE(MarqenCGPathIntersectsRect(diagonal, CGRectMake(60, 10, 20, 20), true));  // an open line has no inside

    // A large square outline: a rectangle inside its hole touches the ink only when filled.
    MarqenBezierPath square = MarqenBezierPath::pathWithRect(CGRectMake(0, 0, 100, 100));
    CGRect hole = CGRectMake(40, 40, 80, 20);  // pokes out of the right edge, so the box test cannot decide
    EXPECT_TRUE(MarqenCGPathIntersectsRect(square, hole, false));  // crosses the right edge's stroke
    CGRect outsideCorner = CGRectMake(101, -20, 30, 10);
    EXPECT_FALSE(MarqenCGPathIntersectsRect(square, outsideCorner, true));
    MarqenBezierPath triangle;  // fill matters: the rectangle lies inside a triangle without touching its edges
    triangle.moveToPoint({0, 0});
    triangle.addLineToPoint({200, 0});
    triangle.addLineToPoint({0, 200});
    triangle.closeSubpath();
    CGRect inner = CGRectMake(20, 20, 30, 300);  // crosses the hypotenuse
    EXPECT_TRUE(MarqenCGPathIntersectsRect(triangle, inner, true));
    EXPECT_TRUE(MarqenCGPathIntersectsRect(triangle, inner, false));
    // Inside the triangle but clear of its edges; the box test is undecided because the rectangle
    // reaches below the triangle's box. Only the filled test sees it.
    CGRect deepInside = CGRectMake(20, -5, 40, 30);
    EXPECT_TRUE(MarqenCGPathIntersectsRect(triangle, deepInside, true));
    CGRect clearOfEdges = CGRectMake(30, 30, 40, 40);
    MarqenBezierPath bigTriangle = triangle.transformed(CGAffineTransformMakeScale(1, 1));
    bigTriangle.addLineToPoint({-50, -50});  // widen the box so the rectangle is not contained
    EXPECT_TRUE(MarqenCGPathIntersectsRect(bigTriangle, clearOfEdges, true));
    EXPECT_FALSE(MarqenCGPathIntersectsRect(bigTriangle, clearOfEdges, false));
}

TEST(MarqenGraphicsContext, FillsStrokesAndKeepsState) {
    MarqenImageRef image = MarqenImage::create(40, 40);
    auto context = MarqenGraphicsContext::createForImage(image);
    ASSERT_TRUE(context);
    context->setFillColor({1, 0, 0, 1});
    context->saveGState();
    context->setFillColor({0, 0, 1, 1});
    context->translateCTM(20, 0);
    context->fillRect(CGRectMake(0, 0, 10, 10));
    context->restoreGState();
    context->fillRect(CGRectMake(0, 0, 10, 10));
    context->restoreGState();  // unbalanced: ignored
    EXPECT_EQ(image->pixelAt(5, 5), 0xFFFF0000u);
    EXPECT_EQ(image->pixelAt(25, 5), 0xFF0000FFu);
    EXPECT_EQ(image->pixelAt(15, 5), 0u);

    // Even-odd leaves the inner square of two nested squares empty.
    MarqenBezierPath rings = MarqenBezierPath::pathWithRect(CGRectMake(0, 20, 20, 20));
    rings.appendPath(MarqenBezierPath::pathWithRect(CGRectMake(5, 25, 10, 10)));
    rings.setWindingRule(MarqenWindingRule::EvenOdd);
    context->setFillColor({0, 1, 0, 0.5});
    context->fillPath(rings);
    EXPECT_EQ(image->pixelAt(2, 22), 0x80008000u);
    EXPECT_EQ(image->pixelAt(10, 30), 0u);

    // Global alpha, and a transparency layer composited once: two overlapping half-alpha squares
    // inside a layer look like one.
    context->setAlpha(0.5);
    context->beginTransparencyLayer();
    context->setFillColor({0, 0, 0, 1});
    context->fillRect(CGRectMake(25, 25, 10, 10));
    context->fillRect(CGRectMake(28, 28, 10, 10));
    context->endTransparencyLayer();
    EXPECT_EQ(alphaAt(*image, 26, 26), 128u);
    EXPECT_EQ(alphaAt(*image, 30, 30), 128u);
    context->endTransparencyLayer();  // unbalanced: ignored
}

TEST(MarqenGraphicsContext, DrawsImagesTheWayThePlatformDoes) {
    MarqenImageRef source = MarqenImage::create(2, 2);
    source->setPixelAt(0, 0, 0xFFFF0000u);  // first row red
    source->setPixelAt(1, 0, 0xFFFF0000u);
    source->setPixelAt(0, 1, 0xFF0000FFu);
    source->setPixelAt(1, 1, 0xFF0000FFu);
    MarqenImageRef target = MarqenImage::create(20, 20);
    auto context = MarqenGraphicsContext::createForImage(target);
    context->setInterpolationQuality(MarqenInterpolationQuality::None);
    context->drawImage(*source, CGRectMake(0, 0, 10, 10));  // first row at max y
    context->drawImage(*source, CGRectMake(10, 0, 10, 10), true);
    EXPECT_EQ(target->pixelAt(5, 8), 0xFFFF0000u);
    EXPECT_EQ(target->pixelAt(5, 1), 0xFF0000FFu);
    EXPECT_EQ(target->pixelAt(15, 1), 0xFFFF0000u);
    EXPECT_EQ(target->pixelAt(15, 8), 0xFF0000FFu);
    EXPECT_EQ(target->pixelAt(5, 15), 0u);

    cairo_surface_t *surface = MarqenImageCreateCairoSurface(target);
    source.reset();
    MarqenImageRef copy = MarqenImageCreateFromCairoSurface(surface);
    cairo_surface_destroy(surface);
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->pixelAt(15, 1), 0xFFFF0000u);
}

TEST(MarqenGraphicsContext, ShadowIsABlurredOffsetCopyOfTheShape) {
    MarqenImageRef image = MarqenImage::create(120, 120);
    auto context = MarqenGraphicsContext::createForImage(image);
    context->setFillColor({1, 1, 0, 1});
    context->fillRect(CGRectMake(0, 0, 120, 120));  // yellow ground, so the shadow darkens it
    context->setShadow({10, -10}, 8, {0, 0, 0, 0.8});  // right and down
    context->beginTransparencyLayer();
    context->setFillColor({0, 0, 1, 1});
    context->fillPath(MarqenBezierPath::pathWithOvalInRect(CGRectMake(30, 30, 50, 50)));
    context->endTransparencyLayer();
    context.reset();
    if (const char *keep = std::getenv("MARQEN_KEEP_TEST_IMAGES")) {
        MarqenImageWriteToFile(*image, std::filesystem::path(keep) / "shadow.png", MarqenImageFormat::PNG);
    }

    auto darkness = [&](int x, int y) { return 255 - int((image->pixelAt(x, y) >> 8) & 0xFF); };  // green drops
    EXPECT_EQ(image->pixelAt(55, 55), 0xFF0000FFu);  // the shape itself is untouched
    EXPECT_GT(darkness(78, 78), 150);                  // shadow beside the shape, down and right
    EXPECT_LT(darkness(25, 25), 10);                  // nothing up and left
    // Blurred, not hard-edged: darkness falls off gradually outwards.
    int a = darkness(86, 65), b = darkness(90, 65), c = darkness(94, 65);
    EXPECT_GT(a, b);
    EXPECT_GT(b, c);
    EXPECT_GT(c, 0);
    EXPECT_LT(a, 205);
}

namespace {
// A shadowed layer holding a stroked and a filled shape inside (20, 25, 70, 50), drawn under a CTM
// and a clip, as a bounded layer (bounds given) or as one as large as the clip.
MarqenImageRef drawShadowedLayer(const CGAffineTransform &ctm, const std::optional<CGRect> &bounds,
                                 const CGRect &clip = CGRectMake(0, 0, 400, 400)) {
    MarqenImageRef image = MarqenImage::create(160, 140);
    auto context = MarqenGraphicsContext::createForImage(image);
    context->setFillColor({0.9, 0.9, 0.6, 1});
    context->fillRect(CGRectMake(0, 0, 80, 140));
    context->concatCTM(ctm);
    context->clipToRect(clip);
    context->setShadow({4, -3}, 5, {0, 0, 0.2, 0.7});
    if (bounds) context->beginTransparencyLayer(*bounds);
    else context->beginTransparencyLayer();
    context->setStrokeColor({0.8, 0.2, 0.1, 1});
    context->setLineWidth(6);
    context->strokePath(MarqenBezierPath::pathWithOvalInRect(CGRectMake(23, 28, 64, 44)));
    context->setFillColor({0.1, 0.6, 0.3, 0.7});
    context->fillRect(CGRectMake(40, 40, 30, 20));
    context->endTransparencyLayer();
    return image;
}

bool samePixels(const MarqenImage &a, const MarqenImage &b) {
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixelAt(x, y) != b.pixelAt(x, y)) return false;
    return true;
}
}  // namespace

TEST(MarqenGraphicsContext, BoundedLayerGivesTheSamePixelsAsAWholeOne) {
    const CGRect ink = CGRectMake(20, 25, 70, 50);
    for (const CGAffineTransform &ctm :
         {CGAffineTransformIdentity, CGAffineTransform{1.5, 0, 0, -1.2, 10.25, 130.5},
          CGAffineTransformConcat(CGAffineTransformMakeRotation(0.5), CGAffineTransformMakeTranslation(40, -10))}) {
        SCOPED_TRACE(ctm.a);
        MarqenImageRef whole = drawShadowedLayer(ctm, std::nullopt), bounded = drawShadowedLayer(ctm, ink);
        EXPECT_TRUE(samePixels(*whole, *bounded));
        // A clip through the shapes cuts the layer and its shadow alike.
        const CGRect clip = CGRectMake(30.5, 20, 45.3, 70);
        whole = drawShadowedLayer(ctm, std::nullopt, clip), bounded = drawShadowedLayer(ctm, ink, clip);
        EXPECT_TRUE(samePixels(*whole, *bounded));
    }
    // The shadow reaches past the bounds: a layer bound to the ink still casts all of it.
    MarqenImageRef image = drawShadowedLayer(CGAffineTransformIdentity, ink);
    EXPECT_GT(image->pixelAt(93, 50) >> 24, 0u);
}

TEST(MarqenGraphicsContext, BoundedLayerLosesWhatIsDrawnOutsideItsBounds) {
    // Bounds covering the left part of the shapes only: the right part (past one spare pixel) is lost.
    MarqenImageRef image = drawShadowedLayer(CGAffineTransformIdentity, CGRectMake(20, 25, 30, 50));
    MarqenImageRef whole = drawShadowedLayer(CGAffineTransformIdentity, std::nullopt);
    EXPECT_EQ(image->pixelAt(25, 50), whole->pixelAt(25, 50));  // the ring's left side, inside the bounds
    EXPECT_GT(whole->pixelAt(60, 50) >> 24, 0u);                  // the filled square is drawn there...
    EXPECT_NE(image->pixelAt(60, 50), whole->pixelAt(60, 50));    // ...but not in the bounded layer
    // Unbalanced saves inside a bounded layer end with it, and the outer clip comes back.
    auto context = MarqenGraphicsContext::createForImage(image);
    context->clipToRect(CGRectMake(10, 10, 100, 100));
    const CGRect before = context->clipBoundingBox();
    context->beginTransparencyLayer(CGRectMake(20, 20, 5, 5));
    context->saveGState();
    context->clipToRect(CGRectMake(21, 21, 2, 2));
    context->endTransparencyLayer();
    EXPECT_EQ(context->clipBoundingBox(), before);
}

TEST(MarqenGraphicsContext, ShadowPerOperationOutsideLayers) {
    MarqenImageRef image = MarqenImage::create(60, 60);
    auto context = MarqenGraphicsContext::createForImage(image);
    context->setShadow({0, -20}, 0, {0, 0, 0, 1});
    context->setFillColor({1, 0, 0, 1});
    context->fillRect(CGRectMake(10, 10, 10, 10));
    EXPECT_EQ(image->pixelAt(15, 15), 0xFFFF0000u);
    EXPECT_EQ(image->pixelAt(15, 35), 0xFF000000u);  // sharp black copy 20 units down
    context->clearShadow();
    context->fillRect(CGRectMake(40, 10, 10, 10));
    EXPECT_EQ(image->pixelAt(45, 35), 0u);
}
