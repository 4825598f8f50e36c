#include <gtest/gtest.h>

#include <cmath>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "dom/vector.h"
#include "render/bitmap_filter.h"
#include "render/vector_renderer.h"
#include "render_test_support.h"

namespace marqen::test {
namespace {

Json style(double radius, double offsetHeight) {
    return {{"shadowColor", colorJson(0, 0, 0)},
            {"shadowOpacity", 1},
            {"shadowRadius", radius},
            {"shadowOffset", {{"width", 0}, {"height", offsetHeight}}}};
}

Json rectangle(double x0, double y0, double x1, double y1, double lineWidth, const Json &stroke, const Json &fill = nullptr) {
    Json node = {{"type", "Vector"},
                 {"lineWidth", lineWidth},
                 {"extension",
                  {{"type", "Polygon"},
                   {"vertices", {{{"x", x0}, {"y", y0}}, {{"x", x1}, {"y", y0}}, {{"x", x1}, {"y", y1}}, {{"x", x0}, {"y", y1}}}},
                   {"extension", {{"type", "Rectangle"}}}}}};
    if (!stroke.is_null()) node["strokeColor"] = stroke;
    if (!fill.is_null()) node["fillColor"] = fill;
    return node;
}

Json arrow(CGPoint start, CGPoint end) {
    return {{"type", "Vector"},
            {"fillColor", colorJson(0, 0, 0)},
            {"lineWidth", 1},
            {"style", {{"shadowRadius", 0}}},  // no shadow, so that the outline's edges are exact
            {"extension",
             {{"type", "Arrow"},
              {"startPoint", {{"x", start.x}, {"y", start.y}}},
              {"endPoint", {{"x", end.x}, {"y", end.y}}},
              {"toolArrowSize", 12}}}};
}

// A solid square bitmap of the given colour covering the frame.
std::shared_ptr<MarqenDOMBitmap> solidBitmap(CGRect frame, uint32_t argb, int side = 10) {
    auto bitmap = MarqenDOMBitmap::create();
    auto image = MarqenImage::create(side, side);
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) image->setPixelAt(x, y, argb);
    bitmap->setImage(image);
    bitmap->setFrame(frame);
    return bitmap;
}

TEST(StrokeWidth, ZeroIsOneAndAlignedWidthsAreOdd) {
    EXPECT_EQ(MarqenDOMVectorRenderer::strokeWidthForLineWidth(0, false), 1);
    EXPECT_EQ(MarqenDOMVectorRenderer::strokeWidthForLineWidth(0, true), 1);
    EXPECT_EQ(MarqenDOMVectorRenderer::strokeWidthForLineWidth(2.4, false), 2.4);
    EXPECT_EQ(MarqenDOMVectorRenderer::strokeWidthForLineWidth(2.4, true), 3);
    EXPECT_EQ(MarqenDOMVectorRenderer::strokeWidthForLineWidth(3.4, true), 3);
    EXPECT_EQ(MarqenDOMVectorRenderer::strokeWidthForLineWidth(4, true), 5);
}

TEST(VectorDrawing, AlignedOddStrokesCoverWholePixels) {
    // A 1-wide rectangle on integer coordinates: unaligned it straddles two pixel rows at half
    // strength; aligned it moves onto the half-pixel centres and fills one row exactly.
    auto document = documentWithAnnotations(40, 40, {rectangle(10, 10, 30, 30, 1, colorJson(0, 0, 0))});
    auto plain = render(document, 40, 40);
    auto aligned = renderWith(document, 40, 40, [](MarqenDOMDocumentRenderer &r) { r.setAlignNodesToPixelGrid(true); });
    EXPECT_NEAR(pixelAt(*plain, 20, 9).a, 128, 12);
    EXPECT_NEAR(pixelAt(*plain, 20, 10).a, 128, 12);
    EXPECT_EQ(pixelAt(*aligned, 20, 10).a, 255);
    EXPECT_EQ(pixelAt(*aligned, 20, 9).a, 0);
    EXPECT_EQ(pixelAt(*aligned, 20, 11).a, 0);
    EXPECT_EQ(pixelAt(*aligned, 10, 20).a, 255);
    EXPECT_EQ(pixelAt(*aligned, 20, 20).a, 0);
}

TEST(VectorDrawing, ArrowTipAndBarbsLandOnTheirPixels) {
    auto document = documentWithAnnotations(200, 200, {arrow({20, 100}, {180, 100})});
    auto image = render(document, 200, 200);
    auto vector = std::dynamic_pointer_cast<MarqenDOMVector>(document->annotationLayer()->childAtIndex(0));
    ASSERT_TRUE(vector && vector->bezierPath());
    // The outline runs tail, neck, upper barb, tip, lower barb: elements 2, 3 and 4 end there.
    const auto &elements = vector->bezierPath()->elements();
    ASSERT_GE(elements.size(), 5u);
    const CGPoint upper = elements[2].endPoint(), tip = elements[3].endPoint(), lower = elements[4].endPoint();
    EXPECT_EQ(tip, CGPointMake(180, 100));
    EXPECT_LT(upper.y, 100);
    EXPECT_GT(lower.y, 100);
    auto alpha = [&](CGFloat x, CGFloat y) { return pixelAt(*image, static_cast<int>(x), static_cast<int>(y)).a; };
    EXPECT_GT(alpha(tip.x - 2, tip.y - 1), 100);  // just behind the tip
    EXPECT_EQ(alpha(tip.x + 1, tip.y), 0);        // past the tip
    EXPECT_EQ(alpha(upper.x + 2, upper.y + 3), 255);  // inside each barb
    EXPECT_EQ(alpha(lower.x + 2, lower.y - 3), 255);
    EXPECT_EQ(alpha(upper.x, upper.y - 2), 0);        // beyond each barb
    EXPECT_EQ(alpha(lower.x, lower.y + 2), 0);
    EXPECT_EQ(alpha(100, 100), 255);  // the shaft
    EXPECT_EQ(alpha(100, 108), 0);

    // Every pixel well inside the outline is covered, every pixel well outside is clear.
    const auto &path = *vector->bezierPath();
    for (int y = 70; y < 130; ++y)
        for (int x = 10; x < 190; ++x) {
            int inside = 0;
            for (CGPoint d : {CGPoint{-1, -1}, CGPoint{1, -1}, CGPoint{-1, 1}, CGPoint{1, 1}})
                inside += path.containsPoint(CGPointMake(x + 0.5 + d.x, y + 0.5 + d.y)) ? 1 : 0;
            if (inside == 4) {
                ASSERT_EQ(pixelAt(*image, x, y).a, 255) << x << "," << y;
            } else if (inside == 0) {
                ASSERT_EQ(pixelAt(*image, x, y).a, 0) << x << "," << y;
            }
        }
}

TEST(VectorDrawing, StrokeBeforeFillAndShadowOnlyWhenInactive) {
    Json node = rectangle(20, 20, 60, 60, 8, colorJson(255, 0, 0), colorJson(0, 0, 255));
    node["style"] = style(4, 6);
    auto document = documentWithAnnotations(100, 100, {node});
    auto image = render(document, 100, 100);
    // The fill covers the inner half of the stroke: blue at 22, red at 17 (outer half).
    EXPECT_EQ(pixelAt(*image, 40, 22).b, 255);
    EXPECT_EQ(pixelAt(*image, 40, 17).r, 255);
    // The shadow falls 6 units down (an unflipped target negates the stored height).
    EXPECT_GT(pixelAt(*image, 40, 66).a, 40);
    EXPECT_EQ(pixelAt(*image, 40, 66).r, 0);
    EXPECT_LT(pixelAt(*image, 40, 12).a, pixelAt(*image, 40, 66).a);

    document->annotationLayer()->childAtIndex(0)->setActive(true);
    auto active = render(document, 100, 100);
    EXPECT_EQ(pixelAt(*active, 40, 66).a, 0);
    EXPECT_EQ(pixelAt(*active, 40, 40).b, 255);
}

TEST(VectorDrawing, ClipsToContentBounds) {
    // A freehand stroke whose width reaches past its bounds is cut at the bounds, not drawn beyond.
    Json stroke = {{"type", "Vector"}, {"path", "M10,50L90,50"}, {"strokeColor", colorJson(0, 0, 0)}, {"lineWidth", 6}};
    auto document = documentWithAnnotations(100, 100, {stroke});
    auto vector = std::dynamic_pointer_cast<MarqenDOMVector>(document->annotationLayer()->childAtIndex(0));
    CGRect bounds = vector->contentBounds();
    auto image = render(document, 100, 100);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 100; ++x)
            if (!CGRectContainsPoint(CGRectInset(bounds, -1, -1), CGPointMake(x + 0.5, y + 0.5))) {
                ASSERT_EQ(pixelAt(*image, x, y).a, 0) << x << "," << y;
            }
    EXPECT_EQ(pixelAt(*image, 50, 50).a, 255);
}

