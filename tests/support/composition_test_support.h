#pragma once
// Inputs and checks shared by the composition and facade tests: pictures made on the spot, annotations
// with known colours, and looks at written files through outside tools. PDFs are made and checked with
// the PDF test helpers (test_composition and test_core build them in).
#include <filesystem>
#include <memory>
#include <string>

#include "dom/document.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "platform/image.h"
#include "support/test_support.h"

namespace marqen::test {

// A picture of width x height: a blue-grey gradient, fully opaque.
MarqenImageRef makePicture(int width, int height);
// A thick red bar across the middle of the page and a text at the top left.
void annotate(MarqenDOMDocument &document, const std::string &text);
size_t elementCount(const MarqenDOMDocument &document);  // annotation and text layer children

int qpdfCheck(const std::filesystem::path &pdf);
std::string pdfText(const std::filesystem::path &pdf, int page);
// Share of strongly red pixels in a picture file (0 to 1).
double redShareOfPicture(const std::filesystem::path &picture);
// Points the temporary folder (TMPDIR) at a fresh folder of its own while it lives, so that a test can
// see what an operation leaves there.
class PrivateTemporaryFolder {
public:
    PrivateTemporaryFolder();
    ~PrivateTemporaryFolder();  // removes the folder
    const std::filesystem::path &path() const { return path_; }
    size_t entryCount() const;

private:
    std::filesystem::path path_;
    EnvironmentInForce temporary_;
};

}  // namespace marqen::test
