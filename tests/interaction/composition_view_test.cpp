#include <gtest/gtest.h>

#include "dom/document.h"
#include "dom/layer.h"
#include "editing/analytics.h"
#include "editing/composition.h"
#include "editing/properties_model.h"
#include "editing/property_color.h"
#include "editing/tools_model.h"
#include "foundation/notification_center.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "interaction/composition_view.h"
#include "interaction/preferences.h"

using namespace marqen;

namespace {

// A composition of two pages, 800 × 600 and 500 × 400, shown by a composition view.
class CompositionViewTest : public testing::Test {
protected:
    void SetUp() override {
        composition->insertDocument(MarqenDOMDocument::createWithSize({500, 400}, 1), 1);
        composition->undoManager()->removeAllActions();
        view = std::make_unique<MarqenCompositionView>(composition, &tools, &preferences);
        MarqenCompositionView::Delegate delegate;
        delegate.pageDidChange = [this](size_t page) { pagesShown.push_back(page); };
        view->setDelegate(delegate);
        start = json();
    }
    void TearDown() override {
        view.reset();
        MainQueue::shared().drain();
    }
    std::string json() const {
        std::string all;
        for (const auto &page : composition->documents()) all += page->dictionaryRepresentation().dump();
        return all;
    }
    size_t annotations(size_t page) const {
        return composition->documents()[page]->annotationLayer()->children().size();
    }
    void drag(CGPoint from, CGPoint to) {
        auto *page = view->marqenDocumentView();
        view->pointerPressed({page->viewPointForModelPoint(from)});
        view->pointerMoved({page->viewPointForModelPoint(to)});
        view->pointerReleased({page->viewPointForModelPoint(to)});
    }
    UndoManager &undo() const { return *composition->undoManager(); }

    std::shared_ptr<MarqenComposition> composition = MarqenComposition::initWithSize({800, 600}, 1);
    MarqenToolsModel tools;
    MarqenPreferences preferences{std::make_shared<MarqenMemoryPreferencesStore>()};
    std::unique_ptr<MarqenCompositionView> view;
    std::vector<size_t> pagesShown;
    std::string start;
};

}  // namespace

TEST_F(CompositionViewTest, EditsStayOnTheirPagesAndOneHistoryShowsEachStepsPage) {
    ASSERT_EQ(view->pageCount(), 2u);
    EXPECT_EQ(view->currentPageIndex(), 0u);
    tools.chooseTool(MarqenTool(MarqenToolIDRectangle));
    drag({100, 100}, {200, 200});
    EXPECT_TRUE(view->keyPressed({"Page_Down"}));
    EXPECT_EQ(view->currentPageIndex(), 1u);
    EXPECT_EQ(view->document(), composition->documents()[1]);
    EXPECT_TRUE(view->selectedElements().empty());  // the selection stays with its page
    tools.chooseTool(MarqenTool(MarqenToolIDEllipse));
    drag({50, 50}, {150, 120});
    EXPECT_EQ(annotations(0), 1u);
    EXPECT_EQ(annotations(1), 1u);
    std::string end = json();
    EXPECT_EQ(view->pageOfUndoStep(), 1u);

    EXPECT_TRUE(view->keyPressed({"z", MarqenModifierControl}));
    EXPECT_EQ(annotations(1), 0u);
    EXPECT_EQ(view->currentPageIndex(), 1u);
    EXPECT_EQ(view->pageOfUndoStep(), 0u);
    EXPECT_EQ(undo().undoActionName(), "Add Rectangle");
    view->undo();  // the rectangle's page is shown first
    EXPECT_EQ(view->currentPageIndex(), 0u);
    EXPECT_EQ(annotations(0), 0u);
    EXPECT_EQ(json(), start);
    EXPECT_EQ(pagesShown, (std::vector<size_t>{1, 0}));

    view->keyPressed({"Page_Down"});
    EXPECT_EQ(view->pageOfRedoStep(), 0u);
    view->keyPressed({"z", MarqenModifierControl | MarqenModifierShift});
    EXPECT_EQ(view->currentPageIndex(), 0u);
    EXPECT_EQ(annotations(0), 1u);
    view->redo();
    EXPECT_EQ(view->currentPageIndex(), 1u);
    EXPECT_EQ(json(), end);
    EXPECT_EQ(undo().undoActionName(), "Add Ellipse");
}

TEST_F(CompositionViewTest, ToolChangesArePostedAsUsageEvents) {
    std::vector<std::string> events;
    auto token = NotificationCenter::defaultCenter().addObserver(
        kMarqenAnalyticsInterestingEventDidOccur, view->notificationSender(), [&](const Notification &notification) {
            auto action = notification.value<std::string>(kMarqenAnalyticsActionKey);
            auto label = notification.value<std::string>(kMarqenAnalyticsLabelKey);
            if (action && label) events.push_back(*action + " " + *label);
        });
    tools.chooseTool(MarqenTool(MarqenToolIDEllipse));
    EXPECT_TRUE(events.empty());  // the tools model announces on the main queue
    MainQueue::shared().drain();
    drag({100, 100}, {200, 200});
    EXPECT_EQ(events, (std::vector<std::string>{"tool_changed ellipse"}));
}

