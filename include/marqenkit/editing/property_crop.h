#pragma once
// The crop panel's value: the rectangle to keep, in document units, at least 10 × 10 and inside the
// page. Changes of the rectangle are announced on the main queue. Main thread only.
#include <memory>

#include "../foundation/geometry.h"
#include "property.h"

namespace marqen {

inline constexpr long kMarqenPropertyCropCropRectMinimumWidth = 10;
inline constexpr long kMarqenPropertyCropCropRectMinimumHeight = 10;

inline constexpr const char *kMarqenPropertyCropCropRectDidChangeNotification =
    "MarqenPropertyCropCropRectDidChangeNotification";
inline constexpr const char *kMarqenPropertyCropWillCropNotification = "MarqenPropertyCropWillCropNotification";
inline constexpr const char *kMarqenPropertyCropDidCropNotification = "MarqenPropertyCropDidCropNotification";

class MARQEN_EXPORT MarqenPropertyCrop : public MarqenProperty {
public:
    // Starts with the whole page.
    explicit MarqenPropertyCrop(MarqenPropertiesCompositionView *compositionView);
    ~MarqenPropertyCrop() override;

    CGRect cropRect() const { return cropRect_; }
    // Clamped into the page and raised to the minimum size; a rectangle with a non-finite value is
    // ignored.
    void setCropRect(CGRect rect);
    CGFloat deviceScale() const { return deviceScale_; }

    // Crops the page to the rectangle (clamped as above) through the view: one undoable "Crop". Posts
    // will and did crop around it. False when the view refused.
    bool chooseCrop(CGRect rect);

private:
    CGRect pageFrame() const;

    CGRect cropRect_ = CGRectZero;
    CGFloat deviceScale_ = 1;
    std::shared_ptr<const MarqenPropertyCrop *> self_;
};

}  // namespace marqen
