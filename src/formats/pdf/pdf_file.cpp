// Opening a PDF and resolving its objects.
#include "formats/pdf/pdf_file.h"

#include "formats/pdf/pdf_file_io.h"
#include "formats/pdf/pdf_lexer.h"
#include "formats/pdf/pdf_value_parser.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

using namespace pdf_lexer;

namespace {

// References resolved while another resolution is running (a stream's /Length, an object stream's /N)
// may nest only this deep.
constexpr int kMaximumResolveDepth = 32;

bool isValidUTF8(std::string_view text) {
    size_t i = 0;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        size_t extra = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : 99;
        if (extra == 99 || i + extra >= text.size()) return false;
        for (size_t k = 1; k <= extra; ++k)
            if ((static_cast<unsigned char>(text[i + k]) >> 6) != 2) return false;
        i += extra + 1;
    }
    return true;
}

std::string latin1ToUTF8(std::string_view text) {
    std::string out;
    for (unsigned char c : text) {
        if (c < 0x80) {
            out += char(c);
        } else {
            out += char(0xC0 | (c >> 6));
            out += char(0x80 | (c & 0x3F));
        }
    }
    return out;
}

}  // namespace

namespace {

size_t decodedStreamLimit(const MarqenPDFOptions &options, size_t fileLength) {
    if (options.maximumDecodedStreamLengthPerFileByte) {
        size_t multiple = options.maximumDecodedStreamLengthPerFileByte;
        size_t length = std::max<size_t>(fileLength, 1);
        return length > SIZE_MAX / multiple ? SIZE_MAX : length * multiple;
    }
    return options.maximumDecodedStreamLength ? options.maximumDecodedStreamLength
                                              : MarqenPDFStream::kDefaultMaximumDecodedLength;
}

std::shared_ptr<MarqenPDFDecodeAllowance> totalDecodeAllowance(const MarqenPDFOptions &options, size_t fileLength) {
    size_t total = options.maximumTotalDecodedLength;
    if (size_t multiple = options.maximumTotalDecodedLengthPerFileByte) {
        size_t length = std::max<size_t>(fileLength, 1);
        total = std::max(total, length > SIZE_MAX / multiple ? SIZE_MAX : length * multiple);
    }
    if (!total) return nullptr;
    auto allowance = std::make_shared<MarqenPDFDecodeAllowance>();
    allowance->total = allowance->remaining = total;
    return allowance;
}

}  // namespace

MarqenPDFOptions MarqenPDFOptions::commandLineDefaults() {
    MarqenPDFOptions options;
    options.readFileInPieces = true;
    // A stream may decode to 32 times the whole file: generous for real content, while a 3 MB file can
    // no longer ask for gigabytes.
    options.maximumDecodedStreamLengthPerFileByte = 32;
    // And all of a file's streams together to 256 MiB, or 64 times the file when that is more: the
    // decoded streams stay cached while the command works.
    options.maximumTotalDecodedLength = size_t(256) << 20;
    options.maximumTotalDecodedLengthPerFileByte = 64;
    return options;
}

MarqenPDF::MarqenPDF(std::shared_ptr<const MarqenPDFBytes> data, std::shared_ptr<MarqenPDFFileReader> reader,
                     MarqenPDFOptions options)
    : pdfData_(std::move(data)),
      pdfView_(pdfData_ ? pdfData_->view() : std::string_view()),
      reader_(std::move(reader)),
      length_(reader_ ? reader_->size() : pdfView_.size()),
      maximumDecodedStreamLength_(decodedStreamLimit(options, size_t(length_))),
      decodeAllowance_(totalDecodeAllowance(options, size_t(length_))),
      current_(std::make_shared<XrefTable>()),
      userPassword_(options.userPassword),
      ownerPassword_(options.ownerPassword) {
    original_ = current_;
}

namespace {

// The reason an open failed: the last problem met, with every one of them in the user info.
bool failOpen(MarqenError *error, const std::vector<std::string> &warnings, long code = kMarqenPDFErrorUnreadable) {
    if (!error) return false;
    std::string reason = warnings.empty() ? "MarqenPDF: The PDF could not be read" : warnings.back();
    marqenFail(error, MarqenPDF::kErrorDomain, code, reason);
    error->userInfo["warnings"] = warnings;
    return false;
}

}  // namespace

