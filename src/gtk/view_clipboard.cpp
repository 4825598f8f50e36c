#include "view_clipboard.h"

#include <algorithm>
#include <cmath>
#include <string>

#include <marqenkit/dom/bitmap.h>
#include <marqenkit/dom/text.h>
#include <marqenkit/foundation/geometry_functions.h>
#include <marqenkit/foundation/log.h>
#include <marqenkit/interaction/clipboard_payload.h>
#include <marqenkit/interaction/document_view.h>
#include <marqenkit/platform/image_io.h>
#include <marqenkit/render/document_images.h>

#include "image_texture.h"

namespace marqen::gtk {

namespace {

// The PNG of the selection is made at most this wide or tall.
constexpr double kMaximumPictureSide = 4096;
constexpr gsize kReadChunk = 64 * 1024;

void logProblem(const std::string &message) { CoreMarqenLog::sharedCoreMarqenLog().logMessage(message); }

GdkContentProvider *pictureProvider(MarqenDocumentView &controller) {
    CGRect region = CGRectNull;
    for (const auto &element : controller.selectedElements()) region = CGRectUnion(region, element->contentBounds());
    region = CGRectIntegral(region);
    if (CGRectIsNull(region) || !(region.size.width >= 1) || !(region.size.height >= 1)) return nullptr;
    const double shrink = std::min(1.0, kMaximumPictureSide / std::max(region.size.width, region.size.height));
    const CGSize size{std::max(1.0, std::round(region.size.width * shrink)), std::max(1.0, std::round(region.size.height * shrink))};
    MarqenError error;
    auto image = MarqenDOMDocumentCreateImageWithSizeOfRegion(controller.document(), std::nullopt, size, region, &error);
    if (!image) {
        logProblem("The selection's picture could not be made for the clipboard: " + error.description());
        return nullptr;
    }
    auto png = MarqenImageEncode(*image, MarqenImageFormat::PNG, {}, &error);
    if (!png) return nullptr;
    GBytes *bytes = g_bytes_new(png->data(), png->size());
    GdkContentProvider *provider = gdk_content_provider_new_for_bytes("image/png", bytes);
    g_bytes_unref(bytes);
    return provider;
}

GdkContentProvider *textProvider(MarqenDocumentView &controller) {
    std::string text;
    for (const auto &element : controller.selectedElements())
        if (auto node = std::dynamic_pointer_cast<MarqenDOMText>(element); node && node->text() && !node->text()->empty())
            text += (text.empty() ? "" : "\n") + *node->text();
    if (text.empty()) return nullptr;
    GBytes *bytes = g_bytes_new(text.data(), text.size());
    GdkContentProvider *provider = gdk_content_provider_new_for_bytes("text/plain;charset=utf-8", bytes);
    g_bytes_unref(bytes);
    return provider;
}

// Reads a stream into memory in chunks, giving up beyond the payload limit.
struct PayloadRead {
    MarqenGtkDocumentView *view;
    GInputStream *stream;
    std::string mimeType;
    std::string bytes;
};

void finishRead(PayloadRead *read) {
    auto *controller = marqen_gtk_document_view_get_controller(read->view);
    if (controller) {
        MarqenError error;
        if (read->mimeType == MARQEN_GTK_CLIPBOARD_MIME_TYPE) {
            if (!controller->paste(read->bytes, &error)) logProblem("The clipboard's annotations could not be pasted: " + error.description());
        } else if (!read->mimeType.empty()) {
            if (!g_utf8_validate(read->bytes.data(), gssize(read->bytes.size()), nullptr))
                logProblem("The clipboard's text is not UTF-8; nothing was pasted");
            else if (controller->isEditingText())
                controller->insertText(read->bytes);
            else if (!controller->pasteText(read->bytes, &error))
                logProblem("The clipboard's text could not be pasted: " + error.description());
        }
    }
    g_object_unref(read->stream);
    g_object_unref(read->view);
    delete read;
}

void readChunk(PayloadRead *read);

void onChunk(GObject *source, GAsyncResult *result, gpointer data) {
    auto *read = static_cast<PayloadRead *>(data);
    GError *error = nullptr;
    GBytes *chunk = g_input_stream_read_bytes_finish(G_INPUT_STREAM(source), result, &error);
    if (!chunk) {
        logProblem(std::string("The clipboard could not be read: ") + (error ? error->message : "unknown error"));
        g_clear_error(&error);
        read->bytes.clear();
        read->mimeType.clear();
        finishRead(read);
        return;
    }
    gsize size = 0;
    const auto *data_ = static_cast<const char *>(g_bytes_get_data(chunk, &size));
    if (size == 0) {
        g_bytes_unref(chunk);
        finishRead(read);
        return;
    }
    if (read->bytes.size() + size > kMarqenClipboardMaximumPayloadBytes) {
        g_bytes_unref(chunk);
        logProblem("The clipboard holds more than the largest payload accepted; nothing was pasted");
        read->mimeType.clear();
        read->bytes.clear();
        finishRead(read);
        return;
    }
    read->bytes.append(data_, size);
    g_bytes_unref(chunk);
    readChunk(read);
}

void readChunk(PayloadRead *read) {
    g_input_stream_read_bytes_async(read->stream, kReadChunk, G_PRIORITY_DEFAULT, nullptr, onChunk, read);
}

void onTexture(GObject *source, GAsyncResult *result, gpointer data) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(data);
    GError *error = nullptr;
    GdkTexture *texture = gdk_clipboard_read_texture_finish(GDK_CLIPBOARD(source), result, &error);
    if (texture) {
        if (auto image = imageForTexture(texture)) addPicture(view, image);
        g_object_unref(texture);
    } else {
        g_clear_error(&error);
    }
    g_object_unref(view);
}

void onRead(GObject *source, GAsyncResult *result, gpointer data) {
    auto *view = MARQEN_GTK_DOCUMENT_VIEW(data);
    const char *mimeType = nullptr;
    GError *error = nullptr;
    GInputStream *stream = gdk_clipboard_read_finish(GDK_CLIPBOARD(source), result, &mimeType, &error);
    if (!stream) {
        // Nothing we read as annotations or text: a picture, if there is one.
        g_clear_error(&error);
        GdkContentFormats *formats = gdk_clipboard_get_formats(GDK_CLIPBOARD(source));
        if (gdk_content_formats_contain_gtype(formats, GDK_TYPE_TEXTURE))
            gdk_clipboard_read_texture_async(GDK_CLIPBOARD(source), nullptr, onTexture, g_object_ref(view));
        g_object_unref(view);
        return;
    }
    auto *read = new PayloadRead{view, stream, mimeType ? mimeType : "", {}};
    readChunk(read);  // the read keeps the view's reference
}

}  // namespace

