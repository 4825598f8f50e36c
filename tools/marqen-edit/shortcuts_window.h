#pragma once
// The editor's keyboard shortcuts window (Ctrl+?): every command with its keys. Main thread.
#include <gtk/gtk.h>

namespace marqen::edit {

// A new shortcuts window over `parent`; with `typingCreatesText` the tools are listed on Alt+letter.
GtkWindow *createShortcutsWindow(GtkWindow *parent, bool typingCreatesText);

}  // namespace marqen::edit
