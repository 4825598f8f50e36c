#pragma once
// MARQEN_GTK_EXPORT marks what libmarqenkit-gtk offers its hosts; the rest of it is hidden.
#if defined(__GNUC__) || defined(__clang__)
#define MARQEN_GTK_EXPORT __attribute__((visibility("default")))
#else
#define MARQEN_GTK_EXPORT
#endif
