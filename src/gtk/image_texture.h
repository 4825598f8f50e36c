#pragma once
// MarqenKit pictures as GDK textures and cursors. Main thread (GDK objects).
#include <gtk/gtk.h>

#include <string>

#include <marqenkit/interaction/document_view.h>
#include <marqenkit/platform/image.h>
#include <marqenkit/render/interface_artwork.h>

namespace marqen::gtk {

// A texture holding a copy of the image's pixels (premultiplied, as Cairo lays them out); null without one.
GdkTexture *textureForImage(const MarqenImage &image);

// The pointer's shape over the view: the controller's word for a running gesture ("grabbing", "move", "text",
// "crosshair"), else the handle or element under the pointer, else the tool's own shape.
enum class PointerShape { Default, Grab, Grabbing, Move, Text, Crosshair, Draw, Rotate, ResizeNS, ResizeEW, ResizeNWSE, ResizeNESW };
PointerShape pointerShapeForControllerCursor(const std::string &cursor);
PointerShape pointerShapeForHandle(MarqenHandleKind kind);
PointerShape pointerShapeForTool(unsigned long toolIdentifier);

// Our cursor artwork for the shape at the display's scale factor (24 logical pixels); the themed cursor of
// the same meaning is the fallback where a texture cannot be shown. Null means the default arrow.
GdkCursor *cursorForPointerShape(PointerShape shape, int scaleFactor, const MarqenRGBAColor &inkColor);

}  // namespace marqen::gtk
