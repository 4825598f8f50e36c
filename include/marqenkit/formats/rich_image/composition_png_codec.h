#pragma once
// MarqenCompositionPNGCodec: packs a MarqenCompositionBundle into a rich image and unpacks one back. The
// index becomes one "mqMf" chunk, each resource one "mqRf" chunk (its UUID, then its bytes); the container
// follows the preview's content (JPEG, else HEIC, else PNG).
//
// Writing is safe: the image goes to a temporary file beside the destination, renamed over it only when
// complete. Reading stores each chunk through the bundle, which confines it to its own directory.
// Thread affinity: one codec per operation, on any one thread; the bundle must not be used elsewhere
// meanwhile.
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "../../export.h"
#include "../../foundation/error.h"
#include "rich_image_chunk.h"

namespace marqen {

class MarqenCompositionBundle;
class MarqenCompositionPNGCodec;

// The codec's error codes are the codec functions' result codes.
inline constexpr const char *MarqenPNGImageErrorDomain = "MarqenPNGImageErrorDomain";

class MARQEN_EXPORT MarqenCompositionPNGCodecDelegate {
public:
    virtual ~MarqenCompositionPNGCodecDelegate() = default;
    // The resource URIs to write; nothing (the default) writes every resource.
    virtual std::optional<std::set<std::string>> compositionPNGCodecResourceURIsForBundle(
        MarqenCompositionPNGCodec &codec, const MarqenCompositionBundle &bundle);
};

class MARQEN_EXPORT MarqenCompositionPNGCodec {
public:
    // Writes the bundle's preview with the bundle's chunks to destination.
    bool encodeBundle(std::shared_ptr<MarqenCompositionBundle> bundle, const std::filesystem::path &destination,
                      MarqenError *error);
    // Stores the chunks of the rich JPEG, HEIC or PNG at image into bundle. A plain PNG stores nothing and
    // succeeds; any other file fails with the PNG reader's code. Errors of the bundle while storing do not
    // fail the decode: they are kept in lastError (each chunk replaces it).
    bool decodeImageAtURL(const std::filesystem::path &image, std::shared_ptr<MarqenCompositionBundle> bundle,
                          MarqenError *error);

    const std::shared_ptr<MarqenCompositionBundle> &bundle() const { return bundle_; }
    const std::optional<MarqenError> &lastError() const { return lastError_; }
    std::shared_ptr<MarqenCompositionPNGCodecDelegate> delegate() const { return delegate_.lock(); }
    void setDelegate(const std::shared_ptr<MarqenCompositionPNGCodecDelegate> &delegate) { delegate_ = delegate; }

    // The codec-layer callbacks, with the codec as context.
    static void MarqenCompositionPNGCodecWriteChunkCallback(void *codec, FILE *output);
    static int MarqenCompositionPNGCodecDidReadChunkTokenCallback(void *codec, FILE *input, MarqenRichImageChunkToken token);

private:
    void storeMetadata(FILE *input, const MarqenRichImageChunkToken &token);
    void storeResource(FILE *input, const MarqenRichImageChunkToken &token);

    std::shared_ptr<MarqenCompositionBundle> bundle_;
    std::optional<MarqenError> lastError_;
    std::weak_ptr<MarqenCompositionPNGCodecDelegate> delegate_;
};

}  // namespace marqen
