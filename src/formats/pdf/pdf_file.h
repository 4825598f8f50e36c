#pragma once
// MarqenPDF: a small byte-level PDF reader that finds the cross-reference data, resolves objects lazily,
// walks the page tree, reads the hidden annotation record, and appends one incremental update.
//
// Threads: a MarqenPDF caches what it resolves and is not to be shared across threads; use it from one
// thread at a time (open another instance on the same file for another thread).
// Errors: opening returns nullptr and fills the optional MarqenError; every repair and skipped object is
// logged through CoreMarqenLog and also kept in warnings(), in the order met.
#include <cstdint>
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
class MarqenPDFBytes;

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
    // Passwords of an encrypted file. The user password defaults to empty; an owner password that opens
    // the file lifts its permission restrictions.
    std::string userPassword;
    std::string ownerPassword;

    // The limits a command line reading PDFs from strangers works within (the file read into memory).
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

    // Repairs made and objects skipped while opening and using this document (also logged), oldest first.
    const std::vector<std::string> &warnings() const { return warnings_; }

    std::string_view pdfData() const { return pdfView_; }
    const char *pdfBytes() const { return pdfView_.data(); }
    size_t pdfLength() const { return pdfView_.size(); }
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
    std::string_view tokenFromOffset(uint64_t offset, size_t *nextTokenOffset) const;
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

    // Writing (the file in memory is never changed).
    bool writeOriginalPDFToURL(const std::string &path, MarqenError *error) const;
    bool writeModifiedPDFToURL(const std::string &path, const std::vector<MarqenPDFAppendedObject> &appendedObjects,
                               const std::optional<std::string> &domJSON, MarqenError *error);
    std::string appendObjects(const std::vector<MarqenPDFAppendedObject> &appendedObjects,
                              const MarqenPDFDictionary &trailer);
    static std::string encodedObject(const MarqenPDFObject &value);
    // The bytes of the untouched PDF (a view into the file's buffer).
    std::string_view originalPDFBytes() const;

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

    MarqenPDF(std::shared_ptr<const MarqenPDFBytes> data, MarqenPDFOptions options);
    bool open();

    // Cross-reference reading.
    bool determineXrefOffset();
    // The offset that the last "startxref" of data names (repaired as described there); false when none.
    bool findStartxref(std::string_view data, uint64_t *offset) const;
    // Where the untouched PDF's cross-reference data starts in a rich PDF.
    std::optional<uint64_t> untouchedXrefOffset();
    bool backupInFileFromOffset(size_t offset, size_t *lineStart) const;
    std::string_view firstTokenOfLine(size_t lineStart) const;
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
    XrefTable &table(bool fromOriginalPDF) { return fromOriginalPDF ? *original_ : *current_; }

    // Page tree.
    MarqenPDFObject pagesRoot(bool fromOriginalPDF, std::set<uint64_t> *visited = nullptr);
    bool walkPageTree(const MarqenPDFDictionary &node, uint64_t wanted, uint64_t &count,
                      std::optional<MarqenPDFIndirectReference> &found, std::set<uint64_t> &visited, int depth,
                      bool fromOriginalPDF, std::vector<MarqenPDFIndirectReference> *all);

    const MarqenPDFSourceFile *sourceFile() const { return sourceFile_.get(); }

    std::shared_ptr<const MarqenPDFBytes> pdfData_;
    std::string_view pdfView_;
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
    int resolveDepth_ = 0;
};

}  // namespace marqen
