// Random input for the editing controller: pointer, key, text, clipboard, zoom, page and whole-page
// events over a two-page composition with a small picture. After the sequence, undoing everything must
// give back the starting JSON of every page and redoing everything the JSON at the end; any fault or
// difference aborts. Input starting with '{' is read as a replay script instead, whose events are played
// when the script is accepted.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "dom/document.h"
#include "editing/composition.h"
#include "editing/properties_model.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "fuzz_budget.h"
#include "interaction/composition_view.h"
#include "interaction/event_script.h"
#include "interaction/preferences.h"

using namespace marqen;

namespace {

constexpr size_t kMaximumEvents = 200;

// Reads the input a byte at a time; zeros once it runs out.
struct Bytes {
    const uint8_t *data;
    size_t size, at = 0;
    uint8_t next() { return at < size ? data[at++] : 0; }
    bool done() const { return at >= size; }
    // Mostly on or near the page; now and then something no pointer gives.
    double coordinate() {
        uint8_t kind = next();
        if (kind == 255) return NAN;
        if (kind == 254) return 1e300;
        if (kind == 253) return -1e7;
        return (kind * 256 + next()) / 65535.0 * 600 - 100;
    }
};

std::string pagesJSON(const MarqenComposition &composition) {
    std::string all;
    for (const auto &page : composition.documents()) all += page->dictionaryRepresentation().dump();
    return all;
}

void settle(MarqenCompositionView &view) {
    if (auto *page = view.marqenDocumentView()) {
        if (page->isEditingText()) page->endTextEditing();
        if (page->isGestureRunning()) page->keyPressed({"Escape"});
    }
    ThreadPool::shared().waitIdle();
    MainQueue::shared().drain();
    for (const auto &document : view.composition()->documents()) document->waitForOperationsToFinish();
}

void playBytes(Bytes &bytes, MarqenCompositionView &view, MarqenToolsModel &tools, MarqenPreferences &preferences,
               MarqenPropertiesModel &properties) {
    static const char *const keys[] = {"Left", "Right",  "Up", "Down", "Delete", "BackSpace", "Escape",
                                       "Return", "a",   "z",  "Page_Down", "Page_Up", "Home", "x"};
    std::string clipboard;
    double clock = 0;
    for (size_t count = 0; count < kMaximumEvents && !bytes.done(); ++count) {
        uint8_t op = bytes.next();
        MarqenPointerEvent pointer;
        auto point = [&] {
            pointer.location = {bytes.coordinate(), bytes.coordinate()};
            uint8_t flags = bytes.next();
            pointer.modifiers = flags & 7;
            pointer.clickCount = 1 + (flags >> 6) % 3;
            clock += 1.0 / 240;
            pointer.timestamp = clock;
        };
        switch (op % 24) {
            case 0: tools.chooseTool(MarqenTool(static_cast<MarqenToolID>(bytes.next() % 13))); break;
            case 1: case 2: point(); view.pointerPressed(pointer); break;
            case 3: case 4: case 5: point(); view.pointerMoved(pointer); break;
            case 6: case 7: point(); view.pointerReleased(pointer); break;
            case 8: {
                uint8_t key = bytes.next();
                view.keyPressed({keys[key % 14], static_cast<MarqenModifierFlags>(key >> 4) & 7});
                break;
            }
            case 9: view.insertText(bytes.next() % 2 ? "x" : "\u00e9\n"); break;
            case 10: view.setPreeditText(bytes.next() % 2 ? "ka" : ""); break;
            case 11: clipboard = view.copySelection(); break;
            case 12: view.paste(bytes.next() % 8 ? clipboard : std::string("{\"type\":\"com.brondale.marqen.json\",\"nodes\":[{}]}")); break;
            case 13:
                if (auto *page = view.marqenDocumentView()) {
                    uint8_t zoom = bytes.next();
                    page->setZoom(zoom == 0 ? 0.0 : zoom == 255 ? 1e9 : std::pow(2.0, (zoom % 7) - 3.0));
                }
                break;
            case 14: properties.colorProperty().chooseColor(MarqenPropertyColor::colorForColorID(bytes.next() % 9)); break;
            case 15: properties.sizeProperty().chooseSize(bytes.next() % 5); break;
            case 16: view.undo(); break;
            case 17: view.redo(); break;
            case 18: view.rotateCanvas(bytes.next() % 2); break;
            case 19: view.cropToRect(CGRectMake(bytes.coordinate(), bytes.coordinate(), bytes.coordinate(), bytes.coordinate())); break;
            case 20: view.resizeCanvas(0.25 + bytes.next() / 64.0); break;
            case 21: view.pixelateRect(CGRectMake(bytes.coordinate(), bytes.coordinate(), bytes.coordinate(), bytes.coordinate())); break;
            case 22: view.setCurrentPageIndex(bytes.next() % 3); break;
            case 23: preferences.setBool(kMarqenPreferenceExpandableCanvas, bytes.next() % 2); break;
        }
        MainQueue::shared().drain();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::useCommandLineBudget();
    auto composition = MarqenComposition::initWithSize({400, 300}, 1);
    if (!composition) return 0;
    composition->insertDocument(MarqenDOMDocument::createWithSize({300, 200}, 1), 1);
    auto picture = MarqenImage::create(64, 48);
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) picture->setPixelAt(x, y, 0xFF000000u | uint32_t(x * 4) << 16 | uint32_t(y * 5));
    composition->documents()[0]->addBackgroundImage(picture, 0, MarqenJSON::object());
    composition->documents()[0]->waitForOperationsToFinish();
    UndoManager &undo = *composition->undoManager();
    undo.removeAllActions();
    const std::string start = pagesJSON(*composition);

    MarqenToolsModel tools;
    tools.setAllowPanTool(true);
    tools.setAllowPixelateTool(true);
    tools.setAllowCropAndResizeTools(true);
    MarqenPreferences preferences(std::make_shared<MarqenMemoryPreferencesStore>());
    {
        MarqenCompositionView view(composition, &tools, &preferences);
        MarqenPropertiesModel properties(&view);
        if (size > 0 && data[0] == '{') {
            auto script = MarqenEventScript::fromJSONText(std::string(reinterpret_cast<const char *>(data), size));
            if (script && script->events().size() <= kMaximumEvents) {
                MarqenEventScriptPlayer player(view, tools, preferences, properties, "/nonexistent");
                for (const auto &event : script->events()) player.play(event);
            }
        } else {
            Bytes bytes{data, size};
            playBytes(bytes, view, tools, preferences, properties);
        }
        settle(view);
        if (!undo.isUndoRegistrationEnabled()) std::abort();
        while (undo.canRedo()) view.redo();
        settle(view);
        const std::string end = pagesJSON(*composition);
        while (undo.canUndo()) view.undo();
        settle(view);
        if (pagesJSON(*composition) != start) std::abort();
        while (undo.canRedo()) view.redo();
        settle(view);
        if (pagesJSON(*composition) != end) std::abort();
        properties.prepareForDealloc();
    }
    MainQueue::shared().drain();
    return 0;
}
