// The GTK face of the document controller: GTK input in, the controller's notices out as redraws and
// cursors, and the page drawn from the canvas cache with the selection on top.
#include "marqenkit-gtk/marqen-document-view.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <optional>
#include <memory>
#include <string>

#include <marqenkit/dom/bitmap.h>
#include <marqenkit/dom/layer.h>
#include <marqenkit/dom/notifications.h>
#include <marqenkit/dom/text.h>
#include <marqenkit/editing/tools_model.h>
#include <marqenkit/formats/dom_json_file.h>
#include <marqenkit/foundation/geometry_functions.h>
#include <marqenkit/foundation/undo_manager.h>
#include <marqenkit/interaction/composition_view.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/interaction/preferences.h>
#include <marqenkit/platform/image_io.h>

#include "canvas_cache.h"
#include "gtk_error.h"
#include "image_texture.h"
#include "input_translation.h"
#include "marqenkit-gtk/marqen-main-queue-source.h"
#include "view_clipboard.h"

namespace {

using marqen::CGAffineTransform;
using marqen::CGPoint;
using marqen::CGRect;
using marqen::gtk::PointerShape;

// The page keeps this much room around it when fitted, in logical pixels.
constexpr double kFitMargin = 24;
constexpr double kZoomStep = 1.25;
// A wheel notch scrolls this many logical pixels.
constexpr double kWheelStep = 48;
// Selection and handle colours: the GNOME accent blue and white.
constexpr GdkRGBA kAccent{0.208f, 0.518f, 0.894f, 1.0f};
constexpr GdkRGBA kHandleFill{1, 1, 1, 1};

struct ViewState {
    std::shared_ptr<marqen::MarqenDOMDocument> document;
    std::unique_ptr<marqen::MarqenToolsModel> ownTools;
    marqen::MarqenToolsModel *tools = nullptr;
    MarqenToolBar *toolBar = nullptr;  // a reference is held while set
    // The pages on show (one for a single document) and the controller of the page on show inside.
    std::unique_ptr<marqen::MarqenCompositionView> pages;
    marqen::gtk::CanvasCache cache;
    std::vector<marqen::NotificationToken> documentObservers;
    marqen::NotificationToken toolObserver;
    GtkIMContext *im = nullptr;
    bool fitMode = true;
    double zoomAtGestureStart = 1;
    CGPoint dragStart{};
    CGPoint pointer{-1, -1};
    bool pointerInside = false;
    // Click counting: GTK's gestures give it only to a press that is not also a drag.
    guint32 lastPressTime = 0;
    CGPoint lastPressPoint{};
    unsigned clickCount = 0;
    std::string controllerCursor = "default";
    std::map<int, GdkCursor *> cursors;
    int cursorScale = 0;
    PointerShape shownShape = PointerShape::Default;
    guint changedIdle = 0;
    std::vector<GtkEventController *> gestures;  // owned by the widget
    // The text caret: shown or hidden in its blink, where it was last drawn, and the blink's timer.
    bool caretOn = true;
    std::optional<marqen::CGRect> caretRect;
    guint caretBlink = 0;
    gint64 caretMovedAt = 0;
};

}  // namespace

struct _MarqenGtkDocumentView {
    GtkWidget parent_instance;
    ViewState *state;
};

G_DEFINE_FINAL_TYPE(MarqenGtkDocumentView, marqen_gtk_document_view, GTK_TYPE_WIDGET)

enum { PROP_0, PROP_ZOOM, PROP_TOOL, PROP_HAS_SELECTION, N_PROPS };
static GParamSpec *properties[N_PROPS];
enum { SIGNAL_SELECTION_CHANGED, SIGNAL_CHANGED, SIGNAL_FILE_DROPPED, SIGNAL_PAGE_CHANGED, N_SIGNALS };
static guint signals[N_SIGNALS];

namespace {

marqen::MarqenDocumentView *controllerOf(MarqenGtkDocumentView *view) {
    return view->state->pages ? view->state->pages->marqenDocumentView() : nullptr;
}

CGAffineTransform modelToView(MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    if (!controller) return marqen::CGAffineTransformIdentity;
    return controller->modelToViewTransform();
}

CGRect pageRectInView(MarqenGtkDocumentView *view) {
    if (!view->state->document) return marqen::CGRectNull;
    return marqen::CGRectStandardize(marqen::CGRectApplyAffineTransform(view->state->document->frame(), modelToView(view)));
}

void emitChangedSoon(MarqenGtkDocumentView *view) {
    if (view->state->changedIdle) return;
    // No reference is held: dispose removes the source.
    view->state->changedIdle = g_idle_add(
        +[](gpointer data) -> gboolean {
            auto *self = MARQEN_GTK_DOCUMENT_VIEW(data);
            self->state->changedIdle = 0;
            g_signal_emit(self, signals[SIGNAL_CHANGED], 0);
            return G_SOURCE_REMOVE;
        },
        view);
}

// ---- text caret ----

// The caret blinks as GTK's own text fields do (gtk-cursor-blink, -blink-time, -blink-timeout): shown for
// two thirds of a period and hidden for one, steady again after the timeout without typing.
void stopCaretBlink(MarqenGtkDocumentView *view) {
    if (view->state->caretBlink) g_source_remove(view->state->caretBlink);
    view->state->caretBlink = 0;
}

gboolean caretBlinkTick(gpointer data);

void scheduleCaretBlink(MarqenGtkDocumentView *view) {
    gboolean blink = TRUE;
    int period = 1200;
    g_object_get(gtk_widget_get_settings(GTK_WIDGET(view)), "gtk-cursor-blink", &blink, "gtk-cursor-blink-time", &period, nullptr);
    if (!blink || period <= 0) return;
    const guint interval = guint(std::max(period, 100) * (view->state->caretOn ? 2 : 1) / 3);
    view->state->caretBlink = g_timeout_add(interval, caretBlinkTick, view);
}

gboolean caretBlinkTick(gpointer data) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(data);
    ViewState &state = *view->state;
    state.caretBlink = 0;
    int timeout = 10;
    g_object_get(gtk_widget_get_settings(GTK_WIDGET(view)), "gtk-cursor-blink-timeout", &timeout, nullptr);
    if (g_get_monotonic_time() - state.caretMovedAt > gint64(timeout) * G_USEC_PER_SEC) {
        state.caretOn = true;  // resting: steady
    } else {
        state.caretOn = !state.caretOn;
        scheduleCaretBlink(view);
    }
    if (state.caretRect) gtk_widget_queue_draw(GTK_WIDGET(view));
    return G_SOURCE_REMOVE;
}

