#pragma once
// The composition view: the document view of the page on show and, for documents of more than one page
// (PDFs), a sidebar of page thumbnails to switch pages with (Page Up and Page Down do too). One undo
// history spans the pages: undoing a step made on another page shows that page. Thumbnails are
// drawn in the background, one page at a time, from private copies of the pages made when the loop is
// idle, so that opening a long PDF never holds up a frame; the thumbnail of the page on show follows its
// edits. Main thread only.
#include <gtk/gtk.h>

#include "marqen-document-view.h"
#include "marqen-gtk-export.h"

G_BEGIN_DECLS

#define MARQEN_TYPE_GTK_COMPOSITION_VIEW (marqen_gtk_composition_view_get_type())
MARQEN_GTK_EXPORT G_DECLARE_FINAL_TYPE(MarqenGtkCompositionView, marqen_gtk_composition_view, MARQEN,
                                       GTK_COMPOSITION_VIEW, GtkWidget)

MARQEN_GTK_EXPORT GtkWidget *marqen_gtk_composition_view_new(void);
// The document view inside (owned by the composition view).
MARQEN_GTK_EXPORT MarqenGtkDocumentView *marqen_gtk_composition_view_get_document_view(MarqenGtkCompositionView *view);
MARQEN_GTK_EXPORT guint marqen_gtk_composition_view_get_page_count(MarqenGtkCompositionView *view);
MARQEN_GTK_EXPORT guint marqen_gtk_composition_view_get_current_page(MarqenGtkCompositionView *view);
// Shows page `index` (from 0); FALSE for a page that does not exist.
MARQEN_GTK_EXPORT gboolean marqen_gtk_composition_view_set_current_page(MarqenGtkCompositionView *view, guint index);
// TRUE once every page has its thumbnail.
MARQEN_GTK_EXPORT gboolean marqen_gtk_composition_view_thumbnails_done(MarqenGtkCompositionView *view);

G_END_DECLS

#ifdef __cplusplus
#include <memory>
#include <vector>
namespace marqen {
class MarqenComposition;
class MarqenDOMDocument;
}
// Shows these pages of no composition (the first of them; none shows nothing); they share the first
// page's undo manager from now on (see marqen_gtk_document_view_set_pages).
MARQEN_GTK_EXPORT void marqen_gtk_composition_view_set_pages(MarqenGtkCompositionView *view,
                                                             std::vector<std::shared_ptr<marqen::MarqenDOMDocument>> pages);
// Shows the pages of a composition, following its changes of pages.
MARQEN_GTK_EXPORT void marqen_gtk_composition_view_set_composition(MarqenGtkCompositionView *view,
                                                                   std::shared_ptr<marqen::MarqenComposition> composition);
#endif
