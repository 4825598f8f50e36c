// Files from independent producers (Ghostscript, qpdf, mutool, Cairo, poppler), overlaid through the
// command line: each result must pass qpdf --check, keep its pages, show the overlay on the chosen
// pages only, and give back the byte-identical original.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "support/test_support.h"

namespace marqen {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::runCli;
using test::runTool;
using test::TempDir;

std::string quoted(const fs::path &path) { return "'" + path.string() + "'"; }

bool toolsAvailable() {
    for (const char *tool : {"qpdf", "gs", "mutool", "pdftocairo", "pdfunite", "pdftoppm", "pdfinfo"})
        if (!test::toolAvailable(tool)) return false;
    return true;
}

// Three-page inputs made by each producer.
struct Producer {
    std::string name;
    std::function<void(const TempDir &, const fs::path &)> make;
};

void ghostscript(const TempDir &, const fs::path &out) { test::makeGhostscriptPDF(out, 3); }

std::vector<Producer> producers() {
    auto fromGhostscript = [](const std::string &command) {
        return [command](const TempDir &dir, const fs::path &out) {
            test::makeGhostscriptPDF(dir / "source.pdf", 3);
            std::string full = command;
            for (auto at = full.find("IN"); at != std::string::npos; at = full.find("IN"))
                full.replace(at, 2, quoted(dir / "source.pdf"));
            full.replace(full.find("OUT"), 3, quoted(out));
            ASSERT_EQ(runTool(full), 0) << full;
        };
    };
    return {
        {"ghostscript", ghostscript},
        {"cairo", [](const TempDir &, const fs::path &out) { test::makeCairoPDF(out, 3, 595, 842); }},
        {"qpdf-object-streams", fromGhostscript("qpdf --object-streams=generate IN OUT")},
        {"qpdf-linearized", fromGhostscript("qpdf --linearize IN OUT")},
        {"qpdf-linearized-object-streams", fromGhostscript("qpdf --linearize --object-streams=generate IN OUT")},
        {"qpdf-rotated", fromGhostscript("qpdf --rotate=+90:2 --rotate=+270:3 IN OUT")},
        {"mutool", fromGhostscript("mutool clean -gg IN OUT")},
        {"mutool-compressed", fromGhostscript("mutool clean -z IN OUT")},
        {"pdftocairo", fromGhostscript("pdftocairo -pdf IN OUT")},
        {"pdfunite", fromGhostscript("pdfunite IN OUT")},
    };
}

class PDFProducers : public ::testing::TestWithParam<size_t> {};

void expectGoodOverlay(const fs::path &input, const fs::path &overlay, const TempDir &dir, const std::string &label) {
    fs::path out = dir / (label + "-out.pdf");
    test::writeFile(dir / "dom.json", "{\"pages\":[1,3]}");
    std::string err;
    ASSERT_EQ(runCli("pdf-overlay " + quoted(input) + " --overlay " + quoted(overlay) + " --page 1 --page 3 --dom " +
                         quoted(dir / "dom.json") + " -o " + quoted(out),
                     nullptr, &err),
              0)
        << label << ": " << err;
    std::string check;
    EXPECT_EQ(runTool("qpdf --check " + quoted(out), &check), 0) << label << ": " << check;
    EXPECT_EQ(test::popplerPageCount(out), 3) << label;
    EXPECT_GT(test::redShareOfPage(out, 1), 0.05) << label;
    EXPECT_EQ(test::redShareOfPage(out, 2), 0.0) << label;
    EXPECT_GT(test::redShareOfPage(out, 3), 0.05) << label;
    EXPECT_EQ(test::redShareOfPage(input, 1), 0.0) << label;

    std::string json;
    ASSERT_EQ(runCli("pdf-info " + quoted(out) + " --json", &json), 0);
    auto info = nlohmann::json::parse(json);
    EXPECT_EQ(info["pages"], 3);
    EXPECT_EQ(info["rich"], true);
    EXPECT_EQ(info["hasDom"], true);
    EXPECT_EQ(info["originalSize"], fs::file_size(input));
    auto rich = MarqenPDF::initWithContentsOfFile(out.string());
    ASSERT_TRUE(rich);
    EXPECT_EQ(rich->richPDFJSON(), "{\"pages\":[1,3]}");

    ASSERT_EQ(runCli("pdf-original " + quoted(out) + " -o " + quoted(dir / (label + "-original.pdf"))), 0);
    EXPECT_EQ(readFile(dir / (label + "-original.pdf")), readFile(input)) << label;

    // Overlaying the annotated file again starts from the untouched PDF: one update, page 2 only.
    fs::path again = dir / (label + "-again.pdf");
    ASSERT_EQ(runCli("pdf-overlay " + quoted(out) + " --overlay " + quoted(overlay) + " --page 2 -o " + quoted(again)), 0);
    std::string againBytes = readFile(again), inputBytes = readFile(input);
    ASSERT_EQ(againBytes.compare(0, inputBytes.size(), inputBytes), 0);
    std::string update = againBytes.substr(inputBytes.size());
    size_t updates = 0;
    for (size_t at = update.find("startxref"); at != std::string::npos; at = update.find("startxref", at + 1)) ++updates;
    EXPECT_EQ(updates, 1u);
    EXPECT_EQ(runTool("qpdf --check " + quoted(again), &check), 0) << label << ": " << check;
    EXPECT_EQ(test::redShareOfPage(again, 1), 0.0) << label;
    EXPECT_GT(test::redShareOfPage(again, 2), 0.05) << label;
}

TEST_P(PDFProducers, OverlayPassesChecksAndShowsOnTheChosenPages) {
    if (!toolsAvailable()) GTEST_SKIP() << "PDF tools are not installed";
    const Producer producer = producers()[GetParam()];
    TempDir dir;
    fs::path input = dir / (producer.name + ".pdf");
    producer.make(dir, input);
    ASSERT_TRUE(fs::exists(input));
    test::makeCairoOverlay(dir / "overlay.pdf", 612, 792);
    expectGoodOverlay(input, dir / "overlay.pdf", dir, producer.name);
}

INSTANTIATE_TEST_SUITE_P(All, PDFProducers, ::testing::Range<size_t>(0, producers().size()),
                         [](const ::testing::TestParamInfo<size_t> &info) {
                             std::string name = producers()[info.param].name;
                             for (char &c : name)
                                 if (c == '-') c = '_';
                             return name;
                         });

TEST(PDFRealFiles, IncrementalUpdatesOfOtherToolsAndOfLinearizedFiles) {
    if (!toolsAvailable()) GTEST_SKIP() << "PDF tools are not installed";
    TempDir dir;
    test::makeGhostscriptPDF(dir / "source.pdf", 3);
    test::makeCairoOverlay(dir / "overlay.pdf", 612, 792);
    // A linearized file with a plain update appended (no hidden record), then annotated.
    ASSERT_EQ(runTool("qpdf --linearize " + quoted(dir / "source.pdf") + " " + quoted(dir / "lin.pdf")), 0);
    ASSERT_EQ(runCli("pdf-overlay " + quoted(dir / "lin.pdf") + " --overlay " + quoted(dir / "source.pdf") +
                     " --page 2 -o " + quoted(dir / "lin-updated.pdf")),
              0);
    expectGoodOverlay(dir / "lin-updated.pdf", dir / "overlay.pdf", dir, "lin-updated");

    // A file that mutool updated incrementally (page 1 turned).
    fs::copy_file(dir / "source.pdf", dir / "inc.pdf");
    test::writeFile(dir / "inc.js", "var doc = new PDFDocument(\"" + (dir / "inc.pdf").string() +
                                        "\");\ndoc.findPage(0).put(\"Rotate\", 90);\ndoc.save(\"" +
                                        (dir / "inc.pdf").string() + "\", \"incremental\");\n");
    ASSERT_EQ(runTool("mutool run " + quoted(dir / "inc.js")), 0);
    ASSERT_GT(fs::file_size(dir / "inc.pdf"), fs::file_size(dir / "source.pdf"));
    expectGoodOverlay(dir / "inc.pdf", dir / "overlay.pdf", dir, "inc");
    std::string json;
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "inc-out.pdf") + " --json", &json), 0);
    EXPECT_EQ(nlohmann::json::parse(json)["pageBoxes"][0]["rotate"], 90);
}

