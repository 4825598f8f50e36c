#pragma once
// The toolkit-neutral controller of one page: the view transform (zoom, pan, scale factor), the selection,
// and the gestures that turn pointer and key input into undoable edits of the page. It tells its host what
// to redraw and which cursor to show through callbacks. Main thread only; the page, the tools model and the
// preferences must outlive the view.
#include <any>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../dom/color.h"
#include "../dom/document.h"
#include "../dom/element.h"
#include "../dom/font.h"
#include "../dom/text_enums.h"
#include "../export.h"
#include "../foundation/error.h"
#include "../foundation/geometry.h"
#include "../platform/image.h"
#include "input_events.h"

namespace marqen {

class MarqenToolsModel;
class MarqenPreferences;
class MarqenDOMText;
class MarqenDOMBitmap;
class MarqenTextEditingSession;
class MarqenTextLayout;

// The handles a single selected element shows. End points belong to lines and arrows; the eight resize
// handles (Top/Bottom/Left/Right name the side they move, as seen) and the rotation handle above the top
// edge (see rotationHandle()) to rectangles, ellipses and bitmaps; the tail handle to stamps (at the tail's end, or where a tail
// would begin); the wrap-width handle to paragraph texts (the middle of the right edge).
enum class MarqenHandleKind {
    StartPoint,
    EndPoint,
    TopLeft,
    Top,
    TopRight,
    Right,
    BottomRight,
    Bottom,
    BottomLeft,
    Left,
    Rotation,
    StampTail,
    WrapWidth,
};

// The text caret as shown: the line from the top to the bottom of the caret, in view pixels (it leans
// with a turned text), and the view rectangle that holds it.
struct MarqenTextCaret {
    CGPoint top, bottom;
    CGRect viewRect;
};

struct MarqenHandle {
    MarqenHandleKind kind;
    CGRect viewRect;  // a square of kHandleSize view pixels centred on the handle's point
};

inline constexpr const char *kMarqenDocumentViewErrorDomain = "MarqenDocumentViewErrorDomain";

class MARQEN_EXPORT MarqenDocumentView {
public:
    struct Delegate {
        // A rectangle of the view (view pixels) to draw again.
        std::function<void(CGRect)> needsRedraw;
        // "default", "crosshair", "move", "grab", "grabbing", "text".
        std::function<void(const std::string &)> cursorDidChange;
        std::function<void()> selectionDidChange;
    };

    static constexpr CGFloat kMinimumZoom = 0.02;
    static constexpr CGFloat kMaximumZoom = 64.0;
    // The hit slop around thin strokes, in view pixels.
    static constexpr CGFloat kHitSlop = 6.0;
    // Handles keep this size in view pixels at any zoom.
    static constexpr CGFloat kHandleSize = 10.0;

    MarqenDocumentView(std::shared_ptr<MarqenDOMDocument> document, MarqenToolsModel *tools,
                       MarqenPreferences *preferences);
    ~MarqenDocumentView();
    MarqenDocumentView(const MarqenDocumentView &) = delete;
    MarqenDocumentView &operator=(const MarqenDocumentView &) = delete;

    const std::shared_ptr<MarqenDOMDocument> &document() const { return document_; }
    void setDelegate(Delegate delegate) { delegate_ = std::move(delegate); }

    // View transform: view = page · zoom + pan (view pixels, y down). The page part is the renderer's own
    // mapping (MarqenDOMDocumentRenderer::modelViewTransformAtFrameSize) of the document frame onto a
    // y-up target of the frame's size, as images are drawn, seen from above with y down: for the usual
    // coordinate system 1 the frame's origin is at the top left, for coordinate system 2 the model's y
    // axis points up. A host draws the page by concatenating drawingTransform() and letting a renderer of
    // the frame's size draw into that, so that what it shows and where the pointer edits agree. The scale
    // factor is the host's device pixels per view pixel and only sizes what is drawn, not the mapping.
    CGFloat zoom() const { return zoom_; }
    CGPoint pan() const { return pan_; }
    CGFloat scaleFactor() const { return scaleFactor_; }
    // Non-finite or non-positive values are ignored; the zoom is held within its limits; the view point
    // `anchor` keeps showing the same model point.
    void setZoom(CGFloat zoom, CGPoint anchor = {0, 0});
    void setPan(CGPoint pan);
    void setScaleFactor(CGFloat factor);
    // Scroll by a delta in view pixels.
    void scrollBy(CGPoint delta);
    CGAffineTransform modelToViewTransform() const;
    CGAffineTransform viewToModelTransform() const;
    // The page part alone (zoom 1, no pan); the identity without a document or with an empty frame.
    CGAffineTransform pageTransform() const;
    // The transform to concatenate onto a y-down view context before a renderer whose size is the
    // document frame's size draws the page (the renderer's target is y-up like the platform's).
    CGAffineTransform drawingTransform() const;
    CGPoint modelPointForViewPoint(CGPoint point) const;
    CGPoint viewPointForModelPoint(CGPoint point) const;
    // A distance in view pixels (x right, y down) as a distance in the model.
    CGPoint modelDeltaForViewDelta(CGPoint delta) const;

