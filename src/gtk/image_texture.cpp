#include "image_texture.h"

namespace marqen::gtk {

GdkTexture *textureForImage(const MarqenImage &image) {
    if (image.width() <= 0 || image.height() <= 0) return nullptr;
    GBytes *bytes = g_bytes_new(image.data(), image.byteCount());
    // Cairo's ARGB32 is a native-endian word per pixel, which is what GDK's default memory format names.
    GdkTexture *texture = gdk_memory_texture_new(image.width(), image.height(), GDK_MEMORY_DEFAULT, bytes, size_t(image.stride()));
    g_bytes_unref(bytes);
    return texture;
}

PointerShape pointerShapeForControllerCursor(const std::string &cursor) {
    if (cursor == "grab") return PointerShape::Grab;
    if (cursor == "grabbing") return PointerShape::Grabbing;
    if (cursor == "move") return PointerShape::Move;
    if (cursor == "text") return PointerShape::Text;
    if (cursor == "crosshair") return PointerShape::Crosshair;
    return PointerShape::Default;
}

PointerShape pointerShapeForHandle(MarqenHandleKind kind) {
    switch (kind) {
        case MarqenHandleKind::Top:
        case MarqenHandleKind::Bottom: return PointerShape::ResizeNS;
        case MarqenHandleKind::Left:
        case MarqenHandleKind::Right: return PointerShape::ResizeEW;
        case MarqenHandleKind::TopLeft:
        case MarqenHandleKind::BottomRight: return PointerShape::ResizeNWSE;
        case MarqenHandleKind::TopRight:
        case MarqenHandleKind::BottomLeft: return PointerShape::ResizeNESW;
        case MarqenHandleKind::StartPoint:
        case MarqenHandleKind::EndPoint:
        case MarqenHandleKind::StampTail: return PointerShape::Crosshair;
        case MarqenHandleKind::Rotation: return PointerShape::Rotate;
        case MarqenHandleKind::WrapWidth: return PointerShape::ResizeEW;
    }
    return PointerShape::Default;
}

PointerShape pointerShapeForTool(unsigned long toolIdentifier) {
    switch (toolIdentifier) {
        case 0: return PointerShape::Grab;
        case 2: return PointerShape::Text;
        case 7:
        case 8: return PointerShape::Draw;
        case 1:
        case 3:
        case 4:
        case 5:
        case 6:
        case 9:
        case 10:
        case 11: return PointerShape::Crosshair;
        default: return PointerShape::Default;
    }
}

GdkCursor *cursorForPointerShape(PointerShape shape, int scaleFactor, const MarqenRGBAColor &inkColor) {
    MarqenCursorShape artwork;
    const char *themed;
    switch (shape) {
        case PointerShape::Default: return nullptr;
        // The open and closed hands come from the theme: they have no artwork of ours.
        case PointerShape::Grab: return gdk_cursor_new_from_name("grab", nullptr);
        case PointerShape::Grabbing: return gdk_cursor_new_from_name("grabbing", nullptr);
        case PointerShape::Move: artwork = MarqenCursorShape::Move; themed = "move"; break;
        case PointerShape::Text: artwork = MarqenCursorShape::Text; themed = "text"; break;
        case PointerShape::Crosshair: artwork = MarqenCursorShape::Crosshair; themed = "crosshair"; break;
        case PointerShape::Draw: artwork = MarqenCursorShape::Draw; themed = "crosshair"; break;
        case PointerShape::Rotate: artwork = MarqenCursorShape::Rotate; themed = "grab"; break;
        case PointerShape::ResizeNS: artwork = MarqenCursorShape::ResizeNorthSouth; themed = "ns-resize"; break;
        case PointerShape::ResizeEW: artwork = MarqenCursorShape::ResizeEastWest; themed = "ew-resize"; break;
        case PointerShape::ResizeNWSE: artwork = MarqenCursorShape::ResizeNorthWestSouthEast; themed = "nwse-resize"; break;
        case PointerShape::ResizeNESW: artwork = MarqenCursorShape::ResizeNorthEastSouthWest; themed = "nesw-resize"; break;
        default: return nullptr;
    }
    GdkCursor *fallback = gdk_cursor_new_from_name(themed, nullptr);
    const int scale = std::max(1, scaleFactor);
    MarqenCursorImage image = MarqenInterfaceArtwork::cursorImage(artwork, 24, scale, inkColor);
    if (!image.image) return fallback;
    GdkTexture *texture = textureForImage(*image.image);
    if (!texture) return fallback;
    GdkCursor *cursor = gdk_cursor_new_from_texture(texture, int(image.hotspot.x * scale), int(image.hotspot.y * scale), fallback);
    g_object_unref(texture);
    if (fallback) g_object_unref(fallback);
    return cursor;
}

}  // namespace marqen::gtk