TEST(PDFRealFiles, HandWrittenFilesWithInheritedBoxesAndRepairs) {
    if (!toolsAvailable()) GTEST_SKIP() << "PDF tools are not installed";
    TempDir dir;
    test::makeCairoOverlay(dir / "overlay.pdf", 300, 300);
    // Boxes and resources inherited from the page tree; a CRLF table.
    test::PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R] /Count 3 /MediaBox [0 0 300 300] "
                      "/Resources << /Font << /F1 << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> >> >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /Contents 6 0 R >>");
    builder.object(4, "<< /Type /Page /Parent 2 0 R /Contents 6 0 R /CropBox [10 10 290 290] /Rotate 90 >>");
    builder.object(5, "<< /Type /Page /Parent 2 0 R /Contents [6 0 R 7 0 R] >>");
    builder.stream(6, "<< >>", "BT /F1 20 Tf 30 250 Td (Inherited) Tj ET");
    builder.stream(7, "<< >>", "0 0 1 rg 0 0 40 40 re f");
    std::string data = builder.finishWithTable("/Root 1 0 R", "\r\n", "\r\n");
    test::writeFile(dir / "inherited.pdf", data);
    std::string json;
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "inherited.pdf") + " --json", &json), 0);
    auto info = nlohmann::json::parse(json);
    EXPECT_EQ(info["xref"], "table");
    EXPECT_EQ(info["pageBoxes"][0]["mediaBox"], nlohmann::json::parse("[0,0,300,300]"));
    EXPECT_EQ(info["pageBoxes"][0]["cropBox"], nlohmann::json::parse("[0,0,300,300]"));
    EXPECT_EQ(info["pageBoxes"][1]["cropBox"], nlohmann::json::parse("[10,10,290,290]"));
    EXPECT_EQ(info["pageBoxes"][1]["rotate"], 90);
    EXPECT_EQ(info["nextObjectNumber"], 8);
    expectGoodOverlay(dir / "inherited.pdf", dir / "overlay.pdf", dir, "inherited");
    // The untouched text still renders: the page keeps the inherited font.
    std::string text;
    EXPECT_EQ(runTool("pdftotext -f 1 -l 1 " + quoted(dir / "inherited-out.pdf") + " -", &text), 0);
    EXPECT_NE(text.find("Inherited"), std::string::npos);

    // Bytes after %%EOF and a startxref that points past its own line.
    std::string damaged = data;
    size_t at = damaged.rfind("startxref\r\n") + 11;
    damaged.replace(at, damaged.find('\r', at) - at, std::to_string(data.size() + 100));
    damaged += "trailing junk from a mail gateway\r\n";
    test::writeFile(dir / "damaged.pdf", damaged);
    fs::path out = dir / "damaged-out.pdf";
    ASSERT_EQ(runCli("pdf-overlay " + quoted(dir / "damaged.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                     " --page 2 -o " + quoted(out)),
              0);
    std::string check;
    EXPECT_EQ(runTool("qpdf --check " + quoted(out), &check), 0) << check;
    EXPECT_GT(test::redShareOfPage(out, 2), 0.05);
}

TEST(PDFRealFiles, HybridFileWhosePageContentIsListedOnlyInItsStream) {
    if (!toolsAvailable()) GTEST_SKIP() << "PDF tools are not installed";
    TempDir dir;
    test::makeCairoOverlay(dir / "overlay.pdf", 200, 200);
    test::PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 4 0 R 5 0 R] /Count 3 /MediaBox [0 0 200 200] >>");
    for (int page = 3; page <= 5; ++page)
        builder.object(page, "<< /Type /Page /Parent 2 0 R /Contents 6 0 R /Resources << >> >>");
    builder.stream(6, "<< >>", "0 0 1 rg 10 10 50 50 re f");
    size_t content = builder.offsetOf(6);
    builder.offsets.erase(6);
    std::string compressed = test::flate(test::xrefStreamEntry({{1, 1}, {content, 4}, {0, 1}}));
    builder.offsets[7] = builder.data.size();
    builder.data += "7 0 obj\n<< /Type /XRef /Size 8 /Index [6 1] /W [1 4 1] /Filter /FlateDecode /Length " +
                    std::to_string(compressed.size()) + " >>\nstream\n" + compressed + "\nendstream\nendobj\n";
    test::writeFile(dir / "hybrid.pdf",
                    builder.finishWithTable("/Root 1 0 R /XRefStm " + std::to_string(builder.offsetOf(7))));
    expectGoodOverlay(dir / "hybrid.pdf", dir / "overlay.pdf", dir, "hybrid");
    // The untouched blue square is still drawn under the overlay.
    auto pdf = MarqenPDF::initWithContentsOfFile((dir / "hybrid-out.pdf").string());
    ASSERT_TRUE(pdf);
    EXPECT_TRUE(pdf->resolveIndirectReference(MarqenPDFObject(MarqenPDFIndirectReference{6, 0}), false).asStream());
}

