#pragma once
// GDK's key values and modifier masks in the controller's terms, and the editor's single-key tool map.
// Plain functions; any thread.
#include <gdk/gdk.h>

#include <string>

#include <marqenkit/interaction/input_events.h>

namespace marqen::gtk {

// "Left", "Right", "Up", "Down", "Delete", "BackSpace", "Escape", "Return", "Tab" (Shift+Tab too), or the
// character the key gives in lower case; empty for keys the controller has no name for (F-keys, modifiers).
std::string keyNameForKeyval(guint keyval);

MarqenModifierFlags modifiersForState(GdkModifierType state);

// The tool a letter chooses (v pan/select, a arrow, t text, r rectangle, u rounded rectangle, o ellipse,
// l line, m marker, h highlighter, s stamp, p pixelate, c crop), or -1.
int toolForShortcutKey(guint keyval);

// Whether a key press chooses a tool: the bare letter while typing does not start a text, Alt with the
// letter while it does. Shift, Control and Super never do.
bool keyChoosesTool(guint keyval, GdkModifierType state, bool typingCreatesText, int *tool);

}  // namespace marqen::gtk
