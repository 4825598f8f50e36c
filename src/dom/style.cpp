#include "dom/style.h"

#include "foundation/value_encoding.h"

namespace marqen {

MarqenJSON MarqenDOMStyle::dictionaryRepresentation() const {
    MarqenJSON dictionary = MarqenJSON::object();
    if (shadowColor_ && shadowColor_->alpha() != 0) dictionary["shadowColor"] = shadowColor_->dictionaryRepresentation();
    if (!(shadowOffset_ == CGSizeZero)) dictionary["shadowOffset"] = NSDictionaryFromCGSize(shadowOffset_);
    if (shadowOpacity_ != 0) dictionary["shadowOpacity"] = shadowOpacity_;
    if (shadowRadius_ != 0) dictionary["shadowRadius"] = shadowRadius_;
    return dictionary;
}

std::shared_ptr<MarqenDOMStyle> MarqenDOMStyle::fromDictionary(const MarqenJSON &dictionary) {
    auto style = std::make_shared<MarqenDOMStyle>();
    if (const MarqenJSON *color = marqen_objectForKey(dictionary, "shadowColor"))
        style->shadowColor_ = MarqenDOMColor::fromDictionary(*color);
    if (const MarqenJSON *offset = marqen_objectForKey(dictionary, "shadowOffset"))
        style->shadowOffset_ = CGSizeFromDictionary(*offset);
    if (auto opacity = marqen_numberForKey(dictionary, "shadowOpacity")) style->shadowOpacity_ = *opacity;
    if (auto radius = marqen_numberForKey(dictionary, "shadowRadius")) style->shadowRadius_ = *radius;
    return style;
}

}  // namespace marqen
