#pragma once
// A drawing target whose premultiplied ARGB32 pixels live in a memory-mapped file instead of the
// heap, for renders too large to keep in memory twice. The file holds the raw rows (stride =
// width × 4, native byte order) when the buffer is destroyed.
//
// Threads: a buffer belongs to one thread at a time.
#include <filesystem>
#include <memory>

#include "foundation/error.h"
#include "platform/graphics.h"
#include "platform/image.h"

namespace marqen {

class MarqenMappedImageBuffer {
public:
    // Creates (or truncates) the file and maps width × height pixels of it, cleared to transparent.
    static std::unique_ptr<MarqenMappedImageBuffer> create(const std::filesystem::path &path, int width, int height,
                                                           MarqenError *error = nullptr);
    ~MarqenMappedImageBuffer();
    MarqenMappedImageBuffer(const MarqenMappedImageBuffer &) = delete;
    MarqenMappedImageBuffer &operator=(const MarqenMappedImageBuffer &) = delete;

    int width() const { return width_; }
    int height() const { return height_; }
    // A context over the mapped pixels: identity CTM, y down, one unit per pixel.
    MarqenGraphicsContext &context() { return *context_; }
    // The pixels as an image (copied out of the mapping after the drawing has been flushed).
    MarqenImageRef copyImage(MarqenError *error = nullptr);

private:
    MarqenMappedImageBuffer() = default;
    int width_ = 0, height_ = 0;
    int fd_ = -1;
    void *pixels_ = nullptr;
    size_t length_ = 0;
    cairo_surface_t *surface_ = nullptr;
    std::unique_ptr<MarqenGraphicsContext> context_;
};

}  // namespace marqen
