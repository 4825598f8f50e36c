#include "foundation/atomic_file.h"

#include <fstream>

#include "foundation/uuid.h"

namespace marqen {

std::filesystem::path marqen_temporaryPathBeside(const std::filesystem::path &target) {
    std::filesystem::path temporary = target;
    temporary += ".tmp-" + marqen_stringWithNewUUID();
    return temporary;
}

bool marqen_moveIntoPlace(const std::filesystem::path &temporary, const std::filesystem::path &target,
                          std::string *reason) {
    std::error_code code;
    std::filesystem::rename(temporary, target, code);
    if (!code) return true;
    std::error_code ignored;
    std::filesystem::remove(temporary, ignored);
    if (reason) *reason = code.message();
    return false;
}

bool marqen_writeFileAtomically(const std::filesystem::path &target, std::string_view bytes, std::string *reason) {
    const std::filesystem::path temporary = marqen_temporaryPathBeside(target);
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (out) out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (out) out.flush();
        if (!out) {
            std::error_code ignored;
            std::filesystem::remove(temporary, ignored);
            if (reason) *reason = "the file could not be written";
            return false;
        }
    }
    return marqen_moveIntoPlace(temporary, target, reason);
}

}  // namespace marqen
