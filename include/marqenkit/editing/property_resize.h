#pragma once
// The resize panel's value: a scale of the page and the size it gives, kept in step, within
// 10 × 10 and 50000 × 50000 pixels. Changes of the scale are announced on the main queue. Main thread only.
#include <memory>

#include "../foundation/geometry.h"
#include "property.h"

namespace marqen {

inline constexpr long kMarqenPropertyResizeResizeSizeMinimumWidth = 10;
inline constexpr long kMarqenPropertyResizeResizeSizeMinimumHeight = 10;
inline constexpr long kMarqenPropertyResizeResizeSizeMaximumWidth = 50000;
inline constexpr long kMarqenPropertyResizeResizeSizeMaximumHeight = 50000;

inline constexpr const char *kMarqenPropertyResizeResizeScaleDidChangeNotification =
    "MarqenPropertyResizeResizeScaleDidChangeNotification";
inline constexpr const char *kMarqenPropertyResizeWillResizeNotification = "MarqenPropertyResizeWillResizeNotification";
inline constexpr const char *kMarqenPropertyResizeDidResizeNotification = "MarqenPropertyResizeDidResizeNotification";

class MARQEN_EXPORT MarqenPropertyResize : public MarqenProperty {
public:
    // Starts at scale 1 over the page's size.
    explicit MarqenPropertyResize(MarqenPropertiesCompositionView *compositionView);
    ~MarqenPropertyResize() override;

    CGFloat resizeScale() const { return resizeScale_; }
    CGSize resizeSize() const { return resizeSize_; }
    // The largest scale that keeps the page within the maximum size.
    CGFloat maximumResizeScale() const;
    CGFloat minimumResizeScale() const;
    CGFloat deviceScale() const { return deviceScale_; }
    bool centerCanvas() const { return centerCanvas_; }
    void setCenterCanvas(bool center) { centerCanvas_ = center; }

    // Each updates the other (the size keeps the page's proportions, following the width) within the
    // limits; non-finite values are ignored.
    void setResizeScale(CGFloat scale);
    void setResizeSize(CGSize size);

    // Resizes the page by the scale (clamped) through the view: one undoable "Resize Canvas". Posts will
    // and did resize around it. False when the view refused.
    bool chooseResize(CGFloat scale);

private:
    CGSize originalSize() const;
    void storeScale(CGFloat scale);

    CGFloat resizeScale_ = 1, deviceScale_ = 1;
    CGSize resizeSize_{0, 0};
    bool centerCanvas_ = true;
    std::shared_ptr<const MarqenPropertyResize *> self_;
};

}  // namespace marqen
