// marqen demo: the main job on the bundled samples.
#include <algorithm>
#include <filesystem>
#include <iostream>

#include "command.h"
#include "document_loading.h"
#include "demo_facade_loop.h"
#include "demo_rich_images.h"
#include "document_rendering.h"
#include "dom/layer.h"
#include "formats/pdf/pdf_overlay.h"

namespace marqen::cli {
namespace {

namespace fs = std::filesystem;

// The PDF with each page's annotation PDF drawn over its page and the document hidden in the update:
// what saving an annotated PDF writes.
void writeAnnotatedPDF(const fs::path &pdf, const std::vector<std::pair<int, fs::path>> &annotations,
                       const MarqenDOMJSONContent &content, const fs::path &output) {
    auto target = MarqenPDF::initWithContentsOfFile(pdf.string(), commandLinePDFOptions());
    if (!target) failure("cannot read " + pdf.string() + " as a PDF");
    MarqenPDFMigrator migrator(target, target->nextAvailableObjectNumber());
    for (const auto &[page, annotationPDF] : annotations) {
        MarqenError error;
        if (!mergeAnnotationsWithOriginal(target, annotationPDF.string(), migrator, static_cast<uint64_t>(page - 1),
                                          &error))
            failure("cannot draw the annotations over page " + std::to_string(page) + ": " +
                    error.localizedDescription());
    }
    MarqenError error;
    if (!target->writeModifiedPDFToURL(output.string(), migrator.migratedObjects(),
                                       content.dictionaryRepresentation().dump(), &error))
        failure("cannot write " + output.string() + ": " + error.localizedDescription());
}

// Renders every page of a sample to PNG; a sample X.json with a sibling X.pdf is drawn over that
// PDF's pages, gets its annotations as a vector PDF a page, and the PDF annotated with them
// (X-annotated.pdf); pages with nothing to draw are listed in *blank. Returns the number of pages that
// failed.
int renderSample(const fs::path &file, const MarqenDOMJSONContent &content, const fs::path &samples, const fs::path &output,
                 MarqenJSON *renders, MarqenJSON *blank) {
    const fs::path resources = samples / "resources";
    fs::path pdf = file;
    pdf.replace_extension(".pdf");
    std::error_code ec;
    const bool hasPDF = fs::is_regular_file(pdf, ec);
    const size_t pageCount = content.pages->pages().size();
    int failed = 0;
    std::vector<std::pair<int, fs::path>> annotationPDFs;
    const auto coordinator = fs::is_directory(resources, ec) ? openResources(resources.string()) : nullptr;
    for (size_t index = 0; index < pageCount; ++index) {
        const int page = static_cast<int>(index) + 1;
        std::string stem = file.stem().string() + (pageCount > 1 ? "-page-" + std::to_string(page) : "");
        // A page without elements and without a PDF page under it would only be a blank picture.
        bool hasElements = false;
        content.pages->pages()[index]->acceptVisitor([&](MarqenDOMNode &node) {
            const bool element = dynamic_cast<MarqenDOMElement *>(&node) && !dynamic_cast<MarqenDOMLayer *>(&node);
            hasElements = hasElements || element;
            return !hasElements;
        });
        if (!hasElements && !hasPDF) {
            blank->push_back(page);
            continue;
        }
        try {
            auto document = pageForRendering(content, page, hasPDF ? std::optional(pdf.string()) : std::nullopt);
            if (coordinator) attachResources({document}, coordinator);
            RenderRequest request;
            request.output = output / (stem + ".png");
            renderDocumentToFile(document, request);
            renders->push_back(request.output.string());
            if (hasPDF) {
                request.output = output / (stem + "-annotations.pdf");
                renderDocumentToFile(document, request);
                renders->push_back(request.output.string());
                annotationPDFs.emplace_back(page, request.output);
            }
        } catch (const CommandError &error) {
            std::cerr << "marqen: " << file.filename().string() << " page " << page << ": " << error.what() << '\n';
            ++failed;
        }
    }
    if (!annotationPDFs.empty()) {
        const fs::path annotated = output / (file.stem().string() + "-annotated.pdf");
        try {
            writeAnnotatedPDF(pdf, annotationPDFs, content, annotated);
            renders->push_back(annotated.string());
        } catch (const CommandError &error) {
            std::cerr << "marqen: " << file.filename().string() << ": " << error.what() << '\n';
            ++failed;
        }
    }
    return failed;
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o", "--samples"}, {});
    if (!arguments.positional().empty()) usageError("unexpected argument " + arguments.positional()[0]);
    fs::path output = arguments.value("-o", "demo-out");
    fs::path samples = arguments.value("--samples", "samples");
    std::error_code ec;
    if (!fs::is_directory(samples, ec)) failure("no samples folder at " + samples.string() + " (use --samples DIR)");
    fs::create_directories(output / "normalized", ec);
    if (!ec) fs::create_directories(output / "rendered", ec);
    if (ec) failure("cannot create " + output.string() + ": " + ec.message());

    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(samples))
        if (entry.is_regular_file() && entry.path().extension() == ".json") files.push_back(entry.path());
    std::sort(files.begin(), files.end());

