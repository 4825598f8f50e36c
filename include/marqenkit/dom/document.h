#pragma once
// The root node of one annotated image or one PDF page: three fixed layers, the frame and scale
// factors, the undo manager, dirty tracking, the guid map and a serial queue for resource work.
//
// Threads: a document, its nodes and its undo manager live on the main thread, and every member
// here is called there. Only the operation queue's work runs elsewhere, and it touches no node
// (see addOperation). Loading and copying a document wait until its operations are done.
#include <chrono>
#include <map>
#include <memory>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "layer.h"
#include "node.h"
#include "../platform/image.h"

namespace marqen {

class MarqenPDFPage;
class SerialQueue;
class UndoManager;
class MarqenDOMDocumentResourceCoordinator;
class MarqenDOMBitmap;
class MarqenDOMResourceImageCache;

class MARQEN_EXPORT MarqenDOMDocument : public MarqenDOMNode {
public:
    ~MarqenDOMDocument() override;
    static const MarqenDOMNodeClass &classDescriptor();
    const MarqenDOMNodeClass &nodeClass() const override { return classDescriptor(); }
    std::string jsonType() const override { return "Document"; }

    static std::shared_ptr<MarqenDOMDocument> create();
    static std::shared_ptr<MarqenDOMDocument> createWithSize(CGSize size, CGFloat deviceScale);
    // A document the size of the page's crop box (width and height swapped for quarter-turn rotations).
    static std::shared_ptr<MarqenDOMDocument> createWithPDFPage(const std::shared_ptr<MarqenPDFPage> &page,
                                                                CGFloat deviceScale);
    static std::shared_ptr<MarqenDOMDocument> fromDictionary(const MarqenJSON &dictionary);
    // Reads "pageNumber" only when it is a number, and keeps the page.
    static std::shared_ptr<MarqenDOMDocument> fromDictionary(const MarqenJSON &dictionary,
                                                             const std::shared_ptr<MarqenPDFPage> &page);

    std::shared_ptr<MarqenDOMDocument> document() const override;
    void initWithDictionary(const MarqenJSON &dictionary) override;
    MarqenDOMNodePtr copy() const override;
    std::shared_ptr<MarqenDOMDocument> copyDocument() const;

    void addChild(const MarqenDOMNodePtr &child) override;
    void addChild(const MarqenDOMNodePtr &child, const MarqenDOMNodePtr &insertBefore) override;
    void removeChild(const MarqenDOMNodePtr &child) override;

    // Layers
    std::shared_ptr<MarqenDOMLayer> backgroundLayer() const { return backgroundLayer_.lock(); }
    std::shared_ptr<MarqenDOMLayer> annotationLayer() const { return annotationLayer_.lock(); }
    std::shared_ptr<MarqenDOMLayer> textLayer() const { return textLayer_.lock(); }
    static const std::vector<std::string> &reservedLayerIds();
    void updateLayerIds();
    // Texts and stamps go to the text layer, exact bitmaps to the background, everything else to annotations.
    std::shared_ptr<MarqenDOMLayer> layerForNode(const MarqenDOMNode &node) const;
    void addNode(const MarqenDOMNodePtr &node);
    void addLabel(const MarqenDOMNodePtr &label, const MarqenDOMNodePtr &forNode);

    // Guid map.
    MarqenDOMNodePtr findNode(const std::string &guid) const;
    void addToNodeMap(const MarqenDOMNode &node);
    void removeFromNodeMap(const MarqenDOMNode &node);

    // Frame and scale
    CGRect frame() const { return frame_; }
    void setFrame(CGRect frame);  // width and height raised to at least 8
    CGFloat deviceScale() const { return deviceScale_; }
    void setDeviceScale(CGFloat scale);
    // The stored factor, else the proposed one. Reading changes nothing: the proposal becomes the
    // document's own when a view first reports its size, and from the start for a PDF page.
    CGFloat contentScaleFactor() const;
    void setContentScaleFactor(std::optional<CGFloat> factor);
    bool isContentScaleFactorSet() const { return contentScaleFactor_.has_value(); }
    CGFloat proposedContentScaleFactor() const;
    CGSize referenceViewSize() const { return referenceViewSize_; }
    // Announces MarqenDOMDocumentDidUpdateContentScaleFactor while the factor is not the document's own.
    void setReferenceViewSize(CGSize size);
    unsigned long coordinateSystem() const { return coordinateSystem_; }
    void setCoordinateSystem(unsigned long system) { coordinateSystem_ = system; }