// Called whenever the controller may have moved the caret: it shows at once (a blink starts over) and the
// input method hears where it is, so that its candidates appear beside it.
void caretMayHaveMoved(MarqenGtkDocumentView *view) {
    ViewState &state = *view->state;
    auto *controller = controllerOf(view);
    std::optional<marqen::MarqenTextCaret> caret = controller ? controller->textCaretInView() : std::nullopt;
    const bool shown = caret && gtk_widget_has_focus(GTK_WIDGET(view));
    if (!shown) {
        stopCaretBlink(view);
        state.caretOn = true;
        if (state.caretRect) gtk_widget_queue_draw(GTK_WIDGET(view));
        state.caretRect.reset();
        return;
    }
    const bool moved = !state.caretRect || !marqen::CGRectEqualToRect(*state.caretRect, caret->viewRect);
    // A redraw that left the caret where it was keeps its blink going.
    if (!moved && (state.caretBlink || state.caretOn)) {
        if (!state.caretBlink) scheduleCaretBlink(view);
        return;
    }
    stopCaretBlink(view);
    state.caretOn = true;
    state.caretRect = caret->viewRect;
    state.caretMovedAt = g_get_monotonic_time();
    const marqen::CGRect area = caret->viewRect;
    const GdkRectangle location{int(std::floor(area.origin.x)), int(std::floor(area.origin.y)),
                                std::max(1, int(std::ceil(area.size.width))), std::max(1, int(std::ceil(area.size.height)))};
    gtk_im_context_set_cursor_location(state.im, &location);
    scheduleCaretBlink(view);
}

// ---- cursors ----

GdkCursor *cursorFor(MarqenGtkDocumentView *view, PointerShape shape) {
    ViewState &state = *view->state;
    const int scale = gtk_widget_get_scale_factor(GTK_WIDGET(view));
    if (scale != state.cursorScale) {
        for (auto &[key, cursor] : state.cursors)
            if (cursor) g_object_unref(cursor);
        state.cursors.clear();
        state.cursorScale = scale;
    }
    auto found = state.cursors.find(int(shape));
    if (found != state.cursors.end()) return found->second;
    marqen::MarqenRGBAColor ink{0, 0, 0, 1};
    if (auto *controller = controllerOf(view)) {
        const auto &color = controller->toolColor();
        ink = {color.red() / 255.0, color.green() / 255.0, color.blue() / 255.0, 1};
    }
    GdkCursor *cursor = marqen::gtk::cursorForPointerShape(shape, scale, ink);
    state.cursors[int(shape)] = cursor;
    return cursor;
}

unsigned long currentTool(MarqenGtkDocumentView *view) {
    return view->state->tools ? view->state->tools->currentTool().toolID() : marqen::MarqenToolIDArrow;
}

void updateCursor(MarqenGtkDocumentView *view) {
    ViewState &state = *view->state;
    PointerShape shape = PointerShape::Default;
    auto *controller = controllerOf(view);
    if (controller && controller->isGestureRunning()) {
        shape = marqen::gtk::pointerShapeForControllerCursor(state.controllerCursor);
    } else if (controller && state.pointerInside) {
        shape = marqen::gtk::pointerShapeForTool(currentTool(view));
        bool onHandle = false;
        auto handles = controller->handles();
        if (auto rotation = controller->rotationHandle()) handles.push_back(*rotation);
        for (const auto &handle : handles)
            if (marqen::CGRectContainsPoint(handle.viewRect, state.pointer)) {
                shape = marqen::gtk::pointerShapeForHandle(handle.kind);
                onHandle = true;
            }
        if (!onHandle) {
            if (controller->isEditingText()) {
                const CGRect bounds = marqen::CGRectApplyAffineTransform(controller->editingText()->contentBounds(), modelToView(view));
                if (marqen::CGRectContainsPoint(marqen::CGRectStandardize(bounds), state.pointer)) shape = PointerShape::Text;
            } else if (currentTool(view) != marqen::MarqenToolIDPan && controller->elementAtViewPoint(state.pointer)) {
                shape = PointerShape::Move;
            }
        }
    }
    if (shape == state.shownShape && gtk_widget_get_cursor(GTK_WIDGET(view)) == cursorFor(view, shape)) return;
    state.shownShape = shape;
    gtk_widget_set_cursor(GTK_WIDGET(view), cursorFor(view, shape));
}

// ---- zoom ----

void fitPage(MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    const int width = gtk_widget_get_width(GTK_WIDGET(view)), height = gtk_widget_get_height(GTK_WIDGET(view));
    if (!controller || width <= 0 || height <= 0) return;
    const CGRect frame = view->state->document->frame();
    if (!(frame.size.width > 0) || !(frame.size.height > 0)) return;
    const double available = std::max(1.0, width - 2 * kFitMargin), availableHeight = std::max(1.0, height - 2 * kFitMargin);
    // A small picture is shown at its own size rather than blown up.
    const double zoom = std::min({available / frame.size.width, availableHeight / frame.size.height, 1.0});
    controller->setZoom(zoom, CGPoint{0, 0});
    // The page's place under the controller's own mapping, moved to the middle.
    const CGRect page = pageRectInView(view);
    const CGPoint pan = controller->pan();
    controller->setPan(CGPoint{std::round(pan.x + (width - page.size.width) / 2 - page.origin.x),
                               std::round(pan.y + (height - page.size.height) / 2 - page.origin.y)});
    g_object_notify_by_pspec(G_OBJECT(view), properties[PROP_ZOOM]);
}

void zoomAround(MarqenGtkDocumentView *view, double zoom, CGPoint anchor) {
    auto *controller = controllerOf(view);
    if (!controller || !std::isfinite(zoom)) return;
    view->state->fitMode = false;
    controller->setZoom(zoom, anchor);
    g_object_notify_by_pspec(G_OBJECT(view), properties[PROP_ZOOM]);
    gtk_widget_queue_draw(GTK_WIDGET(view));
}

CGPoint viewCentre(MarqenGtkDocumentView *view) {
    return CGPoint{gtk_widget_get_width(GTK_WIDGET(view)) / 2.0, gtk_widget_get_height(GTK_WIDGET(view)) / 2.0};
}

// ---- selection walk ----

std::vector<std::shared_ptr<marqen::MarqenDOMElement>> elementsInOrder(const marqen::MarqenDOMDocument &document) {
    std::vector<std::shared_ptr<marqen::MarqenDOMElement>> elements;
    for (const auto &layer : {document.annotationLayer(), document.textLayer()}) {
        if (!layer) continue;
        for (const auto &child : layer->children())
            if (auto element = std::dynamic_pointer_cast<marqen::MarqenDOMElement>(child)) elements.push_back(element);
    }
    return elements;
}

void selectNeighbour(MarqenGtkDocumentView *view, bool forward) {
    auto *controller = controllerOf(view);
    if (!controller || controller->isGestureRunning()) return;
    if (controller->isEditingText()) controller->endTextEditing();
    auto elements = elementsInOrder(*view->state->document);
    if (elements.empty()) return;
    const auto &selected = controller->selectedElements();
    size_t next = forward ? 0 : elements.size() - 1;
    if (!selected.empty()) {
        auto at = std::find(elements.begin(), elements.end(), forward ? selected.back() : selected.front());
        if (at != elements.end()) {
            const size_t index = size_t(at - elements.begin());
            next = forward ? (index + 1) % elements.size() : (index + elements.size() - 1) % elements.size();
        }
    }
    controller->selectElements({elements[next]});
}

// ---- controller and document ----

