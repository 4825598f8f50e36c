#include "gtk_error.h"

namespace marqen::gtk {

GQuark errorQuark() { return g_quark_from_static_string("marqen-gtk-error-quark"); }

void setGError(GError **error, const MarqenError &failure, const std::string &file) {
    std::string message = failure.localizedDescription();
    if (message.empty()) message = "the file could not be read";
    if (!file.empty()) {
        char *display = g_filename_display_basename(file.c_str());
        message = std::string(display) + ": " + message;
        g_free(display);
    }
    g_set_error_literal(error, errorQuark(), int(failure.code), message.c_str());
}

}  // namespace marqen::gtk
