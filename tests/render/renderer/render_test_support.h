#pragma once
// Building small documents from JSON and reading rendered pixels.
#include <cstdint>
#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "dom/document.h"
#include "platform/graphics.h"
#include "platform/image.h"
#include "render/document_renderer.h"

namespace marqen::test {

using Json = nlohmann::ordered_json;

inline Json colorJson(int r, int g, int b, double a = 1) { return {{"red", r}, {"green", g}, {"blue", b}, {"alpha", a}}; }

// A document of the given frame size with the given children in its annotation layer (a single
// node may be given as it is: a braced list of one JSON value is that value, not an array).
inline std::shared_ptr<MarqenDOMDocument> documentWithAnnotations(double width, double height, Json annotations,
                                                                  const Json &background = Json::array()) {
    if (annotations.is_object()) annotations = Json::array({annotations});
    Json document = {
        {"type", "Document"},
        {"frame", {{"x", 0}, {"y", 0}, {"width", width}, {"height", height}}},
        {"children",
         {{{"type", "Layer"}, {"layerId", "__background__"}, {"children", background}},
          {{"type", "Layer"}, {"layerId", "__annotation__"}, {"children", annotations}},
          {{"type", "Layer"}, {"layerId", "__text__"}}}},
    };
    return MarqenDOMDocument::fromDictionary(document);
}

struct Pixel {
    int a, r, g, b;  // straight (unpremultiplied) components
};

inline Pixel pixelAt(const MarqenImage &image, int x, int y) {
    uint8_t c[4];
    MarqenImageUnpremultiply(image.pixelAt(x, y), c);
    return {c[0], c[1], c[2], c[3]};
}

// Renders through a renderer of the image's size into a y-up context, as image creation does;
// `configure` adjusts the renderer before drawing.
template <typename Configure>
MarqenImageRef renderWith(const std::shared_ptr<MarqenDOMDocument> &document, int width, int height,
                          Configure configure) {
    auto image = MarqenImage::create(width, height);
    auto context = MarqenGraphicsContext::createForImage(image);
    auto renderer = MarqenDOMDocumentRenderer::create(document);
    renderer->setSize(CGSizeMake(width, height));
    renderer->setDocumentBackgroundColor(std::nullopt);
    configure(*renderer);
    context->translateCTM(0, height);
    context->scaleCTM(1, -1);
    renderer->drawRect(document->frame(), *context);
    context.reset();
    return image;
}

inline MarqenImageRef render(const std::shared_ptr<MarqenDOMDocument> &document, int width, int height) {
    return renderWith(document, width, height, [](MarqenDOMDocumentRenderer &) {});
}

}  // namespace marqen::test
