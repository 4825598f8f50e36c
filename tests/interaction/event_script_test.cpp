#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "dom/document.h"
#include "dom/layer.h"
#include "dom/rectangle.h"
#include "editing/composition.h"
#include "editing/properties_model.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "interaction/composition_view.h"
#include "interaction/event_script.h"
#include "interaction/preferences.h"

using namespace marqen;

namespace {

// The reason a script is refused, or "" when it is read.
std::string refusal(const std::string &text) {
    MarqenError error;
    auto script = MarqenEventScript::fromJSONText(text, &error);
    return script ? std::string() : error.description();
}

bool mentions(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

}  // namespace

TEST(EventScript, BadScriptsAreRefusedNamingTheEventAndTheField) {
    EXPECT_TRUE(mentions(refusal("{"), "not JSON"));
    EXPECT_TRUE(mentions(refusal("[]"), "\"events\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "undo"}, 3]})"), "event 1: not an object"));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "fly"}]})"), "event 0: field \"op\": unknown operation \"fly\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "undo"}, {"op": "press"}]})"), "event 1 (press): field \"at\": missing"));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "press", "at": [1]}]})"), "event 0 (press): field \"at\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "press", "at": [1, "2"]}]})"), "field \"at\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "press", "at": [1, 2], "shift": 1}]})"), "field \"shift\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "press", "at": [1, 2], "pressure": 3}]})"), "field \"pressure\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "tool", "id": 13}]})"), "field \"id\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "tool", "id": 2.5}]})"), "expected a whole number"));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "drag", "from": [0, 0], "to": [1, 1], "steps": 0}]})"), "field \"steps\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "crop", "rect": {"x": 0, "y": 0, "width": 5}}]})"), "\"height\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "pref", "key": "colour", "value": true}]})"), "field \"key\""));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "undo", "count": 2}]})"), "field \"count\": not a field of undo"));
    EXPECT_TRUE(mentions(refusal(R"({"events": [{"op": "page", "number": 0}]})"), "field \"number\""));

    MarqenError error;
    auto script = MarqenEventScript::fromJSONText(
        R"({"events": [{"op": "page", "number": 3}, {"op": "page", "number": 7}, {"op": "zoom", "scale": 0},
                       {"op": "press", "at": [1e300, -1e300], "view": true}]})",
        &error);
    ASSERT_TRUE(script) << error.description();
    EXPECT_EQ(script->events().size(), 4u);
    EXPECT_EQ(script->highestPage(), 7u);
    EXPECT_EQ(script->highestPageEvent(), 1u);
}

namespace {

class EventScriptPlayerTest : public testing::Test {
protected:
    void SetUp() override {
        tools.setAllowPixelateTool(true);
        tools.setAllowCropAndResizeTools(true);
        composition->undoManager()->removeAllActions();
    }
    void TearDown() override {
        properties.prepareForDealloc();
        MainQueue::shared().drain();
    }
    // Plays a script and returns the trace lines.
    std::vector<MarqenJSON> play(const std::string &text, std::vector<std::string> *problems = nullptr) {
        MarqenError error;
        auto script = MarqenEventScript::fromJSONText(text, &error);
        EXPECT_TRUE(script) << error.description();
        std::vector<MarqenJSON> trace;
        if (!script) return trace;
        for (size_t index = 0; index < script->events().size(); ++index) {
            std::string problem;
            if (!player.play(script->events()[index], &problem) && problems) problems->push_back(problem);
            trace.push_back(player.traceLine(index, script->events()[index]));
        }
        player.finish();
        return trace;
    }
    std::shared_ptr<MarqenDOMDocument> page() const { return composition->documents()[0]; }

    std::shared_ptr<MarqenComposition> composition = MarqenComposition::initWithSize({800, 600}, 1);
    MarqenToolsModel tools;
    MarqenPreferences preferences{std::make_shared<MarqenMemoryPreferencesStore>()};
    MarqenCompositionView view{composition, &tools, &preferences};
    MarqenPropertiesModel properties{&view};
    MarqenEventScriptPlayer player{view, tools, preferences, properties, "."};
};

}  // namespace

