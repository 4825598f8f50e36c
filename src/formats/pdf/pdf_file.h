#pragma once
// MarqenPDF: a small byte-level PDF reader that finds the cross-reference data, resolves objects lazily,
// walks the page tree, reads the hidden annotation record, and appends one incremental update.
//
// Threads: a MarqenPDF caches what it resolves and is not to be shared across threads; use it from one
// thread at a time (open another instance on the same file for another thread).
// Errors: opening returns nullptr and fills the optional MarqenError; every repair and skipped object is
// logged through CoreMarqenLog and also kept in warnings(), in the order met.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "formats/pdf/pdf_object.h"
#include "formats/pdf/pdf_security_handler.h"
#include "foundation/error.h"

namespace marqen {

struct MarqenPDFSourceFile;
struct MarqenPDFWindow;
class MarqenPDFBytes;
class MarqenPDFFileReader;

// Where an object held in an object stream lives: the stream's object number and the index in it.
struct MarqenPDFObjectStreamLocation {
    uint64_t s = 0;
    uint64_t x = 0;
};

// One object to append: "r" names the object (number and generation), "o" is its value. Entries whose "r"
// is not a reference or that have no "o" are skipped.
struct MarqenPDFAppendedObject {
    MarqenPDFObject r;
    std::optional<MarqenPDFObject> o;
};

struct MarqenPDFOptions {
    // Decoding a stream stops with a logged failure beyond this many bytes (0: the default of 512 MiB).
    size_t maximumDecodedStreamLength = 0;
    // When not 0, the limit is instead this many times the file's length, so that small files cannot
    // expand into large allocations while large files keep room.
    size_t maximumDecodedStreamLengthPerFileByte = 0;
    // All streams of one file together may decode to at most this many bytes (0: no total), or, when
    // the ratio is not 0, to the larger of that and this many times the file's length. Decoded streams
    // stay cached, so this bounds what a file can make the reader hold.
    size_t maximumTotalDecodedLength = 0;
    size_t maximumTotalDecodedLengthPerFileByte = 0;
    // Files are mapped; this reads them into memory instead, for hosts whose files may be truncated by
    // others while open.
    bool copyFileIntoMemory = false;
    // Files are instead read in pieces, only where the reader looks (the cross-reference data and the
    // objects resolved), through a bounded cache; a file truncated by another process meanwhile makes
    // the reads fail (readFailed()), never a signal. Wins over copyFileIntoMemory.
    bool readFileInPieces = false;
    // Passwords of an encrypted file. The user password defaults to empty; an owner password that opens
    // the file lifts its permission restrictions.
    std::string userPassword;
    std::string ownerPassword;

    // The limits a command line reading PDFs from strangers works within (the file read in pieces).
    static MarqenPDFOptions commandLineDefaults();
};

// Codes of the "MarqenPDF" error domain.
enum MarqenPDFErrorCode : long {
    kMarqenPDFErrorUnreadable = -1,          // not a PDF, damaged beyond repair, or a failed write
    kMarqenPDFErrorPasswordRequired = -2,    // encrypted, and no given password opens it
    kMarqenPDFErrorUnsupportedEncryption = -3,  // a security handler or method this reader does not know
    kMarqenPDFErrorPermissionDenied = -4,    // the file's permissions forbid the change
};

class MarqenPDF {
public:
    static constexpr uint64_t kObjectInObjectStream = ~uint64_t(0);
    static constexpr const char *kErrorDomain = "MarqenPDF";

    // Opens a PDF held in memory; nullptr when it cannot be read, with *error (domain "MarqenPDF", code
    // -1) describing why and its user info holding the "warnings" met on the way.
    static std::shared_ptr<MarqenPDF> initWithData(std::string data, MarqenPDFOptions options = {},
                                                   MarqenError *error = nullptr);
    static std::shared_ptr<MarqenPDF> initWithContentsOfFile(const std::string &path, MarqenPDFOptions options = {},
                                                             MarqenError *error = nullptr);
    static std::shared_ptr<MarqenPDF> initWithContentsOfURL(const std::string &path, MarqenPDFOptions options = {},
                                                            MarqenError *error = nullptr);
    // Opens bytes already held (a mapping, or a buffer the caller filled).
    static std::shared_ptr<MarqenPDF> initWithBytes(std::shared_ptr<const MarqenPDFBytes> bytes,
                                                    MarqenPDFOptions options = {}, MarqenError *error = nullptr);
    // Opens a file read in pieces (options.readFileInPieces and copyFileIntoMemory are not consulted).
    static std::shared_ptr<MarqenPDF> initWithReader(std::shared_ptr<MarqenPDFFileReader> reader,
                                                     MarqenPDFOptions options = {}, MarqenError *error = nullptr);

