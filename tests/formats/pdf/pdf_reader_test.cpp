// Opening hand-made PDFs: cross-reference tables and streams, repairs, object streams, the page tree,
// filters and the refusals that keep hostile files harmless.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_file_io.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "formats/pdf/pdf_warnings.h"
#include "support/test_support.h"

namespace marqen {
namespace {

using test::LogCapture;
using test::PDFBuilder;

// The bytes with nothing after them, as in a mapped file: under the address sanitizer a read past the
// end is caught.
std::shared_ptr<MarqenPDF> open(const std::string &data, MarqenPDFOptions options = {}) {
    std::unique_ptr<char[]> bytes(new char[data.size()]);
    std::copy(data.begin(), data.end(), bytes.get());
    return MarqenPDF::initWithBytes(std::make_shared<const MarqenPDFBytes>(std::move(bytes), data.size()), options);
}

MarqenPDFObject resolve(MarqenPDF &pdf, uint64_t number, bool original = true) {
    return pdf.resolveIndirectReference(MarqenPDFObject(MarqenPDFIndirectReference{number, 0}), original);
}

TEST(PDFOpen, LengthAndHeaderChecks) {
    LogCapture log;
    EXPECT_FALSE(open(std::string("%PDF-") + std::string(24, ' ')));
    EXPECT_FALSE(open(std::string("%PDX-") + std::string(25, ' ')));
    // Thirty bytes with a good header get past both checks and fail later.
    EXPECT_FALSE(open(std::string("%PDF-") + std::string(25, ' ')));
    auto lines = log.lines();
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[0], "MarqenPDF: PDF file length is too small");
    EXPECT_EQ(lines[1], "MarqenPDF: PDF header does not match");
    EXPECT_NE(lines[2], "MarqenPDF: PDF file length is too small");
    EXPECT_NE(lines[2], "MarqenPDF: PDF header does not match");
}

TEST(PDFOpen, SimpleDocumentResolvesPagesAndContent) {
    auto pdf = open(PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    EXPECT_FALSE(pdf->isRichPDF());
    EXPECT_EQ(pdf->numberOfPagesInOriginalPDF(), 1u);
    EXPECT_EQ(pdf->nextAvailableObjectNumber(), 5u);
    EXPECT_FALSE(pdf->objectXrefStreamInfo());
    auto page = pdf->pageReferenceForPageNumber(1, true);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->objectNumber, 3u);
    EXPECT_FALSE(pdf->pageReferenceForPageNumber(2, true));
    MarqenPDFObject content = resolve(*pdf, 4);
    ASSERT_TRUE(content.asStream());
    EXPECT_EQ(*content.asStream()->stream(), "0 0 1 rg 10 10 50 50 re f");
}

TEST(PDFOpen, EntryLengthsOf19And21BytesAndCRLFTables) {
    for (std::string end : {std::string("\n"), std::string(" \r\n"), std::string("\r\n"), std::string(" \r")}) {
        for (std::string lineEnd : {std::string("\n"), std::string("\r\n"), std::string("\r")}) {
            auto builder = PDFBuilder::simpleDocument();
            auto pdf = open(builder.finishWithTable("/Root 1 0 R", end, lineEnd));
            ASSERT_TRUE(pdf) << "entry end of " << end.size() << " bytes";
            EXPECT_EQ(pdf->objectOffsetTable()[4], builder.offsetOf(4));
            EXPECT_TRUE(resolve(*pdf, 4).asStream());
        }
    }
}

TEST(PDFOpen, BytesAfterEOFAndAStartxrefPastItsLine) {
    auto builder = PDFBuilder::simpleDocument();
    std::string data = builder.finishWithTable("/Root 1 0 R");
    EXPECT_TRUE(open(data + "garbage that some mailer appended\n\n"));

    // The startxref number points past its own line: the nearest preceding "xref" line is used.
    std::string wrong = data;
    size_t at = wrong.rfind("startxref\n") + 10;
    wrong.replace(at, wrong.find('\n', at) - at, std::to_string(data.size() - 3));
    auto pdf = open(wrong);
    ASSERT_TRUE(pdf);
    EXPECT_EQ(pdf->xrefOffset(), builder.xrefOffset);

    LogCapture log;
    std::string noNumber = data;
    noNumber.replace(at, noNumber.find('\n', at) - at, "abc");
    EXPECT_FALSE(open(noNumber));
    EXPECT_TRUE(log.contains("MarqenPDF: Offset to xref area was not a number"));
    std::string noEOF = data.substr(0, data.rfind("%%EOF"));
    EXPECT_FALSE(open(noEOF + "\n"));
    EXPECT_TRUE(log.contains("MarqenPDF: PDF file did not end with EOF marker"));
}

// An incremental update: object 4 is replaced, object 5 added; the update's table lists them.
std::string withUpdate(PDFBuilder &builder, const std::string &newContent, bool smallSize = false) {
    std::string data = builder.finishWithTable("/Root 1 0 R");
    size_t content = data.size();
    std::string body = "<< /Length " + std::to_string(newContent.size()) + " >>\nstream\n" + newContent + "\nendstream";
    data += "4 0 obj\n" + body + "\nendobj\n";
    size_t added = data.size();
    data += "5 0 obj\n(new)\nendobj\n";
    size_t xref = data.size();
    char entries[80];
    std::snprintf(entries, sizeof entries, "4 2\n%010zu 00000 n \n%010zu 00000 n \n", content, added);
    data += std::string("xref\n") + entries + "trailer\n<< /Size " + (smallSize ? "3" : "6") +
            " /Root 1 0 R /Prev " + std::to_string(builder.xrefOffset) + " >>\nstartxref\n" + std::to_string(xref) +
            "\n%%EOF\n";
    return data;
}

TEST(PDFOpen, NewestSectionWinsAndNextNumberStaysAboveListedObjects) {
    auto builder = PDFBuilder::simpleDocument("old");
    auto pdf = open(withUpdate(builder, "new content"));
    ASSERT_TRUE(pdf);
    EXPECT_EQ(*resolve(*pdf, 4).asStream()->stream(), "new content");
    EXPECT_EQ(resolve(*pdf, 5).asString()->string(), "new");
    EXPECT_EQ(pdf->nextAvailableObjectNumber(), 6u);

    // A trailer /Size below the numbers its sections list.
    auto small = PDFBuilder::simpleDocument("old");
    auto smallPDF = open(withUpdate(small, "x", true));
    ASSERT_TRUE(smallPDF);
    EXPECT_EQ(smallPDF->nextAvailableObjectNumber(), 6u);
}

TEST(PDFOpen, PrevLoopEndsWithALogLine) {
    auto builder = PDFBuilder::simpleDocument();
    std::string data = builder.finishWithTable("/Root 1 0 R");
    data.insert(data.rfind("/Root 1 0 R"), "/Prev " + std::to_string(builder.xrefOffset) + " ");
    LogCapture log;
    ASSERT_TRUE(open(data));
    EXPECT_TRUE(log.contains("MarqenPDF: Cross-reference sections loop back to offset"));
}

TEST(PDFOpen, RepairsShiftedObjectNumbering) {
    auto builder = PDFBuilder::simpleDocument();
    std::string data = builder.finishWithTable("/Root 1 0 R");
    // Swap the table entries of objects 3 and 4.
    char three[11], four[11];
    std::snprintf(three, sizeof three, "%010zu", builder.offsetOf(3));
    std::snprintf(four, sizeof four, "%010zu", builder.offsetOf(4));
    size_t entry3 = data.find(three, builder.xrefOffset), entry4 = data.find(four, builder.xrefOffset);
    data.replace(entry3, 10, four);
    data.replace(entry4, 10, three);
    auto pdf = open(data);
    ASSERT_TRUE(pdf);
    EXPECT_TRUE(resolve(*pdf, 3).asDictionary());
    EXPECT_TRUE(resolve(*pdf, 4).asStream());
}

// A file whose objects 2 to 4 live in an object stream, listed by a cross-reference stream.
std::string objectStreamFile(const std::vector<int> &widths, bool predictor = false, int rowType = 2) {
    std::string header = "%PDF-1.5\n%\xE2\xE3\xCF\xD3\n";
    std::string data = header;
    size_t catalog = data.size();
    data += "1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n";
    std::string objects[] = {"<< /Type /Pages /Kids [3 0 R] /Count 1 /MediaBox [0 0 300 400] >>",
                             "<< /Type /Page /Parent 2 0 R /Contents 5 0 R >>", "(inside)"};
    std::string pairs, bodies;
    for (int i = 0; i < 3; ++i) {
        pairs += std::to_string(i + 2) + " " + std::to_string(bodies.size()) + " ";
        bodies += objects[i] + "\n";
    }
    std::string objstm = pairs + bodies;
    size_t objstmOffset = data.size();
    data += "6 0 obj\n<< /Type /ObjStm /N 3 /First " + std::to_string(pairs.size()) + " /Length " +
            std::to_string(objstm.size()) + " >>\nstream\n" + objstm + "\nendstream\nendobj\n";
    // Without a type field every entry is in use at an offset: objects 2 to 4 then stand in the file
    // itself (the object stream stays, unreferenced).
    size_t plainOffsets[3] = {0, 0, 0};
    if (widths[0] == 0) {
        for (int i = 0; i < 3; ++i) {
            plainOffsets[i] = data.size();
            data += std::to_string(i + 2) + " 0 obj\n" + objects[i] + "\nendobj\n";
        }
    }
    size_t contentOffset = data.size();
    data += "5 0 obj\n<< /Length 3 >>\nstream\nq Q\nendstream\nendobj\n";
    size_t xrefOffset = data.size();
    auto row = [&](uint64_t type, uint64_t second, uint64_t third) {
        return test::xrefStreamEntry({{type, widths[0]}, {second, widths[1]}, {third, widths[2]}});
    };
    std::vector<std::string> rows = {row(0, 0, 65535), row(1, catalog, 0), row(2, 6, 0),     row(2, 6, 1),
                                     row(2, 6, 2),     row(1, contentOffset, 0), row(1, objstmOffset, 0),
                                     row(1, xrefOffset, 0)};
    if (widths[0] == 0) {
        rows[0] = row(0, 0, 0);  // the free head cannot be told apart; offset 0 marks it unused
        for (int i = 0; i < 3; ++i) rows[size_t(i) + 2] = row(1, plainOffsets[i], 0);
    }
    std::string table;
    int rowLength = widths[0] + widths[1] + widths[2];
    if (predictor) {
        std::string previous(size_t(rowLength), '\0');
        for (const std::string &r : rows) {
            table += char(rowType);
            for (int i = 0; i < rowLength; ++i) table += char(uint8_t(r[size_t(i)]) - uint8_t(previous[size_t(i)]));
            previous = r;
        }
    } else {
        for (const std::string &r : rows) table += r;
    }
    std::string compressed = test::flate(table);
    std::string parms = predictor ? " /DecodeParms << /Predictor 12 /Columns " + std::to_string(rowLength) + " >>" : "";
    data += "7 0 obj\n<< /Type /XRef /Size 8 /W [" + std::to_string(widths[0]) + " " + std::to_string(widths[1]) + " " +
            std::to_string(widths[2]) + "] /Root 1 0 R /Filter /FlateDecode" + parms + " /Length " +
            std::to_string(compressed.size()) + " >>\nstream\n" + compressed + "\nendstream\nendobj\nstartxref\n" +
            std::to_string(xrefOffset) + "\n%%EOF\n";
    return data;
}

TEST(PDFOpen, CrossReferenceStreamsAndObjectStreams) {
    for (std::vector<int> widths : {std::vector<int>{1, 4, 2}, {1, 2, 1}, {0, 8, 4}, {1, 8, 1}}) {
        std::string file = objectStreamFile(widths);
        auto pdf = open(file);
        ASSERT_TRUE(pdf) << widths[0] << widths[1] << widths[2];
        ASSERT_TRUE(pdf->objectXrefStreamInfo());
        if (widths[0] == 0) {
            // Every entry is type 1 and the 8-byte offsets (high four bytes zero) land on the objects.
            EXPECT_TRUE(pdf->objectXrefStreamInfo()->empty());
            EXPECT_EQ(pdf->objectOffsetTable()[4], file.find("4 0 obj\n(inside)"));
            EXPECT_EQ(pdf->objectOffsetTable()[0], 0u);
        } else {
            EXPECT_EQ(pdf->objectXrefStreamInfo()->at(3).s, 6u);
            EXPECT_EQ(pdf->objectXrefStreamInfo()->at(3).x, 1u);
        }
        EXPECT_EQ(resolve(*pdf, 4).asString()->string(), "inside");
        EXPECT_EQ(pdf->numberOfPagesInOriginalPDF(), 1u);
        auto box = pdf->inheritedItem("MediaBox", 1, true);
        ASSERT_TRUE(box && box->asArray());
        EXPECT_EQ((*box->asArray())[3].integerValue(), 400);
        EXPECT_EQ(pdf->nextAvailableObjectNumber(), 8u);
    }
}

TEST(PDFOpen, PNGUpPredictionAndUnsupportedRows) {
    auto pdf = open(objectStreamFile({1, 4, 2}, true, 2));
    ASSERT_TRUE(pdf);
    EXPECT_EQ(resolve(*pdf, 4).asString()->string(), "inside");

    LogCapture log;
    EXPECT_FALSE(open(objectStreamFile({1, 4, 2}, true, 1)));
    EXPECT_TRUE(log.contains("MarqenPDF: Cannot yet handle filter prediction type PNG 0x01"));
}

TEST(PDFFilters, PredictionRowsOfColumnsPlusOneBytes) {
    MarqenPDFDictionary params;
    params.setObject(MarqenPDFObject(12), "Predictor");
    params.setObject(MarqenPDFObject(5), "Columns");
    MarqenPDFDictionary info;
    info.setObject(MarqenPDFObject::name("FlateDecode"), "Filter");
    info.setObject(MarqenPDFObject(params), "DecodeParms");
    std::string rows = std::string("\x00\x01\x02\x03\x04\x05", 6) + std::string("\x02\x01\x01\x01\x01\xFF", 6);
    MarqenPDFStream stream(info, test::flate(rows));
    ASSERT_TRUE(stream.stream());
    EXPECT_EQ(*stream.stream(), std::string("\x01\x02\x03\x04\x05\x02\x03\x04\x05\x04", 10));

    LogCapture log;
    params.setObject(MarqenPDFObject(2), "Predictor");
    info.setObject(MarqenPDFObject(params), "DecodeParms");
    EXPECT_FALSE(MarqenPDFStream(info, test::flate(rows)).stream());
    MarqenPDFDictionary other;
    other.setObject(MarqenPDFObject::name("LZWDecode"), "Filter");
    EXPECT_FALSE(MarqenPDFStream(other, "x").stream());
    other.setObject(MarqenPDFObject::name("JBIG2Decode"), "Filter");
    EXPECT_FALSE(MarqenPDFStream(other, "x").stream());
    other.setObject(MarqenPDFObject(MarqenPDFArray{MarqenPDFObject::name("ASCIIHexDecode"),
                                                   MarqenPDFObject::name("FlateDecode")}),
                    "Filter");
    std::string hex;
    for (unsigned char c : test::flate("chained")) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", c);
        hex += pair;
    }
    MarqenPDFStream chained(other, hex + ">");
    ASSERT_TRUE(chained.stream());
    EXPECT_EQ(*chained.stream(), "chained");
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"MarqenPDF: Cannot yet handle filter prediction type TIFF",
                                                     "MarqenPDF: Cannot yet handle filter type LZWDecode",
                                                     "MarqenPDF: Cannot decode filter: JBIG2Decode"}));
}

