// Writing the untouched PDF, appending the update in table and stream form, the hidden record,
// and copying objects between PDFs through the migrator.
#include <gtest/gtest.h>

#include <filesystem>

#include "formats/pdf/pdf_migrator.h"
#include "formats/pdf/pdf_overlay.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "support/test_support.h"

namespace marqen {
namespace {

using test::LogCapture;
using test::PDFBuilder;
using test::readFile;
using test::TempDir;

MarqenPDFObject reference(uint64_t number) { return MarqenPDFObject(MarqenPDFIndirectReference{number, 0}); }

size_t countOf(const std::string &text, const std::string &needle) {
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++count;
    return count;
}

uint64_t lastStartxref(const std::string &file) {
    size_t at = file.rfind("startxref");
    return std::stoull(file.substr(at + 10));
}

TEST(PDFWriter, TableFormUpdateWithHiddenRecord) {
    TempDir dir;
    std::string original = PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R");
    auto pdf = MarqenPDF::initWithData(original);
    ASSERT_TRUE(pdf);
    std::vector<MarqenPDFAppendedObject> entries = {
        {reference(9), MarqenPDFObject(MarqenPDFString::stringWithString("nine"))},
        {MarqenPDFObject(5), MarqenPDFObject(1)},  // not a reference: skipped
        {reference(10), std::nullopt},             // no object: skipped
    };
    MarqenError error;
    ASSERT_TRUE(pdf->writeModifiedPDFToURL((dir / "out.pdf").string(), entries, std::string("{\"k\":\"\xC3\xA9\"}"),
                                           &error))
        << error.description();
    std::string written = readFile(dir / "out.pdf");
    ASSERT_EQ(written.compare(0, original.size(), original), 0);
    std::string update = written.substr(original.size());
    // Every entry has its own subsection; the JSON stream and the record take 11 and 12, above every
    // number the entries name (even the skipped 10).
    EXPECT_NE(update.find("xref\n9 1\n"), std::string::npos);
    EXPECT_NE(update.find("\n11 1\n"), std::string::npos);
    EXPECT_NE(update.find("\n12 1\n"), std::string::npos);
    EXPECT_NE(update.find("\n1 1\n"), std::string::npos);
    EXPECT_EQ(countOf(update, " 1\n"), 4u);
    EXPECT_EQ(written.substr(lastStartxref(written), 4), "xref");
    EXPECT_NE(update.find("/Size 13"), std::string::npos);
    EXPECT_NE(update.find("/Prev " + std::to_string(pdf->xrefOffset())), std::string::npos);
    EXPECT_EQ(update.substr(update.size() - 6), "%%EOF\n");

    auto reopened = MarqenPDF::initWithContentsOfFile((dir / "out.pdf").string());
    ASSERT_TRUE(reopened);
    EXPECT_TRUE(reopened->isRichPDF());
    EXPECT_EQ(reopened->originalEOF(), original.size());
    EXPECT_EQ(reopened->richPDFJSON(), std::string("{\"k\":\"\xC3\xA9\"}"));
    EXPECT_EQ(reopened->originalXrefOffset(), pdf->xrefOffset());
    EXPECT_EQ(reopened->nextAvailableObjectNumber(), 5u);  // the untouched PDF's numbering
    EXPECT_EQ(reopened->resolveIndirectReference(reference(9), false).asString()->string(), "nine");
    EXPECT_TRUE(reopened->resolveIndirectReference(reference(9), true).isNull());
    auto catalog = reopened->resolveIndirectReference(reference(1), false);
    EXPECT_EQ(catalog.asDictionary()->objectForKey("XXMarqen")->asReference()->objectNumber, 12u);
    EXPECT_FALSE(reopened->resolveIndirectReference(reference(1), true).asDictionary()->objectForKey("XXMarqen"));
    if (test::toolAvailable("qpdf")) {
        EXPECT_EQ(test::runTool("qpdf --check '" + (dir / "out.pdf").string() + "'"), 0);
    }

    // The untouched PDF comes back byte for byte.
    ASSERT_TRUE(reopened->writeOriginalPDFToURL((dir / "original.pdf").string(), &error));
    EXPECT_EQ(readFile(dir / "original.pdf"), original);
}

TEST(PDFWriter, AnotherProgramsSaveOnTopKeepsTheUntouchedPDFReachable) {
    TempDir dir;
    std::string original = PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R");
    auto pdf = MarqenPDF::initWithData(original);
    ASSERT_TRUE(pdf);
    ASSERT_TRUE(pdf->writeModifiedPDFToURL((dir / "rich.pdf").string(), {}, std::string("{}"), nullptr));
    std::string rich = readFile(dir / "rich.pdf");
    // An editor appends its own update: a new object and a table whose /Prev names our update.
    std::string edited = rich;
    size_t object = edited.size();
    edited += "20 0 obj\n(edited)\nendobj\n";
    size_t xref = edited.size();
    char entry[32];
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", object);
    edited += "xref\n20 1\n" + std::string(entry) + "trailer\n<< /Size 21 /Root 1 0 R /Prev " +
              std::to_string(lastStartxref(rich)) + " >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";

    auto reopened = MarqenPDF::initWithData(edited);
    ASSERT_TRUE(reopened);
    EXPECT_TRUE(reopened->isRichPDF());
    EXPECT_EQ(reopened->originalXrefOffset(), pdf->xrefOffset());
    EXPECT_EQ(reopened->resolveIndirectReference(reference(20), false).asString()->string(), "edited");
    EXPECT_EQ(reopened->numberOfPagesInOriginalPDF(), 1u);
    ASSERT_TRUE(reopened->writeModifiedPDFToURL((dir / "again.pdf").string(), {}, std::string("{}"), nullptr));
    std::string again = readFile(dir / "again.pdf");
    EXPECT_EQ(again.compare(0, original.size(), original), 0);
    EXPECT_EQ(countOf(again.substr(original.size()), "startxref"), 1u);
}

TEST(PDFWriter, WithoutJSONTheCatalogIsStillReplaced) {
    TempDir dir;
    std::string original = PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R");
    auto pdf = MarqenPDF::initWithData(original);
    ASSERT_TRUE(pdf);
    ASSERT_TRUE(pdf->writeModifiedPDFToURL((dir / "out.pdf").string(), {}, std::nullopt, nullptr));
    std::string update = readFile(dir / "out.pdf").substr(original.size());
    EXPECT_EQ(update.find("1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n"), 0u);
    EXPECT_EQ(update.find("XXMarqen"), std::string::npos);
    EXPECT_EQ(update.find("MarqenInfo"), std::string::npos);
    auto reopened = MarqenPDF::initWithContentsOfFile((dir / "out.pdf").string());
    ASSERT_TRUE(reopened);
    EXPECT_FALSE(reopened->isRichPDF());
    EXPECT_FALSE(reopened->richPDFJSON());
}

TEST(PDFWriter, StreamFormUpdateAndSavingAgainKeepsOneUpdate) {
    if (!test::toolAvailable("qpdf")) GTEST_SKIP() << "qpdf is not installed";
    TempDir dir;
    test::writeFile(dir / "plain.pdf", PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    ASSERT_EQ(test::runTool("qpdf --object-streams=generate '" + (dir / "plain.pdf").string() + "' '" +
                            (dir / "streams.pdf").string() + "'"),
              0);
    std::string original = readFile(dir / "streams.pdf");
    auto pdf = MarqenPDF::initWithData(original);
    ASSERT_TRUE(pdf);
    ASSERT_TRUE(pdf->objectXrefStreamInfo());
    uint64_t next = pdf->nextAvailableObjectNumber();
    ASSERT_TRUE(pdf->writeModifiedPDFToURL((dir / "rich.pdf").string(),
                                           {{reference(next), MarqenPDFObject(42)}}, std::string("{}"), nullptr));
    std::string rich = readFile(dir / "rich.pdf");
    uint64_t start = lastStartxref(rich);
    // startxref names the first byte of the cross-reference stream object, numbered above everything.
    EXPECT_EQ(rich.substr(start, std::to_string(next + 3).size() + 6), std::to_string(next + 3) + " 0 obj");
    auto reopened = MarqenPDF::initWithData(rich);
    ASSERT_TRUE(reopened);
    ASSERT_TRUE(reopened->objectXrefStreamInfo());
    auto xref = reopened->resolveObjectFromOffset(start, false);
    ASSERT_TRUE(xref && xref->asStream());
    EXPECT_EQ(MarqenPDF::encodedObject(*xref->asStream()->streamInfo().objectForKey("W")), "[ 0 8 4 ]");
    EXPECT_EQ(reopened->resolveIndirectReference(reference(next), false).integerValue(), 42);
    EXPECT_EQ(reopened->richPDFJSON(), "{}");
    EXPECT_EQ(reopened->numberOfPagesInRichPDF(), 1u);
    EXPECT_EQ(test::runTool("qpdf --check '" + (dir / "rich.pdf").string() + "'"), 0);

    // Saving the annotated file again starts from the untouched PDF.
    ASSERT_TRUE(reopened->writeModifiedPDFToURL((dir / "again.pdf").string(), {}, std::string("{\"v\":2}"), nullptr));
    std::string again = readFile(dir / "again.pdf");
    ASSERT_EQ(again.compare(0, original.size(), original), 0);
    EXPECT_EQ(countOf(again.substr(original.size()), "startxref"), 1u);
    auto third = MarqenPDF::initWithData(again);
    ASSERT_TRUE(third);
    EXPECT_EQ(third->originalEOF(), original.size());
    EXPECT_EQ(third->richPDFJSON(), "{\"v\":2}");
    EXPECT_EQ(test::runTool("qpdf --check '" + (dir / "again.pdf").string() + "'"), 0);
}

TEST(PDFWriter, FailuresLeaveNoFileBehind) {
    TempDir dir;
    auto pdf = MarqenPDF::initWithData(PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(pdf);
    MarqenError error;
    EXPECT_FALSE(pdf->writeOriginalPDFToURL((dir / "missing" / "out.pdf").string(), &error));
    EXPECT_EQ(error.domain, "NSPOSIXErrorDomain");
    EXPECT_FALSE(pdf->writeModifiedPDFToURL((dir / "missing" / "out.pdf").string(), {}, std::nullopt, &error));
    EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST(PDFWriter, EncryptedFilesNeedTheirPasswordAndTheirAnnotatingPermission) {
    if (!test::toolAvailable("qpdf")) GTEST_SKIP() << "qpdf is not installed";
    TempDir dir;
    test::writeFile(dir / "plain.pdf", PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    ASSERT_EQ(test::runTool("qpdf '" + (dir / "plain.pdf").string() + "' --encrypt user owner 256 --annotate=n -- '" +
                            (dir / "locked.pdf").string() + "'"),
              0);
    MarqenError openError;
    EXPECT_FALSE(MarqenPDF::initWithContentsOfFile((dir / "locked.pdf").string(), {}, &openError));
    EXPECT_EQ(openError.domain, "MarqenPDF");
    EXPECT_EQ(openError.code, kMarqenPDFErrorPasswordRequired);
    MarqenPDFOptions options;
    options.userPassword = "user";
    auto pdf = MarqenPDF::initWithContentsOfFile((dir / "locked.pdf").string(), options);
    ASSERT_TRUE(pdf);
    EXPECT_TRUE(pdf->isEncrypted());
    EXPECT_FALSE(pdf->allowsAnnotating());
    MarqenError error;
    EXPECT_FALSE(pdf->writeModifiedPDFToURL((dir / "out.pdf").string(), {}, std::string("{}"), &error));
    EXPECT_EQ(error.domain, "MarqenPDF");
    EXPECT_EQ(error.code, kMarqenPDFErrorPermissionDenied);
    EXPECT_EQ(error.localizedDescription(),
              "The PDF's permissions do not allow adding or changing annotations; its owner password lifts this "
              "restriction");
    EXPECT_FALSE(std::filesystem::exists(dir / "out.pdf"));

    options.ownerPassword = "owner";
    auto owned = MarqenPDF::initWithContentsOfFile((dir / "locked.pdf").string(), options);
    ASSERT_TRUE(owned);
    EXPECT_TRUE(owned->allowsAnnotating());
    EXPECT_TRUE(owned->writeModifiedPDFToURL((dir / "out.pdf").string(), {}, std::string("{\"k\":1}"), &error))
        << error.description();
    auto reread = MarqenPDF::initWithContentsOfFile((dir / "out.pdf").string(), options);
    ASSERT_TRUE(reread);
    EXPECT_EQ(reread->richPDFJSON(), std::optional<std::string>("{\"k\":1}"));
    EXPECT_EQ(test::runTool("qpdf --check --password=user '" + (dir / "out.pdf").string() + "'"), 0);
}

// A source PDF whose objects 5 and 6 refer to each other and share object 7.
std::shared_ptr<MarqenPDF> cyclicSource() {
    PDFBuilder builder = PDFBuilder::simpleDocument();
    builder.object(5, "<< /Next 6 0 R /Shared 7 0 R /Plain [1 2 3] >>");
    builder.object(6, "<< /Next 5 0 R /Shared 7 0 R >>");
    builder.stream(7, "<< /Filter /FlateDecode /Extra 5 0 R >>", test::flate("shared bytes"));
    return MarqenPDF::initWithData(builder.finishWithTable("/Root 1 0 R"));
}

TEST(PDFMigrator, CyclesEndAndSharedObjectsAreCopiedOnce) {
    auto source = cyclicSource();
    auto target = MarqenPDF::initWithData(PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(source && target);
    MarqenPDFMigrator migrator(target, 100);
    MarqenPDFMigratorSourceMap map(source, target);
    auto first = migrator.migrateObject(reference(5), map);
    ASSERT_TRUE(first && first->asReference());
    EXPECT_EQ(first->asReference()->objectNumber, 100u);
    EXPECT_EQ(migrator.migratedObjects().size(), 3u);  // 5, 6 and 7, each once
    auto again = migrator.migrateObject(reference(6), map);
    EXPECT_EQ(again->asReference()->objectNumber, 101u);
    EXPECT_EQ(migrator.migratedObjects().size(), 3u);

    for (const auto &record : migrator.migratedObjects()) {
        if (const MarqenPDFStream *stream = record.o->asStream()) {
            EXPECT_EQ(stream->rawData(), test::flate("shared bytes"));  // never re-encoded
            EXPECT_EQ(stream->streamInfo().objectForKey("Extra")->asReference()->objectNumber, 100u);
        } else {
            const MarqenPDFDictionary *dictionary = record.o->asDictionary();
            ASSERT_TRUE(dictionary);
            EXPECT_GE(dictionary->objectForKey("Next")->asReference()->objectNumber, 100u);
            EXPECT_EQ(dictionary->objectForKey("Shared")->asReference()->objectNumber, 102u);
        }
    }
    EXPECT_EQ(migrator.nextAvailableMarqenPDFIndirectReference().objectNumber, 103u);
}

TEST(PDFMigrator, CopyOnChangeTagsAndForeignMaps) {
    auto source = cyclicSource();
    auto target = MarqenPDF::initWithData(PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    auto other = MarqenPDF::initWithData(PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    MarqenPDFMigrator migrator(target, 50);
    MarqenPDFMigratorSourceMap map(source, target);
    MarqenPDFMigratorSourceMap foreign(source, other);
    EXPECT_FALSE(migrator.migrateObject(reference(5), foreign));

    MarqenPDFDictionary plain;
    plain.setObject(MarqenPDFObject(MarqenPDFArray{MarqenPDFObject(1)}), "A");
    MarqenPDFObject value(plain);
    EXPECT_TRUE(migrator.migrateObject(value, map)->isIdenticalTo(value));
    EXPECT_TRUE(migrator.migrateObject(MarqenPDFObject(3.5), map)->isIdenticalTo(MarqenPDFObject(3.5)));

    migrator.addObject(MarqenPDFObject(7), MarqenPDFIndirectReference{60, 0}, std::string("page"));
    EXPECT_EQ(migrator.migreatedReferenceForTag("page")->objectNumber, 60u);
    EXPECT_EQ(migrator.migreatedObjectForTag("page")->integerValue(), 7);
    EXPECT_FALSE(migrator.migreatedReferenceForTag("other"));
}

TEST(PDFOverlay, AContentsArrayRepeatingOneStreamKeepsToTheStreamLimit) {
    // The annotation page names its 1 KB content stream 64 times: 64 KB joined, over a 16 KB limit.
    PDFBuilder builder = PDFBuilder::simpleDocument(std::string(1024, ' '));
    std::string many;
    for (int i = 0; i < 64; ++i) many += "4 0 R ";
    builder.object(3, "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Contents [" + many + "] >>");
    MarqenPDFOptions options;
    options.maximumDecodedStreamLength = 16 << 10;
    auto annotations = MarqenPDF::initWithData(builder.finishWithTable("/Root 1 0 R"), options);
    auto target = MarqenPDF::initWithData(PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    ASSERT_TRUE(annotations && target);
    MarqenPDFMigrator migrator(target, target->nextAvailableObjectNumber());
    MarqenPDFMigratorSourceMap map(annotations, target);
    LogCapture log;
    EXPECT_FALSE(MarqenPDFMergeAnnotationPage(*annotations, map, migrator, 0, nullptr));
    EXPECT_TRUE(log.contains("MarqenPDF: Page content exceeds the size limit of 16384 bytes"));
}

}  // namespace
}  // namespace marqen
