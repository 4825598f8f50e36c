// The facade widget: bars over the composition view, a document opened and saved through the facade,
// and the three editor preferences as properties.
#include "marqenkit-gtk/core-marqen-view.h"

#include <cstring>
#include <string>

#include <marqenkit/core/core_document.h>
#include <marqenkit/editing/composition.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/interaction/preferences.h>

#include "gtk_error.h"

namespace {

struct CoreViewState {
    std::shared_ptr<marqen::CoreMarqenDocument> document;
    std::optional<marqen::MarqenExportFormat> format;
    std::string path;
};

constexpr const char *kPreferenceKeys[] = {marqen::kMarqenPreferenceArrowheadsAtBeginningOfShape,
                                           marqen::kMarqenPreferenceExpandableCanvas,
                                           marqen::kMarqenPreferenceTypingCreatesTextAnnotation};

}  // namespace

struct _CoreMarqenView {
    GtkWidget parent_instance;
    GtkWidget *toolBar, *propertyBar, *composition;
    CoreViewState *state;
};

G_DEFINE_FINAL_TYPE(CoreMarqenView, core_marqen_view, GTK_TYPE_WIDGET)

enum { PROP_0, PROP_ARROWHEADS, PROP_EXPANDABLE, PROP_TYPING, N_PROPS };
static GParamSpec *properties[N_PROPS];

namespace {

bool isPreferenceKey(const char *key) {
    for (const char *known : kPreferenceKeys)
        if (key && std::strcmp(key, known) == 0) return true;
    return false;
}

bool preferenceValue(const char *key) {
    auto &preferences = marqen::MarqenPreferences::shared();
    if (std::strcmp(key, marqen::kMarqenPreferenceArrowheadsAtBeginningOfShape) == 0) return preferences.arrowheadsAtBeginningOfShape();
    if (std::strcmp(key, marqen::kMarqenPreferenceExpandableCanvas) == 0) return preferences.expandableCanvas();
    return preferences.typingCreatesTextAnnotation();
}

void getProperty(GObject *object, guint id, GValue *value, GParamSpec *spec) {
    if (id == 0 || id >= N_PROPS) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
        return;
    }
    g_value_set_boolean(value, preferenceValue(kPreferenceKeys[id - 1]));
}

void setProperty(GObject *object, guint id, const GValue *value, GParamSpec *spec) {
    if (id == 0 || id >= N_PROPS) {
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
        return;
    }
    core_marqen_view_set_preference(CORE_MARQEN_VIEW(object), kPreferenceKeys[id - 1], g_value_get_boolean(value));
}

void dispose(GObject *object) {
    auto *view = CORE_MARQEN_VIEW(object);
    // The pages go from the view before the document that owns them.
    while (GtkWidget *child = gtk_widget_get_first_child(GTK_WIDGET(view))) gtk_widget_unparent(child);
    if (view->state) view->state->document.reset();
    G_OBJECT_CLASS(core_marqen_view_parent_class)->dispose(object);
}

void finalize(GObject *object) {
    delete CORE_MARQEN_VIEW(object)->state;
    G_OBJECT_CLASS(core_marqen_view_parent_class)->finalize(object);
}

}  // namespace

static void core_marqen_view_class_init(CoreMarqenViewClass *klass) {
    GObjectClass *objectClass = G_OBJECT_CLASS(klass);
    objectClass->dispose = dispose;
    objectClass->finalize = finalize;
    objectClass->get_property = getProperty;
    objectClass->set_property = setProperty;
    const auto flags = GParamFlags(G_PARAM_READWRITE | G_PARAM_EXPLICIT_NOTIFY);
    properties[PROP_ARROWHEADS] = g_param_spec_boolean("arrowheads-at-beginning-of-shape", "Arrowheads at the beginning",
                                                       "preferenceArrowheadsAtBeginningOfShape", FALSE, flags);
    properties[PROP_EXPANDABLE] = g_param_spec_boolean("expandable-canvas", "Expandable canvas",
                                                       "preferenceExpandableCanvas", TRUE, flags);
    properties[PROP_TYPING] = g_param_spec_boolean("typing-creates-text-annotation", "Typing creates a text",
                                                   "preferenceTypingCreatesTextAnnotation", FALSE, flags);
    g_object_class_install_properties(objectClass, N_PROPS, properties);
    gtk_widget_class_set_layout_manager_type(GTK_WIDGET_CLASS(klass), GTK_TYPE_BOX_LAYOUT);
    gtk_widget_class_set_css_name(GTK_WIDGET_CLASS(klass), "core-marqen-view");
}

