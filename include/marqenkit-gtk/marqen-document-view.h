#pragma once
// The document view: one page of a document, drawn through MarqenKit's renderer with the selection and
// its handles on top, edited with the pointer, a stylus, the keyboard and input methods. All editing
// behaviour is the toolkit-neutral controller's (marqen::MarqenDocumentView); this widget translates GTK
// input into it and draws what it reports. Main thread only.
//
// Actions (on the widget, so menus and shortcuts of its window reach them): "document-view.undo",
// ".redo", ".copy", ".cut", ".paste", ".delete", ".select-all", ".select-next", ".select-previous", ".zoom-in", ".zoom-out",
// ".zoom-fit", ".zoom-original" and ".tool" (a tool identifier, "u"). The widget class binds Ctrl+Z,
// Ctrl+Shift+Z, Ctrl+C, Ctrl+X, Ctrl+V, Ctrl+A, Ctrl+0, Ctrl+9, Ctrl+= and Ctrl+-; tools are chosen on single keys (Alt+key
// while typing starts a text), Tab moves the selection through the elements.
#include <gtk/gtk.h>

#include "marqen-gtk-export.h"
#include "marqen-tool-bar.h"

G_BEGIN_DECLS

// The clipboard and drag-and-drop type of annotations: the "com.brondale.marqen.json" node payload.
// Copy also offers a PNG of the selected area and the texts as plain text; paste and drops take the
// payload, pictures (as a bitmap element) and text into the text being edited.
#define MARQEN_GTK_CLIPBOARD_MIME_TYPE "application/vnd.com.brondale.marqen+json"

#define MARQEN_TYPE_GTK_DOCUMENT_VIEW (marqen_gtk_document_view_get_type())
MARQEN_GTK_EXPORT G_DECLARE_FINAL_TYPE(MarqenGtkDocumentView, marqen_gtk_document_view, MARQEN, GTK_DOCUMENT_VIEW,
                                       GtkWidget)

// An empty view; give it a page with marqen_gtk_document_view_open_file() or, from C++, set_document().
MARQEN_GTK_EXPORT GtkWidget *marqen_gtk_document_view_new(void);

// Opens a picture (PNG, JPEG, HEIC, TIFF, GIF, BMP, JPEG 2000) as the background of a fresh page, or a
// document JSON file's first page. FALSE with the error, and the page on show kept, when it does not open.
MARQEN_GTK_EXPORT gboolean marqen_gtk_document_view_open_file(MarqenGtkDocumentView *view, const char *path,
                                                             GError **error);
MARQEN_GTK_EXPORT gboolean marqen_gtk_document_view_has_document(MarqenGtkDocumentView *view);

// The tool bar whose tools model the view draws with from now on (NULL: the view's own model).
// The view keeps a reference to the bar.
MARQEN_GTK_EXPORT void marqen_gtk_document_view_set_tool_bar(MarqenGtkDocumentView *view, MarqenToolBar *bar);
MARQEN_GTK_EXPORT guint marqen_gtk_document_view_get_tool(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT void marqen_gtk_document_view_set_tool(MarqenGtkDocumentView *view, guint tool_id);

// Zoom: 1.0 shows a document unit per logical pixel. Setting it leaves fit mode; fit mode keeps the whole
// page in view as the widget resizes (the "zoom" property follows).
MARQEN_GTK_EXPORT double marqen_gtk_document_view_get_zoom(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT void marqen_gtk_document_view_set_zoom(MarqenGtkDocumentView *view, double zoom);
MARQEN_GTK_EXPORT void marqen_gtk_document_view_zoom_to_fit(MarqenGtkDocumentView *view);

// Undo state; the names are the steps' own ("Add Rectangle"), empty when there is nothing to undo or redo.
MARQEN_GTK_EXPORT gboolean marqen_gtk_document_view_can_undo(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT gboolean marqen_gtk_document_view_can_redo(MarqenGtkDocumentView *view);
// Newly allocated strings.
MARQEN_GTK_EXPORT char *marqen_gtk_document_view_dup_undo_name(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT char *marqen_gtk_document_view_dup_redo_name(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT void marqen_gtk_document_view_undo(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT void marqen_gtk_document_view_redo(MarqenGtkDocumentView *view);

MARQEN_GTK_EXPORT gboolean marqen_gtk_document_view_has_selection(MarqenGtkDocumentView *view);
// Whether the page changed since it was opened or marked saved.
MARQEN_GTK_EXPORT gboolean marqen_gtk_document_view_get_modified(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT void marqen_gtk_document_view_mark_saved(MarqenGtkDocumentView *view);

// Pages: the view shows one page at a time of the pages it was given, with one undo history over all of
// them; undoing or redoing a step made on another page shows that page first. Page Up and Page Down
// show the previous and next page. A single document is a view of one page.
MARQEN_GTK_EXPORT guint marqen_gtk_document_view_get_page_count(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT guint marqen_gtk_document_view_get_current_page(MarqenGtkDocumentView *view);
// Shows page `index` (from 0); FALSE for a page that does not exist.
MARQEN_GTK_EXPORT gboolean marqen_gtk_document_view_set_current_page(MarqenGtkDocumentView *view, guint index);

// Signals: "selection-changed" (no arguments), "changed" (the page or its undo state changed; emitted once
// per main-loop turn at most), "page-changed" (void (*)(view, guint index): another page is on show, or
// new pages) and "file-dropped" (gboolean (*)(view, const char *path)): a dropped file that is not a
// picture, for the host to open; return TRUE when taken.

G_END_DECLS

#ifdef __cplusplus
#include <memory>
#include <vector>
namespace marqen {
class MarqenComposition;
class MarqenCompositionView;
class MarqenDOMDocument;
class MarqenDocumentView;
class MarqenToolsModel;
}
// Shows `document` (or nothing) as the one page; it keeps its undo manager.
MARQEN_GTK_EXPORT void marqen_gtk_document_view_set_document(MarqenGtkDocumentView *view,
                                                             std::shared_ptr<marqen::MarqenDOMDocument> document);
// Shows pages of no composition (a document JSON file) from the first; from now on they share the first
// page's undo manager.
MARQEN_GTK_EXPORT void marqen_gtk_document_view_set_pages(MarqenGtkDocumentView *view,
                                                          std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> pages);
// Shows the pages of a composition (following its changes of pages), with the composition's undo manager.
MARQEN_GTK_EXPORT void marqen_gtk_document_view_set_composition(MarqenGtkDocumentView *view,
                                                                std::shared_ptr<marqen::MarqenComposition> composition);
// The controller of the pages, the same object for the view's whole life (also what a properties model
// edits through); owned by the view.
MARQEN_GTK_EXPORT marqen::MarqenCompositionView *marqen_gtk_document_view_get_composition_controller(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT std::shared_ptr<marqen::MarqenDOMDocument> marqen_gtk_document_view_get_document(MarqenGtkDocumentView *view);
// The controller of the page on show (null without one; another one after a change of page); owned by the view.
MARQEN_GTK_EXPORT marqen::MarqenDocumentView *marqen_gtk_document_view_get_controller(MarqenGtkDocumentView *view);
MARQEN_GTK_EXPORT marqen::MarqenToolsModel *marqen_gtk_document_view_get_tools_model(MarqenGtkDocumentView *view);
// How many device pixels of the page the last frame drew again (0 when nothing on it had changed): the
// view keeps the page as a picture and draws only what the model reports as changed.
MARQEN_GTK_EXPORT double marqen_gtk_document_view_get_last_drawn_pixels(MarqenGtkDocumentView *view);
#endif
