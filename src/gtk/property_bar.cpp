// The property bar: a row of colour swatches, a row of stroke sizes and the text styles, each shown while
// the properties model offers it and kept in line with the model's current values.
#include "marqenkit-gtk/marqen-property-bar.h"

#include <array>
#include <cmath>
#include <string>
#include <memory>

#include <marqenkit/editing/properties_model.h>
#include <marqenkit/foundation/notification_center.h>

#include <marqenkit/interaction/composition_view.h>
#include <marqenkit/interaction/document_view.h>


namespace {

constexpr int kColorCount = 8;
constexpr int kSizeCount = 5;
constexpr int kTextStyleCount = 3;
constexpr const char *kColorNames[kColorCount] = {"Red", "Orange", "Yellow", "Green", "Blue", "Pink", "White", "Black"};
constexpr const char *kSizeNames[kSizeCount] = {"Small", "Medium", "Large", "Extra Large", "Largest"};
constexpr const char *kTextStyleNames[kTextStyleCount] = {"Bubble", "Plain", "Label"};

struct BarState {
    std::unique_ptr<marqen::MarqenPropertiesModel> model;
    std::vector<marqen::NotificationToken> observers;
    std::array<GtkWidget *, kColorCount> colorButtons{};
    std::array<GtkWidget *, kSizeCount> sizeButtons{};
    std::array<GtkWidget *, kTextStyleCount> styleButtons{};
    GtkWidget *colorGroup = nullptr, *sizeGroup = nullptr, *styleGroup = nullptr;
    // The crop panel: what to do, and the button that crops to the rectangle dragged over the page.
    GtkWidget *cropPanel = nullptr, *cropButton = nullptr;
    // The resize panel: the scale in percent, the size it gives and the button that resizes.
    GtkWidget *resizePanel = nullptr, *resizeSpin = nullptr, *resizeSize = nullptr;
    MarqenGtkDocumentView *view = nullptr;  // a reference is held
    bool showingModel = false;
};

}  // namespace

struct _MarqenPropertyBar {
    GtkWidget parent_instance;
    BarState *state;
};

G_DEFINE_FINAL_TYPE(MarqenPropertyBar, marqen_property_bar, GTK_TYPE_WIDGET)

namespace {

void drawSwatch(GtkDrawingArea *area, cairo_t *cr, int width, int height, gpointer data) {
    const auto colorID = guint(GPOINTER_TO_UINT(data));
    const marqen::MarqenDOMColor color = marqen::MarqenPropertyColor::colorForColorID(colorID);
    const double radius = std::min(width, height) / 2.0 - 1;
    cairo_arc(cr, width / 2.0, height / 2.0, radius, 0, 2 * G_PI);
    cairo_set_source_rgb(cr, color.red() / 255.0, color.green() / 255.0, color.blue() / 255.0);
    cairo_fill_preserve(cr);
    // A hairline in the text colour keeps white visible on a light theme and black on a dark one.
    GdkRGBA foreground;
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    gtk_style_context_get_color(gtk_widget_get_style_context(GTK_WIDGET(area)), &foreground);
    G_GNUC_END_IGNORE_DEPRECATIONS
    cairo_set_source_rgba(cr, foreground.red, foreground.green, foreground.blue, 0.25);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
}

void drawSizeDot(GtkDrawingArea *area, cairo_t *cr, int width, int height, gpointer data) {
    const auto sizeID = guint(GPOINTER_TO_UINT(data));
    GdkRGBA foreground;
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    gtk_style_context_get_color(gtk_widget_get_style_context(GTK_WIDGET(area)), &foreground);
    G_GNUC_END_IGNORE_DEPRECATIONS
    gdk_cairo_set_source_rgba(cr, &foreground);
    cairo_arc(cr, width / 2.0, height / 2.0, 1.5 + 1.5 * sizeID, 0, 2 * G_PI);
    cairo_fill(cr);
}

GtkWidget *drawnButton(GtkDrawingAreaDrawFunc draw, guint identifier, const char *tooltip, GtkWidget *group) {
    GtkWidget *button = gtk_toggle_button_new();
    GtkWidget *area = gtk_drawing_area_new();
    gtk_drawing_area_set_content_width(GTK_DRAWING_AREA(area), 18);
    gtk_drawing_area_set_content_height(GTK_DRAWING_AREA(area), 18);
    gtk_drawing_area_set_draw_func(GTK_DRAWING_AREA(area), draw, GUINT_TO_POINTER(identifier), nullptr);
    gtk_button_set_child(GTK_BUTTON(button), area);
    gtk_widget_add_css_class(button, "flat");
    gtk_widget_add_css_class(button, "image-button");
    gtk_widget_set_tooltip_text(button, tooltip);
    gtk_accessible_update_property(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_PROPERTY_LABEL, tooltip, -1);
    if (group) gtk_toggle_button_set_group(GTK_TOGGLE_BUTTON(button), GTK_TOGGLE_BUTTON(group));
    return button;
}

void showModel(MarqenPropertyBar *bar) {
    BarState &state = *bar->state;
    if (!state.model) return;  // disposed
    auto &model = *state.model;
    state.showingModel = true;
    gtk_widget_set_visible(state.colorGroup, model.offers(&model.colorProperty()));
    gtk_widget_set_visible(state.sizeGroup, model.offers(&model.sizeProperty()));
    gtk_widget_set_visible(state.styleGroup, model.offers(&model.textStyleProperty()));
    const guint colorID = model.colorProperty().currentColorID();
    for (guint index = 0; index < kColorCount; ++index)
        gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(state.colorButtons[index]), index == colorID);
    const guint sizeID = guint(model.sizeProperty().currentSizeID());
    for (guint index = 0; index < kSizeCount; ++index)
        gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(state.sizeButtons[index]), index == sizeID);
    const guint styleID = guint(model.textStyleProperty().currentTextStyleID());
    for (guint index = 0; index < kTextStyleCount; ++index)
        gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(state.styleButtons[index]), index == styleID);
    gtk_widget_set_visible(state.cropPanel, model.cropProperty() != nullptr);
    auto *controller = marqen_gtk_document_view_get_controller(state.view);
    gtk_widget_set_sensitive(state.cropButton, controller && controller->pendingRect().has_value());
    if (auto *resize = model.resizeProperty()) {
        gtk_widget_set_visible(state.resizePanel, TRUE);
        GtkAdjustment *adjustment = gtk_spin_button_get_adjustment(GTK_SPIN_BUTTON(state.resizeSpin));
        gtk_adjustment_configure(adjustment, resize->resizeScale() * 100, resize->minimumResizeScale() * 100,
                                 resize->maximumResizeScale() * 100, 1, 10, 0);
        const std::string size = std::to_string(long(std::lround(resize->resizeSize().width))) + " × " +
                                 std::to_string(long(std::lround(resize->resizeSize().height)));
        gtk_label_set_text(GTK_LABEL(state.resizeSize), size.c_str());
    } else {
        gtk_widget_set_visible(state.resizePanel, FALSE);
    }
    state.showingModel = false;
}

