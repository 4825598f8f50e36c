#pragma once
// What the editor opened and how it goes back to disk. Pictures, rich pictures, PDFs, bundles and legacy
// "marqen" files open through the document facade and save in place in their own type with the document
// embedded, so that they stay editable (a type that cannot carry the document is saved under a new name);
// a document JSON file (one page or several) opens as its pages and saves in place as JSON. Export
// writes every format the facade offers, PDFs with or without a summary page. Main thread.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <marqenkit/core/core_document.h>
#include <marqenkit/dom/document.h>
#include <marqenkit/formats/dom_json_file.h>
#include <marqenkit/formats/export_format.h>
#include <marqenkit/foundation/error.h>

namespace marqen::edit {

struct EditorFile {
    std::filesystem::path path;
    std::shared_ptr<CoreMarqenDocument> document;  // files the facade opened
    std::optional<MarqenExportFormat> format;       // the type the file was found in
    std::optional<MarqenDOMJSONContent> content;    // document JSON files
    std::vector<std::shared_ptr<MarqenDOMDocument>> pages;

    bool isDocumentJSON() const { return content.has_value(); }
    bool needsSave() const;
    void markSaved();
};

// A document the facade restored from an archive of an earlier session, for the file at `path`.
std::unique_ptr<EditorFile> restoredEditorFile(std::shared_ptr<CoreMarqenDocument> document, const std::filesystem::path &path);

// Opens `path`; null with the error when it is no file the library reads.
std::unique_ptr<EditorFile> openEditorFile(const std::filesystem::path &path, MarqenError *error);

// The format Save writes in place: the file's own type with the document embedded; nothing when that type
// cannot carry it (Save then asks for a new name).
std::optional<MarqenExportFormat> inPlaceFormat(const EditorFile &file);
// The editable format for a name chosen in Save As (".json" for document JSON files, else by the
// extension with the document embedded, a plain picture for types that cannot carry it); nothing for an
// extension of no writable type.
std::optional<MarqenExportFormat> formatForSaveAs(const EditorFile &file, const std::filesystem::path &path);
// The flat export format for a name, a PDF with a summary page when asked.
std::optional<MarqenExportFormat> formatForExport(const std::filesystem::path &path, bool summaryPage);

// Writes the file to `path` in `format` (nothing: document JSON), safely: beside the target, then renamed.
bool saveEditorFile(EditorFile &file, const std::filesystem::path &path, const std::optional<MarqenExportFormat> &format,
                    MarqenError *error);

// The name a Save As dialog proposes.
std::string suggestedSaveName(const EditorFile &file);

}  // namespace marqen::edit
