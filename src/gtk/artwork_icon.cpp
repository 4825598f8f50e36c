#include "marqenkit-gtk/marqen-artwork-icon.h"

#include <string>

#include "platform/graphics.h"
#include "render/interface_artwork.h"

struct _MarqenArtworkIcon {
    GtkWidget parent_instance;
    bool isGlyph;
    guint toolId;
    std::string *stampName;
    std::string *glyphName;
    int pixelSize;
};

G_DEFINE_FINAL_TYPE(MarqenArtworkIcon, marqen_artwork_icon, GTK_TYPE_WIDGET)

namespace {

void measure(GtkWidget *widget, GtkOrientation, int, int *minimum, int *natural, int *minimumBaseline,
             int *naturalBaseline) {
    *minimum = *natural = MARQEN_ARTWORK_ICON(widget)->pixelSize;
    *minimumBaseline = *naturalBaseline = -1;
}

void snapshot(GtkWidget *widget, GtkSnapshot *snapshot) {
    auto *icon = MARQEN_ARTWORK_ICON(widget);
    const int width = gtk_widget_get_width(widget), height = gtk_widget_get_height(widget);
    if (width <= 0 || height <= 0) return;
    GdkRGBA foreground;
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    gtk_style_context_get_color(gtk_widget_get_style_context(widget), &foreground);
    G_GNUC_END_IGNORE_DEPRECATIONS
    const graphene_rect_t bounds = GRAPHENE_RECT_INIT(0, 0, float(width), float(height));
    // The Cairo node is rasterised at the surface's scale factor, so the vectors stay sharp.
    cairo_t *cr = gtk_snapshot_append_cairo(snapshot, &bounds);
    {
        marqen::MarqenGraphicsContext context(cr);
        const double side = std::min(width, height);
        const marqen::CGRect square = marqen::CGRectMake((width - side) / 2, (height - side) / 2, side, side);
        const marqen::MarqenRGBAColor tint{foreground.red, foreground.green, foreground.blue, foreground.alpha};
        if (icon->isGlyph)
            marqen::MarqenInterfaceArtwork::drawGlyph(*icon->glyphName, context, square, tint);
        else
            marqen::MarqenInterfaceArtwork::drawToolIcon(int(icon->toolId), context, square, tint, *icon->stampName);
    }
    cairo_destroy(cr);
}

void finalize(GObject *object) {
    auto *icon = MARQEN_ARTWORK_ICON(object);
    delete icon->stampName;
    delete icon->glyphName;
    G_OBJECT_CLASS(marqen_artwork_icon_parent_class)->finalize(object);
}

}  // namespace

static void marqen_artwork_icon_class_init(MarqenArtworkIconClass *klass) {
    G_OBJECT_CLASS(klass)->finalize = finalize;
    GTK_WIDGET_CLASS(klass)->measure = measure;
    GTK_WIDGET_CLASS(klass)->snapshot = snapshot;
    gtk_widget_class_set_css_name(GTK_WIDGET_CLASS(klass), "marqen-artwork-icon");
    gtk_widget_class_set_accessible_role(GTK_WIDGET_CLASS(klass), GTK_ACCESSIBLE_ROLE_IMG);
}

static void marqen_artwork_icon_init(MarqenArtworkIcon *icon) {
    icon->stampName = new std::string;
    icon->glyphName = new std::string;
    icon->pixelSize = 20;
}

GtkWidget *marqen_artwork_icon_new_for_tool(guint tool_id, const char *stamp_name) {
    auto *icon = MARQEN_ARTWORK_ICON(g_object_new(MARQEN_TYPE_ARTWORK_ICON, nullptr));
    icon->toolId = tool_id;
    *icon->stampName = stamp_name ? stamp_name : "";
    return GTK_WIDGET(icon);
}

GtkWidget *marqen_artwork_icon_new_for_glyph(const char *glyph_name) {
    auto *icon = MARQEN_ARTWORK_ICON(g_object_new(MARQEN_TYPE_ARTWORK_ICON, nullptr));
    icon->isGlyph = true;
    *icon->glyphName = glyph_name ? glyph_name : "";
    return GTK_WIDGET(icon);
}

void marqen_artwork_icon_set_pixel_size(MarqenArtworkIcon *icon, int pixel_size) {
    g_return_if_fail(MARQEN_IS_ARTWORK_ICON(icon));
    pixel_size = std::max(1, pixel_size);
    if (icon->pixelSize == pixel_size) return;
    icon->pixelSize = pixel_size;
    gtk_widget_queue_resize(GTK_WIDGET(icon));
}

int marqen_artwork_icon_get_pixel_size(MarqenArtworkIcon *icon) {
    g_return_val_if_fail(MARQEN_IS_ARTWORK_ICON(icon), 0);
    return icon->pixelSize;
}
