#pragma once
// The common base of the properties that the property bar offers: children to choose from, expansion
// with its notifications, and the remembered values as a JSON archive. Main thread only.
#include <memory>
#include <vector>

#include "../export.h"
#include "../foundation/json.h"
#include "properties_composition_view.h"

namespace marqen {

inline constexpr const char *kMarqenPropertyWillExpandNotification = "MarqenPropertyWillExpandNotification";
inline constexpr const char *kMarqenPropertyDidExpandNotification = "MarqenPropertyDidExpandNotification";
inline constexpr const char *kMarqenPropertyWillCollapseNotification = "MarqenPropertyWillCollapseNotification";
inline constexpr const char *kMarqenPropertyDidCollapseNotification = "MarqenPropertyDidCollapseNotification";

// One choice of an expanded property.
struct MARQEN_EXPORT MarqenPropertyChild {
    virtual ~MarqenPropertyChild() = default;
};

class MARQEN_EXPORT MarqenProperty {
public:
    // The view is not owned and must outlive the property.
    explicit MarqenProperty(MarqenPropertiesCompositionView *compositionView) : compositionView_(compositionView) {}
    virtual ~MarqenProperty() = default;
    MarqenProperty(const MarqenProperty &) = delete;
    MarqenProperty &operator=(const MarqenProperty &) = delete;

    MarqenPropertiesCompositionView *compositionView() const { return compositionView_; }
    virtual std::vector<std::shared_ptr<const MarqenPropertyChild>> propertyChildren() const { return {}; }
    bool isExpandable() const { return !propertyChildren().empty(); }
    bool isExpanded() const { return expanded_; }

    // Each posts its will and did notifications (object: the property) when the state changes.
    void expandProperty();
    void collapseProperty();
    void togglePropertyExpansion();
    // Refreshes the value shown from the view's selection.
    virtual void selectedElementsDidChange() {}

    // The remembered values; restoring applies them to the view at once. Unknown or mistyped keys are
    // skipped.
    virtual MarqenJSON persistentPropertyInfo() const { return MarqenJSON::object(); }
    virtual void setPersistentPropertyInfo(const MarqenJSON &) {}

    // Stops observing; the properties model calls it from its own teardown.
    virtual void prepareForDealloc() {}

protected:
    MarqenPropertiesCompositionView *compositionView_;

private:
    bool expanded_ = false;
};

}  // namespace marqen