std::shared_ptr<MarqenPDF> MarqenPDF::openMade(std::shared_ptr<MarqenPDF> pdf, MarqenError *error) {
    MarqenPDFWarningScope scope(&pdf->warnings_);
    bool opened = pdf->open();
    if (pdf->readFailed()) {
        // Part of what the open looked at could not be read: that is the reason, whatever followed.
        if (pdf->warnings_.empty() || pdf->warnings_.back() != pdf->readFailure()) marqenPDFWarn(pdf->readFailure());
        opened = false;
    }
    if (!opened) {
        failOpen(error, pdf->warnings_, pdf->openFailureCode_);
        return nullptr;
    }
    return pdf;
}

std::shared_ptr<MarqenPDF> MarqenPDF::initWithBytes(std::shared_ptr<const MarqenPDFBytes> data,
                                                    MarqenPDFOptions options, MarqenError *error) {
    return openMade(std::shared_ptr<MarqenPDF>(new MarqenPDF(std::move(data), nullptr, options)), error);
}

std::shared_ptr<MarqenPDF> MarqenPDF::initWithReader(std::shared_ptr<MarqenPDFFileReader> reader,
                                                     MarqenPDFOptions options, MarqenError *error) {
    return openMade(std::shared_ptr<MarqenPDF>(new MarqenPDF(nullptr, std::move(reader), options)), error);
}

std::shared_ptr<MarqenPDF> MarqenPDF::initWithData(std::string data, MarqenPDFOptions options, MarqenError *error) {
    return initWithBytes(std::make_shared<const MarqenPDFBytes>(std::move(data)), options, error);
}

std::shared_ptr<MarqenPDF> MarqenPDF::initWithContentsOfFile(const std::string &path, MarqenPDFOptions options,
                                                             MarqenError *error) {
    MarqenPDFSourceFile source;
    std::vector<std::string> readWarnings;
    std::shared_ptr<const MarqenPDFBytes> data;
    std::shared_ptr<MarqenPDFFileReader> reader;
    {
        MarqenPDFWarningScope scope(&readWarnings);
        if (options.readFileInPieces) reader = MarqenPDFFileReader::open(path, &source);
        else data = MarqenPDFReadFile(path, &source, options.copyFileIntoMemory);
    }
    if (options.readFileInPieces) {
        if (!reader) {
            failOpen(error, readWarnings);
            return nullptr;
        }
        auto pdf = initWithReader(std::move(reader), options, error);
        if (pdf) pdf->sourceFile_ = std::make_shared<MarqenPDFSourceFile>(std::move(source));
        return pdf;
    }
    if (!data) {
        failOpen(error, readWarnings);
        return nullptr;
    }
    auto pdf = initWithBytes(std::move(data), options, error);
    if (pdf) pdf->sourceFile_ = std::make_shared<MarqenPDFSourceFile>(std::move(source));
    return pdf;
}

std::shared_ptr<MarqenPDF> MarqenPDF::initWithContentsOfURL(const std::string &path, MarqenPDFOptions options,
                                                            MarqenError *error) {
    return initWithContentsOfFile(path, options, error);
}

