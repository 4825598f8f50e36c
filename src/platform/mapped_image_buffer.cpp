#include "platform/mapped_image_buffer.h"

#include <cairo.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace marqen {

std::unique_ptr<MarqenMappedImageBuffer> MarqenMappedImageBuffer::create(const std::filesystem::path &path, int width,
                                                                         int height, MarqenError *error) {
    if (width <= 0 || height <= 0 || width > MarqenImage::kMaximumDimension || height > MarqenImage::kMaximumDimension) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorInvalidArgument,
                   "The image buffer size " + std::to_string(width) + " × " + std::to_string(height) + " is not usable.");
        return nullptr;
    }
    std::unique_ptr<MarqenMappedImageBuffer> buffer(new MarqenMappedImageBuffer());
    buffer->width_ = width;
    buffer->height_ = height;
    buffer->length_ = static_cast<size_t>(width) * 4 * static_cast<size_t>(height);
    buffer->fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (buffer->fd_ < 0) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorFileAccess,
                   "Cannot open " + path.string() + ": " + std::strerror(errno) + ".");
        return nullptr;
    }
    // A sparse file: the zero-filled pages are the transparent start.
    if (::ftruncate(buffer->fd_, static_cast<off_t>(buffer->length_)) != 0) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorFileAccess,
                   "Cannot size " + path.string() + ": " + std::strerror(errno) + ".");
        return nullptr;
    }
    void *pixels = ::mmap(nullptr, buffer->length_, PROT_READ | PROT_WRITE, MAP_SHARED, buffer->fd_, 0);
    if (pixels == MAP_FAILED) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorOutOfMemory,
                   "Cannot map " + path.string() + ": " + std::strerror(errno) + ".");
        return nullptr;
    }
    buffer->pixels_ = pixels;
    buffer->surface_ = cairo_image_surface_create_for_data(static_cast<unsigned char *>(pixels), CAIRO_FORMAT_ARGB32,
                                                           width, height, width * 4);
    if (cairo_surface_status(buffer->surface_) != CAIRO_STATUS_SUCCESS) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorTooLarge, "Cannot draw into the mapped buffer.");
        return nullptr;
    }
    cairo_t *cr = cairo_create(buffer->surface_);
    buffer->context_ = std::make_unique<MarqenGraphicsContext>(cr);
    cairo_destroy(cr);
    return buffer;
}

MarqenMappedImageBuffer::~MarqenMappedImageBuffer() {
    context_.reset();
    if (surface_) {
        cairo_surface_flush(surface_);
        cairo_surface_destroy(surface_);
    }
    if (pixels_) {
        ::msync(pixels_, length_, MS_SYNC);
        ::munmap(pixels_, length_);
    }
    if (fd_ >= 0) ::close(fd_);
}

MarqenImageRef MarqenMappedImageBuffer::copyImage(MarqenError *error) {
    cairo_surface_flush(surface_);
    MarqenImageRef image = MarqenImage::createUninitialized(width_, height_, error);
    if (image) std::memcpy(image->data(), pixels_, length_);
    return image;
}

}  // namespace marqen
