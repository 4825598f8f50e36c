#include "composition/composition_test_support.h"

#include <cairo-pdf.h>
#include <cairo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <sstream>

#include "dom/font.h"
#include "dom/layer.h"
#include "dom/text.h"
#include "dom/vector.h"
#include "platform/image_io.h"
#include "support/test_support.h"

namespace marqen::test {

void makePDF(const std::filesystem::path &path, int pages, double width, double height) {
    cairo_surface_t *surface = cairo_pdf_surface_create(path.c_str(), width, height);
    cairo_t *cr = cairo_create(surface);
    for (int i = 1; i <= pages; ++i) {
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_select_font_face(cr, "Helvetica", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(cr, 24);
        cairo_move_to(cr, 40, 60);
        cairo_show_text(cr, ("Page " + std::to_string(i)).c_str());
        cairo_show_page(cr);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

MarqenImageRef makePicture(int width, int height) {
    auto image = MarqenImage::create(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image->setPixelAt(x, y, MarqenImagePremultiply(255, uint8_t(40 + 60 * x / width), uint8_t(90 + 60 * y / height), 200));
    return image;
}

void annotate(MarqenDOMDocument &document, const std::string &text) {
    const CGRect frame = document.frame();
    auto block = MarqenDOMVector::create();
    block->setBezierPath(MarqenBezierPath::pathWithRect({{0, frame.size.height * 0.4}, {frame.size.width, frame.size.height * 0.2}}));
    block->setStrokeColor(MarqenDOMColor(255, 0, 0, 1));
    block->setFillColor(MarqenDOMColor(255, 0, 0, 1));
    document.annotationLayer()->addChild(block);
    auto label = MarqenDOMText::create();
    label->setText(text);
    label->setOrigin({20, 20});
    label->setFillColor(MarqenDOMColor(20, 20, 20, 1));
    label->setStrokeColor(MarqenDOMColor(255, 255, 255, 1));
    label->setFont(MarqenDOMFont("Helvetica-Bold", 18));
    document.textLayer()->addChild(label);
}

size_t elementCount(const MarqenDOMDocument &document) {
    return document.annotationLayer()->children().size() + document.textLayer()->children().size();
}

int runTool(const std::string &command, std::string *output) {
    TempDir dir;
    std::string full = command + " >" + (dir / "out").string() + " 2>&1 </dev/null";
    int status = std::system(full.c_str());
    if (output) *output = readFile(dir / "out");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int qpdfCheck(const std::filesystem::path &pdf) { return runTool("qpdf --check '" + pdf.string() + "'"); }

int popplerPageCount(const std::filesystem::path &pdf) {
    std::string output;
    if (runTool("pdfinfo '" + pdf.string() + "'", &output) != 0) return -1;
    auto at = output.find("Pages:");
    return at == std::string::npos ? -1 : std::atoi(output.c_str() + at + 6);
}

std::string pdfText(const std::filesystem::path &pdf, int page) {
    std::string text;
    runTool("pdftotext -f " + std::to_string(page) + " -l " + std::to_string(page) + " '" + pdf.string() + "' -", &text);
    return text;
}

namespace {

double redShareOfImage(const MarqenImage &image) {
    size_t red = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            uint8_t c[4];
            MarqenImageUnpremultiply(image.pixelAt(x, y), c);
            if (c[0] > 200 && c[1] > 200 && c[2] < 80 && c[3] < 80) ++red;
        }
    return double(red) / double(size_t(image.width()) * size_t(image.height()));
}

}  // namespace

double redShareOfPDFPage(const std::filesystem::path &pdf, int page) {
    TempDir dir;
    std::string prefix = (dir / "page").string();
    if (runTool("pdftoppm -png -f " + std::to_string(page) + " -l " + std::to_string(page) + " -singlefile -r 24 '" +
                pdf.string() + "' '" + prefix + "'") != 0)
        return -1;
    return redShareOfPicture(prefix + ".png");
}

double redShareOfPicture(const std::filesystem::path &picture) {
    auto image = MarqenImageDecodeFile(picture);
    return image ? redShareOfImage(*image) : -1;
}

PrivateTemporaryFolder::PrivateTemporaryFolder() {
    static int counter = 0;
    path_ = std::filesystem::temp_directory_path() / ("marqen-tmp-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
    if (const char *value = std::getenv("TMPDIR")) {
        previous_ = value;
        hadPrevious_ = true;
    }
    ::setenv("TMPDIR", path_.c_str(), 1);
}

PrivateTemporaryFolder::~PrivateTemporaryFolder() {
    if (hadPrevious_) ::setenv("TMPDIR", previous_.c_str(), 1);
    else ::unsetenv("TMPDIR");
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

size_t PrivateTemporaryFolder::entryCount() const {
    size_t count = 0;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(path_, ec), end; !ec && it != end; it.increment(ec)) ++count;
    return count;
}

}  // namespace marqen::test
