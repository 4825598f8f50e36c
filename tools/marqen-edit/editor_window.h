#pragma once
// The editor's window: a header bar with the file commands and the undo history, the tool and property
// bars, and the document view (or an invitation to open something). Main thread.
#include <gtk/gtk.h>

#include <filesystem>

#include <marqenkit-gtk/marqenkit-gtk.h>

namespace marqen::edit {

// The application, "com.brondale.MarqenEdit": opening files makes a window per file, running without
// files one empty window. Application-wide shortcuts are installed.
GtkApplication *createEditorApplication();

// A new, empty editor window of `application`, presented.
GtkWindow *createEditorWindow(GtkApplication *application);

// Opens a file in the window (replacing what it shows). FALSE with the error, the window unchanged, when
// the file does not open.
gboolean editorWindowOpen(GtkWindow *window, const std::filesystem::path &path, GError **error);
// Saves as Ctrl+S does, without asking when the file saves in place; FALSE with the error otherwise.
gboolean editorWindowSave(GtkWindow *window, GError **error);
// Writes the document to `path` and, for an editable format, makes it the window's file.
gboolean editorWindowSaveAs(GtkWindow *window, const std::filesystem::path &path, GError **error);

// The last session: a window closing on a document of the facade (without discarding changes) keeps the
// facade's archive of it under the preference "editorLastSession"; the application started without files
// brings it back. The restored window, or null when there is no session or it does not restore.
GtkWindow *restoreLastSession(GtkApplication *application);

MarqenGtkDocumentView *editorWindowDocumentView(GtkWindow *window);
MarqenGtkCompositionView *editorWindowCompositionView(GtkWindow *window);
MarqenToolBar *editorWindowToolBar(GtkWindow *window);
MarqenPropertyBar *editorWindowPropertyBar(GtkWindow *window);

}  // namespace marqen::edit