    MarqenJSON report = MarqenJSON::object();
    int failed = 0;
    for (const auto &file : files) {
        auto content = loadDocumentFile(file.string());
        fs::path normalized = output / "normalized" / file.filename();
        writeFileAtomically(normalized.string(), content.dictionaryRepresentation().dump(2) + "\n");
        size_t nodes = 0;
        for (const auto &page : content.pages->pages())
            page->acceptVisitor([&](MarqenDOMNode &) {
                ++nodes;
                return true;
            });
        MarqenJSON renders = MarqenJSON::array(), blank = MarqenJSON::array();
        failed += renderSample(file, content, samples, output / "rendered", &renders, &blank);
        report[file.filename().string()] = {
            {"pages", content.pages->pages().size()}, {"nodes", nodes}, {"rendered", renders}, {"blankPages", blank}};
        std::cout << file.filename().string() << ": " << content.pages->pages().size() << " page(s), " << nodes
                  << " nodes -> " << normalized.string() << '\n';
        for (const auto &rendered : renders) std::cout << "  rendered " << rendered.get<std::string>() << '\n';
        for (const auto &page : blank) std::cout << "  page " << page.get<int>() << " has no annotations: not rendered\n";
    }
    // The richest sample also travels inside rich images and comes back out.
    const fs::path richSample = samples / "elements.json";
    const fs::path richPicture = output / "rendered" / "elements.png";
    if (fs::is_regular_file(richSample, ec) && fs::is_regular_file(richPicture, ec)) {
        std::cout << "rich images of " << richSample.filename().string() << ":\n";
        failed += writeRichImageDemo(richSample, richPicture, samples / "resources", output);
    }
    // The whole loop through the facade: annotate, save editable, reopen.
    failed += runFacadeLoopDemo(samples, output);
    writeFileAtomically((output / "summary.json").string(), report.dump(2) + "\n");
    std::cout << "demo output is in " << fs::absolute(output).string() << '\n';
    if (failed) failure(std::to_string(failed) + " sample page(s) or rich image(s) failed");
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "demo",
    "run the main job on the bundled samples, and the whole annotate-save-reopen loop",
    "usage: marqen demo [-o DIR] [--samples DIR]\n\n"
    "Loads every sample document in the samples folder (default ./samples), writes its\n"
    "canonical form to DIR/normalized, renders every page with annotations to\n"
    "DIR/rendered/NAME.png (bitmaps from the samples' resources folder; a sample NAME.json beside\n"
    "NAME.pdf is drawn over that PDF's pages, written as the vector annotation PDF\n"
    "NAME-annotations.pdf, and drawn into the PDF itself as NAME-annotated.pdf, which keeps the\n"
    "document for re-editing), writes elements.json as a rich PNG, JPEG and HEIC to DIR/rich (the\n"
    "picture with the document inside), unpacks each and says whether the documents match.\n"
    "Then the whole loop through the document facade, in DIR/loop: the sample screenshot annotated\n"
    "with screenshot-notes.json and saved as an editable PNG, JPEG and HEIC, the sample PDF annotated\n"
    "with pdf-review.json and saved as a PDF with a summary page and the document inside; each is\n"
    "opened again and its annotations compared with what was saved, and the untouched PDF is\n"
    "recovered from the annotated one. Writes a summary to DIR/summary.json (default DIR: ./demo-out)\n"
    "and says where everything is.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
