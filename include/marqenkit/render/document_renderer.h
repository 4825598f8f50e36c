#pragma once
// The renderer of a document node: fits the document frame into a target area, draws the
// background (colours or the PDF page) and then the three layers.
//
// Threads: main thread, with the nodes it draws.
#include <memory>
#include <optional>

#include "../export.h"
#include "../dom/document.h"
#include "../platform/graphics.h"
#include "node_renderer.h"

namespace marqen {

class MarqenDOMDocumentRenderer;

// Decides which nodes a document renderer draws.
class MARQEN_EXPORT MarqenDOMDocumentRendererDelegate {
public:
    virtual ~MarqenDOMDocumentRendererDelegate() = default;
    virtual bool rendererShouldRenderNode(const MarqenDOMDocumentRenderer &renderer, const MarqenDOMNodePtr &node) = 0;
};

class MARQEN_EXPORT MarqenDOMDocumentRenderer : public MarqenDOMNodeRenderer {
public:
    ~MarqenDOMDocumentRenderer() override;

    // A renderer for the document with its tree built; nothing without a document.
    static std::shared_ptr<MarqenDOMDocumentRenderer> create(const std::shared_ptr<MarqenDOMDocument> &document);
    std::shared_ptr<MarqenDOMDocument> document() const;

    // The target area in view units; the document scale follows it.
    CGSize size() const { return size_; }
    void setSize(CGSize size);
    // The aspect-fit scale of the document frame into size (the same on both axes); (1, 1) at first.
    CGSize documentScale() const { return documentScale_; }
    void updateDocumentScale();

    bool isFlipped() const { return flipped_; }
    void setFlipped(bool flag) { flipped_ = flag; }
    bool clipToDocumentFrame() const { return clipToDocumentFrame_; }
    void setClipToDocumentFrame(bool flag) { clipToDocumentFrame_ = flag; }
    bool alignNodesToPixelGrid() const { return alignNodesToPixelGrid_; }
    void setAlignNodesToPixelGrid(bool flag) { alignNodesToPixelGrid_ = flag; }
    const std::optional<MarqenRGBAColor> &documentBackgroundColor() const { return documentBackgroundColor_; }
    void setDocumentBackgroundColor(std::optional<MarqenRGBAColor> color) { documentBackgroundColor_ = color; }
    const std::optional<MarqenRGBAColor> &imageBackgroundColor() const { return imageBackgroundColor_; }
    void setImageBackgroundColor(std::optional<MarqenRGBAColor> color) { imageBackgroundColor_ = color; }

    // Held weakly, like every delegate.
    void setDelegate(const std::shared_ptr<MarqenDOMDocumentRendererDelegate> &delegate) { delegate_ = delegate; }
    std::shared_ptr<MarqenDOMDocumentRendererDelegate> delegate() const { return delegate_.lock(); }
    bool shouldRenderNode(const MarqenDOMNodePtr &node) const;

    // Target area to document coordinates (the frame centred at the document scale, y reversed),
    // and its inverse.
    CGAffineTransform viewModelTransform() const;
    CGAffineTransform modelViewTransform() const;
    // The same mapping for a document frame in a coordinate system, drawn into a target of `size` at
    // `scale`, without a renderer.
    static CGAffineTransform viewModelTransformFor(CGRect frame, unsigned long coordinateSystem, CGSize size, CGSize scale);
    // Document coordinates to a target of the frame's own size (scale 1).
    static CGAffineTransform modelViewTransformAtFrameSize(const MarqenDOMDocument &document);
    // The centre of the document frame.
    CGPoint originOffset() const;

    // A 16 × 16 checkerboard of 8 × 8 squares, grey 200/255 at (0, 0) and (8, 8), white at the others,
    // as a repeating pattern for showing transparency; fill areas through fillWithCheckerboard.
    static MarqenImageRef copyCheckerboardColor();
    static void fillWithCheckerboard(MarqenGraphicsContext &context, CGRect rect);

    void drawRect(CGRect rect, MarqenGraphicsContext &context) override;

protected:
    MarqenDOMDocumentRenderer() = default;

private:
    friend class MarqenDOMNodeRenderer;
    bool shouldDrawBackground() const;
    // Whether the background picture is opaque and covers the frame on whole pixels, so that the
    // background colours under it cannot show.
    bool opaquePictureCoversFrame(const MarqenDOMDocument &document, const MarqenGraphicsContext &context) const;
    void drawPDFPageBackground(MarqenDOMDocument &document, MarqenGraphicsContext &context);

    CGSize size_{0, 0};
    CGSize documentScale_{1, 1};
    bool flipped_ = false;
    bool clipToDocumentFrame_ = true;
    bool alignNodesToPixelGrid_ = false;
    std::optional<MarqenRGBAColor> documentBackgroundColor_ = MarqenRGBAColor{1, 1, 1, 1};
    std::optional<MarqenRGBAColor> imageBackgroundColor_;
    std::weak_ptr<MarqenDOMDocumentRendererDelegate> delegate_;
    NotificationToken frameObservation_;
};

}  // namespace marqen
