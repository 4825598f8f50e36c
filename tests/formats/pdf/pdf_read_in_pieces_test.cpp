// Reading a PDF file in pieces (pread through a bounded cache): the same results as reading it whole,
// only the parts looked at read, and a file that shrinks or changes meanwhile failing cleanly.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_file_io.h"
#include "formats/pdf/pdf_migrator.h"
#include "formats/pdf/pdf_overlay.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "support/test_support.h"

namespace marqen {
namespace {

namespace fs = std::filesystem;
using test::LogCapture;
using test::PDFBuilder;
using test::readFile;
using test::TempDir;
using test::writeFile;

MarqenPDFObject reference(uint64_t number) { return MarqenPDFObject(MarqenPDFIndirectReference{number, 0}); }

// A file whose objects 2 and 3 live in an object stream, listed by a cross-reference stream (/W [1 4 2]).
std::string objectStreamFile() {
    std::string data = "%PDF-1.5\n";
    size_t catalog = data.size();
    data += "1 0 obj\n<< /Type /Catalog /Pages 2 0 R >>\nendobj\n";
    std::string bodies = "<< /Type /Pages /Kids [3 0 R] /Count 1 /MediaBox [0 0 300 400] >>\n"
                         "<< /Type /Page /Parent 2 0 R /Contents 4 0 R >>\n";
    std::string pairs = "2 0 3 " + std::to_string(bodies.find("\n<<") + 1) + " ";
    size_t objstm = data.size();
    data += "5 0 obj\n<< /Type /ObjStm /N 2 /First " + std::to_string(pairs.size()) + " /Length " +
            std::to_string(pairs.size() + bodies.size()) + " >>\nstream\n" + pairs + bodies + "\nendstream\nendobj\n";
    size_t content = data.size();
    data += "4 0 obj\n<< /Length 3 >>\nstream\nq Q\nendstream\nendobj\n";
    size_t xref = data.size();
    auto row = [](uint64_t type, uint64_t second, uint64_t third) {
        return test::xrefStreamEntry({{type, 1}, {second, 4}, {third, 2}});
    };
    std::string rows = row(0, 0, 65535) + row(1, catalog, 0) + row(2, 5, 0) + row(2, 5, 1) + row(1, content, 0) +
                       row(1, objstm, 0) + row(1, xref, 0);
    std::string compressed = test::flate(rows);
    data += "6 0 obj\n<< /Type /XRef /Size 7 /W [1 4 2] /Root 1 0 R /Filter /FlateDecode /Length " +
            std::to_string(compressed.size()) + " >>\nstream\n" + compressed + "\nendstream\nendobj\nstartxref\n" +
            std::to_string(xref) + "\n%%EOF\n";
    return data;
}

// Values that run across any small window: a reference whose "0 R" follows a long run of whitespace, a
// long literal string with escapes, a long hex string, long names and comments, deep arrays.
std::string longValuesFile() {
    auto builder = PDFBuilder::simpleDocument();
    std::string spaces(5000, ' ');
    std::string text;
    for (int i = 0; i < 400; ++i) text += "(nested \\(" + std::to_string(i) + "\\)) \\101\\n ";
    std::string hex;
    for (int i = 0; i < 3000; ++i) hex += "4a ";
    builder.object(5, "<< /Far 3" + spaces + "0" + spaces + "R /Text (" + text + ") /Hex <" + hex + "> /Long#20Name" +
                          std::string(3000, 'x') + " 1 %" + std::string(4000, 'c') + "\n/Deep " +
                          std::string(60, '[') + "1 2 R" + std::string(60, ']') + " >>");
    builder.object(6, "[ 1" + spaces + "0 ]");
    return builder.finishWithTable("/Root 1 0 R /Info 5 0 R");
}

// Reads path whole and in pieces of 7-byte blocks and 3-byte first windows, so that every token, value,
// line and table straddles blocks and windows, and expects the same answers, warnings and written file.
void expectReadAlike(const fs::path &path, const fs::path &scratch) {
    SCOPED_TRACE(path.filename().string());
    std::string bytes = readFile(path);
    MarqenError wholeError, piecesError;
    auto whole = MarqenPDF::initWithData(bytes, {}, &wholeError);
    auto reader = MarqenPDFFileReader::open(path.string(), nullptr, 7, 3);
    ASSERT_TRUE(reader);
    auto pieces = MarqenPDF::initWithReader(reader, {}, &piecesError);
    ASSERT_EQ(bool(whole), bool(pieces));
    if (!whole) {
        EXPECT_EQ(wholeError.localizedDescription(), piecesError.localizedDescription());
        EXPECT_EQ(wholeError.userInfo["warnings"], piecesError.userInfo["warnings"]);
        return;
    }
    EXPECT_EQ(whole->warnings(), pieces->warnings());
    EXPECT_EQ(whole->xrefOffset(), pieces->xrefOffset());
    EXPECT_EQ(whole->objectOffsetTable(), pieces->objectOffsetTable());
    EXPECT_EQ(bool(whole->objectXrefStreamInfo()), bool(pieces->objectXrefStreamInfo()));
    EXPECT_EQ(whole->originalEOF(), pieces->originalEOF());
    EXPECT_EQ(whole->richPDFJSON(), pieces->richPDFJSON());
    EXPECT_EQ(whole->nextAvailableObjectNumber(), pieces->nextAvailableObjectNumber());
    EXPECT_EQ(whole->originalXrefOffset(), pieces->originalXrefOffset());
    for (bool original : {true, false}) {
        EXPECT_EQ(whole->numberOfPagesFromOriginalPDF(original), pieces->numberOfPagesFromOriginalPDF(original));
        EXPECT_EQ(whole->allPageReferences(original), pieces->allPageReferences(original));
        for (uint64_t number = 0; number < whole->objectTableSize(); ++number) {
            MarqenPDFObject a = whole->resolveIndirectReference(reference(number), original);
            MarqenPDFObject b = pieces->resolveIndirectReference(reference(number), original);
            EXPECT_EQ(MarqenPDF::encodedObject(a), MarqenPDF::encodedObject(b)) << "object " << number;
            if (a.asStream() && b.asStream()) {
                EXPECT_EQ(bool(a.asStream()->stream()), bool(b.asStream()->stream())) << "object " << number;
            }
        }
    }
    size_t next = 0, pieceNext = 0;
    EXPECT_EQ(whole->tokenFromOffset(whole->xrefOffset(), &next), pieces->tokenFromOffset(whole->xrefOffset(), &pieceNext));
    EXPECT_EQ(next, pieceNext);
    EXPECT_EQ(whole->warnings(), pieces->warnings());
    EXPECT_EQ(pieces->pdfData(), bytes);
    EXPECT_FALSE(pieces->readFailed());

    // The same update, byte for byte (an encrypted file's new strings take fresh random vectors).
    if (whole->isEncrypted() || !whole->allowsAnnotating()) return;
    std::vector<MarqenPDFAppendedObject> entries = {{reference(whole->nextAvailableObjectNumber()),
                                                     MarqenPDFObject(MarqenPDFString::stringWithString("added"))}};
    MarqenError error;
    const fs::path a = scratch / "whole.pdf", b = scratch / "pieces.pdf";
    bool wroteWhole = whole->writeModifiedPDFToURL(a.string(), entries, std::string("{\"n\":1}"), &error);
    bool wrotePieces = pieces->writeModifiedPDFToURL(b.string(), entries, std::string("{\"n\":1}"), &error);
    ASSERT_EQ(wroteWhole, wrotePieces);
    if (wroteWhole) {
        EXPECT_EQ(readFile(a), readFile(b));
    }
}

TEST(PDFReadInPieces, EveryKindOfFileReadsAsWhenReadWhole) {
    TempDir dir;
    std::vector<std::pair<std::string, std::string>> files = {
        {"table.pdf", PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R")},
        {"crlf.pdf", PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R", "\r\n", "\r\n")},
        {"object-streams.pdf", objectStreamFile()},
        {"long-values.pdf", longValuesFile()},
    };
    // Text after the last %%EOF, longer than any first look at the end.
    files.push_back({"trailing-text.pdf", files[0].second + std::string(300, '\n') + "junk line\n" +
                                              std::string(6000, ' ')});
    // A startxref number past the startxref line: the nearest "xref" line before it is used.
    {
        std::string file = files[0].second;
        size_t at = file.rfind("startxref\n") + 10;
        file.replace(at, file.find('\n', at) - at, std::to_string(file.size() + 1000000));
        files.push_back({"bad-startxref.pdf", file});
    }
    files.push_back({"damaged.pdf", files[0].second.substr(0, files[0].second.size() / 2)});
    files.push_back({"unterminated.pdf", "%PDF-1.4\n1 0 obj\n<< /Type /Catalog /Pages (" + std::string(9000, 'x')});
    for (const auto &[name, bytes] : files) writeFile(dir / name, bytes);

    // Files other programs wrote, and a file this system annotated and another program saved on top.
    test::makeCairoPDF(dir / "cairo.pdf", 3, 612, 792);
    test::makeCairoOverlay(dir / "overlay.pdf", 612, 792);
    fs::copy_file(fs::path(MARQEN_SOURCE_DIR) / "samples" / "pdf-review.pdf", dir / "sample.pdf");
    {
        auto cairo = MarqenPDF::initWithContentsOfFile((dir / "cairo.pdf").string());
        ASSERT_TRUE(cairo);
        MarqenError error;
        ASSERT_TRUE(cairo->writeModifiedPDFToURL((dir / "rich.pdf").string(), {}, std::string("{\"dom\":[1,2]}"), &error));
        std::string saved = readFile(dir / "rich.pdf");
        writeFile(dir / "rich-saved-on-top.pdf", saved + "% another program\n" + saved.substr(saved.rfind("xref")));
    }
    if (test::toolAvailable("gs")) test::makeGhostscriptPDF(dir / "ghostscript.pdf", 2);
    if (test::toolAvailable("qpdf")) {
        test::runTool("qpdf --object-streams=generate '" + (dir / "cairo.pdf").string() + "' '" +
                      (dir / "qpdf-object-streams.pdf").string() + "'");
        test::runTool("qpdf '" + (dir / "cairo.pdf").string() + "' --encrypt '' owner 256 -- '" +
                      (dir / "aes-256.pdf").string() + "'");
    }

    fs::create_directory(dir / "out");
    LogCapture log;
    int checked = 0;
    for (const auto &entry : fs::directory_iterator(dir.path())) {
        if (!entry.is_regular_file()) continue;
        expectReadAlike(entry.path(), dir / "out");
        ++checked;
    }
    EXPECT_GE(checked, 13);
}

// Damaged copies of the small files: bytes replaced by PDF delimiters, long runs of whitespace and
// comments inserted, files cut short. Whatever the reader makes of each, it makes the same of it in pieces.
TEST(PDFReadInPieces, DamagedFilesReadAsWhenReadWhole) {
    TempDir dir;
    fs::create_directory(dir / "out");
    std::vector<std::string> originals = {PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"),
                                          objectStreamFile(), longValuesFile()};
    test::makeCairoPDF(dir / "cairo.pdf", 2, 300, 400);
    originals.push_back(readFile(dir / "cairo.pdf"));
    std::mt19937 random(20261123);
    const std::string significant = "()<>[]{}/% \n\r\t0123456789R.#-\\";
    LogCapture log;
    int variant = 0;
    for (const std::string &original : originals) {
        for (int round = 0; round < 80; ++round) {
            std::string damaged = original;
            std::uniform_int_distribution<size_t> anywhere(0, damaged.size() - 1);
            switch (round % 4) {
                case 0:
                    for (int i = 0; i < 3; ++i) damaged[anywhere(random)] = significant[random() % significant.size()];
                    break;
                case 1:
                    damaged.insert(anywhere(random), std::string(1 + random() % 9000, " \n%x"[random() % 4]));
                    break;
                case 2:
                    damaged.resize(anywhere(random) + 1);
                    break;
                default:
                    damaged.insert(anywhere(random), damaged.substr(anywhere(random), 1 + random() % 200));
                    damaged[anywhere(random)] = significant[random() % significant.size()];
                    break;
            }
            const fs::path path = dir / ("damaged-" + std::to_string(variant++) + ".pdf");
            writeFile(path, damaged);
            expectReadAlike(path, dir / "out");
            if (HasFatalFailure() || HasNonfatalFailure()) return;
        }
    }
}

// A 6 MB file of three pages: opening it, finding its pages and writing an update read a few blocks,
// and the written file is the untouched file followed by the same update as when the file is read whole.
TEST(PDFReadInPieces, OnlyThePartsLookedAtAreReadAndTheOutputIsUnchanged) {
    TempDir dir;
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [3 0 R 5 0 R 7 0 R] /Count 3 /MediaBox [0 0 612 792] >>");
    std::string samples(size_t(2) << 20, '\0');
    for (size_t i = 0; i < samples.size(); ++i) samples[i] = char((i * 2654435761u) >> 13);
    for (int page : {3, 5, 7}) {
        builder.object(page, "<< /Type /Page /Parent 2 0 R /Contents " + std::to_string(page + 1) + " 0 R >>");
        builder.object(page + 1, "<< /Length " + std::to_string(samples.size()) + " >>\nstream\n" + samples +
                                     "\nendstream");
    }
    const std::string file = builder.finishWithTable("/Root 1 0 R");
    writeFile(dir / "big.pdf", file);

    auto reader = MarqenPDFFileReader::open((dir / "big.pdf").string());
    ASSERT_TRUE(reader);
    auto pieces = MarqenPDF::initWithReader(reader);
    auto whole = MarqenPDF::initWithData(file);
    ASSERT_TRUE(pieces && whole);
    std::vector<MarqenPDFAppendedObject> entries;
    for (auto *pdf : {pieces.get(), whole.get()}) {
        ASSERT_EQ(pdf->numberOfPagesInOriginalPDF(), 3u);
        auto page = pdf->pageReferenceForPageNumber(3, true);
        ASSERT_TRUE(page);
        EXPECT_EQ(page->objectNumber, 7u);
        auto box = pdf->inheritedItemOfPage("MediaBox", *page, true);
        ASSERT_TRUE(box);
        EXPECT_EQ(MarqenPDF::encodedObject(*box), "[ 0 0 612 792 ]");
    }
    entries.push_back({reference(7), pieces->resolveIndirectReference(reference(7), true)});
    EXPECT_LT(reader->bytesRead(), uint64_t(256) << 10) << "read " << reader->bytesRead() << " of " << file.size();

    MarqenError error;
    ASSERT_TRUE(pieces->writeModifiedPDFToURL((dir / "pieces.pdf").string(), entries, std::string("{}"), &error))
        << error.localizedDescription();
    ASSERT_TRUE(whole->writeModifiedPDFToURL((dir / "whole.pdf").string(), entries, std::string("{}"), &error));
    const std::string written = readFile(dir / "pieces.pdf");
    EXPECT_EQ(written, readFile(dir / "whole.pdf"));
    ASSERT_GT(written.size(), file.size());
    EXPECT_EQ(written.compare(0, file.size(), file), 0);
    // The copy went through the kernel, not through the reader.
    EXPECT_LT(reader->bytesRead(), uint64_t(256) << 10);
}

// A file of one page whose 200 KB content stream is read after the file lost its second half.
std::string pageWithLargeContent() {
    auto builder = PDFBuilder::simpleDocument();
    std::string content(200000, 'q');
    builder.object(5, "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream");
    return builder.finishWithTable("/Root 1 0 R");
}

TEST(PDFReadInPieces, AFileThatShrinksOrChangesWhileReadFailsCleanlyAndWritesNothing) {
    TempDir dir;
    const fs::path path = dir / "input.pdf", out = dir / "out.pdf";
    const std::string file = pageWithLargeContent();
    auto entriesOf = [](MarqenPDF &pdf) {
        return std::vector<MarqenPDFAppendedObject>{{reference(3), pdf.resolveIndirectReference(reference(3), true)}};
    };
    auto onlyTheInput = [&] {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(dir.path())) names.push_back(entry.path().filename().string());
        return names == std::vector<std::string>{"input.pdf"};
    };

    // Shrinks before an object is read: the object is missing, the reader has failed for good, and
    // nothing is written.
    {
        writeFile(path, file);
        auto pdf = MarqenPDF::initWithContentsOfFile(path.string(), MarqenPDFOptions::commandLineDefaults());
        ASSERT_TRUE(pdf);
        auto entries = entriesOf(*pdf);
        ASSERT_EQ(::truncate(path.c_str(), off_t(file.size() / 2)), 0);
        LogCapture log;
        EXPECT_TRUE(pdf->resolveIndirectReference(reference(5), true).isNull());
        const std::string reason = "MarqenPDF: " + path.string() + " became shorter while it was read";
        EXPECT_TRUE(pdf->readFailed());
        EXPECT_EQ(pdf->readFailure(), reason);
        EXPECT_TRUE(log.contains(reason));
        // Objects already read come back from the cache; nothing new is read after a failure.
        EXPECT_TRUE(pdf->resolveIndirectReference(reference(3), true).asDictionary());
        MarqenError error;
        EXPECT_FALSE(pdf->writeModifiedPDFToURL(out.string(), entries, std::nullopt, &error));
        EXPECT_EQ(error.localizedDescription(), reason);
        EXPECT_TRUE(onlyTheInput());
    }
    // Shrinks after everything was read, before the copy: the copy fails and leaves no file.
    {
        writeFile(path, file);
        auto pdf = MarqenPDF::initWithContentsOfFile(path.string(), MarqenPDFOptions::commandLineDefaults());
        ASSERT_TRUE(pdf);
        auto entries = entriesOf(*pdf);
        ASSERT_EQ(::truncate(path.c_str(), 100), 0);
        MarqenError error;
        EXPECT_FALSE(pdf->writeModifiedPDFToURL(out.string(), entries, std::nullopt, &error));
        EXPECT_EQ(error.localizedDescription(), path.string() + " changed while it was read");
        EXPECT_TRUE(onlyTheInput());
    }
    // Rewritten in place with the same length: refused as well, since the copy would mix two files.
    {
        writeFile(path, file);
        auto pdf = MarqenPDF::initWithContentsOfFile(path.string(), MarqenPDFOptions::commandLineDefaults());
        ASSERT_TRUE(pdf);
        auto entries = entriesOf(*pdf);
        std::string changed = file;
        changed[file.size() / 2] = 'Q';
        writeFile(path, changed);
        struct timespec times[2] = {{0, UTIME_OMIT}, {1, 0}};  // a modification time surely different
        ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        MarqenError error;
        EXPECT_FALSE(pdf->writeOriginalPDFToURL(out.string(), &error));
        EXPECT_EQ(error.localizedDescription(), path.string() + " changed while it was read");
        EXPECT_TRUE(onlyTheInput());
    }
    // Unchanged: the original is copied exactly.
    {
        writeFile(path, file);
        auto pdf = MarqenPDF::initWithContentsOfFile(path.string(), MarqenPDFOptions::commandLineDefaults());
        ASSERT_TRUE(pdf);
        MarqenError error;
        ASSERT_TRUE(pdf->writeOriginalPDFToURL(out.string(), &error)) << error.localizedDescription();
        EXPECT_EQ(readFile(out), file);
    }
    // Shrunk before it is opened far enough: the open fails with the reason.
    {
        writeFile(path, file);
        auto reader = MarqenPDFFileReader::open(path.string());
        ASSERT_TRUE(reader);
        ASSERT_EQ(::truncate(path.c_str(), off_t(file.size() - 10)), 0);
        MarqenError error;
        LogCapture log;
        EXPECT_FALSE(MarqenPDF::initWithReader(reader, {}, &error));
        EXPECT_EQ(error.localizedDescription(), "MarqenPDF: " + path.string() + " became shorter while it was read");
    }
}

}  // namespace
}  // namespace marqen
