#include <gtest/gtest.h>

#include <filesystem>

#include "dom/bitmap.h"
#include "dom/layer.h"
#include "platform/image_io.h"
#include "platform/poppler_document.h"
#include "platform/pdf_drawing.h"
#include "render/document_images.h"
#include "render_test_support.h"
#include "support/test_support.h"

namespace marqen::test {
namespace {

// A background picture whose left half is transparent and right half opaque green.
std::shared_ptr<MarqenDOMDocument> documentWithHalfTransparentPicture() {
    auto document = documentWithAnnotations(20, 10, Json::array());
    auto bitmap = MarqenDOMBitmap::create();
    auto image = MarqenImage::create(20, 10);
    for (int y = 0; y < 10; ++y)
        for (int x = 10; x < 20; ++x) image->setPixelAt(x, y, 0xFF00FF00);
    bitmap->setImage(image);
    bitmap->setFrame(CGRectMake(0, 0, 20, 10));
    document->backgroundLayer()->addChild(bitmap);
    return document;
}

TEST(DocumentImages, TransparentPNGAndWhiteJPEG) {
    auto document = documentWithHalfTransparentPicture();
    EXPECT_FALSE(CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierPNG));
    EXPECT_FALSE(CopyMarqenDOMDocumentBackgroundColorForDocument(*document, std::nullopt));
    auto jpegColor = CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierJPEG);
    ASSERT_TRUE(jpegColor);
    EXPECT_EQ(*jpegColor, (MarqenRGBAColor{1, 1, 1, 1}));
    EXPECT_TRUE(CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierPDF));

    auto png = MarqenDOMDocumentPNGRepresentation(document, false);
    ASSERT_TRUE(png);
    auto decodedPNG = MarqenImageDecodeData(png->data(), png->size());
    ASSERT_TRUE(decodedPNG);
    EXPECT_EQ(decodedPNG->width(), 20);
    EXPECT_EQ(pixelAt(*decodedPNG, 3, 5).a, 0);
    EXPECT_EQ(pixelAt(*decodedPNG, 15, 5).g, 255);

    auto jpeg = MarqenDOMDocumentJPEGRepresentation(document);
    ASSERT_TRUE(jpeg);
    auto decodedJPEG = MarqenImageDecodeData(jpeg->data(), jpeg->size());
    ASSERT_TRUE(decodedJPEG);
    Pixel left = pixelAt(*decodedJPEG, 2, 5);
    EXPECT_EQ(left.a, 255);
    EXPECT_GT(left.r, 245);
    EXPECT_GT(left.b, 245);

    // Forcing an opaque background, or an opaque picture, makes PNG white too.
    document->setForcesOpaqueBackground(true);
    EXPECT_TRUE(CopyMarqenDOMDocumentBackgroundColorForDocument(*document, kMarqenTypeIdentifierPNG));
    auto plain = documentWithAnnotations(20, 10, Json::array());
    EXPECT_TRUE(CopyMarqenDOMDocumentBackgroundColorForDocument(*plain, kMarqenTypeIdentifierPNG));
}

TEST(DocumentImages, PNGLimitFitsInto1024) {
    auto document = documentWithAnnotations(2048, 512, Json::array());
    auto png = MarqenDOMDocumentPNGRepresentation(document, true);
    ASSERT_TRUE(png);
    MarqenImageProperties properties;
    ASSERT_TRUE(MarqenImageCopyPropertiesFromData(png->data(), png->size(), &properties));
    EXPECT_EQ(properties.pixelWidth(), 1024);
    EXPECT_EQ(properties.pixelHeight(), 256);
}

TEST(DocumentImages, SizesWithoutPixelsOrAboveTheLimitAreErrors) {
    auto document = documentWithAnnotations(100, 100, Json::array());
    MarqenError error;
    EXPECT_FALSE(MarqenDOMDocumentCreateImageWithSize(document, std::nullopt, std::nullopt, CGSizeMake(0, 0), &error));
    EXPECT_EQ(error.code, MarqenDOMDocumentRenderErrorInvalidSize);
    EXPECT_FALSE(MarqenDOMDocumentCreateImageWithSize(document, std::nullopt, std::nullopt, CGSizeMake(NAN, 10), &error));
    EXPECT_EQ(error.code, MarqenDOMDocumentRenderErrorInvalidSize);
    EXPECT_FALSE(
        MarqenDOMDocumentCreateImageWithSize(document, std::nullopt, std::nullopt, CGSizeMake(100000, 100000), &error));
    EXPECT_EQ(error.code, MarqenDOMDocumentRenderErrorTooLarge);
    EXPECT_NE(error.localizedDescription().find("256 megapixels"), std::string::npos);
    EXPECT_FALSE(MarqenDOMDocumentCreateImageWithSize(nullptr, std::nullopt, std::nullopt, CGSizeMake(10, 10), &error));
    EXPECT_EQ(error.code, MarqenDOMDocumentRenderErrorInvalidDocument);
}

