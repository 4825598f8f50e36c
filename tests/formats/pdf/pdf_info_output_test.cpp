// What `marqen pdf-info` prints, byte for byte: the JSON document and the text listing, for hand-made
// page trees with inherited, indirect, real and broken boxes, a many-page tree and a file drawn by Cairo.
#include <gtest/gtest.h>

#include <sstream>

#include "formats/pdf/pdf_test_helpers.h"
#include "support/test_support.h"

namespace marqen {
namespace {

using test::PDFBuilder;
using test::runCli;
using test::TempDir;

std::string quoted(const std::filesystem::path &path) { return "'" + path.string() + "'"; }

// Boxes inherited from the root and from a middle node, an indirect box with an indirect element, reals
// (also -0.0), a real rotation, and values that are not boxes or rotations.
std::string oddBoxesFile() {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R 8 0 R] /Count 5 /MediaBox [0 0 300 300] "
                      "/Rotate 180 >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R >>");
    builder.object(4, "<< /Type /Page /Parent 2 0 R /CropBox [10.5 10.25 290.125 -0.0] /Rotate 90.7 >>");
    builder.object(5, "<< /Type /Page /Parent 2 0 R /MediaBox 6 0 R /CropBox [1 2 3] /Rotate -270 >>");
    builder.object(6, "[0 7 0 R 595.2756 841.8898]");
    builder.object(7, "3.14159265358979");
    builder.object(8, "<< /Type /Pages /Parent 2 0 R /Kids [9 0 R 10 0 R] /Count 2 /CropBox [5 5 600 780] "
                      "/Rotate /Bad >>");
    builder.object(9, "<< /Type /Page /Parent 8 0 R /MediaBox null >>");
    builder.object(10, "<< /Type /Page /Parent 8 0 R /MediaBox [0 0 100000.5 792] /CropBox [0 0 true 1] >>");
    return builder.finishWithTable("/Root 1 0 R");
}

const char *const kOddBoxesJSONPages = R"("pageBoxes": [
    {
      "page": 1,
      "mediaBox": [
        0,
        0,
        300,
        300
      ],
      "cropBox": [
        0,
        0,
        300,
        300
      ],
      "rotate": 180
    },
    {
      "page": 2,
      "mediaBox": [
        0,
        0,
        300,
        300
      ],
      "cropBox": [
        10.5,
        10.25,
        290.125,
        -0.0
      ],
      "rotate": 90
    },
    {
      "page": 3,
      "mediaBox": [
        0,
        3.14159265358979,
        595.2756,
        841.8898
      ],
      "cropBox": [
        0,
        3.14159265358979,
        595.2756,
        841.8898
      ],
      "rotate": -270
    },
    {
      "page": 4,
      "mediaBox": null,
      "cropBox": [
        5,
        5,
        600,
        780
      ],
      "rotate": 0
    },
    {
      "page": 5,
      "mediaBox": [
        0,
        0,
        100000.5,
        792
      ],
      "cropBox": [
        0,
        0,
        100000.5,
        792
      ],
      "rotate": 0
    }
  ]
}
)";

TEST(PDFInfoOutput, JSONAndTextOfInheritedIndirectRealAndBrokenBoxes) {
    TempDir dir;
    const std::string data = oddBoxesFile();
    test::writeFile(dir / "odd.pdf", data);

    std::string json;
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "odd.pdf") + " --json", &json), 0);
    const std::string head = "{\n  \"pages\": 5,\n  \"xref\": \"table\",\n  \"rich\": false,\n  \"originalSize\": " +
                             std::to_string(data.size()) +
                             ",\n  \"nextObjectNumber\": 11,\n  \"hasDom\": false,\n  \"encrypted\": false,\n  ";
    EXPECT_EQ(json, head + kOddBoxesJSONPages);

    std::string text;
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "odd.pdf"), &text), 0);
    EXPECT_EQ(text, "pages: 5\n"
                    "cross-reference: table\n"
                    "annotated (rich): no\n"
                    "original size: " + std::to_string(data.size()) + " bytes\n"
                    "next object number: 11\n"
                    "embedded document: no\n"
                    "page 1: media box [0,0,300,300], crop box [0,0,300,300], rotate 180\n"
                    "page 2: media box [0,0,300,300], crop box [10.5,10.25,290.125,-0.0], rotate 90\n"
                    "page 3: media box [0,3.14159265358979,595.2756,841.8898], crop box "
                    "[0,3.14159265358979,595.2756,841.8898], rotate -270\n"
                    "page 4: media box null, crop box [5,5,600,780], rotate 0\n"
                    "page 5: media box [0,0,100000.5,792], crop box [0,0,100000.5,792], rotate 0\n");
}

