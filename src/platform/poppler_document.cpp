#include "platform/poppler_document.h"

#include <cairo.h>
#include <poppler.h>
#include <poppler/cpp/poppler-document.h>
#include <poppler/cpp/poppler-global.h>
#include <poppler/cpp/poppler-page.h>

#include <fstream>
#include <mutex>

namespace marqen {

namespace {

bool fail(MarqenError *error, long code, const std::string &description) {
    return marqenFail(error, kMarqenPDFDocumentErrorDomain, code, description);
}

void dropPopplerMessage(const std::string &, void *) {}

void silencePoppler() {
    // libpoppler reports syntax problems of damaged files on stderr; they are errors to us, not output.
    static std::once_flag once;
    std::call_once(once, [] { poppler::set_debug_error_function(dropPopplerMessage, nullptr); });
}

struct PageInfo {
    CGRect mediaBox = CGRectNull;
    CGRect cropBox = CGRectNull;
    int rotation = 0;
};

CGRect fromPoppler(const poppler::rectf &r) {
    return CGRectStandardize(CGRectMake(r.left(), r.top(), r.width(), r.height()));
}

}  // namespace

struct MarqenPDFDocument::Impl {
    std::vector<uint8_t> bytes;  // both readers refer to these bytes
    GBytes *gbytes = nullptr;
    PopplerDocument *document = nullptr;
    std::vector<PageInfo> pages;
    mutable std::mutex mutex;  // poppler documents are not safe to use from several threads at once

