#pragma once
// Usage events go to the host as one notification, "MarqenAnalyticsInterestingEventDidOccur", with the
// category, action and label as strings in its user info. Main thread.
#include <string>

namespace marqen {

inline constexpr const char *kMarqenAnalyticsInterestingEventDidOccur = "MarqenAnalyticsInterestingEventDidOccur";
inline constexpr const char *kMarqenAnalyticsCategoryKey = "category";
inline constexpr const char *kMarqenAnalyticsActionKey = "action";
inline constexpr const char *kMarqenAnalyticsLabelKey = "label";

// Posts synchronously on the default notification centre with `sender` as the object.
void postMarqenAnalyticsEvent(const void *sender, const std::string &category, const std::string &action,
                              const std::string &label);

}  // namespace marqen
