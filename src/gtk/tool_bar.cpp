#include "marqenkit-gtk/marqen-tool-bar.h"

#include <memory>
#include <vector>

#include "editing/tools_model.h"
#include "foundation/notification_center.h"
#include "marqenkit-gtk/marqen-artwork-icon.h"
#include "marqenkit-gtk/marqen-main-queue-source.h"

namespace {

using marqen::MarqenTool;
using marqen::MarqenToolID;

struct ToolButton {
    MarqenTool tool;
    GtkToggleButton *button;
};

struct ToolBarState {
    marqen::MarqenToolsModel model;
    std::vector<marqen::NotificationToken> observers;
    std::vector<ToolButton> mainButtons, secondaryButtons;
    bool showingModel = false;  // set while the buttons are brought in line with the model
};

}  // namespace

struct _MarqenToolBar {
    GtkWidget parent_instance;
    GtkWidget *mainRow;
    GtkWidget *secondaryRevealer;
    GtkWidget *secondaryRow;
    ToolBarState *state;
};

G_DEFINE_FINAL_TYPE(MarqenToolBar, marqen_tool_bar, GTK_TYPE_WIDGET)

enum { PROP_0, PROP_CURRENT_TOOL, N_PROPS };
static GParamSpec *properties[N_PROPS];

namespace {

constexpr const char *kToolTitles[marqen::kMarqenToolIDCount] = {
    "Pan and Select (V)", "Arrow (A)", "Text (T)", "Rectangle (R)", "Rounded Rectangle (U)",
    "Ellipse (O)", "Line (L)", "Marker (M)", "Highlighter (H)", "Stamp (S)", "Pixelate (P)", "Crop (C)", "Resize"};

bool groupHasSeveralMembers(const marqen::MarqenToolsModel &model, const MarqenTool &tool) {
    for (const auto &group : model.allValidTools())
        for (const auto &member : group)
            if (member == tool) return group.size() > 1;
    return false;
}

void clear(GtkWidget *row, std::vector<ToolButton> &buttons) {
    while (GtkWidget *child = gtk_widget_get_first_child(row)) gtk_box_remove(GTK_BOX(row), child);
    buttons.clear();
}

void onToggled(GtkToggleButton *button, MarqenToolBar *bar);

GtkToggleButton *makeButton(MarqenToolBar *bar, const MarqenTool &tool, GtkToggleButton *group) {
    GtkWidget *button = gtk_toggle_button_new();
    const char *stamp = tool.stampName() ? tool.stampName()->c_str() : nullptr;
    GtkWidget *icon = marqen_artwork_icon_new_for_tool(guint(tool.toolID()), stamp);
    gtk_button_set_child(GTK_BUTTON(button), icon);
    gtk_widget_add_css_class(button, "flat");
    gtk_widget_add_css_class(button, "image-button");
    const char *title = marqen_tool_bar_tool_title(guint(tool.toolID()));
    gtk_widget_set_tooltip_text(button, title);
    gtk_accessible_update_property(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_PROPERTY_LABEL, title, -1);
    if (group) gtk_toggle_button_set_group(GTK_TOGGLE_BUTTON(button), group);
    g_signal_connect(button, "toggled", G_CALLBACK(onToggled), bar);
    return GTK_TOGGLE_BUTTON(button);
}

// Brings the buttons in line with the model without treating the changes as clicks.
void showModel(MarqenToolBar *bar) {
    ToolBarState &state = *bar->state;
    state.showingModel = true;
    clear(bar->mainRow, state.mainButtons);
    GtkToggleButton *group = nullptr;
    if (const auto &tools = state.model.mainTools())
        for (const auto &tool : *tools) {
            GtkToggleButton *button = makeButton(bar, tool, group);
            if (!group) group = button;
            gtk_box_append(GTK_BOX(bar->mainRow), GTK_WIDGET(button));
            state.mainButtons.push_back({tool, button});
        }
    clear(bar->secondaryRow, state.secondaryButtons);
    // The open group's row is a set of its own: its member that is current shows there as well.
    const auto &secondary = state.model.secondaryTools();
    GtkToggleButton *secondaryGroup = nullptr;
    if (secondary)
        for (const auto &tool : *secondary) {
            GtkToggleButton *button = makeButton(bar, tool, secondaryGroup);
            if (!secondaryGroup) secondaryGroup = button;
            gtk_box_append(GTK_BOX(bar->secondaryRow), GTK_WIDGET(button));
            state.secondaryButtons.push_back({tool, button});
        }
    gtk_revealer_set_reveal_child(GTK_REVEALER(bar->secondaryRevealer), secondary && !secondary->empty());
    const MarqenTool &current = state.model.currentTool();
    for (auto *buttons : {&state.mainButtons, &state.secondaryButtons})
        for (const auto &entry : *buttons) gtk_toggle_button_set_active(entry.button, entry.tool == current);
    state.showingModel = false;
}

void onToggled(GtkToggleButton *button, MarqenToolBar *bar) {
    ToolBarState &state = *bar->state;
    if (state.showingModel || !gtk_toggle_button_get_active(button)) return;
    for (auto *buttons : {&state.mainButtons, &state.secondaryButtons})
        for (const auto &entry : *buttons)
            if (entry.button == button) {
                const MarqenTool tool = entry.tool;
                if (buttons == &state.mainButtons && groupHasSeveralMembers(state.model, tool))
                    state.model.expandSecondaryToolsFromTool(tool);
                state.model.chooseTool(tool);
                return;
            }
}

void dispose(GObject *object) {
    auto *bar = MARQEN_TOOL_BAR(object);
    if (bar->state) bar->state->observers.clear();
    while (GtkWidget *child = gtk_widget_get_first_child(GTK_WIDGET(bar))) gtk_widget_unparent(child);
    G_OBJECT_CLASS(marqen_tool_bar_parent_class)->dispose(object);
}

void finalize(GObject *object) {
    delete MARQEN_TOOL_BAR(object)->state;
    G_OBJECT_CLASS(marqen_tool_bar_parent_class)->finalize(object);
}

void getProperty(GObject *object, guint id, GValue *value, GParamSpec *spec) {
    if (id == PROP_CURRENT_TOOL) g_value_set_uint(value, marqen_tool_bar_get_current_tool(MARQEN_TOOL_BAR(object)));
    else G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

void setProperty(GObject *object, guint id, const GValue *value, GParamSpec *spec) {
    if (id == PROP_CURRENT_TOOL) marqen_tool_bar_choose_tool(MARQEN_TOOL_BAR(object), g_value_get_uint(value));
    else G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

}  // namespace

static void marqen_tool_bar_class_init(MarqenToolBarClass *klass) {
    GObjectClass *objectClass = G_OBJECT_CLASS(klass);
    objectClass->dispose = dispose;
    objectClass->finalize = finalize;
    objectClass->get_property = getProperty;
    objectClass->set_property = setProperty;
    properties[PROP_CURRENT_TOOL] = g_param_spec_uint("current-tool", "Current tool", "The chosen tool's identifier", 0,
                                                      marqen::kMarqenToolIDCount - 1, 1,
                                                      GParamFlags(G_PARAM_READWRITE | G_PARAM_EXPLICIT_NOTIFY));
    g_object_class_install_properties(objectClass, N_PROPS, properties);
    gtk_widget_class_set_layout_manager_type(GTK_WIDGET_CLASS(klass), GTK_TYPE_BOX_LAYOUT);
    gtk_widget_class_set_css_name(GTK_WIDGET_CLASS(klass), "marqen-tool-bar");
    gtk_widget_class_set_accessible_role(GTK_WIDGET_CLASS(klass), GTK_ACCESSIBLE_ROLE_TOOLBAR);
}

static void marqen_tool_bar_init(MarqenToolBar *bar) {
    marqen_main_queue_source_attach(nullptr);
    bar->state = new ToolBarState;
    gtk_orientable_set_orientation(GTK_ORIENTABLE(gtk_widget_get_layout_manager(GTK_WIDGET(bar))), GTK_ORIENTATION_VERTICAL);
    bar->mainRow = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2);
    gtk_widget_add_css_class(bar->mainRow, "toolbar");
    gtk_widget_set_parent(bar->mainRow, GTK_WIDGET(bar));
    bar->secondaryRevealer = gtk_revealer_new();
    gtk_revealer_set_transition_type(GTK_REVEALER(bar->secondaryRevealer), GTK_REVEALER_TRANSITION_TYPE_SLIDE_DOWN);
    bar->secondaryRow = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2);
    gtk_widget_add_css_class(bar->secondaryRow, "toolbar");
    gtk_revealer_set_child(GTK_REVEALER(bar->secondaryRevealer), bar->secondaryRow);
    gtk_widget_set_parent(bar->secondaryRevealer, GTK_WIDGET(bar));

