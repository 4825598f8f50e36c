#pragma once
// The model's shorthand for MarqenAnalytics, sender first. Main thread.
#include <string>

#include "editing/analytics.h"

namespace marqen {

inline void postMarqenAnalyticsEvent(const void *sender, const std::string &category, const std::string &action,
                                     const std::string &label) {
    MarqenAnalytics::postInterestingEvent(category, action, label, sender);
}

}  // namespace marqen