bool MarqenPDF::open() {
    if (pdfLength() < 30) {
        marqenPDFWarn("MarqenPDF: PDF file length is too small");
        return false;
    }
    std::optional<MarqenPDFWindow> header = windowAt(0, 5);
    if (!header || header->bytes.compare(0, 5, "%PDF-") != 0) {
        marqenPDFWarn("MarqenPDF: PDF header does not match");
        return false;
    }
    if (!determineXrefOffset()) return false;
    if (!readSectionChain(xrefOffset_, *current_, false)) return false;
    fixBadPFDFileXrefOffsets(*current_);

    const MarqenPDFDictionary &trailer = current_->trailers.front();
    // Everything after the cross-reference data (the root, the hidden record) may be enciphered.
    if (!setUpSecurityHandler(trailer)) return false;
    const MarqenPDFObject *rootEntry = trailer.objectForKey("Root");
    if (current_->firstIsStream) {
        if (!rootEntry) {
            marqenPDFWarn("MarqenPDF: Xref stream area did not have Root reference");
            return false;
        }
        if (!rootEntry->asReference()) {
            marqenPDFWarn("MarqenPDF: Xref stream area did not have Root indirect reference");
            return false;
        }
    }
    if (!rootEntry || !verifyRootDictionary(resolveIndirectReference(*rootEntry, false), true)) {
        marqenPDFWarn("MarqenPDF: Could not locate PDF root");
        return false;
    }

    // A file this system updated before: the untouched PDF is read through its own sections.
    if (isRichPDF()) {
        std::optional<uint64_t> previous = untouchedXrefOffset();
        auto original = std::make_shared<XrefTable>();
        if (previous && readSectionChain(*previous, *original, true)) {
            original_ = original;
            fixBadPFDFileXrefOffsets(*original_);
        } else {
            marqenPDFWarn("MarqenPDF: Could not read the cross-reference data of the original PDF");
            return false;
        }
    }

    uint64_t next = 0;
    for (const MarqenPDFDictionary &section : original_->trailers) {
        const MarqenPDFObject *size = section.objectForKey("Size");
        MarqenPDFObject value = size ? resolveIndirectReference(*size, true) : MarqenPDFObject();
        if (!value.isNumber()) {
            marqenPDFWarn("MarqenPDF: Trailer/xref stream info area does not contain a Size entry");
            return false;
        }
        if (value.integerValue() > 0) next = std::max(next, uint64_t(value.integerValue()));
    }
    // Some writers put a /Size below the numbers their sections list; a new object must not reuse one.
    if (original_->listedAny) next = std::max(next, original_->highestListedObjectNumber + 1);
    nextAvailableObjectNumber_ = std::max<uint64_t>(next, 1);
    return true;
}

bool MarqenPDF::verifyRootDictionary(const MarqenPDFObject &root, bool readHiddenRecord) {
    const MarqenPDFDictionary *dictionary = root.asDictionary();
    if (!dictionary) return false;
    if (!readHiddenRecord) return true;
    const MarqenPDFObject *recordEntry = dictionary->objectForKey("XXMarqen");
    if (!recordEntry) return true;
    MarqenPDFObject record = resolveIndirectReference(*recordEntry, false);
    const MarqenPDFDictionary *info = record.asDictionary();
    if (!info) return true;
    const MarqenPDFObject *type = info->objectForKey("Type");
    if (!type || !type->isName("MarqenInfo")) return true;
    if (const MarqenPDFObject *sizeEntry = info->objectForKey("OriginalPdfSize")) {
        MarqenPDFObject size = resolveIndirectReference(*sizeEntry, false);
        if (size.isNumber()) {
            if (size.integerValue() > 0 && uint64_t(size.integerValue()) < pdfLength()) {
                originalEOF_ = uint64_t(size.integerValue());
            } else {
                marqenPDFWarn("MarqenPDF: OriginalPdfSize " + std::to_string(size.integerValue()) +
                          " is outside of the file");
            }
        }
    }
    if (const MarqenPDFObject *domEntry = info->objectForKey("MarqenDom")) {
        MarqenPDFObject dom = resolveIndirectReference(*domEntry, false);
        if (const MarqenPDFStream *stream = dom.asStream()) {
            if (const std::string *bytes = stream->stream())
                richPDFJSON_ = isValidUTF8(*bytes) ? *bytes : latin1ToUTF8(*bytes);
        }
    }
    return true;
}

std::string_view MarqenPDF::pdfData() const {
    if (!reader_) return pdfView_;
    if (!wholeFile_) wholeFile_ = reader_->wholeFile();
    return wholeFile_ ? std::string_view(*wholeFile_) : std::string_view();
}

bool MarqenPDF::readFailed() const { return reader_ && reader_->failed(); }

std::string MarqenPDF::readFailure() const { return reader_ ? reader_->failure() : std::string(); }

