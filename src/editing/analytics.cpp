#include "editing/analytics.h"

#include "foundation/notification_center.h"

namespace marqen {

void MarqenAnalytics::postInterestingEvent(const std::string &category, const std::string &action,
                                           const std::string &label, const void *sender) {
    NotificationCenter::defaultCenter().post(kMarqenAnalyticsInterestingEventDidOccur, sender,
                                             {{kMarqenAnalyticsCategoryKey, category},
                                              {kMarqenAnalyticsActionKey, action},
                                              {kMarqenAnalyticsLabelKey, label}});
}

}  // namespace marqen
