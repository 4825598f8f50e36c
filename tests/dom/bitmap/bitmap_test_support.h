#pragma once
// Helpers shared by the bitmap tests: flat images, resource files, and a document whose resources are
// answered from a temporary directory by a slow coordinator.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "dom/bitmap.h"
#include "dom/document.h"
#include "platform/image_io.h"
#include "support/delayed_resource_coordinator.h"
#include "support/test_support.h"

namespace marqen::test {

// Paints the pixels of [x0, x1) × [y0, y1).
inline void fillPixels(MarqenImage &image, int x0, int y0, int x1, int y1, uint32_t argb) {
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) image.setPixelAt(x, y, argb);
}

inline MarqenImageRef solidImage(int width, int height, uint32_t argb) {
    auto image = MarqenImage::create(width, height);
    fillPixels(*image, 0, 0, width, height, argb);
    return image;
}

// The name of a resource's file in the coordinator's directory.
inline std::string resourceFileName(const std::string &uri) {
    return uri.substr(std::string(MarqenDOMBitmapURIPrefix).size());
}

struct BitmapDocument {
    TempDir directory;
    std::shared_ptr<DelayedResourceCoordinator> coordinator =
        std::make_shared<DelayedResourceCoordinator>(directory.path());
    std::shared_ptr<MarqenDOMDocument> document;

    explicit BitmapDocument(CGSize size = {40, 30}) : document(MarqenDOMDocument::createWithSize(size, 1)) {
        document->setResourceCoordinator(coordinator);
    }
    ~BitmapDocument() { EXPECT_EQ(coordinator->workOnMainThread(), 0); }

    // Adds a node and lets the load its arrival starts finish.
    void add(const MarqenDOMNodePtr &node) {
        document->addNode(node);
        document->waitForOperationsToFinish();
    }

    // Writes an image as a resource file and returns its URI.
    std::string storeFile(const MarqenImageRef &image) {
        std::string uri = MarqenDOMBitmap::marqenDOMBitmapCreateUri();
        EXPECT_TRUE(MarqenImageWriteToFile(*image, directory / resourceFileName(uri), MarqenImageFormat::PNG));
        return uri;
    }
};

}  // namespace marqen::test
