// Walks arbitrary bytes as a rich PNG, JPEG and HEIC, then unpacks them into a bundle in a private
// temporary directory: every chunk reported must lie inside the file, and nothing may be written outside
// that directory.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "formats/composition_bundle.h"
#include "formats/rich_image/composition_png_codec.h"
#include "formats/rich_image/rich_heic.h"
#include "formats/rich_image/rich_image_plain_copy.h"
#include "formats/rich_image/rich_jpeg.h"
#include "formats/rich_image/rich_png.h"
#include "fuzz_budget.h"

namespace fs = std::filesystem;
using namespace marqen;

namespace {

struct Bounds {
    uint64_t size;
};

int checkToken(void *context, FILE *input, MarqenRichImageChunkToken token) {
    const long position = std::ftell(input);
    if (uint64_t(token.chunkOffset) + token.chunkSize > static_cast<Bounds *>(context)->size) std::abort();
    if (token.dataOffset != token.chunkOffset + 8 || token.chunkSize != token.dataLength + 12) std::abort();
    if (std::ftell(input) != position) std::abort();
    return 0;
}

// The codec's temporary chunk files go to the private temporary folder, so that the check below sees them.
const fs::path &workDirectory() { return marqen::fuzz::privateWorkDirectory("rich"); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    const fs::path &work = workDirectory();
    const fs::path input = work / "input";
    {
        std::ofstream out(input, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char *>(data), std::streamsize(size));
    }
    Bounds bounds{size};
    MarqenPNGReadChunkTokens(&bounds, input.c_str(), checkToken);
    MarqenJPGReadChunkTokens(&bounds, input.c_str(), checkToken);
    MarqenHEICReadChunkTokens(&bounds, input.c_str(), checkToken);
    URLContainsMarqenPNGChunks(input.c_str());

    // A PNG that walks is rewritten with the same chunks (all but IEND) and one IEND; the copy walks too.
    struct Count {
        uint64_t size;
        size_t chunks = 0, ends = 0;
    };
    auto count = [](void *context, FILE *, MarqenRichImageChunkToken token) {
        auto *counted = static_cast<Count *>(context);
        if (uint64_t(token.chunkOffset) + token.chunkSize > counted->size) std::abort();
        (MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageEndChunkType) ? counted->ends : counted->chunks)++;
        return 0;
    };
    Count before{size};
    if (MarqenPNGReadChunkTokens(&before, input.c_str(), count) == 0) {
        const fs::path written = work / "written";
        if (MarqenPNGWriteChunks(nullptr, input.c_str(), written.c_str(), nullptr) != 0) std::abort();
        Count after{fs::file_size(written)};
        // With no chunk but IEND the copy is the signature and IEND alone, shorter than any real PNG.
        if (before.chunks == 0) {
            if (after.size != 20) std::abort();
        } else {
            if (MarqenPNGReadChunkTokens(&after, written.c_str(), count) != 0) std::abort();
            if (after.chunks != before.chunks || after.ends != 1) std::abort();
        }
        fs::remove(written);
    }

    const fs::path bundleDirectory = work / "bundle";
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(bundleDirectory);
    if (!bundle) std::abort();
    MarqenCompositionPNGCodec codec;
    MarqenError error;
    if (!codec.decodeImageAtURL(input, bundle, &error) && error.domain != MarqenPNGImageErrorDomain) std::abort();
    std::string reason;
    MarqenRichImageWritePlainImage(input, work / "plain", &reason);
    // Only the input, the bundle, the plain copy and the (emptied) temporary folder may exist.
    for (const auto &entry : fs::directory_iterator(work)) {
        const std::string name = entry.path().filename().string();
        if (name != "input" && name != "bundle" && name != "plain" && name != "tmp") std::abort();
    }
    if (!fs::is_empty(work / "tmp")) std::abort();
    uint64_t stored = 0;
    for (const auto &entry : fs::recursive_directory_iterator(bundleDirectory))
        if (entry.is_regular_file()) stored += entry.file_size();
    // What is stored comes from the file: never more than its size.
    if (stored > size) std::abort();
    fs::remove_all(bundleDirectory);
    return 0;
}
