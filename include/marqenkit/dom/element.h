#pragma once
// A node with an ink style and an optional tool colour: the base of every annotation kind.
//
// Threads: main thread only, like every node (see node.h).
#include <any>
#include <memory>
#include <optional>

#include "../export.h"
#include "color.h"
#include "node.h"
#include "style.h"

namespace marqen {

class MARQEN_EXPORT MarqenDOMElement : public MarqenDOMNode {
public:
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMElement> create();
    std::string jsonType() const override { return "Element"; }

    const std::shared_ptr<MarqenDOMStyle> &style() const { return style_; }
    // Only a different style object counts as a change; styles are shared, not duplicated.
    virtual void setStyle(const std::shared_ptr<MarqenDOMStyle> &style);
    virtual const std::optional<MarqenDOMColor> &toolColor() const { return toolColor_; }
    virtual void setToolColor(const std::optional<MarqenDOMColor> &color);

    // The element's editable geometry as one value (for widgets and undo); nothing in the base.
    virtual std::any elementGeometry() const { return {}; }
    virtual void setElementGeometry(const std::any &) {}

    void initWithDictionary(const MarqenJSON &dictionary) override;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMElement() = default;
    void copyStateTo(MarqenDOMNode &target) const override;

private:
    std::shared_ptr<MarqenDOMStyle> style_ = std::make_shared<MarqenDOMStyle>();
    std::optional<MarqenDOMColor> toolColor_;
};

}  // namespace marqen