TEST(DocumentDrawing, BackgroundColoursAndTheDelegate) {
    auto document = documentWithAnnotations(50, 50, Json::array());
    auto white = renderWith(document, 100, 50, [](MarqenDOMDocumentRenderer &r) {
        r.setDocumentBackgroundColor(MarqenRGBAColor{1, 1, 1, 1});
        r.setClipToDocumentFrame(false);
    });
    // Without the frame clip the document colour fills the whole target.
    EXPECT_EQ(pixelAt(*white, 2, 2).a, 255);
    auto framed = renderWith(document, 100, 50, [](MarqenDOMDocumentRenderer &r) {
        r.setImageBackgroundColor(MarqenRGBAColor{0, 0, 1, 1});
    });
    EXPECT_EQ(pixelAt(*framed, 2, 2).a, 0);  // outside the centred frame
    EXPECT_EQ(pixelAt(*framed, 50, 25).b, 255);

    // A delegate that refuses the background layer and all of its children: no background at all.
    auto filter = std::make_shared<MarqenDOMDocumentRendererBitmapFilter>();
    auto filtered = renderWith(document, 50, 50, [&](MarqenDOMDocumentRenderer &r) {
        r.setDocumentBackgroundColor(MarqenRGBAColor{1, 1, 1, 1});
        r.setDelegate(filter);
    });
    EXPECT_EQ(pixelAt(*filtered, 25, 25).a, 0);
    // With a bitmap in the background layer the filter lets the background through.
    document->backgroundLayer()->addChild(solidBitmap(CGRectMake(0, 0, 10, 10), 0xFF00FF00));
    auto withBitmap = renderWith(document, 50, 50, [&](MarqenDOMDocumentRenderer &r) {
        r.setDocumentBackgroundColor(MarqenRGBAColor{1, 1, 1, 1});
        r.setDelegate(filter);
    });
    EXPECT_EQ(pixelAt(*withBitmap, 25, 25).r, 255);
    EXPECT_EQ(pixelAt(*withBitmap, 5, 5).g, 255);

    document->setBackgroundColorDisabled(true);
    auto disabled = renderWith(document, 50, 50, [](MarqenDOMDocumentRenderer &r) {
        r.setDocumentBackgroundColor(MarqenRGBAColor{1, 1, 1, 1});
    });
    EXPECT_EQ(pixelAt(*disabled, 25, 25).a, 0);
}

