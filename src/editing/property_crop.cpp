#include "editing/property_crop.h"

#include <algorithm>
#include <cmath>

#include "dom/document.h"
#include "editing/analytics_event.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"

namespace marqen {

MarqenPropertyCrop::MarqenPropertyCrop(MarqenPropertiesCompositionView *compositionView)
    : MarqenProperty(compositionView), self_(std::make_shared<const MarqenPropertyCrop *>(this)) {
    if (auto document = compositionView_->document()) deviceScale_ = document->deviceScale();
    cropRect_ = pageFrame();
}

MarqenPropertyCrop::~MarqenPropertyCrop() = default;

CGRect MarqenPropertyCrop::pageFrame() const {
    auto document = compositionView_->document();
    return document ? document->frame() : CGRectZero;
}

void MarqenPropertyCrop::setCropRect(CGRect rect) {
    if (!std::isfinite(rect.origin.x) || !std::isfinite(rect.origin.y) || !std::isfinite(rect.size.width) ||
        !std::isfinite(rect.size.height))
        return;
    rect = CGRectStandardize(rect);
    CGRect page = pageFrame();
    // Never smaller than the minimum, never larger than the page (a page below the minimum keeps its size).
    CGFloat width = std::min(std::max<CGFloat>(rect.size.width, kMarqenPropertyCropCropRectMinimumWidth), page.size.width);
    CGFloat height =
        std::min(std::max<CGFloat>(rect.size.height, kMarqenPropertyCropCropRectMinimumHeight), page.size.height);
    CGFloat x = std::clamp(rect.origin.x, page.origin.x, page.origin.x + page.size.width - width);
    CGFloat y = std::clamp(rect.origin.y, page.origin.y, page.origin.y + page.size.height - height);
    CGRect clamped{{x, y}, {width, height}};
    if (CGRectEqualToRect(clamped, cropRect_)) return;
    cropRect_ = clamped;
    std::weak_ptr<const MarqenPropertyCrop *> weakSelf = self_;
    MainQueue::shared().async([weakSelf] {
        if (auto self = weakSelf.lock())
            NotificationCenter::defaultCenter().post(kMarqenPropertyCropCropRectDidChangeNotification, *self);
    });
}

bool MarqenPropertyCrop::chooseCrop(CGRect rect) {
    setCropRect(rect);
    auto &center = NotificationCenter::defaultCenter();
    center.post(kMarqenPropertyCropWillCropNotification, this);
    bool cropped = compositionView_->cropToRect(cropRect_);
    if (cropped) cropRect_ = pageFrame();  // the panel goes on from the new page
    center.post(kMarqenPropertyCropDidCropNotification, this);
    if (cropped) postMarqenAnalyticsEvent(this, "document", "doc_change", "crop_tool");
    return cropped;
}

}  // namespace marqen
