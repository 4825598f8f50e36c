#pragma once
// The text style property: bubble, plain (paragraph) or label text. Main thread only.
#include <string>

#include "../dom/text_enums.h"
#include "property.h"

namespace marqen {

inline constexpr const char *kMarqenPropertyTextStyleCurrentTextStyleIDDidChangeNotification =
    "MarqenPropertyTextStyleCurrentTextStyleIDDidChangeNotification";
inline constexpr const char *kMarqenPropertyTextStyleUserDidChangeTextStyleIDNotification =
    "MarqenPropertyTextStyleUserDidChangeTextStyleIDNotification";

struct MARQEN_EXPORT MarqenPropertyTextStyleChild : MarqenPropertyChild {
    MarqenDOMTextBlockStyle textStyleID;
    explicit MarqenPropertyTextStyleChild(MarqenDOMTextBlockStyle identifier) : textStyleID(identifier) {}
};

class MARQEN_EXPORT MarqenPropertyTextStyle : public MarqenProperty {
public:
    // Sets the view's text block style to bubble.
    explicit MarqenPropertyTextStyle(MarqenPropertiesCompositionView *compositionView);

    // The block style of an identifier; anything above 2 is bubble.
    static MarqenDOMTextBlockStyle textStyleForID(unsigned long textStyleID);
    // "bubble_text", "plain_text", "label_text".
    static std::string analyticsNameForTextStyleID(unsigned long textStyleID);

    MarqenDOMTextBlockStyle currentTextStyleID() const { return currentTextStyleID_; }
    // The style new texts are made with.
    MarqenDOMTextBlockStyle creationTextStyleID() const { return emptySelectionTextStyle_; }
    MarqenDOMTextBlockStyle emptySelectionTextStyle() const { return emptySelectionTextStyle_; }

    void chooseTextStyle(unsigned long textStyleID);

    std::vector<std::shared_ptr<const MarqenPropertyChild>> propertyChildren() const override;
    // The style all selected texts share, else the remembered one.
    void selectedElementsDidChange() override;
    MarqenJSON persistentPropertyInfo() const override;
    void setPersistentPropertyInfo(const MarqenJSON &info) override;

private:
    MarqenDOMTextBlockStyle currentTextStyleID_ = MarqenDOMTextBlockStyleBubble;
    MarqenDOMTextBlockStyle emptySelectionTextStyle_ = MarqenDOMTextBlockStyleBubble;
};

}  // namespace marqen
