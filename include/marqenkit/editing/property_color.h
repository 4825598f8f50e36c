#pragma once
// The color property: the palette, a custom color, and the colors remembered for new elements (one for
// the highlighter when it starts yellow). Main thread only.
#include <optional>
#include <string>

#include "../dom/color.h"
#include "../foundation/notification_center.h"
#include "property.h"

namespace marqen {

inline constexpr const char *kMarqenPropertyColorCurrentColorDidChangeNotification =
    "MarqenPropertyColorCurrentColorDidChangeNotification";
inline constexpr const char *kMarqenPropertyColorUserDidChangeColorNotification =
    "MarqenPropertyColorUserDidChangeColorNotification";

enum MarqenPropertyColorID : unsigned long {
    MarqenPropertyColorIDRed = 0,
    MarqenPropertyColorIDOrange = 1,
    MarqenPropertyColorIDYellow = 2,
    MarqenPropertyColorIDGreen = 3,
    MarqenPropertyColorIDBlue = 4,
    MarqenPropertyColorIDPink = 5,
    MarqenPropertyColorIDWhite = 6,
    MarqenPropertyColorIDBlack = 7,
    MarqenPropertyColorIDCustom = 8,
};

struct MARQEN_EXPORT MarqenPropertyColorChild : MarqenPropertyChild {
    MarqenPropertyColorID colorID;
    MarqenDOMColor color;
    MarqenPropertyColorChild(MarqenPropertyColorID identifier, MarqenDOMColor value) : colorID(identifier), color(value) {}
};

class MARQEN_EXPORT MarqenPropertyColor : public MarqenProperty {
public:
    explicit MarqenPropertyColor(MarqenPropertiesCompositionView *compositionView);
    ~MarqenPropertyColor() override;

    // The palette color of an identifier; custom and unknown identifiers give red.
    static MarqenDOMColor colorForColorID(unsigned long colorID);
    // The first palette entry equal to the color with its alpha taken as 1; custom when none is.
    static MarqenPropertyColorID colorIDForColor(const MarqenDOMColor &color);
    // "red" … "black", "custom".
    static std::string analyticsNameForColorID(unsigned long colorID);

    MarqenPropertyColorID currentColorID() const { return currentColorID_; }
    const MarqenDOMColor &currentColor() const { return currentColor_; }
    const std::optional<MarqenDOMColor> &customColor() const { return customColor_; }
    const MarqenDOMColor &emptySelectionColor() const { return emptySelectionColor_; }
    const MarqenDOMColor &emptyHighlighterToolColor() const { return emptyHighlighterToolColor_; }
    const std::optional<MarqenDOMColor> &switchToColor() const { return switchToColor_; }
    void setSwitchToColor(std::optional<MarqenDOMColor> color) { switchToColor_ = color; }

    bool isHighlighterInitiallyYellow() const { return isHighlighterInitiallyYellow_; }
    // Switched on, the property follows tool changes: the highlighter starts yellow, other tools return
    // to the remembered color.
    void setIsHighlighterInitiallyYellow(bool yellow);

    // Applies the color to the selection, remembers it for new elements and announces the user's choice.
    void chooseColor(const MarqenDOMColor &color);

    std::vector<std::shared_ptr<const MarqenPropertyChild>> propertyChildren() const override;
    void selectedElementsDidChange() override;
    MarqenJSON persistentPropertyInfo() const override;
    void setPersistentPropertyInfo(const MarqenJSON &info) override;
    void prepareForDealloc() override { toolObservation_.reset(); }

private:
    bool highlighterIsCurrent() const;
    void currentToolDidChange();

    MarqenPropertyColorID currentColorID_ = MarqenPropertyColorIDPink;
    MarqenDOMColor currentColor_;
    std::optional<MarqenDOMColor> customColor_, switchToColor_;
    MarqenDOMColor emptySelectionColor_, emptyHighlighterToolColor_;
    bool isHighlighterInitiallyYellow_ = false;
    NotificationToken toolObservation_;
};

}  // namespace marqen