TEST(PDFInfoOutput, ATreeThatCannotBeWalkedToTheEndListsThePagesBeforeTheBreak) {
    TempDir dir;
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    // The third kid is no page: the walk stops there, after two pages.
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R 3 0 R] /Count 4 /MediaBox [0 0 10 20] >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R >>");
    builder.object(4, "<< /Type /Page /Parent 2 0 R /Rotate 270 >>");
    builder.object(5, "(a string)");
    test::writeFile(dir / "broken.pdf", builder.finishWithTable("/Root 1 0 R"));
    std::string text;
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "broken.pdf"), &text), 0);
    EXPECT_NE(text.find("page tree: could not be walked completely\n"
                        "page 1: media box [0,0,10,20], crop box [0,0,10,20], rotate 0\n"
                        "page 2: media box [0,0,10,20], crop box [0,0,10,20], rotate 270\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(text.find("page 3"), std::string::npos) << text;
}

// A tree of middles * perMiddle pages: even pages carry their own box, odd ones inherit their middle's
// (every third middle has none and passes the root's on); middles alternate a rotation and a crop box.
std::string manyPagesFile(int middles, int perMiddle) {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    std::string middleKids;
    std::vector<std::pair<int, std::string>> objects;
    int next = 3;
    for (int m = 0; m < middles; ++m) {
        int middle = next++;
        middleKids += std::to_string(middle) + " 0 R ";
        std::string kids;
        for (int p = 0; p < perMiddle; ++p) {
            int page = next++;
            int index = m * perMiddle + p;
            kids += std::to_string(page) + " 0 R ";
            std::string own = index % 2 == 0 ? " /MediaBox [0 0 " + std::to_string(100 + index) + " " +
                                                   std::to_string(200 + index) + "]"
                                             : "";
            objects.emplace_back(page, "<< /Type /Page /Parent " + std::to_string(middle) + " 0 R" + own + " >>");
        }
        std::string inherited = m % 3 == 2 ? "" : " /MediaBox [0 0 612.5 792]";
        inherited += m % 2 == 0 ? " /Rotate 90" : " /CropBox [1 2 3 4]";
        objects.emplace_back(middle, "<< /Type /Pages /Parent 2 0 R /Kids [" + kids + "] /Count " +
                                         std::to_string(perMiddle) + inherited + " >>");
    }
    builder.object(2, "<< /Type /Pages /Kids [" + middleKids + "] /Count " + std::to_string(middles * perMiddle) +
                          " /MediaBox [0 0 595 842] >>");
    std::sort(objects.begin(), objects.end());
    for (const auto &[number, body] : objects) builder.object(number, body);
    return builder.finishWithTable("/Root 1 0 R");
}

// The same pages' listing, written out here from the rules above.
std::string expectedManyPagesJSON(int middles, int perMiddle) {
    std::ostringstream out;
    out << "\"pageBoxes\": [\n";
    for (int index = 0; index < middles * perMiddle; ++index) {
        int m = index / perMiddle;
        std::string width = index % 2 == 0 ? std::to_string(100 + index) : m % 3 == 2 ? "595" : "612.5";
        std::string height = index % 2 == 0 ? std::to_string(200 + index) : m % 3 == 2 ? "842" : "792";
        auto box = [](const std::string &a, const std::string &b, const std::string &c, const std::string &d) {
            return "[\n        " + a + ",\n        " + b + ",\n        " + c + ",\n        " + d + "\n      ]";
        };
        std::string media = box("0", "0", width, height);
        out << (index ? ",\n" : "") << "    {\n      \"page\": " << index + 1 << ",\n      \"mediaBox\": " << media
            << ",\n      \"cropBox\": " << (m % 2 == 0 ? media : box("1", "2", "3", "4"))
            << ",\n      \"rotate\": " << (m % 2 == 0 ? 90 : 0) << "\n    }";
    }
    out << "\n  ]\n}\n";
    return out.str();
}

TEST(PDFInfoOutput, EveryPageOfAManyPageTreeIsListedWithItsBoxes) {
    TempDir dir;
    test::writeFile(dir / "many.pdf", manyPagesFile(6, 50));
    std::string json;
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "many.pdf") + " --json", &json), 0);
    size_t listing = json.find("\"pageBoxes\": [");
    ASSERT_NE(listing, std::string::npos);
    EXPECT_EQ(json.substr(listing), expectedManyPagesJSON(6, 50));
    EXPECT_EQ(json.find("\"pages\": 300,"), 4u);
}

