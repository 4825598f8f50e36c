// A PDF truncated by another process while the command line reads it ends in a result or an error,
// never in a signal.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <zlib.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <map>
#include <thread>

#include "hostile/cli_run.h"
#include "support/test_support.h"

using namespace marqen::test;

namespace {

// Numbered objects, 1 upwards, written with a correct cross-reference table and trailer.
class ClassicPDF {
public:
    void add(const std::string &body) {
        offsets_.push_back(pdf_.size());
        pdf_ += std::to_string(offsets_.size()) + " 0 obj\n" + body + "\nendobj\n";
    }
    std::string finish() {
        const size_t xref = pdf_.size();
        pdf_ += "xref\n0 " + std::to_string(offsets_.size() + 1) + "\n0000000000 65535 f \n";
        char line[32];
        for (size_t offset : offsets_) {
            std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
            pdf_ += line;
        }
        pdf_ += "trailer\n<< /Size " + std::to_string(offsets_.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
                std::to_string(xref) + "\n%%EOF\n";
        return std::move(pdf_);
    }

private:
    std::string pdf_ = "%PDF-1.7\n";
    std::vector<size_t> offsets_;
};

// A PDF of `pages` pages in one flat page tree; or, when `onePageRepeated`, one page object listed
// `pages` times in the tree.
std::string flatPDF(int pages, bool onePageRepeated = false) {
    ClassicPDF pdf;
    pdf.add("<< /Type /Catalog /Pages 2 0 R >>");
    std::string kids;
    for (int i = 0; i < pages; ++i) kids += std::to_string(3 + (onePageRepeated ? 0 : i)) + " 0 R ";
    pdf.add("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages) + " >>");
    for (int i = 0; i < (onePageRepeated ? 1 : pages); ++i) pdf.add("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
    return pdf.finish();
}

}  // namespace

// A mapped file that another process truncates ends the reader with SIGBUS at its next touch of a lost
// page; the command line therefore reads its PDFs in pieces (pread) and never maps them.
TEST(HostilePDF, TheCommandLineNeverMapsItsInputSoTruncationCannotEndItWithASignal) {
    TempDir dir;
    const auto path = dir / "input.pdf";
    writeFile(path, flatPDF(8000));
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int quiet = ::open("/dev/null", O_WRONLY);
        ::dup2(quiet, 1);
        ::dup2(quiet, 2);
        ::alarm(60);
        ::execl(MARQEN_CLI, MARQEN_CLI, "pdf-info", path.c_str(), static_cast<char *>(nullptr));
        ::_exit(127);
    }
    // Look at the process's mappings until it ends.
    const std::string maps = "/proc/" + std::to_string(child) + "/maps";
    int looks = 0;
    bool mapped = false;
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (readFile(maps).find(path.string()) != std::string::npos) mapped = true;
        ++looks;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_FALSE(mapped);
    EXPECT_GT(looks, 3);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);

    // Truncated before it is read, the file is a clear error.
    ASSERT_EQ(::truncate(path.c_str(), 100), 0);
    std::string err;
    EXPECT_EQ(runCli("pdf-info " + path.string(), nullptr, &err), 1);
    EXPECT_EQ(err.rfind("marqen: ", 0), 0u) << err;
}

namespace {

// Three pages whose content streams hold 8 MB each.
std::string threeLargePages() {
    ClassicPDF pdf;
    pdf.add("<< /Type /Catalog /Pages 2 0 R >>");
    pdf.add("<< /Type /Pages /Kids [3 0 R 5 0 R 7 0 R] /Count 3 /MediaBox [0 0 612 792] >>");
    const std::string content(size_t(8) << 20, 'n');
    for (int page = 3; page <= 7; page += 2) {
        pdf.add("<< /Type /Page /Parent 2 0 R /Contents " + std::to_string(page + 1) + " 0 R >>");
        pdf.add("<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "\nendstream");
    }
    return pdf.finish();
}

}  // namespace

// The command line reads its PDFs in pieces and copies the untouched bytes inside the kernel: an input
// that another process truncates at any moment of a pdf-overlay run ends it with the complete result or
// a one-line error, never with a signal or a partial output.
TEST(HostilePDF, AnOverlayWhoseInputShrinksMidwayEndsWithTheResultOrAnError) {
    TempDir dir;
    const auto input = dir / "input.pdf", overlay = dir / "overlay.pdf", output = dir / "out.pdf";
    const std::string original = threeLargePages();
    writeFile(overlay, flatPDF(1));
    int results = 0, errors = 0;
    for (int delayMicroseconds : {0, 200, 1000, 3000, 6000, 10000, 20000, 40000}) {
        SCOPED_TRACE(delayMicroseconds);
        writeFile(input, original);
        std::error_code ignored;
        std::filesystem::remove(output, ignored);
        const auto errPath = dir / "err.txt";
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            int quiet = ::open("/dev/null", O_WRONLY);
            int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            ::dup2(quiet, 1);
            ::dup2(err, 2);
            ::alarm(60);
            ::execl(MARQEN_CLI, MARQEN_CLI, "pdf-overlay", input.c_str(), "--overlay", overlay.c_str(), "--page", "1",
                    "--page", "3", "-o", output.c_str(), static_cast<char *>(nullptr));
            ::_exit(127);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(delayMicroseconds));
        ASSERT_EQ(::truncate(input.c_str(), off_t(original.size() / 3)), 0);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status)) << "signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
        const std::string err = readFile(errPath);
        if (WEXITSTATUS(status) == 0) {
            ++results;
            const std::string written = readFile(output);
            ASSERT_GT(written.size(), original.size());
            EXPECT_EQ(written.compare(0, original.size(), original), 0);
        } else {
            ++errors;
            EXPECT_EQ(WEXITSTATUS(status), 1);
            // Warnings met on the way, then the one line that says why.
            ASSERT_FALSE(err.empty());
            const std::string last = err.substr(err.rfind('\n', err.size() - 2) + 1);
            EXPECT_EQ(last.rfind("marqen: ", 0), 0u) << err;
            EXPECT_NE(last.rfind("marqen: warning: ", 0), 0u) << err;
            EXPECT_FALSE(std::filesystem::exists(output));
        }
        // Never a temporary file left beside the output.
        for (const auto &entry : std::filesystem::directory_iterator(dir.path()))
            EXPECT_EQ(entry.path().filename().string().find(".tmp-"), std::string::npos) << entry.path();
    }
    // Truncated at once, the run cannot have read the file whole.
    EXPECT_GE(errors, 1);
    std::cout << "results " << results << ", errors " << errors << '\n';
}

