// Which documents are one picture drawn pixel for pixel: the render command writes those straight from the
// picture's file, so what is accepted here must draw exactly the picture's pixels.
#include <gtest/gtest.h>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "render/document_images.h"
#include "render_test_support.h"
#include "support/test_support.h"

namespace marqen::test {
namespace {

// Every pixel different, so that any shift, scale or blend shows.
MarqenImageRef photo(int width, int height) {
    auto image = MarqenImage::createUninitialized(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image->setPixelAt(x, y, 0xFF000000u | uint32_t((x * 37 + y * 11) & 0xFF) << 16 |
                                        uint32_t((x * 5 + y * 71) & 0xFF) << 8 | uint32_t((x ^ y) & 0xFF));
    image->markKnownOpaque();
    return image;
}

std::shared_ptr<MarqenDOMDocument> pictureDocument(CGRect frame, const MarqenImageRef &image, double deviceScale = 1) {
    auto document = documentWithAnnotations(frame.size.width, frame.size.height, Json::array());
    document->setFrame(frame);
    document->setDeviceScale(deviceScale);
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setImage(image);
    bitmap->setFrame(frame);
    document->backgroundLayer()->addChild(bitmap);
    return document;
}

bool samePixels(const MarqenImage &a, const MarqenImage &b) {
    if (a.width() != b.width() || a.height() != b.height()) return false;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixelAt(x, y) != b.pixelAt(x, y)) return false;
    return true;
}

TEST(BitmapFillingImage, AcceptedDocumentsDrawExactlyThePicture) {
    const auto image = photo(40, 30);
    struct Case {
        CGRect frame;
        double deviceScale;
    };
    // Frames off the origin, and a frame at half the pixels on a display of twice the density.
    for (const Case &c : {Case{CGRectMake(0, 0, 40, 30), 1}, Case{CGRectMake(-7, 12, 40, 30), 1},
                          Case{CGRectMake(3, 4, 20, 15), 2}}) {
        auto document = pictureDocument(c.frame, image, c.deviceScale);
        const CGSize size = CGSizeMake(40, 30);
        auto bitmap = MarqenDOMDocumentBitmapFillingImage(document, size);
        ASSERT_TRUE(bitmap) << c.frame.origin.x << " " << c.deviceScale;
        EXPECT_EQ(bitmap, document->backgroundLayer()->primaryBitmap());
        for (const auto &background : {std::optional<MarqenRGBAColor>{{1, 1, 1, 1}}, std::optional<MarqenRGBAColor>{}}) {
            auto drawn = MarqenDOMDocumentCreateImageWithSize(document, background, std::nullopt, size);
            ASSERT_TRUE(drawn);
            EXPECT_TRUE(samePixels(*drawn, *image)) << c.frame.origin.x << " " << c.deviceScale;
        }
    }
}

// The page starts as a copy of such a picture and only what lies over it is drawn: the same pixels as
// drawing everything, which a memory-mapped page still does.
TEST(BitmapFillingImage, AnnotationsOverThePictureDrawAsOverTheWholePage) {
    const Json shadow = {{"shadowColor", colorJson(0, 0, 0)}, {"shadowOpacity", 0.5}, {"shadowRadius", 3},
                         {"shadowOffset", {{"width", 2}, {"height", 2}}}};
    const Json stroke = {{"type", "Vector"}, {"path", "M2,2L38,25"}, {"strokeColor", colorJson(255, 0, 0)},
                         {"lineWidth", 3}, {"style", shadow}};
    const Json fill = {{"type", "Vector"}, {"path", "M5,20L20,5L30,28Z"}, {"fillColor", colorJson(0, 0, 255, 0.5)},
                       {"strokeColor", colorJson(0, 200, 0, 0.7)}, {"lineWidth", 1.5}};
    TempDir dir;
    int index = 0;
    for (bool opaque : {true, false}) {
        auto picture = photo(40, 30);
        if (!opaque) picture->setPixelAt(5, 5, 0x40102030);
        auto document = pictureDocument(CGRectMake(0, 0, 40, 30), picture);
        document->annotationLayer()->addChild(MarqenDOMNode::nodeWithDictionary(stroke));
        document->textLayer()->addChild(MarqenDOMNode::nodeWithDictionary(fill));
        document->textLayer()->setTransform(CGAffineTransformMakeTranslation(1.5, -2));
        ASSERT_TRUE(MarqenDOMDocumentBitmapFillingImage(document, CGSizeMake(40, 30)) == nullptr);
        for (const auto &background : {std::optional<MarqenRGBAColor>{{1, 1, 1, 1}}, std::optional<MarqenRGBAColor>{}}) {
            auto drawn = MarqenDOMDocumentCreateImageWithSize(document, background, std::nullopt, CGSizeMake(40, 30));
            auto whole = MarqenDOMDocumentCreateImageWithSize(document, background, dir / std::to_string(index++),
                                                              CGSizeMake(40, 30));
            ASSERT_TRUE(drawn && whole);
            EXPECT_TRUE(samePixels(*drawn, *whole)) << opaque;
            EXPECT_NE(drawn->pixelAt(20, 13), picture->pixelAt(20, 13));  // the annotations are there
        }
    }
}

TEST(BitmapFillingImage, AnythingElseToDrawOrAnyResamplingIsRefused) {
    const auto image = photo(40, 30);
    const CGRect frame = CGRectMake(0, 0, 40, 30);
    const CGSize size = CGSizeMake(40, 30);
    EXPECT_TRUE(MarqenDOMDocumentBitmapFillingImage(pictureDocument(frame, image), CGSizeMake(40.4, 29.6)));
    // The frame fills a larger image too; whether the picture has that many pixels is the caller's to check.
    EXPECT_TRUE(MarqenDOMDocumentBitmapFillingImage(pictureDocument(frame, image), CGSizeMake(80, 60)));
    // A frame of another shape than the output.
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(pictureDocument(frame, image), CGSizeMake(40, 31)));
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(pictureDocument(CGRectMake(0, 0, 40, 30.5), image), size));

