#include "interaction/clipboard_payload.h"

#include <map>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "dom/layer.h"
#include "dom/text.h"
#include "foundation/base64.h"
#include "foundation/log.h"
#include "foundation/uuid.h"
#include "platform/image_io.h"

namespace marqen {

namespace {

void collectBitmaps(const MarqenDOMNodePtr &node, std::vector<std::shared_ptr<MarqenDOMBitmap>> *bitmaps) {
    if (auto bitmap = std::dynamic_pointer_cast<MarqenDOMBitmap>(node)) bitmaps->push_back(bitmap);
    for (const auto &child : node->children()) collectBitmaps(child, bitmaps);
}

void collectNodes(const MarqenDOMNodePtr &node, std::vector<MarqenDOMNodePtr> *nodes) {
    nodes->push_back(node);
    for (const auto &child : node->children()) collectNodes(child, nodes);
}

}  // namespace

std::string MarqenClipboardPayloadForElements(const std::vector<std::shared_ptr<MarqenDOMElement>> &elements) {
    MarqenJSON nodes = MarqenJSON::array();
    MarqenJSON images = MarqenJSON::object();
    for (const auto &element : elements) {
        if (!element) continue;
        MarqenJSON dictionary = element->dictionaryRepresentation();
        if (dictionary.is_null()) continue;
        nodes.push_back(std::move(dictionary));
        std::vector<std::shared_ptr<MarqenDOMBitmap>> bitmaps;
        collectBitmaps(element, &bitmaps);
        for (const auto &bitmap : bitmaps) {
            MarqenImageRef image = bitmap->image();
            if (!image || images.contains(bitmap->uri())) continue;
            MarqenImageEncodeOptions options;
            options.dpiWidth = options.dpiHeight = 0;
            auto png = MarqenImageEncode(*image, MarqenImageFormat::PNG, options);
            if (png) images[bitmap->uri()] = NewBase64Encode(png->data(), png->size(), false);
        }
    }
    MarqenJSON payload = {{"type", kMarqenPasteboardType}, {"nodes", std::move(nodes)}};
    if (!images.empty()) payload["images"] = std::move(images);
    return payload.dump();
}

bool MarqenClipboardElementsFromPayload(const std::string &text, std::vector<std::shared_ptr<MarqenDOMElement>> *elements,
                                        MarqenError *error) {
    if (elements) elements->clear();
    if (text.size() > kMarqenClipboardMaximumPayloadBytes)
        return marqenFail(error, kMarqenClipboardErrorDomain, 1, "The clipboard payload is too large");
    std::string reason;
    auto payload = marqen_parseJSON(text, &reason);
    if (!payload) return marqenFail(error, kMarqenClipboardErrorDomain, 2, "The clipboard payload is not JSON: " + reason);
    const MarqenJSON *nodes = marqen_objectForKey(*payload, "nodes");
    if (marqen_stringForKey(*payload, "type") != std::string(kMarqenPasteboardType) || !nodes || !nodes->is_array())
        return marqenFail(error, kMarqenClipboardErrorDomain, 3, "The clipboard payload holds no nodes");
    if (nodes->size() > kMarqenClipboardMaximumNodes)
        return marqenFail(error, kMarqenClipboardErrorDomain, 1, "The clipboard payload holds too many nodes");
    const MarqenJSON *images = marqen_objectForKey(*payload, "images");

    std::vector<std::shared_ptr<MarqenDOMElement>> result;
    std::vector<MarqenDOMNodePtr> all;
    for (const auto &dictionary : *nodes) {
        MarqenDOMNodePtr node = MarqenDOMNode::nodeWithDictionary(dictionary);
        auto element = std::dynamic_pointer_cast<MarqenDOMElement>(node);
        // Layers and documents are containers, never pasted as annotations.
        if (!element || std::dynamic_pointer_cast<MarqenDOMLayer>(node) || std::dynamic_pointer_cast<MarqenDOMDocument>(node)) {
            marqenLog("Clipboard entry skipped: it is not an annotation");
            continue;
        }
        // Pixels come with the payload; a bitmap without usable pixels would paste as an empty frame.
        std::vector<std::shared_ptr<MarqenDOMBitmap>> bitmaps;
        collectBitmaps(element, &bitmaps);
        bool usable = true;
        for (const auto &bitmap : bitmaps) {
            auto data = images ? marqen_stringForKey(*images, bitmap->uri()) : std::nullopt;
            std::vector<uint8_t> bytes = data ? marqen_dataFromBase64String(*data) : std::vector<uint8_t>{};
            MarqenError decodeError;
            MarqenImageRef image = bytes.empty() ? nullptr : MarqenImageDecodeData(bytes.data(), bytes.size(), nullptr, &decodeError);
            if (!image) {
                marqenLog("Clipboard bitmap skipped: " +
                          (bytes.empty() ? std::string("its pixels are missing") : decodeError.description()));
                usable = false;
                break;
            }
            bitmap->setURIQuietly(MarqenDOMBitmap::marqenDOMBitmapCreateUri());
            bitmap->setImage(image);
        }
        if (!usable) continue;
        collectNodes(element, &all);
        result.push_back(element);
    }
    // Fresh identities, with label links moved along.
    std::map<std::string, std::string> renamed;
    for (const auto &node : all) {
        std::string fresh = marqen_stringWithNewUUID();
        renamed[node->guid()] = fresh;
        node->setGuid(fresh);
    }
    for (const auto &node : all) {
        if (!node->labelGUID()) continue;
        auto it = renamed.find(*node->labelGUID());
        node->setLabelGUID(it == renamed.end() ? std::nullopt : std::optional(it->second));
    }
    // A label comes only with the element it labels; one whose element stayed behind is left out.
    std::vector<std::shared_ptr<MarqenDOMElement>> kept;
    for (const auto &element : result) {
        auto text = std::dynamic_pointer_cast<MarqenDOMText>(element);
        if (text && text->labelParentGUID()) {
            auto it = renamed.find(*text->labelParentGUID());
            if (it == renamed.end() || it->second == text->guid()) {
                marqenLog("Clipboard label skipped: the element it labels is not in the payload");
                continue;
            }
            text->setLabelParentGUID(it->second);
        }
        kept.push_back(element);
    }
    if (elements) *elements = std::move(kept);
    return true;
}

}  // namespace marqen
