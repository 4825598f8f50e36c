#include "editor_file.h"

#include <algorithm>

#include <marqenkit/editing/composition.h>
#include <marqenkit/foundation/undo_manager.h>
#include <marqenkit/render/document_images.h>

namespace marqen::edit {

namespace {

std::string lowerExtension(const std::filesystem::path &path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return extension;
}

MarqenError fileError(const std::string &description) {
    MarqenError error{"MarqenEditErrorDomain", 1};
    error.userInfo[kMarqenLocalizedDescriptionKey] = description;
    return error;
}

// The plain format a file name's extension names, if any writable one does.
std::optional<MarqenExportFormat> plainFormatForExtension(const std::string &extension) {
    for (const auto &format : MarqenExportFormat::allFormats()) {
        if (format.isDOMEmbedded() || format.isPDFWithSummary() || !format.isFormatWritable()) continue;
        std::string own = ".";
        own += format.fileExtension();
        if (own == extension || (extension == ".jpeg" && own == ".jpg") || (extension == ".jpg" && own == ".jpeg") ||
            (extension == ".tif" && own == ".tiff") || (extension == ".tiff" && own == ".tif"))
            return format;
    }
    return std::nullopt;
}

std::optional<MarqenExportFormat> embedded(std::optional<MarqenExportFormat> format) {
    if (!format) return std::nullopt;
    format->setIsPDFWithSummary(false);
    format->setIsDOMEmbedded(true);
    if (!format->isDOMEmbedded() || !format->isFormatWritable()) return std::nullopt;
    return format;
}

}  // namespace

bool EditorFile::needsSave() const {
    return std::any_of(pages.begin(), pages.end(), [](const auto &page) { return page && page->needsSave(); });
}

void EditorFile::markSaved() {
    for (const auto &page : pages)
        if (page) page->setNeedsSave(false);
}

std::unique_ptr<EditorFile> openEditorFile(const std::filesystem::path &path, MarqenError *error) {
    auto file = std::make_unique<EditorFile>();
    file->path = path;
    std::error_code code;
    if (lowerExtension(path) == ".json" && !std::filesystem::is_directory(path, code)) {
        auto content = MarqenReadDOMJSONFile(path.string(), error);
        if (!content) return nullptr;
        if (!content->pages || content->pages->pages().empty()) {
            if (error) *error = fileError("the document has no pages");
            return nullptr;
        }
        file->pages = content->pages->pages();
        file->content = std::move(content);
        // Opening is not an edit.
        for (const auto &page : file->pages)
            if (auto *undo = page->undoManager()) undo->removeAllActions();
    } else {
        std::optional<MarqenExportFormat> format;
        auto document = CoreMarqenDocument::initWithURL(path, &format, error);
        if (!document) return nullptr;
        const auto &composition = document->documentComposition();
        if (!composition || composition->documents().empty()) {
            if (error) *error = fileError("the file holds no pages");
            return nullptr;
        }
        file->pages = composition->documents();
        file->document = std::move(document);
        file->format = format;
    }
    file->markSaved();
    return file;
}

std::unique_ptr<EditorFile> restoredEditorFile(std::shared_ptr<CoreMarqenDocument> document, const std::filesystem::path &path) {
    if (!document || !document->documentComposition() || document->documentComposition()->documents().empty()) return nullptr;
    auto file = std::make_unique<EditorFile>();
    file->path = path;
    file->pages = document->documentComposition()->documents();
    file->document = std::move(document);
    // The file's type, as it is on disk now; a file gone since keeps the document unsaved until Save As.
    if (auto type = CoreMarqenTypeIdentifierOfURL(path)) file->format = MarqenExportFormat::initWithUTI(*type);
    return file;
}

std::optional<MarqenExportFormat> inPlaceFormat(const EditorFile &file) {
    if (file.isDocumentJSON()) return std::nullopt;
    return embedded(file.format);
}

std::optional<MarqenExportFormat> formatForSaveAs(const EditorFile &file, const std::filesystem::path &path) {
    const std::string extension = lowerExtension(path);
    if (extension == ".json") return std::nullopt;
    auto plain = plainFormatForExtension(extension);
    if (!plain) return std::nullopt;
    if (auto rich = embedded(plain)) return rich;
    (void)file;
    return plain;
}

std::optional<MarqenExportFormat> formatForExport(const std::filesystem::path &path, bool summaryPage) {
    auto format = plainFormatForExtension(lowerExtension(path));
    if (format && summaryPage) format->setIsPDFWithSummary(true);
    return format;
}

bool saveEditorFile(EditorFile &file, const std::filesystem::path &path, const std::optional<MarqenExportFormat> &format,
                    MarqenError *error) {
    if (!format) {
        if (lowerExtension(path) != ".json") {
            if (error) *error = fileError("choose a name ending in a picture or PDF type, or .json");
            return false;
        }
        MarqenJSON json;
        if (file.content) json = file.content->dictionaryRepresentation();
        else if (!file.pages.empty()) json = file.pages.front()->dictionaryRepresentation();
        return MarqenWriteFileAtomically(path.string(), json.dump(2) + "\n", error);
    }
    if (!file.document) {
        // A document JSON file has no picture of its own to carry the document: its first page is flattened.
        std::optional<std::vector<uint8_t>> bytes;
        const std::string &uti = format->uti();
        if (MarqenTypeIdentifierEquals(uti, kMarqenTypePNG)) bytes = MarqenDOMDocumentPNGRepresentation(file.pages.front(), false, error);
        else if (MarqenTypeIdentifierEquals(uti, kMarqenTypeJPEG)) bytes = MarqenDOMDocumentJPEGRepresentation(file.pages.front(), error);
        else if (MarqenTypeIdentifierEquals(uti, kMarqenTypePDF)) bytes = MarqenDOMDocumentPDFRepresentation(file.pages.front(), true, error);
        else if (error) *error = fileError("a document JSON file exports as PNG, JPEG or PDF");
        if (!bytes) return false;
        return MarqenWriteFileAtomically(path.string(), std::string(bytes->begin(), bytes->end()), error);
    }
    return file.document->writeToURL(path, *format, MarqenJSON::object(), error);
}

std::string suggestedSaveName(const EditorFile &file) {
    if (file.isDocumentJSON()) return file.path.filename().string();
    if (inPlaceFormat(file)) return file.path.filename().string();
    return file.path.stem().string() + ".png";
}

}  // namespace marqen::edit
