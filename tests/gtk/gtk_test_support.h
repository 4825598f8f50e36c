#pragma once
// Helpers of the GTK tests: running the GLib loop until something happened, a window around a widget,
// a widget's pixels as the screen shows them, and real input through the X server's test extension.
#include <gtk/gtk.h>

#include <functional>
#include <string>
#include <vector>

namespace marqen::gtktest {

// Runs the default GLib context until `done`, for at most `seconds`.
bool iterateUntil(const std::function<bool()> &done, double seconds = 5);
// Runs the default context for a while, handling whatever arrives.
void iterateFor(double seconds);

struct TestWindow {
    GtkWidget *window;
    TestWindow(GtkWidget *child, int width = -1, int height = -1);
    ~TestWindow();
};

// The widget as the screen would show it, as premultiplied BGRA rows at the display's scale; saved as
// PNG when `savePath` is given.
std::vector<guchar> renderWidget(GtkWidget *widget, int *width, int *height, const char *savePath = nullptr);

// Where screenshots go when MARQEN_SCREENSHOT_DIR is set; empty otherwise.
std::string screenshotPath(const std::string &name);

// Real pointer and keyboard events through XTest, delivered to the window under the pointer. Points are
// in the widget's own coordinates. False from available() when the display is not an X server with the
// extension.
namespace xinput {
bool available();
void moveTo(GtkWidget *widget, double x, double y);
void press(int button = 1);
void release(int button = 1);
void click(GtkWidget *widget, double x, double y);
void drag(GtkWidget *widget, double fromX, double fromY, double toX, double toY, int steps = 8);
// A key by its keysym, with Shift, Control or Alt held.
void key(guint keyval, bool shift = false, bool control = false, bool alt = false);
void type(const std::string &text);
// The pointer to a point of the screen; a point of another client's window (its X id) on the screen.
void moveToScreen(int x, int y);
bool screenPointOfWindow(unsigned long window, int x, int y, int *screenX, int *screenY);
}  // namespace xinput

}  // namespace marqen::gtktest
