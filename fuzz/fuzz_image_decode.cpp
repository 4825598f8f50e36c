// Feeds arbitrary bytes to the image decoder: every outcome must be an image or an error.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/image_io.h"
#include "fuzz_budget.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    marqen::fuzz::useCommandLineBudget();
    marqen::MarqenImageDecodeOptions options;
    // Short runs keep each image small (the limit itself is under test too); deep runs use the default.
    if (!marqen::fuzz::deepRun()) options.maximumPixelCount = 4'000'000;
    marqen::MarqenImageProperties properties;
    marqen::MarqenError error;
    marqen::MarqenImageRef image = marqen::MarqenImageDecodeData(data, size, &properties, &error, options);
    if (image) {
        if (image->width() <= 0 || image->height() <= 0) std::abort();
        // Every pixel must be validly premultiplied.
        for (int y = 0; y < image->height(); ++y)
            for (int x = 0; x < image->width(); ++x) {
                uint32_t p = image->pixelAt(x, y), a = p >> 24;
                if (((p >> 16) & 0xFF) > a || ((p >> 8) & 0xFF) > a || (p & 0xFF) > a) std::abort();
            }
    } else if (error.domain != marqen::kMarqenNativeImageErrorDomain) {
        std::abort();
    }
    marqen::MarqenImageProperties headerOnly;
    marqen::MarqenImageCopyPropertiesFromData(data, size, &headerOnly, &error);
    return 0;
}