TEST(PDFFilters, DecodedSizeIsCapped) {
    MarqenPDFDictionary info;
    info.setObject(MarqenPDFObject::name("FlateDecode"), "Filter");
    std::string bomb = test::flate(std::string(4 << 20, '\0'));
    LogCapture log;
    MarqenPDFStream stream(info, std::make_shared<const std::string>(bomb), bomb, 1 << 20);
    EXPECT_FALSE(stream.stream());
    EXPECT_TRUE(log.contains("MarqenPDF: Decoded stream exceeds the size limit of 1048576 bytes"));
    MarqenPDFStream roomy(info, std::make_shared<const std::string>(bomb), bomb, 8 << 20);
    ASSERT_TRUE(roomy.stream());
    EXPECT_EQ(roomy.stream()->size(), size_t(4 << 20));
}

TEST(PDFFilters, LimitAsAMultipleOfTheFileLength) {
    // A one-page file whose content stream inflates to 4 MiB: refused at 16 bytes per file byte (the file
    // is far smaller than 256 KiB), decoded at the default absolute limit.
    auto builder = PDFBuilder::simpleDocument();
    std::string compressed = test::flate(std::string(4 << 20, 'x'));
    builder.object(5, "<< /Filter /FlateDecode /Length " + std::to_string(compressed.size()) + " >>\nstream\n" +
                          compressed + "\nendstream");
    std::string file = builder.finishWithTable("/Root 1 0 R");
    ASSERT_LT(file.size(), size_t(256) << 10);

    MarqenPDFOptions perByte;
    perByte.maximumDecodedStreamLengthPerFileByte = 16;
    auto strict = open(file, perByte);
    ASSERT_TRUE(strict);
    EXPECT_EQ(strict->maximumDecodedStreamLength(), file.size() * 16);
    LogCapture log;
    EXPECT_FALSE(resolve(*strict, 5).asStream()->stream());
    EXPECT_TRUE(log.contains("MarqenPDF: Decoded stream exceeds the size limit of " + std::to_string(file.size() * 16) +
                             " bytes"));

    auto roomy = open(file);
    ASSERT_TRUE(roomy);
    ASSERT_TRUE(resolve(*roomy, 5).asStream()->stream());
    EXPECT_EQ(resolve(*roomy, 5).asStream()->stream()->size(), size_t(4) << 20);
}

