/* A second X client for the drag-and-drop tests: a small window whose whole area drags what it was given
 * to other applications, over XDND as any GTK application does.
 *
 *   marqen-test-drag-source --file PATH      drags the file (as a file list: text/uri-list)
 *   marqen-test-drag-source --texture PNG    drags the picture (as a texture: image/png)
 *
 * Prints "ready <X window id>" once its window is on screen, "dropped" or "cancelled" when the drag ends,
 * and exits then, or with status 2 after 30 seconds. */
#include <gdk/x11/gdkx.h>
#include <gtk/gtk.h>
#include <stdio.h>
#include <string.h>

static GdkContentProvider *content;
static GMainLoop *loop;
static int status = 2;

static GdkContentProvider *on_prepare(GtkDragSource *source, double x, double y, gpointer data) {
    (void)source, (void)x, (void)y, (void)data;
    return g_object_ref(content);
}

static void on_drag_end(GtkDragSource *source, GdkDrag *drag, gboolean delete_data, gpointer data) {
    (void)source, (void)drag, (void)delete_data, (void)data;
    printf("dropped\n");
    fflush(stdout);
    status = 0;
    g_main_loop_quit(loop);
}

static gboolean on_drag_cancel(GtkDragSource *source, GdkDrag *drag, GdkDragCancelReason reason, gpointer data) {
    (void)source, (void)drag, (void)data;
    printf("cancelled %d\n", (int)reason);
    fflush(stdout);
    status = 1;
    return FALSE;
}

static gboolean announce(gpointer window) {
    GdkSurface *surface = gtk_native_get_surface(GTK_NATIVE(window));
    if (!surface || !gtk_widget_get_mapped(GTK_WIDGET(window))) return G_SOURCE_CONTINUE;
    printf("ready %lu\n", (unsigned long)gdk_x11_surface_get_xid(surface));
    fflush(stdout);
    return G_SOURCE_REMOVE;
}

static gboolean give_up(gpointer data) {
    (void)data;
    g_main_loop_quit(loop);
    return G_SOURCE_REMOVE;
}

int main(int argc, char **argv) {
    if (argc != 3 || (strcmp(argv[1], "--file") != 0 && strcmp(argv[1], "--texture") != 0)) {
        fprintf(stderr, "usage: %s (--file PATH | --texture PNG)\n", argv[0]);
        return 64;
    }
    gtk_init();
    GFile *file = g_file_new_for_path(argv[2]);
    if (strcmp(argv[1], "--file") == 0) {
        GdkFileList *files = gdk_file_list_new_from_array(&file, 1);
        content = gdk_content_provider_new_typed(GDK_TYPE_FILE_LIST, files);
        g_boxed_free(GDK_TYPE_FILE_LIST, files);
    } else {
        GError *error = NULL;
        GdkTexture *texture = gdk_texture_new_from_file(file, &error);
        if (!texture) {
            fprintf(stderr, "%s\n", error->message);
            return 66;
        }
        content = gdk_content_provider_new_typed(GDK_TYPE_TEXTURE, texture);
        g_object_unref(texture);
    }
    g_object_unref(file);

    GtkWidget *window = gtk_window_new();
    gtk_window_set_decorated(GTK_WINDOW(window), FALSE);
    gtk_window_set_default_size(GTK_WINDOW(window), 120, 120);
    GtkWidget *label = gtk_label_new("Drag me");
    gtk_widget_set_size_request(label, 120, 120);
    GtkDragSource *source = gtk_drag_source_new();
    gtk_drag_source_set_actions(source, GDK_ACTION_COPY);
    g_signal_connect(source, "prepare", G_CALLBACK(on_prepare), NULL);
    g_signal_connect(source, "drag-end", G_CALLBACK(on_drag_end), NULL);
    g_signal_connect(source, "drag-cancel", G_CALLBACK(on_drag_cancel), NULL);
    gtk_widget_add_controller(label, GTK_EVENT_CONTROLLER(source));
    gtk_window_set_child(GTK_WINDOW(window), label);
    gtk_window_present(GTK_WINDOW(window));

    loop = g_main_loop_new(NULL, FALSE);
    g_timeout_add(20, announce, window);
    g_timeout_add_seconds(30, give_up, NULL);
    g_main_loop_run(loop);
    gtk_window_destroy(GTK_WINDOW(window));
    g_object_unref(content);
    g_main_loop_unref(loop);
    return status;
}
