#pragma once
// The base of every DOM node: the tree, its change notifications, undo registration, needs-save
// marks, and the node-level JSON form.
//
// Threads: nodes live on the main thread. Create, change, read, render and release them there only;
// background work never holds a node (a weak reference may travel with it and is locked on the main
// thread, see foundation/queues.h), so a node is never destroyed, and never touches its undo
// manager, on another thread.
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "../foundation/error.h"
#include "../foundation/geometry.h"
#include "../foundation/json.h"
#include "../foundation/json_writer.h"

namespace marqen {

class MarqenDOMDocument;
class MarqenDOMNode;
class UndoManager;
struct MarqenDOMNodeClass;

using MarqenDOMNodePtr = std::shared_ptr<MarqenDOMNode>;

// What a change of a node's children list did, as carried by MarqenDOMNodeChildrenDidChange.
enum class MarqenChildrenChangeKind { Insertion, Removal, Replacement };
struct MARQEN_EXPORT MarqenChildrenChange {
    MarqenChildrenChangeKind kind;
    std::vector<size_t> indexes;              // ascending
    std::vector<MarqenDOMNodePtr> oldNodes;   // removed or replaced nodes
    std::vector<MarqenDOMNodePtr> newNodes;   // inserted or replacing nodes, in index order
};

class MARQEN_EXPORT MarqenDOMNode : public std::enable_shared_from_this<MarqenDOMNode> {
public:
    virtual ~MarqenDOMNode();
    MarqenDOMNode(const MarqenDOMNode &) = delete;
    MarqenDOMNode &operator=(const MarqenDOMNode &) = delete;

    // The class descriptor: name, JSON type path and factory.
    virtual const MarqenDOMNodeClass &nodeClass() const = 0;
    const std::string &className() const;
    // True when this node's class is the named class or derives from it.
    bool isKindOfClass(const std::string &name) const;
    // The written "type"; the base raises "Abstract method.".
    virtual std::string jsonType() const;
    virtual std::string jsonTypePath() const { return jsonType(); }

    // Builds a node of the class its dictionary names; nothing for an unknown type.
    static MarqenDOMNodePtr nodeWithDictionary(const MarqenJSON &dictionary);
    // Reads this node's keys (the node part, then each subclass's own keys).
    virtual void initWithDictionary(const MarqenJSON &dictionary);
    // The node's JSON form as a value: null for a node that writes nothing.
    MarqenJSON dictionaryRepresentation() const;
    // The same form written through a JSON writer, its children in place: false, and nothing written, for
    // a node that writes nothing.
    bool writeJSON(MarqenJSONWriter &writer) const;
    // False for a node with nothing to write (a shape of no size); its parent then leaves it out.
    virtual bool writesRepresentation() const { return true; }

    // A node of the same class with the same guid, metadata, adjustment flag and label guid.
    virtual MarqenDOMNodePtr copy() const;

    // Tree
    std::vector<MarqenDOMNodePtr> children() const { return children_; }  // a snapshot
    size_t childCount() const { return children_.size(); }
    MarqenDOMNodePtr childAtIndex(size_t index) const { return children_.at(index); }
    std::optional<size_t> indexOfChild(const MarqenDOMNode *child) const;
    MarqenDOMNodePtr parent() const { return parent_.lock(); }
    virtual std::shared_ptr<MarqenDOMDocument> document() const { return document_.lock(); }
    virtual void setDocument(const std::shared_ptr<MarqenDOMDocument> &document);
    virtual void addChild(const MarqenDOMNodePtr &child);
    virtual void addChild(const MarqenDOMNodePtr &child, const MarqenDOMNodePtr &insertBefore);
    virtual void removeChild(const MarqenDOMNodePtr &child);
    void removeFromParent();
    void arrangeChildren(const MarqenDOMNodePtr &first, const MarqenDOMNodePtr &second);
    bool isDescendantOf(const MarqenDOMNode *node) const;
    // Calls visitor with this node; when it returns true, visits the children in order, depth first.
    void acceptVisitor(const std::function<bool(MarqenDOMNode &)> &visitor);

