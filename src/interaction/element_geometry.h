#pragma once
// One value for the editable geometry of any element kind, so that gestures can save a shape, put it
// back, and register the change with undo the same way for every kind. Main thread (nodes are the model's).
#include <any>

#include "dom/arrow.h"
#include "dom/bitmap.h"
#include "dom/element.h"
#include "foundation/geometry.h"

namespace marqen {

// Bitmaps keep their geometry in the frame, the crop and the transform (a rotation being dragged).
struct MarqenBitmapGeometry {
    CGRect frame;
    CGRect cropRect;
    CGAffineTransform transform;
};

// An element with a label keeps the label's geometry with its own: restoring the element may place its
// label by the page's current size, so the label's saved place is put back after it.
struct MarqenLabelledGeometry {
    std::any owner;
    std::weak_ptr<MarqenDOMElement> label;
    std::any labelGeometry;
};

inline std::any MarqenElementGeometry(const MarqenDOMElement &element) {
    if (auto *bitmap = dynamic_cast<const MarqenDOMBitmap *>(&element))
        return MarqenBitmapGeometry{bitmap->frame(), bitmap->cropRect(), bitmap->transform()};
    std::any own = element.elementGeometry();
    auto label = std::dynamic_pointer_cast<MarqenDOMElement>(const_cast<MarqenDOMElement &>(element).labelNode());
    if (!own.has_value() || !label) return own;
    return MarqenLabelledGeometry{own, label, label->elementGeometry()};
}

// An arrow refuses to get shorter than its minimum one end at a time, which would bend a moved or restored
// arrow; moving it whole and putting back a saved shape never shorten it, so the check stays out of the way.
template <typename Change>
void MarqenWithoutArrowMinimum(MarqenDOMElement &element, Change change) {
    auto *arrow = dynamic_cast<MarqenDOMArrow *>(&element);
    bool previous = arrow && arrow->ignoreMinimumConstraints();
    if (arrow) arrow->setIgnoreMinimumConstraints(true);
    change();
    if (arrow) arrow->setIgnoreMinimumConstraints(previous);
}

inline void MarqenRestoreElementGeometry(MarqenDOMElement &element, const std::any &geometry) {
    if (auto *bitmap = dynamic_cast<MarqenDOMBitmap *>(&element)) {
        if (const auto *saved = std::any_cast<MarqenBitmapGeometry>(&geometry)) {
            bitmap->setCropRect(saved->cropRect);
            bitmap->setFrame(saved->frame);
            bitmap->setTransform(saved->transform);
        }
        return;
    }
    if (const auto *labelled = std::any_cast<MarqenLabelledGeometry>(&geometry)) {
        element.setElementGeometry(labelled->owner);
        if (auto label = labelled->label.lock(); label && labelled->labelGeometry.has_value())
            label->setElementGeometry(labelled->labelGeometry);
        return;
    }
    MarqenWithoutArrowMinimum(element, [&] { element.setElementGeometry(geometry); });
}

inline void MarqenTranslateElement(MarqenDOMElement &element, CGPoint delta) {
    MarqenWithoutArrowMinimum(element, [&] { element.translate(delta); });
}

}  // namespace marqen
