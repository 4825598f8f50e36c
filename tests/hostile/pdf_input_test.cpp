// A PDF truncated by another process while the command line reads it ends in a result or an error,
// never in a signal.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "support/test_support.h"

using namespace marqen::test;

namespace {

// A PDF of `pages` pages in one flat page tree, with a correct cross-reference table.
std::string flatPDF(int pages) {
    std::string pdf = "%PDF-1.7\n";
    std::vector<size_t> offsets;
    auto add = [&](const std::string &body) {
        offsets.push_back(pdf.size());
        pdf += std::to_string(offsets.size()) + " 0 obj\n" + body + "\nendobj\n";
    };
    add("<< /Type /Catalog /Pages 2 0 R >>");
    std::string kids;
    for (int i = 0; i < pages; ++i) kids += std::to_string(3 + i) + " 0 R ";
    add("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages) + " >>");
    for (int i = 0; i < pages; ++i) add("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 612 792] >>");
    const size_t xref = pdf.size();
    pdf += "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n";
    char line[32];
    for (size_t offset : offsets) {
        std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
        pdf += line;
    }
    pdf += "trailer\n<< /Size " + std::to_string(offsets.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
           std::to_string(xref) + "\n%%EOF\n";
    return pdf;
}

}  // namespace

// A mapped file that another process truncates ends the reader with SIGBUS at its next touch of a lost
// page; the command line therefore reads its PDFs into memory and never maps them.
TEST(HostilePDF, TheCommandLineNeverMapsItsInputSoTruncationCannotEndItWithASignal) {
    TempDir dir;
    const auto path = dir / "input.pdf";
    writeFile(path, flatPDF(1500));
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
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
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
