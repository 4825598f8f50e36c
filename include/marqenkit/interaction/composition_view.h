#pragma once
// The toolkit-neutral controller of one open composition: the page on show (a MarqenDocumentView over it),
// switching pages, one undo history over every page, and the operations the properties model and the
// host's bars call. Input goes to the page on show. Undo and redo first show the page the step belongs to,
// so that the user sees what changes. A change of tool is posted as the usage event "tool_changed"
// (MarqenAnalytics). Main thread only; the composition, the tools model and the
// preferences must outlive the view.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../editing/properties_composition_view.h"
#include "../export.h"
#include "../foundation/notification_center.h"
#include "document_view.h"

namespace marqen {

class MarqenComposition;
class MarqenPreferences;

class MARQEN_EXPORT MarqenCompositionView : public MarqenPropertiesCompositionView {
public:
    // Shows the first page. A composition without pages (or none) shows nothing until it has one.
    MarqenCompositionView(std::shared_ptr<MarqenComposition> composition, MarqenToolsModel *tools,
                          MarqenPreferences *preferences);
    // Pages that belong to no composition (a document JSON file): from now on they share the first page's
    // undo manager, so that one history spans them.
    MarqenCompositionView(std::vector<std::shared_ptr<MarqenDOMDocument>> pages, MarqenToolsModel *tools,
                          MarqenPreferences *preferences);
    ~MarqenCompositionView() override;
    MarqenCompositionView(const MarqenCompositionView &) = delete;
    MarqenCompositionView &operator=(const MarqenCompositionView &) = delete;

    const std::shared_ptr<MarqenComposition> &composition() const { return composition_; }
    // Shows another composition or other pages (as the constructors do) from its first page; the undo
    // record starts afresh, the zoom, pan and values for new elements carry over.
    void setComposition(std::shared_ptr<MarqenComposition> composition);
    void setPages(std::vector<std::shared_ptr<MarqenDOMDocument>> pages);
    // The tools model new page controllers read; the page on show gets a new controller that keeps the
    // selection. The model must outlive the view.
    void setToolsModel(MarqenToolsModel *tools);
    // The pages, in order.
    const std::vector<std::shared_ptr<MarqenDOMDocument>> &pages() const;
    size_t pageCount() const;
    size_t currentPageIndex() const { return currentPage_; }
    // Ends a text edit and a running gesture, clears the selection and shows the page; the zoom, pan and
    // the values for new elements carry over. False for a page that does not exist.
    bool setCurrentPageIndex(size_t index);
    // The controller of the page on show (null without pages); a new one after every page switch.
    MarqenDocumentView *marqenDocumentView() const { return page_.get(); }
    // Called for every page's controller, and with pageDidChange after a switch.
    struct Delegate : MarqenDocumentView::Delegate {
        std::function<void(size_t)> pageDidChange;
    };
    void setDelegate(Delegate delegate);

    // Input for the page on show. Page_Up and Page_Down show the previous and next page; Ctrl+Z and
    // Ctrl+Shift+Z undo and redo through the one history.
    void pointerPressed(const MarqenPointerEvent &event);
    void pointerMoved(const MarqenPointerEvent &event);
    void pointerReleased(const MarqenPointerEvent &event);
    bool keyPressed(const MarqenKeyEvent &event);
    bool insertText(const std::string &text);
    void setPreeditText(const std::string &text);
    void undo();
    void redo();
    // The page the next undo (redo) step changes, when known.
    std::optional<size_t> pageOfUndoStep() const;
    std::optional<size_t> pageOfRedoStep() const;

    // Clipboard and whole-page operations of the page on show (see MarqenDocumentView).
    std::string copySelection() const;
    std::string cutSelection();
    bool paste(const std::string &payload, MarqenError *error = nullptr);
    bool pasteImage(const MarqenImageRef &image, MarqenError *error = nullptr);
    bool pasteText(const std::string &text, MarqenError *error = nullptr);
    bool dropImageFile(const std::filesystem::path &file, CGPoint viewPoint, MarqenError *error = nullptr);
    bool rotateCanvas(bool clockwise = true, MarqenError *error = nullptr);
    bool pixelateRect(CGRect rect, MarqenError *error = nullptr);
    bool cropToRect(CGRect rect, MarqenError *error);
    bool resizeCanvas(CGFloat scale, MarqenError *error);

    // MarqenPropertiesCompositionView
    std::vector<std::shared_ptr<MarqenDOMElement>> selectedElements() const override;
    std::optional<MarqenDOMColor> singleColorForSelectedElements() const override;
    std::optional<CGFloat> singleToolSizeForSelectedElements() const override;
    void setToolColor(const MarqenDOMColor &color) override;
    void setToolSize(CGFloat relativeSize) override;
    void setTextBlockStyle(MarqenDOMTextBlockStyle style) override;
    void setTextFont(const MarqenDOMFont &font) override;
    void setToolColorForSelectedElements(const MarqenDOMColor &color) override;
    void setToolSizeForSelectedElements(CGFloat relativeSize) override;
    void setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style) override;
    void setTextFontForSelectedElements(const MarqenDOMFont &font) override;
    MarqenToolsModel *canvasTools() const override { return tools_; }
    void clearNodeSelection() override;
    UndoManager *undoManager() const override;
    std::shared_ptr<MarqenDOMDocument> document() const override;
    bool cropToRect(CGRect rect) override { return cropToRect(rect, nullptr); }
    bool resizeCanvas(CGFloat scale) override { return resizeCanvas(scale, nullptr); }

private:
    void showPage(size_t index);
    // Starts over on new pages: observers, the undo record and the first page.
    void restart();
    // The composition's pages changed: the page on show stays on show where it still is.
    void documentsDidChange();
    // Matches the record of which page each undo and redo step belongs to with the undo manager's stacks
    // after anything that may have changed them.
    void recordHistory();
    template <typename Edit>
    auto edit(Edit edit) -> decltype(edit(std::declval<MarqenDocumentView &>()));

    std::shared_ptr<MarqenComposition> composition_;
    std::vector<std::shared_ptr<MarqenDOMDocument>> pages_;  // without a composition
    MarqenToolsModel *tools_;
    MarqenPreferences *preferences_;
    Delegate delegate_;
    std::unique_ptr<MarqenDocumentView> page_;
    size_t currentPage_ = 0;
    // Page of each step on the undo and on the redo stack, bottom first.
    std::vector<size_t> undoPages_, redoPages_;
    size_t lastUndoCount_ = 0;
    // Values for new elements set while no page was on show, for the next page.
    std::optional<MarqenDOMColor> toolColor_;
    std::optional<CGFloat> toolSize_;
    std::optional<MarqenDOMTextBlockStyle> textBlockStyle_;
    std::optional<MarqenDOMFont> textFont_;
    NotificationToken documentsObservation_, toolObservation_;
};

}  // namespace marqen
