#pragma once
// Writing files safely: the bytes go to a temporary file beside the target, which is flushed to disk and
// then renamed over it, so a reader never sees half a file and a failed write leaves the old file as it
// was (and no temporary file behind). Failures come back as a reason; each caller reports it in its own
// error domain.
//
// The target must be absent or a regular file. Anything else that exists there is refused, never
// replaced: a FIFO, a device node such as /dev/null, a directory, a socket, and a symbolic link (the
// writer neither follows the link into wherever it points nor silently replaces the link by a file; the
// caller is told to name the file itself). A replaced file keeps its permission bits, and its owner and
// group where the process is allowed to set them. Callable from any thread; two writers racing for one
// target each rename a complete file, the last one wins.
#include <filesystem>
#include <string>
#include <string_view>

namespace marqen {

// A fresh name in the target's folder, for writers that fill the temporary file themselves.
std::filesystem::path temporaryPathBeside(const std::filesystem::path &target);

// True when target may be replaced (absent, or a regular file); otherwise false and *reason says why.
// Writers that produce a lot of bytes call it first so that they fail before doing the work.
bool checkReplaceableTarget(const std::filesystem::path &target, std::string *reason);

// Flushes temporary to disk, gives it the old target's permissions and owner, renames it over target
// and flushes the folder. On failure removes temporary, leaves target untouched and sets *reason.
bool moveIntoPlace(const std::filesystem::path &temporary, const std::filesystem::path &target,
                   std::string *reason);

// Writes bytes to a temporary file beside target and moves it into place as above.
bool writeFileAtomically(const std::filesystem::path &target, std::string_view bytes, std::string *reason);

}  // namespace marqen
