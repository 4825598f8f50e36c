#include "platform/path_hit_test.h"

#include <cairo.h>

#include "platform/graphics.h"

namespace marqen {

bool MarqenCGPathIntersectsRect(const MarqenBezierPath &path, CGRect rect, bool filled) {
    if (CGRectIsEmpty(rect)) return false;
    CGRect box = path.bounds();
    if (!CGRectIntersectsRect(box, rect)) return false;
    if (CGRectContainsRect(rect, box)) return true;

    cairo_surface_t *surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 10, 10);  // zero-filled
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return false;
    }
    cairo_t *cr = cairo_create(surface);
    bool hit = false;
    if (cairo_status(cr) == CAIRO_STATUS_SUCCESS) {
        {
            MarqenGraphicsContext context(cr);
            rect = CGRectStandardize(rect);
            context.scaleCTM(10 / rect.size.width, 10 / rect.size.height);
            context.setShouldAntialias(false);
            context.translateCTM(-rect.origin.x, -rect.origin.y);
            context.setFillColor({0, 0, 0, 1});
            context.setStrokeColor({0, 0, 0, 1});
            context.setLineWidth(1);
            // A CGPath carries no winding rule: the fill is non-zero, whatever the path says.
            if (filled) {
                context.addPath(path);
                context.fillPath(MarqenWindingRule::NonZero);
            }
            context.addPath(path);
            context.strokePath();
        }
        cairo_surface_flush(surface);
        const unsigned char *data = cairo_image_surface_get_data(surface);
        const int stride = cairo_image_surface_get_stride(surface);
        for (int y = 0; y < 10 && !hit; ++y)
            for (int x = 0; x < 10; ++x)
                if (data[y * stride + x]) {
                    hit = true;
                    break;
                }
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    return hit;
}

}  // namespace marqen
