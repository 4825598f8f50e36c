#pragma once
// The property bar of a document view: the colour, size and text style choices that the properties model
// offers for the current tool and selection, and the crop and resize panels. A choice applies to the selected elements (one undo step) and
// becomes the value new elements are drawn with. Main thread only.
#include <gtk/gtk.h>

#include "marqen-document-view.h"
#include "marqen-gtk-export.h"

G_BEGIN_DECLS

#define MARQEN_TYPE_PROPERTY_BAR (marqen_property_bar_get_type())
MARQEN_GTK_EXPORT G_DECLARE_FINAL_TYPE(MarqenPropertyBar, marqen_property_bar, MARQEN, PROPERTY_BAR, GtkWidget)

// A bar for `view`, which it keeps a reference to.
MARQEN_GTK_EXPORT GtkWidget *marqen_property_bar_new(MarqenGtkDocumentView *view);

// The colour identifier shown as chosen (0 red … 7 black, 8 custom), the size identifier (0 to 4) and the
// text style (0 bubble, 1 plain, 2 label); and whether each group is on offer now.
MARQEN_GTK_EXPORT guint marqen_property_bar_get_color_id(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT guint marqen_property_bar_get_size_id(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT guint marqen_property_bar_get_text_style_id(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT gboolean marqen_property_bar_offers_color(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT gboolean marqen_property_bar_offers_size(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT gboolean marqen_property_bar_offers_text_style(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT gboolean marqen_property_bar_offers_crop(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT gboolean marqen_property_bar_offers_resize(MarqenPropertyBar *bar);
// As a click on the choice's button would.
MARQEN_GTK_EXPORT void marqen_property_bar_choose_color(MarqenPropertyBar *bar, guint color_id);
MARQEN_GTK_EXPORT void marqen_property_bar_choose_size(MarqenPropertyBar *bar, guint size_id);
MARQEN_GTK_EXPORT void marqen_property_bar_choose_text_style(MarqenPropertyBar *bar, guint text_style_id);
// With the crop tool the bar shows the crop panel: the page is cropped to the rectangle dragged over it
// (one undo step, "Crop"). With the resize tool it shows the resize panel: a scale in percent with the size
// it gives, applied as "Resize Canvas". FALSE when there is nothing to apply or the page refused.
MARQEN_GTK_EXPORT gboolean marqen_property_bar_apply_crop(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT gboolean marqen_property_bar_apply_resize(MarqenPropertyBar *bar);
// The scale the resize panel shows (1 is the page's own size); 0 without the resize tool.
MARQEN_GTK_EXPORT double marqen_property_bar_get_resize_scale(MarqenPropertyBar *bar);
MARQEN_GTK_EXPORT void marqen_property_bar_set_resize_scale(MarqenPropertyBar *bar, double scale);

G_END_DECLS
