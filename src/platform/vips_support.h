#pragma once
// Private to src/platform: libvips set-up and small RAII helpers shared by the image adapters.
#include <vips/vips.h>

#include <string>

namespace marqen::vips_support {

// Starts libvips once per process (thread-safe): operation cache off (every image we see is new, so
// it would only hold memory), ImageMagick-based and other untrusted loaders blocked, and libvips'
// own warnings kept off the host's stderr.
void ensureStarted();

// Takes the accumulated libvips error text (and clears it); "unknown error" when there is none.
std::string takeErrorText();

// Owns one reference to a VipsImage.
class ImageHandle {
public:
    ImageHandle() = default;
    explicit ImageHandle(VipsImage *image) : image_(image) {}
    ImageHandle(const ImageHandle &) = delete;
    ImageHandle &operator=(const ImageHandle &) = delete;
    ImageHandle(ImageHandle &&other) noexcept : image_(other.image_) { other.image_ = nullptr; }
    ImageHandle &operator=(ImageHandle &&other) noexcept {
        if (this != &other) {
            reset();
            image_ = other.image_;
            other.image_ = nullptr;
        }
        return *this;
    }
    ~ImageHandle() { reset(); }
    void reset(VipsImage *image = nullptr) {
        if (image_) g_object_unref(image_);
        image_ = image;
    }
    VipsImage *get() const { return image_; }
    VipsImage **out() {
        reset();
        return &image_;
    }
    explicit operator bool() const { return image_ != nullptr; }

private:
    VipsImage *image_ = nullptr;
};

}  // namespace marqen::vips_support
