#include "dom/resource_image_cache.h"

#include <sys/stat.h>

#include "dom/document.h"
#include "foundation/log.h"
#include "foundation/resource_budget.h"
#include "platform/image_io.h"

namespace marqen {

namespace {

// Files larger than this are not read for a bitmap (a decoded image of the largest size is far smaller).
constexpr uint64_t kMaximumResourceFileBytes = uint64_t(4) << 30;

}  // namespace

void MarqenDOMResourceImageCache::sweep() {
    for (auto it = entries_.begin(); it != entries_.end();) {
        if (!it->second.decoding && it->second.image.expired())
            it = entries_.erase(it);
        else
            ++it;
    }
}

uint64_t MarqenDOMResourceImageCache::countedPixels() {
    sweep();
    uint64_t total = 0;
    for (const auto &[key, entry] : entries_) total += entry.pixels;
    return total;
}

size_t MarqenDOMResourceImageCache::deliveriesWaiting() const {
    size_t count = 0;
    for (const auto &[key, entry] : entries_) count += entry.waiting.size();
    return count;
}

void MarqenDOMResourceImageCache::imageForFile(MarqenDOMDocument &document, const std::filesystem::path &file,
                                               const std::string &uri, Delivery delivery) {
    sweep();
    // The file as it is now; one that cannot be looked at (missing, a link) is read unshared, under a key
    // nobody asks for again, so that the read reports why it fails.
    struct stat status{};
    Key key;
    if (::lstat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
        key = Key(file.string(), status.st_dev, status.st_ino, status.st_size,
                  int64_t(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec);
    } else {
        key = Key(file.string(), 0, 0, 0, -int64_t(decodesStarted_) - 1);
    }

    auto found = entries_.find(key);
    if (found != entries_.end()) {
        Entry &entry = found->second;
        if (entry.decoding) {
            entry.waiting.push_back(std::move(delivery));
            return;
        }
        if (auto image = entry.image.lock()) {
            delivery(image, entry.properties);
            return;
        }
        entries_.erase(found);
    }
    Entry &entry = entries_[key];
    entry.waiting.push_back(std::move(delivery));
    ++decodesStarted_;
    startRead(document, key, file, uri);
}

void MarqenDOMResourceImageCache::startRead(MarqenDOMDocument &document, const Key &key,
                                            const std::filesystem::path &file, const std::string &uri) {
    std::weak_ptr<MarqenDOMResourceImageCache> weakCache = shared_from_this();
    std::weak_ptr<MarqenDOMDocument> weakDocument = document.document();
    document.addOperation([weakCache, weakDocument, key, file, uri]() -> std::function<void()> {
        // Read once, without following a link at the file itself: the coordinator answered the checked
        // file, and a link swapped in since must not lead the read elsewhere.
        auto bytes = std::make_shared<std::vector<uint8_t>>();
        MarqenError error;
        MarqenJSON properties = MarqenJSON::object();
        uint64_t headerPixels = 0;
        bool read = MarqenImageReadFileBytes(file, bytes.get(), &error, kMaximumResourceFileBytes, false);
        if (read) {
            MarqenImageProperties header;
            if (MarqenImageCopyPropertiesFromData(bytes->data(), bytes->size(), &header)) {
                properties = header.dictionary;
                if (header.pixelWidth() > 0 && header.pixelHeight() > 0)
                    headerPixels = uint64_t(header.pixelWidth()) * uint64_t(header.pixelHeight());
            }
        }
        std::shared_ptr<const std::vector<uint8_t>> readBytes = read ? std::move(bytes) : nullptr;
        return [weakCache, weakDocument, key, uri, readBytes, properties, headerPixels, error] {
            auto cache = weakCache.lock();
            auto document = weakDocument.lock();
            if (!cache || !document) return;
            if (!readBytes) {
                marqenLog("ERROR: " + error.description());
                cache->finish(key, nullptr);
                return;
            }
            cache->weighAndDecode(*document, key, uri, readBytes, properties, headerPixels);
        };
    });
}

void MarqenDOMResourceImageCache::weighAndDecode(MarqenDOMDocument &document, const Key &key, const std::string &uri,
                                                 std::shared_ptr<const std::vector<uint8_t>> bytes,
                                                 MarqenJSON properties, uint64_t headerPixels) {
    auto found = entries_.find(key);
    if (found == entries_.end()) return;
    // Every other file alive or under way, against what this one's header says it holds.
    sweep();
    uint64_t others = 0;
    for (const auto &[otherKey, entry] : entries_)
        if (otherKey != key) others += entry.pixels;
    const uint64_t limit = MarqenCurrentResourceBudget().decodedPixelsPerDocument;
    if (limit && (others >= limit || headerPixels > limit - others)) {
        marqenLog("ERROR: Left out the image of resource " + uri + ": " +
                  MarqenBudgetExceededText("its " + std::to_string(headerPixels) + " pixels with the " +
                                                std::to_string(others) + " decoded before",
                                            "decoded pixels per document", limit));
        finish(key, nullptr);
        return;
    }
    found->second.pixels = headerPixels;
    found->second.properties = properties;
    // A header that understates its size gains nothing: the decoder is held to what remains.
    MarqenImageDecodeOptions options;
    options.maximumPixelCount = limit ? limit - others : 0;
    std::weak_ptr<MarqenDOMResourceImageCache> weakCache = shared_from_this();
    document.addOperation([weakCache, key, bytes, options]() -> std::function<void()> {
        MarqenImageRef image = MarqenImageDecodeData(bytes->data(), bytes->size(), nullptr, nullptr, options);
        return [weakCache, key, image] {
            if (auto cache = weakCache.lock()) cache->finish(key, image);
        };
    });
}

void MarqenDOMResourceImageCache::finish(const Key &key, const MarqenImageRef &image) {
    auto found = entries_.find(key);
    if (found == entries_.end()) return;
    std::vector<Delivery> waiting = std::move(found->second.waiting);
    MarqenJSON properties = MarqenJSON::object();
    if (image) {
        Entry &entry = found->second;
        entry.decoding = false;
        entry.image = image;
        entry.pixels = uint64_t(image->width()) * uint64_t(image->height());
        properties = entry.properties;
    } else {
        entries_.erase(found);
    }
    // A delivery may ask this cache for more (a bitmap reloading): nothing of the entry is used after.
    for (const auto &delivery : waiting) delivery(image, properties);
}

}  // namespace marqen
