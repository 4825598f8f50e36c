#pragma once
// The demo's whole loop through the document facade: a sample screenshot and the sample PDF are
// annotated, saved editable (rich PNG, JPEG and HEIC; a PDF with summary pages), opened again and
// compared with what was saved.
#include <filesystem>

namespace marqen::cli {

// Writes into output/loop; prints one line per file. Returns the number of files that failed.
int runFacadeLoopDemo(const std::filesystem::path &samples, const std::filesystem::path &output);

}  // namespace marqen::cli
