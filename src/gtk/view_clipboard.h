#pragma once
// The document view's clipboard and picture drops. Copy offers the selection as the node payload under
// MARQEN_GTK_CLIPBOARD_MIME_TYPE, as a PNG picture of the selected area and, for texts, as plain text.
// Paste takes the node payload first, else a picture (it becomes a bitmap element in the middle of the
// view), else text (into the text being edited, or as a new text). Reads are asynchronous and bounded; a payload that does not
// read is logged and changes nothing. Main thread.
#include <gtk/gtk.h>

#include <marqenkit/platform/image.h>

#include "marqenkit-gtk/marqen-document-view.h"

namespace marqen::gtk {

void copySelection(MarqenGtkDocumentView *view, bool cut);
void pasteClipboard(MarqenGtkDocumentView *view);
// Adds a picture as a bitmap element in the middle of the view, fitted inside the page, as one undo step
// ("Paste").
bool addPicture(MarqenGtkDocumentView *view, const MarqenImageRef &image);
// The pixels of a texture as a MarqenKit image; null for textures beyond the image limits.
MarqenImageRef imageForTexture(GdkTexture *texture);

}  // namespace marqen::gtk
