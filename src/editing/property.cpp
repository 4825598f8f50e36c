#include "editing/property.h"

#include "foundation/notification_center.h"

namespace marqen {

void MarqenProperty::expandProperty() {
    if (expanded_ || !isExpandable()) return;
    auto &center = NotificationCenter::defaultCenter();
    center.post(kMarqenPropertyWillExpandNotification, this);
    expanded_ = true;
    center.post(kMarqenPropertyDidExpandNotification, this);
}

void MarqenProperty::collapseProperty() {
    if (!expanded_) return;
    auto &center = NotificationCenter::defaultCenter();
    center.post(kMarqenPropertyWillCollapseNotification, this);
    expanded_ = false;
    center.post(kMarqenPropertyDidCollapseNotification, this);
}

void MarqenProperty::togglePropertyExpansion() {
    if (expanded_)
        collapseProperty();
    else
        expandProperty();
}

}  // namespace marqen