TEST(PDFOpen, MappedAndCopiedFilesReadAlike) {
    test::TempDir dir;
    std::string file = PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R");
    test::writeFile(dir / "a.pdf", file);
    MarqenPDFOptions copied;
    copied.copyFileIntoMemory = true;
    for (const MarqenPDFOptions &options : {MarqenPDFOptions{}, copied}) {
        auto pdf = MarqenPDF::initWithContentsOfFile((dir / "a.pdf").string(), options);
        ASSERT_TRUE(pdf);
        EXPECT_EQ(pdf->pdfData(), file);
        EXPECT_EQ(pdf->numberOfPagesInOriginalPDF(), 1u);
        // The bytes outlive the document in the streams that point into them.
        MarqenPDFObject contents = resolve(*pdf, 4);
        pdf.reset();
        ASSERT_TRUE(contents.asStream());
        EXPECT_FALSE(contents.asStream()->rawData().empty());
    }
    LogCapture log;
    EXPECT_FALSE(MarqenPDF::initWithContentsOfFile((dir / "missing.pdf").string()));
    EXPECT_FALSE(MarqenPDF::initWithContentsOfFile(dir.path().string()));
    EXPECT_TRUE(log.contains("MarqenPDF: Could not read file " + (dir / "missing.pdf").string() +
                             ": No such file or directory"));
}