namespace {

// Forty pages, each the one object of its own object stream; every object stream decodes to 80 MB (the
// object, then zeros), which the per-stream limit of a 3 MB file allows. The cross-reference stream
// lists each page inside its stream.
std::string objectStreamBombPDF() {
    constexpr int kPages = 40;
    std::string decoded = "0 0 << /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>";
    decoded.resize(size_t(80) << 20, '\0');
    uLongf compressedLength = compressBound(uLong(decoded.size()));
    std::string compressed(compressedLength, '\0');
    EXPECT_EQ(compress2(reinterpret_cast<Bytef *>(compressed.data()), &compressedLength,
                        reinterpret_cast<const Bytef *>(decoded.data()), uLong(decoded.size()), 9),
              Z_OK);
    compressed.resize(compressedLength);

    std::string pdf = "%PDF-1.7\n";
    std::map<int, size_t> offsets;
    auto add = [&](int number, const std::string &body) {
        offsets[number] = pdf.size();
        pdf += std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
    };
    add(1, "<< /Type /Catalog /Pages 2 0 R >>");
    std::string kids;
    for (int i = 0; i < kPages; ++i) kids += std::to_string(3 + i) + " 0 R ";
    add(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(kPages) + " >>");
    const int firstStream = 3 + kPages;
    for (int i = 0; i < kPages; ++i)
        add(firstStream + i, "<< /Type /ObjStm /N 1 /First 4 /Filter /FlateDecode /Length " +
                                 std::to_string(compressed.size()) + " >>\nstream\n" + compressed + "\nendstream");
    // Cross-reference stream, /W [1 4 2]: free 0, offsets of 1, 2 and the streams, pages inside streams.
    const int xrefNumber = firstStream + kPages;
    auto entry = [](int type, uint32_t field, uint16_t index) {
        std::string bytes(1, char(type));
        for (int shift = 24; shift >= 0; shift -= 8) bytes += char((field >> shift) & 0xff);
        bytes += char(index >> 8);
        bytes += char(index & 0xff);
        return bytes;
    };
    std::string rows = entry(0, 0, 0xffff);
    const size_t xrefOffset = pdf.size();
    for (int number = 1; number < xrefNumber; ++number) {
        const bool inStream = number >= 3 && number < firstStream;
        rows += inStream ? entry(2, uint32_t(firstStream + number - 3), 0) : entry(1, uint32_t(offsets[number]), 0);
    }
    rows += entry(1, uint32_t(xrefOffset), 0);
    pdf += std::to_string(xrefNumber) + " 0 obj\n<< /Type /XRef /Size " + std::to_string(xrefNumber + 1) +
           " /W [1 4 2] /Root 1 0 R /Length " + std::to_string(rows.size()) + " >>\nstream\n" + rows +
           "\nendstream\nendobj\nstartxref\n" + std::to_string(xrefOffset) + "\n%%EOF\n";
    return pdf;
}

}  // namespace

TEST(HostilePDF, TwentyThousandFlatPagesAndOnePageRepeatedAreCountedQuickly) {
    TempDir dir;
    writeFile(dir / "flat.pdf", flatPDF(20000));
    auto flat = runMeasured({"pdf-info", "--json", (dir / "flat.pdf").string()});
    expectWithinBounds(flat);
    ASSERT_EQ(flat.exitStatus, 0) << flat.err;
    EXPECT_NE(flat.out.find("\"pages\": 20000"), std::string::npos) << flat.out.substr(0, 200);

    // The same page object listed 20,000 times: shown as 20,000 pages, as viewers show it.
    const std::string repeated = flatPDF(20000, true);
    writeFile(dir / "repeated.pdf", repeated);
    auto run = runMeasured({"pdf-info", "--json", (dir / "repeated.pdf").string()});
    expectWithinBounds(run);
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("\"pages\": 20000"), std::string::npos) << run.out.substr(0, 200);
}

TEST(HostilePDF, ObjectStreamsDecodingToGigabytesStopAtTheFilesTotal) {
    TempDir dir;
    const std::string pdf = objectStreamBombPDF();
    ASSERT_LT(pdf.size(), size_t(4) << 20);
    writeFile(dir / "bombs.pdf", pdf);
    auto run = runMeasured({"pdf-info", "--json", (dir / "bombs.pdf").string()});
    expectWithinBounds(run);
    // (40 streams of 80 MB, all kept, would be 3.2 GB.)
    EXPECT_NE(run.err.find("Decoded streams exceed the file's total of 268435456 bytes"), std::string::npos)
        << run.err.substr(0, 400);
}