static void core_marqen_view_init(CoreMarqenView *view) {
    view->state = new CoreViewState;
    gtk_orientable_set_orientation(GTK_ORIENTABLE(gtk_widget_get_layout_manager(GTK_WIDGET(view))), GTK_ORIENTATION_VERTICAL);
    GtkWidget *bars = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    gtk_widget_add_css_class(bars, "toolbar");
    view->composition = marqen_gtk_composition_view_new();
    gtk_widget_set_vexpand(view->composition, TRUE);
    auto *documentView = marqen_gtk_composition_view_get_document_view(MARQEN_GTK_COMPOSITION_VIEW(view->composition));
    view->toolBar = marqen_tool_bar_new();
    marqen_tool_bar_set_optional_tools(MARQEN_TOOL_BAR(view->toolBar), TRUE, TRUE);
    marqen_gtk_document_view_set_tool_bar(documentView, MARQEN_TOOL_BAR(view->toolBar));
    view->propertyBar = marqen_property_bar_new(documentView);
    gtk_widget_set_hexpand(view->toolBar, TRUE);
    gtk_box_append(GTK_BOX(bars), view->toolBar);
    gtk_box_append(GTK_BOX(bars), view->propertyBar);
    gtk_widget_set_parent(bars, GTK_WIDGET(view));
    gtk_widget_set_parent(gtk_separator_new(GTK_ORIENTATION_HORIZONTAL), GTK_WIDGET(view));
    gtk_widget_set_parent(view->composition, GTK_WIDGET(view));
}

GtkWidget *core_marqen_view_new(void) { return GTK_WIDGET(g_object_new(CORE_MARQEN_TYPE_VIEW, nullptr)); }

gboolean core_marqen_view_open(CoreMarqenView *view, const char *path, GError **error) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), FALSE);
    g_return_val_if_fail(path, FALSE);
    marqen::MarqenError failure;
    std::optional<marqen::MarqenExportFormat> format;
    auto document = marqen::CoreMarqenDocument::initWithURL(path, &format, &failure);
    if (!document || !document->documentComposition() || document->documentComposition()->documents().empty()) {
        if (document) failure.userInfo[marqen::kMarqenLocalizedDescriptionKey] = "the file holds no pages";
        marqen::gtk::setGError(error, failure, path);
        return FALSE;
    }
    document->documentComposition()->markCompositionAsClean();
    marqen_gtk_composition_view_set_composition(MARQEN_GTK_COMPOSITION_VIEW(view->composition), document->documentComposition());
    view->state->document = std::move(document);
    view->state->format = format;
    view->state->path = path;
    return TRUE;
}

gboolean core_marqen_view_save(CoreMarqenView *view, GError **error) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), FALSE);
    CoreViewState &state = *view->state;
    marqen::MarqenError failure;
    if (!state.document || !state.format) {
        failure.userInfo[marqen::kMarqenLocalizedDescriptionKey] = "nothing is open";
        marqen::gtk::setGError(error, failure, "");
        return FALSE;
    }
    auto format = *state.format;
    format.setIsPDFWithSummary(false);
    format.setIsDOMEmbedded(true);
    if (!format.isDOMEmbedded()) {
        failure.userInfo[marqen::kMarqenLocalizedDescriptionKey] = "this type of file cannot keep the annotations editable";
        marqen::gtk::setGError(error, failure, state.path);
        return FALSE;
    }
    auto *documentView = marqen_gtk_composition_view_get_document_view(MARQEN_GTK_COMPOSITION_VIEW(view->composition));
    if (auto *controller = marqen_gtk_document_view_get_controller(documentView); controller && controller->isEditingText())
        controller->endTextEditing();
    if (!state.document->writeToURL(state.path, format, marqen::MarqenJSON::object(), &failure)) {
        marqen::gtk::setGError(error, failure, state.path);
        return FALSE;
    }
    state.format = format;
    state.document->documentComposition()->markCompositionAsClean();
    marqen_gtk_document_view_mark_saved(documentView);
    return TRUE;
}

gboolean core_marqen_view_get_modified(CoreMarqenView *view) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), FALSE);
    return view->state->document && view->state->document->documentComposition()->needsSave();
}

gboolean core_marqen_view_set_preference(CoreMarqenView *view, const char *key, gboolean value) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), FALSE);
    if (!isPreferenceKey(key)) return FALSE;
    if (preferenceValue(key) == bool(value)) return TRUE;
    if (!marqen::MarqenPreferences::shared().setBool(key, value)) return FALSE;
    for (guint id = 1; id < N_PROPS; ++id)
        if (std::strcmp(kPreferenceKeys[id - 1], key) == 0) g_object_notify_by_pspec(G_OBJECT(view), properties[id]);
    return TRUE;
}

gboolean core_marqen_view_get_preference(CoreMarqenView *view, const char *key) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), FALSE);
    return isPreferenceKey(key) && preferenceValue(key);
}

MarqenGtkCompositionView *core_marqen_view_get_composition_view(CoreMarqenView *view) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), nullptr);
    return MARQEN_GTK_COMPOSITION_VIEW(view->composition);
}

MarqenToolBar *core_marqen_view_get_tool_bar(CoreMarqenView *view) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), nullptr);
    return MARQEN_TOOL_BAR(view->toolBar);
}

MarqenPropertyBar *core_marqen_view_get_property_bar(CoreMarqenView *view) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), nullptr);
    return MARQEN_PROPERTY_BAR(view->propertyBar);
}

std::shared_ptr<marqen::CoreMarqenDocument> core_marqen_view_get_document(CoreMarqenView *view) {
    g_return_val_if_fail(CORE_MARQEN_IS_VIEW(view), nullptr);
    return view->state->document;
}
