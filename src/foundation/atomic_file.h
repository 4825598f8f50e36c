#pragma once
// Writing files safely: the bytes go to a temporary file beside the target, which is then renamed over
// it, so a reader never sees half a file and a failed write leaves the old file as it was. Failures come
// back as a reason; each caller reports it in its own error domain.
#include <filesystem>
#include <string>
#include <string_view>

namespace marqen {

// A fresh name in the target's folder, for writers that fill the temporary file themselves.
std::filesystem::path marqen_temporaryPathBeside(const std::filesystem::path &target);

// Renames temporary over target; on failure removes temporary and sets *reason.
bool marqen_moveIntoPlace(const std::filesystem::path &temporary, const std::filesystem::path &target,
                          std::string *reason);

// Writes bytes to a temporary file beside target and renames it over target.
bool marqen_writeFileAtomically(const std::filesystem::path &target, std::string_view bytes, std::string *reason);

}  // namespace marqen
