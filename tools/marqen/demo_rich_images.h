#pragma once
// The demo's rich images: one sample written as a rich PNG, JPEG and HEIC and unpacked again.
#include <filesystem>

namespace marqen::cli {

// Packs the sample document (with the resources it finds in resources/ and the rendered picture as
// preview) into DIR/rich/NAME.png, .jpg and .heic, unpacks each into a fresh bundle and says whether the
// documents match. Returns the number of containers that failed.
int writeRichImageDemo(const std::filesystem::path &sample, const std::filesystem::path &rendered,
                       const std::filesystem::path &resources, const std::filesystem::path &output);

}  // namespace marqen::cli
