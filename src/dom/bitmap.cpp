#include "dom/bitmap.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cmath>

#include "dom/bitmap_pixels.h"
#include "dom/change_protocol.h"
#include "dom/document.h"
#include "dom/node_class.h"
#include "dom/notifications.h"
#include "dom/resource_coordinator.h"
#include "dom/resource_image_cache.h"
#include "foundation/log.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "foundation/uuid.h"
#include "foundation/value_encoding.h"
#include "platform/image_io.h"
#include "platform/image_resample.h"
#include "foundation/string_helpers.h"

namespace marqen {

namespace {

std::string fileURLString(const std::filesystem::path &path) {
    return path.empty() ? std::string("(null)") : "file://" + path.string();
}

bool fail(MarqenError *error, long code, const std::string &description) {
    return marqenFail(error, MarqenDOMDocumentResourceCoordinatorErrorDomain, code, description);
}

// Pixels per document unit across and down, for an image shown over frame.
CGSize pixelDensity(const MarqenImage &image, const CGRect &frame) {
    CGFloat w = CGRectGetWidth(frame), h = CGRectGetHeight(frame);
    return CGSizeMake(w > 0 ? image.width() / w : 1, h > 0 ? image.height() / h : 1);
}

// A rectangle turned a quarter about centre (clockwise on the y-down page: (dx, dy) goes to (-dy, dx)).
CGRect quarterTurn(CGRect rect, CGPoint centre, bool clockwise) {
    rect = CGRectStandardize(rect);
    if (clockwise)
        return CGRectMake(centre.x - (CGRectGetMaxY(rect) - centre.y), centre.y + (rect.origin.x - centre.x),
                          rect.size.height, rect.size.width);
    return CGRectMake(centre.x + (rect.origin.y - centre.y), centre.y - (CGRectGetMaxX(rect) - centre.x),
                      rect.size.height, rect.size.width);
}

// A pixel count from document arithmetic; NaN and out-of-range values (hostile frames) are held to what an
// image may have, so the image's own size check refuses them.
int pixelCount(CGFloat value) {
    if (!(value >= 1)) return 1;
    return static_cast<int>(std::lround(std::min<CGFloat>(value, MarqenImage::kMaximumDimension + 1.0)));
}

}  // namespace

const MarqenDOMNodeClass &MarqenDOMBitmap::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMBitmap", "Bitmap", [] { return create(); }, nullptr,
                                               &MarqenDOMElement::classDescriptor};
    return descriptor;
}

// Common initialisation: a fresh URI, and a reload whenever the own document changes its coordinator.
MarqenDOMBitmap::MarqenDOMBitmap() : uri_(marqenDOMBitmapCreateUri()) {
    coordinatorObserver_ = NotificationCenter::defaultCenter().addObserver(
        MarqenDOMDocumentResourceCoordinatorDidChange, nullptr, [this](const Notification &notification) {
            auto document = this->document();
            if (document && notification.object == document.get()) reloadWithResourceCoordinator();
        });
}

MarqenDOMBitmap::~MarqenDOMBitmap() { coordinatorObserver_.reset(); }

std::shared_ptr<MarqenDOMBitmap> MarqenDOMBitmap::create() { return MarqenMakeNode<MarqenDOMBitmap>(); }

std::shared_ptr<MarqenDOMBitmap> MarqenDOMBitmap::fromDictionary(const MarqenJSON &dictionary) {
    auto bitmap = create();
    bitmap->initWithDictionary(dictionary);
    return bitmap;
}

std::string MarqenDOMBitmap::marqenDOMBitmapCreateUri() {
    return MarqenDOMBitmapURIPrefix + marqen_asciiLowercase(marqen_stringWithNewUUID());
}

// MARK: Stored values

std::string MarqenDOMBitmap::uri() const { return uri_; }

void MarqenDOMBitmap::setURIQuietly(const std::string &uri) { uri_ = uri; }

