#include <gtest/gtest.h>

#include <algorithm>

#include "dom/rectangle.h"
#include "foundation/bezier_path.h"
#include "foundation/geometry_functions.h"
#include "interaction/page_view.h"
#include "platform/graphics.h"
#include "platform/image.h"
#include "render/document_renderer.h"

using namespace marqen;

namespace {

// Where the view draws the page and where the pointer edits it must be the same place: the page is drawn
// the way a host draws it (the view's drawing transform, then a renderer of the frame's size), and the
// drawn pixels are looked up independently of the controller's mapping.
class ViewMappingTest : public testing::TestWithParam<unsigned long>, public test::PageView {
protected:
    void SetUp() override {
        document->setCoordinateSystem(GetParam());
        // A frame away from the origin: the mapping must take the origin into account too.
        document->setFrame(CGRectMake(40, 20, 800, 600));
        rectangle = MarqenDOMRectangle::create();
        document->addNode(rectangle);
        rectangle->setToolColor(MarqenDOMColor(0, 0, 0xFF, 1));
        rectangle->setToolSizeRelative(1.0);
        rectangle->beginAtPoint({140, 420});
        rectangle->endAtPoint({340, 520}, {0, 0}, 0);
        view.setZoom(1.5);
        view.setPan({30, 15});
    }
    // The bounding box, in view pixels, of the blue pixels the page draws in a view of 1400 × 1100.
    CGRect drawnBlueBox() const {
        constexpr int width = 1400, height = 1100;
        auto image = MarqenImage::create(width, height);
        {
            auto context = MarqenGraphicsContext::createForImage(image);
            auto renderer = MarqenDOMDocumentRenderer::create(document);
            renderer->setSize(document->frame().size);
            context->concatCTM(view.drawingTransform());
            renderer->drawRect(document->frame(), *context);
        }
        int minX = width, minY = height, maxX = -1, maxY = -1;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                uint32_t pixel = image->pixelAt(x, y);
                unsigned alpha = pixel >> 24, red = (pixel >> 16) & 0xFF, blue = pixel & 0xFF;
                if (alpha > 200 && blue > 200 && red < 60) {
                    minX = std::min(minX, x), maxX = std::max(maxX, x);
                    minY = std::min(minY, y), maxY = std::max(maxY, y);
                }
            }
        if (maxX < 0) return CGRectNull;
        return CGRectMake(minX, minY, maxX + 1 - minX, maxY + 1 - minY);
    }

    std::shared_ptr<MarqenDOMRectangle> rectangle;
};

}  // namespace

TEST_P(ViewMappingTest, ThePageIsDrawnWhereThePointerEditsIt) {
    CGRect drawn = drawnBlueBox();
    ASSERT_FALSE(CGRectIsNull(drawn));
    // The controller's idea of where the outline is, from the model: the stroke centred on the shape's box.
    CGFloat stroke = rectangle->lineWidth() * 1.5;
    CGRect mapped = CGRectApplyAffineTransform(rectangle->bezierPath()->bounds(), view.modelToViewTransform());
    EXPECT_NEAR(CGRectGetMidX(drawn), CGRectGetMidX(mapped), 1.5);
    EXPECT_NEAR(CGRectGetMidY(drawn), CGRectGetMidY(mapped), 1.5);
    EXPECT_NEAR(drawn.size.width, mapped.size.width + stroke, 3);
    EXPECT_NEAR(drawn.size.height, mapped.size.height + stroke, 3);

    // A press on a drawn pixel of the top edge, found from the picture alone, picks the rectangle.
    CGPoint onTopEdge{CGRectGetMidX(drawn), CGRectGetMinY(drawn) + 2};
    EXPECT_EQ(view.elementAtViewPoint(onTopEdge), rectangle);
    // The same height mirrored in the view is empty page: a flipped mapping would have picked it.
    CGPoint mirrored{onTopEdge.x, 1100 - onTopEdge.y};
    EXPECT_EQ(view.elementAtViewPoint(mirrored), nullptr);

    // And the press selects it and drags it, by view pixels at zoom 1.5.
    CGPoint before = rectangle->topLeft();
    view.pointerPressed({onTopEdge});
    view.pointerMoved({{onTopEdge.x + 15, onTopEdge.y + 30}});
    view.pointerReleased({{onTopEdge.x + 15, onTopEdge.y + 30}});
    ASSERT_EQ(view.selectedElements().size(), 1u);
    EXPECT_EQ(view.selectedElements()[0], rectangle);
    CGRect moved = drawnBlueBox();
    EXPECT_NEAR(moved.origin.x - drawn.origin.x, 15, 1.5);
    EXPECT_NEAR(moved.origin.y - drawn.origin.y, 30, 1.5);
    CGPoint after = rectangle->topLeft();
    EXPECT_NEAR(after.x - before.x, 10, 1e-9);
    // Down on the screen is +y in the model of coordinate system 1 and −y in that of coordinate system 2.
    EXPECT_NEAR(after.y - before.y, GetParam() == 2 ? -20 : 20, 1e-9);
    EXPECT_EQ(undo->undoActionName(), "Move");
}

TEST_P(ViewMappingTest, MappingRoundTripsAndZoomKeepsItsAnchor) {
    CGPoint model{123.25, 456.5};
    CGPoint viewPoint = view.viewPointForModelPoint(model);
    CGPoint back = view.modelPointForViewPoint(viewPoint);
    EXPECT_NEAR(back.x, model.x, 1e-9);
    EXPECT_NEAR(back.y, model.y, 1e-9);
    view.setZoom(4, viewPoint);
    CGPoint still = view.viewPointForModelPoint(model);
    EXPECT_NEAR(still.x, viewPoint.x, 1e-9);
    EXPECT_NEAR(still.y, viewPoint.y, 1e-9);
    // View distances are model distances over the zoom, y following the page's axis.
    CGPoint delta = view.modelDeltaForViewDelta({8, 8});
    EXPECT_DOUBLE_EQ(delta.x, 2);
    EXPECT_DOUBLE_EQ(delta.y, GetParam() == 2 ? -2 : 2);
}

INSTANTIATE_TEST_SUITE_P(CoordinateSystems, ViewMappingTest, testing::Values(1ul, 2ul));

TEST(ViewMapping, FrameOriginOfTheUsualCoordinateSystemIsTheViewsTopLeft) {
    test::PageView page;
    page.document->setFrame(CGRectMake(-50, 70, 800, 600));
    CGPoint topLeft = page.view.viewPointForModelPoint({-50, 70});
    EXPECT_DOUBLE_EQ(topLeft.x, 0);
    EXPECT_DOUBLE_EQ(topLeft.y, 0);
    CGPoint bottomRight = page.view.viewPointForModelPoint({750, 670});
    EXPECT_DOUBLE_EQ(bottomRight.x, 800);
    EXPECT_DOUBLE_EQ(bottomRight.y, 600);
}
