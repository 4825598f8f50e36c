#pragma once
// Process-wide settings the host gives once, read by every document it creates or loads afterwards:
// the version stamped into a document's "creatorVersion" and the backing scale factor of the main
// screen (the default device scale). Safe to read and set from any thread; a document takes a copy when
// it is created.
#include <string>

#include "../export.h"
#include "../foundation/geometry.h"

namespace marqen {

struct MARQEN_EXPORT MarqenDOMDocumentSettings {
    std::string creatorVersion = "0.1.0";
    CGFloat mainScreenBackingScaleFactor = 1.0;

    // A copy of the settings in effect.
    static MarqenDOMDocumentSettings current();
    static void setCurrent(const MarqenDOMDocumentSettings &settings);
};

}  // namespace marqen
