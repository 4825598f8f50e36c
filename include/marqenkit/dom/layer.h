#pragma once
// A named group of elements. Every document has three fixed layers (see MarqenDOMDocument).
//
// Threads: main thread only, like every node (see node.h).
#include <string>
#include <vector>

#include "../export.h"
#include "element.h"

namespace marqen {

class MarqenDOMBitmap;

inline constexpr const char *MarqenDOMLayerIdBackground = "__background__";
inline constexpr const char *MarqenDOMLayerIdAnnotation = "__annotation__";
inline constexpr const char *MarqenDOMLayerIdText = "__text__";
inline constexpr const char *MarqenDOMLayerIdBackgroundImage = "__background-image__";
inline constexpr const char *MarqenDOMLayerIdRoot = "__root__";
// Where older files kept a layer's id.
inline constexpr const char *MarqenDOMLayerIdMetadataKey = "com.brondale.marqen.layer.id";

class MARQEN_EXPORT MarqenDOMLayer : public MarqenDOMElement {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMLayer> create();
    std::string jsonType() const override { return "Layer"; }

    const std::string &layerId() const { return layerId_; }
    void setLayerId(const std::string &layerId) { layerId_ = layerId; }

    // In the background layers, exact bitmaps resize themselves; everything else applies t.
    void applyResizeTransform(const CGAffineTransform &t, CGSize integralDocumentSize) override;
    // Every adjustment node in the layer's subtree, the layer itself included when it is one.
    std::vector<MarqenDOMNodePtr> allAdjustmentElements();
    // The first child that is a bitmap and not an adjustment.
    std::shared_ptr<MarqenDOMBitmap> primaryBitmap() const;
    // Merges the adjustment bitmaps into the primary bitmap (over the union of their frames) and
    // removes them. False (with *error) when the merge fails; the adjustments then stay.
    bool applyAdjustments(MarqenError *error = nullptr);

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMLayer() = default;
    void copyStateTo(MarqenDOMNode &target) const override;

private:
    std::string layerId_;
};

}  // namespace marqen
