#pragma once
// A drawing tool: an immutable value of a tool identifier and, for the stamp tool, a stamp name.
// Plain value; safe to copy between threads.
#include <optional>
#include <string>

#include "../export.h"
#include "../foundation/json.h"

namespace marqen {

enum MarqenToolID : unsigned long {
    MarqenToolIDPan = 0,
    MarqenToolIDArrow = 1,
    MarqenToolIDText = 2,
    MarqenToolIDRectangle = 3,
    MarqenToolIDRoundedRectangle = 4,
    MarqenToolIDEllipse = 5,
    MarqenToolIDLine = 6,
    MarqenToolIDMarker = 7,
    MarqenToolIDHighlighter = 8,
    MarqenToolIDStamp = 9,
    MarqenToolIDPixelate = 10,
    MarqenToolIDCrop = 11,
    MarqenToolIDResize = 12,
};
inline constexpr unsigned long kMarqenToolIDCount = 13;

// "MarqenToolIDArrow" for 1 and so on; "MarqenToolIDUnknown" outside 0…12.
MARQEN_EXPORT std::string NSStringFromMarqenToolID(MarqenToolID toolID);

class MARQEN_EXPORT MarqenTool {
public:
    // The stamp tool without a name takes the first standard stamp name.
    explicit MarqenTool(MarqenToolID toolID);
    MarqenTool(MarqenToolID toolID, std::optional<std::string> stampName);

    MarqenToolID toolID() const { return toolID_; }
    const std::optional<std::string> &stampName() const { return stampName_; }

    // Keys "toolID" and "stampName" (the latter only when set).
    MarqenJSON encodeWithCoder() const;
    // Nothing for an archive without a known "toolID" (not a number, or outside 0…12).
    static std::optional<MarqenTool> initWithCoder(const MarqenJSON &archive);

    // "toolID=MarqenToolIDStamp, stampName=com.brondale.marqen.rejected".
    std::string description() const;

    // Tools are equal by identifier; stamp tools also by stamp name.
    bool operator==(const MarqenTool &other) const;

private:
    MarqenToolID toolID_;
    std::optional<std::string> stampName_;
};

}  // namespace marqen
