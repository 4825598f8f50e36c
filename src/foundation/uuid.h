#pragma once
// Threads: safe on any thread (each thread draws from its own generator).
#include <string>

namespace marqen {

// A fresh random (version 4) UUID in its canonical 36-character upper-case form.
std::string marqen_stringWithNewUUID();
// True for the canonical 8-4-4-4-12 hexadecimal form, either case.
bool marqen_isUUIDString(const std::string &text);

}  // namespace marqen