TEST_F(CompositionViewTest, PageSwitchingKeepsTheViewAndRefusesMissingPages) {
    auto *first = view->marqenDocumentView();
    first->setZoom(2);
    first->setPan({-30, 12});
    view->setToolColor({0, 0xE8, 0, 1});
    EXPECT_FALSE(view->keyPressed({"Page_Up"}));  // no page before the first
    EXPECT_FALSE(view->setCurrentPageIndex(2));
    EXPECT_TRUE(view->setCurrentPageIndex(1));
    auto *second = view->marqenDocumentView();
    EXPECT_EQ(second->zoom(), 2);
    EXPECT_EQ(second->pan().x, -30);
    EXPECT_EQ(second->toolColor(), MarqenDOMColor(0, 0xE8, 0, 1));
    EXPECT_FALSE(view->keyPressed({"Page_Down"}));  // no page after the last

    // A page removed under the view: the view moves to a page that exists.
    composition->deleteDocumentAtIndex(1);
    EXPECT_EQ(view->pageCount(), 1u);
    EXPECT_EQ(view->currentPageIndex(), 0u);
    EXPECT_EQ(view->document(), composition->documents()[0]);
    tools.chooseTool(MarqenTool(MarqenToolIDLine));
    drag({10, 10}, {300, 10});
    EXPECT_EQ(annotations(0), 1u);
}

TEST_F(CompositionViewTest, PropertiesModelEditsTheSelectionThroughTheView) {
    MarqenPropertiesModel properties(view.get());
    MainQueue::shared().drain();
    tools.chooseTool(MarqenTool(MarqenToolIDArrow));
    drag({100, 100}, {400, 100});
    MainQueue::shared().drain();
    ASSERT_EQ(view->selectedElements().size(), 1u);
    ASSERT_TRUE(properties.currentProperties());
    std::string drawn = json();
    properties.colorProperty().chooseColor({0x19, 0x77, 0xFF, 1});
    EXPECT_EQ(view->singleColorForSelectedElements(), MarqenDOMColor(0x19, 0x77, 0xFF, 1));
    EXPECT_EQ(undo().undoActionName(), "Color Change");
    std::string colored = json();
    view->undo();
    EXPECT_EQ(json(), drawn);
    view->redo();
    EXPECT_EQ(json(), colored);
    // The crop panel's operation goes to the page on show.
    EXPECT_TRUE(view->cropToRect(CGRectMake(0, 0, 500, 300)));
    EXPECT_EQ(composition->documents()[0]->frame(), CGRectMake(0, 0, 500, 300));
    EXPECT_EQ(undo().undoActionName(), "Crop");
    properties.prepareForDealloc();
}

TEST(CompositionViewOverPages, PagesOfNoCompositionShareOneHistoryAndTheViewCarriesItsValues) {
    MarqenToolsModel tools;
    MarqenPreferences preferences{std::make_shared<MarqenMemoryPreferencesStore>()};
    MarqenCompositionView view(std::shared_ptr<MarqenComposition>(), &tools, &preferences);
    EXPECT_EQ(view.pageCount(), 0u);
    EXPECT_EQ(view.marqenDocumentView(), nullptr);
    EXPECT_EQ(view.undoManager(), nullptr);
    // Values chosen while nothing is shown are the first page's.
    view.setToolColor({0, 0x80, 0xFF, 1});

    auto first = MarqenDOMDocument::createWithSize({400, 300}, 1);
    auto second = MarqenDOMDocument::createWithSize({300, 200}, 1);
    first->setUndoManager(std::make_shared<UndoManager>());
    second->setUndoManager(std::make_shared<UndoManager>());
    std::vector<size_t> shown;
    MarqenCompositionView::Delegate delegate;
    delegate.pageDidChange = [&](size_t page) { shown.push_back(page); };
    view.setDelegate(delegate);
    view.setPages({first, nullptr, second});
    ASSERT_EQ(view.pageCount(), 2u);
    EXPECT_EQ(second->undoManager(), first->undoManager());
    EXPECT_EQ(view.undoManager(), first->undoManager());
    EXPECT_EQ(view.marqenDocumentView()->toolColor(), MarqenDOMColor(0, 0x80, 0xFF, 1));

    tools.chooseTool(MarqenTool(MarqenToolIDRectangle));
    auto drag = [&](CGPoint from, CGPoint to) {
        view.pointerPressed({from});
        view.pointerMoved({to});
        view.pointerReleased({to});
    };
    view.setCurrentPageIndex(1);
    drag({20, 20}, {120, 90});
    EXPECT_EQ(second->annotationLayer()->children().size(), 1u);
    view.setCurrentPageIndex(0);
    // A new tools model: the page keeps its selection and the next drawing uses the new model's tool.
    MarqenToolsModel other;
    other.chooseTool(MarqenTool(MarqenToolIDEllipse));
    drag({10, 10}, {60, 60});
    view.marqenDocumentView()->selectAll();
    view.setToolsModel(&other);
    EXPECT_EQ(view.selectedElements().size(), 1u);
    drag({100, 100}, {160, 160});
    EXPECT_EQ(first->annotationLayer()->children().size(), 2u);
    EXPECT_EQ(first->undoManager()->undoActionName(), "Add Ellipse");

    // Undo walks back through both pages, showing each step's page.
    shown.clear();
    view.undo();
    view.undo();
    EXPECT_EQ(view.currentPageIndex(), 0u);
    view.undo();
    EXPECT_EQ(view.currentPageIndex(), 1u);
    EXPECT_TRUE(second->annotationLayer()->children().empty());
    EXPECT_TRUE(first->annotationLayer()->children().empty());
    EXPECT_EQ(shown, (std::vector<size_t>{1}));

    // Other pages: the record starts afresh, on their first page.
    view.setPages({MarqenDOMDocument::createWithSize({100, 100}, 1)});
    EXPECT_EQ(view.pageCount(), 1u);
    EXPECT_EQ(view.currentPageIndex(), 0u);
    EXPECT_FALSE(view.pageOfRedoStep());
    view.setPages({});
    EXPECT_EQ(view.marqenDocumentView(), nullptr);
    view.undo();  // nothing to do, nothing breaks
    MainQueue::shared().drain();
}
