/* The README's example of a host embedding the document view, compiled as C so that the headers stay
 * usable from C. Run with a picture's path: a window shows it ready for annotating. */
#include <marqenkit-gtk/marqenkit-gtk.h>

static void activate(GtkApplication *app, const char *path) {
    GtkWidget *window = gtk_application_window_new(app);
    GtkWidget *view = marqen_gtk_document_view_new();
    marqen_gtk_document_view_open_file(MARQEN_GTK_DOCUMENT_VIEW(view), path, NULL);
    gtk_window_set_child(GTK_WINDOW(window), view);
    gtk_window_present(GTK_WINDOW(window));
}

int main(int argc, char **argv) {
    GtkApplication *app = gtk_application_new("org.example.Annotate", G_APPLICATION_DEFAULT_FLAGS);
    g_signal_connect(app, "activate", G_CALLBACK(activate), argc > 1 ? argv[1] : "picture.png");
    return g_application_run(G_APPLICATION(app), 1, argv);
}