    auto annotated = pictureDocument(frame, image);
    annotated->annotationLayer()->addChild(MarqenDOMNode::nodeWithDictionary(
        {{"type", "Vector"}, {"path", "M2,2L18,8"}, {"strokeColor", colorJson(0, 0, 255)}, {"lineWidth", 2}}));
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(annotated, size));

    auto twoPictures = pictureDocument(frame, image);
    auto second = MarqenDOMBitmap::create();
    second->setFrame(CGRectMake(0, 0, 10, 10));
    twoPictures->backgroundLayer()->addChild(second);
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(twoPictures, size));

    auto onTop = documentWithAnnotations(40, 30, Json::array());
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setFrame(frame);
    onTop->annotationLayer()->addChild(bitmap);
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(onTop, size));

    auto cropped = pictureDocument(frame, image);
    cropped->backgroundLayer()->primaryBitmap()->setCropRect(CGRectMake(0, 0, 20, 30));
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(cropped, size));

    auto smaller = pictureDocument(frame, image);
    smaller->backgroundLayer()->primaryBitmap()->setFrame(CGRectMake(0, 0, 39, 30));
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(smaller, size));

    // A turn of the picture, of its layer or of the whole document.
    const CGAffineTransform flip = CGAffineTransformMake(-1, 0, 0, 1, 40, 0);
    auto turnedPicture = pictureDocument(frame, image);
    turnedPicture->backgroundLayer()->primaryBitmap()->setTransform(flip);
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(turnedPicture, size));
    auto turnedLayer = pictureDocument(frame, image);
    turnedLayer->backgroundLayer()->setTransform(flip);
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(turnedLayer, size));
    auto turnedDocument = pictureDocument(frame, image);
    turnedDocument->setTransform(flip);
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(turnedDocument, size));

    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(documentWithAnnotations(40, 30, Json::array()), size));
    EXPECT_FALSE(MarqenDOMDocumentBitmapFillingImage(nullptr, size));
}

}  // namespace
}  // namespace marqen::test