std::optional<MarqenPDFWindow> MarqenPDF::windowAt(uint64_t offset, size_t length) const {
    if (!reader_) return MarqenPDFWindow{0, pdfView_, pdfData_};
    return reader_->window(offset, length);
}

bool MarqenPDF::lookInWindows(uint64_t offset,
                              const std::function<void(const MarqenPDFWindow &, bool &)> &look) const {
    size_t length = reader_ ? reader_->firstWindowLength() : SIZE_MAX;
    for (;;) {
        std::optional<MarqenPDFWindow> window = windowAt(offset, length);
        if (!window) return false;
        bool reachedEnd = false;
        if (window->end() >= length_) {
            look(*window, reachedEnd);
            return true;
        }
        MarqenPDFWarningCapture capture;
        look(*window, reachedEnd);
        if (!reachedEnd && !capture.overflowed()) {
            capture.replay();
            return true;
        }
        // Too many problems to hold back: the next look is the last one, over the rest of the file.
        length = capture.overflowed() || length > SIZE_MAX / 16 ? SIZE_MAX : length * 16;
    }
}

uint64_t MarqenPDF::skipWhitespaceAt(uint64_t offset) const {
    uint64_t result = length_;
    lookInWindows(offset, [&](const MarqenPDFWindow &window, bool &reachedEnd) {
        size_t start = size_t(std::min<uint64_t>(offset - std::min(offset, window.offset), window.bytes.size()));
        size_t end = skipWhitespace(window.bytes, start);
        reachedEnd = end >= window.bytes.size();
        result = window.offset + end;
    });
    return result;
}

std::string MarqenPDF::tokenFromOffset(uint64_t offset, size_t *nextTokenOffset) const {
    std::string token;
    uint64_t next = length_;
    bool read = lookInWindows(offset, [&](const MarqenPDFWindow &window, bool &reachedEnd) {
        size_t end = 0;
        std::string_view text = tokenFromOffset(offset - std::min(offset, window.offset), window.bytes, &end);
        reachedEnd = end >= window.bytes.size();
        token.assign(text);
        next = window.offset + end;
    });
    if (!read) {
        token.clear();
        next = length_;
    }
    if (nextTokenOffset) *nextTokenOffset = size_t(next);
    return token;
}

std::string_view MarqenPDF::tokenFromOffset(uint64_t offset, std::string_view buffer, size_t *nextTokenOffset) {
    if (offset > buffer.size()) offset = buffer.size();
    return pdf_lexer::tokenFromOffset(buffer, size_t(offset), nextTokenOffset);
}

std::optional<MarqenPDFObject> MarqenPDF::makeObjectFromOffset(uint64_t offset, size_t *nextTokenOffset) const {
    MarqenPDFWarningScope scope(&warnings_);
    std::optional<MarqenPDFObject> value;
    uint64_t next = length_;
    lookInWindows(offset, [&](const MarqenPDFWindow &window, bool &reachedEnd) {
        size_t start = size_t(std::min<uint64_t>(offset - std::min(offset, window.offset), window.bytes.size()));
        size_t end = 0;
        value = MarqenPDFValueParser::makeObjectFromPartOfBuffer(window.bytes, start, &end, &reachedEnd);
        next = window.offset + end;
    });
    if (nextTokenOffset) *nextTokenOffset = size_t(next);
    return value;
}

std::optional<MarqenPDFObject> MarqenPDF::makeObjectFromOffset(uint64_t offset, std::string_view buffer,
                                                               size_t *nextTokenOffset) {
    if (offset > buffer.size()) offset = buffer.size();
    return MarqenPDFValueParser::makeObjectFromOffset(buffer, size_t(offset), nextTokenOffset);
}