void MarqenDOMBitmap::setUri(const std::optional<std::string> &uri) {
    if (!uri || *uri == this->uri()) return;
    std::string old = this->uri();
    // The new URI marks the document before its undo action is registered, then the image reloads.
    MarqenDOMChangeProtocol::perform(
        *this, {.affectsContentBounds = true, .marksNeedsSaveBeforeUndo = true}, [&] { setURIQuietly(*uri); },
        [old](MarqenDOMNode &node) { static_cast<MarqenDOMBitmap &>(node).setUri(old); });
    reloadWithResourceCoordinator();
}

MarqenImageRef MarqenDOMBitmap::image() const { return image_; }

MarqenImageRef MarqenDOMBitmap::displayImage() const { return displayImage_; }

MarqenJSON MarqenDOMBitmap::imageProperties() const { return imageProperties_; }

void MarqenDOMBitmap::setImageProperties(const MarqenJSON &properties) {
    imageProperties_ = properties.is_object() ? properties : MarqenJSON::object();
}

void MarqenDOMBitmap::setImage(const MarqenImageRef &image) {
    postWillChange();
    image_ = image;
    isOpaque_.reset();
    postDidChange();
}

void MarqenDOMBitmap::setDisplayImage(const MarqenImageRef &image) { displayImage_ = image; }

void MarqenDOMBitmap::setImageStorage(const MarqenImageRef &image, const MarqenImageRef &displayImage,
                                      const MarqenJSON &properties) {
    setDisplayImage(displayImage);
    setImage(image);
    setImageProperties(properties);
}

void MarqenDOMBitmap::setImageProfile(unsigned long profile) {
    MarqenDOMChangeProtocol::set(*this, imageProfile_, profile, &MarqenDOMBitmap::setImageProfile);
}

void MarqenDOMBitmap::setFrame(CGRect frame) {
    MarqenDOMChangeProtocol::set(*this, frame_, frame, &MarqenDOMBitmap::setFrame, {.affectsContentBounds = true});
}

void MarqenDOMBitmap::setCropRect(CGRect rect) {
    MarqenDOMChangeProtocol::set(*this, cropRect_, rect, &MarqenDOMBitmap::setCropRect);
}

void MarqenDOMBitmap::setContentMode(unsigned long mode) {
    MarqenDOMChangeProtocol::set(*this, contentMode_, mode, &MarqenDOMBitmap::setContentMode);
}

bool MarqenDOMBitmap::isOpaque() const {
    if (!isOpaque_) {
        if (!image_) return false;
        isOpaque_ = image_->isOpaque();
    }
    return *isOpaque_;
}

void MarqenDOMBitmap::rememberOpacity(const MarqenImageRef &image, bool opaque) {
    if (image && image == image_) isOpaque_ = opaque;
}

CGRect MarqenDOMBitmap::visibleFrame() const {
    CGRect frame = CGRectStandardize(frame_);
    if (CGRectIsEmpty(cropRect_)) return frame;
    CGRect visible = CGRectIntersection(CGRectStandardize(cropRect_), frame);
    return CGRectIsNull(visible) || CGRectIsEmpty(visible) ? frame : visible;
}

CGRect MarqenDOMBitmap::visiblePixelRect() const {
    auto image = this->image();
    if (!image) return CGRectZero;
    CGRect whole = CGRectMake(0, 0, image->width(), image->height());
    CGRect frame = CGRectStandardize(frame_);
    if (CGRectIsEmpty(cropRect_) || CGRectIsEmpty(frame)) return whole;
    CGSize density = pixelDensity(*image, frame);
    CGRect visible = visibleFrame();
    CGRect pixels = CGRectIntegral(CGRectMake((visible.origin.x - frame.origin.x) * density.width,
                                              (visible.origin.y - frame.origin.y) * density.height,
                                              visible.size.width * density.width, visible.size.height * density.height));
    pixels = CGRectIntersection(pixels, whole);
    return CGRectIsNull(pixels) || CGRectIsEmpty(pixels) ? whole : pixels;
}

// MARK: Loading and saving