TEST(PDFOpen, HybridFileResolvesObjectsListedOnlyInItsStream) {
    // Objects 1 to 4 in the classic table; object 5 only in the stream named by /XRefStm.
    auto builder = PDFBuilder::simpleDocument();
    builder.object(5, "(hybrid)");
    size_t five = builder.offsetOf(5);
    builder.offsets.erase(5);
    std::string rows = test::xrefStreamEntry({{1, 1}, {five, 4}, {0, 1}});
    std::string compressed = test::flate(rows);
    builder.offsets[6] = builder.data.size();
    builder.data += "6 0 obj\n<< /Type /XRef /Size 7 /Index [5 1] /W [1 4 1] /Filter /FlateDecode /Length " +
                    std::to_string(compressed.size()) + " >>\nstream\n" + compressed + "\nendstream\nendobj\n";
    size_t stream = builder.offsetOf(6);
    auto pdf = open(builder.finishWithTable("/Root 1 0 R /XRefStm " + std::to_string(stream)));
    ASSERT_TRUE(pdf);
    EXPECT_EQ(resolve(*pdf, 5).asString()->string(), "hybrid");
    EXPECT_FALSE(pdf->objectXrefStreamInfo());
}

TEST(PDFOpen, InheritedItemsAndPageTreeSkipping) {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R] /Count 3 /MediaBox [0 0 100 200] /Rotate 90 >>");
    builder.object(3, "<< /Type /Pages /Parent 2 0 R /Kids [5 0 R 6 0 R] /Count 2 /CropBox [1 2 3 4] >>");
    builder.object(4, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 50 60] >>");
    builder.object(5, "<< /Type /Page /Parent 3 0 R >>");
    builder.object(6, "<< /Type /Page /Parent 3 0 R /Rotate 180 >>");
    auto pdf = open(builder.finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    EXPECT_EQ(pdf->numberOfPagesInOriginalPDF(), 3u);
    EXPECT_EQ(pdf->pageReferenceForPageNumber(1, true)->objectNumber, 5u);
    EXPECT_EQ(pdf->pageReferenceForPageNumber(2, true)->objectNumber, 6u);
    EXPECT_EQ(pdf->pageReferenceForPageNumber(3, true)->objectNumber, 4u);
    EXPECT_EQ(pdf->inheritedItem("Rotate", 1, true)->integerValue(), 90);
    EXPECT_EQ(pdf->inheritedItem("Rotate", 2, true)->integerValue(), 180);
    EXPECT_EQ((*pdf->inheritedItem("MediaBox", 2, true)->asArray())[3].integerValue(), 200);
    EXPECT_EQ((*pdf->inheritedItem("MediaBox", 3, true)->asArray())[3].integerValue(), 60);
    EXPECT_EQ((*pdf->inheritedItem("CropBox", 1, true)->asArray())[0].integerValue(), 1);
    EXPECT_FALSE(pdf->inheritedItem("CropBox", 3, true));
    auto all = pdf->allPageReferences(true);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[2].objectNumber, 4u);
}

