// The renderer against plain Cairo drawing the same paths: a 3840 × 2160 document with 500 mixed
// annotations (rectangles, rounded rectangles, ellipses, lines, arrows, freehand strokes, filled
// and stroked) over a bitmap background. Prints "ratio: renderer/cairo" (goal: at most 1.25) and
// "ratio: shadows on/off" (the same document with every element's shadow on; goal: at most 1.4), and
// the time of a render plus PNG encode.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <random>

#include "bench_ratio_reporter.h"
#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "dom/vector.h"
#include "platform/graphics.h"
#include "platform/image_io.h"
#include "render/document_images.h"

namespace {

using namespace marqen;
using Json = nlohmann::ordered_json;

constexpr int kWidth = 3840, kHeight = 2160, kAnnotations = 500;

Json color(int r, int g, int b, double a = 1) { return {{"red", r}, {"green", g}, {"blue", b}, {"alpha", a}}; }
Json point(double x, double y) { return {{"x", x}, {"y", y}}; }

Json annotations(bool shadows) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> x(50, kWidth - 250), y(50, kHeight - 250), size(30, 220), hue(0, 255);
    Json style = {{"shadowColor", color(0, 0, 0)}, {"shadowOpacity", 0.35}, {"shadowRadius", 2},
                  {"shadowOffset", {{"width", 0}, {"height", 2}}}};
    Json nodes = Json::array();
    for (int i = 0; i < kAnnotations; ++i) {
        double x0 = x(random), y0 = y(random), w = size(random), h = size(random);
        Json stroke = color(static_cast<int>(hue(random)), static_cast<int>(hue(random)), 40);
        Json node = {{"type", "Vector"}, {"lineWidth", 3 + i % 9}};
        switch (i % 6) {
            case 0:
            case 1:
                node["strokeColor"] = stroke;
                node["extension"] = {{"type", "Polygon"},
                                     {"vertices", {point(x0, y0), point(x0 + w, y0), point(x0 + w, y0 + h), point(x0, y0 + h)}},
                                     {"extension", {{"type", "Rectangle"}, {"cornerRadius", i % 2 ? 12 : 0}}}};
                if (i % 12 == 0) node["fillColor"] = color(255, 255, 255, 0.5);
                break;
            case 2:
                node["strokeColor"] = stroke;
                node["extension"] = {{"type", "Ellipse"}, {"center", point(x0, y0)}, {"xradius", w / 2}, {"yradius", h / 2}, {"theta", 0.2}};
                break;
            case 3:
                node["strokeColor"] = stroke;
                node["extension"] = {{"type", "Line"}, {"startPoint", point(x0, y0)}, {"endPoint", point(x0 + w, y0 + h)}};
                break;
            case 4:
                node["fillColor"] = stroke;
                node["extension"] = {{"type", "Arrow"}, {"startPoint", point(x0, y0)}, {"endPoint", point(x0 + w, y0 - h / 2)},
                                     {"toolArrowSize", 12}};
                break;
            default: {
                char path[256];
                std::snprintf(path, sizeof path, "M%.1f,%.1fC%.1f,%.1f %.1f,%.1f %.1f,%.1fC%.1f,%.1f %.1f,%.1f %.1f,%.1f", x0, y0,
                              x0 + w / 3, y0 - h / 2, x0 + 2 * w / 3, y0 + h / 2, x0 + w, y0, x0 + 4 * w / 3, y0 - h / 2,
                              x0 + 5 * w / 3, y0 + h / 2, x0 + 2 * w, y0);
                node["path"] = path;
                node["strokeColor"] = i % 4 ? stroke : color(255, 220, 0, 0.5);
                break;
            }
        }
        // Arrows cast a shadow by default; the plain set turns every shadow off.
        node["style"] = shadows ? style : Json{{"shadowRadius", 0}};
        nodes.push_back(node);
    }
    return nodes;
}

MarqenImageRef backgroundImage() {
    auto image = MarqenImage::create(kWidth, kHeight);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            image->setPixelAt(x, y, 0xFF000000u | (static_cast<uint32_t>(x * 255 / kWidth) << 16) |
                                        (static_cast<uint32_t>(y * 255 / kHeight) << 8) | 0x80u);
    return image;
}

std::shared_ptr<MarqenDOMDocument> makeDocument(const MarqenImageRef &background, bool shadows) {
    Json dictionary = {{"type", "Document"},
                       {"frame", {{"x", 0}, {"y", 0}, {"width", kWidth}, {"height", kHeight}}},
                       {"children",
                        {{{"type", "Layer"}, {"layerId", "__background__"}},
                         {{"type", "Layer"}, {"layerId", "__annotation__"}, {"children", annotations(shadows)}},
                         {{"type", "Layer"}, {"layerId", "__text__"}}}}};
    auto document = MarqenDOMDocument::fromDictionary(dictionary);
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setImage(background);
    bitmap->setFrame(CGRectMake(0, 0, kWidth, kHeight));
    document->backgroundLayer()->addChild(bitmap);
    return document;
}