MarqenPDFObject MarqenPDF::resolveIndirectReference(const MarqenPDFObject &value, bool fromOriginalPDF) {
    const MarqenPDFIndirectReference *reference = value.asReference();
    if (!reference) return value;
    MarqenPDFWarningScope scope(&warnings_);
    XrefTable &entries = table(fromOriginalPDF);
    if (reference->objectNumber >= entries.offsets.size()) {
        marqenPDFWarn("MarqenPDF: Indirect reference to object outside of index table range");
        return MarqenPDFObject();
    }
    uint64_t slot = entries.offsets[reference->objectNumber];
    if (slot == 0) return MarqenPDFObject();
    if (slot == kObjectInObjectStream) return objectFromObjectStream(reference->objectNumber, entries, fromOriginalPDF);
    return resolveObjectFromOffset(slot, fromOriginalPDF).value_or(MarqenPDFObject());
}

std::optional<MarqenPDFObject> MarqenPDF::resolveObjectFromOffset(uint64_t offset, bool fromOriginalPDF) {
    MarqenPDFWarningScope scope(&warnings_);
    if (offset >= pdfLength()) {
        marqenPDFWarn("MarqenPDF: Object offset " + std::to_string(offset) + " is outside of the file");
        return std::nullopt;
    }
    if (auto cached = objectCache_.find(offset); cached != objectCache_.end()) return cached->second;
    if (resolving_.count(offset)) {
        marqenPDFWarn("MarqenPDF: Object at offset " + std::to_string(offset) + " refers to itself");
        return std::nullopt;
    }
    if (resolveDepth_ >= kMaximumResolveDepth) {
        marqenPDFWarn("MarqenPDF: Object references nest too deeply");
        return std::nullopt;
    }
    struct Guard {
        MarqenPDF &pdf;
        uint64_t offset;
        Guard(MarqenPDF &p, uint64_t o) : pdf(p), offset(o) {
            pdf.resolving_.insert(o);
            ++pdf.resolveDepth_;
        }
        ~Guard() {
            pdf.resolving_.erase(offset);
            --pdf.resolveDepth_;
        }
    } guard(*this, offset);

    size_t next = 0;
    std::string number = tokenFromOffset(offset, &next);
    if (!isTokenNumeric(number) || hasDecimalPoint(number)) {
        marqenPDFWarn("MarqenPDF: PDF Object did not start with an object number");
        return std::nullopt;
    }
    std::string generation = tokenFromOffset(next, &next);
    if (!isTokenNumeric(generation) || hasDecimalPoint(generation)) {
        marqenPDFWarn("MarqenPDF: PDF Object did not have a generation number");
        return std::nullopt;
    }
    if (tokenFromOffset(next, &next) != "obj") {
        marqenPDFWarn("MarqenPDF: Object does not have obj token identifier");
        return std::nullopt;
    }
    std::optional<MarqenPDFObject> value = makeObjectFromOffset(next, &next);
    if (!value) return std::nullopt;
    const uint64_t objectNumber = uint64_t(integerFromToken(number).value_or(0));
    const uint32_t generationNumber = uint32_t(integerFromToken(generation).value_or(0));
    if (const MarqenPDFDictionary *dictionary = value->asDictionary()) {
        size_t afterKeyword = 0;
        if (tokenFromOffset(next, &afterKeyword) == "stream") {
            size_t dataStart = afterKeyword + 1;
            std::optional<MarqenPDFWindow> lineEnd = windowAt(afterKeyword, 2);
            if (!lineEnd) return std::nullopt;
            std::string_view afterBytes =
                lineEnd->bytes.substr(size_t(std::min<uint64_t>(afterKeyword - lineEnd->offset, lineEnd->bytes.size())));
            if (afterKeyword + 1 < length_ && afterBytes.size() >= 2 && afterBytes[0] == '\r' && afterBytes[1] == '\n')
                dataStart = afterKeyword + 2;
            const MarqenPDFObject *lengthEntry = dictionary->objectForKey("Length");
            MarqenPDFObject length = lengthEntry ? resolveIndirectReference(*lengthEntry, fromOriginalPDF)
                                                 : MarqenPDFObject();
            if (!length.isNumber() || length.integerValue() < 0) {
                marqenPDFWarn("MarqenPDF: Stream has invalid length entry");
                return std::nullopt;
            }
            uint64_t dataLength = uint64_t(length.integerValue());
            if (dataStart > length_ || dataLength > length_ - dataStart) {
                marqenPDFWarn("MarqenPDF: Stream length runs past the end of the file");
                return std::nullopt;
            }
            if (tokenFromOffset(dataStart + dataLength, nullptr) != "endstream") {
                marqenPDFWarn("MarqenPDF: Stream did not end with endstream token");
                return std::nullopt;
            }
            // The stream's bytes are read now, so that a stream never meets a failed read later.
            std::optional<MarqenPDFWindow> bytes = windowAt(dataStart, size_t(dataLength));
            if (!bytes) return std::nullopt;
            value = MarqenPDFObject(std::make_shared<const MarqenPDFStream>(
                *dictionary, bytes->storage, bytes->bytes.substr(size_t(dataStart - bytes->offset), size_t(dataLength)),
                maximumDecodedStreamLength_, decodeAllowance_));
        }
    }
    if (securityHandler_ && objectNumber != encryptObjectNumber_) {
        value = decryptedObject(*value, objectNumber, generationNumber);
        if (!value) return std::nullopt;
    }
    objectCache_.emplace(offset, *value);
    return value;
}