void observeDocument(MarqenGtkDocumentView *view) {
    ViewState &state = *view->state;
    state.documentObservers.clear();
    if (!state.document) return;
    auto &center = marqen::NotificationCenter::defaultCenter();
    auto document = state.document.get();
    for (const char *name : {marqen::MarqenDOMNodeDidChange, marqen::MarqenDOMNodeDidAddChild, marqen::MarqenDOMNodeDidRemoveChild})
        state.documentObservers.push_back(center.addObserver(name, nullptr, [view, document](const marqen::Notification &n) {
            const auto *node = static_cast<const marqen::MarqenDOMNode *>(n.object);
            if (node && (node == document || node->document().get() == document)) {
                emitChangedSoon(view);
                gtk_widget_queue_draw(GTK_WIDGET(view));
            }
        }));
    for (const char *name : {marqen::kMarqenUndoManagerDidUndoChangeNotification, marqen::kMarqenUndoManagerDidRedoChangeNotification})
        state.documentObservers.push_back(center.addObserver(name, document->undoManager(),
                                                             [view](const marqen::Notification &) { emitChangedSoon(view); }));
}

// The page on show is another one (or the first of new pages): the picture, the observers and the zoom follow.
void pageShown(MarqenGtkDocumentView *view) {
    ViewState &state = *view->state;
    auto *controller = controllerOf(view);
    state.document = controller ? controller->document() : nullptr;
    state.controllerCursor = "default";
    state.cache.setDocument(state.document);
    observeDocument(view);
    if (controller) controller->setScaleFactor(gtk_widget_get_scale_factor(GTK_WIDGET(view)));
    if (state.fitMode) fitPage(view);
    updateCursor(view);
    caretMayHaveMoved(view);
    g_object_notify_by_pspec(G_OBJECT(view), properties[PROP_HAS_SELECTION]);
    g_signal_emit(view, signals[SIGNAL_PAGE_CHANGED], 0, guint(state.pages->currentPageIndex()));
    emitChangedSoon(view);
    gtk_widget_queue_draw(GTK_WIDGET(view));
}

void makePagesController(MarqenGtkDocumentView *view) {
    ViewState &state = *view->state;
    state.pages = std::make_unique<marqen::MarqenCompositionView>(std::shared_ptr<marqen::MarqenComposition>(), state.tools,
                                                                  &marqen::MarqenPreferences::shared());
    marqen::MarqenCompositionView::Delegate delegate;
    delegate.needsRedraw = [view](CGRect) {
        gtk_widget_queue_draw(GTK_WIDGET(view));
        caretMayHaveMoved(view);
    };
    delegate.cursorDidChange = [view](const std::string &cursor) {
        view->state->controllerCursor = cursor;
        updateCursor(view);
    };
    delegate.selectionDidChange = [view]() {
        g_signal_emit(view, signals[SIGNAL_SELECTION_CHANGED], 0);
        g_object_notify_by_pspec(G_OBJECT(view), properties[PROP_HAS_SELECTION]);
        emitChangedSoon(view);
    };
    delegate.pageDidChange = [view](size_t) { pageShown(view); };
    state.pages->setDelegate(std::move(delegate));
}

void setTools(MarqenGtkDocumentView *view, marqen::MarqenToolsModel *tools) {
    ViewState &state = *view->state;
    state.tools = tools;
    state.toolObserver = marqen::NotificationCenter::defaultCenter().addObserver(
        marqen::kMarqenToolsModelCurrentToolDidChangeNotification, tools, [view](const marqen::Notification &) {
            // A new tool draws in its own colour: the cursors are made again.
            for (auto &[key, cursor] : view->state->cursors)
                if (cursor) g_object_unref(cursor);
            view->state->cursors.clear();
            updateCursor(view);
            g_object_notify_by_pspec(G_OBJECT(view), properties[PROP_TOOL]);
        });
    // The page's controller reads the tools model it was made with: a new model gives it a new one.
    if (state.pages) state.pages->setToolsModel(tools);
    else makePagesController(view);
}

// ---- input ----

unsigned countClick(MarqenGtkDocumentView *view, CGPoint point, guint32 time) {
    ViewState &state = *view->state;
    int doubleClickTime = 400, doubleClickDistance = 5;
    g_object_get(gtk_widget_get_settings(GTK_WIDGET(view)), "gtk-double-click-time", &doubleClickTime,
                 "gtk-double-click-distance", &doubleClickDistance, nullptr);
    const bool close = std::hypot(point.x - state.lastPressPoint.x, point.y - state.lastPressPoint.y) <= doubleClickDistance;
    if (state.clickCount > 0 && close && time - state.lastPressTime <= guint32(doubleClickTime))
        ++state.clickCount;
    else
        state.clickCount = 1;
    state.lastPressTime = time;
    state.lastPressPoint = point;
    return state.clickCount;
}

marqen::MarqenPointerEvent pointerEvent(GtkEventController *controller, CGPoint location) {
    marqen::MarqenPointerEvent event;
    event.location = location;
    event.modifiers = marqen::gtk::modifiersForState(gtk_event_controller_get_current_event_state(controller));
    if (GdkEvent *current = gtk_event_controller_get_current_event(controller)) {
        event.timestamp = gdk_event_get_time(current) / 1000.0;
        double pressure = 1;
        // Pens report their pressure; a mouse has none and presses fully.
        if (gdk_event_get_axis(current, GDK_AXIS_PRESSURE, &pressure) && std::isfinite(pressure))
            event.pressure = std::clamp(pressure, 0.0, 1.0);
    }
    return event;
}

void onDragBegin(GtkGestureDrag *gesture, double x, double y, MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    gtk_widget_grab_focus(GTK_WIDGET(view));
    if (!controller) return;
    view->state->dragStart = CGPoint{x, y};
    auto event = pointerEvent(GTK_EVENT_CONTROLLER(gesture), CGPoint{x, y});
    GdkEvent *current = gtk_event_controller_get_current_event(GTK_EVENT_CONTROLLER(gesture));
    event.clickCount = countClick(view, CGPoint{x, y}, current ? gdk_event_get_time(current) : 0);
    view->state->pages->pointerPressed(event);
    updateCursor(view);
    gtk_widget_queue_draw(GTK_WIDGET(view));
}

void onDragUpdate(GtkGestureDrag *gesture, double dx, double dy, MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    if (!controller) return;
    const CGPoint location{view->state->dragStart.x + dx, view->state->dragStart.y + dy};
    view->state->pointer = location;
    view->state->pages->pointerMoved(pointerEvent(GTK_EVENT_CONTROLLER(gesture), location));
}

void onDragEnd(GtkGestureDrag *gesture, double dx, double dy, MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    if (!controller) return;
    const CGPoint location{view->state->dragStart.x + dx, view->state->dragStart.y + dy};
    view->state->pages->pointerReleased(pointerEvent(GTK_EVENT_CONTROLLER(gesture), location));
    updateCursor(view);
    gtk_widget_queue_draw(GTK_WIDGET(view));
}

void onDragCancel(GtkGesture *, GdkEventSequence *, MarqenGtkDocumentView *view) {
    // Another gesture (a pinch) took the pointer: the drag ends where it was.
    auto *controller = controllerOf(view);
    if (!controller || !controller->isGestureRunning()) return;
    marqen::MarqenPointerEvent event;
    event.location = view->state->pointer;
    controller->pointerReleased(event);
}

void onMotion(GtkEventControllerMotion *, double x, double y, MarqenGtkDocumentView *view) {
    view->state->pointer = CGPoint{x, y};
    view->state->pointerInside = true;
    updateCursor(view);
}

void onLeave(GtkEventControllerMotion *, MarqenGtkDocumentView *view) {
    view->state->pointerInside = false;
}

