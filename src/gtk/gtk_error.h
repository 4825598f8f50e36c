#pragma once
// MarqenKit errors as GErrors for the C API: the domain "marqen-gtk-error-quark", the library's code, and
// the message with the file it concerns. Any thread.
#include <glib.h>

#include <string>

#include <marqenkit/foundation/error.h>

namespace marqen::gtk {

GQuark errorQuark();
void setGError(GError **error, const MarqenError &failure, const std::string &file);

}  // namespace marqen::gtk
