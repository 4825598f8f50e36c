// marqen-edit [FILE…]: annotate pictures and documents.
#include "editor_window.h"

int main(int argc, char **argv) {
    GtkApplication *application = marqen::edit::createEditorApplication();
    const int status = g_application_run(G_APPLICATION(application), argc, argv);
    g_object_unref(application);
    return status;
}