MarqenPDF::ObjectStreamContents *MarqenPDF::objectStreamAtOffset(uint64_t offset, bool fromOriginalPDF) {
    if (auto cached = objectStreamCache_.find(offset); cached != objectStreamCache_.end())
        return cached->second.stream ? &cached->second : nullptr;
    // A stream's own entries may live in another object stream, whose entries live in a third, and so
    // on: the chain counts against the same depth as nested references.
    if (resolveDepth_ >= kMaximumResolveDepth) {
        marqenPDFWarn("MarqenPDF: Object references nest too deeply");
        return nullptr;
    }
    struct Depth {
        int &depth;
        explicit Depth(int &d) : depth(++d) {}
        ~Depth() { --depth; }
    } depth(resolveDepth_);
    ObjectStreamContents &contents = objectStreamCache_[offset];  // a failure stays cached as empty
    std::optional<MarqenPDFObject> object = resolveObjectFromOffset(offset, fromOriginalPDF);
    std::shared_ptr<const MarqenPDFStream> stream = object ? object->streamPointer() : nullptr;
    if (!stream) {
        marqenPDFWarn("MarqenPDF: Object stream reference does not refer to an actual stream");
        return nullptr;
    }
    const MarqenPDFDictionary &info = stream->streamInfo();
    auto entry = [&](std::string_view key) {
        const MarqenPDFObject *value = info.objectForKey(key);
        return value ? resolveIndirectReference(*value, fromOriginalPDF) : MarqenPDFObject();
    };
    if (!entry("Type").isName("ObjStm")) {
        marqenPDFWarn("MarqenPDF: Object stream is of improper type");
        return nullptr;
    }
    MarqenPDFObject count = entry("N");
    if (!count.isNumber() || count.integerValue() < 0) {
        marqenPDFWarn("MarqenPDF: Object count is missing or invalid");
        return nullptr;
    }
    MarqenPDFObject first = entry("First");
    if (!first.isNumber() || first.integerValue() < 0) {
        marqenPDFWarn("MarqenPDF: Object stream First is missing or invalid");
        return nullptr;
    }
    const std::string *decoded = stream->stream();
    if (!decoded) return nullptr;
    if (uint64_t(first.integerValue()) >= decoded->size()) {
        marqenPDFWarn("MarqenPDF: Object stream First entry is out of bounds");
        return nullptr;
    }
    contents.count = uint64_t(count.integerValue());
    contents.first = uint64_t(first.integerValue());
    // Each pair takes at least four bytes, which bounds how many a hostile /N can make us read.
    uint64_t pairs = std::min<uint64_t>(contents.count, contents.first / 4 + 1);
    std::string_view header(decoded->data(), size_t(contents.first));
    size_t position = 0;
    contents.offsets.reserve(size_t(pairs));
    for (uint64_t i = 0; i < pairs; ++i) {
        std::string_view objectNumber = pdf_lexer::tokenFromOffset(header, position, &position);
        std::string_view relative = pdf_lexer::tokenFromOffset(header, position, &position);
        if (!isTokenNumeric(objectNumber) || hasDecimalPoint(objectNumber)) {
            marqenPDFWarn("MarqenPDF: Object stream object number is not a number");
            contents.offsets.push_back(std::nullopt);
            continue;
        }
        auto value = integerFromToken(relative);
        if (!isTokenNumeric(relative) || hasDecimalPoint(relative) || !value || *value < 0) {
            marqenPDFWarn("MarqenPDF: Object stream object offset is not a number");
            contents.offsets.push_back(std::nullopt);
            continue;
        }
        contents.offsets.push_back(uint64_t(*value));
    }
    contents.stream = stream;
    return &contents;
}