gboolean onScroll(GtkEventControllerScroll *scroll, double dx, double dy, MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    if (!controller) return FALSE;
    const GdkModifierType state = gtk_event_controller_get_current_event_state(GTK_EVENT_CONTROLLER(scroll));
    const bool wheel = gtk_event_controller_scroll_get_unit(scroll) == GDK_SCROLL_UNIT_WHEEL;
    if (state & GDK_CONTROL_MASK) {
        const CGPoint anchor = view->state->pointerInside ? view->state->pointer : viewCentre(view);
        const double steps = wheel ? -dy : -dy / 10;
        zoomAround(view, controller->zoom() * std::pow(kZoomStep, steps), anchor);
        return TRUE;
    }
    const double step = wheel ? kWheelStep : 1;
    // Shift turns a wheel's vertical turn into a horizontal scroll.
    if ((state & GDK_SHIFT_MASK) && dx == 0) std::swap(dx, dy);
    view->state->fitMode = false;
    controller->scrollBy(CGPoint{dx * step, dy * step});
    gtk_widget_queue_draw(GTK_WIDGET(view));
    return TRUE;
}

void onZoomBegin(GtkGesture *, GdkEventSequence *, MarqenGtkDocumentView *view) {
    if (auto *controller = controllerOf(view)) view->state->zoomAtGestureStart = controller->zoom();
}

void onZoomChanged(GtkGestureZoom *gesture, double scale, MarqenGtkDocumentView *view) {
    double x = 0, y = 0;
    if (!gtk_gesture_get_bounding_box_center(GTK_GESTURE(gesture), &x, &y)) {
        const CGPoint centre = viewCentre(view);
        x = centre.x;
        y = centre.y;
    }
    zoomAround(view, view->state->zoomAtGestureStart * scale, CGPoint{x, y});
}

gboolean onKeyPressed(GtkEventControllerKey *keys, guint keyval, guint, GdkModifierType state, MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    if (!controller) return FALSE;
    GdkEvent *event = gtk_event_controller_get_current_event(GTK_EVENT_CONTROLLER(keys));
    const auto modifiers = marqen::gtk::modifiersForState(state);
    if (controller->isEditingText()) {
        if (event && gtk_im_context_filter_keypress(view->state->im, event)) return TRUE;
        const std::string name = marqen::gtk::keyNameForKeyval(keyval);
        return !name.empty() && view->state->pages->keyPressed({name, modifiers});
    }
    const bool typingCreatesText = marqen::MarqenPreferences::shared().typingCreatesTextAnnotation();
    int tool = -1;
    if (marqen::gtk::keyChoosesTool(keyval, state, typingCreatesText, &tool)) {
        marqen_gtk_document_view_set_tool(view, guint(tool));
        return TRUE;
    }
    if ((keyval == GDK_KEY_Tab || keyval == GDK_KEY_ISO_Left_Tab) && !(state & (GDK_CONTROL_MASK | GDK_ALT_MASK))) {
        selectNeighbour(view, keyval == GDK_KEY_Tab && !(state & GDK_SHIFT_MASK));
        return TRUE;
    }
    if (typingCreatesText && !(state & (GDK_CONTROL_MASK | GDK_ALT_MASK)) && controller->selectedElements().empty() &&
        event && gdk_keyval_to_unicode(keyval) && !g_unichar_iscntrl(gdk_keyval_to_unicode(keyval)) &&
        gtk_im_context_filter_keypress(view->state->im, event))
        return TRUE;
    const std::string name = marqen::gtk::keyNameForKeyval(keyval);
    // Through the pages' controller: Page Up and Page Down show other pages, undo follows its steps' pages.
    return !name.empty() && view->state->pages->keyPressed({name, modifiers});
}

void onCommit(GtkIMContext *, const char *text, MarqenGtkDocumentView *view) {
    if (controllerOf(view) && text) {
        view->state->pages->insertText(text);
        updateCursor(view);
    }
}

void onPreeditChanged(GtkIMContext *im, MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    if (!controller || !controller->isEditingText()) return;
    char *text = nullptr;
    gtk_im_context_get_preedit_string(im, &text, nullptr, nullptr);
    view->state->pages->setPreeditText(text ? text : "");
    g_free(text);
}

// ---- drawing ----

void appendRectOutline(GtkSnapshot *snapshot, CGRect rect, float width, const GdkRGBA &color, float radius) {
    GskRoundedRect outline;
    const graphene_rect_t area = GRAPHENE_RECT_INIT(float(rect.origin.x), float(rect.origin.y), float(rect.size.width),
                                                    float(rect.size.height));
    gsk_rounded_rect_init_from_rect(&outline, &area, radius);
    const float widths[4] = {width, width, width, width};
    const GdkRGBA colors[4] = {color, color, color, color};
    gtk_snapshot_append_border(snapshot, &outline, widths, colors);
}

// The caret: a bar as thick as GTK's own (gtk-cursor-aspect-ratio of its height, at least a pixel), dark
// with a light edge on each side so that it shows on any picture, turned with the text.
void appendCaret(GtkSnapshot *snapshot, GtkWidget *widget, const marqen::MarqenTextCaret &caret) {
    const double dx = caret.bottom.x - caret.top.x, dy = caret.bottom.y - caret.top.y;
    const double length = std::hypot(dx, dy);
    if (!(length > 0) || !std::isfinite(length)) return;
    double aspect = 0.04;
    g_object_get(gtk_widget_get_settings(widget), "gtk-cursor-aspect-ratio", &aspect, nullptr);
    const float thickness = float(std::clamp(length * aspect, 1.0, 6.0));
    gtk_snapshot_save(snapshot);
    // An upright caret stands on whole device pixels, sharp rather than smeared over two columns.
    const double scale = gtk_widget_get_scale_factor(widget);
    const double x = std::fabs(dx) < 1e-6 ? (std::round(caret.top.x * scale - thickness * scale / 2) + thickness * scale / 2) / scale
                                          : caret.top.x;
    const graphene_point_t top = GRAPHENE_POINT_INIT(float(x), float(caret.top.y));
    gtk_snapshot_translate(snapshot, &top);
    // Upright the bar runs down the y axis; a turned text turns it.
    gtk_snapshot_rotate(snapshot, float(std::atan2(dy, dx) * 180 / G_PI - 90));
    const GdkRGBA edge{1, 1, 1, 0.85f}, ink{0.12f, 0.12f, 0.14f, 1};
    const graphene_rect_t halo = GRAPHENE_RECT_INIT(-thickness / 2 - 1, 0, thickness + 2, float(length));
    const graphene_rect_t bar = GRAPHENE_RECT_INIT(-thickness / 2, 0, thickness, float(length));
    gtk_snapshot_append_color(snapshot, &edge, &halo);
    gtk_snapshot_append_color(snapshot, &ink, &bar);
    gtk_snapshot_restore(snapshot);
}

