// Pages in a sidebar of thumbnails beside the document view of the page on show.
#include "marqenkit-gtk/marqen-composition-view.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <marqenkit/dom/document.h>
#include <marqenkit/interaction/composition_view.h>
#include <marqenkit/render/document_images.h>

#include "thumbnail_renderer.h"

namespace {

// Thumbnails are this wide in logical pixels, drawn at twice that for dense displays.
constexpr int kThumbnailWidth = 120;

struct CompositionState {
    // The pages the sidebar shows, as the document view's controller had them when the rows were made.
    std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> pages;
    std::vector<GtkWidget *> pictures;  // one GtkPicture per page, owned by the list
    std::unique_ptr<marqen::gtk::ThumbnailRenderer> thumbnails;
    bool selectingRow = false;
};

}  // namespace

struct _MarqenGtkCompositionView {
    GtkWidget parent_instance;
    GtkWidget *sidebar;  // scrolled window around the list
    GtkWidget *list;
    GtkWidget *separator;
    GtkWidget *documentView;
    CompositionState *state;
};

G_DEFINE_FINAL_TYPE(MarqenGtkCompositionView, marqen_gtk_composition_view, GTK_TYPE_WIDGET)

enum { PROP_0, PROP_CURRENT_PAGE, N_PROPS };
static GParamSpec *properties[N_PROPS];

namespace {

MarqenGtkDocumentView *documentViewOf(MarqenGtkCompositionView *view) { return MARQEN_GTK_DOCUMENT_VIEW(view->documentView); }

size_t currentPage(MarqenGtkCompositionView *view) { return marqen_gtk_document_view_get_current_page(documentViewOf(view)); }

// One row per page of the document view's controller, each with a thumbnail to be drawn.
void rebuildRows(MarqenGtkCompositionView *view) {
    CompositionState &state = *view->state;
    state.selectingRow = true;
    while (GtkWidget *row = gtk_widget_get_first_child(view->list)) gtk_list_box_remove(GTK_LIST_BOX(view->list), row);
    state.selectingRow = false;
    state.pages = marqen_gtk_document_view_get_composition_controller(documentViewOf(view))->pages();
    state.pictures.clear();
    for (size_t index = 0; index < state.pages.size(); ++index) {
        GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
        gtk_widget_set_margin_top(box, 6);
        gtk_widget_set_margin_bottom(box, 6);
        GtkWidget *picture = gtk_picture_new();
        gtk_widget_set_size_request(picture, kThumbnailWidth, kThumbnailWidth * 4 / 3);
        gtk_picture_set_can_shrink(GTK_PICTURE(picture), TRUE);
        GtkWidget *label = gtk_label_new(std::to_string(index + 1).c_str());
        gtk_widget_add_css_class(label, "dim-label");
        gtk_box_append(GTK_BOX(box), picture);
        gtk_box_append(GTK_BOX(box), label);
        gtk_list_box_append(GTK_LIST_BOX(view->list), box);
        state.pictures.push_back(picture);
    }
    const bool several = state.pages.size() > 1;
    gtk_widget_set_visible(view->sidebar, several);
    gtk_widget_set_visible(view->separator, several);
    // A single page has no sidebar and needs no thumbnail.
    state.thumbnails->setPages(several ? state.pages : std::vector<std::shared_ptr<marqen::MarqenDOMDocument>>{});
}

// The document view shows another page (after a click in the sidebar, Page Up or Down, or an undo of a step
// made on another page): the sidebar follows.
void onPageChanged(MarqenGtkDocumentView *documentView, guint index, MarqenGtkCompositionView *view) {
    CompositionState &state = *view->state;
    if (marqen_gtk_document_view_get_composition_controller(documentView)->pages() != state.pages) rebuildRows(view);
    state.selectingRow = true;
    gtk_list_box_select_row(GTK_LIST_BOX(view->list), gtk_list_box_get_row_at_index(GTK_LIST_BOX(view->list), int(index)));
    state.selectingRow = false;
    g_object_notify_by_pspec(G_OBJECT(view), properties[PROP_CURRENT_PAGE]);
}

void onRowSelected(GtkListBox *, GtkListBoxRow *row, MarqenGtkCompositionView *view) {
    if (!row || view->state->selectingRow) return;
    const int index = gtk_list_box_row_get_index(row);
    if (index >= 0 && size_t(index) != currentPage(view)) marqen_gtk_document_view_set_current_page(documentViewOf(view), guint(index));
}

void onDocumentChanged(MarqenGtkCompositionView *view) {
    // The page on show was edited: its thumbnail is drawn again when the loop is idle.
    CompositionState &state = *view->state;
    if (state.pages.size() > 1) state.thumbnails->invalidate(currentPage(view));
}

void dispose(GObject *object) {
    auto *view = MARQEN_GTK_COMPOSITION_VIEW(object);
    // Thumbnails still being drawn are dropped when they arrive.
    if (view->state) view->state->thumbnails.reset();
    while (GtkWidget *child = gtk_widget_get_first_child(GTK_WIDGET(view))) gtk_widget_unparent(child);
    G_OBJECT_CLASS(marqen_gtk_composition_view_parent_class)->dispose(object);
}

void finalize(GObject *object) {
    delete MARQEN_GTK_COMPOSITION_VIEW(object)->state;
    G_OBJECT_CLASS(marqen_gtk_composition_view_parent_class)->finalize(object);
}

void getProperty(GObject *object, guint id, GValue *value, GParamSpec *spec) {
    if (id == PROP_CURRENT_PAGE) g_value_set_uint(value, guint(currentPage(MARQEN_GTK_COMPOSITION_VIEW(object))));
    else G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, spec);
}

}  // namespace

