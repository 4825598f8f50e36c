#pragma once
// Rendered PDF pages by page number, shared by every view of one document so that a page is
// rasterised once. Safe to use from several threads.
#include <map>
#include <mutex>

#include "platform/image.h"

namespace marqen {

class MarqenPDFPageImageCache {
public:
    MarqenImageRef imageForPageNumber(long pageNumber) const;
    void setImageForPageNumber(const MarqenImageRef &image, long pageNumber);
    void removeAllImages();

private:
    mutable std::mutex mutex_;
    std::map<long, MarqenImageRef> images_;
};

}  // namespace marqen