    ToolBarState &state = *bar->state;
    state.model.expandMainTools();
    // The model announces its changes on the main queue; the bar follows them there.
    auto &center = marqen::NotificationCenter::defaultCenter();
    for (const char *name : {marqen::kMarqenToolsModelMainToolsDidChangeNotification,
                             marqen::kMarqenToolsModelSecondaryToolsDidChangeNotification})
        state.observers.push_back(center.addObserver(name, &state.model, [bar](const marqen::Notification &) { showModel(bar); }));
    state.observers.push_back(center.addObserver(marqen::kMarqenToolsModelCurrentToolDidChangeNotification, &state.model,
                                                 [bar](const marqen::Notification &) {
                                                     showModel(bar);
                                                     g_object_notify_by_pspec(G_OBJECT(bar), properties[PROP_CURRENT_TOOL]);
                                                 }));
    showModel(bar);
}

GtkWidget *marqen_tool_bar_new(void) { return GTK_WIDGET(g_object_new(MARQEN_TYPE_TOOL_BAR, nullptr)); }

guint marqen_tool_bar_get_current_tool(MarqenToolBar *bar) {
    g_return_val_if_fail(MARQEN_IS_TOOL_BAR(bar), 0);
    return guint(bar->state->model.currentTool().toolID());
}

void marqen_tool_bar_choose_tool(MarqenToolBar *bar, guint tool_id) {
    g_return_if_fail(MARQEN_IS_TOOL_BAR(bar));
    g_return_if_fail(tool_id < marqen::kMarqenToolIDCount);
    bar->state->model.chooseTool(MarqenTool(MarqenToolID(tool_id)));
}

const char *marqen_tool_bar_tool_title(guint tool_id) {
    return tool_id < marqen::kMarqenToolIDCount ? kToolTitles[tool_id] : nullptr;
}

marqen::MarqenToolsModel *marqen_tool_bar_get_tools_model(MarqenToolBar *bar) {
    g_return_val_if_fail(MARQEN_IS_TOOL_BAR(bar), nullptr);
    return &bar->state->model;
}

void marqen_tool_bar_set_optional_tools(MarqenToolBar *bar, gboolean pixelate, gboolean crop_and_resize) {
    g_return_if_fail(MARQEN_IS_TOOL_BAR(bar));
    auto &model = bar->state->model;
    model.setAllowCropAndResizeTools(crop_and_resize);
    // The pixelate switch builds the main bar again, which also takes in the crop and resize switch.
    model.setAllowPixelateTool(!pixelate);
    model.setAllowPixelateTool(pixelate);
    showModel(bar);
}
