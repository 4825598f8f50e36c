#include <gtest/gtest.h>
#include <cairo-pdf.h>
#include <cairo.h>

#include <string>

#include "platform/digest.h"
#include "platform/poppler_document.h"
#include "support/test_support.h"

using namespace marqen;

TEST(MarqenSHA1, KnownVectors) {
    EXPECT_EQ(MarqenSHA1Hex("", 0), "da39a3ee5e6b4b0d3255bfef95601890afd80709");
    EXPECT_EQ(MarqenSHA1Hex("abc", 3), "a9993e364706816aba3e25717850c26c9cd0d89d");
    MarqenSHA1Context pieces;
    std::string million(1000000, 'a');
    pieces.update(million.data(), 400000);
    pieces.update(million.data() + 400000, 600000);
    EXPECT_EQ(MarqenDigestToHex(pieces.finish()), "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
    EXPECT_EQ(MarqenSHA1(std::string_view("abc")), MarqenSHA1("abc", 3));
}

namespace {

// Two pages made with Cairo: 200 × 100 and 300 × 400 points, the first with a red square at its top-left.
std::vector<uint8_t> makePDF() {
    test::TempDir dir;
    auto path = dir / "two.pdf";
    cairo_surface_t *surface = cairo_pdf_surface_create(path.c_str(), 200, 100);
    cairo_t *cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 0, 0);
    cairo_rectangle(cr, 0, 0, 20, 20);
    cairo_fill(cr);
    cairo_show_page(cr);
    cairo_pdf_surface_set_size(surface, 300, 400);
    cairo_show_page(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    std::string bytes = test::readFile(path);
    return std::vector<uint8_t>(bytes.begin(), bytes.end());
}

}  // namespace

TEST(MarqenPDFDocument, PagesBoxesAndDrawing) {
    MarqenError error;
    auto document = MarqenPDFDocument::openData(makePDF(), &error);
    ASSERT_TRUE(document) << error.description();
    ASSERT_EQ(document->pageCount(), 2);
    EXPECT_EQ(document->mediaBox(0), CGRectMake(0, 0, 200, 100));
    EXPECT_EQ(document->cropBox(1), CGRectMake(0, 0, 300, 400));
    EXPECT_EQ(document->rotation(0), 0);
    EXPECT_EQ(document->displaySize(1), CGSizeMake(300, 400));
    EXPECT_TRUE(CGRectIsNull(document->mediaBox(2)));

    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 200, 100);
    cairo_t *cr = cairo_create(surface);
    ASSERT_TRUE(document->drawPage(0, cr, &error)) << error.description();
    cairo_surface_flush(surface);
    auto pixel = [&](int x, int y) {
        return reinterpret_cast<uint32_t *>(cairo_image_surface_get_data(surface) +
                                            y * cairo_image_surface_get_stride(surface))[x];
    };
    EXPECT_EQ(pixel(5, 5), 0xFFFF0000u);
    EXPECT_EQ(pixel(50, 50) >> 24, 0u);
    EXPECT_FALSE(document->drawPage(7, cr, &error));
    EXPECT_EQ(error.domain, "MarqenPDFDocumentErrorDomain");
    EXPECT_EQ(error.code, MarqenPDFDocumentErrorPageOutOfRange);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

TEST(MarqenPDFDocument, RotatedPagesReportRotationAndDrawUpright) {
    // A hand-written one-page PDF with /Rotate 90 and a crop box inside the media box.
    std::string body = "%PDF-1.4\n";
    std::vector<size_t> offsets;
    auto object = [&](const std::string &text) {
        offsets.push_back(body.size());
        body += std::to_string(offsets.size()) + " 0 obj\n" + text + "\nendobj\n";
    };
    std::string content = "1 0 0 rg 0 0 50 50 re f";
    object("<< /Type /Catalog /Pages 2 0 R >>");
    object("<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    object("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 100] /CropBox [0 0 150 100] /Rotate 90 /Contents 4 0 R >>");
    object("<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream");
    size_t xref = body.size();
    body += "xref\n0 5\n0000000000 65535 f \n";
    for (size_t offset : offsets) {
        char line[32];
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
        body += line;
    }
    body += "trailer\n<< /Size 5 /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
    MarqenError error;
    auto document = MarqenPDFDocument::openData(std::vector<uint8_t>(body.begin(), body.end()), &error);
    ASSERT_TRUE(document) << error.description();
    EXPECT_EQ(document->rotation(0), 90);
    EXPECT_EQ(document->mediaBox(0), CGRectMake(0, 0, 200, 100));
    EXPECT_EQ(document->cropBox(0), CGRectMake(0, 0, 150, 100));
    EXPECT_EQ(document->displaySize(0), CGSizeMake(100, 150));

    // Turned a quarter clockwise, the square at the page's bottom-left lands at the top-left.
    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 100, 150);
    cairo_t *cr = cairo_create(surface);
    ASSERT_TRUE(document->drawPage(0, cr, &error));
    cairo_surface_flush(surface);
    auto pixel = [&](int x, int y) {
        return reinterpret_cast<uint32_t *>(cairo_image_surface_get_data(surface) +
                                            y * cairo_image_surface_get_stride(surface))[x];
    };
    EXPECT_EQ(pixel(10, 10), 0xFFFF0000u);
    EXPECT_EQ(pixel(90, 140) >> 24, 0u);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

TEST(MarqenPDFDocument, BrokenInputIsAnError) {
    MarqenError error;
    EXPECT_FALSE(MarqenPDFDocument::openData({}, &error));
    EXPECT_EQ(error.code, MarqenPDFDocumentErrorDamaged);
    std::string junk = "%PDF-1.7\nthis is not really a PDF at all\n%%EOF";
    EXPECT_FALSE(MarqenPDFDocument::openData(std::vector<uint8_t>(junk.begin(), junk.end()), &error));
    EXPECT_EQ(error.domain, "MarqenPDFDocumentErrorDomain");
    EXPECT_EQ(error.code, MarqenPDFDocumentErrorDamaged);
    std::vector<uint8_t> truncated = makePDF();
    truncated.resize(truncated.size() / 3);
    auto document = MarqenPDFDocument::openData(truncated, &error);  // may be repaired or refused, never crash
    if (document) {
        EXPECT_GE(document->pageCount(), 1);
    }
    EXPECT_FALSE(MarqenPDFDocument::openFile("/nonexistent.pdf", &error));
    EXPECT_EQ(error.code, MarqenPDFDocumentErrorFileAccess);
}
