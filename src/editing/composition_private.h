#pragma once
// State of a MarqenComposition that its public header keeps opaque: the bundle's file coordinator, the
// rich-image codec delegate and the temporary files to remove with the composition.
//
// Threads: main thread only, like the composition.
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "editing/composition.h"
#include "formats/directory_resource_coordinator.h"
#include "formats/rich_image/composition_png_codec.h"

namespace marqen {

// Hands the rich-image codec the resources the pages use, so that a file saved again and again carries
// one set of resources however many edits the bundle has seen.
class MarqenCompositionCodecDelegate : public MarqenCompositionPNGCodecDelegate {
public:
    explicit MarqenCompositionCodecDelegate(std::vector<std::string> uris);
    std::optional<std::set<std::string>> compositionPNGCodecResourceURIsForBundle(
        MarqenCompositionPNGCodec &codec, const MarqenCompositionBundle &bundle) override;

private:
    std::set<std::string> uris_;
};

struct MarqenComposition::Private {
    // The bundle's resources directory; made on first use (after the bundle exists).
    std::shared_ptr<MarqenDirectoryResourceCoordinator> files;
    std::vector<std::filesystem::path> temporaryFiles;
    std::shared_ptr<MarqenDirectoryResourceCoordinator> fileCoordinator(const MarqenCompositionBundle &bundle);
};

// Opens a PDF page document set for every page of pdf at device scale 1.
bool MarqenCompositionMakePDFPages(const std::shared_ptr<MarqenPDFDocument> &pdf,
                                   std::vector<std::shared_ptr<MarqenDOMDocument>> *pages);
// Matches the pages of a multi-page dictionary to the PDF's pages by page number (from 1): a numbered
// page takes the place of that PDF page, the others stay. Fails (logged) when the dictionary is no
// multi-page document or names more pages, or pages outside, the PDF.
bool MarqenCompositionMatchPDFPages(const MarqenJSON &dictionary, const std::shared_ptr<MarqenPDFDocument> &pdf,
                                    std::vector<std::shared_ptr<MarqenDOMDocument>> *pages);

// Draws the first page of the watermark PDF, fitted and centred, over the image.
bool MarqenCompositionDrawWatermark(const MarqenImageRef &image, const std::filesystem::path &watermarkPDF,
                                    MarqenError *error);

}  // namespace marqen