TEST(PDFRealFiles, SignedFileKeepsItsSignedBytes) {
    if (!toolsAvailable()) GTEST_SKIP() << "PDF tools are not installed";
    TempDir dir;
    test::makeCairoOverlay(dir / "overlay.pdf", 200, 200);
    // A hand-made signature: /ByteRange covers the whole file except the /Contents hex string.
    test::PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R /AcroForm << /Fields [5 0 R] /SigFlags 3 >> >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R] /Count 1 >>");
    builder.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Contents 4 0 R /Annots [5 0 R] >>");
    builder.stream(4, "<< >>", "0 0 1 rg 10 10 50 50 re f");
    builder.object(5, "<< /Type /Annot /Subtype /Widget /FT /Sig /Rect [0 0 0 0] /P 3 0 R /T (Signature1) /V 6 0 R >>");
    std::string placeholder = "<" + std::string(64, '0') + ">";
    builder.object(6, "<< /Type /Sig /Filter /Adobe.PPKLite /SubFilter /adbe.pkcs7.detached "
                      "/ByteRange [0 AAAAAAAAAA BBBBBBBBBB CCCCCCCCCC] /Contents " + placeholder + " >>");
    std::string data = builder.finishWithTable("/Root 1 0 R");
    size_t contents = data.find(placeholder);
    size_t afterContents = contents + placeholder.size();
    char number[16];
    std::snprintf(number, sizeof number, "%010zu", contents);
    data.replace(data.find("AAAAAAAAAA"), 10, number);
    std::snprintf(number, sizeof number, "%010zu", afterContents);
    data.replace(data.find("BBBBBBBBBB"), 10, number);
    std::snprintf(number, sizeof number, "%010zu", data.size() - afterContents);
    data.replace(data.find("CCCCCCCCCC"), 10, number);
    test::writeFile(dir / "signed.pdf", data);

    fs::path out = dir / "signed-out.pdf";
    ASSERT_EQ(runCli("pdf-overlay " + quoted(dir / "signed.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                     " --page 1 -o " + quoted(out)),
              0);
    std::string result = readFile(out);
    // Every byte the signature covers is where it was and unchanged; the update only follows them.
    ASSERT_GT(result.size(), data.size());
    EXPECT_EQ(result.compare(0, contents, data, 0, contents), 0);
    EXPECT_EQ(result.compare(afterContents, data.size() - afterContents, data, afterContents), 0);
    EXPECT_EQ(result.compare(contents, placeholder.size(), placeholder), 0);
    std::string check;
    EXPECT_EQ(runTool("qpdf --check " + quoted(out), &check), 0) << check;
    // The signature field is still reachable from the new catalog.
    auto pdf = MarqenPDF::initWithData(result);
    ASSERT_TRUE(pdf);
    auto catalog = pdf->resolveIndirectReference(MarqenPDFObject(MarqenPDFIndirectReference{1, 0}), false);
    EXPECT_TRUE(catalog.asDictionary()->objectForKey("AcroForm"));
    EXPECT_GT(test::redShareOfPage(out, 1), 0.05);
}

TEST(PDFCommands, UsageAndFailures) {
    if (!toolsAvailable()) GTEST_SKIP() << "PDF tools are not installed";
    TempDir dir;
    test::makeCairoPDF(dir / "doc.pdf", 2, 300, 300);
    test::makeCairoOverlay(dir / "overlay.pdf", 300, 300);
    std::string out, err;
    EXPECT_EQ(runCli("pdf-overlay " + quoted(dir / "doc.pdf") + " --overlay " + quoted(dir / "overlay.pdf") + " -o " +
                         quoted(dir / "x.pdf"),
                     nullptr, &err),
              2);
    EXPECT_NE(err.find("marqen: missing --page"), std::string::npos);
    EXPECT_EQ(runCli("pdf-overlay " + quoted(dir / "doc.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                         " --page 0 -o " + quoted(dir / "x.pdf")),
              2);
    EXPECT_EQ(runCli("pdf-overlay " + quoted(dir / "doc.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                         " --page 1 --page 1 -o " + quoted(dir / "x.pdf")),
              2);
    EXPECT_EQ(runCli("pdf-overlay " + quoted(dir / "doc.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                         " --page 3 -o " + quoted(dir / "x.pdf"),
                     nullptr, &err),
              1);
    EXPECT_NE(err.find("page 3 is out of range"), std::string::npos);
    test::writeFile(dir / "bad.json", "{not json");
    EXPECT_EQ(runCli("pdf-overlay " + quoted(dir / "doc.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                         " --page 1 --dom " + quoted(dir / "bad.json") + " -o " + quoted(dir / "x.pdf")),
              1);
    EXPECT_FALSE(fs::exists(dir / "x.pdf"));
    test::writeFile(dir / "junk.pdf", "this is not a PDF at all, not even close to one");
    EXPECT_EQ(runCli("pdf-info " + quoted(dir / "junk.pdf"), nullptr, &err), 1);
    EXPECT_NE(err.find("marqen: warning: MarqenPDF: PDF header does not match"), std::string::npos);
    EXPECT_EQ(runCli("pdf-original " + quoted(dir / "doc.pdf")), 2);
    EXPECT_EQ(runCli("pdf-info --help", &out), 0);
    EXPECT_NE(out.find("usage: marqen pdf-info"), std::string::npos);

    // A plain PDF's original is the whole file; the human-readable info names the pages.
    ASSERT_EQ(runCli("pdf-original " + quoted(dir / "doc.pdf") + " -o " + quoted(dir / "copy.pdf")), 0);
    EXPECT_EQ(readFile(dir / "copy.pdf"), readFile(dir / "doc.pdf"));
    ASSERT_EQ(runCli("pdf-info " + quoted(dir / "doc.pdf"), &out), 0);
    EXPECT_NE(out.find("pages: 2"), std::string::npos);

    ASSERT_EQ(runTool("qpdf --encrypt u o 256 -- " + quoted(dir / "doc.pdf") + " " + quoted(dir / "locked.pdf")), 0);
    EXPECT_EQ(runCli("pdf-overlay " + quoted(dir / "locked.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                         " --page 1 -o " + quoted(dir / "x.pdf"),
                     nullptr, &err),
              1);
    EXPECT_NE(err.find("cannot open " + (dir / "locked.pdf").string() +
                       ": The PDF is encrypted with a user password; give it to open the file"),
              std::string::npos);
}

}  // namespace
}  // namespace marqen