MarqenImageRef imageForTexture(GdkTexture *texture) {
    const int width = gdk_texture_get_width(texture), height = gdk_texture_get_height(texture);
    if (width <= 0 || height <= 0 || uint64_t(width) * uint64_t(height) > MarqenImageMaximumPixelCount()) return nullptr;
    auto image = MarqenImage::createUninitialized(width, height);
    if (!image) return nullptr;
    // GDK downloads in Cairo's premultiplied ARGB32, which is the image's own layout.
    gdk_texture_download(texture, image->data(), size_t(image->stride()));
    return image;
}

bool addPicture(MarqenGtkDocumentView *view, const MarqenImageRef &image) {
    auto *controller = marqen_gtk_document_view_get_controller(view);
    if (!controller || !image) return false;
    MarqenError error;
    if (!controller->pasteImage(image, &error)) {
        logProblem("The picture could not be added: " + error.description());
        return false;
    }
    return true;
}

void copySelection(MarqenGtkDocumentView *view, bool cut) {
    auto *controller = marqen_gtk_document_view_get_controller(view);
    if (!controller || controller->selectedElements().empty()) return;
    const std::string payload = controller->copySelection();
    if (payload.empty()) return;
    std::vector<GdkContentProvider *> providers;
    GBytes *bytes = g_bytes_new(payload.data(), payload.size());
    providers.push_back(gdk_content_provider_new_for_bytes(MARQEN_GTK_CLIPBOARD_MIME_TYPE, bytes));
    g_bytes_unref(bytes);
    if (GdkContentProvider *picture = pictureProvider(*controller)) providers.push_back(picture);
    if (GdkContentProvider *text = textProvider(*controller)) providers.push_back(text);
    GdkContentProvider *provider = gdk_content_provider_new_union(providers.data(), providers.size());
    gdk_clipboard_set_content(gtk_widget_get_clipboard(GTK_WIDGET(view)), provider);
    g_object_unref(provider);
    if (cut) controller->cutSelection();
}

void pasteClipboard(MarqenGtkDocumentView *view) {
    if (!marqen_gtk_document_view_get_controller(view)) return;
    static const char *mimeTypes[] = {MARQEN_GTK_CLIPBOARD_MIME_TYPE, "text/plain;charset=utf-8", nullptr};
    gdk_clipboard_read_async(gtk_widget_get_clipboard(GTK_WIDGET(view)), mimeTypes, G_PRIORITY_DEFAULT, nullptr, onRead,
                             g_object_ref(view));
}

}  // namespace marqen::gtk
