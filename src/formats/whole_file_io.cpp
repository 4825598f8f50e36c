// Reading and safely writing whole files, in their own file so that a program that only moves bytes
// (the command line's PDF commands) links them without the document model.
#include <filesystem>
#include <fstream>

#include "foundation/atomic_file.h"
#include "formats/dom_json_file.h"

namespace marqen {

bool MarqenReadWholeFile(const std::string &path, size_t maximumSize, std::string *bytes, MarqenError *error) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec))
        return marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileUnreadable,
                          "cannot read " + path + ": no such file");
    auto size = std::filesystem::file_size(path, ec);
    if (ec) return marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileUnreadable, "cannot read " + path);
    if (size > maximumSize)
        return marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileUnreadable,
                          "cannot read " + path + ": file too large (" + std::to_string(size) + " bytes)");
    std::ifstream in(path, std::ios::binary);
    if (!in) return marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileUnreadable, "cannot read " + path);
    bytes->assign(static_cast<size_t>(size), '\0');
    in.read(bytes->data(), static_cast<std::streamsize>(size));
    bytes->resize(static_cast<size_t>(in.gcount()));
    return true;
}

bool MarqenWriteFileAtomically(const std::string &path, const std::string &bytes, MarqenError *error) {
    std::string reason;
    if (writeFileAtomically(path, bytes, &reason)) return true;
    return marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileUnwritable,
                      "cannot write " + path + ": " + reason);
}

}  // namespace marqen