TEST(PDFHostile, KidsLoopParentLoopAndSelfReferencingLength) {
    PDFBuilder kids;
    kids.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    kids.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 5 >>");
    kids.object(3, "<< /Type /Pages /Kids [2 0 R 4 0 R] /Count 5 >>");
    kids.object(4, "<< /Type /Page /Parent 3 0 R >>");
    kids.object(5, "<< /Length 5 0 R >>\nstream\nabc\nendstream");
    auto pdf = open(kids.finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    LogCapture log;
    EXPECT_FALSE(pdf->pageReferenceForPageNumber(1, true));
    EXPECT_TRUE(log.contains("MarqenPDF: Page tree contains a loop at object 2"));
    bool complete = true;
    EXPECT_TRUE(pdf->allPageReferences(true, &complete).empty());
    EXPECT_FALSE(complete);
    EXPECT_TRUE(resolve(*pdf, 5).isNull());
    EXPECT_TRUE(log.contains("refers to itself"));

    PDFBuilder parents;
    parents.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    parents.object(2, "<< /Type /Pages /Kids [4 0 R] /Count 1 >>");
    parents.object(4, "<< /Type /Page /Parent 5 0 R >>");
    parents.object(5, "<< /Type /Pages /Parent 4 0 R >>");
    auto looped = open(parents.finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(looped);
    EXPECT_FALSE(looped->inheritedItem("MediaBox", 1, true));
    EXPECT_TRUE(log.contains("MarqenPDF: Parent chain contains a loop at object 4"));
}

TEST(PDFHostile, ObjectStreamsWhoseTypeLivesInTheNextStreamEndAtTheDepthLimit) {
    // Object stream i keeps its /Type in object stream i + 1: resolving the first walks the whole chain.
    const int chain = 20000;
    auto streamNumber = [](int i) { return 2 + i; };
    auto innerNumber = [&](int i) { return 2 + chain + i; };
    std::string data = "%PDF-1.5\n%\xE2\xE3\xCF\xD3\n";
    std::vector<size_t> offsets(size_t(2 + 2 * chain) + 1, 0);
    offsets[1] = data.size();
    data += "1 0 obj\n<< /Type /Catalog >>\nendobj\n";
    for (int i = 0; i < chain; ++i) {
        std::string pairs = std::to_string(innerNumber(i)) + " 0 ";
        std::string content = pairs + "/ObjStm";
        std::string type = i + 1 < chain ? std::to_string(innerNumber(i + 1)) + " 0 R" : "/ObjStm";
        offsets[size_t(streamNumber(i))] = data.size();
        data += std::to_string(streamNumber(i)) + " 0 obj\n<< /Type " + type + " /N 1 /First " +
                std::to_string(pairs.size()) + " /Length " + std::to_string(content.size()) + " >>\nstream\n" +
                content + "\nendstream\nendobj\n";
    }
    const int xrefNumber = 2 + 2 * chain;
    offsets[size_t(xrefNumber)] = data.size();
    std::string rows = test::xrefStreamEntry({{0, 1}, {0, 4}, {65535, 2}});
    for (int number = 1; number <= xrefNumber; ++number) {
        bool inner = number >= innerNumber(0) && number < xrefNumber;
        rows += inner ? test::xrefStreamEntry({{2, 1}, {uint64_t(streamNumber(number - innerNumber(0))), 4}, {0, 2}})
                      : test::xrefStreamEntry({{1, 1}, {offsets[size_t(number)], 4}, {0, 2}});
    }
    std::string compressed = test::flate(rows);
    data += std::to_string(xrefNumber) + " 0 obj\n<< /Type /XRef /Size " + std::to_string(xrefNumber + 1) +
            " /W [1 4 2] /Root 1 0 R /Filter /FlateDecode /Length " + std::to_string(compressed.size()) +
            " >>\nstream\n" + compressed + "\nendstream\nendobj\nstartxref\n" +
            std::to_string(offsets[size_t(xrefNumber)]) + "\n%%EOF\n";
    auto pdf = open(data);
    ASSERT_TRUE(pdf);
    EXPECT_TRUE(resolve(*pdf, uint64_t(innerNumber(chain - 1))).isName("ObjStm"));
    LogCapture log;
    EXPECT_TRUE(resolve(*pdf, uint64_t(innerNumber(0))).isNull());
    EXPECT_TRUE(log.contains("MarqenPDF: Object references nest too deeply"));
}

TEST(PDFHostile, HugeObjectNumbersAndBadOffsetsAreRefused) {
    LogCapture log;
    auto builder = PDFBuilder::simpleDocument();
    std::string data = builder.finishWithTable("/Root 1 0 R");
    size_t at = data.find("0 5", builder.xrefOffset);
    std::string huge = data;
    huge.replace(at, 3, "999999999 5");
    // The table no longer starts at 0, so the root cannot be found, but nothing huge is reserved.
    EXPECT_FALSE(open(huge));
    EXPECT_TRUE(log.contains("is too large for a file of"));

    auto pdf = open(data);
    ASSERT_TRUE(pdf);
    EXPECT_TRUE(resolve(*pdf, 77).isNull());
    EXPECT_TRUE(log.contains("MarqenPDF: Indirect reference to object outside of index table range"));
    EXPECT_FALSE(pdf->resolveObjectFromOffset(data.size() + 5, true));
    EXPECT_FALSE(pdf->resolveObjectFromOffset(0, true));
    EXPECT_TRUE(log.contains("MarqenPDF: PDF Object did not start with an object number"));
}

TEST(PDFHostile, StreamLengthErrors) {
    PDFBuilder builder = PDFBuilder::simpleDocument();
    builder.object(5, "<< /Length 2 >>\nstream\nabcdef\nendstream");
    builder.object(6, "<< /Length 99999 >>\nstream\nabc\nendstream");
    builder.object(7, "<< /Length (x) >>\nstream\nabc\nendstream");
    builder.offsets[8] = builder.data.size();
    builder.data += "8 0 xyz\n";
    auto pdf = open(builder.finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    LogCapture log;
    EXPECT_TRUE(resolve(*pdf, 5).isNull());
    EXPECT_TRUE(resolve(*pdf, 6).isNull());
    EXPECT_TRUE(resolve(*pdf, 7).isNull());
    EXPECT_TRUE(resolve(*pdf, 8).isNull());
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "MarqenPDF: Stream did not end with endstream token",
                               "MarqenPDF: Stream length runs past the end of the file",
                               "MarqenPDF: Stream has invalid length entry",
                               "MarqenPDF: Object does not have obj token identifier",
                           }));
}

}  // namespace
}  // namespace marqen