MarqenPDFObject MarqenPDF::objectFromObjectStream(uint64_t objectNumber, XrefTable &entries, bool fromOriginalPDF) {
    auto location = entries.streamInfo.find(objectNumber);
    if (location == entries.streamInfo.end()) return MarqenPDFObject();
    auto [streamNumber, index] = location->second;
    if (streamNumber >= entries.offsets.size()) {
        marqenPDFWarn("MarqenPDF: Indirect reference to object outside of index table range");
        return MarqenPDFObject();
    }
    uint64_t streamOffset = entries.offsets[streamNumber];
    if (streamOffset == kObjectInObjectStream) {
        marqenPDFWarn("MarqenPDF: Object stream cannot reside inside another object stream");
        return MarqenPDFObject();
    }
    if (streamOffset == 0) return MarqenPDFObject();
    auto key = std::make_pair(streamOffset, index);
    if (auto cached = objectStreamObjectCache_.find(key); cached != objectStreamObjectCache_.end())
        return cached->second;
    ObjectStreamContents *contents = objectStreamAtOffset(streamOffset, fromOriginalPDF);
    if (!contents) return MarqenPDFObject();
    if (index >= contents->count) {
        marqenPDFWarn("MarqenPDF: Object index is out of bounds");
        return MarqenPDFObject();
    }
    if (index >= contents->offsets.size() || !contents->offsets[size_t(index)]) return MarqenPDFObject();
    const std::string &decoded = *contents->stream->stream();
    uint64_t start = contents->first + *contents->offsets[size_t(index)];
    if (start >= decoded.size()) {
        marqenPDFWarn("MarqenPDF: Object stream object offset is outside of the stream");
        return MarqenPDFObject();
    }
    MarqenPDFObject value = makeObjectFromOffset(start, decoded, nullptr).value_or(MarqenPDFObject());
    objectStreamObjectCache_.emplace(key, value);
    return value;
}

bool MarqenPDF::findCached(const MarqenPDFIndirectReference &reference, bool fromOriginalPDF, bool forget) {
    XrefTable &entries = table(fromOriginalPDF);
    if (reference.objectNumber >= entries.offsets.size()) return false;
    uint64_t slot = entries.offsets[reference.objectNumber];
    if (slot == 0) return false;
    if (slot != kObjectInObjectStream) {
        auto cached = objectCache_.find(slot);
        if (cached == objectCache_.end()) return false;
        if (forget) objectCache_.erase(cached);
        return true;
    }
    auto location = entries.streamInfo.find(reference.objectNumber);
    if (location == entries.streamInfo.end() || location->second.s >= entries.offsets.size()) return false;
    auto cached = objectStreamObjectCache_.find({entries.offsets[location->second.s], location->second.x});
    if (cached == objectStreamObjectCache_.end()) return false;
    if (forget) objectStreamObjectCache_.erase(cached);
    return true;
}

std::optional<uint64_t> MarqenPDF::originalXrefOffset() {
    MarqenPDFWarningScope scope(&warnings_);
    if (!isRichPDF()) return xrefOffset_;
    return untouchedXrefOffset();
}

MarqenPDFDictionary MarqenPDF::originalTrailerInformation() const {
    return original_->trailers.empty() ? MarqenPDFDictionary() : original_->trailers.front();
}

std::string_view MarqenPDF::originalPDFBytes() const {
    return pdfData().substr(0, size_t(originalPDFLength()));
}

}  // namespace marqen
