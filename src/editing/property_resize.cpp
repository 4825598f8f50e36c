#include "editing/property_resize.h"

#include <algorithm>
#include <cmath>

#include "dom/document.h"
#include "editing/analytics_event.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"

namespace marqen {

MarqenPropertyResize::MarqenPropertyResize(MarqenPropertiesCompositionView *compositionView)
    : MarqenProperty(compositionView), self_(std::make_shared<const MarqenPropertyResize *>(this)) {
    if (auto document = compositionView_->document()) deviceScale_ = document->deviceScale();
    resizeSize_ = originalSize();
}

MarqenPropertyResize::~MarqenPropertyResize() = default;

CGSize MarqenPropertyResize::originalSize() const {
    auto document = compositionView_->document();
    return document ? document->frame().size : CGSize{0, 0};
}

CGFloat MarqenPropertyResize::maximumResizeScale() const {
    CGSize size = originalSize();
    if (size.width <= 0 || size.height <= 0) return 1;
    return std::min(kMarqenPropertyResizeResizeSizeMaximumWidth / size.width,
                    kMarqenPropertyResizeResizeSizeMaximumHeight / size.height);
}

CGFloat MarqenPropertyResize::minimumResizeScale() const {
    CGSize size = originalSize();
    if (size.width <= 0 || size.height <= 0) return 1;
    // A page already below the minimum cannot shrink, and the maximum wins over the minimum.
    CGFloat minimum = std::max(kMarqenPropertyResizeResizeSizeMinimumWidth / size.width,
                               kMarqenPropertyResizeResizeSizeMinimumHeight / size.height);
    return std::min(minimum, maximumResizeScale());
}

void MarqenPropertyResize::storeScale(CGFloat scale) {
    scale = std::clamp(scale, minimumResizeScale(), std::max(minimumResizeScale(), maximumResizeScale()));
    CGSize size = originalSize();
    CGSize newSize{std::round(size.width * scale), std::round(size.height * scale)};
    if (scale == resizeScale_ && newSize.width == resizeSize_.width && newSize.height == resizeSize_.height) return;
    resizeScale_ = scale;
    resizeSize_ = newSize;
    std::weak_ptr<const MarqenPropertyResize *> weakSelf = self_;
    MainQueue::shared().async([weakSelf] {
        if (auto self = weakSelf.lock())
            NotificationCenter::defaultCenter().post(kMarqenPropertyResizeResizeScaleDidChangeNotification, *self);
    });
}

void MarqenPropertyResize::setResizeScale(CGFloat scale) {
    if (!std::isfinite(scale) || scale <= 0) return;
    storeScale(scale);
}

void MarqenPropertyResize::setResizeSize(CGSize size) {
    CGSize original = originalSize();
    if (!std::isfinite(size.width) || size.width <= 0 || original.width <= 0) return;
    storeScale(size.width / original.width);
}

bool MarqenPropertyResize::chooseResize(CGFloat scale) {
    setResizeScale(scale);
    auto &center = NotificationCenter::defaultCenter();
    center.post(kMarqenPropertyResizeWillResizeNotification, this);
    bool resized = compositionView_->resizeCanvas(resizeScale_);
    if (resized) {
        resizeScale_ = 1;  // the panel goes on from the new page
        resizeSize_ = originalSize();
    }
    center.post(kMarqenPropertyResizeDidResizeNotification, this);
    if (resized) postMarqenAnalyticsEvent(this, "document", "doc_change", "resize_tool");
    return resized;
}

}  // namespace marqen