TEST_F(EventScriptPlayerTest, EventsDriveTheControllerAndTheTraceFollowsIt) {
    auto trace = play(R"({"events": [
        {"op": "pref", "key": "preferenceExpandableCanvas", "value": false},
        {"op": "tool", "id": 3},
        {"op": "drag", "from": [100, 100], "to": [300, 250], "steps": 3},
        {"op": "color", "id": 3},
        {"op": "size", "id": 4},
        {"op": "key", "key": "Left", "shift": true},
        {"op": "copy"}, {"op": "paste"},
        {"op": "undo"},
        {"op": "zoom", "scale": 2},
        {"op": "click", "at": [200, 20], "view": true},
        {"op": "key", "key": "Escape"}
    ]})");
    ASSERT_EQ(trace.size(), 12u);
    EXPECT_EQ(trace[1], MarqenJSON::parse(R"({"event": 1, "op": "tool", "selection": [], "undoActionName": null, "nodes": 0})"));
    EXPECT_EQ(trace[2]["undoActionName"], "Add Rectangle");
    EXPECT_EQ(trace[2]["nodes"], 1);
    ASSERT_EQ(trace[2]["selection"].size(), 1u);
    std::string guid = trace[2]["selection"][0];
    EXPECT_EQ(trace[3]["undoActionName"], "Color Change");
    EXPECT_EQ(trace[4]["undoActionName"], "Size Change");
    EXPECT_EQ(trace[5]["undoActionName"], "Nudge");
    EXPECT_EQ(trace[7]["undoActionName"], "Paste");
    EXPECT_EQ(trace[7]["nodes"], 2);
    EXPECT_EQ(trace[8]["undoActionName"], "Nudge");
    EXPECT_EQ(trace[8]["nodes"], 1);
    // A click at view (200, 20) at zoom 2 is page (100, 10): a new rectangle of 200 view units there.
    EXPECT_EQ(trace[10]["nodes"], 2);
    EXPECT_EQ(trace[11]["selection"], MarqenJSON::array());

    auto rectangle = std::dynamic_pointer_cast<MarqenDOMRectangle>(page()->findNode(guid));
    ASSERT_TRUE(rectangle);
    EXPECT_EQ(rectangle->toolColor(), MarqenDOMColor(0, 0xE8, 0, 1));
    CGRect box = rectangle->bezierPath()->bounds();
    EXPECT_DOUBLE_EQ(box.origin.x, 90);  // nudged ten to the left
    EXPECT_DOUBLE_EQ(box.origin.y, 100);
    auto second = std::dynamic_pointer_cast<MarqenDOMRectangle>(page()->annotationLayer()->childAtIndex(1));
    ASSERT_TRUE(second);
    EXPECT_DOUBLE_EQ(second->bezierPath()->bounds().size.width, 100);
    EXPECT_TRUE(CGRectContainsPoint(CGRectInset(second->bezierPath()->bounds(), -1, -1), {100, 10}));
}

TEST_F(EventScriptPlayerTest, DeclinedEventsAreReportedAndTheScriptGoesOn) {
    std::vector<std::string> problems;
    auto trace = play(R"({"events": [
        {"op": "paste"},
        {"op": "crop", "rect": {"x": 0, "y": 0, "width": 5, "height": 5}},
        {"op": "dropImage", "file": "no-such-file.png", "at": [10, 10]},
        {"op": "zoom", "scale": 0},
        {"op": "page", "number": 2},
        {"op": "release", "at": [10, 10]},
        {"op": "move", "at": [1e300, 5]},
        {"op": "resize", "scale": 0.5}
    ]})", &problems);
    EXPECT_EQ(problems.size(), 5u);
    EXPECT_EQ(page()->frame(), CGRectMake(0, 0, 400, 300));
    EXPECT_EQ(trace.back()["undoActionName"], "Resize Canvas");
}

TEST_F(EventScriptPlayerTest, AHundredThousandEventsLeaveAValidPageAndAConsistentHistory) {
    // Mostly moves and keys, a drawing or a whole-page step now and then, coordinates sometimes absurd.
    std::mt19937 random(7);
    auto pick = [&](int n) { return int(random() % unsigned(n)); };
    auto coordinate = [&]() -> double { return pick(50) == 0 ? 1e12 : std::uniform_real_distribution<double>(-50, 850)(random); };
    MarqenJSON events = MarqenJSON::array();
    static const char *const keys[] = {"Left", "Up", "Delete", "Escape", "a", "Return"};
    while (events.size() < 100000) {
        // Drawings and edits are a few hundred; the rest are pointer moves, releases and keys.
        switch (pick(400)) {
            case 0: case 1: events.push_back({{"op", "tool"}, {"id", 1 + pick(10)}}); break;
            case 2: case 3: case 4: case 5:
                events.push_back({{"op", "drag"}, {"from", {coordinate(), coordinate()}}, {"to", {coordinate(), coordinate()}},
                                  {"steps", 1 + pick(12)}});
                break;
            case 6: case 7: events.push_back({{"op", "undo"}}); break;
            case 8: events.push_back({{"op", "redo"}}); break;
            case 9: case 10: case 11: case 12: events.push_back({{"op", "key"}, {"key", keys[pick(6)]}}); break;
            case 13: events.push_back({{"op", "copy"}}); break;
            case 14: events.push_back({{"op", "paste"}}); break;
            case 15: events.push_back({{"op", "zoom"}, {"scale", pick(3) == 0 ? 0.0 : 0.5 * (1 + pick(4))}}); break;
            case 16: events.push_back({{"op", "color"}, {"id", pick(9)}}); break;
            default:
                if (pick(4) == 0)
                    events.push_back({{"op", "release"}, {"at", {coordinate(), coordinate()}}});
                else
                    events.push_back({{"op", "move"}, {"at", {coordinate(), coordinate()}}});
                break;
        }
    }
    std::string start = page()->dictionaryRepresentation().dump();
    auto begin = std::chrono::steady_clock::now();
    play(MarqenJSON{{"events", events}}.dump());
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    RecordProperty("seconds", std::to_string(seconds));
    UndoManager &undo = *composition->undoManager();
    EXPECT_TRUE(undo.isUndoRegistrationEnabled());
    // The page still writes and reads back as it is.
    auto written = page()->dictionaryRepresentation();
    auto reread = MarqenDOMDocument::fromDictionary(written);
    ASSERT_TRUE(reread);
    EXPECT_TRUE(reread->dictionaryRepresentation().dump() == written.dump());
    while (undo.canRedo()) view.redo();
    std::string end = page()->dictionaryRepresentation().dump();
    while (undo.canUndo()) view.undo();
    EXPECT_TRUE(page()->dictionaryRepresentation().dump() == start);
    while (undo.canRedo()) view.redo();
    EXPECT_TRUE(page()->dictionaryRepresentation().dump() == end);
}
