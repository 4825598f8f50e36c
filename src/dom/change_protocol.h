#pragma once
// The one change protocol of the model's setters, in this order:
//   compare with the stored value and return if equal; post MarqenDOMNodeWillChange; store;
//   post MarqenDOMNodeDidChange; post the content-bounds change record (values the bounds depend on);
//   rebuild what derives from the value; register the inverse with the document's undo manager;
//   mark the document as needing save; post MarqenDOMNodeNeedsDisplay (tool colours).
// Setters that deviate from it on purpose say how through MarqenDOMChangeRules, so that every
// deviation is written at the setter itself.
// Main thread only, like every change of the model. Internal to the DOM.
#include <cmath>
#include <functional>
#include <type_traits>
#include <utility>

#include "dom/node.h"

namespace marqen {

struct MarqenDOMChangeRules {
    // False for the setters that store and notify even when the value is the same.
    bool comparesFirst = true;
    // The content bounds depend on the value: observers get the record with the old and new bounds.
    bool affectsContentBounds = false;
    bool registersUndo = true;
    bool marksNeedsSave = true;
    // The save mark comes before the undo registration instead of after it.
    bool marksNeedsSaveBeforeUndo = false;
    bool postsNeedsDisplay = false;
};

// Values compare equal when ==; a NaN stored over a NaN also counts as no change.
inline bool MarqenDOMSameValue(CGFloat a, CGFloat b) { return a == b || (std::isnan(a) && std::isnan(b)); }
inline bool MarqenDOMSameValue(CGPoint a, CGPoint b) {
    return MarqenDOMSameValue(a.x, b.x) && MarqenDOMSameValue(a.y, b.y);
}
template <typename Value>
bool MarqenDOMSameValue(const Value &a, const Value &b) {
    return a == b;
}

class MarqenDOMChangeProtocol {
public:
    struct NoRebuild {
        void operator()() const {}
    };

    // The protocol around store(); inverse (may be empty: nothing to undo) undoes the change.
    // The comparison is the caller's: this runs the rest.
    template <typename Store, typename Rebuild = NoRebuild>
    static void perform(const MarqenDOMNode &node, const MarqenDOMChangeRules &rules, Store &&store,
                        std::function<void(MarqenDOMNode &)> inverse, Rebuild &&rebuild = {}) {
        CGRect oldBounds = rules.affectsContentBounds ? node.boundsBeforeChange() : CGRectNull;
        node.postWillChange();
        store();
        node.postDidChange();
        if (rules.affectsContentBounds) node.postContentBoundsDidChange(oldBounds);
        rebuild();
        if (rules.marksNeedsSave && rules.marksNeedsSaveBeforeUndo) node.markDocumentNeedsSave();
        if (rules.registersUndo && inverse) node.registerUndoAction(std::move(inverse));
        if (rules.marksNeedsSave && !rules.marksNeedsSaveBeforeUndo) node.markDocumentNeedsSave();
        if (rules.postsNeedsDisplay) node.postNeedsDisplay();
    }

    // A setter of one stored value: compares, stores, and registers `setter` with the old value as
    // the inverse (called on the node as Owner, so an overriding setter is the one that undoes).
    // Returns false when the value was the same and nothing happened.
    template <typename Owner, typename Value, typename Argument, typename Rebuild = NoRebuild>
    static bool set(Owner &node, Value &stored, std::type_identity_t<Value> value, void (Owner::*setter)(Argument),
                    const MarqenDOMChangeRules &rules = {}, Rebuild &&rebuild = {}) {
        if (rules.comparesFirst && MarqenDOMSameValue(stored, value)) return false;
        // The old value is kept only for an undo step (a stroke's path can be large).
        std::function<void(MarqenDOMNode &)> inverse;
        if (rules.registersUndo)
            inverse = [old = stored, setter](MarqenDOMNode &target) { (static_cast<Owner &>(target).*setter)(old); };
        perform(node, rules, [&] { stored = std::move(value); }, std::move(inverse), std::forward<Rebuild>(rebuild));
        return true;
    }
};

}  // namespace marqen
