// Unpacking a PDF or a rich image into a MarqenCompositionBundle.
#include <fstream>

#include "formats/composition_bundle.h"
#include "formats/pdf/pdf_file.h"
#include "formats/rich_image/composition_png_codec.h"
#include "foundation/log.h"
#include "foundation/uuid.h"
#include "platform/poppler_document.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

// What the platform's type lookup answers for PDFs: the header may follow up to 1024 bytes of junk.
bool looksLikePDF(const fs::path &file) {
    std::ifstream stream(file, std::ios::binary);
    std::string head(1024, '\0');
    stream.read(head.data(), std::streamsize(head.size()));
    head.resize(size_t(stream.gcount()));
    return head.find("%PDF-") != std::string::npos;
}

}  // namespace

bool MarqenCompositionBundle::extractContentsOfURL(const fs::path &file) {
    std::error_code ec;
    setURL(fs::temp_directory_path(ec) / (marqen_stringWithNewUUID() + ".marqen"));
    return extractContentsIntoBundle(file);
}

bool MarqenCompositionBundle::extractContentsIntoBundle(const fs::path &file) {
    if (looksLikePDF(file)) return extractPDF(file);
    MarqenCompositionPNGCodec codec;
    MarqenError error;
    if (!codec.decodeImageAtURL(file, shared_from_this(), &error)) {
        marqenLog(error.description());
        return false;
    }
    return true;
}

bool MarqenCompositionBundle::extractPDF(const fs::path &file) {
    auto opened = MarqenPDFDocument::openFile(file);
    if (!opened) return false;
    pdf_ = opened;
    const int pageCount = pdf_->pageCount();
    marqenPDF_ = MarqenPDF::initWithContentsOfURL(file.string());
    const bool rich = marqenPDF_ && marqenPDF_->isRichPDF();

    bool made = false;
    MarqenError error;
    if (rich) {
        made = marqenPDF_->writeOriginalPDFToURL(originalPDFFileURL().string(), &error);
        if (made) {
            if (auto original = MarqenPDFDocument::openFile(originalPDFFileURL(), &error)) {
                pdf_ = original;
                pdfHasSummaryPage_ = pageCount > pdf_->pageCount();
            } else {
                made = false;
            }
        }
    } else {
        std::error_code ec;
        if (fs::equivalent(file, originalPDFFileURL(), ec)) {
            made = true;
        } else {
            std::error_code copyError;
            made = fs::copy_file(file, originalPDFFileURL(), fs::copy_options::overwrite_existing, copyError);
            if (!made) error.userInfo[kMarqenLocalizedDescriptionKey] = copyError.message();
        }
    }
    if (!made) {
        marqenLog("ERROR: Cannot make original (rich=" + std::string(rich ? "YES" : "NO") +
                  ") pdf: " + error.localizedDescription());
        return false;
    }
    if (pdf_->pageCount() == 0) return false;
    if (!rich) return true;
    const auto &json = marqenPDF_->richPDFJSON();
    if (!json) {
        marqenLog("ERROR: Rich pdf does not have embedded json");
        return false;
    }
    writeDataForIndexJSONFile(*json, nullptr);
    return true;
}

}  // namespace marqen