    // The size of the visible area in view pixels; pasted pictures and text land in its middle (in the
    // page's middle while it is unknown).
    void setViewportSize(CGSize size);
    CGSize viewportSize() const { return viewportSize_; }

    // Values new elements are drawn with.
    void setToolColor(const MarqenDOMColor &color) { toolColor_ = color; }
    const MarqenDOMColor &toolColor() const { return toolColor_; }
    void setToolSize(CGFloat relative) { toolSize_ = relative; }
    CGFloat toolSize() const { return toolSize_; }

    void setTextBlockStyle(MarqenDOMTextBlockStyle style) { textBlockStyle_ = style; }
    MarqenDOMTextBlockStyle textBlockStyle() const { return textBlockStyle_; }
    void setTextFont(const MarqenDOMFont &font) { textFont_ = font; }
    const std::optional<MarqenDOMFont> &textFont() const { return textFont_; }

    // What every selected element shares; nothing when none is selected or they differ. Stamps have no
    // colour or size of their own and are passed over.
    std::optional<MarqenDOMColor> singleColorForSelectedElements() const;
    std::optional<CGFloat> singleToolSizeForSelectedElements() const;
    // Property edits of the selection, each one undo step ("Color Change", "Size Change", "Text Style Change",
    // "Text Font Change"); the style and font reach texts only. Nothing happens without a change.
    void setToolColorForSelectedElements(const MarqenDOMColor &color);
    void setToolSizeForSelectedElements(CGFloat relative);
    void setTextBlockStyleForSelectedElements(MarqenDOMTextBlockStyle style);
    void setTextFontForSelectedElements(const MarqenDOMFont &font);

    // Selection, in document order of selecting.
    const std::vector<std::shared_ptr<MarqenDOMElement>> &selectedElements() const { return selection_; }
    void selectElements(std::vector<std::shared_ptr<MarqenDOMElement>> elements);
    void clearNodeSelection() { selectElements({}); }
    void selectAll();
    // The topmost annotation (not the background) under a view point, within the hit slop.
    std::shared_ptr<MarqenDOMElement> elementAtViewPoint(CGPoint point) const;

    // The handles of the one selected element; none while a gesture runs or with another selection.
    std::vector<MarqenHandle> handles() const;
    // The rotation handle of a selected rectangle, ellipse or bitmap, kRotationHandleDistance view pixels
    // above the middle of its top edge; drawn by the host besides handles(), as a round knob.
    std::optional<MarqenHandle> rotationHandle() const;
    static constexpr CGFloat kRotationHandleDistance = 24;

    // Input. Events that make no sense in the current state (a release without a press, a move after the
    // gesture ended, a non-finite location) are ignored.
    void pointerPressed(const MarqenPointerEvent &event);
    void pointerMoved(const MarqenPointerEvent &event);
    void pointerReleased(const MarqenPointerEvent &event);
    // True when the key did something.
    bool keyPressed(const MarqenKeyEvent &event);
    bool isGestureRunning() const { return gesture_ != Gesture::None; }

    // Edits of the selection, each one undo step.
    void nudgeSelection(CGPoint viewUnits);   // "Nudge"
    void deleteSelection();                    // "Delete"
    void undo();
    void redo();