void snapshot(GtkWidget *widget, GtkSnapshot *snapshot) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(widget);
    ViewState &state = *view->state;
    auto *controller = controllerOf(view);
    const int width = gtk_widget_get_width(widget), height = gtk_widget_get_height(widget);
    if (!controller || width <= 0 || height <= 0) return;
    const int scale = gtk_widget_get_scale_factor(widget);
    if (controller->scaleFactor() != scale) controller->setScaleFactor(scale);

    // The page lies on the canvas with a soft shadow, as a sheet of paper would.
    const CGRect page = pageRectInView(view);
    if (!marqen::CGRectIsNull(page)) {
        GskRoundedRect outline;
        const graphene_rect_t area = GRAPHENE_RECT_INIT(float(page.origin.x), float(page.origin.y), float(page.size.width),
                                                        float(page.size.height));
        gsk_rounded_rect_init_from_rect(&outline, &area, 0);
        const GdkRGBA shadow{0, 0, 0, 0.28f};
        gtk_snapshot_append_outset_shadow(snapshot, &outline, &shadow, 0, 1, 0, 6);
    }

    cairo_surface_t *picture = state.cache.update(width, height, scale, modelToView(view));
    if (picture) {
        const graphene_rect_t bounds = GRAPHENE_RECT_INIT(0, 0, float(width), float(height));
        cairo_t *cr = gtk_snapshot_append_cairo(snapshot, &bounds);
        cairo_set_source_surface(cr, picture, 0, 0);
        cairo_paint(cr);
        cairo_destroy(cr);
    }

    // The selection's outlines and the handles, in logical pixels whatever the zoom.
    const CGAffineTransform toView = modelToView(view);
    const auto handles = controller->handles();
    for (const auto &element : controller->selectedElements()) {
        // One element with handles needs no outline: the handles frame it.
        if (!handles.empty()) break;
        CGRect bounds = marqen::CGRectStandardize(marqen::CGRectApplyAffineTransform(element->contentBounds(), toView));
        if (marqen::CGRectIsNull(bounds) || !std::isfinite(bounds.size.width)) continue;
        bounds = marqen::CGRectIntegral(marqen::CGRectInset(bounds, -3, -3));
        appendRectOutline(snapshot, bounds, 1, kAccent, 2);
    }
    if (controller->isEditingText()) {
        CGRect bounds = marqen::CGRectStandardize(
            marqen::CGRectApplyAffineTransform(controller->editingText()->contentBounds(), toView));
        if (std::isfinite(bounds.size.width)) {
            bounds = marqen::CGRectIntegral(marqen::CGRectInset(bounds, -4, -4));
            GdkRGBA soft = kAccent;
            soft.alpha = 0.6f;
            appendRectOutline(snapshot, bounds, 2, soft, 3);
        }
        if (state.caretOn && gtk_widget_has_focus(widget))
            if (auto caret = controller->textCaretInView()) appendCaret(snapshot, widget, *caret);
    }
    if (const auto &pending = controller->pendingRect()) {
        const CGRect chosen = marqen::CGRectIntegral(marqen::CGRectStandardize(marqen::CGRectApplyAffineTransform(*pending, toView)));
        if (std::isfinite(chosen.size.width) && std::isfinite(chosen.size.height)) {
            if (currentTool(view) == marqen::MarqenToolIDCrop) {
                // What the crop drops is dimmed around what it keeps.
                const GdkRGBA dim{0, 0, 0, 0.45f};
                const CGRect pageRect = marqen::CGRectIntegral(page);
                const double top = std::max(pageRect.origin.y, chosen.origin.y);
                const double bottom = std::min(marqen::CGRectGetMaxY(pageRect), marqen::CGRectGetMaxY(chosen));
                const CGRect parts[] = {
                    marqen::CGRectMake(pageRect.origin.x, pageRect.origin.y, pageRect.size.width, top - pageRect.origin.y),
                    marqen::CGRectMake(pageRect.origin.x, bottom, pageRect.size.width, marqen::CGRectGetMaxY(pageRect) - bottom),
                    marqen::CGRectMake(pageRect.origin.x, top, chosen.origin.x - pageRect.origin.x, bottom - top),
                    marqen::CGRectMake(marqen::CGRectGetMaxX(chosen), top, marqen::CGRectGetMaxX(pageRect) - marqen::CGRectGetMaxX(chosen), bottom - top)};
                for (const CGRect &part : parts)
                    if (part.size.width > 0 && part.size.height > 0) {
                        const graphene_rect_t area = GRAPHENE_RECT_INIT(float(part.origin.x), float(part.origin.y),
                                                                        float(part.size.width), float(part.size.height));
                        gtk_snapshot_append_color(snapshot, &dim, &area);
                    }
                appendRectOutline(snapshot, marqen::CGRectInset(chosen, -1, -1), 1, kHandleFill, 0);
            }
            appendRectOutline(snapshot, chosen, 1.5f, kAccent, 0);
        }
    }
    if (auto rotation = controller->rotationHandle()) {
        // A round knob, as the rotation handle is drawn everywhere.
        const CGRect rect = rotation->viewRect;
        const graphene_rect_t area = GRAPHENE_RECT_INIT(float(std::round(rect.origin.x)), float(std::round(rect.origin.y)),
                                                        float(rect.size.width), float(rect.size.height));
        GskRoundedRect knob;
        gsk_rounded_rect_init_from_rect(&knob, &area, float(rect.size.width / 2));
        gtk_snapshot_push_rounded_clip(snapshot, &knob);
        gtk_snapshot_append_color(snapshot, &kHandleFill, &area);
        gtk_snapshot_pop(snapshot);
        const float widths[4] = {1.5f, 1.5f, 1.5f, 1.5f};
        const GdkRGBA colors[4] = {kAccent, kAccent, kAccent, kAccent};
        gtk_snapshot_append_border(snapshot, &knob, widths, colors);
    }
    for (const auto &handle : handles) {
        const CGRect rect = handle.viewRect;
        const graphene_rect_t area = GRAPHENE_RECT_INIT(float(std::round(rect.origin.x)), float(std::round(rect.origin.y)),
                                                        float(rect.size.width), float(rect.size.height));
        GskRoundedRect rounded;
        gsk_rounded_rect_init_from_rect(&rounded, &area, 2);
        gtk_snapshot_push_rounded_clip(snapshot, &rounded);
        gtk_snapshot_append_color(snapshot, &kHandleFill, &area);
        gtk_snapshot_pop(snapshot);
        const float widths[4] = {1.5f, 1.5f, 1.5f, 1.5f};
        const GdkRGBA colors[4] = {kAccent, kAccent, kAccent, kAccent};
        gtk_snapshot_append_border(snapshot, &rounded, widths, colors);
    }
}

void sizeAllocate(GtkWidget *widget, int width, int height, int baseline) {
    GTK_WIDGET_CLASS(marqen_gtk_document_view_parent_class)->size_allocate(widget, width, height, baseline);
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(widget);
    if (view->state->fitMode) fitPage(view);
}

void measure(GtkWidget *, GtkOrientation, int, int *minimum, int *natural, int *minimumBaseline, int *naturalBaseline) {
    *minimum = 1;
    *natural = 400;
    *minimumBaseline = *naturalBaseline = -1;
}

// A window closed in the middle of a drag takes the rest of the drag with it: the gesture ends where the
// pointer was, so that what was drawn so far stays as one undoable step.
void endRunningGesture(MarqenGtkDocumentView *view) {
    auto *controller = controllerOf(view);
    if (!controller || !controller->isGestureRunning()) return;
    marqen::MarqenPointerEvent event;
    event.location = view->state->pointer;
    controller->pointerReleased(event);
}

void unrealize(GtkWidget *widget) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(widget);
    endRunningGesture(view);
    for (GtkEventController *controller : view->state->gestures) gtk_event_controller_reset(controller);
    GTK_WIDGET_CLASS(marqen_gtk_document_view_parent_class)->unrealize(widget);
}