TEST(DocumentImages, HostileCoordinatesDrawWithoutHarm) {
    Json wild = {{"type", "Vector"}, {"path", "M0,0L1e300,1e300L-1e300,5"}, {"strokeColor", colorJson(0, 0, 0)}, {"lineWidth", 1e200}};
    Json nan = {{"type", "Vector"},
                {"strokeColor", colorJson(0, 0, 0)},
                {"lineWidth", 3},
                {"extension", {{"type", "Line"}, {"startPoint", {{"x", 1}, {"y", 1}}}, {"endPoint", {{"x", 1e308}, {"y", -1e308}}}}}};
    // Transforms whose product with the view's is not invertible in doubles are left out, not allowed
    // to stop the drawing of what follows.
    Json tiny = wild, huge = wild;
    tiny["transform"] = {{"a", 1e-170}, {"b", 0}, {"c", 0}, {"d", 1e-170}, {"e", 0}, {"f", 0}};
    huge["transform"] = {{"a", 1e200}, {"b", 0}, {"c", 0}, {"d", 1e200}, {"e", 0}, {"f", 0}};
    Json cover = {{"type", "Vector"},
                  {"fillColor", colorJson(255, 0, 0)},
                  {"lineWidth", 1},
                  {"extension",
                   {{"type", "Polygon"},
                    {"vertices", {{{"x", 0}, {"y", 0}}, {{"x", 64}, {"y", 0}}, {{"x", 64}, {"y", 64}}, {{"x", 0}, {"y", 64}}}},
                    {"extension", {{"type", "Rectangle"}}}}}};
    auto document = documentWithAnnotations(64, 64, {wild, nan, tiny, huge, cover});
    auto image = MarqenDOMDocumentCreateImageWithSize(document, MarqenRGBAColor{1, 1, 1, 1}, std::nullopt, CGSizeMake(64, 64));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->width(), 64);
    EXPECT_EQ(pixelAt(*image, 32, 32).r, 255);
    EXPECT_EQ(pixelAt(*image, 32, 32).g, 0);
}

TEST(DocumentImages, MemoryMappedBufferHoldsTheSamePixels) {
    TempDir directory;
    auto document = documentWithHalfTransparentPicture();
    auto heap = MarqenDOMDocumentCreateImageWithSize(document, std::nullopt, std::nullopt, CGSizeMake(40, 20));
    auto mapped = MarqenDOMDocumentCreateImageWithSize(document, std::nullopt, directory / "pixels.raw", CGSizeMake(40, 20));
    ASSERT_TRUE(heap && mapped);
    EXPECT_EQ(std::memcmp(heap->data(), mapped->data(), heap->byteCount()), 0);
    EXPECT_EQ(std::filesystem::file_size(directory / "pixels.raw"), heap->byteCount());
    MarqenError error;
    EXPECT_FALSE(MarqenDOMDocumentCreateImageWithSize(document, std::nullopt, directory / "no" / "such" / "dir.raw",
                                                      CGSizeMake(4, 4), &error));
    EXPECT_EQ(error.code, MarqenDOMDocumentRenderErrorBufferFailed);
}

TEST(DocumentImages, RegionAndFlattenedBitmaps) {
    Json red = {{"type", "Vector"},
                {"fillColor", colorJson(255, 0, 0)},
                {"lineWidth", 1},
                {"extension",
                 {{"type", "Polygon"},
                  {"vertices", {{{"x", 0}, {"y", 0}}, {{"x", 10}, {"y", 0}}, {{"x", 10}, {"y", 10}}, {{"x", 0}, {"y", 10}}}},
                  {"extension", {{"type", "Rectangle"}}}}}};
    auto document = documentWithHalfTransparentPicture();
    document->annotationLayer()->addChild(MarqenDOMNode::nodeWithDictionary(red));
    // The region (10, 0, 10, 10) is the green half, scaled to 30 × 30.
    auto region = MarqenDOMDocumentCreateImageWithSizeOfRegion(document, std::nullopt, CGSizeMake(30, 30),
                                                               CGRectMake(10, 0, 10, 10));
    ASSERT_TRUE(region);
    EXPECT_EQ(pixelAt(*region, 2, 2).g, 255);
    EXPECT_EQ(pixelAt(*region, 27, 27).g, 255);
    auto topLeft = MarqenDOMDocumentCreateImageWithSizeOfRegion(document, std::nullopt, CGSizeMake(10, 10),
                                                                CGRectMake(0, 0, 5, 5));
    EXPECT_EQ(pixelAt(*topLeft, 8, 8).r, 255);

    auto flat = MarqenDOMDocumentCreateImageByFlatteningBitmaps(document);
    ASSERT_TRUE(flat);
    EXPECT_EQ(pixelAt(*flat, 3, 3).a, 0);  // the red annotation is left out
    EXPECT_EQ(pixelAt(*flat, 15, 3).g, 255);
}