template <size_t N>
int indexOf(const std::array<GtkWidget *, N> &buttons, GtkWidget *button) {
    for (size_t index = 0; index < N; ++index)
        if (buttons[index] == button) return int(index);
    return -1;
}

void onToggled(GtkToggleButton *button, MarqenPropertyBar *bar) {
    BarState &state = *bar->state;
    if (state.showingModel || !gtk_toggle_button_get_active(button)) return;
    GtkWidget *widget = GTK_WIDGET(button);
    if (int index = indexOf(state.colorButtons, widget); index >= 0) marqen_property_bar_choose_color(bar, guint(index));
    else if (int size = indexOf(state.sizeButtons, widget); size >= 0) marqen_property_bar_choose_size(bar, guint(size));
    else if (int style = indexOf(state.styleButtons, widget); style >= 0) marqen_property_bar_choose_text_style(bar, guint(style));
}

GtkWidget *linkedRow() {
    GtkWidget *row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_widget_add_css_class(row, "linked");
    return row;
}

void dispose(GObject *object) {
    auto *bar = MARQEN_PROPERTY_BAR(object);
    if (bar->state) {
        bar->state->observers.clear();
        if (bar->state->model) bar->state->model->prepareForDealloc();
        bar->state->model.reset();
        // The view owns the controller the model edited through; it was kept alive until now.
        g_clear_object(&bar->state->view);
    }
    while (GtkWidget *child = gtk_widget_get_first_child(GTK_WIDGET(bar))) gtk_widget_unparent(child);
    G_OBJECT_CLASS(marqen_property_bar_parent_class)->dispose(object);
}

void finalize(GObject *object) {
    delete MARQEN_PROPERTY_BAR(object)->state;
    G_OBJECT_CLASS(marqen_property_bar_parent_class)->finalize(object);
}

}  // namespace

static void marqen_property_bar_class_init(MarqenPropertyBarClass *klass) {
    G_OBJECT_CLASS(klass)->dispose = dispose;
    G_OBJECT_CLASS(klass)->finalize = finalize;
    gtk_widget_class_set_layout_manager_type(GTK_WIDGET_CLASS(klass), GTK_TYPE_BOX_LAYOUT);
    gtk_widget_class_set_css_name(GTK_WIDGET_CLASS(klass), "marqen-property-bar");
    gtk_widget_class_set_accessible_role(GTK_WIDGET_CLASS(klass), GTK_ACCESSIBLE_ROLE_TOOLBAR);
}

