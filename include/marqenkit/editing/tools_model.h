#pragma once
// Which drawing tool is current and which tools the tool bar shows. The main bar shows one
// representative per tool group; a group with several members can open a secondary bar. Host flags switch
// the optional tools on. Changes of `currentTool`, `mainTools` and `secondaryTools` are announced
// asynchronously on the main queue (object: the model); announcements still queued when the model is
// destroyed are dropped. Main thread only.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "../foundation/json.h"
#include "tool.h"

namespace marqen {

inline constexpr const char *kMarqenToolsModelCurrentToolDidChangeNotification =
    "MarqenToolsModelCurrentToolDidChangeNotification";
inline constexpr const char *kMarqenToolsModelMainToolsDidChangeNotification =
    "MarqenToolsModelMainToolsDidChangeNotification";
inline constexpr const char *kMarqenToolsModelSecondaryToolsDidChangeNotification =
    "MarqenToolsModelSecondaryToolsDidChangeNotification";

using MarqenToolGroup = std::vector<MarqenTool>;

class MARQEN_EXPORT MarqenToolsModel {
public:
    MarqenToolsModel();  // collapsed, arrow current, every optional tool off
    // Restores an archive written by encodeWithCoder; values missing or of the wrong kind keep their
    // defaults.
    explicit MarqenToolsModel(const MarqenJSON &archive);
    ~MarqenToolsModel();
    MarqenToolsModel(const MarqenToolsModel &) = delete;
    MarqenToolsModel &operator=(const MarqenToolsModel &) = delete;

    MarqenJSON encodeWithCoder() const;

    // The nine tool groups, built once for the process.
    static const std::vector<MarqenToolGroup> &allTools();
    // allTools filtered by the allow flags, empty groups left out.
    std::vector<MarqenToolGroup> allValidTools() const;

    bool allowPanTool() const { return allowPanTool_; }
    bool allowEmoticonTools() const { return allowEmoticonTools_; }
    bool allowPixelateTool() const { return allowPixelateTool_; }
    bool allowCropAndResizeTools() const { return allowCropAndResizeTools_; }
    void setAllowPanTool(bool allow);               // stores only
    void setAllowEmoticonTools(bool allow);         // rebuilds an expanded main bar
    void setAllowPixelateTool(bool allow);          // rebuilds an expanded main bar
    void setAllowCropAndResizeTools(bool allow);    // stores only

    const MarqenTool &currentTool() const { return currentTool_; }
    const std::optional<MarqenTool> &previousTool() const { return previousTool_; }
    const MarqenTool &previousNonPixelateNonCropNonResizeTool() const { return previousNonPixelateNonCropNonResizeTool_; }
    const std::optional<std::vector<MarqenTool>> &mainTools() const { return mainTools_; }
    const std::optional<std::vector<MarqenTool>> &collapsedMainTools() const { return collapsedMainTools_; }
    const std::optional<std::vector<MarqenTool>> &secondaryTools() const { return secondaryTools_; }
    bool isCurrentToolCropOrResize() const;

    void expandMainTools();
    void collapseMainTools();
    void expandSecondaryToolsFromTool(const MarqenTool &tool);
    void collapseSecondaryTools();
    void chooseTool(const MarqenTool &tool);
    void exitPixelateOrCropOrResize();
    // Keeps the old current tool as previousTool.
    void setCurrentTool(const MarqenTool &tool);

    // The usage-event name of the current tool ("arrow", "stamp_x", …).
    std::string analyticsEventToolName() const;
    // Category "canvas", actions "tool_changed" and "object_create", the tool's name as label; the
    // composition view is the event's sender.
    void postToolDidChangeAnalyticsEventForCompositionView(const void *compositionView) const;
    void postToolDidCreateObjectAnalyticsEventForCompositionView(const void *compositionView) const;

private:
    void setMainTools(std::optional<std::vector<MarqenTool>> tools);
    void setSecondaryTools(std::optional<std::vector<MarqenTool>> tools);
    void announce(const char *name);
    void rebuildExpandedMainTools();

    bool allowPanTool_ = false, allowEmoticonTools_ = false, allowPixelateTool_ = false,
         allowCropAndResizeTools_ = false;
    MarqenTool currentTool_{MarqenToolIDArrow};
    std::optional<MarqenTool> previousTool_;
    MarqenTool previousNonPixelateNonCropNonResizeTool_{MarqenToolIDArrow};
    std::optional<std::vector<MarqenTool>> mainTools_, collapsedMainTools_, secondaryTools_;
    // Queued announcements hold a weak reference to this, so that none fires after destruction.
    std::shared_ptr<const MarqenToolsModel *> self_;
};

}  // namespace marqen
