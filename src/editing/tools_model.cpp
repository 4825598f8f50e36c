#include "editing/tools_model.h"

#include <algorithm>
#include <map>

#include "dom/stamp.h"
#include "editing/analytics_event.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"

namespace marqen {

namespace {

bool contains(const std::vector<MarqenTool> &tools, const MarqenTool &tool) {
    return std::find(tools.begin(), tools.end(), tool) != tools.end();
}

bool isPixelateCropOrResize(const MarqenTool &tool) {
    return tool.toolID() == MarqenToolIDPixelate || tool.toolID() == MarqenToolIDCrop ||
           tool.toolID() == MarqenToolIDResize;
}

bool isCropOrResize(const MarqenTool &tool) {
    return tool.toolID() == MarqenToolIDCrop || tool.toolID() == MarqenToolIDResize;
}

MarqenJSON encodeTools(const std::vector<MarqenTool> &tools) {
    MarqenJSON list = MarqenJSON::array();
    for (const auto &tool : tools) list.push_back(tool.encodeWithCoder());
    return list;
}

// A list with an unreadable entry is dropped whole: a bar with holes would misplace every later group.
std::optional<std::vector<MarqenTool>> decodeTools(const MarqenJSON &archive, const char *key) {
    const MarqenJSON *list = marqen_objectForKey(archive, key);
    if (!list || !list->is_array()) return std::nullopt;
    std::vector<MarqenTool> tools;
    for (const auto &entry : *list) {
        auto tool = MarqenTool::initWithCoder(entry);
        if (!tool) return std::nullopt;
        tools.push_back(*tool);
    }
    return tools;
}

std::optional<MarqenTool> decodeTool(const MarqenJSON &archive, const char *key) {
    const MarqenJSON *value = marqen_objectForKey(archive, key);
    return value ? MarqenTool::initWithCoder(*value) : std::nullopt;
}

}  // namespace

MarqenToolsModel::MarqenToolsModel() : self_(std::make_shared<const MarqenToolsModel *>(this)) {}

MarqenToolsModel::MarqenToolsModel(const MarqenJSON &archive) : MarqenToolsModel() {
    if (auto both = marqen_boolForKey(archive, "allowPixelateAndCropAndResizeTools")) {
        allowPixelateTool_ = *both;
        allowCropAndResizeTools_ = *both;
    }
    if (auto value = marqen_boolForKey(archive, "allowPanTool")) allowPanTool_ = *value;
    if (auto value = marqen_boolForKey(archive, "allowEmoticonTools")) allowEmoticonTools_ = *value;
    if (auto value = marqen_boolForKey(archive, "allowPixelateTool")) allowPixelateTool_ = *value;
    if (auto value = marqen_boolForKey(archive, "allowCropAndResizeTools")) allowCropAndResizeTools_ = *value;
    previousTool_ = decodeTool(archive, "previousTool");
    if (auto tool = decodeTool(archive, "currentTool")) currentTool_ = *tool;
    if (auto tool = decodeTool(archive, "previousNonPixelateNonCropNonResizeTool"))
        previousNonPixelateNonCropNonResizeTool_ = *tool;
    mainTools_ = decodeTools(archive, "mainTools");
    collapsedMainTools_ = decodeTools(archive, "collapsedMainTools");
}

MarqenToolsModel::~MarqenToolsModel() = default;

MarqenJSON MarqenToolsModel::encodeWithCoder() const {
    MarqenJSON archive = MarqenJSON::object();
    archive["allowPanTool"] = allowPanTool_;
    archive["allowEmoticonTools"] = allowEmoticonTools_;
    archive["allowPixelateTool"] = allowPixelateTool_;
    archive["allowCropAndResizeTools"] = allowCropAndResizeTools_;
    if (previousTool_) archive["previousTool"] = previousTool_->encodeWithCoder();
    archive["currentTool"] = currentTool_.encodeWithCoder();
    archive["previousNonPixelateNonCropNonResizeTool"] = previousNonPixelateNonCropNonResizeTool_.encodeWithCoder();
    if (mainTools_) archive["mainTools"] = encodeTools(*mainTools_);
    if (collapsedMainTools_) archive["collapsedMainTools"] = encodeTools(*collapsedMainTools_);
    return archive;
}

const std::vector<MarqenToolGroup> &MarqenToolsModel::allTools() {
    static const std::vector<MarqenToolGroup> groups = [] {
        std::vector<MarqenToolGroup> result;
        result.push_back({MarqenTool(MarqenToolIDPan)});
        result.push_back({MarqenTool(MarqenToolIDArrow)});
        result.push_back({MarqenTool(MarqenToolIDText)});
        result.push_back({MarqenTool(MarqenToolIDRectangle), MarqenTool(MarqenToolIDRoundedRectangle),
                          MarqenTool(MarqenToolIDEllipse), MarqenTool(MarqenToolIDLine)});
        result.push_back({MarqenTool(MarqenToolIDMarker), MarqenTool(MarqenToolIDHighlighter)});
        MarqenToolGroup standard, funny;
        for (const auto &name : MarqenDOMStamp::allStampNames()) standard.emplace_back(MarqenToolIDStamp, name);
        for (const auto &name : MarqenDOMStamp::allFunnyStampNames()) funny.emplace_back(MarqenToolIDStamp, name);
        result.push_back(std::move(standard));
        result.push_back(std::move(funny));
        result.push_back({MarqenTool(MarqenToolIDPixelate)});
        result.push_back({MarqenTool(MarqenToolIDCrop)});
        return result;
    }();
    return groups;
}

std::vector<MarqenToolGroup> MarqenToolsModel::allValidTools() const {
    const auto &standardStamps = MarqenDOMStamp::allStampNames();
    auto isValid = [&](const MarqenTool &tool) {
        switch (tool.toolID()) {
            case MarqenToolIDPan: return allowPanTool_;
            case MarqenToolIDStamp:
                return allowEmoticonTools_ ||
                       (tool.stampName() && std::find(standardStamps.begin(), standardStamps.end(),
                                                      *tool.stampName()) != standardStamps.end());
            case MarqenToolIDPixelate: return allowPixelateTool_;
            case MarqenToolIDCrop:
            case MarqenToolIDResize: return allowCropAndResizeTools_;
            default: return true;
        }
    };
    std::vector<MarqenToolGroup> valid;
    for (const auto &group : allTools()) {
        MarqenToolGroup kept;
        std::copy_if(group.begin(), group.end(), std::back_inserter(kept), isValid);
        if (!kept.empty()) valid.push_back(std::move(kept));
    }
    return valid;
}

void MarqenToolsModel::setAllowPanTool(bool allow) { allowPanTool_ = allow; }

void MarqenToolsModel::setAllowCropAndResizeTools(bool allow) { allowCropAndResizeTools_ = allow; }

void MarqenToolsModel::setAllowEmoticonTools(bool allow) {
    if (allow == allowEmoticonTools_) return;
    allowEmoticonTools_ = allow;
    rebuildExpandedMainTools();
}

void MarqenToolsModel::setAllowPixelateTool(bool allow) {
    if (allow == allowPixelateTool_) return;
    allowPixelateTool_ = allow;
    rebuildExpandedMainTools();
}

void MarqenToolsModel::rebuildExpandedMainTools() {
    if (!mainTools_) return;
    collapseMainTools();
    collapsedMainTools_.reset();
    expandMainTools();
}

bool MarqenToolsModel::isCurrentToolCropOrResize() const { return isCropOrResize(currentTool_); }

void MarqenToolsModel::expandMainTools() {
    if (mainTools_) return;
    if (collapsedMainTools_) {
        setMainTools(collapsedMainTools_);
        return;
    }
    std::vector<MarqenTool> representatives;
    for (const auto &group : allValidTools()) representatives.push_back(group.front());
    setMainTools(std::move(representatives));
}

void MarqenToolsModel::collapseMainTools() {
    collapseSecondaryTools();
    if (mainTools_) collapsedMainTools_ = mainTools_;
    setMainTools(std::nullopt);
}

void MarqenToolsModel::expandSecondaryToolsFromTool(const MarqenTool &tool) {
    if (!mainTools_) return;
    for (const auto &group : allValidTools()) {
        if (contains(group, tool)) {
            setSecondaryTools(group.size() >= 2 ? std::optional(group) : std::nullopt);
            return;
        }
    }
    setSecondaryTools(std::nullopt);
}

void MarqenToolsModel::collapseSecondaryTools() { setSecondaryTools(std::nullopt); }

void MarqenToolsModel::chooseTool(const MarqenTool &tool) {
    if (tool == currentTool_) return;
    if (mainTools_ && contains(*mainTools_, tool)) {
        if (!secondaryTools_ || !contains(*secondaryTools_, tool)) collapseSecondaryTools();
    } else {
        auto copy = mainTools_;
        if (copy) {
            bool placed = false;
            auto groups = allValidTools();
            for (size_t index = 0; index < groups.size(); ++index) {
                if (!contains(groups[index], tool)) continue;
                // A bar built under other allow flags can be shorter than the groups; its slots stay.
                if (index < copy->size()) (*copy)[index] = tool;
                placed = true;
                break;
            }
            if (!placed && allowCropAndResizeTools_ && isCropOrResize(tool) && !copy->empty() &&
                isCropOrResize(copy->back()))
                copy->back() = tool;
        }
        setMainTools(std::move(copy));
    }
    if (!allowPixelateTool_ && !allowCropAndResizeTools_) {
        setCurrentTool(tool);
        return;
    }
    if (!isPixelateCropOrResize(currentTool_)) previousNonPixelateNonCropNonResizeTool_ = currentTool_;
    if (!isCropOrResize(tool) && mainTools_ && !mainTools_->empty() && mainTools_->back().toolID() != MarqenToolIDCrop) {
        auto copy = *mainTools_;
        copy.back() = MarqenTool(MarqenToolIDCrop);
        setMainTools(std::move(copy));
    }
    setCurrentTool(tool);
}

void MarqenToolsModel::exitPixelateOrCropOrResize() {
    if (!allowPixelateTool_ && !allowCropAndResizeTools_) return;
    if (!isPixelateCropOrResize(currentTool_)) return;
    chooseTool(previousNonPixelateNonCropNonResizeTool_);
}

void MarqenToolsModel::setCurrentTool(const MarqenTool &tool) {
    previousTool_ = currentTool_;
    currentTool_ = tool;
    announce(kMarqenToolsModelCurrentToolDidChangeNotification);
}

void MarqenToolsModel::setMainTools(std::optional<std::vector<MarqenTool>> tools) {
    mainTools_ = std::move(tools);
    announce(kMarqenToolsModelMainToolsDidChangeNotification);
}

void MarqenToolsModel::setSecondaryTools(std::optional<std::vector<MarqenTool>> tools) {
    secondaryTools_ = std::move(tools);
    announce(kMarqenToolsModelSecondaryToolsDidChangeNotification);
}

// Every assignment is announced, as an observer of the property would see it, even when the value is
// the same: the tool bar simply refreshes.
void MarqenToolsModel::announce(const char *name) {
    std::weak_ptr<const MarqenToolsModel *> weakSelf = self_;
    std::string notification = name;
    MainQueue::shared().async([weakSelf, notification] {
        if (auto self = weakSelf.lock()) NotificationCenter::defaultCenter().post(notification, *self);
    });
}

std::string MarqenToolsModel::analyticsEventToolName() const {
    static const char *const names[kMarqenToolIDCount] = {
        "pan", "arrow", "text", "rect", "round_rect", "ellipse", "line", "marker", "highlighter", "", "pixel",
        "crop", "resize"};
    if (currentTool_.toolID() == MarqenToolIDStamp) {
        static const std::map<std::string, std::string> stamps{
            {"com.brondale.marqen.rejected", "stamp_x"},       {"com.brondale.marqen.exclaim", "stamp_bang"},
            {"com.brondale.marqen.question", "stamp_question"}, {"com.brondale.marqen.approved", "stamp_check"},
            {"com.brondale.marqen.perfect", "stamp_heart"},     {"com.brondale.marqen.angry", "stamp_angry"},
            {"com.brondale.marqen.cool", "stamp_cool"},         {"com.brondale.marqen.happy", "stamp_happy"},
            {"com.brondale.marqen.silly", "stamp_silly"},       {"com.brondale.marqen.surprise", "stamp_surprise"}};
        auto it = currentTool_.stampName() ? stamps.find(*currentTool_.stampName()) : stamps.end();
        return it == stamps.end() ? std::string("stamp") : it->second;
    }
    return currentTool_.toolID() < kMarqenToolIDCount ? names[currentTool_.toolID()] : "";
}

void MarqenToolsModel::postToolDidChangeAnalyticsEventForCompositionView(const void *compositionView) const {
    postMarqenAnalyticsEvent(compositionView, "canvas", "tool_changed", analyticsEventToolName());
}

void MarqenToolsModel::postToolDidCreateObjectAnalyticsEventForCompositionView(const void *compositionView) const {
    postMarqenAnalyticsEvent(compositionView, "canvas", "object_create", analyticsEventToolName());
}

}  // namespace marqen
