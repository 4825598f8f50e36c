#include "formats/rich_image/rich_image_test_bundles.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace marqen::test {

std::string samplePicture(MarqenImageFormat format) {
    MarqenImageRef image = MarqenImage::create(40, 30);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) image->row(y)[x] = x < 20 ? 0xFFCC2020u : 0xFF2040E0u;
    auto bytes = MarqenImageEncode(*image, format);
    EXPECT_TRUE(bytes.has_value());
    return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
}

std::shared_ptr<MarqenCompositionBundle> makeSampleBundle(const std::filesystem::path &directory, MarqenImageFormat format) {
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(directory);
    writeFile(bundle->resourcesURL() / "index.json", kSampleIndex);
    writeFile(bundle->resourcesURL() / kFirstResourceUUID, std::string("\x89PNG\0\x01\x02 first", 14));
    writeFile(bundle->resourcesURL() / kSecondResourceUUID, std::string(3000, '\x7F') + "second");
    writeFile(bundle->previewURL(), samplePicture(format));
    return bundle;
}

}  // namespace marqen::test
