// marqen replay: feed a script of input events to the editing controller over a file, and save the result.
#include <iostream>

#include "command.h"
#include "editing/composition.h"
#include "editing/properties_model.h"
#include "editing/tools_model.h"
#include "facade_export.h"
#include "foundation/string_helpers.h"
#include "foundation/undo_manager.h"
#include "interaction/composition_view.h"
#include "interaction/event_script.h"
#include "interaction/preferences.h"

namespace marqen::cli {
namespace {

namespace fs = std::filesystem;

int run(const std::vector<std::string> &args) {
    std::vector<std::string> values = kExportValueOptions, flags = kExportFlags;
    values.push_back("--script");
    flags.push_back("--trace");
    Arguments arguments(args, values, flags);
    const std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    const std::string scriptPath = arguments.requireValue("--script");
    const std::string output = arguments.requireValue("-o");

    // The whole script is checked before the file is opened, and so before anything is written.
    MarqenError error;
    auto script = MarqenEventScript::fromJSONText(readWholeFile(scriptPath), &error);
    if (!script) failure(scriptPath + ": " + error.description());
    auto document = openDocumentOrFail(path);
    auto composition = document->documentComposition();
    // Opening is not an edit: the history starts empty.
    if (composition->undoManager()) composition->undoManager()->removeAllActions();
    if (script->highestPage() > composition->documents().size())
        failure(scriptPath + ": event " + std::to_string(script->highestPageEvent()) + " (page): field \"number\": " +
                path + " has " + std::to_string(composition->documents().size()) + " page(s)");

    // Every tool is offered; the preferences live for this run only, never in the user's settings.
    MarqenToolsModel tools;
    tools.setAllowPanTool(true);
    tools.setAllowEmoticonTools(true);
    tools.setAllowPixelateTool(true);
    tools.setAllowCropAndResizeTools(true);
    MarqenPreferences preferences(std::make_shared<MarqenMemoryPreferencesStore>());
    MarqenCompositionView view(composition, &tools, &preferences);
    MarqenPropertiesModel properties(&view);
    MarqenEventScriptPlayer player(view, tools, preferences, properties, fs::path(scriptPath).parent_path());
    const bool trace = arguments.has("--trace");
    size_t refused = 0;
    for (size_t index = 0; index < script->events().size(); ++index) {
        const MarqenJSON &event = script->events()[index];
        std::string problem;
        if (!player.play(event, &problem)) {
            ++refused;
            std::cerr << "marqen: event " << index << " (" << event["op"].get<std::string>() << "): " << problem << '\n';
        }
        if (trace) std::cout << player.traceLine(index, event).dump() << '\n';
    }
    player.finish();
    properties.prepareForDealloc();

    if (marqen_asciiLowercase(fs::path(output).extension().string()) == ".json") {
        if (!composition->writeJSONToURL(output, &error)) failure(output + ": " + error.description());
        if (!trace) std::cout << "wrote " << output << " (document JSON)";
    } else {
        MarqenExportFormat format = exportDocument(*document, arguments);
        if (!trace) std::cout << "wrote " << output << " (" << format.formatTitle() << ")";
    }
    if (!trace)
        std::cout << ", " << script->events().size() << (script->events().size() == 1 ? " event" : " events") << " played, "
                  << refused << " refused\n";
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "replay",
    "feed a script of input events to the editor over a file and save the result",
    std::string("usage: marqen replay FILE --script EVENTS.json -o OUT [--trace] [export options]\n"
                "\n"
                "Opens FILE as 'marqen open' does, plays the events of EVENTS.json on the editing controller\n"
                "(no display needed), waits for background work and writes OUT as 'marqen export' does; an OUT\n"
                "ending in .json gets the document JSON instead.\n"
                "\n"
                "EVENTS.json is {\"events\": [...]}, played in order; points are page units at zoom 1 unless an\n"
                "event has \"view\": true:\n"
                "  {\"op\": \"tool\", \"id\": N, \"stampName\": S}      N: 0 pan … 12 resize\n"
                "  {\"op\": \"press\"|\"move\"|\"release\", \"at\": [x, y], \"shift\", \"alt\", \"ctrl\": b, \"pressure\": p}\n"
                "  {\"op\": \"drag\", \"from\": [x, y], \"to\": [x, y], \"steps\": N, \"shift\", \"alt\": b}\n"
                "  {\"op\": \"click\", \"at\": [x, y], \"count\": N, \"shift\": b}\n"
                "  {\"op\": \"key\", \"key\": \"Left\"|\"Delete\"|\"Escape\"|\"Return\"|\"a\"|…, \"shift\", \"ctrl\": b}\n"
                "  {\"op\": \"type\", \"text\": S}   {\"op\": \"copy\"|\"cut\"|\"paste\"|\"undo\"|\"redo\"|\"rotateCanvas\"}\n"
                "  {\"op\": \"color\"|\"size\"|\"textStyle\", \"id\": N}   {\"op\": \"zoom\", \"scale\": s}\n"
                "  {\"op\": \"page\", \"number\": n}   {\"op\": \"pref\", \"key\": K, \"value\": b}\n"
                "  {\"op\": \"dropImage\", \"file\": F, \"at\": [x, y]}   {\"op\": \"resize\", \"scale\": s}\n"
                "  {\"op\": \"crop\", \"rect\": {\"x\", \"y\", \"width\", \"height\"}}\n"
                "A script with a bad event is refused before anything is written, naming the event (from 0) and\n"
                "the field. Events the editor declines (a crop too small, a paste of nothing) are reported on\n"
                "standard error and the script goes on.\n"
                "\n"
                "  --script EVENTS.json the events\n"
                "  --trace              print one JSON line per event: {\"event\", \"op\", \"selection\",\n"
                "                       \"undoActionName\", \"nodes\"}\n") +
        kExportOptionsHelp + "\nExit status 1 when FILE cannot be opened, the script is refused or OUT cannot be written.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
