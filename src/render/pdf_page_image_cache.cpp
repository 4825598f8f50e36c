#include "render/pdf_page_image_cache.h"

namespace marqen {

MarqenImageRef MarqenPDFPageImageCache::imageForPageNumber(long pageNumber) const {
    std::lock_guard lock(mutex_);
    auto it = images_.find(pageNumber);
    return it == images_.end() ? nullptr : it->second;
}

void MarqenPDFPageImageCache::setImageForPageNumber(const MarqenImageRef &image, long pageNumber) {
    std::lock_guard lock(mutex_);
    if (image) images_[pageNumber] = image;
    else images_.erase(pageNumber);
}

void MarqenPDFPageImageCache::removeAllImages() {
    std::lock_guard lock(mutex_);
    images_.clear();
}

}  // namespace marqen
