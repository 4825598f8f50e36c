#include "editor_file.h"

#include <algorithm>

#include <marqenkit/dom/bitmap.h>
#include <marqenkit/dom/layer.h>
#include <marqenkit/foundation/undo_manager.h>
#include <marqenkit/platform/image_io.h>
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

}  // namespace

std::unique_ptr<EditorFile> openEditorFile(const std::filesystem::path &path, MarqenError *error) {
    std::error_code code;
    if (std::filesystem::is_directory(path, code)) {
        if (error) *error = fileError("a folder cannot be opened");
        return nullptr;
    }
    auto file = std::make_unique<EditorFile>();
    file->path = path;
    if (lowerExtension(path) == ".json") {
        auto content = MarqenReadDOMJSONFile(path.string(), error);
        if (!content) return nullptr;
        if (!content->pages || content->pages->pages().empty()) {
            if (error) *error = fileError("the document has no pages");
            return nullptr;
        }
        file->kind = EditorFileKind::DocumentJSON;
        file->page = content->pages->pages().front();
        file->content = std::move(content);
    } else {
        auto image = MarqenImageDecodeFile(path, nullptr, error);
        if (!image) return nullptr;
        file->kind = EditorFileKind::Picture;
        file->page = MarqenDOMDocument::createWithSize(CGSize{double(image->width()), double(image->height())}, 1);
        auto bitmap = MarqenDOMBitmap::create();
        bitmap->setImage(image);
        bitmap->setFrame(CGRectMake(0, 0, image->width(), image->height()));
        file->page->backgroundLayer()->addChild(bitmap);
    }
    // Opening is not an edit.
    if (auto *undo = file->page->undoManager()) undo->removeAllActions();
    file->page->setNeedsSave(false);
    return file;
}

bool savesInPlace(const EditorFile &file) { return file.kind == EditorFileKind::DocumentJSON; }

bool saveEditorFile(const EditorFile &file, const std::filesystem::path &path, MarqenError *error) {
    const std::string extension = lowerExtension(path);
    std::optional<std::vector<uint8_t>> bytes;
    if (extension == ".json") {
        MarqenJSON json = file.content ? file.content->dictionaryRepresentation() : file.page->dictionaryRepresentation();
        const std::string text = json.dump(2) + "\n";
        return MarqenWriteFileAtomically(path.string(), text, error);
    }
    if (extension == ".png") bytes = MarqenDOMDocumentPNGRepresentation(file.page, false, error);
    else if (extension == ".jpg" || extension == ".jpeg") bytes = MarqenDOMDocumentJPEGRepresentation(file.page, error);
    else if (extension == ".pdf") bytes = MarqenDOMDocumentPDFRepresentation(file.page, true, error);
    else {
        if (error) *error = fileError("choose a name ending in .json, .png, .jpg or .pdf");
        return false;
    }
    if (!bytes) return false;
    return MarqenWriteFileAtomically(path.string(), std::string(bytes->begin(), bytes->end()), error);
}

std::string suggestedSaveName(const EditorFile &file) {
    if (file.kind == EditorFileKind::DocumentJSON) return file.path.filename().string();
    return file.path.stem().string() + " (annotated).png";
}

}  // namespace marqen::edit