void MarqenDOMBitmap::reloadWithResourceCoordinator() {
    auto document = this->document();
    if (!document) return;
    auto coordinator = document->resourceCoordinatorShared();
    if (!coordinator) return;
    // The completion comes back on the main queue; the document's image cache then hands over the image
    // already decoded for that file, or reads and decodes it on the document's queue (which gets only the
    // path) and brings the pixels back on the main queue. The token keeps the load counted until the
    // cache has queued its work, so that waiting for the document's operations covers all of it.
    std::weak_ptr<MarqenDOMBitmap> weakSelf = std::static_pointer_cast<MarqenDOMBitmap>(shared_from_this());
    std::string requested = uri();
    coordinator->loadResourceWithURI(
        requested, [weakSelf, requested, token = document->beginOperation()](
                       const std::filesystem::path &fileURL, const std::string &uri, const MarqenError *error) {
            auto self = weakSelf.lock();
            if (!self) return;
            if (error) {
                marqenLog("ERROR: Unable to load resource with URI " + self->uri() + " from URL " + uri + " : " +
                          error->description());
                return;
            }
            auto document = self->document();
            if (!document) return;
            // One decoded image per file for the whole document: bitmaps showing the same file share it.
            document->resourceImageCache()->imageForFile(
                *document, fileURL, uri,
                [weakSelf, requested, uri, fileURL](const MarqenImageRef &image, const MarqenJSON &properties) {
                    if (auto self = weakSelf.lock()) self->installLoadedImage(requested, uri, fileURL, image, properties);
                });
        });
}

void MarqenDOMBitmap::installLoadedImage(const std::string &requestedURI, const std::string &answeredURI,
                                         const std::filesystem::path &file, const MarqenImageRef &image,
                                         const MarqenJSON &properties) {
    // The URI changed while this load was under way: the load for the new one brings its own pixels.
    if (uri() != requestedURI) return;
    if (!image) {
        marqenLog("ERROR: Unable to load resource with URI " + uri() + " from URL " + fileURLString(file));
        return;
    }
    setImageStorage(image, image, properties);
    setURIQuietly(answeredURI);
}

