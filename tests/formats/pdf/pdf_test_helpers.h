#pragma once
// Building small PDFs by hand and with installed producers, and looking at rendered pages.
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace marqen::test {

// Writes objects with known offsets and finishes the file with a classic cross-reference table.
class PDFBuilder {
public:
    explicit PDFBuilder(std::string header = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n") : data(std::move(header)) {}
    void object(int number, const std::string &body, int generation = 0);
    void stream(int number, const std::string &dictionary, const std::string &content);
    size_t offsetOf(int number) const { return offsets.at(number); }
    // One subsection 0..highest, entries ending with entryEnd (two bytes for 20-byte entries), then the
    // trailer, startxref and %%EOF. Returns the whole file.
    std::string finishWithTable(const std::string &trailerEntries, const std::string &entryEnd = " \n",
                                std::string lineEnd = "\n");
    // The standard catalog (1), page tree (2), one page (3) and its content (4).
    static PDFBuilder simpleDocument(const std::string &content = "0 0 1 rg 10 10 50 50 re f");

    std::string data;
    std::map<int, size_t> offsets;
    size_t xrefOffset = 0;
};

// The bytes of a cross-reference stream entry, big-endian fields of the given widths.
std::string xrefStreamEntry(const std::vector<std::pair<uint64_t, int>> &fields);
std::string flate(const std::string &data);

// Runs a shell command, returning its exit status (stdout and stderr discarded unless output is given).
int runTool(const std::string &command, std::string *output = nullptr);
bool toolAvailable(const std::string &name);

// A PDF drawn with Cairo: `pages` pages of width x height, each with "Page N" in black.
void makeCairoPDF(const std::filesystem::path &path, int pages, double width, double height);
// A one-page overlay drawn with Cairo: a thick red bar across the middle and red text.
void makeCairoOverlay(const std::filesystem::path &path, double width, double height);
// A multi-page PostScript document turned into PDF by Ghostscript.
void makeGhostscriptPDF(const std::filesystem::path &path, int pages);

// Share of strongly red pixels on a page rendered by poppler at a low resolution (0 to 1).
// An encrypted file is opened with the given password.
double redShareOfPage(const std::filesystem::path &pdf, int page, const std::string &password = "");
int popplerPageCount(const std::filesystem::path &pdf, const std::string &password = "");

}  // namespace marqen::test
