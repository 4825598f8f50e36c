#pragma once
// Scripts of input events for the composition view, as `marqen replay` and the event fuzzer feed them:
// {"events": [{"op": "press", "at": [x, y]}, ...]}. Reading checks every event before any is played and
// names the first bad event (counted from 0) and field. Playing turns each event into the controller's
// input; coordinates are page units at the current zoom unless the event says "view": true.
// Main thread (the player drives the model).
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/error.h"
#include "foundation/json.h"

namespace marqen {

class MarqenCompositionView;
class MarqenToolsModel;
class MarqenPreferences;
class MarqenPropertiesModel;

inline constexpr const char *kMarqenEventScriptErrorDomain = "MarqenEventScriptErrorDomain";
// Longer scripts are refused when read.
inline constexpr size_t kMarqenEventScriptMaximumEvents = 1000000;

class MarqenEventScript {
public:
    // The checked events, or none with the reason ("event 3 (press): field \"at\": ...").
    static std::optional<MarqenEventScript> fromJSONText(const std::string &text, MarqenError *error = nullptr);
    static std::optional<MarqenEventScript> fromJSON(const MarqenJSON &script, MarqenError *error = nullptr);

    const std::vector<MarqenJSON> &events() const { return events_; }
    // The highest "page" number the script asks for (0 when it switches no page), and its event.
    size_t highestPage() const { return highestPage_; }
    size_t highestPageEvent() const { return highestPageEvent_; }

private:
    std::vector<MarqenJSON> events_;
    size_t highestPage_ = 0, highestPageEvent_ = 0;
};

class MarqenEventScriptPlayer {
public:
    // Relative "file" paths of dropped images are taken from baseDirectory.
    MarqenEventScriptPlayer(MarqenCompositionView &view, MarqenToolsModel &tools, MarqenPreferences &preferences,
                            MarqenPropertiesModel &properties, std::filesystem::path baseDirectory);

    // Plays one checked event. False, with what was refused in *problem, when the controller declined it
    // (a crop too small, a paste of nothing, a file that is not an image): the script goes on.
    bool play(const MarqenJSON &event, std::string *problem = nullptr);
    // One line of the trace: {"event", "op", "selection", "undoActionName", "nodes"}.
    MarqenJSON traceLine(size_t index, const MarqenJSON &event) const;
    // Ends a text edit and a gesture left running, and waits for background work (fitting, loading).
    void finish();

private:
    MarqenCompositionView &view_;
    MarqenToolsModel &tools_;
    MarqenPreferences &preferences_;
    MarqenPropertiesModel &properties_;
    std::filesystem::path baseDirectory_;
    std::string clipboard_;
    double clock_ = 0;
};

}  // namespace marqen
