#pragma once
// Runs MarqenKit's main queue from a GLib main loop: results of background work (resource loading,
// stroke fitting) are delivered between frames, never blocking one. Call once on the main thread,
// before the first document is opened; the widgets of this library do it themselves.
#include <glib.h>

#include "marqen-gtk-export.h"

G_BEGIN_DECLS

// Attaches the source to `context` (NULL: the default context) unless one is attached already.
// Returns the source's id in that context.
MARQEN_GTK_EXPORT guint marqen_main_queue_source_attach(GMainContext *context);

G_END_DECLS
