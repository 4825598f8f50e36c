#pragma once
// Bundles with a real preview picture for the codec, tool and command-line tests.
#include <filesystem>
#include <memory>
#include <string>

#include "formats/composition_bundle.h"
#include "platform/image_io.h"

namespace marqen::test {

inline const std::string kSampleIndex = "{\"type\":\"Document\",\"children\":[]}\n";
inline const std::string kFirstResourceUUID = "0a1b2c3d-4e5f-4061-8293-a4b5c6d7e8f9";
inline const std::string kSecondResourceUUID = "ffeeddcc-bbaa-4998-8776-554433221100";

// A 40x30 picture in two colours, encoded in format.
std::string samplePicture(MarqenImageFormat format);
// A bundle at directory with the sample index, two resources (binary bytes) and the picture as preview.
std::shared_ptr<MarqenCompositionBundle> makeSampleBundle(const std::filesystem::path &directory, MarqenImageFormat format);

}  // namespace marqen::test