struct Fixture {
    MarqenImageRef background = backgroundImage();
    std::shared_ptr<MarqenDOMDocument> plain = makeDocument(background, false);
    std::shared_ptr<MarqenDOMDocument> shadowed = makeDocument(background, true);
};

Fixture &fixture() {
    static Fixture instance;
    return instance;
}

void appendPath(cairo_t *cr, const MarqenBezierPath &path) {
    for (const auto &element : path.elements()) {
        const CGPoint *p = element.points;
        switch (element.type) {
            case MarqenPathElementType::MoveToPoint: cairo_move_to(cr, p[0].x, p[0].y); break;
            case MarqenPathElementType::AddLineToPoint: cairo_line_to(cr, p[0].x, p[0].y); break;
            case MarqenPathElementType::AddQuadCurveToPoint: {
                double x0, y0;
                cairo_get_current_point(cr, &x0, &y0);
                cairo_curve_to(cr, x0 + 2.0 / 3 * (p[0].x - x0), y0 + 2.0 / 3 * (p[0].y - y0),
                               p[1].x + 2.0 / 3 * (p[0].x - p[1].x), p[1].y + 2.0 / 3 * (p[0].y - p[1].y), p[1].x, p[1].y);
                break;
            }
            case MarqenPathElementType::AddCurveToPoint:
                cairo_curve_to(cr, p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
                break;
            case MarqenPathElementType::CloseSubpath: cairo_close_path(cr); break;
        }
    }
}

// The same picture with plain Cairo calls: the background image, then every outline stroked and filled.
void drawWithCairo(const MarqenDOMDocument &document, const MarqenImage &background, cairo_surface_t *target) {
    cairo_t *cr = cairo_create(target);
    cairo_surface_t *image = cairo_image_surface_create_for_data(const_cast<uint8_t *>(background.data()),
                                                                 CAIRO_FORMAT_ARGB32, background.width(),
                                                                 background.height(), background.stride());
    cairo_set_source_surface(cr, image, 0, 0);
    cairo_paint(cr);
    cairo_surface_destroy(image);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    for (const auto &node : document.annotationLayer()->children()) {
        const auto &vector = static_cast<const MarqenDOMVector &>(*node);
        if (!vector.bezierPath()) continue;
        if (const auto &stroke = vector.strokeColor()) {
            cairo_new_path(cr);
            appendPath(cr, *vector.bezierPath());
            cairo_set_source_rgba(cr, stroke->red() / 255, stroke->green() / 255, stroke->blue() / 255, stroke->alpha());
            cairo_set_line_width(cr, vector.lineWidth());
            cairo_stroke(cr);
        }
        if (const auto &fill = vector.fillColor()) {
            cairo_new_path(cr);
            appendPath(cr, *vector.bezierPath());
            cairo_set_source_rgba(cr, fill->red() / 255, fill->green() / 255, fill->blue() / 255, fill->alpha());
            cairo_fill(cr);
        }
    }
    cairo_destroy(cr);
}

void BM_Renderer(benchmark::State &state) {
    auto &f = fixture();
    for (auto _ : state) {
        auto image = MarqenDOMDocumentCreateImageWithSize(f.plain, MarqenRGBAColor{1, 1, 1, 1}, std::nullopt,
                                                          CGSizeMake(kWidth, kHeight));
        benchmark::DoNotOptimize(image->data());
    }
}

void BM_PlainCairo(benchmark::State &state) {
    auto &f = fixture();
    for (auto _ : state) {
        auto image = MarqenImage::create(kWidth, kHeight);
        cairo_surface_t *surface = cairo_image_surface_create_for_data(image->data(), CAIRO_FORMAT_ARGB32, kWidth, kHeight,
                                                                       image->stride());
        drawWithCairo(*f.plain, *f.background, surface);
        cairo_surface_destroy(surface);
        benchmark::DoNotOptimize(image->data());
    }
}

void BM_RendererWithShadows(benchmark::State &state) {
    auto &f = fixture();
    for (auto _ : state) {
        auto image = MarqenDOMDocumentCreateImageWithSize(f.shadowed, MarqenRGBAColor{1, 1, 1, 1}, std::nullopt,
                                                          CGSizeMake(kWidth, kHeight));
        benchmark::DoNotOptimize(image->data());
    }
}

void BM_RenderAndEncodePNG(benchmark::State &state) {
    auto &f = fixture();
    for (auto _ : state) {
        auto image = MarqenDOMDocumentCreateImageWithSize(f.shadowed, MarqenRGBAColor{1, 1, 1, 1}, std::nullopt,
                                                          CGSizeMake(kWidth, kHeight));
        auto png = MarqenImageEncode(*image, MarqenImageFormat::PNG);
        benchmark::DoNotOptimize(png->data());
    }
}

BENCHMARK(BM_Renderer)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_PlainCairo)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_RendererWithShadows)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_RenderAndEncodePNG)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    marqen::bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatio("4K, 500 annotations: renderer / plain Cairo", "BM_Renderer", "BM_PlainCairo", 1.25);
    reporter.printRatio("4K, 500 annotations: shadows on / off", "BM_RendererWithShadows", "BM_Renderer", 1.4);
    benchmark::Shutdown();
    return marqen::bench::exitStatus();
}
