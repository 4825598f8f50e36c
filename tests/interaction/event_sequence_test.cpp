#include <gtest/gtest.h>

#include <random>

#include "dom/document.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "interaction/document_view.h"
#include "interaction/preferences.h"
#include "support/test_support.h"

using namespace marqen;

namespace {

// Feeds one pseudo-random event; coordinates stray off the page and into absurd values now and then.
void feedRandomEvent(std::mt19937 &random, MarqenDocumentView &view, MarqenToolsModel &tools, std::string &clipboard) {
    auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    auto coordinate = [&]() -> CGFloat {
        switch (pick(20)) {
            case 0: return NAN;
            case 1: return 1e300;
            case 2: return -5000;
            default: return std::uniform_real_distribution<CGFloat>(-100, 900)(random);
        }
    };
    MarqenPointerEvent pointer{{coordinate(), coordinate()}};
    pointer.modifiers = pick(4) == 0 ? MarqenModifierShift : 0;
    pointer.clickCount = pick(8) == 0 ? 2 : 1;
    static const char *const keys[] = {"Left", "Right", "Up", "Down", "Delete", "BackSpace", "Escape", "Return", "a", "z"};
    switch (pick(16)) {
        case 0: tools.chooseTool(MarqenTool(static_cast<MarqenToolID>(1 + pick(9)))); break;
        case 1:
        case 2: view.pointerPressed(pointer); break;
        case 3:
        case 4:
        case 5: view.pointerMoved(pointer); break;
        case 6:
        case 7: view.pointerReleased(pointer); break;
        case 8: view.keyPressed({keys[pick(10)], static_cast<MarqenModifierFlags>(pick(4))}); break;
        case 9: view.insertText(pick(2) ? "x" : "\u00e9\n"); break;
        case 10: view.setPreeditText(pick(2) ? "ka" : ""); break;
        case 11: clipboard = view.copySelection(); break;
        case 12: view.paste(clipboard); break;
        case 13: view.setZoom(pick(3) ? std::pow(2.0, pick(7) - 3) : (pick(2) ? 0.0 : 1e9)); break;
        case 14: view.setToolColorForSelectedElements({static_cast<double>(pick(256)), 0, 0, 1}); break;
        case 15: view.setToolSizeForSelectedElements(0.2 * (1 + pick(5))); break;
    }
}

}  // namespace

// Whatever the events, undoing everything gives the page back as it started, and redoing everything gives
// the page as it ended.
TEST(EventSequences, UndoingEverythingReturnsToTheStart) {
    test::LogCapture quiet;
    for (unsigned seed = 1; seed <= 40; ++seed) {
        auto document = MarqenDOMDocument::createWithSize({800, 600}, 1);
        auto undo = std::make_shared<UndoManager>();
        document->setUndoManager(undo);
        MarqenToolsModel tools;
        MarqenPreferences preferences(std::make_shared<MarqenMemoryPreferencesStore>());
        std::string start = document->dictionaryRepresentation().dump();
        std::string end;
        {
            MarqenDocumentView view(document, &tools, &preferences);
            std::mt19937 random(seed);
            std::string clipboard;
            for (int i = 0; i < 300; ++i) feedRandomEvent(random, view, tools, clipboard);
            view.keyPressed({"Escape"});  // ends a text edit
            view.pointerReleased({{10, 10}});
            ThreadPool::shared().waitIdle();
            MainQueue::shared().drain();
            ASSERT_FALSE(view.isGestureRunning()) << seed;
            ASSERT_TRUE(undo->isUndoRegistrationEnabled()) << seed;
            // A sequence may end with undos: the history's far end is where redoing everything leads.
            while (undo->canRedo()) view.redo();
            end = document->dictionaryRepresentation().dump();
            while (undo->canUndo()) view.undo();
            ASSERT_EQ(document->dictionaryRepresentation().dump(), start) << "seed " << seed;
            while (undo->canRedo()) view.redo();
            ASSERT_EQ(document->dictionaryRepresentation().dump(), end) << "seed " << seed;
        }
    }
}