namespace marqen {
namespace {

TEST(PDFErrors, AFailedOpenFillsTheErrorWithTheReasonAndEveryWarning) {
    LogCapture log;
    MarqenError error;
    EXPECT_FALSE(MarqenPDF::initWithData(std::string("%PDX-") + std::string(25, ' '), {}, &error));
    EXPECT_EQ(error.domain, "MarqenPDF");
    EXPECT_EQ(error.code, -1);
    EXPECT_EQ(error.localizedDescription(), "MarqenPDF: PDF header does not match");
    EXPECT_EQ(error.userInfo["warnings"], nlohmann::ordered_json::array({"MarqenPDF: PDF header does not match"}));

    MarqenError missing;
    EXPECT_FALSE(MarqenPDF::initWithContentsOfFile("/nonexistent/dir/file.pdf", {}, &missing));
    EXPECT_EQ(missing.domain, "MarqenPDF");
    EXPECT_FALSE(missing.localizedDescription().empty());
    // A null error pointer is allowed.
    EXPECT_FALSE(MarqenPDF::initWithData("short"));
}

TEST(PDFErrors, AStartxrefThatIsNotANumberFailsTheOpenAtOnce) {
    std::string data = PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R");
    size_t at = data.rfind("startxref\n") + 10;
    data.replace(at, data.find('\n', at) - at, "abc");
    LogCapture log;
    MarqenError error;
    EXPECT_FALSE(MarqenPDF::initWithData(data, {}, &error));
    EXPECT_EQ(error.localizedDescription(), "MarqenPDF: Offset to xref area was not a number");
    // Nothing is read at a made-up offset after the failure.
    EXPECT_EQ(log.lines(), std::vector<std::string>{"MarqenPDF: Offset to xref area was not a number"});
}

TEST(PDFErrors, EachDocumentKeepsItsOwnRepairsAndSkippedObjects) {
    // Object 5 is an array with a member that has to be mended.
    auto builder = PDFBuilder::simpleDocument();
    builder.object(5, "[1 /A#zz (ok) <4G1>]");
    std::string data = builder.finishWithTable("/Root 1 0 R");
    auto damaged = open(data + "\n");
    auto clean = open(PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(damaged && clean);
    LogCapture log;
    MarqenPDFObject value = resolve(*damaged, 5);
    ASSERT_TRUE(value.asArray());
    ASSERT_FALSE(damaged->warnings().empty());
    EXPECT_EQ(damaged->warnings().back(), log.lines().back());
    EXPECT_TRUE(log.contains("MarqenPDF: Found invalid hex digit inside hex string"));
    std::vector<std::string> before = clean->warnings();
    EXPECT_TRUE(resolve(*clean, 4).asStream());
    EXPECT_EQ(clean->warnings(), before);
    EXPECT_TRUE(clean->warnings().empty());
    // A reference out of range is a skipped object of this document only.
    size_t count = damaged->warnings().size();
    EXPECT_TRUE(resolve(*damaged, 999).isNull());
    ASSERT_EQ(damaged->warnings().size(), count + 1);
    EXPECT_EQ(damaged->warnings().back(), "MarqenPDF: Indirect reference to object outside of index table range");
    EXPECT_TRUE(clean->warnings().empty());
}

TEST(PDFErrors, TheWarningListIsBounded) {
    std::vector<std::string> sink;
    {
        LogCapture log;
        MarqenPDFWarningScope scope(&sink);
        for (size_t i = 0; i < MarqenPDFWarningScope::kMaximumKeptWarnings + 50; ++i) marqenPDFWarn("w");
        EXPECT_EQ(log.lines().size(), MarqenPDFWarningScope::kMaximumKeptWarnings + 50);
    }
    ASSERT_EQ(sink.size(), MarqenPDFWarningScope::kMaximumKeptWarnings + 1);
    EXPECT_EQ(sink.back(), "MarqenPDF: Further warnings were logged but not kept");
    marqenPDFWarn("outside any scope");
    EXPECT_EQ(sink.size(), MarqenPDFWarningScope::kMaximumKeptWarnings + 1);
}

}  // namespace
}  // namespace marqen

namespace marqen {
namespace {

// A page tree of two levels: boxes and rotation inherited from the root, from a middle node, or set on a page.
std::string nestedTreeFile(int middles, int pagesPerMiddle) {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    std::string kids;
    int next = 3;
    std::vector<std::pair<int, std::string>> objects;
    for (int m = 0; m < middles; ++m) {
        int middle = next++;
        kids += std::to_string(middle) + " 0 R ";
        std::string pageKids;
        for (int p = 0; p < pagesPerMiddle; ++p) {
            int page = next++;
            pageKids += std::to_string(page) + " 0 R ";
            std::string own = (p % 3 == 0) ? " /MediaBox [0 0 " + std::to_string(100 + p) + " 200]" : "";
            if (p % 4 == 1) own += " /Rotate 90";
            objects.emplace_back(page, "<< /Type /Page /Parent " + std::to_string(middle) + " 0 R" + own + " >>");
        }
        std::string inherited = (m % 2 == 0) ? " /CropBox [1 2 3 4] /Rotate 180" : "";
        objects.emplace_back(middle, "<< /Type /Pages /Parent 2 0 R /Kids [" + pageKids + "] /Count " +
                                         std::to_string(pagesPerMiddle) + inherited + " >>");
    }
    builder.object(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(middles * pagesPerMiddle) +
                          " /MediaBox [0 0 612 792] >>");
    std::sort(objects.begin(), objects.end());
    for (const auto &[number, body] : objects) builder.object(number, body);
    return builder.finishWithTable("/Root 1 0 R");
}

TEST(PDFPageTree, ItemsOfAFoundPageMatchTheLookupByPageNumber) {
    auto pdf = open(nestedTreeFile(4, 7));
    ASSERT_TRUE(pdf);
    bool complete = false;
    std::vector<MarqenPDFIndirectReference> pages = pdf->allPageReferences(true, &complete);
    ASSERT_TRUE(complete);
    ASSERT_EQ(pages.size(), 28u);
    auto text = [](const std::optional<MarqenPDFObject> &value) {
        return value ? MarqenPDF::encodedObject(*value) : std::string("(none)");
    };
    for (size_t i = 0; i < pages.size(); ++i) {
        for (const char *key : {"MediaBox", "CropBox", "Rotate"})
            EXPECT_EQ(text(pdf->inheritedItemOfPage(key, pages[i], true)), text(pdf->inheritedItem(key, i + 1, true)))
                << key << " of page " << i + 1;
    }
    // Worked values: page 1 (first of middle 0) has its own box; page 2 inherits the root's box and rotates
    // itself; page 3 takes its middle's rotation; pages 9 and 10 (second and third of middle 1) inherit
    // nothing from their middle.
    EXPECT_EQ(text(pdf->inheritedItemOfPage("MediaBox", pages[0], true)), "[ 0 0 100 200 ]");
    EXPECT_EQ(text(pdf->inheritedItemOfPage("MediaBox", pages[1], true)), "[ 0 0 612 792 ]");
    EXPECT_EQ(text(pdf->inheritedItemOfPage("Rotate", pages[1], true)), "90");
    EXPECT_EQ(text(pdf->inheritedItemOfPage("Rotate", pages[2], true)), "180");
    EXPECT_EQ(text(pdf->inheritedItemOfPage("CropBox", pages[8], true)), "(none)");
    EXPECT_EQ(text(pdf->inheritedItemOfPage("Rotate", pages[8], true)), "90");
    EXPECT_EQ(text(pdf->inheritedItemOfPage("Rotate", pages[9], true)), "(none)");
}

TEST(PDFPageTree, AKidsArrayRepeatingOnePageIsWalkedOnce) {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    std::string kids;
    for (int i = 0; i < 20000; ++i) kids += "3 0 R ";
    builder.object(2, "<< /Type /Pages /Kids [" + kids + "] /Count 20000 /MediaBox [0 0 10 20] >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R >>");
    auto pdf = open(builder.finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    auto started = std::chrono::steady_clock::now();
    std::vector<MarqenPDFIndirectReference> pages = pdf->allPageReferences(true);
    ASSERT_EQ(pages.size(), 20000u);
    for (const MarqenPDFIndirectReference &page : pages) {
        auto box = pdf->inheritedItemOfPage("MediaBox", page, true);
        ASSERT_TRUE(box && box->asArray());
    }
    // Linear work: well under a second even under sanitizers (a walk per page would take minutes).
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5));
}

TEST(PDFPageTree, VisitingPagesMeetsEachInOrderWithTheItemsItInherits) {
    const std::string file = nestedTreeFile(4, 7);
    auto visiting = open(file), listing = open(file);
    ASSERT_TRUE(visiting && listing);
    auto text = [](const std::optional<MarqenPDFObject> &value) {
        return value ? MarqenPDF::encodedObject(*value) : std::string("(none)");
    };
    const std::vector<std::string_view> names = {"MediaBox", "CropBox", "Rotate"};
    std::vector<MarqenPDFIndirectReference> visited;
    std::vector<std::string> items;
    EXPECT_TRUE(visiting->visitPages(true, [&](const MarqenPDFIndirectReference &page,
                                               const MarqenPDFDictionary &dictionary) {
        EXPECT_TRUE(dictionary.objectForKey("Type") && dictionary.objectForKey("Type")->isName("Page"));
        visited.push_back(page);
        std::optional<MarqenPDFObject> values[3];
        visiting->inheritedItemsOfPage(dictionary, page, names, values, true);
        for (const auto &value : values) items.push_back(text(value));
    }));
    bool complete = false;
    std::vector<MarqenPDFIndirectReference> pages = listing->allPageReferences(true, &complete);
    ASSERT_TRUE(complete);
    ASSERT_EQ(visited, pages);
    ASSERT_EQ(items.size(), 3 * pages.size());
    for (size_t i = 0; i < pages.size(); ++i)
        for (size_t k = 0; k < names.size(); ++k)
            EXPECT_EQ(items[3 * i + k], text(listing->inheritedItemOfPage(names[k], pages[i], true)))
                << names[k] << " of page " << i + 1;
    // A visited page still resolves to the same dictionary afterwards.
    MarqenPDFObject again = visiting->resolveIndirectReference(MarqenPDFObject(pages[1]), true);
    ASSERT_TRUE(again.asDictionary());
    EXPECT_EQ(text(*again.asDictionary()->objectForKey("Rotate")), "90");
}

TEST(PDFPageTree, VisitingARepeatedAndARepairedPageReportsTheRepairOnce) {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 3 0 R 4 0 R 3 0 R] /Count 5 /MediaBox [0 0 10 10] >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /Rotate 90 >>");
    builder.object(4, "<< /Type /Page /Parent 2 0 R /Bad ) /Rotate 180 >>");
    auto pdf = open(builder.finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    std::vector<std::string> seen;
    EXPECT_TRUE(pdf->visitPages(true, [&](const MarqenPDFIndirectReference &page,
                                          const MarqenPDFDictionary &dictionary) {
        const MarqenPDFObject *rotate = dictionary.objectForKey("Rotate");
        seen.push_back(std::to_string(page.objectNumber) + ":" +
                       (rotate ? std::to_string(rotate->integerValue()) : std::string("-")));
    }));
    EXPECT_EQ(seen, (std::vector<std::string>{"3:90", "4:180", "3:90", "4:180", "3:90"}));
    EXPECT_EQ(std::count(pdf->warnings().begin(), pdf->warnings().end(),
                         "MarqenPDF: Found invalid token in object area"),
              1);
}

TEST(PDFPageTree, OneClimbFindsSeveralItemsAndReportsAParentLoopOnce) {
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 /Parent 4 0 R /Rotate 270 >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /CropBox [1 1 5 5] >>");
    builder.object(4, "<< /Type /Pages /Parent 2 0 R /MediaBox [0 0 8 9] /Rotate 90 >>");
    auto pdf = open(builder.finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    MarqenPDFObject page = resolve(*pdf, 3);
    ASSERT_TRUE(page.asDictionary());
    std::optional<MarqenPDFObject> values[4];
    pdf->inheritedItemsOfPage(*page.asDictionary(), MarqenPDFIndirectReference{3, 0},
                              {"MediaBox", "CropBox", "Rotate", "Resources"}, values, true);
    // The nearest holder wins: the rotation of node 2, not of node 4 above it.
    ASSERT_TRUE(values[0] && values[1] && values[2]);
    EXPECT_EQ(MarqenPDF::encodedObject(*values[0]), "[ 0 0 8 9 ]");
    EXPECT_EQ(MarqenPDF::encodedObject(*values[1]), "[ 1 1 5 5 ]");
    EXPECT_EQ(values[2]->integerValue(), 270);
    EXPECT_FALSE(values[3]);
    EXPECT_EQ(std::count(pdf->warnings().begin(), pdf->warnings().end(),
                         "MarqenPDF: Parent chain contains a loop at object 2"),
              1);
}

}  // namespace
}  // namespace marqen
