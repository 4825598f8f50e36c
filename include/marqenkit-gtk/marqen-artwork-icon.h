#pragma once
// A small widget that shows one piece of MarqenKit's interface artwork — a tool icon or a button
// glyph — drawn as vectors at the display's scale factor, in the widget's foreground colour (so it
// follows the theme and the button's state). Main thread only.
#include <gtk/gtk.h>

#include "marqen-gtk-export.h"

G_BEGIN_DECLS

#define MARQEN_TYPE_ARTWORK_ICON (marqen_artwork_icon_get_type())
MARQEN_GTK_EXPORT G_DECLARE_FINAL_TYPE(MarqenArtworkIcon, marqen_artwork_icon, MARQEN, ARTWORK_ICON, GtkWidget)

// A tool icon (tool identifiers 0 to 12); for the stamp tool, `stamp_name` may name the stamp to show.
MARQEN_GTK_EXPORT GtkWidget *marqen_artwork_icon_new_for_tool(guint tool_id, const char *stamp_name);
// A button glyph: "undo", "redo", "zoom-in", "zoom-out", "zoom-fit", "zoom-original", "delete",
// "rotate-canvas", "expand", "check".
MARQEN_GTK_EXPORT GtkWidget *marqen_artwork_icon_new_for_glyph(const char *glyph_name);

// The side of the square the artwork is drawn in, in logical pixels (default 20).
MARQEN_GTK_EXPORT void marqen_artwork_icon_set_pixel_size(MarqenArtworkIcon *icon, int pixel_size);
MARQEN_GTK_EXPORT int marqen_artwork_icon_get_pixel_size(MarqenArtworkIcon *icon);

G_END_DECLS