void onScaleFactorChanged(MarqenGtkDocumentView *view) {
    if (auto *controller = controllerOf(view)) controller->setScaleFactor(gtk_widget_get_scale_factor(GTK_WIDGET(view)));
    view->state->cache.invalidateAll();
    updateCursor(view);
    gtk_widget_queue_draw(GTK_WIDGET(view));
}

// Whether the file starts as a picture we decode (its first bytes; the name does not count).
bool isPictureFile(const char *path) {
    std::ifstream stream(path, std::ios::binary);
    char head[64] = {};
    stream.read(head, sizeof head);
    return stream.gcount() > 0 && marqen::MarqenImageDetectFormat(head, size_t(stream.gcount())) != marqen::MarqenImageFormat::Unknown;
}

gboolean onDrop(GtkDropTarget *, const GValue *value, double x, double y, MarqenGtkDocumentView *view) {
    if (G_VALUE_HOLDS(value, GDK_TYPE_TEXTURE)) {
        auto image = marqen::gtk::imageForTexture(GDK_TEXTURE(g_value_get_object(value)));
        return image && marqen::gtk::addPicture(view, image);
    }
    if (!G_VALUE_HOLDS(value, GDK_TYPE_FILE_LIST)) return FALSE;
    auto *controller = controllerOf(view);
    GSList *files = gdk_file_list_get_files(static_cast<GdkFileList *>(g_value_get_boxed(value)));
    bool taken = false;
    for (GSList *item = files; item; item = item->next) {
        char *path = g_file_get_path(G_FILE(item->data));
        if (!path) continue;
        // Pictures join the page where they are dropped; anything else (a PDF, a document) is the host's.
        gboolean handled = FALSE;
        marqen::MarqenError error;
        const bool directory = g_file_test(path, G_FILE_TEST_IS_DIR);
        if (!directory && controller && isPictureFile(path) &&
            controller->dropImageFile(path, CGPoint{x, y}, &error))
            handled = TRUE;
        else
            g_signal_emit(view, signals[SIGNAL_FILE_DROPPED], 0, path, &handled);
        taken = taken || handled;
        g_free(path);
    }
    g_slist_free(files);
    return taken;
}

void onFocusIn(GtkEventControllerFocus *, MarqenGtkDocumentView *view) {
    gtk_im_context_focus_in(view->state->im);
    caretMayHaveMoved(view);
}

void onFocusOut(GtkEventControllerFocus *, MarqenGtkDocumentView *view) {
    gtk_im_context_focus_out(view->state->im);
    caretMayHaveMoved(view);
}

// ---- actions ----

void activateAction(GtkWidget *widget, const char *name, GVariant *parameter) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(widget);
    auto *controller = controllerOf(view);
    const std::string action = name;
    if (action == "document-view.zoom-fit") {
        view->state->fitMode = true;
        fitPage(view);
        gtk_widget_queue_draw(widget);
        return;
    }
    if (action == "document-view.tool") {
        if (parameter) marqen_gtk_document_view_set_tool(view, g_variant_get_uint32(parameter));
        return;
    }
    if (!controller) return;
    if (action == "document-view.undo") marqen_gtk_document_view_undo(view);
    else if (action == "document-view.copy") marqen::gtk::copySelection(view, false);
    else if (action == "document-view.cut") marqen::gtk::copySelection(view, true);
    else if (action == "document-view.paste") marqen::gtk::pasteClipboard(view);
    else if (action == "document-view.redo") marqen_gtk_document_view_redo(view);
    else if (action == "document-view.delete") controller->deleteSelection();
    else if (action == "document-view.select-all") controller->selectAll();
    else if (action == "document-view.select-next") selectNeighbour(view, true);
    else if (action == "document-view.select-previous") selectNeighbour(view, false);
    else if (action == "document-view.zoom-in") zoomAround(view, controller->zoom() * kZoomStep, viewCentre(view));
    else if (action == "document-view.zoom-out") zoomAround(view, controller->zoom() / kZoomStep, viewCentre(view));
    else if (action == "document-view.zoom-original") zoomAround(view, 1.0, viewCentre(view));
}

// ---- GObject ----

void dispose(GObject *object) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(object);
    ViewState &state = *view->state;
    if (state.changedIdle) {
        g_source_remove(state.changedIdle);
        state.changedIdle = 0;
    }
    stopCaretBlink(view);
    // Closing in the middle of a drag: the gesture ends before the page goes.
    endRunningGesture(MARQEN_GTK_DOCUMENT_VIEW(object));
    state.documentObservers.clear();
    state.toolObserver.reset();
    state.pages.reset();
    stopCaretBlink(view);  // ending a text edit on the way asked for a redraw
    state.cache.setDocument(nullptr);
    if (state.toolBar) {
        g_object_unref(state.toolBar);
        state.toolBar = nullptr;
    }
    if (state.im) {
        gtk_im_context_set_client_widget(state.im, nullptr);
        g_clear_object(&state.im);
    }
    for (auto &[key, cursor] : state.cursors)
        if (cursor) g_object_unref(cursor);
    state.cursors.clear();
    G_OBJECT_CLASS(marqen_gtk_document_view_parent_class)->dispose(object);
}

void finalize(GObject *object) {
    delete MARQEN_GTK_DOCUMENT_VIEW(object)->state;
    G_OBJECT_CLASS(marqen_gtk_document_view_parent_class)->finalize(object);
}

void getProperty(GObject *object, guint id, GValue *value, GParamSpec *spec) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(object);
    switch (id) {
        case PROP_ZOOM: g_value_set_double(value, marqen_gtk_document_view_get_zoom(view)); break;
        case PROP_TOOL: g_value_set_uint(value, marqen_gtk_document_view_get_tool(view)); break;
        case PROP_HAS_SELECTION: g_value_set_boolean(value, marqen_gtk_document_view_has_selection(view)); break;
        default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    }
}

void setProperty(GObject *object, guint id, const GValue *value, GParamSpec *spec) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(object);
    switch (id) {
        case PROP_ZOOM: marqen_gtk_document_view_set_zoom(view, g_value_get_double(value)); break;
        case PROP_TOOL: marqen_gtk_document_view_set_tool(view, g_value_get_uint(value)); break;
        default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
    }
}

}  // namespace

