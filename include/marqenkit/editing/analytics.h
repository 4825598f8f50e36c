#pragma once
// MarqenAnalytics: usage events go to the host as one notification,
// "MarqenAnalyticsInterestingEventDidOccur", whose user info holds the category, the action and the
// label as std::string values under "category", "action" and "label". The library records nothing
// itself; a host that wants the events observes the notification on the default centre.
// Posted synchronously on the calling thread (the model's events come from the main thread).
#include <string>

#include "../export.h"

namespace marqen {

inline constexpr const char *kMarqenAnalyticsInterestingEventDidOccur = "MarqenAnalyticsInterestingEventDidOccur";
inline constexpr const char *kMarqenAnalyticsCategoryKey = "category";
inline constexpr const char *kMarqenAnalyticsActionKey = "action";
inline constexpr const char *kMarqenAnalyticsLabelKey = "label";

class MARQEN_EXPORT MarqenAnalytics {
public:
    // Posts the event with `sender` as the notification's object (may be null).
    static void postInterestingEvent(const std::string &category, const std::string &action,
                                     const std::string &label, const void *sender = nullptr);
};

}  // namespace marqen
