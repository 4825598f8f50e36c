// Which documents are one picture drawn pixel for pixel: the render command writes those straight from the
// picture's file, so what is accepted here must draw exactly the picture's pixels.
#include <gtest/gtest.h>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "render/document_images.h"
#include "render_test_support.h"

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
