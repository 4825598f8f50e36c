#pragma once
// A raster image placed in the document. The element names its pixels by a resource URI; the
// document's resource coordinator stores and loads the file behind it. Every edit of the pixels
// stores a new resource under a fresh URI, so undoing an edit only restores the previous URI.
//
// Geometry: the whole image is drawn stretched over `frame` (document units). `cropRect`, when not
// empty, is the part of the frame that shows, in the same units: the renderer clips to it, and the
// pixel edits keep only the pixels under it.
//
// Threads: main thread only, like every node. Loading goes through the document's resource
// coordinator (completions on the main queue) and decodes the file on the document's operation queue;
// the decoded image is installed on the main thread, so `document->waitForOperationsToFinish()`
// is what a caller uses to wait for pixels. Bitmaps of one document showing the same file share one
// decoded image (the document's resource image cache), counted once against the decoded-pixels budget. Images handed to a bitmap are not changed afterwards:
// background work reads them.
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "element.h"
#include "../foundation/notification_center.h"
#include "../platform/image.h"

namespace marqen {

inline constexpr const char *MarqenDOMBitmapURIPrefix = "marqen+uuid:///";

class MARQEN_EXPORT MarqenDOMBitmap : public MarqenDOMElement {
public:
    ~MarqenDOMBitmap() override;
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    static std::shared_ptr<MarqenDOMBitmap> create();
    static std::shared_ptr<MarqenDOMBitmap> fromDictionary(const MarqenJSON &dictionary);
    std::string jsonType() const override { return "Bitmap"; }

    // "marqen+uuid:///" and a new lower-case UUID.
    static std::string marqenDOMBitmapCreateUri();

    std::string uri() const;
    // Nothing happens for an absent or unchanged URI; otherwise notifies, registers undo and reloads.
    void setUri(const std::optional<std::string> &uri);
    void setURIQuietly(const std::string &uri);

    MarqenImageRef image() const;
    void setImage(const MarqenImageRef &image);
    MarqenImageRef displayImage() const;
    void setDisplayImage(const MarqenImageRef &image);
    MarqenJSON imageProperties() const;
    void setImageProperties(const MarqenJSON &properties);
    unsigned long imageProfile() const { return imageProfile_; }
    void setImageProfile(unsigned long profile);
    bool hasImageProfile() const override { return imageProfile_ != 0; }

    CGRect frame() const { return frame_; }
    void setFrame(CGRect frame);
    void setFrameQuietly(CGRect frame) { frame_ = frame; }
    CGRect cropRect() const { return cropRect_; }
    void setCropRect(CGRect rect);
    unsigned long contentMode() const { return contentMode_; }
    void setContentMode(unsigned long mode);

    // No pixel lets the background through (the image drawn over transparent black and over white gives
    // the same bytes), which is exactly when every alpha is 255. Computed once per image, by a scan that
    // stops at the first pixel that is not opaque, and without any scan for a picture decoded without
    // alpha. False without an image.
    bool isOpaque() const;
    // Keeps an opacity answer worked out off the main thread for `image`; ignored unless that is still
    // this bitmap's image.
    void rememberOpacity(const MarqenImageRef &image, bool opaque);

    // Loading through the document's resource coordinator (nothing without one). Asynchronous: the pixels
    // arrive through the main queue, and only if the URI asked for is still this bitmap's URI then.
    void reloadWithResourceCoordinator();
    // Stores the pixels under the URI and waits for the coordinator's answer (draining the main queue
    // meanwhile, see MainQueue::waitUntil); then reloads.
    bool prepareForSaveSynchronous(MarqenError *error = nullptr) override;

    // Pixel edits. Each stores the new pixels under a fresh URI, waits for the store as
    // prepareForSaveSynchronous does, and switches to it; they fail (with the reason in *error) when
    // there is no image or no coordinator, or the coordinator fails. rect: in image pixels.
    bool replaceImageWithCropRect(CGRect rect, MarqenError *error = nullptr);
    // t: in document units; the visible part is kept, and the frame becomes the bounding box of the
    // transformed visible part.
    bool replaceImageByApplyingTransform(const CGAffineTransform &t, MarqenError *error = nullptr);
    // Quarter turns (clockwise as the image is seen); the frame and the crop turn about the frame's centre.
    bool rotate90Degrees(bool clockwise, MarqenError *error = nullptr);
    // Draws the visible part of this image and then of each bitmap, where they show, into one image
    // covering frame, at this image's pixel density; this element then shows it at frame.
    bool mergeBitmaps(const std::vector<std::shared_ptr<MarqenDOMBitmap>> &bitmaps, CGRect frame,
                      MarqenError *error = nullptr);
    // Resamples the pixels with the frame's change (the document being resized to integralDocumentSize).
    void applyResizeTransform(const CGAffineTransform &t, CGSize integralDocumentSize) override;
    // Axis-aligned scaling and moving change the frame only; anything else resamples.
    void applyTransform(const CGAffineTransform &t) override;
    void translate(CGPoint delta) override;

    CGRect contentBounds() const override { return frame_; }
    CGRect tightContentBounds() const override { return frame_; }
    MarqenDOMNodePtr hitTestWithPoint(CGPoint point) override;
    MarqenDOMNodePtr hitTestWithPoint(CGPoint point, CGFloat minimumHitStrokeWidth) override;
    MarqenDOMNodePtr hitTestWithRect(CGRect rect) override;

    CGFloat toolSizeAbsolute() const override { return 1.0; }
    void setToolSizeAbsolute(CGFloat) override {}
    CGFloat convertToolSizeRelativeToToolSizeAbsolute(CGFloat relative, CGFloat, CGFloat) const override {
        return relative;
    }
    CGFloat convertToolSizeAbsoluteToToolSizeRelative(CGFloat absolute, CGFloat, CGFloat) const override {
        return absolute;
    }

    void setDocument(const std::shared_ptr<MarqenDOMDocument> &document) override;
    void initWithDictionary(const MarqenJSON &dictionary) override;

    // The part of the frame that shows: the frame cut to the crop rectangle (the whole frame when there
    // is no crop, or when the crop misses the frame).
    CGRect visibleFrame() const;
    // The image pixels under visibleFrame(), widened to whole pixels.
    CGRect visiblePixelRect() const;

protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMBitmap();
    void copyStateTo(MarqenDOMNode &target) const override;

private:
    void setImageStorage(const MarqenImageRef &image, const MarqenImageRef &displayImage, const MarqenJSON &properties);
    // Stores pixels under a fresh URI and switches to it (the common end of every pixel edit).
    bool storeNewImage(const MarqenImageRef &image, const char *action, MarqenError *error);
    // The end of a load, on the main thread.
    void installLoadedImage(const std::string &requestedURI, const std::string &answeredURI,
                            const std::filesystem::path &file, const MarqenImageRef &image,
                            const MarqenJSON &properties);

    std::string uri_;
    MarqenImageRef image_, displayImage_;
    MarqenJSON imageProperties_ = MarqenJSON::object();
    unsigned long imageProfile_ = 0;
    CGRect frame_ = CGRectZero;
    CGRect cropRect_ = CGRectZero;
    unsigned long contentMode_ = 0;
    mutable std::optional<bool> isOpaque_;
    NotificationToken coordinatorObserver_;
};

}  // namespace marqen
