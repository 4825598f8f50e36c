#include "dom/element.h"

#include "dom/change_protocol.h"
#include "dom/node_class.h"

namespace marqen {

const MarqenDOMNodeClass &MarqenDOMElement::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMElement", "", [] { return create(); }, nullptr, nullptr};
    return descriptor;
}

std::shared_ptr<MarqenDOMElement> MarqenDOMElement::create() { return MarqenMakeNode<MarqenDOMElement>(); }

void MarqenDOMElement::setStyle(const std::shared_ptr<MarqenDOMStyle> &style) {
    // Styles are shared objects: a different object is a change even when its values are equal.
    MarqenDOMChangeProtocol::set(*this, style_, style ? style : std::make_shared<MarqenDOMStyle>(),
                                 &MarqenDOMElement::setStyle);
}

void MarqenDOMElement::setToolColor(const std::optional<MarqenDOMColor> &color) {
    MarqenDOMChangeProtocol::set(*this, toolColor_, color, &MarqenDOMElement::setToolColor,
                                 {.postsNeedsDisplay = true});
}

void MarqenDOMElement::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMNode::initWithDictionary(dictionary);
    // Older files call the style "inkStyle"; both are merged with "style" winning.
    const MarqenJSON *older = marqen_objectForKey(dictionary, "inkStyle");
    const MarqenJSON *style = marqen_objectForKey(dictionary, "style");
    if (older && !older->is_object()) older = nullptr;
    if (style && !style->is_object()) style = nullptr;
    if (!older || !style) {
        // One part or none: read as it is, with no merged copy.
        static const MarqenJSON noStyle = MarqenJSON::object();
        style_ = MarqenDOMStyle::fromDictionary(style ? *style : older ? *older : noStyle);
        return;
    }
    MarqenJSON merged = *older;
    for (const auto &[name, value] : style->items()) merged[name] = value;
    style_ = MarqenDOMStyle::fromDictionary(merged);
}

void MarqenDOMElement::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMNode::writeMembers(writer);
    if (style_->writesMembers()) {
        writer.key("style");
        writer.beginObject();
        style_->writeMembers(writer);
        writer.endObject();
    }
}

void MarqenDOMElement::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMNode::copyStateTo(target);
    static_cast<MarqenDOMElement &>(target).style_ = style_;
}

}  // namespace marqen