    // The indexed accessors through which every change of the children list goes.
    void insertObjectInChildrenAtIndex(const MarqenDOMNodePtr &child, size_t index);
    void insertChildrenAtIndexes(const std::vector<MarqenDOMNodePtr> &nodes, const std::vector<size_t> &indexes);
    void addChildrenObject(const MarqenDOMNodePtr &child);
    void removeObjectFromChildrenAtIndex(size_t index);
    void removeChildrenAtIndexes(std::vector<size_t> indexes);
    void removeChildrenObject(const MarqenDOMNode *child);
    // Replaces the child at index with node (the old child's parent and document are not touched).
    void replaceObjectInChildrenAtIndex(size_t index, const MarqenDOMNodePtr &node);

    // Identity and state
    const std::string &guid() const { return guid_; }
    void setGuid(const std::string &guid);
    bool isActive() const { return active_; }
    virtual void setActive(bool active);
    bool isAdjustment() const { return adjustment_; }
    void setAdjustment(bool adjustment) { adjustment_ = adjustment; }

    const MarqenJSON &metadata() const { return metadata_; }
    virtual void setMetadata(const MarqenJSON &metadata);
    // An absent (null) value removes the key.
    void setMetadataObject(const MarqenJSON &value, const std::string &key);

    const CGAffineTransform &transform() const { return transform_; }
    virtual void setTransform(const CGAffineTransform &transform);

    // Labels
    MarqenDOMNodePtr labelNode();
    virtual void setLabelNode(const MarqenDOMNodePtr &label);
    const std::optional<std::string> &labelGUID() const { return labelGUID_; }
    void setLabelGUID(std::optional<std::string> guid) { labelGUID_ = std::move(guid); }
    virtual void positionLabelQuietly(bool quietly, bool initially);
    // Kinds with an origin (texts) override these; the quiet form registers no undo and posts nothing.
    virtual void setOrigin(CGPoint) {}
    virtual void setOriginQuietly(CGPoint) {}
    // A text that labels another node returns that node after breaking the link; nothing otherwise.
    virtual MarqenDOMNodePtr detachLabelConnection() { return nullptr; }

    // Geometry
    virtual CGRect contentBounds() const;
    virtual CGRect tightContentBounds() const;
    virtual MarqenDOMNodePtr hitTestWithPoint(CGPoint point);
    virtual MarqenDOMNodePtr hitTestWithPoint(CGPoint point, CGFloat minimumHitStrokeWidth);
    virtual MarqenDOMNodePtr hitTestWithRect(CGRect rect);
    virtual void applyTransform(const CGAffineTransform &t);
    // A resize of the whole document; bitmaps resample to the integral size, others just transform.
    virtual void applyResizeTransform(const CGAffineTransform &t, CGSize integralDocumentSize);
    virtual void translate(CGPoint delta);
    virtual void rotate(CGFloat angle, CGPoint aroundPoint);
    virtual void scale(CGSize factors, CGPoint aroundPoint);
    virtual bool isAspectLocked() const { return false; }
    virtual bool hasSuperNode() const { return false; }
    // value × the document's content scale factor (NaN or 0 counts as 1); unchanged without a document.
    CGFloat applyContentScaleFactor(CGFloat value) const;