    // Repairs made and objects skipped while opening and using this document (also logged), oldest first.
    const std::vector<std::string> &warnings() const { return warnings_; }

    // The whole file (read once on first use when the file is read in pieces; empty when that fails).
    std::string_view pdfData() const;
    const char *pdfBytes() const { return pdfData().data(); }
    size_t pdfLength() const { return length_; }
    // A file read in pieces that could not be read where the reader looked (another process truncated
    // it, or a read failed): objects read from it may be missing, so nothing is written from it.
    bool readFailed() const;
    // Why (empty while reads have not failed).
    std::string readFailure() const;
    uint64_t xrefOffset() const { return xrefOffset_; }
    const std::vector<uint64_t> &objectOffsetTable() const { return current_->offsets; }
    size_t objectTableSize() const { return current_->offsets.size(); }
    // Present exactly when the file's last cross-reference section is a stream.
    const std::unordered_map<uint64_t, MarqenPDFObjectStreamLocation> *objectXrefStreamInfo() const {
        return current_->firstIsStream ? &current_->streamInfo : nullptr;
    }
    uint64_t originalEOF() const { return originalEOF_; }
    bool isRichPDF() const { return originalEOF_ != 0; }
    const std::optional<std::string> &richPDFJSON() const { return richPDFJSON_; }
    uint64_t nextAvailableObjectNumber() const { return nextAvailableObjectNumber_; }
    // The trailer names an /Encrypt dictionary: strings and streams are deciphered as objects are resolved,
    // and an update is enciphered with the same key.
    bool isEncrypted() const { return encrypted_; }
    // The handler of an encrypted file (null otherwise).
    const std::shared_ptr<const MarqenPDFSecurityHandler> &securityHandler() const { return securityHandler_; }
    // Whether the file's permissions let annotations be added (always for an unencrypted file or when the
    // owner password was given).
    bool allowsAnnotating() const;
    size_t maximumDecodedStreamLength() const { return maximumDecodedStreamLength_; }

    // Values that are not references come back as they are; a reference that cannot be found gives null.
    MarqenPDFObject resolveIndirectReference(const MarqenPDFObject &value, bool fromOriginalPDF);
    std::optional<MarqenPDFObject> resolveObjectFromOffset(uint64_t offset, bool fromOriginalPDF);
    std::optional<MarqenPDFObject> makeObjectFromOffset(uint64_t offset, size_t *nextTokenOffset) const;
    static std::optional<MarqenPDFObject> makeObjectFromOffset(uint64_t offset, std::string_view buffer,
                                                               size_t *nextTokenOffset);
    std::string tokenFromOffset(uint64_t offset, size_t *nextTokenOffset) const;
    static std::string_view tokenFromOffset(uint64_t offset, std::string_view buffer, size_t *nextTokenOffset);

    std::optional<uint64_t> originalXrefOffset();
    // The trailer of the untouched PDF (the cross-reference stream's dictionary in stream form).
    MarqenPDFDictionary originalTrailerInformation() const;
    // True when the untouched PDF's last cross-reference section is a stream.
    bool originalUsesXrefStream() const { return original_->firstIsStream; }

    std::optional<MarqenPDFIndirectReference> pageReferenceForPageNumber(uint64_t pageNumber, bool fromOriginalPDF);
    std::optional<MarqenPDFObject> inheritedItem(std::string_view name, uint64_t pageNumber, bool fromOriginalPDF);
    // The same for a page already found (for example by allPageReferences): no walk from the first page,
    // so reading every page's items costs time in proportion to the pages.
    std::optional<MarqenPDFObject> inheritedItemOfPage(std::string_view name, const MarqenPDFIndirectReference &page,
                                                       bool fromOriginalPDF);
    uint64_t numberOfPagesFromOriginalPDF(bool fromOriginalPDF);
    uint64_t numberOfPagesInOriginalPDF() { return numberOfPagesFromOriginalPDF(true); }
    uint64_t numberOfPagesInRichPDF() { return numberOfPagesFromOriginalPDF(false); }
    // Every page reference in order, from one walk of the tree; *complete is false when the walk had to stop.
    std::vector<MarqenPDFIndirectReference> allPageReferences(bool fromOriginalPDF, bool *complete = nullptr);
    // The same walk, handing each page in order to visit with its dictionary (valid during the call); false
    // when the walk had to stop (the pages met before that were visited). For reading every page once: a
    // page that this walk was the first to resolve is not kept in the cache once visit returns (a page
    // listed again is), so the reader's memory does not grow with the pages.
    using PageVisitor =
        std::function<void(const MarqenPDFIndirectReference &page, const MarqenPDFDictionary &dictionary)>;
    bool visitPages(bool fromOriginalPDF, const PageVisitor &visit);
    // The items named, each found as inheritedItemOfPage finds it, for a page whose dictionary is in hand
    // (from visitPages): one climb of the /Parent chain serves them all. values has names.size() slots.
    void inheritedItemsOfPage(const MarqenPDFDictionary &dictionary, const MarqenPDFIndirectReference &page,
                              const std::vector<std::string_view> &names, std::optional<MarqenPDFObject> *values,
                              bool fromOriginalPDF);

