#pragma once
// CoreMarqenView: everything a host needs in one widget — the tool bar, the property bar and the pages of a
// document opened through the document facade (CoreMarqenDocument), saved back in place with the document
// embedded. Its preferences are the shared ones, under the keys "preferenceArrowheadsAtBeginningOfShape",
// "preferenceExpandableCanvas" and "preferenceTypingCreatesTextAnnotation" (also the widget's properties
// "arrowheads-at-beginning-of-shape", "expandable-canvas" and "typing-creates-text-annotation"). Main
// thread only.
#include <gtk/gtk.h>

#include "marqen-composition-view.h"
#include "marqen-gtk-export.h"
#include "marqen-property-bar.h"
#include "marqen-tool-bar.h"

G_BEGIN_DECLS

#define CORE_MARQEN_TYPE_VIEW (core_marqen_view_get_type())
MARQEN_GTK_EXPORT G_DECLARE_FINAL_TYPE(CoreMarqenView, core_marqen_view, CORE_MARQEN, VIEW, GtkWidget)

MARQEN_GTK_EXPORT GtkWidget *core_marqen_view_new(void);

// Opens a picture, rich picture, PDF, bundle or legacy file; FALSE with the error, and what was shown kept,
// when it does not open.
MARQEN_GTK_EXPORT gboolean core_marqen_view_open(CoreMarqenView *view, const char *path, GError **error);
// Writes the document back to the file it came from in the file's own type with the document embedded;
// FALSE with the error when nothing is open or the type cannot carry the document.
MARQEN_GTK_EXPORT gboolean core_marqen_view_save(CoreMarqenView *view, GError **error);
MARQEN_GTK_EXPORT gboolean core_marqen_view_get_modified(CoreMarqenView *view);

// A preference by its key; FALSE (and nothing stored) for a key that is none of the three.
MARQEN_GTK_EXPORT gboolean core_marqen_view_set_preference(CoreMarqenView *view, const char *key, gboolean value);
MARQEN_GTK_EXPORT gboolean core_marqen_view_get_preference(CoreMarqenView *view, const char *key);

MARQEN_GTK_EXPORT MarqenGtkCompositionView *core_marqen_view_get_composition_view(CoreMarqenView *view);
MARQEN_GTK_EXPORT MarqenToolBar *core_marqen_view_get_tool_bar(CoreMarqenView *view);
MARQEN_GTK_EXPORT MarqenPropertyBar *core_marqen_view_get_property_bar(CoreMarqenView *view);

G_END_DECLS

#ifdef __cplusplus
#include <memory>
namespace marqen {
class CoreMarqenDocument;
}
// The document on show (null before one is opened).
MARQEN_GTK_EXPORT std::shared_ptr<marqen::CoreMarqenDocument> core_marqen_view_get_document(CoreMarqenView *view);
#endif