    // Text. The text tool (or typing with nothing selected, when "preferenceTypingCreatesTextAnnotation" is
    // on) starts a new text in edit mode; a double-click on a text edits it again. While editing, committed
    // text goes in at the caret, pre-edit text shows there until committed, Return starts a new line,
    // arrows move the caret (Shift extends the selection), a press in the text places the caret and
    // Escape or a press outside ends editing. Ending leaves one undo step ("Add Text" or "Typing"); a text
    // left empty is removed.
    bool insertText(const std::string &text);
    void setPreeditText(const std::string &text);
    bool isEditingText() const { return static_cast<bool>(editingText_); }
    const std::shared_ptr<MarqenDOMText> &editingText() const { return editingText_; }
    // Byte offsets into the edited text (without the pre-edit text).
    size_t textCaret() const;
    std::pair<size_t, size_t> textSelectionRange() const;
    // Where the caret is drawn while a text is edited: laid out as the renderer lays out the text, after
    // the pre-edit text while composing. Nothing when no text is edited or with a selection in it. It
    // moves with typing, the arrow keys, presses in the text, pre-edit text and the view transform, each
    // of which asks the host to redraw.
    std::optional<MarqenTextCaret> textCaretInView() const;
    void endTextEditing();

    // Clipboard, as "com.brondale.marqen.json" payloads. Copy gives the selection's payload (empty with
    // nothing selected); cut also removes it ("Cut"). Paste adds the payload's elements as one step
    // ("Paste") and selects them; where they would lie exactly over elements already on the page they move
    // on by 10 view units until they do not. False (with the error) for a payload that does not read or
    // holds nothing usable.
    std::string copySelection() const;
    std::string cutSelection();
    bool paste(const std::string &payload, MarqenError *error = nullptr);
    // An image from the clipboard becomes a bitmap ("Paste") in the middle of the view, scaled down to
    // fit inside the page; plain text becomes a text element there. Both end selected.
    bool pasteImage(const MarqenImageRef &image, MarqenError *error = nullptr);
    bool pasteText(const std::string &text, MarqenError *error = nullptr);
    // A dropped image file becomes a bitmap ("Drop") centred on the drop point (view pixels), scaled down
    // to fit inside the page and moved inside it. A file that is not an image is refused.
    bool dropImageFile(const std::filesystem::path &file, CGPoint viewPoint, MarqenError *error = nullptr);

