#include "interaction/composition_view.h"

#include <algorithm>

#include "dom/document.h"
#include "editing/composition.h"
#include "editing/tools_model.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"

namespace marqen {

MarqenCompositionView::MarqenCompositionView(std::shared_ptr<MarqenComposition> composition, MarqenToolsModel *tools,
                                             MarqenPreferences *preferences)
    : composition_(std::move(composition)), tools_(tools), preferences_(preferences) {
    restart();
    // Each change of tool is a usage event of this view.
    setToolsModel(tools);
}

MarqenCompositionView::MarqenCompositionView(std::vector<std::shared_ptr<MarqenDOMDocument>> pages,
                                             MarqenToolsModel *tools, MarqenPreferences *preferences)
    : MarqenCompositionView(std::shared_ptr<MarqenComposition>(), tools, preferences) {
    setPages(std::move(pages));
}

void MarqenCompositionView::setComposition(std::shared_ptr<MarqenComposition> composition) {
    pages_.clear();
    composition_ = std::move(composition);
    restart();
}

void MarqenCompositionView::setPages(std::vector<std::shared_ptr<MarqenDOMDocument>> pages) {
    std::erase(pages, nullptr);
    if (!pages.empty()) {
        std::shared_ptr<UndoManager> history = pages.front()->undoManagerShared();
        if (!history) {
            history = std::make_shared<UndoManager>();
            pages.front()->setUndoManager(history);
        }
        for (const auto &page : pages)
            if (page->undoManagerShared() != history) page->setUndoManager(history);
    }
    composition_.reset();
    pages_ = std::move(pages);
    restart();
}

void MarqenCompositionView::restart() {
    documentsObservation_.reset();
    if (composition_)
        documentsObservation_ = NotificationCenter::defaultCenter().addObserver(
            kMarqenCompositionDocumentsDidChangeNotification, composition_.get(),
            [this](const Notification &) { documentsDidChange(); });
    undoPages_.clear();
    redoPages_.clear();
    lastUndoCount_ = 0;
    currentPage_ = 0;
    showPage(0);
    // Steps made before these pages were shown belong to no page known here.
    if (UndoManager *manager = undoManager()) lastUndoCount_ = manager->undoCount();
    undoPages_.assign(lastUndoCount_, 0);
    NotificationCenter::defaultCenter().post(kMarqenCompositionViewCompositionDidChangeNotification, notificationSender());
    if (delegate_.pageDidChange) delegate_.pageDidChange(currentPage_);
}

void MarqenCompositionView::setToolsModel(MarqenToolsModel *tools) {
    const bool changed = tools != tools_;
    tools_ = tools;
    toolObservation_.reset();
    if (tools_)
        toolObservation_ = NotificationCenter::defaultCenter().addObserver(
            kMarqenToolsModelCurrentToolDidChangeNotification, tools_, [this](const Notification &) {
                tools_->postToolDidChangeAnalyticsEventForCompositionView(notificationSender());
            });
    if (!changed || !page_) return;
    // A page controller reads the tools model it was made with: the page is shown anew, keeping its selection.
    auto selection = page_->selectedElements();
    showPage(currentPage_);
    if (page_) page_->selectElements(std::move(selection));
}

const std::vector<std::shared_ptr<MarqenDOMDocument>> &MarqenCompositionView::pages() const {
    return composition_ ? composition_->documents() : pages_;
}

void MarqenCompositionView::documentsDidChange() {
    const auto &pages = this->pages();
    if (page_) {
        auto found = std::find(pages.begin(), pages.end(), page_->document());
        if (found != pages.end()) {
            currentPage_ = size_t(found - pages.begin());
            return;
        }
    }
    showPage(pages.empty() ? 0 : std::min(currentPage_, pages.size() - 1));
    NotificationCenter::defaultCenter().post(kMarqenCompositionViewCompositionDidChangeNotification, notificationSender());
    if (delegate_.pageDidChange && page_) delegate_.pageDidChange(currentPage_);
}

MarqenCompositionView::~MarqenCompositionView() {
    if (page_ && page_->isEditingText()) page_->endTextEditing();
}

size_t MarqenCompositionView::pageCount() const { return pages().size(); }

void MarqenCompositionView::setDelegate(Delegate delegate) {
    delegate_ = std::move(delegate);
    showPage(currentPage_);
}

void MarqenCompositionView::showPage(size_t index) {
    const auto &pages = this->pages();
    std::unique_ptr<MarqenDocumentView> old = std::move(page_);
    if (old) {
        if (old->isEditingText()) old->endTextEditing();
        old->setDelegate({});
    }
    if (index >= pages.size()) {
        currentPage_ = 0;
        return;
    }
    currentPage_ = index;
    page_ = std::make_unique<MarqenDocumentView>(pages[index], tools_, preferences_);
    if (old) {
        // The view keeps its zoom and pan and the values for new elements across pages.
        page_->setScaleFactor(old->scaleFactor());
        page_->setZoom(old->zoom());
        page_->setPan(old->pan());
        page_->setViewportSize(old->viewportSize());
        page_->setToolColor(old->toolColor());
        page_->setToolSize(old->toolSize());
        page_->setTextBlockStyle(old->textBlockStyle());
        if (old->textFont()) page_->setTextFont(*old->textFont());
    }
    if (toolColor_) page_->setToolColor(*toolColor_);
    if (toolSize_) page_->setToolSize(*toolSize_);
    if (textBlockStyle_) page_->setTextBlockStyle(*textBlockStyle_);
    if (textFont_) page_->setTextFont(*textFont_);
    MarqenDocumentView::Delegate forwarded = delegate_;
    const void *sender = notificationSender();
    auto selectionDidChange = delegate_.selectionDidChange;
    forwarded.selectionDidChange = [sender, selectionDidChange] {
        NotificationCenter::defaultCenter().post(kMarqenCompositionViewSelectionDidChangeNotification, sender);
        if (selectionDidChange) selectionDidChange();
    };
    page_->setDelegate(std::move(forwarded));
}

bool MarqenCompositionView::setCurrentPageIndex(size_t index) {
    if (index >= pageCount()) return false;
    if (index == currentPage_ && page_) return true;
    if (page_ && page_->isGestureRunning()) page_->keyPressed({"Escape"});
    recordHistory();
    showPage(index);
    recordHistory();
    NotificationCenter::defaultCenter().post(kMarqenCompositionViewCompositionDidChangeNotification, notificationSender());
    NotificationCenter::defaultCenter().post(kMarqenCompositionViewSelectionDidChangeNotification, notificationSender());
    if (delegate_.pageDidChange) delegate_.pageDidChange(index);
    return true;
}

void MarqenCompositionView::recordHistory() {
    UndoManager *manager = undoManager();
    if (!manager) return;
    const size_t undoCount = manager->undoCount();
    // New steps belong to the page on show; steps dropped from the bottom (a limit) or by a reset go.
    while (undoPages_.size() < undoCount) undoPages_.push_back(currentPage_);
    if (undoPages_.size() > undoCount) undoPages_.erase(undoPages_.begin(), undoPages_.end() - long(undoCount));
    if (!manager->canRedo()) redoPages_.clear();
    lastUndoCount_ = undoCount;
}

std::optional<size_t> MarqenCompositionView::pageOfUndoStep() const {
    UndoManager *manager = undoManager();
    if (!manager || !manager->canUndo() || undoPages_.empty()) return std::nullopt;
    return undoPages_.back();
}

std::optional<size_t> MarqenCompositionView::pageOfRedoStep() const {
    UndoManager *manager = undoManager();
    if (!manager || !manager->canRedo() || redoPages_.empty()) return std::nullopt;
    return redoPages_.back();
}

void MarqenCompositionView::undo() {
    if (!page_) return;
    if (page_->isEditingText()) page_->endTextEditing();
    recordHistory();
    UndoManager *manager = undoManager();
    if (!manager || !manager->canUndo() || page_->isGestureRunning()) return;
    if (auto page = pageOfUndoStep(); page && *page != currentPage_ && *page < pageCount()) setCurrentPageIndex(*page);
    const size_t before = manager->undoCount();
    page_->undo();
    if (manager->undoCount() + 1 == before && !undoPages_.empty()) {
        redoPages_.push_back(undoPages_.back());
        undoPages_.pop_back();
    }
    lastUndoCount_ = manager->undoCount();
}

void MarqenCompositionView::redo() {
    if (!page_) return;
    if (page_->isEditingText()) page_->endTextEditing();
    recordHistory();
    UndoManager *manager = undoManager();
    if (!manager || !manager->canRedo() || page_->isGestureRunning()) return;
    if (auto page = pageOfRedoStep(); page && *page != currentPage_ && *page < pageCount()) setCurrentPageIndex(*page);
    const size_t before = manager->undoCount();
    page_->redo();
    if (manager->undoCount() == before + 1 && !redoPages_.empty()) {
        undoPages_.push_back(redoPages_.back());
        redoPages_.pop_back();
    }
    lastUndoCount_ = manager->undoCount();
}

template <typename Edit>
auto MarqenCompositionView::edit(Edit edit) -> decltype(edit(std::declval<MarqenDocumentView &>())) {
    using Result = decltype(edit(std::declval<MarqenDocumentView &>()));
    if (!page_) {
        if constexpr (std::is_void_v<Result>)
            return;
        else
            return Result{};
    }
    recordHistory();
    if constexpr (std::is_void_v<Result>) {
        edit(*page_);
        recordHistory();
    } else {
        Result result = edit(*page_);
        recordHistory();
        return result;
    }
}

void MarqenCompositionView::pointerPressed(const MarqenPointerEvent &event) {
    edit([&](MarqenDocumentView &view) { view.pointerPressed(event); });
}

void MarqenCompositionView::pointerMoved(const MarqenPointerEvent &event) {
    edit([&](MarqenDocumentView &view) { view.pointerMoved(event); });
}

void MarqenCompositionView::pointerReleased(const MarqenPointerEvent &event) {
    edit([&](MarqenDocumentView &view) { view.pointerReleased(event); });
}

bool MarqenCompositionView::keyPressed(const MarqenKeyEvent &event) {
    const bool control = event.modifiers & MarqenModifierControl, shift = event.modifiers & MarqenModifierShift;
    if (control && (event.key == "z" || event.key == "Z")) {
        shift ? redo() : undo();
        return true;
    }
    if (!control && page_ && !page_->isEditingText() && !page_->isGestureRunning()) {
        if (event.key == "Page_Up" || event.key == "Prior") return currentPage_ > 0 && setCurrentPageIndex(currentPage_ - 1);
        if (event.key == "Page_Down" || event.key == "Next") return setCurrentPageIndex(currentPage_ + 1);
    }
    return edit([&](MarqenDocumentView &view) { return view.keyPressed(event); });
}

bool MarqenCompositionView::insertText(const std::string &text) {
    return edit([&](MarqenDocumentView &view) { return view.insertText(text); });
}

void MarqenCompositionView::setPreeditText(const std::string &text) {
    edit([&](MarqenDocumentView &view) { view.setPreeditText(text); });
}

std::string MarqenCompositionView::copySelection() const { return page_ ? page_->copySelection() : std::string(); }

std::string MarqenCompositionView::cutSelection() {
    return edit([&](MarqenDocumentView &view) { return view.cutSelection(); });
}

bool MarqenCompositionView::paste(const std::string &payload, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.paste(payload, error); });
}

