#pragma once
// The decoded images of one document's resource files: one image per file, however many bitmaps show
// it, held weakly so that its memory goes when the last bitmap lets go of it. The pixels of the images
// alive (or being decoded) count against the budget's decodedPixelsPerDocument once per file; a file
// that would exceed it is left out with a logged line naming the budget, and its bitmaps stay empty.
//
// A file is one resource while it is the same file: same path, device, inode, size and modification
// time (a resource stored again is written to a new file and renamed into place, so it decodes anew).
//
// Threads: main thread only, like the document owning it. Reading and decoding run on the document's
// operation queue, given only the path and then the bytes read; results come back on the main queue,
// and deliveries run there (at once, inside imageForFile, when the image is already decoded).
#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/json.h"
#include "platform/image.h"

namespace marqen {

class MarqenDOMDocument;

class MarqenDOMResourceImageCache : public std::enable_shared_from_this<MarqenDOMResourceImageCache> {
public:
    // image: null when the file could not be read or decoded, or was left out (the reason is logged);
    // properties: the file's image properties (an empty object without an image).
    using Delivery = std::function<void(const MarqenImageRef &image, const MarqenJSON &properties)>;

    // Delivers the decoded image of file (the coordinator's answer for uri, which only names it in the
    // log). The document is the one owning this cache: its operation queue does the reading and decoding,
    // and its waitForOperationsToFinish covers every delivery this starts.
    void imageForFile(MarqenDOMDocument &document, const std::filesystem::path &file, const std::string &uri,
                      Delivery delivery);

    // Pixels counted against the budget now: images alive and decodes under way, each file once.
    uint64_t countedPixels();
    // Decodes started so far (each file read and decoded once while its image is alive).
    uint64_t decodesStarted() const { return decodesStarted_; }
    // Deliveries waiting for decodes under way.
    size_t deliveriesWaiting() const;

private:
    // Which file, as it was when its bytes were asked for.
    using Key = std::tuple<std::string, dev_t, ino_t, off_t, int64_t>;
    struct Entry {
        std::weak_ptr<MarqenImage> image;
        MarqenJSON properties = MarqenJSON::object();
        uint64_t pixels = 0;    // counted while decoding (the header's count) or while the image is alive
        bool decoding = true;
        std::vector<Delivery> waiting;  // deliveries for when the decode ends
    };

    // Forgets files whose image nobody holds any more.
    void sweep();
    // Reads the file on the document's queue (without following a link at it), then weighs it here.
    void startRead(MarqenDOMDocument &document, const Key &key, const std::filesystem::path &file,
                   const std::string &uri);
    void weighAndDecode(MarqenDOMDocument &document, const Key &key, const std::string &uri,
                        std::shared_ptr<const std::vector<uint8_t>> bytes, MarqenJSON properties, uint64_t headerPixels);
    void finish(const Key &key, const MarqenImageRef &image);

    std::map<Key, Entry> entries_;
    uint64_t decodesStarted_ = 0;
};

}  // namespace marqen