static void marqen_property_bar_init(MarqenPropertyBar *bar) {
    bar->state = new BarState;
    gtk_box_layout_set_spacing(GTK_BOX_LAYOUT(gtk_widget_get_layout_manager(GTK_WIDGET(bar))), 12);
}

GtkWidget *marqen_property_bar_new(MarqenGtkDocumentView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_DOCUMENT_VIEW(view), nullptr);
    auto *bar = MARQEN_PROPERTY_BAR(g_object_new(MARQEN_TYPE_PROPERTY_BAR, nullptr));
    BarState &state = *bar->state;
    // The pages' controller is the properties model's view: the selection and values for new elements of the
    // page on show, carried over to other pages. The view lives as long as the bar.
    g_object_ref(view);
    state.model = std::make_unique<marqen::MarqenPropertiesModel>(marqen_gtk_document_view_get_composition_controller(view));

    state.colorGroup = linkedRow();
    for (guint index = 0; index < kColorCount; ++index) {
        state.colorButtons[index] = drawnButton(drawSwatch, index, kColorNames[index], index ? state.colorButtons[0] : nullptr);
        g_signal_connect(state.colorButtons[index], "toggled", G_CALLBACK(onToggled), bar);
        gtk_box_append(GTK_BOX(state.colorGroup), state.colorButtons[index]);
    }
    state.sizeGroup = linkedRow();
    for (guint index = 0; index < kSizeCount; ++index) {
        state.sizeButtons[index] = drawnButton(drawSizeDot, index, kSizeNames[index], index ? state.sizeButtons[0] : nullptr);
        g_signal_connect(state.sizeButtons[index], "toggled", G_CALLBACK(onToggled), bar);
        gtk_box_append(GTK_BOX(state.sizeGroup), state.sizeButtons[index]);
    }
    state.styleGroup = linkedRow();
    for (guint index = 0; index < kTextStyleCount; ++index) {
        GtkWidget *button = gtk_toggle_button_new_with_label(kTextStyleNames[index]);
        gtk_widget_add_css_class(button, "flat");
        if (index) gtk_toggle_button_set_group(GTK_TOGGLE_BUTTON(button), GTK_TOGGLE_BUTTON(state.styleButtons[0]));
        state.styleButtons[index] = button;
        g_signal_connect(button, "toggled", G_CALLBACK(onToggled), bar);
        gtk_box_append(GTK_BOX(state.styleGroup), button);
    }
    state.view = view;
    state.cropPanel = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    GtkWidget *cropHint = gtk_label_new("Drag over the page to choose what to keep");
    gtk_widget_add_css_class(cropHint, "dim-label");
    state.cropButton = gtk_button_new_with_mnemonic("_Crop");
    gtk_widget_add_css_class(state.cropButton, "suggested-action");
    gtk_widget_set_tooltip_text(state.cropButton, "Crop to the chosen rectangle (Return)");
    g_signal_connect_swapped(state.cropButton, "clicked", G_CALLBACK(marqen_property_bar_apply_crop), bar);
    gtk_box_append(GTK_BOX(state.cropPanel), cropHint);
    gtk_box_append(GTK_BOX(state.cropPanel), state.cropButton);
    state.resizePanel = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
    state.resizeSpin = gtk_spin_button_new_with_range(1, 100, 1);
    gtk_spin_button_set_digits(GTK_SPIN_BUTTON(state.resizeSpin), 0);
    gtk_accessible_update_property(GTK_ACCESSIBLE(state.resizeSpin), GTK_ACCESSIBLE_PROPERTY_LABEL, "Scale in percent", -1);
    g_signal_connect(state.resizeSpin, "value-changed", G_CALLBACK(+[](GtkSpinButton *spin, MarqenPropertyBar *self) {
        BarState &bar = *self->state;
        if (bar.showingModel || !bar.model->resizeProperty()) return;
        bar.model->resizeProperty()->setResizeScale(gtk_spin_button_get_value(spin) / 100);
    }), bar);
    GtkWidget *percent = gtk_label_new("%");
    state.resizeSize = gtk_label_new("");
    gtk_widget_add_css_class(state.resizeSize, "dim-label");
    GtkWidget *resizeButton = gtk_button_new_with_mnemonic("_Resize");
    gtk_widget_add_css_class(resizeButton, "suggested-action");
    g_signal_connect_swapped(resizeButton, "clicked", G_CALLBACK(marqen_property_bar_apply_resize), bar);
    for (GtkWidget *child : {state.resizeSpin, percent, state.resizeSize, resizeButton}) gtk_box_append(GTK_BOX(state.resizePanel), child);
    for (GtkWidget *group : {state.colorGroup, state.sizeGroup, state.styleGroup, state.cropPanel, state.resizePanel})
        gtk_widget_set_parent(group, GTK_WIDGET(bar));
    // The crop button follows the rectangle being chosen, which the view redraws for.
    g_signal_connect_object(view, "changed", G_CALLBACK(showModel), bar, G_CONNECT_SWAPPED);
    g_signal_connect_object(view, "selection-changed", G_CALLBACK(showModel), bar, G_CONNECT_SWAPPED);

    auto &center = marqen::NotificationCenter::defaultCenter();
    for (const char *name : {marqen::kMarqenPropertiesModelCurrentPropertiesDidChangeNotification,
                             marqen::kMarqenPropertyColorCurrentColorDidChangeNotification,
                             marqen::kMarqenPropertySizeCurrentSizeIDDidChangeNotification,
                             marqen::kMarqenPropertyTextStyleCurrentTextStyleIDDidChangeNotification,
                             marqen::kMarqenPropertyResizeResizeScaleDidChangeNotification,
                             marqen::kMarqenPropertyCropDidCropNotification, marqen::kMarqenPropertyResizeDidResizeNotification})
        state.observers.push_back(center.addObserver(name, nullptr, [bar](const marqen::Notification &) { showModel(bar); }));
    state.model->selectedElementsDidChange();
    showModel(bar);
    return GTK_WIDGET(bar);
}

