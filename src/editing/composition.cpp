// MarqenComposition: construction, the page list, shared undo, metadata and the derived state.
#include "editing/composition.h"

#include <algorithm>

#include "dom/document.h"
#include "dom/exceptions.h"
#include "editing/composition_private.h"
#include "formats/composition_bundle.h"
#include "formats/export_format.h"
#include "formats/legacy_svg_import.h"
#include "foundation/log.h"
#include "foundation/notification_center.h"
#include "foundation/undo_manager.h"

namespace marqen {

namespace fs = std::filesystem;

MarqenComposition::MarqenComposition() : private_(std::make_unique<Private>()) {}

MarqenComposition::~MarqenComposition() {
    // The pages may still load resources through this coordinator: let their work end first.
    for (const auto &document : documents_)
        if (document) document->setResourceCoordinator(nullptr);
    private_->files.reset();
    std::error_code ec;
    if (bundle_ && !bundle_->URL().empty()) {
        const bool incoming = incomingURL_ && (*incomingURL_ == bundle_->URL() || fs::equivalent(*incomingURL_, bundle_->URL(), ec));
        if (!incoming) fs::remove_all(bundle_->URL(), ec);
    }
    pdf_.reset();
    singleFilePDF_.reset();
    for (const auto &file : private_->temporaryFiles) fs::remove(file, ec);
}

std::shared_ptr<MarqenComposition> MarqenComposition::init() {
    throw MarqenGenericException(
        "Unsupported initializer.  Use initWithSize:scale: , initWithImage:scale: or initScreenshotImage:scale:");
}

std::shared_ptr<MarqenComposition> MarqenComposition::copy() const { throw MarqenGenericException("Not supported."); }

std::shared_ptr<MarqenComposition> MarqenComposition::initWithSize(CGSize size, CGFloat scale) {
    auto bundle = MarqenCompositionBundle::init();
    if (!bundle) {
        marqenLog("MarqenComposition: no bundle directory could be made in the temporary folder");
        return nullptr;
    }
    std::shared_ptr<MarqenComposition> composition(new MarqenComposition);
    composition->bundle_ = std::move(bundle);
    composition->documents_.push_back(MarqenDOMDocument::createWithSize(size, scale));
    composition->commonInit();
    return composition;
}

std::shared_ptr<MarqenComposition> MarqenComposition::initWithImage(const MarqenImageRef &image, CGFloat scale,
                                                                    unsigned long profile,
                                                                    const MarqenJSON &imageProperties) {
    if (!image) return nullptr;
    if (!(scale > 0)) scale = 1;
    auto composition = initWithSize({image->width() / scale, image->height() / scale}, scale);
    if (!composition) return nullptr;
    composition->documents_.front()->addBackgroundImage(image, profile, imageProperties);
    composition->documents_.front()->setNeedsSave(false);
    return composition;
}

std::shared_ptr<MarqenComposition> MarqenComposition::convertMarqenSVGAtURL(const fs::path &url, MarqenError *error) {
    auto document = MarqenLegacySVGConvertDocumentAtURL(url, error);
    if (!document) return nullptr;
    auto bundle = MarqenCompositionBundle::init();
    if (!bundle) {
        marqenFail(error, kMarqenCompositionSVGImportErrorDomain, kMarqenCompositionSVGImportUnknownError,
                   "MarqenKit Composition SVG Import Unknown error");
        return nullptr;
    }
    std::shared_ptr<MarqenComposition> composition(new MarqenComposition);
    composition->bundle_ = std::move(bundle);
    composition->documents_.push_back(document);
    composition->commonInit();
    return composition;
}

bool MarqenComposition::isOpenableFileType(const std::string &typeIdentifier) {
    if (MarqenTypeIdentifierEquals(typeIdentifier, kMarqenTypePDF)) return true;
    for (const char *type : {kMarqenTypePNG, kMarqenTypeJPEG, kMarqenTypeHEIC, kMarqenTypeTIFF, kMarqenTypeGIF,
                             kMarqenTypeBMP, "public.jpeg-2000", "public.image"})
        if (MarqenTypeIdentifierEquals(typeIdentifier, type)) return true;
    return false;
}

void MarqenComposition::commonInit() {
    undoManager_ = std::make_shared<UndoManager>();
    updateDocumentProperties();
}

void MarqenComposition::updateDocumentProperties() {
    auto self = shared_from_this();
    for (const auto &document : documents_) {
        document->setResourceCoordinator(self);
        document->setUndoManager(undoManager_);
        document->setNeedsSave(false);
    }
}

void MarqenComposition::setUndoManager(std::shared_ptr<UndoManager> undoManager) {
    undoManager_ = std::move(undoManager);
    for (const auto &document : documents_) document->setUndoManager(undoManager_);
}

void MarqenComposition::setDocuments(std::vector<std::shared_ptr<MarqenDOMDocument>> documents) {
    std::erase(documents, nullptr);
    auto self = shared_from_this();
    for (const auto &document : documents) {
        if (document->resourceCoordinatorShared() != self) document->setResourceCoordinator(self);
        if (document->undoManagerShared() != undoManager_) document->setUndoManager(undoManager_);
    }
    documents_ = std::move(documents);
    NotificationCenter::defaultCenter().post(kMarqenCompositionDocumentsDidChangeNotification, this);
}

void MarqenComposition::insertDocument(const std::shared_ptr<MarqenDOMDocument> &document, size_t index) {
    if (!document) return;
    auto pages = documents_;
    pages.insert(pages.begin() + std::ptrdiff_t(std::min(index, pages.size())), document);
    setDocuments(std::move(pages));
}

void MarqenComposition::deleteDocumentAtIndex(size_t index) {
    if (index >= documents_.size()) return;
    auto pages = documents_;
    pages.erase(pages.begin() + std::ptrdiff_t(index));
    setDocuments(std::move(pages));
}

fs::path MarqenComposition::originalPDFURL() const {
    if (!pdf_ || !bundle_) return {};
    return bundle_->originalPDFFileURL();
}

void MarqenComposition::setModifiedOriginalPDFURL(const std::optional<fs::path> &url) { modifiedOriginalPDFURL_ = url; }

void MarqenComposition::markPDFDocumentAsModified() {
    if (modifiedOriginalPDFURL_) isOriginalPDFDirty_ = true;
    NotificationCenter::defaultCenter().post(kMarqenCompositionDidModifyOriginalPDFNotification, this);
    if (!documents_.empty()) documents_.front()->setNeedsSave(true);
}

std::optional<std::string> MarqenComposition::title() const {
    if (documents_.empty()) return std::nullopt;
    return documents_.front()->title();
}

void MarqenComposition::setTitle(const std::optional<std::string> &title) {
    if (!documents_.empty()) documents_.front()->setTitle(title);
}

std::vector<std::string> MarqenComposition::userAgentHistory() const {
    if (documents_.empty()) return {};
    return documents_.front()->userAgentHistory();
}

void MarqenComposition::setMetadataObject(const MarqenJSON &object, const std::string &key) {
    if (!documents_.empty()) documents_.front()->setMetadataObject(object, key);
}

MarqenJSON MarqenComposition::metadataObjectForKey(const std::string &key) const {
    if (documents_.empty()) return nullptr;
    const MarqenJSON &metadata = documents_.front()->metadata();
    if (!metadata.is_object() || !metadata.contains(key)) return nullptr;
    return metadata.at(key);
}

CGSize MarqenComposition::size() const {
    CGSize size{0, 0};
    for (const auto &document : documents_) {
        CGRect frame = document->frame();
        size.width = std::max(size.width, frame.size.width);
        size.height += frame.size.height;
    }
    return size;
}

bool MarqenComposition::needsSave() const {
    return std::any_of(documents_.begin(), documents_.end(), [](const auto &document) { return document->needsSave(); });
}

std::chrono::system_clock::time_point MarqenComposition::lastModified() const {
    std::chrono::system_clock::time_point latest{};
    for (const auto &document : documents_) latest = std::max(latest, document->lastModified());
    return latest;
}

void MarqenComposition::setLastModified(std::chrono::system_clock::time_point date) {
    for (const auto &document : documents_) document->setLastModified(date);
}

void MarqenComposition::markCompositionAsClean() {
    for (const auto &document : documents_) document->setNeedsSave(false);
}

std::string MarqenComposition::preferredFlattenedFormat() const {
    if (isMultiPageDocument()) return kMarqenTypePDF;
    std::optional<unsigned long> profile = documents_.empty() ? std::nullopt : documents_.front()->preferredImageProfile();
    if (profile == MarqenImageProfileJPEG) return kMarqenTypeJPEG;
    if (profile == MarqenImageProfileHEIC) return kMarqenTypeHEIC;
    return kMarqenTypePNG;
}

}  // namespace marqen
