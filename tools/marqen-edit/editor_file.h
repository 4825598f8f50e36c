#pragma once
// What the editor opened and how it goes back to disk: a document JSON file (one page or several, the
// first shown) is saved in place as JSON with all its pages; a picture becomes the background of a fresh
// page and is saved as an annotated picture. Export writes a flattened PNG, JPEG or PDF. Main thread.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <marqenkit/dom/document.h>
#include <marqenkit/formats/dom_json_file.h>
#include <marqenkit/foundation/error.h>

namespace marqen::edit {

enum class EditorFileKind { DocumentJSON, Picture };

struct EditorFile {
    std::filesystem::path path;
    EditorFileKind kind = EditorFileKind::Picture;
    std::optional<MarqenDOMJSONContent> content;  // for document JSON files
    std::shared_ptr<MarqenDOMDocument> page;      // the page on show
};

// Opens `path`; null with the error when it is neither a document JSON file nor a picture we decode.
std::unique_ptr<EditorFile> openEditorFile(const std::filesystem::path &path, MarqenError *error);

// Whether saving writes the file in place, keeping it editable (document JSON files).
bool savesInPlace(const EditorFile &file);
// Writes the document to `path` (safely: beside the target, then renamed): document JSON for ".json",
// else the flattened picture in the format its extension names (.png, .jpg/.jpeg, .pdf).
bool saveEditorFile(const EditorFile &file, const std::filesystem::path &path, MarqenError *error);

// The name a Save As dialog proposes.
std::string suggestedSaveName(const EditorFile &file);

}  // namespace marqen::edit
