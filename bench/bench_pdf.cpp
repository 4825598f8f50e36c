// PDF reading and annotation speed against command-line tools measured in the same run:
//   open a 2,000-page PDF and count its pages vs `qpdf --show-npages` (goal: at most 0.5x);
//   overlay 3 pages of a 50 MB PDF vs `cp` of the same file (goal: at most 2x), also against qpdf
//   rewriting the file.
// The inputs are generated into a temporary directory when the program starts.
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
#include "formats/pdf/pdf_overlay.h"

namespace fs = std::filesystem;
using namespace marqen;

namespace {

fs::path workDirectory;
fs::path manyPages, bigFile, overlayFile;

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

void BM_OpenAndCountPages(benchmark::State &state) {
    for (auto _ : state) {
        auto pdf = MarqenPDF::initWithContentsOfFile(manyPages.string());
        if (!pdf || pdf->numberOfPagesInOriginalPDF() != 2000) state.SkipWithError("could not count the pages");
        benchmark::DoNotOptimize(pdf);
    }
}

void BM_QpdfShowNpages(benchmark::State &state) {
    for (auto _ : state) run("qpdf --show-npages '" + manyPages.string() + "'");
}

void BM_OverlayThreePages(benchmark::State &state) {
    fs::path out = workDirectory / "overlaid.pdf";
    for (auto _ : state) {
        auto target = MarqenPDF::initWithContentsOfFile(bigFile.string());
        auto overlay = MarqenPDF::initWithContentsOfFile(overlayFile.string());
        if (!target || !overlay) {
            state.SkipWithError("could not open the inputs");
            break;
        }
        MarqenPDFMigrator migrator(target, target->nextAvailableObjectNumber());
        MarqenPDFMigratorSourceMap sourceMap(overlay, target);
        bool ok = true;
        for (uint64_t page : {0, 24, 49}) ok = ok && MarqenPDFMergeAnnotationPage(*overlay, sourceMap, migrator, page, nullptr);
        ok = ok && target->writeModifiedPDFToURL(out.string(), migrator.migratedObjects(), std::string("{}"), nullptr);
        if (!ok) state.SkipWithError("overlay failed");
    }
}

void BM_CopyWithCp(benchmark::State &state) {
    for (auto _ : state) run("cp '" + bigFile.string() + "' '" + (workDirectory / "copied.pdf").string() + "'");
}

void BM_QpdfRewrite(benchmark::State &state) {
    for (auto _ : state) run("qpdf '" + bigFile.string() + "' '" + (workDirectory / "rewritten.pdf").string() + "'");
}

BENCHMARK(BM_OpenAndCountPages)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_QpdfShowNpages)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_OverlayThreePages)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_CopyWithCp)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_QpdfRewrite)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    char pattern[] = "/tmp/marqen-bench-pdf-XXXXXX";
    if (!mkdtemp(pattern)) return 1;
    workDirectory = pattern;
    manyPages = workDirectory / "pages-2000.pdf";
    bigFile = workDirectory / "big-50mb.pdf";
    overlayFile = workDirectory / "overlay.pdf";
    makeManyPages(manyPages, 2000);
    makeBigFile(bigFile);
    makeOverlay(overlayFile);
    std::cout << "inputs: " << fs::file_size(manyPages) << " bytes (2000 pages), " << fs::file_size(bigFile)
              << " bytes (50 pages)\n";

    marqen::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("open 2000-page PDF and count pages / qpdf --show-npages", "BM_OpenAndCountPages",
                        "BM_QpdfShowNpages", 0.5);
    reporter.printRatio("overlay 3 pages of 50 MB / cp", "BM_OverlayThreePages", "BM_CopyWithCp", 2.0);
    reporter.printRatio("overlay 3 pages of 50 MB / qpdf rewrite", "BM_OverlayThreePages", "BM_QpdfRewrite");
    benchmark::Shutdown();
    fs::remove_all(workDirectory);
    return 0;
}
