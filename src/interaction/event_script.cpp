#include "interaction/event_script.h"

#include <cmath>
#include <map>
#include <set>

#include "dom/document.h"
#include "dom/layer.h"
#include "editing/composition.h"
#include "editing/properties_model.h"
#include "editing/property_color.h"
#include "editing/property_size.h"
#include "editing/property_text_style.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "interaction/composition_view.h"
#include "interaction/preferences.h"

namespace marqen {

namespace {

enum class FieldType { Boolean, Point, Integer, Number, String, Rect };

struct FieldRule {
    FieldType type;
    bool required = false;
    double minimum = -INFINITY, maximum = INFINITY;  // numbers and integers; string length for strings
};

using OpRules = std::map<std::string, FieldRule>;

const std::map<std::string, OpRules> &scriptRules() {
    static const std::map<std::string, OpRules> rules = [] {
        const FieldRule flag{FieldType::Boolean};
        const FieldRule pointRequired{FieldType::Point, true};
        OpRules pointer{{"at", pointRequired}, {"shift", flag}, {"alt", flag}, {"ctrl", flag}, {"view", flag},
                        {"pressure", {FieldType::Number, false, 0, 1}}};
        std::map<std::string, OpRules> table;
        table["tool"] = {{"id", {FieldType::Integer, true, 0, 12}}, {"stampName", {FieldType::String, false, 1, 256}}};
        table["press"] = table["move"] = table["release"] = pointer;
        table["drag"] = {{"from", pointRequired},
                         {"to", pointRequired},
                         {"steps", {FieldType::Integer, false, 1, 100000}},
                         {"shift", flag},
                         {"alt", flag},
                         {"ctrl", flag},
                         {"view", flag}};
        table["click"] = {{"at", pointRequired}, {"count", {FieldType::Integer, false, 1, 3}}, {"shift", flag},
                          {"alt", flag},         {"ctrl", flag},                                {"view", flag}};
        table["key"] = {{"key", {FieldType::String, true, 1, 64}}, {"shift", flag}, {"ctrl", flag}, {"alt", flag}};
        table["type"] = {{"text", {FieldType::String, true, 0, 1 << 20}}};
        for (const char *bare : {"copy", "cut", "paste", "undo", "redo", "rotateCanvas"}) table[bare] = {};
        table["color"] = {{"id", {FieldType::Integer, true, 0, 8}}};
        table["size"] = {{"id", {FieldType::Integer, true, 0, 4}}};
        table["textStyle"] = {{"id", {FieldType::Integer, true, 0, 2}}};
        table["zoom"] = {{"scale", {FieldType::Number, true}}};
        table["page"] = {{"number", {FieldType::Integer, true, 1, 1e9}}};
        table["pref"] = {{"key", {FieldType::String, true, 1, 256}}, {"value", {FieldType::Boolean, true}}};
        table["dropImage"] = {{"file", {FieldType::String, true, 1, 4096}}, {"at", pointRequired}, {"view", flag}};
        table["crop"] = {{"rect", {FieldType::Rect, true}}};
        table["resize"] = {{"scale", {FieldType::Number, true}}};
        return table;
    }();
    return rules;
}

bool isFiniteNumber(const MarqenJSON &value) { return value.is_number() && std::isfinite(value.get<double>()); }

// Why value does not fit the rule, or "" when it does.
std::string checkField(const MarqenJSON &value, const FieldRule &rule) {
    switch (rule.type) {
        case FieldType::Boolean: return value.is_boolean() ? "" : "expected true or false";
        case FieldType::Point:
            return value.is_array() && value.size() == 2 && isFiniteNumber(value[0]) && isFiniteNumber(value[1])
                       ? ""
                       : "expected [x, y], two finite numbers";
        case FieldType::Rect:
            if (!value.is_object()) return "expected {\"x\", \"y\", \"width\", \"height\"}";
            for (const char *key : {"x", "y", "width", "height"})
                if (!value.contains(key) || !isFiniteNumber(value[key]))
                    return std::string("expected a finite number for \"") + key + "\"";
            return "";
        case FieldType::Integer: {
            if (!isFiniteNumber(value) || value.get<double>() != std::floor(value.get<double>()))
                return "expected a whole number";
            double number = value.get<double>();
            if (number < rule.minimum || number > rule.maximum)
                return "expected a whole number from " + std::to_string(long(rule.minimum)) + " to " +
                       std::to_string(long(rule.maximum));
            return "";
        }
        case FieldType::Number: {
            if (!isFiniteNumber(value)) return "expected a finite number";
            double number = value.get<double>();
            if (number < rule.minimum || number > rule.maximum) return "out of range";
            return "";
        }
        case FieldType::String: {
            if (!value.is_string()) return "expected a string";
            size_t length = value.get_ref<const std::string &>().size();
            if (double(length) < rule.minimum || double(length) > rule.maximum) return "has an unusable length";
            return "";
        }
    }
    return "";
}

std::string eventName(size_t index, const std::string &op) {
    return "event " + std::to_string(index) + (op.empty() ? "" : " (" + op + ")");
}

bool flag(const MarqenJSON &event, const char *key) {
    auto it = event.find(key);
    return it != event.end() && it->is_boolean() && it->get<bool>();
}

CGPoint pointOf(const MarqenJSON &value) { return {value[0].get<double>(), value[1].get<double>()}; }

MarqenModifierFlags modifiersOf(const MarqenJSON &event) {
    MarqenModifierFlags modifiers = 0;
    if (flag(event, "shift")) modifiers |= MarqenModifierShift;
    if (flag(event, "ctrl")) modifiers |= MarqenModifierControl;
    if (flag(event, "alt")) modifiers |= MarqenModifierAlt;
    return modifiers;
}

}  // namespace

std::optional<MarqenEventScript> MarqenEventScript::fromJSONText(const std::string &text, MarqenError *error) {
    std::string reason;
    auto script = marqen_parseJSON(text, &reason);
    if (!script) {
        marqenFail(error, kMarqenEventScriptErrorDomain, 1, "the script is not JSON: " + reason);
        return std::nullopt;
    }
    return fromJSON(*script, error);
}

std::optional<MarqenEventScript> MarqenEventScript::fromJSON(const MarqenJSON &script, MarqenError *error) {
    auto refuse = [&](const std::string &message) -> std::optional<MarqenEventScript> {
        marqenFail(error, kMarqenEventScriptErrorDomain, 2, message);
        return std::nullopt;
    };
    if (!script.is_object() || !script.contains("events") || !script["events"].is_array())
        return refuse("the script is not an object with an \"events\" list");
    const MarqenJSON &events = script["events"];
    if (events.size() > kMarqenEventScriptMaximumEvents)
        return refuse("the script has more than " + std::to_string(kMarqenEventScriptMaximumEvents) + " events");
    MarqenEventScript result;
    result.events_.reserve(events.size());
    for (size_t index = 0; index < events.size(); ++index) {
        const MarqenJSON &event = events[index];
        if (!event.is_object()) return refuse(eventName(index, "") + ": not an object");
        auto op = event.find("op");
        if (op == event.end() || !op->is_string()) return refuse(eventName(index, "") + ": field \"op\": expected a string");
        const std::string &name = op->get_ref<const std::string &>();
        auto rules = scriptRules().find(name);
        if (rules == scriptRules().end()) return refuse(eventName(index, "") + ": field \"op\": unknown operation \"" + name + "\"");
        for (const auto &[key, rule] : rules->second) {
            auto value = event.find(key);
            if (value == event.end()) {
                if (rule.required) return refuse(eventName(index, name) + ": field \"" + key + "\": missing");
                continue;
            }
            std::string problem = checkField(*value, rule);
            if (!problem.empty()) return refuse(eventName(index, name) + ": field \"" + key + "\": " + problem);
        }
        for (const auto &[key, value] : event.items())
            if (key != "op" && !rules->second.count(key))
                return refuse(eventName(index, name) + ": field \"" + key + "\": not a field of " + name);
        if (name == "pref") {
            static const std::set<std::string> keys = {kMarqenPreferenceArrowheadsAtBeginningOfShape,
                                                       kMarqenPreferenceExpandableCanvas,
                                                       kMarqenPreferenceTypingCreatesTextAnnotation};
            if (!keys.count(event["key"].get<std::string>()))
                return refuse(eventName(index, name) + ": field \"key\": not a preference of the view");
        }
        if (name == "page" && event["number"].get<double>() > double(result.highestPage_)) {
            result.highestPage_ = size_t(event["number"].get<double>());
            result.highestPageEvent_ = index;
        }
        result.events_.push_back(event);
    }
    return result;
}

MarqenEventScriptPlayer::MarqenEventScriptPlayer(MarqenCompositionView &view, MarqenToolsModel &tools,
                                                 MarqenPreferences &preferences, MarqenPropertiesModel &properties,
                                                 std::filesystem::path baseDirectory)
    : view_(view), tools_(tools), preferences_(preferences), properties_(properties),
      baseDirectory_(std::move(baseDirectory)) {}

bool MarqenEventScriptPlayer::play(const MarqenJSON &event, std::string *problem) {
    const std::string op = event["op"].get<std::string>();
    auto refused = [&](const std::string &why) {
        if (problem) *problem = why;
        return false;
    };
    // Points are page units at the current zoom and pan, or view pixels with "view": true.
    auto viewPoint = [&](const MarqenJSON &value) {
        CGPoint point = pointOf(value);
        MarqenDocumentView *page = view_.marqenDocumentView();
        return flag(event, "view") || !page ? point : page->viewPointForModelPoint(point);
    };
    auto pointer = [&](CGPoint location, unsigned clicks = 1) {
        MarqenPointerEvent pointerEvent;
        pointerEvent.location = location;
        pointerEvent.modifiers = modifiersOf(event);
        pointerEvent.clickCount = clicks;
        if (event.contains("pressure")) pointerEvent.pressure = event["pressure"].get<double>();
        clock_ += 1.0 / 240;  // events arrive as from a 240 Hz pointer
        pointerEvent.timestamp = clock_;
        return pointerEvent;
    };
    MarqenError error;
    if (op == "tool") {
        auto id = static_cast<MarqenToolID>(event["id"].get<long>());
        MarqenTool tool = event.contains("stampName") ? MarqenTool(id, event["stampName"].get<std::string>()) : MarqenTool(id);
        tools_.chooseTool(tool);
        MainQueue::shared().drain();  // the tools model announces its change on the main queue
        if (!(tools_.currentTool() == tool)) return refused("the tool is not offered");
    } else if (op == "press") {
        view_.pointerPressed(pointer(viewPoint(event["at"])));
    } else if (op == "move") {
        view_.pointerMoved(pointer(viewPoint(event["at"])));
    } else if (op == "release") {
        view_.pointerReleased(pointer(viewPoint(event["at"])));
    } else if (op == "drag") {
        // Both ends are mapped before the press: the drag follows the page as it was when it began.
        CGPoint from = viewPoint(event["from"]), to = viewPoint(event["to"]);
        long steps = event.contains("steps") ? event["steps"].get<long>() : 8;
        view_.pointerPressed(pointer(from));
        for (long step = 1; step <= steps; ++step) {
            double t = double(step) / double(steps);
            view_.pointerMoved(pointer({from.x + (to.x - from.x) * t, from.y + (to.y - from.y) * t}));
        }
        view_.pointerReleased(pointer(to));
    } else if (op == "click") {
        unsigned count = event.contains("count") ? unsigned(event["count"].get<long>()) : 1;
        CGPoint at = viewPoint(event["at"]);
        view_.pointerPressed(pointer(at, count));
        view_.pointerReleased(pointer(at, count));
    } else if (op == "key") {
        if (!view_.keyPressed({event["key"].get<std::string>(), modifiersOf(event)})) return refused("the key did nothing");
    } else if (op == "type") {
        if (!view_.insertText(event["text"].get<std::string>())) return refused("nothing takes the text");
    } else if (op == "copy") {
        clipboard_ = view_.copySelection();
        if (clipboard_.empty()) return refused("nothing is selected");
    } else if (op == "cut") {
        clipboard_ = view_.cutSelection();
        if (clipboard_.empty()) return refused("nothing is selected");
    } else if (op == "paste") {
        if (!view_.paste(clipboard_, &error)) return refused(error.description());
    } else if (op == "undo") {
        view_.undo();
    } else if (op == "redo") {
        view_.redo();
    } else if (op == "color") {
        properties_.colorProperty().chooseColor(MarqenPropertyColor::colorForColorID(event["id"].get<unsigned long>()));
    } else if (op == "size") {
        properties_.sizeProperty().chooseSize(event["id"].get<unsigned long>());
    } else if (op == "textStyle") {
        properties_.textStyleProperty().chooseTextStyle(event["id"].get<unsigned long>());
    } else if (op == "zoom") {
        MarqenDocumentView *page = view_.marqenDocumentView();
        if (!page) return refused("no page is shown");
        CGFloat before = page->zoom();
        page->setZoom(event["scale"].get<double>());
        if (page->zoom() == before && event["scale"].get<double>() != before) return refused("the zoom is out of range");
    } else if (op == "page") {
        if (!view_.setCurrentPageIndex(size_t(event["number"].get<double>()) - 1)) return refused("there is no such page");
    } else if (op == "pref") {
        if (!preferences_.setBool(event["key"].get<std::string>(), event["value"].get<bool>(), &error))
            return refused(error.description());
    } else if (op == "dropImage") {
        std::filesystem::path file = event["file"].get<std::string>();
        if (file.is_relative()) file = baseDirectory_ / file;
        if (!view_.dropImageFile(file, viewPoint(event["at"]), &error)) return refused(error.description());
    } else if (op == "rotateCanvas") {
        if (!view_.rotateCanvas(true, &error)) return refused(error.description());
    } else if (op == "crop") {
        const MarqenJSON &rect = event["rect"];
        CGRect crop = CGRectMake(rect["x"].get<double>(), rect["y"].get<double>(), rect["width"].get<double>(),
                                 rect["height"].get<double>());
        if (!view_.cropToRect(crop, &error)) return refused(error.description());
    } else if (op == "resize") {
        if (!view_.resizeCanvas(event["scale"].get<double>(), &error)) return refused(error.description());
    }
    MainQueue::shared().drain();
    return true;
}

MarqenJSON MarqenEventScriptPlayer::traceLine(size_t index, const MarqenJSON &event) const {
    MarqenJSON selection = MarqenJSON::array();
    for (const auto &element : view_.selectedElements()) selection.push_back(element->guid());
    UndoManager *undo = view_.undoManager();
    MarqenJSON name = undo && undo->canUndo() && !undo->undoActionName().empty() ? MarqenJSON(undo->undoActionName())
                                                                                 : MarqenJSON(nullptr);
    size_t nodes = 0;
    if (auto document = view_.document())
        for (const auto &layer : {document->annotationLayer(), document->textLayer()})
            if (layer) nodes += layer->children().size();
    return MarqenJSON{{"event", index},
                      {"op", event["op"]},
                      {"selection", std::move(selection)},
                      {"undoActionName", std::move(name)},
                      {"nodes", nodes}};
}

void MarqenEventScriptPlayer::finish() {
    if (MarqenDocumentView *page = view_.marqenDocumentView()) {
        if (page->isEditingText()) page->endTextEditing();
        if (page->isGestureRunning()) page->keyPressed({"Escape"});
    }
    ThreadPool::shared().waitIdle();
    MainQueue::shared().drain();
    if (view_.composition())
        for (const auto &document : view_.composition()->documents()) document->waitForOperationsToFinish();
}

}  // namespace marqen