    // Writing (the file in memory is never changed).
    bool writeOriginalPDFToURL(const std::string &path, MarqenError *error) const;
    bool writeModifiedPDFToURL(const std::string &path, const std::vector<MarqenPDFAppendedObject> &appendedObjects,
                               const std::optional<std::string> &domJSON, MarqenError *error);
    std::string appendObjects(const std::vector<MarqenPDFAppendedObject> &appendedObjects,
                              const MarqenPDFDictionary &trailer);
    static std::string encodedObject(const MarqenPDFObject &value);
    // The bytes of the untouched PDF (a view into the file's buffer; see pdfData()), and their length.
    std::string_view originalPDFBytes() const;
    uint64_t originalPDFLength() const { return isRichPDF() ? originalEOF_ : length_; }

private:
    // One chain of cross-reference sections read newest first.
    struct XrefTable {
        std::vector<uint64_t> offsets;
        std::unordered_map<uint64_t, MarqenPDFObjectStreamLocation> streamInfo;
        std::vector<MarqenPDFDictionary> trailers;  // newest first
        bool firstIsStream = false;
        uint64_t highestListedObjectNumber = 0;
        bool listedAny = false;
    };
    struct ObjectStreamContents {
        std::shared_ptr<const MarqenPDFStream> stream;
        uint64_t count = 0;
        uint64_t first = 0;
        std::vector<std::optional<uint64_t>> offsets;  // relative offsets by index; nothing for a broken pair
    };

    MarqenPDF(std::shared_ptr<const MarqenPDFBytes> data, std::shared_ptr<MarqenPDFFileReader> reader,
              MarqenPDFOptions options);
    static std::shared_ptr<MarqenPDF> openMade(std::shared_ptr<MarqenPDF> pdf, MarqenError *error);
    bool open();

    // Reading the file. A window of bytes at offset: the whole buffer of a file held in memory, or a part
    // of at least length bytes (as far as the file goes) of one read in pieces; nothing when the read fails.
    std::optional<MarqenPDFWindow> windowAt(uint64_t offset, size_t length) const;
    // Calls look with windows at offset, longer each time, until it no longer sets reachedEnd (it ran into
    // the end of a window that is not the end of the file). The warnings of the looks that are repeated
    // are dropped. False when the file cannot be read.
    bool lookInWindows(uint64_t offset,
                       const std::function<void(const MarqenPDFWindow &window, bool &reachedEnd)> &look) const;
    // The offset of the first byte at or after offset that is not PDF whitespace (or the file's length).
    uint64_t skipWhitespaceAt(uint64_t offset) const;

    // Cross-reference reading.
    bool determineXrefOffset();
    // The offset that the last "startxref" of the first end bytes of the file names (repaired as described
    // there); false when none.
    bool findStartxref(uint64_t end, uint64_t *offset) const;
    // Where the untouched PDF's cross-reference data starts in a rich PDF.
    std::optional<uint64_t> untouchedXrefOffset();
    bool readSectionChain(uint64_t start, XrefTable &table, bool fromOriginalPDF);
    bool findObjectsFromXrefOffset(uint64_t offset, XrefTable &table);
    uint64_t findTrailerSectionAfterXrefOffset(uint64_t offset) const;
    bool findObjectsFromXrefStream(const MarqenPDFStream &stream, XrefTable &table, bool fromOriginalPDF);
    bool growTable(XrefTable &table, uint64_t size) const;
    void noteListedObject(XrefTable &table, uint64_t objectNumber) const;
    void fixBadPFDFileXrefOffsets(XrefTable &table);
    bool verifyRootDictionary(const MarqenPDFObject &root, bool readHiddenRecord);
    bool setUpSecurityHandler(const MarqenPDFDictionary &trailer);
    // The value of object (number, generation) with its strings and stream bytes deciphered; nothing when
    // a stream cannot be deciphered.
    std::optional<MarqenPDFObject> decryptedObject(const MarqenPDFObject &value, uint64_t number,
                                                   uint32_t generation) const;
    // The value with its strings and stream bytes enciphered for object (number, generation).
    MarqenPDFObject encryptedObject(const MarqenPDFObject &value, uint64_t number, uint32_t generation) const;
    std::optional<uint64_t> lastSectionPrev();

