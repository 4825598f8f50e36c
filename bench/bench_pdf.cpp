// PDF reading and annotation speed, whole command against whole command, in real time, measured in the
// same run:
//   `marqen pdf-info FILE --json` vs `qpdf --json --json-key=pages FILE` (both read every page's boxes)
//   at 2,000 and 8,000 pages (goal: at most 0.5x), and pdf-info's growth per doubling of the pages
//   from 4,000 to 8,000 to 16,000 (goal: at most 2.2x; larger files than the first rows', so that the
//   command's start-up weighs less in the ratio);
//   a /Kids array that repeats one page 20,000 times, the same two commands (goal: at most 0.5x);
//   pdf-info on the 2,000-page file encrypted with AES-256 vs unencrypted (goal: at most 1.5x);
//   `marqen pdf-overlay` of 3 pages of a 50 MB PDF vs `cp` of the same file (goal: at most 1.5x), also
//   against a copy flushed to disk as the overlay's safe write must (dd with conv=fsync) and against
//   qpdf rewriting the file;
//   pdf-overlay of every page of the 2,000- and 8,000-page files: growth over two doublings of the pages
//   (goal: at most 2.2x per doubling, 4.84x; each page found by number must not walk the tree again).
// The inputs are generated into a temporary directory when the program starts; MARQEN_CLI names the
// marqen program (scripts/bench.sh sets it).
#include <benchmark/benchmark.h>
#include <cairo-pdf.h>
#include <cairo.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <string>

#include "bench_ratio_reporter.h"

namespace fs = std::filesystem;
using namespace marqen;

