#pragma once
// MARQEN_EXPORT marks the declarations a host links against. The library is built with hidden
// visibility, so everything without the mark (parsers, codecs, helpers) stays internal.
#if defined(__GNUC__) || defined(__clang__)
#define MARQEN_EXPORT __attribute__((visibility("default")))
#else
#define MARQEN_EXPORT
#endif
