#include "dom/document.h"

#include <algorithm>
#include <atomic>

#include "dom/bitmap.h"
#include "dom/change_protocol.h"
#include "dom/document_settings.h"
#include "dom/exceptions.h"
#include "platform/pdf_page.h"
#include "dom/node_class.h"
#include "dom/node_collector.h"
#include "dom/notifications.h"
#include "dom/resource_coordinator.h"
#include "dom/resource_image_cache.h"
#include "foundation/geometry_functions.h"
#include "foundation/notification_center.h"
#include "foundation/log.h"
#include "foundation/queues.h"
#include "foundation/undo_manager.h"
#include "foundation/uuid.h"
#include "foundation/value_encoding.h"

namespace marqen {

namespace {

constexpr CGFloat kMinimumFrameSide = 8;
constexpr const char *kLegacyTitleKey = "com.brondale.marqen.composition.title";

// Loading and copying build quietly: no undo actions and no dirtiness announced.
class QuietBuild {
public:
    explicit QuietBuild(MarqenDOMDocument &document) : document_(document) {
        document_.setBroadcastSetNeedsSave(false);
        if (auto *undo = document_.undoManager()) undo->disableUndoRegistration();
    }
    ~QuietBuild() {
        if (auto *undo = document_.undoManager()) undo->enableUndoRegistration();
    }

private:
    MarqenDOMDocument &document_;
};

}  // namespace

const MarqenDOMNodeClass &MarqenDOMDocument::classDescriptor() {
    static const MarqenDOMNodeClass descriptor{"MarqenDOMDocument", "Document", [] { return create(); }, nullptr,
                                               nullptr};
    return descriptor;
}

// Work in flight: operations queued or running (with their main-queue part) and begun tokens. Shared with
// the tokens and the queued work, which may end after the document.
struct MarqenDOMDocument::OperationCount {
    std::atomic<long> pending{0};
};

MarqenDOMDocument::MarqenDOMDocument()
    : undoManager_(std::make_shared<UndoManager>()),
      operationsQueue_(std::make_unique<SerialQueue>(true)),
      operationsInFlight_(std::make_shared<OperationCount>()),
      resourceImageCache_(std::make_shared<MarqenDOMResourceImageCache>()) {}

MarqenDOMDocument::~MarqenDOMDocument() {
    // Queued work may refer to this document's nodes: let it finish first.
    operationsQueue_.reset();
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocument::create() {
    auto document = MarqenMakeNode<MarqenDOMDocument>();
    {
        QuietBuild quiet(*document);
        document->documentCommonInit();
    }
    document->finishCreation();
    return document;
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocument::createWithSize(CGSize size, CGFloat deviceScale) {
    auto document = MarqenMakeNode<MarqenDOMDocument>();
    {
        QuietBuild quiet(*document);
        document->documentCommonInit();
        document->setFrame(CGRectMake(0, 0, size.width, size.height));
        document->deviceScale_ = deviceScale;
    }
    document->finishCreation();
    return document;
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocument::createWithPDFPage(const std::shared_ptr<MarqenPDFPage> &page,
                                                                        CGFloat deviceScale) {
    CGSize size = CGSizeZero;
    if (page) {
        CGRect crop = page->cropBox();
        if (!CGRectIsNull(crop)) size = {CGRectGetWidth(crop), CGRectGetHeight(crop)};
        int rotation = page->rotation() % 360;
        if (rotation == 90 || rotation == 270 || rotation == -90 || rotation == -270) std::swap(size.width, size.height);
    }
    auto document = createWithSize(size, deviceScale);
    document->pdfPage_ = page;
    document->settleContentScaleFactorForPDFPage();
    return document;
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocument::fromDictionary(const MarqenJSON &dictionary) {
    auto document = MarqenMakeNode<MarqenDOMDocument>();
    document->initWithDictionary(dictionary);
    return document;
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocument::fromDictionary(const MarqenJSON &dictionary,
                                                                     const std::shared_ptr<MarqenPDFPage> &page) {
    auto document = MarqenMakeNode<MarqenDOMDocument>();
    document->pdfPage_ = page;
    document->initWithDictionary(dictionary);
    if (!marqen_numberForKey(dictionary, "pageNumber")) document->pageNumber_.reset();
    document->settleContentScaleFactorForPDFPage();
    return document;
}

void MarqenDOMDocument::finishCreation() {
    broadcastSetNeedsSave_ = true;
    resumeOperations();
    needsSave_ = false;
}

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocument::document() const {
    return std::const_pointer_cast<MarqenDOMDocument>(
        std::static_pointer_cast<const MarqenDOMDocument>(shared_from_this()));
}

void MarqenDOMDocument::documentCommonInit() {
    while (childCount() < 3) addChild(MarqenDOMLayer::create());
    auto current = children();
    auto wanted = current;
    auto moveTo = [&](const std::shared_ptr<MarqenDOMLayer> &layer, size_t index) {
        if (!layer) return;
        auto found = std::find(wanted.begin(), wanted.end(), layer);
        if (found == wanted.end()) return;
        wanted.erase(found);
        wanted.insert(wanted.begin() + static_cast<std::ptrdiff_t>(std::min(index, wanted.size())), layer);
    };
    moveTo(backgroundLayer(), 0);
    moveTo(annotationLayer(), 1);
    moveTo(textLayer(), 2);
    if (wanted != current) {
        for (const auto &child : current) removeChild(child);
        for (const auto &child : wanted) addChild(child);
    }
    coordinateSystem_ = 1;
    MarqenDOMDocumentSettings settings = MarqenDOMDocumentSettings::current();
    deviceScale_ = settings.mainScreenBackingScaleFactor;
    MarqenJSON stamped = metadata();
    stamped["version"] = "1.2";
    stamped["creator"] = "marqen-mac";
    stamped["creatorVersion"] = settings.creatorVersion;
    MarqenDOMNode::setMetadata(stamped);
    needsSave_ = false;
}

void MarqenDOMDocument::initWithDictionary(const MarqenJSON &dictionary) {
    {
        QuietBuild quiet(*this);
        MarqenDOMNode::initWithDictionary(dictionary);
        documentCommonInit();
        const MarqenJSON *frame = marqen_objectForKey(dictionary, "frame");
        setFrame(frame ? CGRectFromNSDictionary(*frame) : CGRectZero);
        if (auto scale = marqen_numberForKey(dictionary, "deviceScale"))
            deviceScale_ = *scale > 2.220446049250313e-16 ? *scale : 1.0;
        if (auto factor = marqen_numberForKey(dictionary, "contentScaleFactor")) contentScaleFactor_ = *factor;
        const MarqenJSON *version = marqen_valueForKeyPath(dictionary, "metadata.version");
        if (version && (*version == "1.0" || *version == "1.1")) {
            MarqenJSON upgraded = metadata();
            upgraded["version"] = "1.2";
            MarqenDOMNode::setMetadata(upgraded);
            upgradeParagraphTextNodesToRespectColorAndFont();
        }
        if (auto number = marqen_numberForKey(dictionary, "pageNumber")) pageNumber_ = *number;
        adoptTitle(dictionary);
    }
    needsSave_ = false;
    broadcastSetNeedsSave_ = true;
    resumeOperations();
    waitForOperationsToFinish();
}

void MarqenDOMDocument::adoptTitle(const MarqenJSON &dictionary) {
    // Files hold the title as "title", in the metadata as "title", or under the older metadata key;
    // the first found is the title, kept from now on in the metadata's "title" alone.
    std::optional<std::string> title = marqen_stringForKey(dictionary, "title");
    if (!title) title = this->title();
    if (!title) return;
    MarqenJSON adopted = metadata();
    adopted["title"] = *title;
    adopted.erase(kLegacyTitleKey);
    MarqenDOMNode::setMetadata(adopted);
}

void MarqenDOMDocument::writeMembers(MarqenJSONWriter &writer) const {
    if (coordinateSystem_ != 1)
        throw MarqenGenericException("Unsupported coordinateSystem: " + std::to_string(coordinateSystem_));
    MarqenDOMNode::writeMembers(writer);
    writer.key("frame");
    MarqenWriteCGRect(writer, frame_);
    writer.numberMember("deviceScale", deviceScale_);
    if (auto title = this->title()) writer.stringMember("title", *title);
    if (contentScaleFactor_ && !(std::isinf(*contentScaleFactor_) && *contentScaleFactor_ > 0))
        writer.numberMember("contentScaleFactor", *contentScaleFactor_);
    if (pageNumber_) writer.numberMember("pageNumber", *pageNumber_);
}

MarqenDOMNodePtr MarqenDOMDocument::copy() const { return copyDocument(); }

std::shared_ptr<MarqenDOMDocument> MarqenDOMDocument::copyDocument() const {
    auto copy = create();
    copy->suspendOperations();
    {
        QuietBuild quiet(*copy);
        copyStateTo(*copy);
    }
    copy->broadcastSetNeedsSave_ = true;
    copy->resumeOperations();
    copy->waitForOperationsToFinish();
    return copy;
}

void MarqenDOMDocument::copyStateTo(MarqenDOMNode &target) const {
    auto &copy = static_cast<MarqenDOMDocument &>(target);
    MarqenDOMNode::copyStateTo(copy);
    copy.setGuid(guid());
    // The coordinator first: a bitmap still waiting for its pixels here loads them into the copy, which
    // waits for that at the end of copying.
    copy.resourceCoordinator_ = resourceCoordinator_;
    for (const auto &child : children()) {
        if (child->isKindOfClass("MarqenDOMLayer")) {
            for (const auto &grandchild : child->children()) copy.addNode(grandchild->copy());
        } else {
            copy.addNode(child->copy());
        }
    }
    copy.frame_ = frame_;
    copy.deviceScale_ = deviceScale_;
    copy.contentScaleFactor_ = contentScaleFactor_;
    copy.referenceViewSize_ = referenceViewSize_;
    copy.coordinateSystem_ = coordinateSystem_;
    copy.needsSave_ = needsSave_;
    copy.lastModified_ = lastModified_;
    copy.pdfPage_ = pdfPage_;
    copy.forcesOpaqueBackground_ = forcesOpaqueBackground_;
    copy.pageNumber_ = pageNumber_;
}

void MarqenDOMDocument::addChild(const MarqenDOMNodePtr &child) {
    MarqenDOMNode::addChild(child);
    if (child) child->setDocument(document());
    updateLayerIds();
}

void MarqenDOMDocument::addChild(const MarqenDOMNodePtr &child, const MarqenDOMNodePtr &insertBefore) {
    MarqenDOMNode::addChild(child, insertBefore);
    if (child) child->setDocument(document());
    updateLayerIds();
}

void MarqenDOMDocument::removeChild(const MarqenDOMNodePtr &child) {
    MarqenDOMNode::removeChild(child);
    if (child && !child->parent()) child->setDocument(nullptr);
    updateLayerIds();
}

const std::vector<std::string> &MarqenDOMDocument::reservedLayerIds() {
    static const std::vector<std::string> ids{MarqenDOMLayerIdBackground, MarqenDOMLayerIdAnnotation,
                                              MarqenDOMLayerIdText, MarqenDOMLayerIdBackgroundImage,
                                              MarqenDOMLayerIdRoot};
    return ids;
}

void MarqenDOMDocument::updateLayerIds() {
    backgroundLayer_.reset();
    annotationLayer_.reset();
    textLayer_.reset();
    int unnamed = 0;
    for (const auto &child : children()) {
        auto layer = std::dynamic_pointer_cast<MarqenDOMLayer>(child);
        if (!layer) continue;
        const std::string &id = layer->layerId();
        if (id == MarqenDOMLayerIdBackground) {
            backgroundLayer_ = layer;
            continue;
        }
        if (id == MarqenDOMLayerIdAnnotation) {
            annotationLayer_ = layer;
            continue;
        }
        if (id == MarqenDOMLayerIdText) {
            textLayer_ = layer;
            continue;
        }
        if (unnamed == 0 && backgroundLayer_.expired()) {
            layer->setLayerId(MarqenDOMLayerIdBackground);
            backgroundLayer_ = layer;
        } else if (unnamed <= 1 && annotationLayer_.expired()) {
            layer->setLayerId(MarqenDOMLayerIdAnnotation);
            annotationLayer_ = layer;
        } else if (unnamed <= 2 && textLayer_.expired()) {
            layer->setLayerId(MarqenDOMLayerIdText);
            textLayer_ = layer;
        } else if (std::find(reservedLayerIds().begin(), reservedLayerIds().end(), id) != reservedLayerIds().end()) {
            layer->setLayerId(marqen_stringWithNewUUID());
        }
        ++unnamed;
    }
}

std::shared_ptr<MarqenDOMLayer> MarqenDOMDocument::layerForNode(const MarqenDOMNode &node) const {
    if (node.isKindOfClass("MarqenDOMText") || node.isKindOfClass("MarqenDOMStamp")) return textLayer();
    if (node.className() == "MarqenDOMBitmap") return backgroundLayer();
    return annotationLayer();
}

void MarqenDOMDocument::addNode(const MarqenDOMNodePtr &node) {
    if (!node) return;
    if (auto layer = layerForNode(*node)) layer->addChild(node);
}

void MarqenDOMDocument::addLabel(const MarqenDOMNodePtr &label, const MarqenDOMNodePtr &forNode) {
    if (!label || !forNode) return;
    auto layer = forNode->parent();
    if (!layer) return;
    layer->addChild(label, forNode);
}

MarqenDOMNodePtr MarqenDOMDocument::findNode(const std::string &guid) const {
    auto found = nodeMap_.find(guid);
    return found == nodeMap_.end() ? nullptr : found->second.lock();
}

void MarqenDOMDocument::addToNodeMap(const MarqenDOMNode &node) {
    nodeMap_[node.guid()] = std::const_pointer_cast<MarqenDOMNode>(node.shared_from_this());
}

void MarqenDOMDocument::removeFromNodeMap(const MarqenDOMNode &node) {
    auto found = nodeMap_.find(node.guid());
    if (found == nodeMap_.end()) return;
    // Only this node's own entry: another node with the same guid (a copy) keeps its place.
    auto registered = found->second.lock();
    if (!registered || registered.get() == &node) nodeMap_.erase(found);
}

void MarqenDOMDocument::setFrame(CGRect frame) {
    // NaN stays NaN: the comparison with 8 is false for it.
    if (frame.size.width < kMinimumFrameSide) frame.size.width = kMinimumFrameSide;
    if (frame.size.height < kMinimumFrameSide) frame.size.height = kMinimumFrameSide;
    // Stored and announced even when unchanged; the save mark comes before the undo action.
    MarqenDOMChangeProtocol::set(*this, frame_, frame, &MarqenDOMDocument::setFrame,
                                 {.comparesFirst = false, .marksNeedsSaveBeforeUndo = true});
}

namespace {
// Scale values are announced, but are neither undoable nor a reason to save.
constexpr MarqenDOMChangeRules kScaleChange{.comparesFirst = false, .registersUndo = false, .marksNeedsSave = false};
}  // namespace

void MarqenDOMDocument::setDeviceScale(CGFloat scale) {
    MarqenDOMChangeProtocol::set(*this, deviceScale_, scale, &MarqenDOMDocument::setDeviceScale, kScaleChange);
}

void MarqenDOMDocument::setContentScaleFactor(std::optional<CGFloat> factor) {
    MarqenDOMChangeProtocol::set(*this, contentScaleFactor_, factor, &MarqenDOMDocument::setContentScaleFactor,
                                 kScaleChange);
}

void MarqenDOMDocument::setReferenceViewSize(CGSize size) {
    if (size == referenceViewSize_) return;
    referenceViewSize_ = size;
    if (contentScaleFactor_) return;
    // Once a view shows the document, the proposed factor becomes the document's own: tool sizes
    // measured from now on keep their meaning when the view changes size.
    if (size.width != 0 && size.height != 0) contentScaleFactor_ = proposedContentScaleFactor();
    NotificationCenter::defaultCenter().post(MarqenDOMDocumentDidUpdateContentScaleFactor, this);
}

void MarqenDOMDocument::settleContentScaleFactorForPDFPage() {
    // A page's factor never depends on a view: it is the document's own from the start.
    if (pdfPage_ && !contentScaleFactor_) contentScaleFactor_ = proposedContentScaleFactor();
}

CGFloat MarqenDOMDocument::proposedContentScaleFactor() const {
    if (contentScaleFactor_) return *contentScaleFactor_;
    if (pdfPage_) return 2.0 / 3.0;
    bool bitmapWithoutProfile = false;
    const_cast<MarqenDOMDocument *>(this)->acceptVisitor([&](MarqenDOMNode &node) {
        if (node.isKindOfClass("MarqenDOMBitmap") && !node.hasImageProfile()) bitmapWithoutProfile = true;
        return !bitmapWithoutProfile;
    });
    if (bitmapWithoutProfile) return deviceScale_;
    if (referenceViewSize_.width != 0 && referenceViewSize_.height != 0) {
        CGFloat frameSide = std::max(frame_.size.width, frame_.size.height);
        CGFloat viewSide = std::max(referenceViewSize_.width, referenceViewSize_.height);
        return frameSide / viewSide * deviceScale_;
    }
    return deviceScale_;
}

CGFloat MarqenDOMDocument::contentScaleFactor() const {
    return contentScaleFactor_ ? *contentScaleFactor_ : proposedContentScaleFactor();
}

std::optional<std::string> MarqenDOMDocument::title() const {
    if (auto title = marqen_stringForKey(metadata(), "title")) return title;
    return marqen_stringForKey(metadata(), kLegacyTitleKey);
}

void MarqenDOMDocument::setTitle(const std::optional<std::string> &title) {
    MarqenJSON updated = metadata();
    if (!title) {
        updated.erase("title");
        updated.erase(kLegacyTitleKey);
    } else {
        updated["title"] = *title;
    }
    postWillChange();
    setMetadata(updated);
    postDidChange();
}

std::vector<std::string> MarqenDOMDocument::userAgentHistory() const {
    std::vector<std::string> history;
    if (const MarqenJSON *list = marqen_objectForKey(metadata(), "userAgentHistory"); list && list->is_array())
        for (const auto &entry : *list)
            if (entry.is_string()) history.push_back(entry.get<std::string>());
    return history;
}

void MarqenDOMDocument::appendUserAgentString(const std::string &userAgent) {
    auto history = userAgentHistory();
    if (userAgent.empty() || (!history.empty() && history.back() == userAgent)) return;
    history.push_back(userAgent);
    postWillChange();
    setMetadataObject(MarqenJSON(history), "userAgentHistory");
    postDidChange();
}

void MarqenDOMDocument::setMetadata(const MarqenJSON &metadata) {
    bool previous = broadcastSetNeedsSave_;
    broadcastSetNeedsSave_ = false;
    MarqenDOMNode::setMetadata(metadata);
    broadcastSetNeedsSave_ = previous;
}

void MarqenDOMDocument::setNeedsSave(bool flag) {
    if (broadcastSetNeedsSave_) postWillChange();
    needsSave_ = flag;
    if (flag) lastModified_ = std::chrono::system_clock::now();
    if (broadcastSetNeedsSave_) postDidChange();
    if (flag && broadcastSetNeedsSave_) NotificationCenter::defaultCenter().post(MarqenDOMDocumentDidBecomeDirty, this);
}

void MarqenDOMDocument::setUndoManager(std::shared_ptr<UndoManager> undoManager) {
    undoManager_ = undoManager ? std::move(undoManager) : std::make_shared<UndoManager>();
}

MarqenDOMDocumentResourceCoordinator *MarqenDOMDocument::resourceCoordinator() const {
    return resourceCoordinator_.lock().get();
}

void MarqenDOMDocument::setResourceCoordinator(
    const std::shared_ptr<MarqenDOMDocumentResourceCoordinator> &coordinator) {
    resourceCoordinator_ = coordinator;
    NotificationCenter::defaultCenter().post(MarqenDOMDocumentResourceCoordinatorDidChange, this);
}

std::shared_ptr<void> MarqenDOMDocument::beginOperation() {
    // The token only counts: released on whichever thread drops it last, it wakes a waiting main thread
    // with an empty task.
    struct Token {
        explicit Token(std::shared_ptr<OperationCount> count) : count(std::move(count)) { ++this->count->pending; }
        ~Token() {
            --count->pending;
            MainQueue::shared().async([] {});
        }
        Token(const Token &) = delete;
        Token &operator=(const Token &) = delete;
        std::shared_ptr<OperationCount> count;
    };
    return std::make_shared<Token>(operationsInFlight_);
}

void MarqenDOMDocument::addOperation(Operation operation) {
    if (!operation) return;
    operationsQueue_->addOperation([operation = std::move(operation), token = beginOperation()] {
        std::function<void()> result = operation();
        // The token travels with the result: the operation counts until its main-queue part has run.
        if (result) MainQueue::shared().async([result = std::move(result), token] { result(); });
    });
}

void MarqenDOMDocument::suspendOperations() { operationsQueue_->suspend(); }
void MarqenDOMDocument::resumeOperations() { operationsQueue_->resume(); }
bool MarqenDOMDocument::areOperationsSuspended() const { return operationsQueue_->isSuspended(); }

void MarqenDOMDocument::waitForOperationsToFinish() {
    if (operationsQueue_->isCurrentThread()) return;  // an operation waiting on its own queue would never wake
    MainQueue::shared().waitUntil([count = operationsInFlight_, queue = operationsQueue_.get()] {
        return count->pending.load() == 0 || queue->isSuspended();
    });
}

std::vector<MarqenDOMNodePtr> MarqenDOMDocument::allNodesOfClass(const std::string &className) const {
    return MarqenDOMNodeCollector(*this).nodesOfClass(className);
}

std::vector<std::shared_ptr<MarqenDOMBitmap>> MarqenDOMDocument::allBitmaps() const {
    return MarqenDOMNodeCollector(*this).bitmaps();
}

std::vector<std::string> MarqenDOMDocument::textStrings() const { return MarqenDOMNodeCollector(*this).textStrings(); }

std::vector<std::string> MarqenDOMDocument::resourceURIs() const {
    return MarqenDOMNodeCollector(*this).resourceURIs();
}

bool MarqenDOMDocument::hasVisibleElements() const { return MarqenDOMNodeCollector(*this).hasVisibleElements(); }

std::optional<unsigned long> MarqenDOMDocument::preferredImageProfile() const {
    auto layer = backgroundLayer();
    auto primary = layer ? layer->primaryBitmap() : nullptr;
    if (!primary || !primary->hasImageProfile()) return std::nullopt;
    return primary->imageProfile();
}

std::shared_ptr<MarqenDOMBitmap> MarqenDOMDocument::addBackgroundImage(const MarqenImageRef &image,
                                                                       unsigned long profile,
                                                                       const MarqenJSON &imageProperties) {
    return addBitmapNode(image, profile, imageProperties, frame_, false);
}

std::shared_ptr<MarqenDOMBitmap> MarqenDOMDocument::addAdjustmentImage(const MarqenImageRef &image, CGRect frame) {
    return addBitmapNode(image, MarqenImageProfileNone, MarqenJSON::object(), frame, true);
}

std::shared_ptr<MarqenDOMBitmap> MarqenDOMDocument::addBitmapNode(const MarqenImageRef &image, unsigned long profile,
                                                                  const MarqenJSON &imageProperties, CGRect frame,
                                                                  bool isAdjustment) {
    auto bitmap = MarqenDOMBitmap::create();
    bitmap->setFrameQuietly(frame);
    bitmap->setImageProfile(profile);
    bitmap->setImageProperties(imageProperties);
    bitmap->setAdjustment(isAdjustment);
    bitmap->setImage(image);
    bitmap->setDisplayImage(image);
    addNode(bitmap);
    // The opacity test reads every pixel: done on the queue, before anyone needs it. The queue sees only
    // the image; the answer is handed to the bitmap on the main thread.
    if (image) {
        addOperation([image, weak = std::weak_ptr<MarqenDOMBitmap>(bitmap)]() -> std::function<void()> {
            const bool opaque = image->isOpaque();
            return [weak, image, opaque] {
                if (auto prepared = weak.lock()) prepared->rememberOpacity(image, opaque);
            };
        });
    }
    return bitmap;
}

void MarqenDOMDocument::applyAdjustments() {
    for (const auto &layer : allLayerElements()) {
        MarqenError error;
        if (!std::static_pointer_cast<MarqenDOMLayer>(layer)->applyAdjustments(&error))
            marqenLog("ERROR: Unable to apply adjustments: " + error.description());
    }
}

void MarqenDOMDocument::resizeToSize(CGSize size) {
    if (size.width == 0 || size.height == 0 || size == frame_.size || frame_.size.width == 0) return;
    CGFloat s = CGSizeScaleAspectFit(frame_.size, size).width / frame_.size.width;
    if (!std::isfinite(s) || s <= 0) return;
    CGAffineTransform t = CGAffineTransformMakeScale(s, s);
    for (const auto &child : children()) child->applyResizeTransform(t, size);
    CGRect scaled = CGRectApplyAffineTransform(frame_, t);
    // The integral size wins over the rounding error of the scale.
    if (std::fabs(scaled.size.width - size.width) < 1 && std::fabs(scaled.size.height - size.height) < 1)
        scaled.size = size;
    setFrame(scaled);
}

void MarqenDOMDocument::upgradeParagraphTextNodesToRespectColorAndFont() {
    acceptVisitor([](MarqenDOMNode &node) {
        node.upgradeParagraphTextToRespectColorAndFont();
        return true;
    });
}

}  // namespace marqen