bool MarqenCompositionView::pasteImage(const MarqenImageRef &image, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.pasteImage(image, error); });
}

bool MarqenCompositionView::pasteText(const std::string &text, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.pasteText(text, error); });
}

bool MarqenCompositionView::dropImageFile(const std::filesystem::path &file, CGPoint viewPoint, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.dropImageFile(file, viewPoint, error); });
}

bool MarqenCompositionView::rotateCanvas(bool clockwise, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.rotateCanvas(clockwise, error); });
}

bool MarqenCompositionView::pixelateRect(CGRect rect, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.pixelateRect(rect, error); });
}

bool MarqenCompositionView::cropToRect(CGRect rect, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.cropToRect(rect, error); });
}

bool MarqenCompositionView::resizeCanvas(CGFloat scale, MarqenError *error) {
    if (!page_) return marqenFail(error, kMarqenDocumentViewErrorDomain, 1, "No page is open");
    return edit([&](MarqenDocumentView &view) { return view.resizeCanvas(scale, error); });
}

std::vector<std::shared_ptr<MarqenDOMElement>> MarqenCompositionView::selectedElements() const {
    return page_ ? page_->selectedElements() : std::vector<std::shared_ptr<MarqenDOMElement>>{};
}

std::optional<MarqenDOMColor> MarqenCompositionView::singleColorForSelectedElements() const {
    return page_ ? page_->singleColorForSelectedElements() : std::nullopt;
}