namespace {

// The answer of one store, shared between its completion and the caller waiting for it: the completion
// runs later on the main queue and may outlive the call that started the store. A completion the
// coordinator drops unrun finishes the store as a failure, so that nobody waits forever.
class StoreWaiter {
public:
    MarqenDOMDocumentResourceCoordinator::Completion completion() {
        auto guard = std::make_shared<Guard>(state_);
        return [guard](const std::filesystem::path &, const std::string &, const MarqenError *error) {
            guard->finish(error ? std::optional<MarqenError>(*error) : std::nullopt);
        };
    }
    // Main thread: drains the main queue until the completion has run.
    std::optional<MarqenError> wait() {
        MainQueue::shared().waitUntil([state = state_] { return state->finished.load(); });
        return state_->error;
    }

private:
    struct State {
        std::atomic<bool> finished{false};
        std::optional<MarqenError> error;  // written before finished, read after it
    };
    struct Guard {
        explicit Guard(std::shared_ptr<State> state) : state(std::move(state)) {}
        ~Guard() {
            if (!state->finished.load()) {
                MarqenError dropped;
                fail(&dropped, MarqenResourceErrorWriteFailed, "The resource coordinator dropped a store unanswered");
                finish(dropped);
                MainQueue::shared().async([] {});  // wakes the waiting main thread
            }
        }
        void finish(const std::optional<MarqenError> &error) {
            if (state->finished.load()) return;
            state->error = error;
            state->finished.store(true);
        }
        std::shared_ptr<State> state;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace

bool MarqenDOMBitmap::prepareForSaveSynchronous(MarqenError *error) {
    auto document = this->document();
    auto coordinator = document ? document->resourceCoordinatorShared() : nullptr;
    if (!coordinator) return true;
    auto self = shared_from_this();  // stays alive through the wait, whatever the drained work does
    StoreWaiter waiter;
    coordinator->storeResourceWithURI(uri(), image(), imageProfile_, imageProperties(), waiter.completion());
    std::optional<MarqenError> stored = waiter.wait();
    reloadWithResourceCoordinator();
    if (stored && error) *error = *stored;
    return !stored;
}

// MARK: Pixel edits

bool MarqenDOMBitmap::storeNewImage(const MarqenImageRef &image, const char *action, MarqenError *error) {
    auto document = this->document();
    auto coordinator = document ? document->resourceCoordinatorShared() : nullptr;
    if (!coordinator)
        return fail(error, MarqenResourceErrorWriteFailed, std::string("Cannot ") + action + ": no resource coordinator");
    auto self = shared_from_this();  // stays alive through the wait, whatever the drained work does
    std::string newUri = marqenDOMBitmapCreateUri();
    StoreWaiter waiter;
    coordinator->storeResourceWithURI(newUri, image, imageProfile_, imageProperties(), waiter.completion());
    if (auto stored = waiter.wait()) {
        if (error) *error = *stored;
        return false;
    }
    // The new pixels are in memory already; the reload that setUri starts replaces them with the stored file.
    setImageStorage(image, image, imageProperties());
    setUri(newUri);
    return true;
}

bool MarqenDOMBitmap::replaceImageWithCropRect(CGRect rect, MarqenError *error) {
    auto image = this->image();
    if (!image) return fail(error, MarqenResourceErrorNoImage, "Cannot crop: the bitmap has no image");
    MarqenImageRef cropped = MarqenImageCrop(*image, rect, error);
    if (!cropped) return false;
    return storeNewImage(cropped, "crop", error);
}

bool MarqenDOMBitmap::replaceImageByApplyingTransform(const CGAffineTransform &t, MarqenError *error) {
    UndoGroupScope group(undoManager());  // new pixels, crop and frame undo as one step
    auto image = this->image();
    if (!image) return fail(error, MarqenResourceErrorNoImage, "Cannot transform: the bitmap has no image");
    CGRect visible = visiblePixelRect();
    CGSize density = pixelDensity(*image, frame_);
    CGRect newFrame = CGRectApplyAffineTransform(visibleFrame(), t);
    // Image pixels → document units, the transform, then document units → new image pixels (same density).
    CGAffineTransform toModel = CGAffineTransformMakeTranslation(frame_.origin.x, frame_.origin.y);
    toModel = CGAffineTransformScale(toModel, 1 / density.width, 1 / density.height);
    CGAffineTransform toPixels = CGAffineTransformMakeScale(density.width, density.height);
    toPixels = CGAffineTransformTranslate(toPixels, -newFrame.origin.x, -newFrame.origin.y);
    CGAffineTransform pixels = CGAffineTransformConcat(CGAffineTransformConcat(toModel, t), toPixels);
    CGRect area = CGRectMake(0, 0, pixelCount(newFrame.size.width * density.width),
                             pixelCount(newFrame.size.height * density.height));
    MarqenImageRef part = MarqenImageCrop(*image, visible, error);
    if (!part) return false;
    pixels = CGAffineTransformConcat(CGAffineTransformMakeTranslation(visible.origin.x, visible.origin.y), pixels);
    MarqenImageRef transformed = MarqenImageApplyAffineTransform(*part, pixels, area, error);
    if (!transformed) return false;
    if (!storeNewImage(transformed, "transform", error)) return false;
    setCropRect(CGRectZero);
    setFrame(newFrame);
    return true;
}

bool MarqenDOMBitmap::rotate90Degrees(bool clockwise, MarqenError *error) {
    UndoGroupScope group(undoManager());  // new pixels, crop and frame undo as one step
    auto image = this->image();
    if (!image) return fail(error, MarqenResourceErrorNoImage, "Cannot rotate: the bitmap has no image");
    MarqenImageRef rotated = MarqenImageRotateQuarterTurns(*image, clockwise ? 1 : -1, error);
    if (!rotated) return false;
    if (!storeNewImage(rotated, "rotate", error)) return false;
    // The crop turns with the frame, about the frame's centre.
    CGPoint centre = CGPointMake(CGRectGetMidX(frame_), CGRectGetMidY(frame_));
    if (!CGRectIsEmpty(cropRect_)) setCropRect(quarterTurn(cropRect_, centre, clockwise));
    setFrame(quarterTurn(frame_, centre, clockwise));
    return true;
}

bool MarqenDOMBitmap::mergeBitmaps(const std::vector<std::shared_ptr<MarqenDOMBitmap>> &bitmaps, CGRect frame,
                                   MarqenError *error) {
    UndoGroupScope group(undoManager());  // new pixels, crop and frame undo as one step
    auto image = this->image();
    if (!image) return fail(error, MarqenResourceErrorNoImage, "Cannot merge: the bitmap has no image");
    frame = CGRectStandardize(frame);
    CGSize density = pixelDensity(*image, frame_);
    int width = pixelCount(frame.size.width * density.width), height = pixelCount(frame.size.height * density.height);
    MarqenImageRef merged = MarqenImage::create(width, height, error);
    if (!merged) return false;
    auto place = [&](const MarqenDOMBitmap &bitmap) -> bool {
        auto source = bitmap.image();
        if (!source) return true;  // a bitmap still without pixels adds nothing
        CGRect target = bitmap.visibleFrame();
        CGRect inPixels = CGRectMake((target.origin.x - frame.origin.x) * density.width,
                                     (target.origin.y - frame.origin.y) * density.height,
                                     target.size.width * density.width, target.size.height * density.height);
        return MarqenImageDrawImageInRect(*merged, *source, bitmap.visiblePixelRect(), inPixels, error);
    };
    if (!place(*this)) return false;
    for (const auto &bitmap : bitmaps)
        if (bitmap && bitmap.get() != this && !place(*bitmap)) return false;
    if (!storeNewImage(merged, "merge", error)) return false;
    setCropRect(CGRectZero);
    setFrame(frame);
    return true;
}

void MarqenDOMBitmap::applyResizeTransform(const CGAffineTransform &t, CGSize integralDocumentSize) {
    UndoGroupScope group(undoManager());  // new pixels, crop and frame undo as one step
    CGRect newFrame = CGRectApplyAffineTransform(frame_, t);
    // A bitmap that filled the document fills the resized one exactly.
    CGRect document = CGRectMake(0, 0, integralDocumentSize.width, integralDocumentSize.height);
    if (std::fabs(newFrame.origin.x) < 1 && std::fabs(newFrame.origin.y) < 1 &&
        std::fabs(newFrame.size.width - document.size.width) < 1 &&
        std::fabs(newFrame.size.height - document.size.height) < 1)
        newFrame = document;
    auto image = this->image();
    bool baked = false;
    if (image && !CGRectIsEmpty(frame_)) {
        // The visible pixels are resampled with the frame's change; a crop is baked into them.
        const bool cropped = !CGRectIsEmpty(cropRect_);
        CGRect source = cropped ? visibleFrame() : CGRectStandardize(frame_);
        CGRect shown = cropped ? CGRectApplyAffineTransform(source, t) : newFrame;
        CGRect visible = visiblePixelRect();
        int width = pixelCount(visible.size.width * shown.size.width / source.size.width);
        int height = pixelCount(visible.size.height * shown.size.height / source.size.height);
        if (cropped || width != static_cast<int>(visible.size.width) ||
            height != static_cast<int>(visible.size.height)) {
            MarqenError error;
            MarqenImageRef part = MarqenImageCrop(*image, visible, &error);
            MarqenImageRef resized = part ? MarqenImageResize(*part, width, height, &error) : nullptr;
            if (!resized || !storeNewImage(resized, "resize", &error)) {
                marqenLog("ERROR: Unable to resize bitmap with URI " + uri() + " : " + error.description());
            } else {
                baked = true;
                setCropRect(CGRectZero);
                newFrame = shown;
            }
        }
    }
    if (!baked && !CGRectIsEmpty(cropRect_)) setCropRect(CGRectApplyAffineTransform(cropRect_, t));
    setFrame(newFrame);
}

void MarqenDOMBitmap::applyTransform(const CGAffineTransform &t) {
    UndoGroupScope group(undoManager());
    if (t.b == 0 && t.c == 0 && t.a > 0 && t.d > 0) {
        if (!CGRectIsEmpty(cropRect_)) setCropRect(CGRectApplyAffineTransform(cropRect_, t));
        setFrame(CGRectApplyAffineTransform(frame_, t));
        return;
    }
    MarqenError error;
    if (!replaceImageByApplyingTransform(t, &error)) {
        // Without pixels to turn, the frame still follows.
        if (!image()) {
            if (!CGRectIsEmpty(cropRect_)) setCropRect(CGRectApplyAffineTransform(cropRect_, t));
            setFrame(CGRectApplyAffineTransform(frame_, t));
            return;
        }
        marqenLog("ERROR: Unable to transform bitmap with URI " + uri() + " : " + error.description());
    }
}

void MarqenDOMBitmap::translate(CGPoint delta) {
    // The crop is a part of the page under the frame: it moves with it, in the same undo step.
    UndoGroupScope group(undoManager());
    if (!CGRectIsEmpty(cropRect_)) setCropRect(CGRectOffset(cropRect_, delta.x, delta.y));
    setFrame(CGRectOffset(frame_, delta.x, delta.y));
}

MarqenDOMNodePtr MarqenDOMBitmap::hitTestWithPoint(CGPoint point) {
    return CGRectContainsPoint(frame_, point) ? shared_from_this() : nullptr;
}

MarqenDOMNodePtr MarqenDOMBitmap::hitTestWithPoint(CGPoint point, CGFloat) { return hitTestWithPoint(point); }

MarqenDOMNodePtr MarqenDOMBitmap::hitTestWithRect(CGRect rect) {
    return CGRectIntersectsRect(frame_, rect) ? shared_from_this() : nullptr;
}

void MarqenDOMBitmap::setDocument(const std::shared_ptr<MarqenDOMDocument> &document) {
    auto old = this->document();
    MarqenDOMElement::setDocument(document);
    // Joining a document with a coordinator loads the pixels, unless they are here already.
    if (document && document != old && !image()) reloadWithResourceCoordinator();
}

// MARK: JSON

void MarqenDOMBitmap::initWithDictionary(const MarqenJSON &dictionary) {
    MarqenDOMElement::initWithDictionary(dictionary);
    if (const MarqenJSON *frame = marqen_objectForKey(dictionary, "frame")) frame_ = CGRectFromNSDictionary(*frame);
    if (const MarqenJSON *crop = marqen_objectForKey(dictionary, "cropRect")) cropRect_ = CGRectFromNSDictionary(*crop);
    if (auto mode = marqen_numberForKey(dictionary, "contentMode"); mode && *mode >= 0 && *mode < 4294967296.0)
        contentMode_ = static_cast<unsigned long>(*mode);
    if (auto uri = marqen_stringForKey(dictionary, "uri")) setUri(marqen_asciiLowercase(*uri));
    if (auto profile = marqen_numberForKey(dictionary, "imageProfile"); profile && *profile >= 0 && *profile < 1e18)
        imageProfile_ = static_cast<unsigned long>(*profile);
}

void MarqenDOMBitmap::writeMembers(MarqenJSONWriter &writer) const {
    MarqenDOMElement::writeMembers(writer);
    if (!CGRectIsEmpty(frame_)) {
        writer.key("frame");
        MarqenWriteCGRect(writer, frame_);
    }
    if (!CGRectIsEmpty(cropRect_)) {
        writer.key("cropRect");
        MarqenWriteCGRect(writer, cropRect_);
    }
    if (contentMode_ != 0) writer.unsignedMember("contentMode", contentMode_);
    std::string uri = this->uri();
    if (!uri.empty()) writer.stringMember("uri", uri);
    writer.unsignedMember("imageProfile", imageProfile_);
}

void MarqenDOMBitmap::copyStateTo(MarqenDOMNode &target) const {
    MarqenDOMElement::copyStateTo(target);
    auto &copy = static_cast<MarqenDOMBitmap &>(target);
    copy.setURIQuietly(uri());
    copy.setImageStorage(image(), displayImage(), imageProperties());
    copy.imageProfile_ = imageProfile_;
    copy.frame_ = frame_;
    copy.cropRect_ = cropRect_;
    copy.contentMode_ = contentMode_;
}

}  // namespace marqen