guint marqen_property_bar_get_color_id(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), 0);
    return guint(bar->state->model->colorProperty().currentColorID());
}

guint marqen_property_bar_get_size_id(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), 0);
    return guint(bar->state->model->sizeProperty().currentSizeID());
}

guint marqen_property_bar_get_text_style_id(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), 0);
    return guint(bar->state->model->textStyleProperty().currentTextStyleID());
}

gboolean marqen_property_bar_offers_color(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), FALSE);
    return bar->state->model->offers(&bar->state->model->colorProperty());
}

gboolean marqen_property_bar_offers_size(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), FALSE);
    return bar->state->model->offers(&bar->state->model->sizeProperty());
}

gboolean marqen_property_bar_offers_text_style(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), FALSE);
    return bar->state->model->offers(&bar->state->model->textStyleProperty());
}

void marqen_property_bar_choose_color(MarqenPropertyBar *bar, guint color_id) {
    g_return_if_fail(MARQEN_IS_PROPERTY_BAR(bar));
    if (color_id >= guint(kColorCount)) return;
    bar->state->model->colorProperty().chooseColor(marqen::MarqenPropertyColor::colorForColorID(color_id));
}

void marqen_property_bar_choose_size(MarqenPropertyBar *bar, guint size_id) {
    g_return_if_fail(MARQEN_IS_PROPERTY_BAR(bar));
    if (size_id >= guint(kSizeCount)) return;
    bar->state->model->sizeProperty().chooseSize(size_id);
}

void marqen_property_bar_choose_text_style(MarqenPropertyBar *bar, guint text_style_id) {
    g_return_if_fail(MARQEN_IS_PROPERTY_BAR(bar));
    if (text_style_id >= guint(kTextStyleCount)) return;
    bar->state->model->textStyleProperty().chooseTextStyle(text_style_id);
}

gboolean marqen_property_bar_apply_crop(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), FALSE);
    auto *crop = bar->state->model->cropProperty();
    auto *controller = marqen_gtk_document_view_get_controller(bar->state->view);
    if (!crop || !controller || !controller->pendingRect()) return FALSE;
    const bool cropped = crop->chooseCrop(*controller->pendingRect());
    // The rectangle is used up either way: Escape is what the controller knows to drop it by.
    controller->keyPressed({"Escape", 0});
    showModel(bar);
    return cropped;
}

gboolean marqen_property_bar_apply_resize(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), FALSE);
    auto *resize = bar->state->model->resizeProperty();
    if (!resize) return FALSE;
    const bool resized = resize->chooseResize(resize->resizeScale());
    showModel(bar);
    return resized;
}

double marqen_property_bar_get_resize_scale(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), 0);
    auto *resize = bar->state->model->resizeProperty();
    return resize ? resize->resizeScale() : 0;
}

void marqen_property_bar_set_resize_scale(MarqenPropertyBar *bar, double scale) {
    g_return_if_fail(MARQEN_IS_PROPERTY_BAR(bar));
    if (auto *resize = bar->state->model->resizeProperty()) resize->setResizeScale(scale);
    showModel(bar);
}

gboolean marqen_property_bar_offers_crop(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), FALSE);
    return bar->state->model->cropProperty() != nullptr;
}

gboolean marqen_property_bar_offers_resize(MarqenPropertyBar *bar) {
    g_return_val_if_fail(MARQEN_IS_PROPERTY_BAR(bar), FALSE);
    return bar->state->model->resizeProperty() != nullptr;
}
