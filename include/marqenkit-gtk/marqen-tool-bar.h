#pragma once
// The tool bar: one toggle button per tool of the tools model's main bar, and a second row with the
// members of a tool group (the stamps, for example) while one is open. Choosing a button chooses the
// tool; a change of tool made elsewhere (a keyboard shortcut, the host) shows on the buttons.
// Main thread only.
#include <gtk/gtk.h>

#include "marqen-gtk-export.h"

G_BEGIN_DECLS

#define MARQEN_TYPE_TOOL_BAR (marqen_tool_bar_get_type())
MARQEN_GTK_EXPORT G_DECLARE_FINAL_TYPE(MarqenToolBar, marqen_tool_bar, MARQEN, TOOL_BAR, GtkWidget)

// A tool bar over its own tools model (arrow chosen, optional tools off).
MARQEN_GTK_EXPORT GtkWidget *marqen_tool_bar_new(void);

// The current tool's identifier (0 to 12); also the "current-tool" property, notified on change.
MARQEN_GTK_EXPORT guint marqen_tool_bar_get_current_tool(MarqenToolBar *bar);
// Chooses a tool as a click on its button would (the model's rules for crop and resize apply).
MARQEN_GTK_EXPORT void marqen_tool_bar_choose_tool(MarqenToolBar *bar, guint tool_id);
// Offers the pixelate tool and the crop and resize tools on the main bar (both off at first).
MARQEN_GTK_EXPORT void marqen_tool_bar_set_optional_tools(MarqenToolBar *bar, gboolean pixelate, gboolean crop_and_resize);
// The human name of a tool with its keyboard shortcut, as the buttons' tooltips show it
// ("Rectangle (R)"); NULL outside 0 to 12.
MARQEN_GTK_EXPORT const char *marqen_tool_bar_tool_title(guint tool_id);

G_END_DECLS

#ifdef __cplusplus
namespace marqen {
class MarqenToolsModel;
}
// The model the bar shows. Owned by the bar.
MARQEN_GTK_EXPORT marqen::MarqenToolsModel *marqen_tool_bar_get_tools_model(MarqenToolBar *bar);
#endif