std::optional<CGFloat> MarqenCompositionView::singleToolSizeForSelectedElements() const {
    return page_ ? page_->singleToolSizeForSelectedElements() : std::nullopt;
}

void MarqenCompositionView::setToolColor(const MarqenDOMColor &color) {
    toolColor_ = color;
    if (page_) page_->setToolColor(color);
}

void MarqenCompositionView::setToolSize(CGFloat relativeSize) {
    toolSize_ = relativeSize;
    if (page_) page_->setToolSize(relativeSize);
}

void MarqenCompositionView::setTextBlockStyle(MarqenDOMTextBlockStyle style) {
    textBlockStyle_ = style;
    if (page_) page_->setTextBlockStyle(style);
}

void MarqenCompositionView::setTextFont(const MarqenDOMFont &font) {
    textFont_ = font;
    if (page_) page_->setTextFont(font);
}

void MarqenCompositionView::setToolColorForSelectedElements(const MarqenDOMColor &color) {
    edit([&](MarqenDocumentView &view) { view.setToolColorForSelectedElements(color); });
}

void MarqenCompositionView::setToolSizeForSelectedElements(CGFloat relativeSize) {
    edit([&](MarqenDocumentView &view) { view.setToolSizeForSelectedElements(relativeSize); });
}

void MarqenCompositionView::setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style) {
    edit([&](MarqenDocumentView &view) { view.setTextBlockStyleForSelectedElements(style); });
}

void MarqenCompositionView::setTextFontForSelectedElements(const MarqenDOMFont &font) {
    edit([&](MarqenDocumentView &view) { view.setTextFontForSelectedElements(font); });
}

void MarqenCompositionView::clearNodeSelection() {
    if (page_) page_->clearNodeSelection();
}

UndoManager *MarqenCompositionView::undoManager() const {
    if (composition_) return composition_->undoManager().get();
    return pages_.empty() ? nullptr : pages_.front()->undoManager();
}

std::shared_ptr<MarqenDOMDocument> MarqenCompositionView::document() const { return page_ ? page_->document() : nullptr; }

}  // namespace marqen
