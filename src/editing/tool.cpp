#include "editing/tool.h"

#include <cmath>

#include "dom/stamp.h"

namespace marqen {

std::string NSStringFromMarqenToolID(MarqenToolID toolID) {
    static const char *const names[kMarqenToolIDCount] = {
        "MarqenToolIDPan",       "MarqenToolIDArrow",       "MarqenToolIDText",   "MarqenToolIDRectangle",
        "MarqenToolIDRoundedRectangle", "MarqenToolIDEllipse", "MarqenToolIDLine", "MarqenToolIDMarker",
        "MarqenToolIDHighlighter", "MarqenToolIDStamp",     "MarqenToolIDPixelate", "MarqenToolIDCrop",
        "MarqenToolIDResize"};
    return toolID < kMarqenToolIDCount ? names[toolID] : "MarqenToolIDUnknown";
}

MarqenTool::MarqenTool(MarqenToolID toolID) : toolID_(toolID) {
    if (toolID == MarqenToolIDStamp) stampName_ = MarqenDOMStamp::allStampNames().front();
}

MarqenTool::MarqenTool(MarqenToolID toolID, std::optional<std::string> stampName)
    : toolID_(toolID), stampName_(std::move(stampName)) {}

MarqenJSON MarqenTool::encodeWithCoder() const {
    MarqenJSON archive = MarqenJSON::object();
    archive["toolID"] = static_cast<unsigned long>(toolID_);
    if (stampName_) archive["stampName"] = *stampName_;
    return archive;
}

std::optional<MarqenTool> MarqenTool::initWithCoder(const MarqenJSON &archive) {
    auto number = marqen_numberForKey(archive, "toolID");
    if (!number || !std::isfinite(*number) || *number < 0 || *number >= kMarqenToolIDCount ||
        std::floor(*number) != *number)
        return std::nullopt;
    return MarqenTool(static_cast<MarqenToolID>(static_cast<unsigned long>(*number)),
                      marqen_stringForKey(archive, "stampName"));
}

std::string MarqenTool::description() const {
    std::string text = "toolID=" + NSStringFromMarqenToolID(toolID_);
    if (stampName_) text += ", stampName=" + *stampName_;
    return text;
}

bool MarqenTool::operator==(const MarqenTool &other) const {
    if (toolID_ != other.toolID_) return false;
    return toolID_ != MarqenToolIDStamp || stampName_ == other.stampName_;
}

}  // namespace marqen
