#include "dom/text_measure.h"

#include "platform/text_layout.h"

namespace marqen {

CGSize MarqenDOMTextMeasure(const std::string &string, const MarqenDOMTextAttributes &attributes, CGFloat wrapWidth) {
    MarqenTextAttributes layoutAttributes;
    layoutAttributes.fontName = attributes.fontName;
    layoutAttributes.fontSize = attributes.fontSize;
    layoutAttributes.lineHeightMultiple = attributes.lineHeightMultiple;
    CGSize size = MarqenTextLayout(string, layoutAttributes, wrapWidth).suggestedSize();
    // An empty text still has a line to type on.
    if (string.empty()) size.height = MarqenTextLayout(" ", layoutAttributes, 0).suggestedSize().height;
    return size;
}

}  // namespace marqen