    // Object resolution.
    MarqenPDFObject objectFromObjectStream(uint64_t objectNumber, XrefTable &table, bool fromOriginalPDF);
    ObjectStreamContents *objectStreamAtOffset(uint64_t offset, bool fromOriginalPDF);
    // Whether the object a reference names is in the cache; with forget, it is dropped from it.
    bool findCached(const MarqenPDFIndirectReference &reference, bool fromOriginalPDF, bool forget);
    XrefTable &table(bool fromOriginalPDF) { return fromOriginalPDF ? *original_ : *current_; }

    // Page tree.
    MarqenPDFObject pagesRoot(bool fromOriginalPDF, std::set<uint64_t> *visited = nullptr);
    // A walk that meets every page: appends each to pages and hands it to visit, when given.
    struct PageListing {
        std::vector<MarqenPDFIndirectReference> *pages = nullptr;
        const PageVisitor *visit = nullptr;
        uint64_t listed = 0;
        // Page objects this walk resolved first and let go after their visit, by object number.
        std::vector<bool> letGo;
    };
    // With a listing, every page is listed, and *countsAgree turns false when a /Count differs from the
    // pages found under its node.
    bool walkPageTree(const MarqenPDFDictionary &node, uint64_t wanted, uint64_t &count,
                      std::optional<MarqenPDFIndirectReference> &found, std::set<uint64_t> &visited, int depth,
                      bool fromOriginalPDF, PageListing *listing, bool *countsAgree = nullptr);
    // Pages by number from one walk of the tree, made at the second lookup by number. Usable when the walk
    // completed and every /Count agrees with the pages under it: looking a number up by /Count then finds
    // the same page as the list.
    struct PageIndex {
        int lookups = 0;
        bool built = false;
        bool usable = false;
        std::vector<MarqenPDFIndirectReference> pages;
    };
    void buildPageIndex(bool fromOriginalPDF);

    const MarqenPDFSourceFile *sourceFile() const { return sourceFile_.get(); }

    std::shared_ptr<const MarqenPDFBytes> pdfData_;  // a file held in memory
    std::string_view pdfView_;
    std::shared_ptr<MarqenPDFFileReader> reader_;      // or a file read in pieces
    mutable std::shared_ptr<const std::string> wholeFile_;  // its bytes, once pdfData() asked for them
    uint64_t length_ = 0;
    std::shared_ptr<MarqenPDFSourceFile> sourceFile_;  // the file read, when opened from one
    size_t maximumDecodedStreamLength_;
    std::shared_ptr<MarqenPDFDecodeAllowance> decodeAllowance_;
    uint64_t xrefOffset_ = 0;
    std::shared_ptr<XrefTable> current_;
    std::shared_ptr<XrefTable> original_;
    uint64_t originalEOF_ = 0;
    std::optional<std::string> richPDFJSON_;
    uint64_t nextAvailableObjectNumber_ = 0;
    bool encrypted_ = false;
    std::shared_ptr<const MarqenPDFSecurityHandler> securityHandler_;
    std::optional<uint64_t> encryptObjectNumber_;  // the /Encrypt dictionary's own object is never enciphered
    long openFailureCode_ = kMarqenPDFErrorUnreadable;
    std::string userPassword_;
    std::string ownerPassword_;
    mutable std::vector<std::string> warnings_;  // filled by const readers too

    std::unordered_map<uint64_t, MarqenPDFObject> objectCache_;  // by file offset
    std::unordered_map<uint64_t, ObjectStreamContents> objectStreamCache_;
    std::map<std::pair<uint64_t, uint64_t>, MarqenPDFObject> objectStreamObjectCache_;
    std::unordered_set<uint64_t> resolving_;
    PageIndex pageIndex_[2];  // for the current PDF, then the untouched one
    int resolveDepth_ = 0;
};

}  // namespace marqen