namespace {

fs::path workDirectory;
fs::path bigFile, overlayFile;

void makeManyPages(const fs::path &path, int pages) {
    cairo_surface_t *surface = cairo_pdf_surface_create(path.c_str(), 612, 792);
    cairo_t *cr = cairo_create(surface);
    cairo_select_font_face(cr, "Helvetica", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 24);
    for (int i = 1; i <= pages; ++i) {
        cairo_move_to(cr, 72, 700);
        cairo_show_text(cr, ("Page " + std::to_string(i)).c_str());
        cairo_show_page(cr);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

void makeOverlay(const fs::path &path) {
    cairo_surface_t *surface = cairo_pdf_surface_create(path.c_str(), 612, 792);
    cairo_t *cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 0, 0);
    cairo_set_line_width(cr, 8);
    cairo_move_to(cr, 100, 100);
    cairo_line_to(cr, 500, 600);
    cairo_stroke(cr);
    cairo_show_page(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

// 50 pages, each showing a 1 MB grey image of random (incompressible) samples: about 50 MB.
void makeBigFile(const fs::path &path) {
    std::string data = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";
    const int pages = 50, side = 1024;
    std::map<int, size_t> offsets;
    auto object = [&](int number, const std::string &body) {
        offsets[number] = data.size();
        data += std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
    };
    std::string kids;
    for (int i = 0; i < pages; ++i) kids += std::to_string(3 + 3 * i) + " 0 R ";
    object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    object(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages) + " /MediaBox [0 0 612 792] >>");
    std::mt19937 random(7);
    std::string samples(size_t(side) * side, '\0');
    for (int i = 0; i < pages; ++i) {
        int page = 3 + 3 * i, content = page + 1, image = page + 2;
        object(page, "<< /Type /Page /Parent 2 0 R /Contents " + std::to_string(content) +
                         " 0 R /Resources << /XObject << /Im0 " + std::to_string(image) + " 0 R >> >> >>");
        std::string draw = "q 512 0 0 512 50 140 cm /Im0 Do Q";
        object(content, "<< /Length " + std::to_string(draw.size()) + " >>\nstream\n" + draw + "\nendstream");
        for (char &sample : samples) sample = char(random());
        object(image, "<< /Type /XObject /Subtype /Image /Width " + std::to_string(side) + " /Height " +
                          std::to_string(side) + " /ColorSpace /DeviceGray /BitsPerComponent 8 /Length " +
                          std::to_string(samples.size()) + " >>\nstream\n" + samples + "\nendstream");
    }
    int highest = offsets.rbegin()->first;
    size_t xref = data.size();
    data += "xref\n0 " + std::to_string(highest + 1) + "\n0000000000 65535 f \n";
    char entry[32];
    for (int i = 1; i <= highest; ++i) {
        std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", offsets[i]);
        data += entry;
    }
    data += "trailer\n<< /Size " + std::to_string(highest + 1) + " /Root 1 0 R >>\nstartxref\n" +
            std::to_string(xref) + "\n%%EOF\n";
    std::ofstream(path, std::ios::binary).write(data.data(), std::streamsize(data.size()));
}

void run(const std::string &command) {
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0) std::cerr << "bench_pdf: failed: " << command << '\n';
}

std::string marqenCommand;
std::map<int, fs::path> pageFiles;
fs::path encryptedPages, repeatedKids;

std::string quoted(const fs::path &path) { return "'" + path.string() + "'"; }

// One page object listed 20,000 times in the root's /Kids.
void makeRepeatedKids(const fs::path &path, int repeats) {
    std::string data = "%PDF-1.4\n";
    std::map<int, size_t> offsets;
    auto object = [&](int number, const std::string &body) {
        offsets[number] = data.size();
        data += std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
    };
    std::string kids;
    kids.reserve(size_t(repeats) * 6);
    for (int i = 0; i < repeats; ++i) kids += "3 0 R ";
    object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    object(2, "<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(repeats) + " /MediaBox [0 0 612 792] >>");
    object(3, "<< /Type /Page /Parent 2 0 R /Contents 4 0 R >>");
    object(4, "<< /Length 3 >>\nstream\nq Q\nendstream");
    size_t xref = data.size();
    data += "xref\n0 5\n0000000000 65535 f \n";
    char entry[32];
    for (int i = 1; i <= 4; ++i) {
        std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", offsets[i]);
        data += entry;
    }
    data += "trailer\n<< /Size 5 /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
    std::ofstream(path, std::ios::binary).write(data.data(), std::streamsize(data.size()));
}

void BM_MarqenPdfInfo(benchmark::State &state) {
    std::string command = marqenCommand + " pdf-info --json " + quoted(pageFiles[int(state.range(0))]);
    for (auto _ : state) run(command);
}

void BM_QpdfJsonPages(benchmark::State &state) {
    std::string command = "qpdf --json --json-key=pages " + quoted(pageFiles[int(state.range(0))]);
    for (auto _ : state) run(command);
}

void BM_MarqenPdfInfoRepeatedKids(benchmark::State &state) {
    for (auto _ : state) run(marqenCommand + " pdf-info --json " + quoted(repeatedKids));
}

void BM_QpdfJsonPagesRepeatedKids(benchmark::State &state) {
    for (auto _ : state) run("qpdf --json --json-key=pages " + quoted(repeatedKids));
}

void BM_MarqenPdfInfoAES256(benchmark::State &state) {
    for (auto _ : state) run(marqenCommand + " pdf-info --json " + quoted(encryptedPages));
}

void BM_MarqenOverlayThreePages(benchmark::State &state) {
    std::string command = marqenCommand + " pdf-overlay " + quoted(bigFile) + " --overlay " + quoted(overlayFile) +
                          " --page 1 --page 25 --page 50 -o " + quoted(workDirectory / "overlaid.pdf");
    for (auto _ : state) run(command);
}

void BM_MarqenOverlayEveryPage(benchmark::State &state) {
    std::string command = marqenCommand + " pdf-overlay " + quoted(pageFiles[int(state.range(0))]) + " --overlay " +
                          quoted(overlayFile) + " -o " + quoted(workDirectory / "overlaid-every-page.pdf");
    for (int page = 1; page <= int(state.range(0)); ++page) command += " --page " + std::to_string(page);
    for (auto _ : state) run(command);
}

void BM_CopyWithCp(benchmark::State &state) {
    for (auto _ : state) run("cp '" + bigFile.string() + "' '" + (workDirectory / "copied.pdf").string() + "'");
}

void BM_CopyFlushedWithDd(benchmark::State &state) {
    for (auto _ : state)
        run("dd if='" + bigFile.string() + "' of='" + (workDirectory / "flushed.pdf").string() +
            "' bs=4M conv=fsync status=none");
}

void BM_QpdfRewrite(benchmark::State &state) {
    for (auto _ : state) run("qpdf '" + bigFile.string() + "' '" + (workDirectory / "rewritten.pdf").string() + "'");
}

BENCHMARK(BM_MarqenPdfInfo)->Arg(2000)->Arg(4000)->Arg(8000)->Arg(16000)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_QpdfJsonPages)->Arg(2000)->Arg(4000)->Arg(8000)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_MarqenPdfInfoRepeatedKids)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_QpdfJsonPagesRepeatedKids)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_MarqenPdfInfoAES256)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_MarqenOverlayThreePages)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_MarqenOverlayEveryPage)->Arg(2000)->Arg(8000)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(BM_CopyWithCp)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CopyFlushedWithDd)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_QpdfRewrite)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    char pattern[] = "/tmp/marqen-bench-pdf-XXXXXX";
    if (!mkdtemp(pattern)) return 1;
    workDirectory = pattern;
    const char *cli = std::getenv("MARQEN_CLI");
    marqenCommand = "'" + std::string(cli && *cli ? cli : "marqen") + "'";
    bigFile = workDirectory / "big-50mb.pdf";
    overlayFile = workDirectory / "overlay.pdf";
    for (int pages : {2000, 4000, 8000, 16000}) {
        pageFiles[pages] = workDirectory / ("pages-" + std::to_string(pages) + ".pdf");
        makeManyPages(pageFiles[pages], pages);
    }
    encryptedPages = workDirectory / "pages-2000-aes256.pdf";
    run("qpdf " + quoted(pageFiles[2000]) + " --encrypt '' owner 256 -- " + quoted(encryptedPages));
    repeatedKids = workDirectory / "repeated-kids.pdf";
    makeRepeatedKids(repeatedKids, 20000);
    makeBigFile(bigFile);
    makeOverlay(overlayFile);
    std::cout << "inputs: " << fs::file_size(pageFiles[2000]) << " bytes (2000 pages), " << fs::file_size(bigFile)
              << " bytes (50 pages)\n";

    marqen::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (int pages : {2000, 8000})
        reporter.printRatio("pdf-info --json / qpdf --json pages, " + std::to_string(pages) + " pages",
                            "BM_MarqenPdfInfo/" + std::to_string(pages), "BM_QpdfJsonPages/" + std::to_string(pages),
                            0.5);
    reporter.printRatio("pdf-info growth 4000 -> 8000 pages", "BM_MarqenPdfInfo/8000", "BM_MarqenPdfInfo/4000", 2.2);
    reporter.printRatio("pdf-info growth 8000 -> 16000 pages", "BM_MarqenPdfInfo/16000", "BM_MarqenPdfInfo/8000", 2.2);
    reporter.printRatio("pdf-info --json / qpdf --json pages, /Kids repeating one page 20000x",
                        "BM_MarqenPdfInfoRepeatedKids", "BM_QpdfJsonPagesRepeatedKids", 0.5);
    reporter.printRatio("pdf-info AES-256 / unencrypted, 2000 pages", "BM_MarqenPdfInfoAES256",
                        "BM_MarqenPdfInfo/2000", 1.5);
    reporter.printRatio("pdf-overlay 3 pages of 50 MB / cp", "BM_MarqenOverlayThreePages", "BM_CopyWithCp", 1.5);
    reporter.printRatio("pdf-overlay 3 pages of 50 MB / dd conv=fsync (a copy flushed to disk)",
                        "BM_MarqenOverlayThreePages", "BM_CopyFlushedWithDd");
    reporter.printRatio("pdf-overlay 3 pages of 50 MB / qpdf rewrite", "BM_MarqenOverlayThreePages", "BM_QpdfRewrite");
    reporter.printRatio("pdf-overlay every page, growth 2000 -> 8000 pages (two doublings)",
                        "BM_MarqenOverlayEveryPage/8000", "BM_MarqenOverlayEveryPage/2000", 2.2 * 2.2);
    benchmark::Shutdown();
    fs::remove_all(workDirectory);
    return marqen::bench::exitStatus();
}