    std::optional<double> pageNumber() const { return pageNumber_; }
    void setPageNumber(std::optional<double> number) { pageNumber_ = number; }
    const std::shared_ptr<MarqenPDFPage> &pdfPage() const { return pdfPage_; }

    // Metadata-backed values
    // Metadata "title", else the older "com.brondale.marqen.composition.title". Reading a file keeps the
    // title it holds (its "title", else either metadata key) in the metadata's "title" only.
    std::optional<std::string> title() const;
    // Sets "title" (an older key stays); none removes both.
    void setTitle(const std::optional<std::string> &title);
    std::vector<std::string> userAgentHistory() const;
    void appendUserAgentString(const std::string &userAgent);
    void setMetadata(const MarqenJSON &metadata) override;

    // Dirty tracking
    bool needsSave() const { return needsSave_; }
    void setNeedsSave(bool flag);
    bool broadcastSetNeedsSave() const { return broadcastSetNeedsSave_; }
    void setBroadcastSetNeedsSave(bool flag) { broadcastSetNeedsSave_ = flag; }
    std::chrono::system_clock::time_point lastModified() const { return lastModified_; }
    // A composition sets the date of every page at once (its pages keep one modification date).
    void setLastModified(std::chrono::system_clock::time_point date) { lastModified_ = date; }

    bool backgroundColorDisabled() const { return backgroundColorDisabled_; }
    void setBackgroundColorDisabled(bool flag) { backgroundColorDisabled_ = flag; }
    bool forcesOpaqueBackground() const { return forcesOpaqueBackground_; }
    void setForcesOpaqueBackground(bool flag) { forcesOpaqueBackground_ = flag; }

    // Undo: every node change of this document registers here. Documents of one composition share one.
    UndoManager *undoManager() const { return undoManager_.get(); }
    const std::shared_ptr<UndoManager> &undoManagerShared() const { return undoManager_; }
    void setUndoManager(std::shared_ptr<UndoManager> undoManager);

    MarqenDOMDocumentResourceCoordinator *resourceCoordinator() const;
    std::shared_ptr<MarqenDOMDocumentResourceCoordinator> resourceCoordinatorShared() const {
        return resourceCoordinator_.lock();
    }
    void setResourceCoordinator(const std::shared_ptr<MarqenDOMDocumentResourceCoordinator> &coordinator);

    // The serial operation queue for background work (decoding resources, opacity tests); created
    // suspended, released when creation ends. `operation` runs on the queue's own thread, one at a time in
    // order: it works on immutable inputs it captured (images, paths; never a node) and returns what to do
    // with its result on the main thread (or nothing), which then runs on the main queue. A weak reference
    // to a node may ride along to that main-queue part, and is locked only there.
    using Operation = std::function<std::function<void()>()>;
    void addOperation(Operation operation);
    void suspendOperations();
    void resumeOperations();
    bool areOperationsSuspended() const;
    // Marks other work of this document in flight (a resource load waiting for its coordinator) until the
    // returned token is released, on any thread; waitForOperationsToFinish waits for it too.
    std::shared_ptr<void> beginOperation();
    // Blocks until every operation (with its main-queue part) and every token begun so far has finished.
    // On the main thread it drains the main queue meanwhile, so completions on their way back can arrive
    // (MainQueue::waitUntil). Returns at once while the queue is suspended (callers resume first), and
    // when called from an operation itself.
    void waitForOperationsToFinish();
    // The decoded images of this document's resource files, shared by the bitmaps that show them and
    // counted against the decoded-pixels budget once per file (internal: dom/resource_image_cache.h).
    const std::shared_ptr<MarqenDOMResourceImageCache> &resourceImageCache() const { return resourceImageCache_; }

