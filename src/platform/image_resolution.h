#pragma once
// Resolution (DPI) bookkeeping shared by the image codecs.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace marqen {

// Resolutions stored as pixels per metre or millimetre come back as 299.9994 instead of 300:
// snap to the whole number when within 0.02 of it, otherwise keep two decimals.
double MarqenImageTidyDPI(double dpi);

// JPEG 2000 (JP2 container): the capture or display resolution box inside the header box.
// Returns false when the file has none (or is a bare codestream).
bool MarqenJP2ReadResolution(const uint8_t *bytes, size_t length, double *dpiWidth, double *dpiHeight);
// Returns the file with a resolution box (capture and display) placed in its header box, replacing
// any there. Files that are not JP2 containers come back unchanged.
std::vector<uint8_t> MarqenJP2WithResolution(const std::vector<uint8_t> &file, double dpiWidth, double dpiHeight);

}  // namespace marqen