static void marqen_gtk_document_view_class_init(MarqenGtkDocumentViewClass *klass) {
    GObjectClass *objectClass = G_OBJECT_CLASS(klass);
    GtkWidgetClass *widgetClass = GTK_WIDGET_CLASS(klass);
    objectClass->dispose = dispose;
    objectClass->finalize = finalize;
    objectClass->get_property = getProperty;
    objectClass->set_property = setProperty;
    widgetClass->snapshot = snapshot;
    widgetClass->size_allocate = sizeAllocate;
    widgetClass->measure = measure;
    widgetClass->unrealize = unrealize;

    properties[PROP_ZOOM] = g_param_spec_double("zoom", "Zoom", "Logical pixels per document unit",
                                                marqen::MarqenDocumentView::kMinimumZoom, marqen::MarqenDocumentView::kMaximumZoom,
                                                1, GParamFlags(G_PARAM_READWRITE | G_PARAM_EXPLICIT_NOTIFY));
    properties[PROP_TOOL] = g_param_spec_uint("tool", "Tool", "The current tool's identifier", 0,
                                              marqen::kMarqenToolIDCount - 1, 1,
                                              GParamFlags(G_PARAM_READWRITE | G_PARAM_EXPLICIT_NOTIFY));
    properties[PROP_HAS_SELECTION] = g_param_spec_boolean("has-selection", "Has selection", "Whether elements are selected",
                                                          FALSE, G_PARAM_READABLE);
    g_object_class_install_properties(objectClass, N_PROPS, properties);
    signals[SIGNAL_SELECTION_CHANGED] = g_signal_new("selection-changed", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST, 0,
                                                     nullptr, nullptr, nullptr, G_TYPE_NONE, 0);
    signals[SIGNAL_CHANGED] = g_signal_new("changed", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST, 0, nullptr, nullptr,
                                           nullptr, G_TYPE_NONE, 0);
    signals[SIGNAL_FILE_DROPPED] = g_signal_new("file-dropped", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST, 0,
                                                g_signal_accumulator_true_handled, nullptr, nullptr, G_TYPE_BOOLEAN, 1,
                                                G_TYPE_STRING);
    signals[SIGNAL_PAGE_CHANGED] = g_signal_new("page-changed", G_TYPE_FROM_CLASS(klass), G_SIGNAL_RUN_LAST, 0, nullptr,
                                                nullptr, nullptr, G_TYPE_NONE, 1, G_TYPE_UINT);

    for (const char *name : {"document-view.undo", "document-view.redo", "document-view.copy", "document-view.cut",
                             "document-view.paste", "document-view.delete", "document-view.select-all",
                             "document-view.select-next", "document-view.select-previous", "document-view.zoom-in",
                             "document-view.zoom-out", "document-view.zoom-fit", "document-view.zoom-original"})
        gtk_widget_class_install_action(widgetClass, name, nullptr, activateAction);
    gtk_widget_class_install_action(widgetClass, "document-view.tool", "u", activateAction);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_z, GDK_CONTROL_MASK, "document-view.undo", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_z, GdkModifierType(GDK_CONTROL_MASK | GDK_SHIFT_MASK), "document-view.redo", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_Z, GdkModifierType(GDK_CONTROL_MASK | GDK_SHIFT_MASK), "document-view.redo", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_a, GDK_CONTROL_MASK, "document-view.select-all", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_c, GDK_CONTROL_MASK, "document-view.copy", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_x, GDK_CONTROL_MASK, "document-view.cut", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_v, GDK_CONTROL_MASK, "document-view.paste", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_0, GDK_CONTROL_MASK, "document-view.zoom-original", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_9, GDK_CONTROL_MASK, "document-view.zoom-fit", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_equal, GDK_CONTROL_MASK, "document-view.zoom-in", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_plus, GDK_CONTROL_MASK, "document-view.zoom-in", nullptr);
    gtk_widget_class_add_binding_action(widgetClass, GDK_KEY_minus, GDK_CONTROL_MASK, "document-view.zoom-out", nullptr);
    gtk_widget_class_set_css_name(widgetClass, "marqen-document-view");
    gtk_widget_class_set_accessible_role(widgetClass, GTK_ACCESSIBLE_ROLE_IMG);
}

static void marqen_gtk_document_view_init(MarqenGtkDocumentView *view) {
    marqen_main_queue_source_attach(nullptr);
    view->state = new ViewState;
    ViewState &state = *view->state;
    state.ownTools = std::make_unique<marqen::MarqenToolsModel>();
    state.ownTools->expandMainTools();
    setTools(view, state.ownTools.get());
    GtkWidget *widget = GTK_WIDGET(view);
    gtk_widget_set_focusable(widget, TRUE);
    gtk_widget_set_focus_on_click(widget, TRUE);
    gtk_widget_set_overflow(widget, GTK_OVERFLOW_HIDDEN);
    gtk_widget_set_hexpand(widget, TRUE);
    gtk_widget_set_vexpand(widget, TRUE);

    GtkGesture *drag = gtk_gesture_drag_new();
    gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(drag), GDK_BUTTON_PRIMARY);
    g_signal_connect(drag, "drag-begin", G_CALLBACK(onDragBegin), view);
    g_signal_connect(drag, "drag-update", G_CALLBACK(onDragUpdate), view);
    g_signal_connect(drag, "drag-end", G_CALLBACK(onDragEnd), view);
    g_signal_connect(drag, "cancel", G_CALLBACK(onDragCancel), view);
    gtk_widget_add_controller(widget, GTK_EVENT_CONTROLLER(drag));
    state.gestures.push_back(GTK_EVENT_CONTROLLER(drag));

    GtkGesture *zoom = gtk_gesture_zoom_new();
    g_signal_connect(zoom, "begin", G_CALLBACK(onZoomBegin), view);
    g_signal_connect(zoom, "scale-changed", G_CALLBACK(onZoomChanged), view);
    gtk_widget_add_controller(widget, GTK_EVENT_CONTROLLER(zoom));
    state.gestures.push_back(GTK_EVENT_CONTROLLER(zoom));

    GtkEventController *motion = gtk_event_controller_motion_new();
    g_signal_connect(motion, "motion", G_CALLBACK(onMotion), view);
    g_signal_connect(motion, "enter", G_CALLBACK(onMotion), view);
    g_signal_connect(motion, "leave", G_CALLBACK(onLeave), view);
    gtk_widget_add_controller(widget, motion);

    GtkEventController *scroll = gtk_event_controller_scroll_new(GTK_EVENT_CONTROLLER_SCROLL_BOTH_AXES);
    g_signal_connect(scroll, "scroll", G_CALLBACK(onScroll), view);
    gtk_widget_add_controller(widget, scroll);

    state.im = gtk_im_multicontext_new();
    gtk_im_context_set_client_widget(state.im, widget);
    g_signal_connect(state.im, "commit", G_CALLBACK(onCommit), view);
    g_signal_connect(state.im, "preedit-changed", G_CALLBACK(onPreeditChanged), view);
    GtkEventController *keys = gtk_event_controller_key_new();
    g_signal_connect(keys, "key-pressed", G_CALLBACK(onKeyPressed), view);
    gtk_widget_add_controller(widget, keys);

    GtkEventController *focus = gtk_event_controller_focus_new();
    g_signal_connect(focus, "enter", G_CALLBACK(onFocusIn), view);
    g_signal_connect(focus, "leave", G_CALLBACK(onFocusOut), view);
    gtk_widget_add_controller(widget, focus);

    g_signal_connect(widget, "notify::scale-factor", G_CALLBACK(onScaleFactorChanged), nullptr);

    // Pictures dragged in (textures and picture files) become bitmap elements; other files go to the host
    // through "file-dropped".
    GtkDropTarget *drop = gtk_drop_target_new(G_TYPE_INVALID, GDK_ACTION_COPY);
    GType dropTypes[] = {GDK_TYPE_FILE_LIST, GDK_TYPE_TEXTURE};
    gtk_drop_target_set_gtypes(drop, dropTypes, G_N_ELEMENTS(dropTypes));
    g_signal_connect(drop, "drop", G_CALLBACK(onDrop), view);
    gtk_widget_add_controller(widget, GTK_EVENT_CONTROLLER(drop));
}

GtkWidget *marqen_gtk_document_view_new(void) { return GTK_WIDGET(g_object_new(MARQEN_TYPE_GTK_DOCUMENT_VIEW, nullptr)); }

