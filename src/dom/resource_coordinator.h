#pragma once
// The object through which a document's bitmaps load and store their pixel data by resource URI
// (a bundle, or a plain directory).
namespace marqen {

class MarqenDOMDocumentResourceCoordinator {
public:
    virtual ~MarqenDOMDocumentResourceCoordinator() = default;
};

}  // namespace marqen