    // Tool size: each element kind supplies its conversion; the base raises.
    virtual CGFloat toolSizeAbsolute() const;
    virtual void setToolSizeAbsolute(CGFloat size);
    virtual CGFloat absoluteToolSizeScale() const { return 1.0; }
    CGFloat toolSizeRelative() const;
    void setToolSizeRelative(CGFloat relative);
    virtual CGFloat convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat absoluteScale,
                                                              CGFloat contentScaleFactor) const;
    virtual CGFloat convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat absoluteScale,
                                                              CGFloat contentScaleFactor) const;

    // Bitmaps answer whether they carry an image profile (and so are stored lossy).
    virtual bool hasImageProfile() const { return false; }
    // Texts of documents written before version 1.2 convert themselves; nothing for other kinds.
    virtual void upgradeParagraphTextToRespectColorAndFont() {}

    // Asks each child in order and stops at the first that fails, whose reason goes to *error.
    virtual bool prepareForSaveSynchronous(MarqenError *error = nullptr);

    // Helpers for subclasses' change protocol.
    void postWillChange() const;
    void postDidChange() const;
    void postNeedsDisplay() const;
    void markDocumentNeedsSave() const;
    UndoManager *undoManager() const;
    // Registers an undo action targeting this node; the action runs only while the node is alive.
    template <typename Node>
    void registerUndo(std::function<void(Node &)> action) const;

protected:
    // The change protocol every setter runs (src/dom/change_protocol.h).
    friend class MarqenDOMChangeProtocol;
    MarqenDOMNode();
    // The members of the node's JSON form in their written order: the node's own ("type", "guid", "children",
    // "metadata", "transform", "labelGuid"), then each subclass's after its superclass's. The one definition
    // of the form, behind dictionaryRepresentation() and the document writers alike.
    virtual void writeMembers(MarqenJSONWriter &writer) const;
    // Copies this node's state into a fresh node of the same class (the chain behind copy()).
    virtual void copyStateTo(MarqenDOMNode &target) const;
    // Posts the content-bounds change record, with the bounds captured before the change.
    void postContentBoundsDidChange(const CGRect &oldBounds) const;
    // The change record of "children" for observers that mirror the tree (renderers).
    void postChildrenDidChange(MarqenChildrenChangeKind kind, std::vector<size_t> indexes,
                               std::vector<MarqenDOMNodePtr> oldNodes, std::vector<MarqenDOMNodePtr> newNodes) const;
    // The bounds to report as "old" in the change record (not computed when nobody observes it).
    CGRect boundsBeforeChange() const;
    void registerUndoAction(std::function<void(MarqenDOMNode &)> action) const;

private:
    void addChildAt(const MarqenDOMNodePtr &child, std::optional<size_t> index);
    void setParent(const MarqenDOMNodePtr &parent) { parent_ = parent; }

    MarqenDOMNodePtr labelNode_;
    bool adjustment_ = false;
    bool active_ = false;
    std::weak_ptr<MarqenDOMDocument> document_;
    std::vector<MarqenDOMNodePtr> children_;
    std::weak_ptr<MarqenDOMNode> parent_;
    MarqenJSON metadata_ = MarqenJSON::object();
    std::string guid_;
    std::optional<std::string> labelGUID_;
    CGAffineTransform transform_ = CGAffineTransformIdentity;
    // Kept so that destruction can unregister undo actions without a live document.
    std::weak_ptr<UndoManager> undoManagerAtLastAttach_;
};

template <typename Node>
void MarqenDOMNode::registerUndo(std::function<void(Node &)> action) const {
    registerUndoAction([action = std::move(action)](MarqenDOMNode &node) { action(static_cast<Node &>(node)); });
}

class NotificationCenter;
// The centre on which changes of observed keys ("children") are announced.
MARQEN_EXPORT NotificationCenter &MarqenDOMKeyValueObservationCenter();

// Maps a value in [min, max] to 0..1; out of range gives the bound itself.
MARQEN_EXPORT CGFloat MarqenDOMNodeNormalizeValue(CGFloat value, CGFloat min, CGFloat max);
MARQEN_EXPORT CGFloat MarqenDOMNodeDenormalizeValue(CGFloat value, CGFloat min, CGFloat max);

// Creates a node of class T with shared ownership in place from the first call.
template <typename T, typename... Args>
std::shared_ptr<T> MarqenMakeNode(Args &&...args) {
    struct Enabler : T {
        explicit Enabler(Args &&...a) : T(std::forward<Args>(a)...) {}
    };
    return std::make_shared<Enabler>(std::forward<Args>(args)...);
}

}  // namespace marqen
