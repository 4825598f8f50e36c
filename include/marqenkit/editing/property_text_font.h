#pragma once
// The text font property: the font of the selected texts, and the font new texts get. The default is
// "Helvetica-Bold" at the middle text size (24 at a content scale factor of 1); it follows changes of the
// page's content scale factor. Main thread only.
#include "../dom/font.h"
#include "../foundation/notification_center.h"
#include "property.h"

namespace marqen {

inline constexpr const char *kMarqenPropertyTextFontCurrentTextFontDidChangeNotification =
    "MarqenPropertyTextFontCurrentTextFontDidChangeNotification";
inline constexpr const char *kMarqenPropertyTextFontUserDidChangeTextFontNotification =
    "MarqenPropertyTextFontUserDidChangeTextFontNotification";

class MARQEN_EXPORT MarqenPropertyTextFont : public MarqenProperty {
public:
    explicit MarqenPropertyTextFont(MarqenPropertiesCompositionView *compositionView);

    const MarqenDOMFont &currentTextFont() const { return currentTextFont_; }
    const MarqenDOMFont &emptySelectionTextFont() const { return emptySelectionTextFont_; }
    MarqenDOMFont creationTextFont() const { return emptySelectionTextFont_; }
    // Remembers a font for new texts without applying it to the selection (the size property uses it).
    void setEmptySelectionTextFont(const MarqenDOMFont &font);

    void chooseTextFont(const MarqenDOMFont &font);

    // The font all selected texts share, else the remembered one.
    void selectedElementsDidChange() override;
    MarqenJSON persistentPropertyInfo() const override;
    void setPersistentPropertyInfo(const MarqenJSON &info) override;
    void prepareForDealloc() override { scaleObservation_.reset(); }

private:
    void contentScaleFactorDidChange(const void *document);

    MarqenDOMFont currentTextFont_, emptySelectionTextFont_;
    double contentScaleFactor_ = 1;
    NotificationToken scaleObservation_;
};

}  // namespace marqen
