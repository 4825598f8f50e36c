// The facade's main loop on large files, against plain copies of the same files in the same run:
//   annotate 3 pages of a 50 MB PDF and save it as an annotated PDF through the facade (open, annotate,
//   save) vs `cp` of the file (goal: at most 3x), the save alone reported beside it;
//   open a 4000 x 3000 rich PNG and save it again through the facade vs `vips copy` of the same picture
//   (goal: at most 2x).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <string>

#include "bench_ratio_reporter.h"
#include "core/core_document.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "dom/text.h"
#include "dom/vector.h"
#include "editing/composition.h"
#include "platform/image_io.h"

using namespace marqen;
namespace fs = std::filesystem;

namespace {

fs::path workDir() {
    static fs::path dir = [] {
        auto path = fs::temp_directory_path() / ("marqen-bench-composition-" + std::to_string(::getpid()));
        fs::create_directories(path);
        return path;
    }();
    return dir;
}

std::string quoted(const fs::path &path) { return std::string("'") + path.string() + "'"; }

// 50 pages, each showing a 1 MB grey image of random (incompressible) samples: about 50 MB.
void makeBigPDF(const fs::path &path) {
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
    data += "trailer\n<< /Size " + std::to_string(highest + 1) + " /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) +
            "\n%%EOF\n";
    std::ofstream(path, std::ios::binary).write(data.data(), std::streamsize(data.size()));
}

void annotate(MarqenDOMDocument &page, const std::string &text) {
    auto block = MarqenDOMVector::create();
    block->setBezierPath(MarqenBezierPath::pathWithRect({{40, 300}, {500, 120}}));
    block->setStrokeColor(MarqenDOMColor(255, 0, 0, 1));
    block->setLineWidth(6);
    page.annotationLayer()->addChild(block);
    auto label = MarqenDOMText::create();
    label->setText(text);
    label->setOrigin({60, 60});
    label->setFillColor(MarqenDOMColor(255, 0, 0, 1));
    page.textLayer()->addChild(label);
}

fs::path bigPDF() { return workDir() / "big.pdf"; }
fs::path richPNG() { return workDir() / "rich.png"; }

void prepareInputs() {
    static bool done = false;
    if (done) return;
    done = true;
    makeBigPDF(bigPDF());
    // A photo-like 4000 x 3000 picture with a few annotations, saved as a rich PNG.
    MarqenImageRef image = MarqenImage::create(4000, 3000);
    std::mt19937 random(7);
    for (int y = 0; y < 3000; ++y) {
        uint32_t *row = image->row(y);
        for (int x = 0; x < 4000; ++x) {
            int noise = int(random() % 9) - 4;
            auto clamp = [](int v) { return uint32_t(v < 0 ? 0 : v > 255 ? 255 : v); };
            row[x] = 0xFF000000u | clamp(x * 255 / 3999 + noise) << 16 | clamp(y * 255 / 2999 + noise) << 8 |
                     clamp(((x / 50 + y / 50) % 2) * 120 + 60 + noise);
        }
    }
    image->markKnownOpaque();
    auto document = CoreMarqenDocument::initWithBackgroundImage(image, 1, MarqenJSON::object(), false);
    annotate(*document->documentComposition()->documents().front(), "Look here");
    auto format = MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:dom.embedded:public.png");
    MarqenError error;
    if (!document->writeToURL(richPNG(), *format, MarqenJSON::object(), &error))
        std::cerr << "bench_composition: cannot write the rich PNG: " << error.description() << '\n';
}

void BM_FacadeAnnotatePDF(benchmark::State &state) {
    prepareInputs();
    auto format = *MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:dom.embedded:com.adobe.pdf");
    for (auto _ : state) {
        MarqenError error;
        auto document = CoreMarqenDocument::initWithURL(bigPDF(), nullptr, &error);
        if (!document) {
            state.SkipWithError(error.description().c_str());
            break;
        }
        for (size_t page : {0, 24, 49}) annotate(*document->documentComposition()->documents()[page], "Page " + std::to_string(page + 1));
        if (!document->writeToURL(workDir() / "annotated.pdf", format, MarqenJSON::object(), &error)) {
            state.SkipWithError(error.description().c_str());
            break;
        }
    }
}

void BM_FacadeSaveAnnotatedPDF(benchmark::State &state) {
    prepareInputs();
    auto format = *MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:dom.embedded:com.adobe.pdf");
    auto document = CoreMarqenDocument::initWithURL(bigPDF());
    for (size_t page : {0, 24, 49}) annotate(*document->documentComposition()->documents()[page], "Page " + std::to_string(page + 1));
    for (auto _ : state) {
        MarqenError error;
        if (!document->writeToURL(workDir() / "saved.pdf", format, MarqenJSON::object(), &error)) {
            state.SkipWithError(error.description().c_str());
            break;
        }
    }
}

void BM_CpPDF(benchmark::State &state) {
    prepareInputs();
    const std::string command = "cp " + quoted(bigPDF()) + " " + quoted(workDir() / "copied.pdf");
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) state.SkipWithError("cp failed");
}

void BM_FacadeReopenAndSaveRichPNG(benchmark::State &state) {
    prepareInputs();
    auto format = *MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:dom.embedded:public.png");
    for (auto _ : state) {
        MarqenError error;
        auto document = CoreMarqenDocument::initWithURL(richPNG(), nullptr, &error);
        if (!document || !document->writeToURL(workDir() / "resaved.png", format, MarqenJSON::object(), &error)) {
            state.SkipWithError(error.description().c_str());
            break;
        }
    }
}

void BM_VipsCopyPNG(benchmark::State &state) {
    prepareInputs();
    const std::string command = "vips copy " + quoted(richPNG()) + " " + quoted(workDir() / "vips.png");
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) state.SkipWithError("vips copy failed");
}

BENCHMARK(BM_FacadeAnnotatePDF)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_FacadeSaveAnnotatedPDF)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_CpPDF)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_FacadeReopenAndSaveRichPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_VipsCopyPNG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("facade open + annotate 3 pages + save of a 50 MB PDF / cp", "BM_FacadeAnnotatePDF", "BM_CpPDF", 3.0);
    reporter.printRatio("facade save of a 50 MB PDF with 3 annotated pages / cp", "BM_FacadeSaveAnnotatedPDF", "BM_CpPDF");
    reporter.printRatio("facade reopen + save of a 4000x3000 rich PNG / vips copy", "BM_FacadeReopenAndSaveRichPNG",
                        "BM_VipsCopyPNG", 2.0);
    std::error_code ignored;
    fs::remove_all(workDir(), ignored);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
