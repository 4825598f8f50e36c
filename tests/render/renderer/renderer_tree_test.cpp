#include <gtest/gtest.h>

#include "dom/layer.h"
#include "dom/rectangle.h"
#include "dom/stamp.h"
#include "dom/text.h"
#include "render/bitmap_renderer.h"
#include "render/stamp_renderer.h"
#include "render/text_renderer.h"
#include "render/vector_renderer.h"
#include "render_test_support.h"

namespace marqen::test {
namespace {

Json rectangleJson(double x, double y) {
    return {{"type", "Vector"},
            {"strokeColor", colorJson(0, 0, 0)},
            {"lineWidth", 2},
            {"extension",
             {{"type", "Polygon"},
              {"vertices", {{{"x", x}, {"y", y}}, {{"x", x + 10}, {"y", y}}, {{"x", x + 10}, {"y", y + 10}}, {{"x", x}, {"y", y + 10}}}},
              {"extension", {{"type", "Rectangle"}}}}}};
}

std::vector<const MarqenDOMNode *> mirroredNodes(const MarqenDOMNodeRenderer &renderer) {
    std::vector<const MarqenDOMNode *> nodes;
    for (const auto &child : renderer.children()) nodes.push_back(child->node().get());
    return nodes;
}

std::vector<const MarqenDOMNode *> nodesOf(const MarqenDOMNode &node) {
    std::vector<const MarqenDOMNode *> nodes;
    for (const auto &child : node.children()) nodes.push_back(child.get());
    return nodes;
}

TEST(RendererTree, BuildsOneRendererPerDrawnNodeByExactClass) {
    auto document = documentWithAnnotations(100, 100, {rectangleJson(0, 0), rectangleJson(20, 20)});
    auto stamp = MarqenDOMStamp::createWithStampName("com.brondale.marqen.happy");
    document->textLayer()->addChild(stamp);
    auto text = MarqenDOMText::create();
    document->textLayer()->addChild(text);

    auto renderer = MarqenDOMDocumentRenderer::create(document);
    ASSERT_EQ(renderer->children().size(), 3u);
    EXPECT_EQ(mirroredNodes(*renderer), nodesOf(*document));
    const auto &annotations = renderer->children()[1];
    ASSERT_EQ(annotations->children().size(), 2u);
    EXPECT_NE(dynamic_cast<MarqenDOMVectorRenderer *>(annotations->children()[0].get()), nullptr);
    const auto &texts = renderer->children()[2]->children();
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_NE(dynamic_cast<MarqenDOMStampRenderer *>(texts[0].get()), nullptr);
    EXPECT_NE(dynamic_cast<MarqenDOMTextRenderer *>(texts[1].get()), nullptr);
    EXPECT_EQ(texts[1]->parent(), renderer->children()[2]);
    EXPECT_EQ(texts[1]->documentRenderer(), renderer.get());
    EXPECT_EQ(renderer->existingRendererForNode(stamp.get()), texts[0]);
    EXPECT_EQ(renderer->existingRendererForNode(nullptr), nullptr);
}

TEST(RendererTree, EveryStampNameHasArtwork) {
    auto image = MarqenImage::create(8, 8);
    auto context = MarqenGraphicsContext::createForImage(image);
    std::vector<std::string> names = MarqenDOMStamp::allStampNames();
    for (const auto &name : MarqenDOMStamp::allFunnyStampNames()) names.push_back(name);
    EXPECT_EQ(names.size(), 10u);
    for (const auto &name : names)
        EXPECT_TRUE(MarqenDOMStampRenderer::drawStampName(name, *context, CGRectMake(0, 0, 8, 8), std::nullopt, false))
            << name;
    EXPECT_FALSE(MarqenDOMStampRenderer::drawStampName("com.brondale.marqen.unknown", *context, CGRectMake(0, 0, 8, 8),
                                                       std::nullopt, false));
}

TEST(RendererTree, FollowsInsertionRemovalAndReplacementAtTheSameIndex) {
    auto document = documentWithAnnotations(100, 100, {rectangleJson(0, 0), rectangleJson(20, 20), rectangleJson(40, 40)});
    auto renderer = MarqenDOMDocumentRenderer::create(document);
    auto layer = document->annotationLayer();
    auto &layerRenderer = *renderer->children()[1];

    auto inserted = MarqenDOMNode::nodeWithDictionary(rectangleJson(60, 60));
    layer->insertObjectInChildrenAtIndex(inserted, 1);
    EXPECT_EQ(mirroredNodes(layerRenderer), nodesOf(*layer));

    auto second = layer->childAtIndex(2);
    layer->removeChild(second);
    EXPECT_EQ(mirroredNodes(layerRenderer), nodesOf(*layer));
    EXPECT_EQ(renderer->existingRendererForNode(second.get()), nullptr);

    auto replacement = MarqenDOMNode::nodeWithDictionary(rectangleJson(80, 80));
    auto oldRenderer = layerRenderer.children()[0];
    layer->replaceObjectInChildrenAtIndex(0, replacement);
    EXPECT_EQ(mirroredNodes(layerRenderer), nodesOf(*layer));
    EXPECT_EQ(layerRenderer.children()[0]->node(), replacement);
    EXPECT_EQ(oldRenderer->parent(), nullptr);

    layer->insertChildrenAtIndexes({MarqenDOMNode::nodeWithDictionary(rectangleJson(1, 1)),
                                    MarqenDOMNode::nodeWithDictionary(rectangleJson(2, 2))},
                                   {0, 3});
    EXPECT_EQ(mirroredNodes(layerRenderer), nodesOf(*layer));
    layer->removeChildrenAtIndexes({0, 2});
    EXPECT_EQ(mirroredNodes(layerRenderer), nodesOf(*layer));
}

TEST(RendererTree, SetNodeStopsMirroringTheOldNode) {
    auto document = documentWithAnnotations(100, 100, {rectangleJson(0, 0)});
    auto renderer = MarqenDOMDocumentRenderer::create(document);
    auto layerRenderer = renderer->children()[1];
    auto other = MarqenDOMLayer::create();
    layerRenderer->setNode(other);
    EXPECT_TRUE(layerRenderer->children().empty());
    document->annotationLayer()->addChild(MarqenDOMNode::nodeWithDictionary(rectangleJson(5, 5)));
    EXPECT_TRUE(layerRenderer->children().empty());
    other->addChild(MarqenDOMNode::nodeWithDictionary(rectangleJson(5, 5)));
    EXPECT_EQ(layerRenderer->children().size(), 1u);
}

TEST(RendererTree, ViewModelTransformCentresTheFrameAndReversesY) {
    auto document = documentWithAnnotations(200, 100, Json::array());
    auto renderer = MarqenDOMDocumentRenderer::create(document);
    EXPECT_EQ(renderer->documentScale(), CGSizeMake(1, 1));
    renderer->setSize(CGSizeMake(400, 400));
    EXPECT_EQ(renderer->documentScale(), CGSizeMake(2, 2));
    // x/2 − 0.5·(400/2 − 200) and (400 − y)/2 − 0.5·(400/2 − 100)
    CGPoint p = CGPointApplyAffineTransform(CGPointMake(100, 300), renderer->viewModelTransform());
    EXPECT_DOUBLE_EQ(p.x, 50);
    EXPECT_DOUBLE_EQ(p.y, 0);
    p = CGPointApplyAffineTransform(CGPointMake(400, 100), renderer->viewModelTransform());
    EXPECT_DOUBLE_EQ(p.x, 200);
    EXPECT_DOUBLE_EQ(p.y, 100);
    CGPoint back = CGPointApplyAffineTransform(CGPointMake(50, 0), renderer->modelViewTransform());
    EXPECT_NEAR(back.x, 100, 1e-9);
    EXPECT_NEAR(back.y, 300, 1e-9);
    EXPECT_EQ(renderer->originOffset(), CGPointMake(100, 50));
    // The scale follows the frame.
    document->setFrame(CGRectMake(0, 0, 400, 100));
    EXPECT_EQ(renderer->documentScale(), CGSizeMake(1, 1));
}

}  // namespace
}  // namespace marqen::test
