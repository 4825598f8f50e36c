#pragma once
// The picture of a rich image without its chunks: a rich JPEG up to its chunk sequence, a rich HEIC up to
// its marker box, a PNG with its "mqMf"/"mqRf" chunks and anything after IEND left out. Other files are
// copied as they are. Used to give an unpacked bundle its preview. Any thread.
#include <filesystem>
#include <string>

namespace marqen {

// The container the codec reads the file as: "jpeg", "heic", "png", or "" for none of them.
std::string MarqenRichImageContainerName(const std::filesystem::path &image);
// Writes the plain picture to destination (through a temporary file beside it); false with a reason.
bool MarqenRichImageWritePlainImage(const std::filesystem::path &image, const std::filesystem::path &destination,
                                    std::string *reason);

}  // namespace marqen
