#include "editing/analytics_event.h"

#include "foundation/notification_center.h"

namespace marqen {

void postMarqenAnalyticsEvent(const void *sender, const std::string &category, const std::string &action,
                              const std::string &label) {
    NotificationCenter::defaultCenter().post(kMarqenAnalyticsInterestingEventDidOccur, sender,
                                             {{kMarqenAnalyticsCategoryKey, category},
                                              {kMarqenAnalyticsActionKey, action},
                                              {kMarqenAnalyticsLabelKey, label}});
}

}  // namespace marqen