TEST(PDFInfoOutput, APageListedTwiceAndARepairedPageAreShownEachTime) {
    TempDir dir;
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 3 0 R 4 0 R 3 0 R] /Count 5 /MediaBox [0 0 10 10] >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /Rotate 90 >>");
    // A stray ")" that the reader skips with warnings, losing the pairing of the entries after it (the
    // page keeps its type and parent and inherits the root's box).
    builder.object(4, "<< /Type /Page /Parent 2 0 R ) /MediaBox [0 0 20 30] >>");
    test::writeFile(dir / "repeated.pdf", builder.finishWithTable("/Root 1 0 R"));
    std::string text, errors;
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "repeated.pdf"), &text, &errors), 0);
    EXPECT_NE(text.find("page 1: media box [0,0,10,10], crop box [0,0,10,10], rotate 90\n"
                        "page 2: media box [0,0,10,10], crop box [0,0,10,10], rotate 0\n"
                        "page 3: media box [0,0,10,10], crop box [0,0,10,10], rotate 90\n"
                        "page 4: media box [0,0,10,10], crop box [0,0,10,10], rotate 0\n"
                        "page 5: media box [0,0,10,10], crop box [0,0,10,10], rotate 90\n"),
              std::string::npos)
        << text;
    // The repaired page is read once, so its problem is reported once.
    size_t first = errors.find("Found invalid token");
    ASSERT_NE(first, std::string::npos) << errors;
    EXPECT_EQ(errors.find("Found invalid token", first + 1), std::string::npos) << errors;
}

TEST(PDFInfoOutput, EveryPageOfACairoFileHasItsDrawnSize) {
    TempDir dir;
    test::makeCairoPDF(dir / "cairo.pdf", 40, 612, 792);
    std::string json;
    ASSERT_EQ(runCli("pdf-info --json " + quoted(dir / "cairo.pdf"), &json), 0);
    std::string expected = "\"pageBoxes\": [\n";
    for (int page = 1; page <= 40; ++page) {
        expected += std::string(page > 1 ? ",\n" : "") + "    {\n      \"page\": " + std::to_string(page) +
                    ",\n      \"mediaBox\": [\n        0,\n        0,\n        612,\n        792\n      ],\n"
                    "      \"cropBox\": [\n        0,\n        0,\n        612,\n        792\n      ],\n"
                    "      \"rotate\": 0\n    }";
    }
    expected += "\n  ]\n}\n";
    size_t listing = json.find("\"pageBoxes\": [");
    ASSERT_NE(listing, std::string::npos) << json;
    EXPECT_EQ(json.substr(listing), expected);
}

}  // namespace
}  // namespace marqen
