#pragma once
// One page (800 × 600 unless given) with its own undo history, tools, preferences and controller, driven the way a host
// drives it: pointer events in view points (the same as page points at zoom 1) and keys.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "dom/document.h"
#include "dom/layer.h"
#include "editing/tools_model.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "interaction/document_view.h"
#include "interaction/preferences.h"

namespace marqen::test {

struct PageView {
    explicit PageView(CGSize size = {800, 600}) : document(MarqenDOMDocument::createWithSize(size, 1)) {
        document->setUndoManager(undo);
    }
    ~PageView() {
        document->waitForOperationsToFinish();
        ThreadPool::shared().waitIdle();
        MainQueue::shared().drain();
    }

    std::string json() const { return document->dictionaryRepresentation().dump(); }
    void tool(MarqenToolID id) { tools.chooseTool(MarqenTool(id)); }
    static MarqenPointerEvent at(CGPoint point, MarqenModifierFlags modifiers = 0, unsigned clicks = 1) {
        MarqenPointerEvent event{point};
        event.modifiers = modifiers;
        event.clickCount = clicks;
        return event;
    }
    void click(CGPoint point, MarqenModifierFlags modifiers = 0, unsigned clicks = 1) {
        view.pointerPressed(at(point, modifiers, clicks));
        view.pointerReleased(at(point, modifiers, clicks));
    }
    void drag(CGPoint from, CGPoint to, int steps = 4, MarqenModifierFlags modifiers = 0) {
        view.pointerPressed(at(from, modifiers));
        for (int i = 1; i <= steps; ++i)
            view.pointerMoved(at({from.x + (to.x - from.x) * i / steps, from.y + (to.y - from.y) * i / steps}, modifiers));
        view.pointerReleased(at(to, modifiers));
    }
    size_t annotations() const { return document->annotationLayer()->children().size(); }
    template <class T>
    std::shared_ptr<T> annotation(size_t index) const {
        return std::dynamic_pointer_cast<T>(document->annotationLayer()->childAtIndex(index));
    }
    template <class T>
    std::shared_ptr<T> selected(size_t index = 0) const {
        return std::dynamic_pointer_cast<T>(view.selectedElements().at(index));
    }
    // The last step bears the name; undoing it gives `before` back exactly, redoing it what it made.
    void expectLastStep(const std::string &name, const std::string &before) {
        EXPECT_EQ(undo->undoActionName(), name);
        const std::string after = json();
        view.undo();
        document->waitForOperationsToFinish();
        EXPECT_EQ(json(), before);
        view.redo();
        document->waitForOperationsToFinish();
        EXPECT_EQ(json(), after);
    }
    // Undoing everything gives the page as it started, redoing everything the page as it is.
    void expectUndoRedoRoundTrip() {
        const std::string end = json();
        while (undo->canUndo()) view.undo();
        document->waitForOperationsToFinish();
        EXPECT_EQ(json(), start);
        while (undo->canRedo()) view.redo();
        document->waitForOperationsToFinish();
        EXPECT_EQ(json(), end);
    }

    std::shared_ptr<MarqenDOMDocument> document;
    std::shared_ptr<UndoManager> undo = std::make_shared<UndoManager>();
    MarqenToolsModel tools;
    MarqenPreferences preferences{std::make_shared<MarqenMemoryPreferencesStore>()};
    MarqenDocumentView view{document, &tools, &preferences};
    std::string start = json();  // the page as the test began; a fixture that builds on it sets it again
};

class PageViewTest : public testing::Test, public PageView {};

}  // namespace marqen::test