    // Collectors (in visiting order).
    std::vector<MarqenDOMNodePtr> allNodesOfClass(const std::string &className) const;
    std::vector<MarqenDOMNodePtr> allLayerElements() const { return allNodesOfClass("MarqenDOMLayer"); }
    std::vector<MarqenDOMNodePtr> allElements() const { return allNodesOfClass("MarqenDOMElement"); }
    std::vector<std::shared_ptr<MarqenDOMBitmap>> allBitmaps() const;
    std::vector<MarqenDOMNodePtr> allStampElements() const { return allNodesOfClass("MarqenDOMStamp"); }
    std::vector<MarqenDOMNodePtr> allTextElements() const { return allNodesOfClass("MarqenDOMText"); }
    std::vector<MarqenDOMNodePtr> allArrowElements() const { return allNodesOfClass("MarqenDOMArrow"); }
    std::vector<MarqenDOMNodePtr> allVectorElements() const { return allNodesOfClass("MarqenDOMVector"); }
    // The text of every text node that has one.
    std::vector<std::string> textStrings() const;
    // The URI of every bitmap that is not an adjustment.
    std::vector<std::string> resourceURIs() const;
    // True as soon as the tree holds a bitmap, a vector kind, a text or a stamp.
    bool hasVisibleElements() const;
    // The image profile of the background's primary bitmap; none when it has none (a lossless document).
    std::optional<unsigned long> preferredImageProfile() const;

    // Bitmaps for images: each lands in the layer chosen by layerForNode (the background layer).
    // The background image covers the document's frame.
    std::shared_ptr<MarqenDOMBitmap> addBackgroundImage(const MarqenImageRef &image, unsigned long profile,
                                                        const MarqenJSON &imageProperties);
    std::shared_ptr<MarqenDOMBitmap> addAdjustmentImage(const MarqenImageRef &image, CGRect frame);
    std::shared_ptr<MarqenDOMBitmap> addBitmapNode(const MarqenImageRef &image, unsigned long profile,
                                                   const MarqenJSON &imageProperties, CGRect frame, bool isAdjustment);
    // Merges each layer's adjustment bitmaps into its primary bitmap.
    void applyAdjustments();
    // Scales everything uniformly to fit size (aspect kept), resampling the background to size.
    void resizeToSize(CGSize size);
    // Converts paragraph texts of documents written before version 1.2.
    void upgradeParagraphTextNodesToRespectColorAndFont();


protected:
    void writeMembers(MarqenJSONWriter &writer) const override;
    MarqenDOMDocument();
    void copyStateTo(MarqenDOMNode &target) const override;

private:
    void documentCommonInit();
    void finishCreation();
    // Reads the title once from wherever the dictionary holds it (see title()).
    void adoptTitle(const MarqenJSON &dictionary);
    void settleContentScaleFactorForPDFPage();

    CGRect frame_ = CGRectZero;
    CGFloat deviceScale_ = 1;
    std::optional<CGFloat> contentScaleFactor_;
    CGSize referenceViewSize_{0, 0};
    std::optional<double> pageNumber_;
    std::shared_ptr<MarqenPDFPage> pdfPage_;
    unsigned long coordinateSystem_ = 1;
    bool needsSave_ = false;
    std::chrono::system_clock::time_point lastModified_{};
    bool broadcastSetNeedsSave_ = false;
    bool backgroundColorDisabled_ = false;
    bool forcesOpaqueBackground_ = false;
    std::weak_ptr<MarqenDOMLayer> backgroundLayer_, annotationLayer_, textLayer_;
    std::shared_ptr<UndoManager> undoManager_;
    std::weak_ptr<MarqenDOMDocumentResourceCoordinator> resourceCoordinator_;
    std::map<std::string, std::weak_ptr<MarqenDOMNode>> nodeMap_;
    std::unique_ptr<SerialQueue> operationsQueue_;
    struct OperationCount;
    std::shared_ptr<OperationCount> operationsInFlight_;
    std::shared_ptr<MarqenDOMResourceImageCache> resourceImageCache_;
};

}  // namespace marqen
