#pragma once
// The size property: five sizes, each a relative tool size that the elements turn into a line width or
// font size themselves. Main thread only.
#include <string>

#include "property.h"

namespace marqen {

inline constexpr const char *kMarqenPropertySizeCurrentSizeIDDidChangeNotification =
    "MarqenPropertySizeCurrentSizeIDDidChangeNotification";
inline constexpr const char *kMarqenPropertySizeUserDidChangeSizeNotification =
    "MarqenPropertySizeUserDidChangeSizeNotification";

class MarqenPropertyTextFont;

struct MARQEN_EXPORT MarqenPropertySizeChild : MarqenPropertyChild {
    unsigned long sizeID;
    explicit MarqenPropertySizeChild(unsigned long identifier) : sizeID(identifier) {}
};

class MARQEN_EXPORT MarqenPropertySize : public MarqenProperty {
public:
    // Sets the view's tool size to the default, 0.6.
    explicit MarqenPropertySize(MarqenPropertiesCompositionView *compositionView);

    // 0.2, 0.4, 0.6, 0.8, 1.0 for 0…4; 0.6 for anything else.
    static CGFloat relativeToolSizeForSizeID(unsigned long sizeID);
    // The smallest identifier whose relative size is at least r.
    static unsigned long sizeIDForRelativeToolSize(CGFloat relative);
    // "small_1" … "xxlarge_5".
    static std::string analyticsNameForSizeID(unsigned long sizeID);

    unsigned long currentSizeID() const { return currentSizeID_; }
    unsigned long emptySelectionSizeID() const { return emptySelectionSizeID_; }
    // Where an empty selection under the text tool reads its size from (not owned; may be null).
    void setTextFontProperty(MarqenPropertyTextFont *property) { textFontProperty_ = property; }

    void chooseSize(unsigned long sizeID);

    std::vector<std::shared_ptr<const MarqenPropertyChild>> propertyChildren() const override;
    void selectedElementsDidChange() override;
    MarqenJSON persistentPropertyInfo() const override;
    void setPersistentPropertyInfo(const MarqenJSON &info) override;

private:
    bool textToolWithEmptySelection() const;

    unsigned long currentSizeID_ = 2, emptySelectionSizeID_ = 2;
    MarqenPropertyTextFont *textFontProperty_ = nullptr;
};

}  // namespace marqen
