// Opens arbitrary bytes through the document facade, as a PNG, a JPEG, a PDF or a legacy .marqen file
// (the first byte chooses), and saves what opened the way an editor would: editable in the format it was
// found in. Nothing may be left in the private temporary folder afterwards, and nothing written beside
// the input but the saved file.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "core/core_document.h"
#include "editing/composition.h"
#include "foundation/queues.h"
#include "fuzz_budget.h"

namespace fs = std::filesystem;
using namespace marqen;

namespace {

// Bundles are unpacked into the private temporary folder, so that the check below sees them.
const fs::path &workDirectory() {
    static const fs::path &directory = []() -> const fs::path & {
        const fs::path &made = marqen::fuzz::privateWorkDirectory("facade");
        fs::create_directories(made / "files");
        return made;
    }();
    return directory;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    if (size < 1) return 0;
    const fs::path &work = workDirectory();
    static const char *const kExtensions[] = {".png", ".jpg", ".pdf", ".marqen"};
    const fs::path input = work / "files" / (std::string("input") + kExtensions[data[0] % 4]);
    {
        std::ofstream out(input, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(data + 1), std::streamsize(size - 1));
    }
    {
        std::optional<MarqenExportFormat> format;
        MarqenError error;
        auto document = CoreMarqenDocument::initWithURL(input, &format, &error);
        if (!document && error.domain.empty()) std::abort();  // a failure always says why
        if (document) {
            if (!format || document->pageCount() == 0) std::abort();
            const fs::path output = work / "files" / ("saved." + format->fileExtension());
            // Drawing is the expensive part: only pictures of a sane size are saved.
            const CGSize extent = document->documentComposition()->size();
            if (extent.width * extent.height <= 4096.0 * 4096.0) {
                document->writeToURL(output, *format, MarqenJSON::object(), &error);
                fs::remove(output);
            }
        }
        MainQueue::shared().drain();
    }
    MainQueue::shared().drain();
    fs::remove(input);
    if (!fs::is_empty(work / "tmp") || !fs::is_empty(work / "files")) std::abort();
    return 0;
}