void marqen_gtk_document_view_set_document(MarqenGtkDocumentView *view, std::shared_ptr<marqen::MarqenDOMDocument> document) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> pages;
    if (document) pages.push_back(std::move(document));
    marqen_gtk_document_view_set_pages(view, std::move(pages));
}

void marqen_gtk_document_view_set_pages(MarqenGtkDocumentView *view, std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> pages) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    view->state->fitMode = true;
    // The pages' controller reports the first page through pageShown.
    view->state->pages->setPages(std::move(pages));
}

void marqen_gtk_document_view_set_composition(MarqenGtkDocumentView *view, std::shared_ptr<marqen::MarqenComposition> composition) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    view->state->fitMode = true;
    view->state->pages->setComposition(std::move(composition));
}

marqen::MarqenCompositionView *marqen_gtk_document_view_get_composition_controller(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), nullptr);
    return view->state->pages.get();
}

guint marqen_gtk_document_view_get_page_count(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), 0);
    return guint(view->state->pages->pageCount());
}

guint marqen_gtk_document_view_get_current_page(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), 0);
    return guint(view->state->pages->currentPageIndex());
}

gboolean marqen_gtk_document_view_set_current_page(MarqenGtkDocumentView *view, guint index) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), FALSE);
    return view->state->pages->setCurrentPageIndex(index);
}

std::shared_ptr<marqen::MarqenDOMDocument> marqen_gtk_document_view_get_document(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), nullptr);
    return view->state->document;
}

marqen::MarqenDocumentView *marqen_gtk_document_view_get_controller(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), nullptr);
    return controllerOf(view);
}

marqen::MarqenToolsModel *marqen_gtk_document_view_get_tools_model(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), nullptr);
    return view->state->tools;
}

gboolean marqen_gtk_document_view_open_file(MarqenGtkDocumentView *view, const char *path, GError **error) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), FALSE);
    g_return_val_if_fail(path, FALSE);
    marqen::MarqenError failure;
    std::shared_ptr<marqen::MarqenDOMDocument> document;
    const std::string name = path;
    const bool json = name.size() > 5 && g_ascii_strcasecmp(name.c_str() + name.size() - 5, ".json") == 0;
    if (json) {
        auto content = marqen::MarqenReadDOMJSONFile(name, &failure);
        if (content && content->pages && !content->pages->pages().empty()) document = content->pages->pages().front();
        else if (content) failure = marqen::MarqenError{marqen::MarqenDOMJSONFileErrorDomain, marqen::kMarqenDOMJSONFileMalformed};
    } else {
        auto image = marqen::MarqenImageDecodeFile(name, nullptr, &failure);
        if (image) {
            document = marqen::MarqenDOMDocument::createWithSize(marqen::CGSize{double(image->width()), double(image->height())}, 1);
            auto bitmap = marqen::MarqenDOMBitmap::create();
            bitmap->setImage(image);
            bitmap->setFrame(marqen::CGRectMake(0, 0, image->width(), image->height()));
            document->backgroundLayer()->addChild(bitmap);
            document->undoManager()->removeAllActions();
            document->setNeedsSave(false);
        }
    }
    if (!document) {
        marqen::gtk::setGError(error, failure, name);
        return FALSE;
    }
    marqen_gtk_document_view_set_document(view, document);
    return TRUE;
}

gboolean marqen_gtk_document_view_has_document(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), FALSE);
    return view->state->document != nullptr;
}

void marqen_gtk_document_view_set_tool_bar(MarqenGtkDocumentView *view, MarqenToolBar *bar) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    g_return_if_fail(!bar || MARQEN_IS_TOOL_BAR(bar));
    ViewState &state = *view->state;
    if (bar) g_object_ref(bar);
    if (state.toolBar) g_object_unref(state.toolBar);
    state.toolBar = bar;
    setTools(view, bar ? marqen_tool_bar_get_tools_model(bar) : state.ownTools.get());
    g_object_notify_by_pspec(G_OBJECT(view), properties[PROP_TOOL]);
}

guint marqen_gtk_document_view_get_tool(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), 0);
    return guint(currentTool(view));
}

void marqen_gtk_document_view_set_tool(MarqenGtkDocumentView *view, guint tool_id) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    if (tool_id >= marqen::kMarqenToolIDCount || !view->state->tools) return;
    auto &tools = *view->state->tools;
    marqen::MarqenTool tool{marqen::MarqenToolID(tool_id)};
    // The stamp key brings back the stamp last used rather than the first of the list.
    if (tool_id == marqen::MarqenToolIDStamp && tools.mainTools())
        for (const auto &shown : *tools.mainTools())
            if (shown.toolID() == marqen::MarqenToolIDStamp) tool = shown;
    if (auto *controller = controllerOf(view); controller && controller->isEditingText()) controller->endTextEditing();
    tools.chooseTool(tool);
}

double marqen_gtk_document_view_get_zoom(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), 1);
    auto *controller = controllerOf(view);
    return controller ? controller->zoom() : 1;
}

void marqen_gtk_document_view_set_zoom(MarqenGtkDocumentView *view, double zoom) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    zoomAround(view, zoom, viewCentre(view));
}

void marqen_gtk_document_view_zoom_to_fit(MarqenGtkDocumentView *view) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    gtk_widget_activate_action(GTK_WIDGET(view), "document-view.zoom-fit", nullptr);
}

gboolean marqen_gtk_document_view_can_undo(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), FALSE);
    auto &document = view->state->document;
    return document && document->undoManager() && document->undoManager()->canUndo();
}

gboolean marqen_gtk_document_view_can_redo(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), FALSE);
    auto &document = view->state->document;
    return document && document->undoManager() && document->undoManager()->canRedo();
}

char *marqen_gtk_document_view_dup_undo_name(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), nullptr);
    return g_strdup(marqen_gtk_document_view_can_undo(view) ? view->state->document->undoManager()->undoActionName().c_str() : "");
}

char *marqen_gtk_document_view_dup_redo_name(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), nullptr);
    return g_strdup(marqen_gtk_document_view_can_redo(view) ? view->state->document->undoManager()->redoActionName().c_str() : "");
}

void marqen_gtk_document_view_undo(MarqenGtkDocumentView *view) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    if (controllerOf(view)) {
        view->state->pages->undo();
        emitChangedSoon(view);
    }
}

void marqen_gtk_document_view_redo(MarqenGtkDocumentView *view) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    if (controllerOf(view)) {
        view->state->pages->redo();
        emitChangedSoon(view);
    }
}

gboolean marqen_gtk_document_view_has_selection(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), FALSE);
    auto *controller = controllerOf(view);
    return controller && !controller->selectedElements().empty();
}

gboolean marqen_gtk_document_view_get_modified(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), FALSE);
    const auto &pages = view->state->pages->pages();
    return std::any_of(pages.begin(), pages.end(), [](const auto &page) { return page->needsSave(); });
}

void marqen_gtk_document_view_mark_saved(MarqenGtkDocumentView *view) {
    g_return_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view));
    for (const auto &page : view->state->pages->pages()) page->setNeedsSave(false);
    emitChangedSoon(view);
}

double marqen_gtk_document_view_get_last_drawn_pixels(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), 0);
    return view->state->cache.lastDrawnPixels();
}
