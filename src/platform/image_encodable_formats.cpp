// Asking the encoder itself: a one-pixel image is encoded once per format and process.
#include "platform/image_encodable_formats.h"

#include <array>
#include <mutex>

namespace marqen {

bool MarqenImageCanEncodeFormat(MarqenImageFormat format) {
    static std::mutex mutex;
    static std::array<int, 8> answers{};  // 0 unknown, 1 yes, 2 no
    const size_t index = size_t(format);
    if (format == MarqenImageFormat::Unknown || index >= answers.size()) return false;
    std::lock_guard<std::mutex> lock(mutex);
    if (answers[index] == 0) {
        MarqenImageRef pixel = MarqenImage::create(2, 2);
        answers[index] = pixel && MarqenImageEncode(*pixel, format).has_value() ? 1 : 2;
    }
    return answers[index] == 1;
}

}  // namespace marqen
