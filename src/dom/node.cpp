#include "dom/node.h"

#include <algorithm>

#include "dom/change_protocol.h"
#include "dom/document.h"
#include "dom/exceptions.h"
#include "dom/node_class.h"
#include "dom/node_json_writer.h"
#include "dom/notifications.h"
#include "foundation/main_thread.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"
#include "foundation/uuid.h"
#include "foundation/value_encoding.h"

namespace marqen {

namespace {

void post(const char *name, const MarqenDOMNode *node, NotificationUserInfo userInfo = {}) {
    NotificationCenter &center = NotificationCenter::defaultCenter();
    if (center.hasAnyObservers()) center.post(name, node, std::move(userInfo));
}

bool anyoneObserves() { return NotificationCenter::defaultCenter().hasAnyObservers(); }


}  // namespace

// Common initialisation: detached, no children, empty metadata, identity transform, a fresh guid.
MarqenDOMNode::MarqenDOMNode() : guid_(marqen_stringWithNewUUID()) {}

MarqenDOMNode::~MarqenDOMNode() {
    MARQEN_ASSERT_MAIN_THREAD();  // releasing a node touches its document's guid map and undo manager
    if (auto document = document_.lock()) document->removeFromNodeMap(*this);
    if (auto undo = undoManagerAtLastAttach_.lock()) undo->removeAllActionsWithTarget(this);
}

const std::string &MarqenDOMNode::className() const { return nodeClass().name; }

bool MarqenDOMNode::isKindOfClass(const std::string &name) const {
    for (const MarqenDOMNodeClass *cls = &nodeClass(); cls; cls = cls->superclass ? &cls->superclass() : nullptr)
        if (cls->name == name) return true;
    return false;
}

std::string MarqenDOMNode::jsonType() const { throw MarqenGenericException("Abstract method."); }

MarqenDOMNodePtr MarqenDOMNode::nodeWithDictionary(const MarqenJSON &dictionary) {
    if (!dictionary.is_object()) return nullptr;
    for (const MarqenDOMNodeClass *early : MarqenDOMNodeEarlyClasses()) {
        if (early->willInitializeWithDictionary && early->willInitializeWithDictionary(dictionary)) {
            auto node = early->make();
            node->initWithDictionary(dictionary);
            return node;
        }
    }
    const MarqenDOMNodeClass *found = MarqenDOMNodeResolveNodeClass(dictionary, nullptr, nullptr);
    if (!found) return nullptr;
    auto node = found->make();
    node->initWithDictionary(dictionary);
    return node;
}

void MarqenDOMNode::initWithDictionary(const MarqenJSON &dictionary) {
    if (const std::string *guid = marqen_stringPointerForKey(dictionary, "guid")) guid_ = *guid;
    if (const std::string *labelGuid = marqen_stringPointerForKey(dictionary, "labelGuid")) labelGUID_ = *labelGuid;
    const MarqenJSON *children = marqen_objectForKey(dictionary, "children");
    if (!children) children = marqen_objectForKey(dictionary, "elements");
    if (children && children->is_array())
        for (const auto &childDictionary : *children)
            if (auto child = nodeWithDictionary(childDictionary)) addChild(child);
    if (const MarqenJSON *metadata = marqen_objectForKey(dictionary, "metadata"); metadata && metadata->is_object())
        setMetadata(*metadata);
    if (const MarqenJSON *transform = marqen_objectForKey(dictionary, "transform"))
        setTransform(CGAffineTransformFromNSDictionary(*transform));
}

MarqenJSON MarqenDOMNode::dictionaryRepresentation() const {
    MarqenJSONBuilder builder;
    if (!writeJSON(builder)) return nullptr;
    return builder.take();
}

bool MarqenDOMNode::writeJSON(MarqenJSONWriter &writer) const {
    if (!writesRepresentation()) return false;
    writer.beginObject();
    writeMembers(writer);
    writer.endObject();
    return true;
}

void MarqenDOMNode::writeMembers(MarqenJSONWriter &writer) const {
    writer.stringMember("type", jsonType());
    writer.stringMember("guid", guid_);
    // Adjustments and children that write nothing are left out, and the member with them when none is left.
    auto written = [](const MarqenDOMNodePtr &child) { return !child->isAdjustment() && child->writesRepresentation(); };
    if (std::any_of(children_.begin(), children_.end(), written)) {
        writer.key("children");
        writer.beginArray();
        for (const auto &child : children_)
            if (!child->isAdjustment()) child->writeJSON(writer);
        writer.endArray();
    }
    if (!metadata_.empty()) writer.valueMember("metadata", metadata_);
    if (!CGAffineTransformIsIdentity(transform_)) {
        writer.key("transform");
        MarqenWriteCGAffineTransform(writer, transform_);
    }
    if (labelGUID_) writer.stringMember("labelGuid", *labelGUID_);
}

MarqenDOMNodePtr MarqenDOMNode::copy() const {
    auto node = nodeClass().make();
    copyStateTo(*node);
    return node;
}

void MarqenDOMNode::copyStateTo(MarqenDOMNode &target) const {
    target.metadata_ = metadata_;
    target.adjustment_ = adjustment_;
    target.guid_ = guid_;
    target.labelGUID_ = labelGUID_;
}

std::optional<size_t> MarqenDOMNode::indexOfChild(const MarqenDOMNode *child) const {
    for (size_t i = 0; i < children_.size(); ++i)
        if (children_[i].get() == child) return i;
    return std::nullopt;
}

void MarqenDOMNode::setDocument(const std::shared_ptr<MarqenDOMDocument> &document) {
    auto old = document_.lock();
    // A node's children always share its document, so when nothing changes here nothing changes below
    // (nodes built for a document are added to parents that are not attached yet, again and again).
    if (old == document && (!document || undoManagerAtLastAttach_.lock() == document->undoManagerShared())) return;
    document_ = document;
    if (document) undoManagerAtLastAttach_ = document->undoManagerShared();
    for (const auto &child : children_) child->setDocument(document);
    if (document && document != old)
        document->addToNodeMap(*this);
    else if (!document && old)
        old->removeFromNodeMap(*this);
}

void MarqenDOMNode::addChild(const MarqenDOMNodePtr &child) { addChildAt(child, std::nullopt); }

void MarqenDOMNode::addChild(const MarqenDOMNodePtr &child, const MarqenDOMNodePtr &insertBefore) {
    auto index = insertBefore ? indexOfChild(insertBefore.get()) : std::nullopt;
    if (!index) throw MarqenGenericException("addChild:insertBefore: the reference node is not a child");
    addChildAt(child, index);
}

void MarqenDOMNode::addChildAt(const MarqenDOMNodePtr &child, std::optional<size_t> index) {
    if (!child || child.get() == this || isDescendantOf(child.get())) return;
    // A node lives in one list only: take it from its old parent first.
    if (auto oldParent = child->parent()) oldParent->removeChild(child);
    auto self = shared_from_this();
    postWillChange();
    child->setActive(false);
    child->setParent(self);
    child->setDocument(document());
    if (index)
        insertObjectInChildrenAtIndex(child, *index);
    else
        addChildrenObject(child);
    markDocumentNeedsSave();
    if (anyoneObserves()) {
        NotificationUserInfo info{{MarqenDOMNodeUserInfoChildKey, child}};
        if (index) info[MarqenDOMNodeUserInfoIndexKey] = *index;
        post(MarqenDOMNodeDidAddChild, this, std::move(info));
    }
    postDidChange();
    // Nodes being built are not in a document yet: no undo step, and no action made only to be dropped.
    if (undoManager()) registerUndoAction([child](MarqenDOMNode &node) { node.removeChild(child); });
}

void MarqenDOMNode::removeChild(const MarqenDOMNodePtr &child) {
    if (!child || !indexOfChild(child.get())) return;
    auto keepAlive = shared_from_this();
    auto documentBefore = document();
    // Detaching a label registers its own undo actions: they and the removal undo as one step.
    UndoGroupScope group(undoManager());
    postWillChange();
    post(MarqenDOMNodeWillRemoveChild, this, {{MarqenDOMNodeUserInfoChildKey, child}});
    MarqenDOMNodePtr labelOwner = child->detachLabelConnection();
    child->setParent(nullptr);
    child->setDocument(nullptr);
    removeChildrenObject(child.get());
    if (documentBefore) documentBefore->setNeedsSave(true);
    post(MarqenDOMNodeDidRemoveChild, this, {{MarqenDOMNodeUserInfoChildKey, child}});
    postDidChange();
    registerUndoAction([child, labelOwner](MarqenDOMNode &node) {
        // The label goes back in front of the node it labelled, when that node is still here.
        if (labelOwner && node.indexOfChild(labelOwner.get()))
            node.addChild(child, labelOwner);
        else
            node.addChild(child);
    });
}

void MarqenDOMNode::removeFromParent() {
    if (auto parent = this->parent()) parent->removeChild(shared_from_this());
}

void MarqenDOMNode::arrangeChildren(const MarqenDOMNodePtr &first, const MarqenDOMNodePtr &second) {
    auto secondIndex = second ? indexOfChild(second.get()) : std::nullopt;
    if (!first || !secondIndex || first == second || !indexOfChild(first.get())) return;
    auto keep = second;
    removeObjectFromChildrenAtIndex(*secondIndex);
    insertObjectInChildrenAtIndex(keep, *indexOfChild(first.get()) + 1);
}

bool MarqenDOMNode::isDescendantOf(const MarqenDOMNode *node) const {
    if (!node) return false;
    for (auto ancestor = parent(); ancestor; ancestor = ancestor->parent())
        if (ancestor.get() == node) return true;
    return false;
}

void MarqenDOMNode::acceptVisitor(const std::function<bool(MarqenDOMNode &)> &visitor) {
    if (!visitor(*this)) return;
    for (const auto &child : children()) child->acceptVisitor(visitor);
}

void MarqenDOMNode::insertObjectInChildrenAtIndex(const MarqenDOMNodePtr &child, size_t index) {
    insertChildrenAtIndexes({child}, {index});
}

void MarqenDOMNode::insertChildrenAtIndexes(const std::vector<MarqenDOMNodePtr> &nodes,
                                            const std::vector<size_t> &indexes) {
    CGRect oldBounds = boundsBeforeChange();
    postWillChange();
    std::vector<size_t> inserted;
    std::vector<MarqenDOMNodePtr> insertedNodes;
    for (size_t i = 0; i < nodes.size() && i < indexes.size(); ++i) {
        size_t at = std::min(indexes[i], children_.size());
        children_.insert(children_.begin() + static_cast<std::ptrdiff_t>(at), nodes[i]);
        inserted.push_back(at);
        insertedNodes.push_back(nodes[i]);
    }
    postDidChange();
    postChildrenDidChange(MarqenChildrenChangeKind::Insertion, std::move(inserted), {}, std::move(insertedNodes));
    postContentBoundsDidChange(oldBounds);
}

void MarqenDOMNode::addChildrenObject(const MarqenDOMNodePtr &child) {
    insertObjectInChildrenAtIndex(child, children_.size());
}

void MarqenDOMNode::removeObjectFromChildrenAtIndex(size_t index) { removeChildrenAtIndexes({index}); }

void MarqenDOMNode::removeChildrenAtIndexes(std::vector<size_t> indexes) {
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    indexes.erase(std::remove_if(indexes.begin(), indexes.end(), [&](size_t i) { return i >= children_.size(); }),
                  indexes.end());
    if (indexes.empty()) return;
    CGRect oldBounds = boundsBeforeChange();
    postWillChange();
    std::vector<MarqenDOMNodePtr> removed;  // released after the notifications
    for (size_t index : indexes) removed.push_back(children_[index]);
    for (auto it = indexes.rbegin(); it != indexes.rend(); ++it)
        children_.erase(children_.begin() + static_cast<std::ptrdiff_t>(*it));
    postDidChange();
    postChildrenDidChange(MarqenChildrenChangeKind::Removal, indexes, removed, {});
    postContentBoundsDidChange(oldBounds);
}

void MarqenDOMNode::removeChildrenObject(const MarqenDOMNode *child) {
    if (auto index = indexOfChild(child)) removeObjectFromChildrenAtIndex(*index);
}

void MarqenDOMNode::replaceObjectInChildrenAtIndex(size_t index, const MarqenDOMNodePtr &node) {
    if (index >= children_.size() || !node) return;
    CGRect oldBounds = boundsBeforeChange();
    postWillChange();
    MarqenDOMNodePtr old = children_[index];
    children_[index] = node;
    postDidChange();
    postChildrenDidChange(MarqenChildrenChangeKind::Replacement, {index}, {old}, {node});
    postContentBoundsDidChange(oldBounds);
}

void MarqenDOMNode::setGuid(const std::string &guid) {
    auto document = this->document();
    if (document) document->removeFromNodeMap(*this);
    guid_ = guid;
    if (document) document->addToNodeMap(*this);
}

void MarqenDOMNode::setActive(bool active) {
    if (active_ == active) return;
    active_ = active;
    post(active ? MarqenDOMNodeDidBecomeActive : MarqenDOMNodeDidBecomeInactive, this);
}

namespace {
// Metadata and the transform are announced and mark the document, but are not undo steps of their own.
constexpr MarqenDOMChangeRules kUnrecordedChange{.comparesFirst = false, .registersUndo = false};
}  // namespace

void MarqenDOMNode::setMetadata(const MarqenJSON &metadata) {
    MarqenDOMChangeProtocol::set(*this, metadata_, metadata.is_object() ? metadata : MarqenJSON::object(),
                                 &MarqenDOMNode::setMetadata, kUnrecordedChange);
}

void MarqenDOMNode::setMetadataObject(const MarqenJSON &value, const std::string &key) {
    MarqenJSON updated = metadata_;
    if (value.is_null())
        updated.erase(key);
    else
        updated[key] = value;
    postWillChange();
    setMetadata(updated);
    postDidChange();
}

void MarqenDOMNode::setTransform(const CGAffineTransform &transform) {
    MarqenDOMChangeProtocol::set(*this, transform_, transform, &MarqenDOMNode::setTransform,
                                 {.comparesFirst = false, .affectsContentBounds = true, .registersUndo = false});
}

MarqenDOMNodePtr MarqenDOMNode::labelNode() {
    if (!labelNode_ && labelGUID_) {
        if (auto document = this->document()) labelNode_ = document->findNode(*labelGUID_);
    }
    return labelNode_;
}

void MarqenDOMNode::setLabelNode(const MarqenDOMNodePtr &label) {
    labelNode_ = label;
    labelGUID_ = label ? std::optional<std::string>(label->guid()) : std::nullopt;
}

void MarqenDOMNode::positionLabelQuietly(bool quietly, bool) {
    auto label = labelNode();
    if (!label) return;
    CGPoint origin = contentBounds().origin;
    if (quietly)
        label->setOriginQuietly(origin);
    else
        label->setOrigin(origin);
}

CGRect MarqenDOMNode::contentBounds() const {
    CGRect bounds = CGRectNull;
    for (const auto &child : children_) bounds = CGRectUnion(bounds, child->contentBounds());
    return CGRectIsNull(bounds) ? CGRectZero : bounds;
}

CGRect MarqenDOMNode::tightContentBounds() const {
    CGRect bounds = CGRectNull;
    for (const auto &child : children_) bounds = CGRectUnion(bounds, child->tightContentBounds());
    return CGRectIsNull(bounds) ? CGRectZero : bounds;
}

MarqenDOMNodePtr MarqenDOMNode::hitTestWithPoint(CGPoint point) {
    auto list = children();
    for (auto it = list.rbegin(); it != list.rend(); ++it)
        if (auto hit = (*it)->hitTestWithPoint(point)) return hit;
    return nullptr;
}

MarqenDOMNodePtr MarqenDOMNode::hitTestWithPoint(CGPoint point, CGFloat minimumHitStrokeWidth) {
    auto list = children();
    for (auto it = list.rbegin(); it != list.rend(); ++it)
        if (auto hit = (*it)->hitTestWithPoint(point, minimumHitStrokeWidth)) return hit;
    return nullptr;
}

MarqenDOMNodePtr MarqenDOMNode::hitTestWithRect(CGRect rect) {
    auto list = children();
    for (auto it = list.rbegin(); it != list.rend(); ++it)
        if (auto hit = (*it)->hitTestWithRect(rect)) return hit;
    return nullptr;
}

void MarqenDOMNode::applyTransform(const CGAffineTransform &t) {
    for (const auto &child : children()) child->applyTransform(t);
}

void MarqenDOMNode::applyResizeTransform(const CGAffineTransform &t, CGSize) { applyTransform(t); }

void MarqenDOMNode::translate(CGPoint delta) {
    for (const auto &child : children())
        if (!child->hasSuperNode()) child->translate(delta);
}

void MarqenDOMNode::rotate(CGFloat angle, CGPoint p) {
    CGPoint o = contentBounds().origin;
    CGAffineTransform t = CGAffineTransformIdentity;
    t = CGAffineTransformTranslate(t, o.x, o.y);
    t = CGAffineTransformTranslate(t, p.x - o.x, p.y - o.y);
    t = CGAffineTransformRotate(t, angle);
    t = CGAffineTransformTranslate(t, -(p.x - o.x), -(p.y - o.y));
    t = CGAffineTransformTranslate(t, -o.x, -o.y);
    applyTransform(t);
}

void MarqenDOMNode::scale(CGSize factors, CGPoint p) {
    CGFloat sx = factors.width, sy = factors.height;
    if (isAspectLocked()) {
        CGFloat uniform = sx != 0 ? sx : (sy != 0 ? sy : 1);
        sx = sy = uniform;
    }
    CGPoint o = contentBounds().origin;
    CGAffineTransform t = CGAffineTransformIdentity;
    t = CGAffineTransformTranslate(t, o.x, o.y);
    t = CGAffineTransformTranslate(t, p.x - o.x, p.y - o.y);
    t = CGAffineTransformScale(t, sx, sy);
    t = CGAffineTransformTranslate(t, -(p.x - o.x), -(p.y - o.y));
    t = CGAffineTransformTranslate(t, -o.x, -o.y);
    applyTransform(t);
}

CGFloat MarqenDOMNode::applyContentScaleFactor(CGFloat value) const {
    auto document = this->document();
    if (!document) return value;
    CGFloat factor = document->contentScaleFactor();
    if (std::isnan(factor) || factor == 0) factor = 1;
    return value * factor;
}

CGFloat MarqenDOMNode::toolSizeAbsolute() const { throw MarqenGenericException(MarqenAbstractMethodReason(className())); }
void MarqenDOMNode::setToolSizeAbsolute(CGFloat) { throw MarqenGenericException(MarqenAbstractMethodReason(className())); }

CGFloat MarqenDOMNode::convertToolSizeRelativeToToolSizeAbsolute(CGFloat, CGFloat, CGFloat) const {
    throw MarqenGenericException(MarqenAbstractMethodReason(className()));
}

CGFloat MarqenDOMNode::convertToolSizeAbsoluteToToolSizeRelative(CGFloat, CGFloat, CGFloat) const {
    throw MarqenGenericException(MarqenAbstractMethodReason(className()));
}

namespace {
CGFloat documentContentScaleFactor(const MarqenDOMNode &node) {
    auto document = node.document();
    return document ? document->contentScaleFactor() : 1.0;
}
}  // namespace

CGFloat MarqenDOMNode::toolSizeRelative() const {
    return convertToolSizeAbsoluteToToolSizeRelative(toolSizeAbsolute(), absoluteToolSizeScale(),
                                                     documentContentScaleFactor(*this));
}

void MarqenDOMNode::setToolSizeRelative(CGFloat relative) {
    setToolSizeAbsolute(
        convertToolSizeRelativeToToolSizeAbsolute(relative, absoluteToolSizeScale(), documentContentScaleFactor(*this)));
}

bool MarqenDOMNode::prepareForSaveSynchronous(MarqenError *error) {
    for (const auto &child : children())
        if (!child->prepareForSaveSynchronous(error)) return false;
    return true;
}

void MarqenDOMNode::postChildrenDidChange(MarqenChildrenChangeKind kind, std::vector<size_t> indexes,
                                          std::vector<MarqenDOMNodePtr> oldNodes,
                                          std::vector<MarqenDOMNodePtr> newNodes) const {
    NotificationCenter &center = MarqenDOMKeyValueObservationCenter();
    if (!center.hasObservers(MarqenDOMNodeChildrenDidChange, this)) return;
    center.post(MarqenDOMNodeChildrenDidChange, this,
                {{MarqenDOMNodeUserInfoChangeKey,
                  MarqenChildrenChange{kind, std::move(indexes), std::move(oldNodes), std::move(newNodes)}}});
}

CGRect MarqenDOMNode::boundsBeforeChange() const {
    // Computing bounds walks the subtree: skip it when nobody listens for the change record.
    if (!NotificationCenter::defaultCenter().hasObservers(MarqenDOMNodeContentBoundsDidChange, this)) return CGRectNull;
    return contentBounds();
}

void MarqenDOMNode::postWillChange() const {
    MARQEN_ASSERT_MAIN_THREAD();  // every change of the model starts here
    post(MarqenDOMNodeWillChange, this);
}
void MarqenDOMNode::postDidChange() const { post(MarqenDOMNodeDidChange, this); }
void MarqenDOMNode::postNeedsDisplay() const { post(MarqenDOMNodeNeedsDisplay, this); }

void MarqenDOMNode::postContentBoundsDidChange(const CGRect &oldBounds) const {
    if (!NotificationCenter::defaultCenter().hasObservers(MarqenDOMNodeContentBoundsDidChange, this)) return;
    post(MarqenDOMNodeContentBoundsDidChange, this,
         {{MarqenKeyValueChangeOldKey, oldBounds}, {MarqenKeyValueChangeNewKey, contentBounds()}});
}

void MarqenDOMNode::markDocumentNeedsSave() const {
    if (auto document = this->document()) document->setNeedsSave(true);
}

UndoManager *MarqenDOMNode::undoManager() const {
    auto document = this->document();
    return document ? document->undoManager() : nullptr;
}

void MarqenDOMNode::registerUndoAction(std::function<void(MarqenDOMNode &)> action) const {
    UndoManager *undo = undoManager();
    if (!undo) return;
    // The target is held weakly, as the undo manager does not keep its targets alive.
    std::weak_ptr<const MarqenDOMNode> weakSelf = weak_from_this();
    undo->registerUndo(this, [weakSelf, action = std::move(action)] {
        if (auto self = std::const_pointer_cast<MarqenDOMNode>(weakSelf.lock())) action(*self);
    });
}

NotificationCenter &MarqenDOMKeyValueObservationCenter() {
    static NotificationCenter center;
    return center;
}

CGFloat MarqenDOMNodeNormalizeValue(CGFloat value, CGFloat min, CGFloat max) {
    if (value >= max) return max;
    if (value <= min) return min;
    return (value - min) / (max - min);
}

CGFloat MarqenDOMNodeDenormalizeValue(CGFloat value, CGFloat min, CGFloat max) {
    if (value > 1) return max;
    if (value < 0) return min;
    return min + (max - min) * value;
}

}  // namespace marqen
