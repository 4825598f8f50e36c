#include "dom/text_enums.h"

#include <map>

namespace marqen {

namespace {

template <typename Enum>
Enum lookup(const std::map<std::string, Enum> &table, const std::string &string) {
    auto found = table.find(string);
    return found == table.end() ? static_cast<Enum>(0) : found->second;
}

}  // namespace

std::string NSStringFromMarqenDOMTextAlignment(MarqenDOMTextAlignment alignment) {
    switch (alignment) {
        case MarqenDOMTextAlignmentCenter: return "center";
        case MarqenDOMTextAlignmentRight: return "right";
        default: return "left";
    }
}

std::string NSStringFromMarqenDOMTextDirection(MarqenDOMTextDirection direction) {
    switch (direction) {
        case MarqenDOMTextDirectionRightToLeft: return "rightToLeft";
        case MarqenDOMTextDirectionTopDown: return "topDown";
        case MarqenDOMTextDirectionBottomUp: return "bottomUp";
        default: return "leftToRight";
    }
}

std::string NSStringFromMarqenDOMTextBlockStyle(MarqenDOMTextBlockStyle style) {
    switch (style) {
        case MarqenDOMTextBlockStyleParagraph: return "paragraphText";
        case MarqenDOMTextBlockStyleLabel: return "labelText";
        default: return "bubbleText";
    }
}

MarqenDOMTextAlignment MarqenDOMTextAlignmentFromNSString(const std::string &string) {
    static const std::map<std::string, MarqenDOMTextAlignment> table{
        {"left", MarqenDOMTextAlignmentLeft},
        {"center", MarqenDOMTextAlignmentCenter},
        {"right", MarqenDOMTextAlignmentRight},
        {"com.brondale.marqen.text.alignment.left", MarqenDOMTextAlignmentLeft},
        {"com.brondale.marqen.text.alignment.center", MarqenDOMTextAlignmentCenter},
        {"com.brondale.marqen.text.alignment.right", MarqenDOMTextAlignmentRight},
    };
    return lookup(table, string);
}

MarqenDOMTextDirection MarqenDOMTextDirectionFromNSString(const std::string &string) {
    static const std::map<std::string, MarqenDOMTextDirection> table{
        {"leftToRight", MarqenDOMTextDirectionLeftToRight},
        {"rightToLeft", MarqenDOMTextDirectionRightToLeft},
        {"topDown", MarqenDOMTextDirectionTopDown},
        {"bottomUp", MarqenDOMTextDirectionBottomUp},
        {"com.brondale.marqen.text.direction.ltr", MarqenDOMTextDirectionLeftToRight},
    };
    return lookup(table, string);
}

MarqenDOMTextBlockStyle MarqenDOMTextBlockStyleFromNSString(const std::string &string) {
    static const std::map<std::string, MarqenDOMTextBlockStyle> table{
        {"bubbleText", MarqenDOMTextBlockStyleBubble},
        {"paragraphText", MarqenDOMTextBlockStyleParagraph},
        {"labelText", MarqenDOMTextBlockStyleLabel},
    };
    return lookup(table, string);
}

}  // namespace marqen