    // Whole-page operations, each one undo step; false (with the reason) when refused, the page unchanged.
    // Rotate Canvas turns the page and everything on it a quarter turn as seen; the frame keeps its origin.
    bool rotateCanvas(bool clockwise = true, MarqenError *error = nullptr);
    // Crop keeps the part of the page inside rect (model units, cut to the frame and to whole units, at
    // least 10 × 10); what stays keeps its place on screen relative to the new frame's origin.
    bool cropToRect(CGRect rect, MarqenError *error = nullptr);
    // Resize Canvas scales the page and everything on it; each side ends within 10 … 50000 units.
    bool resizeCanvas(CGFloat scale, MarqenError *error = nullptr);
    // Pixelate replaces the pixels of every picture under rect (model units) with blocks of their
    // average colour, for good: the pictures get new pixels, the originals are kept only by undo.
    bool pixelateRect(CGRect rect, MarqenError *error = nullptr);
    // The rectangle (model units) that a crop or pixelate drag is choosing, for the host to draw; with the
    // crop tool it stays after the drag until Return applies it or Escape drops it.
    const std::optional<CGRect> &pendingRect() const { return pendingRect_; }

private:
    enum class Gesture { None, Drawing, Moving, Panning, Handle, ChoosingRect };
    bool beginHandleDrag(CGPoint viewPoint);
    void beginTextEditing(const std::shared_ptr<MarqenDOMText> &text, bool isNew);
    std::shared_ptr<MarqenDOMText> createText(CGPoint modelPoint);
    void showEditedText();
    bool editingKeyPressed(const MarqenKeyEvent &event);
    void placeTextCaret(CGPoint modelPoint, bool extend);
    // The edited text laid out as the renderer lays it out (font, alignment, line height, wrap width),
    // and the frame it is drawn into, in the text's own space.
    std::unique_ptr<MarqenTextLayout> editedTextLayout(CGRect *frame) const;
    void dragHandle(CGPoint modelPoint, bool shift);
    void finishHandleDrag();
    void beginDrawing(CGPoint modelPoint, const MarqenPointerEvent &event);
    void finishDrawing(CGPoint modelPoint, const MarqenPointerEvent &event);
    void cancelGesture();
    void putBackMovedElements();
    void translateSelection(CGPoint delta, const std::string &actionName);
    void translateElements(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements, CGPoint delta);
    // Runs change on each element with undo registered through its geometry value, so that every kind undoes
    // alike (kinds without one register their own undo).
    void changeElementsUndoably(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements,
                                const std::function<void(MarqenDOMElement &)> &change);
    std::vector<std::shared_ptr<MarqenDOMElement>> allElementsOnPage(bool includeBackground) const;
    // Common checks before a whole-page operation; ends text editing and waits for pending work.
    bool prepareForPageOperation(MarqenError *error);
    bool storePicturesForUndo(const std::vector<std::shared_ptr<MarqenDOMBitmap>> &pictures, MarqenError *error);
    bool insertElement(const std::shared_ptr<MarqenDOMElement> &element, const std::string &actionName);
    // Adds a user's element to its layer; pictures go among the annotations.
    void addAnnotation(const std::shared_ptr<MarqenDOMElement> &element);
    void finishChoosingRect(CGPoint modelPoint);
    CGRect fittedImageFrame(CGSize imageSize, CGPoint modelCenter) const;
    void attachStampLabel(const std::shared_ptr<MarqenDOMElement> &element);
    CGPoint insertionPoint() const;
    static bool isUsablePointForView(CGPoint point);
    // Removes elements and their labels as one undoable change that puts each back where it was.
    void removeElementsUndoably(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements);
    void placeLabelsQuietly(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements);
    // With the expandable canvas on, grows the page to take in the elements, within the current undo group.
    void expandCanvasToFit(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements);
    void editSelection(const std::string &actionName, const std::function<void(MarqenDOMElement &)> &edit);
    void notifySelection();
    void settlePendingStrokeFit();
    void redrawAll();
    void setCursor(const std::string &cursor);
    UndoManager *undoManager() const { return document_ ? document_->undoManager() : nullptr; }

    std::shared_ptr<MarqenDOMDocument> document_;
    MarqenToolsModel *tools_;
    MarqenPreferences *preferences_;
    Delegate delegate_;

    CGFloat zoom_ = 1, scaleFactor_ = 1;
    CGSize viewportSize_{0, 0};
    CGPoint pan_{0, 0};
    MarqenDOMColor toolColor_{0xFC, 0x0C, 0x59, 1};
    CGFloat toolSize_ = 0.6;
    MarqenDOMTextBlockStyle textBlockStyle_ = MarqenDOMTextBlockStyleBubble;
    std::optional<MarqenDOMFont> textFont_;

    std::vector<std::shared_ptr<MarqenDOMElement>> selection_;
    Gesture gesture_ = Gesture::None;
    std::shared_ptr<MarqenDOMElement> drawing_;
    std::string drawingActionName_;
    MarqenHandleKind handleKind_ = MarqenHandleKind::EndPoint;
    std::any savedGeometry_;
    std::vector<std::any> moveStartGeometries_;
    // Labels of moved elements that are not selected themselves, as they stood when the move began: a
    // cancelled move puts them back exactly, not where a fresh placement would put them.
    std::vector<std::pair<std::shared_ptr<MarqenDOMElement>, std::any>> moveStartLabelGeometries_;
    CGRect savedBounds_{};
    CGPoint gestureStart_{}, lastModelPoint_{}, lastViewPoint_{}, movedBy_{};
    double lastTimestamp_ = 0;
    std::string cursor_ = "default";
    std::shared_ptr<MarqenDOMText> editingText_;
    std::unique_ptr<MarqenTextEditingSession> textSession_;
    std::string originalText_;
    bool editingNewText_ = false;
    std::optional<CGRect> pendingRect_;
    CGPoint rotationCenter_{};
    CGFloat rotationStartAngle_ = 0, appliedRotation_ = 0;
    // A freehand stroke's fitted path is still being made in the background.
    bool strokeFitPending_ = false;
};

}  // namespace marqen
