#include "editing/text_font_sizes.h"

#include <cmath>

#include "dom/text.h"

namespace marqen {

namespace {

// The text class owns its size steps; a detached text asks them at any scale.
const MarqenDOMText &textForSizes() {
    static const std::shared_ptr<MarqenDOMText> text = MarqenDOMText::create();
    return *text;
}

CGFloat usableFactor(CGFloat factor) { return std::isfinite(factor) && factor > 0 ? factor : 1.0; }

}  // namespace

CGFloat textFontSizeForRelativeToolSize(CGFloat relative, CGFloat contentScaleFactor) {
    return textForSizes().convertToolSizeRelativeToToolSizeAbsolute(relative, 1.0, usableFactor(contentScaleFactor));
}

CGFloat relativeToolSizeForTextFontSize(CGFloat fontSize, CGFloat contentScaleFactor) {
    return textForSizes().convertToolSizeAbsoluteToToolSizeRelative(fontSize, 1.0, usableFactor(contentScaleFactor));
}

}  // namespace marqen
