#include "support/composition_test_support.h"

#include <unistd.h>

#include <cstdlib>

#include "dom/font.h"
#include "dom/layer.h"
#include "dom/text.h"
#include "dom/vector.h"
#include "platform/image_io.h"
#include "support/test_support.h"

namespace marqen::test {

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

int qpdfCheck(const std::filesystem::path &pdf) { return runTool("qpdf --check '" + pdf.string() + "'"); }

std::string pdfText(const std::filesystem::path &pdf, int page) {
    std::string text;
    runTool("pdftotext -f " + std::to_string(page) + " -l " + std::to_string(page) + " '" + pdf.string() + "' -", &text);
    return text;
}

double redShareOfPicture(const std::filesystem::path &picture) {
    auto image = MarqenImageDecodeFile(picture);
    if (!image) return -1;
    size_t red = 0;
    for (int y = 0; y < image->height(); ++y)
        for (int x = 0; x < image->width(); ++x) {
            uint8_t c[4];
            MarqenImageUnpremultiply(image->pixelAt(x, y), c);
            if (c[0] > 200 && c[1] > 200 && c[2] < 80 && c[3] < 80) ++red;
        }
    return double(red) / double(size_t(image->width()) * size_t(image->height()));
}

static int temporaryFolders = 0;

PrivateTemporaryFolder::PrivateTemporaryFolder()
    : path_(std::filesystem::temp_directory_path() /
            ("marqen-tmp-" + std::to_string(::getpid()) + "-" + std::to_string(temporaryFolders++))),
      temporary_("TMPDIR", path_.string()) {
    std::filesystem::create_directories(path_);
}

PrivateTemporaryFolder::~PrivateTemporaryFolder() {
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
