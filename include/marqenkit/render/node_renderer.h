#pragma once
// The renderer tree: one renderer per drawn DOM node, kept in step with the node's children through
// the children-change records. A plain node renderer draws a layer: its transform, then its children.
//
// Threads: main thread, with the nodes it draws.
#include <memory>
#include <vector>

#include "../export.h"
#include "../dom/node.h"
#include "../foundation/geometry.h"
#include "../foundation/notification_center.h"

namespace marqen {

class MarqenGraphicsContext;
class MarqenDOMDocumentRenderer;

class MARQEN_EXPORT MarqenDOMNodeRenderer : public std::enable_shared_from_this<MarqenDOMNodeRenderer> {
public:
    virtual ~MarqenDOMNodeRenderer();
    MarqenDOMNodeRenderer(const MarqenDOMNodeRenderer &) = delete;
    MarqenDOMNodeRenderer &operator=(const MarqenDOMNodeRenderer &) = delete;

    // A renderer of the class that draws this node's exact class (documents, layers, bitmaps,
    // stamps, texts, the vector kinds), with its children built; nothing for any other class.
    static std::shared_ptr<MarqenDOMNodeRenderer> nodeRendererWithNode(const MarqenDOMNodePtr &node);

    const MarqenDOMNodePtr &node() const { return node_; }
    // Stops mirroring the old node, rebuilds the children for the new one and mirrors it.
    void setNode(const MarqenDOMNodePtr &node);
    std::shared_ptr<MarqenDOMNodeRenderer> parent() const { return parent_.lock(); }
    const std::vector<std::shared_ptr<MarqenDOMNodeRenderer>> &children() const { return children_; }

    bool alwaysRenders() const { return alwaysRenders_; }
    void setAlwaysRenders(bool flag) { alwaysRenders_ = flag; }

    void resetChildren();
    void addChildForChildNode(const MarqenDOMNodePtr &node);
    void addChildForChildNode(const MarqenDOMNodePtr &node, size_t index);
    // Removes the child renderer drawing `node` (the last one, should there be several).
    void removeChildForChildNode(const MarqenDOMNodePtr &node);

    // This renderer when it draws `node`, else the first match among the descendants, depth first.
    std::shared_ptr<MarqenDOMNodeRenderer> existingRendererForNode(const MarqenDOMNode *node);
    // The nearest document renderer: this one or an ancestor.
    MarqenDOMDocumentRenderer *documentRenderer();

    // Draws into the context; rect is the area to refresh, in the context's current user space.
    virtual void drawRect(CGRect rect, MarqenGraphicsContext &context);

protected:
    MarqenDOMNodeRenderer() = default;
    // Whether the document renderer lets this renderer's node be drawn (always without one).
    bool shouldRender();
    void drawChildren(CGRect rect, MarqenGraphicsContext &context);

private:
    void childrenDidChange(const MarqenChildrenChange &change);

    MarqenDOMNodePtr node_;
    std::weak_ptr<MarqenDOMNodeRenderer> parent_;
    std::vector<std::shared_ptr<MarqenDOMNodeRenderer>> children_;
    bool alwaysRenders_ = false;
    NotificationToken childrenObservation_;
};

using MarqenDOMNodeRendererPtr = std::shared_ptr<MarqenDOMNodeRenderer>;

}  // namespace marqen
