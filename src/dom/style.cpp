#include "dom/style.h"

#include "foundation/value_encoding.h"

namespace marqen {

void MarqenDOMStyle::writeMembers(MarqenJSONWriter &writer) const {
    if (shadowColor_ && shadowColor_->alpha() != 0) {
        writer.key("shadowColor");
        shadowColor_->writeJSON(writer);
    }
    if (!(shadowOffset_ == CGSizeZero)) {
        writer.key("shadowOffset");
        MarqenWriteCGSize(writer, shadowOffset_);
    }
    if (shadowOpacity_ != 0) writer.numberMember("shadowOpacity", shadowOpacity_);
    if (shadowRadius_ != 0) writer.numberMember("shadowRadius", shadowRadius_);
}

bool MarqenDOMStyle::writesMembers() const {
    MarqenJSONMemberCounter counter;
    writeMembers(counter);
    return counter.members() > 0;
}

MarqenJSON MarqenDOMStyle::dictionaryRepresentation() const {
    MarqenJSONBuilder builder;
    builder.beginObject();
    writeMembers(builder);
    builder.endObject();
    return builder.take();
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
