#include "render/node_renderer.h"

#include <algorithm>

#include "dom/notifications.h"
#include "platform/graphics.h"
#include "render/bitmap_renderer.h"
#include "render/document_renderer.h"
#include "render/stamp_renderer.h"
#include "render/text_renderer.h"
#include "render/vector_renderer.h"

namespace marqen {

namespace {

template <typename Renderer>
std::shared_ptr<MarqenDOMNodeRenderer> make() {
    struct Enabler : Renderer {};
    return std::make_shared<Enabler>();
}

// Renderers go by the node's exact class: a subclass nobody draws gets no renderer.
std::shared_ptr<MarqenDOMNodeRenderer> rendererForClass(const std::string &name) {
    if (name == "MarqenDOMDocument") return make<MarqenDOMDocumentRenderer>();
    if (name == "MarqenDOMLayer") return make<MarqenDOMNodeRenderer>();
    if (name == "MarqenDOMBitmap") return make<MarqenDOMBitmapRenderer>();
    if (name == "MarqenDOMStamp") return make<MarqenDOMStampRenderer>();
    if (name == "MarqenDOMText") return make<MarqenDOMTextRenderer>();
    static const char *const vectorClasses[] = {"MarqenDOMVector", "MarqenDOMArrow",     "MarqenDOMLine",
                                                "MarqenDOMPolygon", "MarqenDOMRectangle", "MarqenDOMEllipse"};
    for (const char *vectorClass : vectorClasses)
        if (name == vectorClass) return make<MarqenDOMVectorRenderer>();
    return nullptr;
}

}  // namespace

MarqenDOMNodeRenderer::~MarqenDOMNodeRenderer() = default;

std::shared_ptr<MarqenDOMNodeRenderer> MarqenDOMNodeRenderer::nodeRendererWithNode(const MarqenDOMNodePtr &node) {
    if (!node) return nullptr;
    auto renderer = rendererForClass(node->className());
    if (renderer) renderer->setNode(node);
    return renderer;
}

void MarqenDOMNodeRenderer::setNode(const MarqenDOMNodePtr &node) {
    childrenObservation_.reset();
    node_ = node;
    resetChildren();
    if (!node_) return;
    std::weak_ptr<MarqenDOMNodeRenderer> weakSelf = weak_from_this();
    childrenObservation_ = MarqenDOMKeyValueObservationCenter().addObserver(
        MarqenDOMNodeChildrenDidChange, node_.get(), [weakSelf](const Notification &notification) {
            auto self = weakSelf.lock();
            const auto *change = notification.value<MarqenChildrenChange>(MarqenDOMNodeUserInfoChangeKey);
            if (self && change) self->childrenDidChange(*change);
        });
}

void MarqenDOMNodeRenderer::childrenDidChange(const MarqenChildrenChange &change) {
    for (const auto &old : change.oldNodes) removeChildForChildNode(old);
    // The record's indexes ascend and pair with the new nodes in order, so each insertion lands
    // where the node now stands; a replacement puts the new renderer at the old one's index.
    for (size_t i = 0; i < change.indexes.size() && i < change.newNodes.size(); ++i)
        addChildForChildNode(change.newNodes[i], change.indexes[i]);
}

void MarqenDOMNodeRenderer::resetChildren() {
    for (const auto &child : children_) child->parent_.reset();
    children_.clear();
    if (!node_) return;
    for (const auto &child : node_->children()) addChildForChildNode(child);
}

void MarqenDOMNodeRenderer::addChildForChildNode(const MarqenDOMNodePtr &node) {
    addChildForChildNode(node, children_.size());
}

void MarqenDOMNodeRenderer::addChildForChildNode(const MarqenDOMNodePtr &node, size_t index) {
    auto renderer = nodeRendererWithNode(node);
    if (!renderer) return;
    renderer->parent_ = weak_from_this();
    // Nodes without renderers leave no slot, so an index past the end appends.
    index = std::min(index, children_.size());
    children_.insert(children_.begin() + static_cast<std::ptrdiff_t>(index), renderer);
}

void MarqenDOMNodeRenderer::removeChildForChildNode(const MarqenDOMNodePtr &node) {
    for (auto it = children_.rbegin(); it != children_.rend(); ++it) {
        if ((*it)->node_ == node) {
            (*it)->parent_.reset();
            children_.erase(std::next(it).base());
            return;
        }
    }
}

std::shared_ptr<MarqenDOMNodeRenderer> MarqenDOMNodeRenderer::existingRendererForNode(const MarqenDOMNode *node) {
    if (node_.get() == node) return shared_from_this();
    for (const auto &child : children_)
        if (auto found = child->existingRendererForNode(node)) return found;
    return nullptr;
}

MarqenDOMDocumentRenderer *MarqenDOMNodeRenderer::documentRenderer() {
    for (MarqenDOMNodeRenderer *renderer = this; renderer;) {
        if (auto *document = dynamic_cast<MarqenDOMDocumentRenderer *>(renderer)) return document;
        auto parent = renderer->parent_.lock();
        renderer = parent.get();
    }
    return nullptr;
}

bool MarqenDOMNodeRenderer::shouldRender() {
    if (alwaysRenders_) return true;
    auto *document = documentRenderer();
    return !document || document->shouldRenderNode(node_);
}

void MarqenDOMNodeRenderer::drawChildren(CGRect rect, MarqenGraphicsContext &context) {
    auto snapshot = children_;
    for (const auto &child : snapshot) child->drawRect(rect, context);
}

void MarqenDOMNodeRenderer::drawRect(CGRect rect, MarqenGraphicsContext &context) {
    if (!node_) return;
    context.saveGState();
    context.concatCTM(node_->transform());
    drawChildren(rect, context);
    context.restoreGState();
}

}  // namespace marqen
