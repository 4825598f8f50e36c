#include "dom/layer.h"

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/node_class.h"

namespace marqen {

const MarqenDOMNodeClass &MarqenDOMLayer::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMLayer", "Layer", [] { return create(); }, nullptr,
                                               &MarqenDOMElement::classDescriptor};
    return descriptor;
}

std::shared_ptr<MarqenDOMLayer> MarqenDOMLayer::create() { return MarqenMakeNode<MarqenDOMLayer>(); }

void MarqenDOMLayer::applyResizeTransform(const CGAffineTransform &t, CGSize integralDocumentSize) {
    if (layerId_ != MarqenDOMLayerIdBackground && layerId_ != MarqenDOMLayerIdBackgroundImage) {
        applyTransform(t);
        return;
    }
    for (const auto &child : children()) {
        if (child->className() == "MarqenDOMBitmap")
            child->applyResizeTransform(t, integralDocumentSize);
        else
            child->applyTransform(t);
    }
}

std::vector<MarqenDOMNodePtr> MarqenDOMLayer::allAdjustmentElements() {
    std::vector<MarqenDOMNodePtr> found;
    acceptVisitor([&](MarqenDOMNode &node) {
        if (node.isAdjustment()) found.push_back(node.shared_from_this());
        return true;
    });
    return found;
}

std::shared_ptr<MarqenDOMBitmap> MarqenDOMLayer::primaryBitmap() const {
    for (const auto &child : children())
        if (auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(child); bitmap && !bitmap->isAdjustment())
            return bitmap;
    return nullptr;
}

bool MarqenDOMLayer::applyAdjustments(MarqenError *error) {
    auto adjustments = allAdjustmentElements();
    auto primary = primaryBitmap();
    if (adjustments.empty() || !primary) return true;
    std::vector<std::shared_ptr<MarqenDOMBitmap>> bitmaps;
    CGRect frame = primary->frame();
    for (const auto &node : adjustments) {
        if (auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(node)) {
            bitmaps.push_back(bitmap);
            frame = CGRectUnion(frame, bitmap->frame());
        }
    }
    postWillChange();
    bool merged = primary->mergeBitmaps(bitmaps, frame, error);
    if (merged)
        for (const auto &bitmap : bitmaps) bitmap->removeFromParent();
    postDidChange();
    return merged;
}

void MarqenDOMLayer::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMElement::initWithDictionary(dictionary);
    if (const std::string *layerId = marqen_stringPointerForKey(dictionary, "layerId"))
        layerId_ = *layerId;
    else if (auto older = marqen_stringForKey(metadata(), MarqenDOMLayerIdMetadataKey))
        layerId_ = *older;
    if (metadata().contains(MarqenDOMLayerIdMetadataKey)) setMetadataObject(nullptr, MarqenDOMLayerIdMetadataKey);
}

void MarqenDOMLayer::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMElement::writeMembers(writer);
    if (!layerId_.empty()) writer.stringMember("layerId", layerId_);
}

void MarqenDOMLayer::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMElement::copyStateTo(target);
    auto &layer = static_cast<MarqenDOMLayer &>(target);
    layer.layerId_ = layerId_;
    for (const auto &child : children()) layer.addChild(child->copy());
}

}  // namespace marqen