TEST(DocumentDrawing, BitmapFilterSkipsAnnotations) {
    auto document = documentWithAnnotations(60, 60, {rectangle(0, 0, 60, 60, 1, nullptr, colorJson(255, 0, 0))});
    document->backgroundLayer()->addChild(solidBitmap(CGRectMake(0, 0, 30, 30), 0xFF0000FF));
    auto everything = render(document, 60, 60);
    EXPECT_EQ(pixelAt(*everything, 10, 10).r, 255);
    auto filter = std::make_shared<MarqenDOMDocumentRendererBitmapFilter>();
    auto bitmaps = renderWith(document, 60, 60, [&](MarqenDOMDocumentRenderer &r) { r.setDelegate(filter); });
    EXPECT_EQ(pixelAt(*bitmaps, 10, 10).b, 255);
    EXPECT_EQ(pixelAt(*bitmaps, 10, 10).r, 0);
    EXPECT_EQ(pixelAt(*bitmaps, 45, 45).a, 0);
    // A renderer that always renders ignores the filter.
    auto always = renderWith(document, 60, 60, [&](MarqenDOMDocumentRenderer &r) {
        r.setDelegate(filter);
        r.children()[1]->children()[0]->setAlwaysRenders(true);
    });
    EXPECT_EQ(pixelAt(*always, 45, 45).r, 255);
}

TEST(DocumentDrawing, BitmapsAreUprightAndClippedToTheirCrop) {
    auto document = documentWithAnnotations(40, 40, Json::array());
    auto bitmap = MarqenDOMBitmap::create();
    // Top half red, bottom half blue.
    auto image = MarqenImage::create(4, 4);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) image->setPixelAt(x, y, y < 2 ? 0xFFFF0000 : 0xFF0000FF);
    bitmap->setImage(image);
    bitmap->setFrame(CGRectMake(0, 0, 40, 40));
    document->backgroundLayer()->addChild(bitmap);
    auto whole = render(document, 40, 40);
    EXPECT_EQ(pixelAt(*whole, 20, 5).r, 255);
    EXPECT_EQ(pixelAt(*whole, 20, 35).b, 255);

    bitmap->setCropRect(CGRectMake(10, 10, 20, 20));
    auto cropped = render(document, 40, 40);
    EXPECT_EQ(pixelAt(*cropped, 5, 5).a, 0);
    EXPECT_EQ(pixelAt(*cropped, 35, 35).a, 0);
    EXPECT_EQ(pixelAt(*cropped, 15, 15).r, 255);
    EXPECT_EQ(pixelAt(*cropped, 25, 25).b, 255);
}

TEST(DocumentDrawing, CheckerboardCells) {
    auto tile = MarqenDOMDocumentRenderer::copyCheckerboardColor();
    ASSERT_TRUE(tile);
    ASSERT_EQ(tile->width(), 16);
    EXPECT_EQ(pixelAt(*tile, 0, 0).r, 200);
    EXPECT_EQ(pixelAt(*tile, 12, 12).r, 200);
    EXPECT_EQ(pixelAt(*tile, 8, 0).r, 255);
    EXPECT_EQ(pixelAt(*tile, 3, 12).r, 255);
    EXPECT_EQ(pixelAt(*tile, 3, 12).a, 255);
}

}  // namespace
}  // namespace marqen::test