    ~Impl() {
        if (document) g_object_unref(document);
        if (gbytes) g_bytes_unref(gbytes);
    }
};

MarqenPDFDocument::MarqenPDFDocument(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
MarqenPDFDocument::~MarqenPDFDocument() = default;

std::shared_ptr<MarqenPDFDocument> MarqenPDFDocument::openFile(const std::filesystem::path &path, MarqenError *error,
                                                               const std::string &password) {
    std::error_code ec;
    auto size = std::filesystem::file_size(path, ec);
    if (ec) {
        fail(error, MarqenPDFDocumentErrorFileAccess, "Cannot read " + path.string() + ": " + ec.message() + ".");
        return nullptr;
    }
    if (size > (uint64_t(1) << 31) - 1) {  // poppler's readers count in int
        fail(error, MarqenPDFDocumentErrorFileAccess, "The file " + path.string() + " is too large to open.");
        return nullptr;
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    std::ifstream in(path, std::ios::binary);
    in.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(size));
    if (!in || static_cast<uint64_t>(in.gcount()) != size) {
        fail(error, MarqenPDFDocumentErrorFileAccess, "Cannot read " + path.string() + ".");
        return nullptr;
    }
    return openData(std::move(bytes), error, password);
}

std::shared_ptr<MarqenPDFDocument> MarqenPDFDocument::openData(std::vector<uint8_t> bytes, MarqenError *error,
                                                               const std::string &password) {
    silencePoppler();
    if (bytes.size() < 8 || bytes.size() > size_t(INT32_MAX)) {
        fail(error, MarqenPDFDocumentErrorDamaged, "The data is not a PDF document.");
        return nullptr;
    }
    auto impl = std::make_unique<Impl>();
    impl->bytes = std::move(bytes);
    impl->gbytes = g_bytes_new_static(impl->bytes.data(), impl->bytes.size());
    GError *gerror = nullptr;
    // No password is passed as null: poppler-glib (22.12) crashes on an encrypted file given an empty one.
    impl->document = poppler_document_new_from_bytes(impl->gbytes, password.empty() ? nullptr : password.c_str(), &gerror);
    if (!impl->document) {
        bool encrypted = gerror && gerror->domain == POPPLER_ERROR && gerror->code == POPPLER_ERROR_ENCRYPTED;
        std::string message = gerror && gerror->message ? gerror->message : "unknown error";
        if (gerror) g_error_free(gerror);
        if (encrypted) fail(error, MarqenPDFDocumentErrorPasswordRequired, "The PDF document is encrypted.");
        else fail(error, MarqenPDFDocumentErrorDamaged, "The PDF document cannot be read: " + message + ".");
        return nullptr;
    }

    // The display library exposes neither the media box nor the rotation: read them from the same
    // bytes with poppler's C++ interface.
    std::unique_ptr<poppler::document> reader(poppler::document::load_from_raw_data(
        reinterpret_cast<const char *>(impl->bytes.data()), static_cast<int>(impl->bytes.size()), password, password));
    int count = poppler_document_get_n_pages(impl->document);
    if (!reader || count <= 0 || reader->pages() != count) {
        fail(error, MarqenPDFDocumentErrorDamaged, "The PDF document has no readable pages.");
        return nullptr;
    }
    impl->pages.resize(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        std::unique_ptr<poppler::page> page(reader->create_page(i));
        if (!page) continue;
        PageInfo &info = impl->pages[static_cast<size_t>(i)];
        info.mediaBox = fromPoppler(page->page_rect(poppler::media_box));
        info.cropBox = fromPoppler(page->page_rect(poppler::crop_box));
        switch (page->orientation()) {
            case poppler::page::landscape: info.rotation = 90; break;
            case poppler::page::upside_down: info.rotation = 180; break;
            case poppler::page::seascape: info.rotation = 270; break;
            default: info.rotation = 0; break;
        }
    }
    return std::shared_ptr<MarqenPDFDocument>(new MarqenPDFDocument(std::move(impl)));
}

int MarqenPDFDocument::pageCount() const { return static_cast<int>(impl_->pages.size()); }

CGRect MarqenPDFDocument::mediaBox(int pageIndex) const {
    if (pageIndex < 0 || pageIndex >= pageCount()) return CGRectNull;
    return impl_->pages[static_cast<size_t>(pageIndex)].mediaBox;
}

CGRect MarqenPDFDocument::cropBox(int pageIndex) const {
    if (pageIndex < 0 || pageIndex >= pageCount()) return CGRectNull;
    return impl_->pages[static_cast<size_t>(pageIndex)].cropBox;
}

int MarqenPDFDocument::rotation(int pageIndex) const {
    if (pageIndex < 0 || pageIndex >= pageCount()) return 0;
    return impl_->pages[static_cast<size_t>(pageIndex)].rotation;
}

CGSize MarqenPDFDocument::displaySize(int pageIndex) const {
    CGRect crop = cropBox(pageIndex);
    if (CGRectIsNull(crop)) return CGSizeZero;
    return rotation(pageIndex) % 180 ? CGSizeMake(crop.size.height, crop.size.width) : crop.size;
}

bool MarqenPDFDocument::drawPage(int pageIndex, cairo_t *context, MarqenError *error) const {
    if (pageIndex < 0 || pageIndex >= pageCount()) {
        return fail(error, MarqenPDFDocumentErrorPageOutOfRange,
                    "Page " + std::to_string(pageIndex) + " is not in the document (" + std::to_string(pageCount()) +
                        " pages).");
    }
    if (!context || cairo_status(context) != CAIRO_STATUS_SUCCESS) {
        return fail(error, MarqenPDFDocumentErrorDrawingFailed, "The drawing context is not usable.");
    }
    std::lock_guard lock(impl_->mutex);
    PopplerPage *page = poppler_document_get_page(impl_->document, pageIndex);
    if (!page) return fail(error, MarqenPDFDocumentErrorDamaged, "Page " + std::to_string(pageIndex) + " cannot be read.");
    cairo_save(context);
    poppler_page_render(page, context);
    cairo_restore(context);
    g_object_unref(page);
    if (cairo_status(context) != CAIRO_STATUS_SUCCESS) {
        return fail(error, MarqenPDFDocumentErrorDrawingFailed,
                    std::string("Drawing the page failed: ") + cairo_status_to_string(cairo_status(context)) + ".");
    }
    return true;
}

}  // namespace marqen