static void marqen_gtk_composition_view_class_init(MarqenGtkCompositionViewClass *klass) {
    G_OBJECT_CLASS(klass)->dispose = dispose;
    G_OBJECT_CLASS(klass)->finalize = finalize;
    G_OBJECT_CLASS(klass)->get_property = getProperty;
    properties[PROP_CURRENT_PAGE] = g_param_spec_uint("current-page", "Current page", "The page on show, from 0", 0,
                                                      G_MAXUINT, 0, GParamFlags(G_PARAM_READABLE | G_PARAM_EXPLICIT_NOTIFY));
    g_object_class_install_properties(G_OBJECT_CLASS(klass), N_PROPS, properties);
    gtk_widget_class_set_layout_manager_type(GTK_WIDGET_CLASS(klass), GTK_TYPE_BOX_LAYOUT);
    gtk_widget_class_set_css_name(GTK_WIDGET_CLASS(klass), "marqen-composition-view");
}

static void marqen_gtk_composition_view_init(MarqenGtkCompositionView *view) {
    view->state = new CompositionState;
    view->state->thumbnails = std::make_unique<marqen::gtk::ThumbnailRenderer>(
        kThumbnailWidth * 2, [view](size_t index, GdkTexture *texture) {
            if (index < view->state->pictures.size())
                gtk_picture_set_paintable(GTK_PICTURE(view->state->pictures[index]), texture ? GDK_PAINTABLE(texture) : nullptr);
        });
    view->list = gtk_list_box_new();
    gtk_widget_add_css_class(view->list, "navigation-sidebar");
    gtk_accessible_update_property(GTK_ACCESSIBLE(view->list), GTK_ACCESSIBLE_PROPERTY_LABEL, "Pages", -1);
    g_signal_connect(view->list, "row-selected", G_CALLBACK(onRowSelected), view);
    view->sidebar = gtk_scrolled_window_new();
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(view->sidebar), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(view->sidebar), view->list);
    gtk_widget_set_size_request(view->sidebar, kThumbnailWidth + 36, -1);
    view->separator = gtk_separator_new(GTK_ORIENTATION_VERTICAL);
    view->documentView = marqen_gtk_document_view_new();
    for (GtkWidget *child : {view->sidebar, view->separator, view->documentView}) gtk_widget_set_parent(child, GTK_WIDGET(view));
    gtk_widget_set_visible(view->sidebar, FALSE);
    gtk_widget_set_visible(view->separator, FALSE);
    g_signal_connect_swapped(view->documentView, "changed", G_CALLBACK(onDocumentChanged), view);
    g_signal_connect(view->documentView, "page-changed", G_CALLBACK(onPageChanged), view);
}

GtkWidget *marqen_gtk_composition_view_new(void) {
    return GTK_WIDGET(g_object_new(MARQEN_TYPE_GTK_COMPOSITION_VIEW, nullptr));
}

void marqen_gtk_composition_view_set_pages(MarqenGtkCompositionView *view,
                                           std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> pages) {
    g_return_if_fail(MARQEN_IS_GTK_COMPOSITION_VIEW(view));
    marqen_gtk_document_view_set_pages(documentViewOf(view), std::move(pages));
}

void marqen_gtk_composition_view_set_composition(MarqenGtkCompositionView *view,
                                                 std::shared_ptr<marqen::MarqenComposition> composition) {
    g_return_if_fail(MARQEN_IS_GTK_COMPOSITION_VIEW(view));
    marqen_gtk_document_view_set_composition(documentViewOf(view), std::move(composition));
}

MarqenGtkDocumentView *marqen_gtk_composition_view_get_document_view(MarqenGtkCompositionView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_COMPOSITION_VIEW(view), nullptr);
    return MARQEN_GTK_DOCUMENT_VIEW(view->documentView);
}

guint marqen_gtk_composition_view_get_page_count(MarqenGtkCompositionView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_COMPOSITION_VIEW(view), 0);
    return marqen_gtk_document_view_get_page_count(documentViewOf(view));
}

guint marqen_gtk_composition_view_get_current_page(MarqenGtkCompositionView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_COMPOSITION_VIEW(view), 0);
    return guint(currentPage(view));
}

gboolean marqen_gtk_composition_view_set_current_page(MarqenGtkCompositionView *view, guint index) {
    g_return_val_if_fail(MARQEN_IS_GTK_COMPOSITION_VIEW(view), FALSE);
    return marqen_gtk_document_view_set_current_page(documentViewOf(view), index);
}

gboolean marqen_gtk_composition_view_thumbnails_done(MarqenGtkCompositionView *view) {
    g_return_val_if_fail(MARQEN_IS_GTK_COMPOSITION_VIEW(view), FALSE);
    return view->state->thumbnails && view->state->thumbnails->isDone();
}