TEST(DocumentImages, VectorPDFKeepsPathsAndLeavesThePictureOut) {
    Json blue = {{"type", "Vector"}, {"path", "M2,2L18,8"}, {"strokeColor", colorJson(0, 0, 255)}, {"lineWidth", 2}};
    auto document = documentWithHalfTransparentPicture();
    document->annotationLayer()->addChild(MarqenDOMNode::nodeWithDictionary(blue));
    MarqenError error;
    auto pdf = MarqenDOMDocumentPDFRepresentation(document, false, &error);
    ASSERT_TRUE(pdf) << error.localizedDescription();
    std::string bytes(pdf->begin(), pdf->end());
    EXPECT_EQ(bytes.rfind("%PDF-", 0), 0u);
    auto opened = MarqenPDFDocument::openData(*pdf, &error);
    ASSERT_TRUE(opened) << error.localizedDescription();
    EXPECT_EQ(opened->pageCount(), 1);
    EXPECT_EQ(opened->cropBox(0).size, CGSizeMake(20, 10));
    // Drawn back, the page holds the blue line and nothing of the green picture.
    auto page = MarqenImage::create(20, 10);
    auto context = MarqenGraphicsContext::createForImage(page);
    context->drawWithCairo([&](cairo_t *cairo) { EXPECT_TRUE(opened->drawPage(0, cairo)); });
    context.reset();
    EXPECT_EQ(pixelAt(*page, 15, 2).a, 0);
    EXPECT_GT(pixelAt(*page, 10, 5).b, 200);
    EXPECT_GT(pixelAt(*page, 10, 5).a, 200);
    EXPECT_EQ(pixelAt(*page, 10, 5).g, 0);
}

TEST(DocumentImages, SmartThumbnailRect) {
    auto document = documentWithAnnotations(1000, 800, Json::array());
    // The document point's y is reversed into view coordinates: (500, 400) stays the centre.
    EXPECT_EQ(MarqenDOMDocumentSmartThumbnailRect(*document, CGPointMake(500, 400), CGSizeMake(200, 200)),
              CGRectMake(400, 300, 200, 200));
    EXPECT_EQ(MarqenDOMDocumentSmartThumbnailRect(*document, CGPointMake(500, 100), CGSizeMake(200, 200)),
              CGRectMake(400, 600, 200, 200));
    EXPECT_EQ(MarqenDOMDocumentSmartThumbnailRect(*document, CGPointMake(50, 750), CGSizeMake(200, 200)),
              CGRectMake(0, 0, 200, 200));
    EXPECT_EQ(MarqenDOMDocumentSmartThumbnailRect(*document, CGPointMake(990, 10), CGSizeMake(200, 200)),
              CGRectMake(800, 600, 200, 200));
    // Larger than the document: raised to 0, then lowered below it.
    EXPECT_EQ(MarqenDOMDocumentSmartThumbnailRect(*document, CGPointMake(500, 400), CGSizeMake(1200, 900)),
              CGRectMake(-200, -100, 1200, 900));
}

TEST(DocumentImages, CaptionIsShortenedOnlyWhenFarTooLong) {
    // A portrait page: 100 × 200 points.
    auto pdfBytes = MarqenPDFDrawingCreateData(CGSizeMake(100, 200), [](MarqenGraphicsContext &) {});
    ASSERT_TRUE(pdfBytes);
    auto pdf = MarqenPDFDocument::openData(*pdfBytes);
    ASSERT_TRUE(pdf);
    auto document = documentWithAnnotations(640, 480, Json::array());
    // Base size 28; the page picture is 28 wide; the limit is 0.95 × floor(available − 28).
    EXPECT_EQ(MarqenDOMDocumentLimitCaptionLength(*document, "Short", *pdf, 600), "Short");
    std::string longCaption(200, 'W');
    // A little too long (ratio ≥ 0.4) stays as it is.
    std::string moderate(30, 'W');
    EXPECT_EQ(MarqenDOMDocumentLimitCaptionLength(*document, moderate, *pdf, 600), moderate);
    std::string shortened = MarqenDOMDocumentLimitCaptionLength(*document, longCaption, *pdf, 300);
    ASSERT_GT(shortened.size(), 3u);
    EXPECT_LT(shortened.size(), longCaption.size());
    EXPECT_EQ(shortened.substr(shortened.size() - 3), "\xE2\x80\xA6");
    // Nothing fits: empty, without an ellipsis.
    EXPECT_EQ(MarqenDOMDocumentLimitCaptionLength(*document, longCaption, *pdf, 10), "");
}

}  // namespace
}  // namespace marqen::test
