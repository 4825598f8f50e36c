// Finding and reading the cross-reference sections of a PDF.
#include <algorithm>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_file_io.h"
#include "formats/pdf/pdf_lexer.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

using namespace pdf_lexer;

namespace {

// Big-endian, but each byte is shifted within a 32-bit word and the word is sign-extended before it is
// added: fields of up to four bytes read normally below 2^31, wider ones while their value fits in the
// low four bytes. Files written by this system stay within that.
int64_t decodeXrefStreamEntryArea(const unsigned char *bytes, int64_t size, int64_t defaultValue) {
    if (size == 0) return defaultValue;
    int64_t value = 0;
    for (int64_t i = 0; i < size; ++i) {
        unsigned shift = unsigned(((size - 1 - i) * 8) % 32);
        value += int64_t(int32_t(uint32_t(bytes[i]) << shift));
    }
    return value;
}

}  // namespace

bool MarqenPDF::determineXrefOffset() { return findStartxref(length_, &xrefOffset_); }

bool MarqenPDF::findStartxref(uint64_t end, uint64_t *offset) const {
    if (end == 0) return false;
    // The lines are found backwards from the end, in a tail of the file that grows when a line runs
    // back past its start.
    size_t tailLength = reader_ ? reader_->firstWindowLength() : SIZE_MAX;
    for (;;) {
        const uint64_t start = tailLength >= end ? 0 : end - tailLength;
        std::optional<MarqenPDFWindow> window = windowAt(start, size_t(end - start));
        if (!window) return false;
        const uint64_t base = window->offset;
        const std::string_view data = window->bytes.substr(0, size_t(end - base));
        bool needMore = false;
        std::optional<MarqenPDFWarningCapture> capture;
        if (base > 0) capture.emplace();
        auto byteAt = [&](uint64_t index) -> unsigned char {
            if (index < base) {
                needMore = true;
                return 0;
            }
            return static_cast<unsigned char>(data[size_t(index - base)]);
        };
        // A line starts after a byte 10 or 13; line ends before the offset are skipped first. Fails on
        // reaching offset 1.
        auto backup = [&](uint64_t from, uint64_t *lineStart) {
            uint64_t i = std::min<uint64_t>(from, length_ - 1);
            while (i > 1 && isLineEnd(byteAt(i)) && !needMore) --i;
            while (i > 1 && !needMore && !isLineEnd(byteAt(i - 1))) --i;
            if (needMore || i <= 1) return false;
            *lineStart = i;
            return true;
        };
        auto attempt = [&]() {
            uint64_t position = end - 1;
            while (position > 0) {
                unsigned char byte = byteAt(position);
                if (needMore) return false;
                if (byte != 0 && byte != 9 && byte != 12 && byte != 32) break;
                --position;
            }
            uint64_t line = 0;
            if (!backup(position, &line)) {
                marqenPDFWarn("MarqenPDF: Could not back up to find start of EOF marker");
                return false;
            }
            while (data.substr(size_t(line - base), 5) != "%%EOF") {
                if (line < 6 || !backup(line - 1, &line)) {
                    marqenPDFWarn("MarqenPDF: PDF file did not end with EOF marker");
                    return false;
                }
            }
            uint64_t numberLine = 0;
            if (!backup(line - 1, &numberLine)) {
                marqenPDFWarn("MarqenPDF: Could not back up to find start of xref offset area");
                return false;
            }
            std::string numberToken = tokenFromOffset(numberLine, nullptr);
            if (!isTokenNumeric(numberToken) || hasDecimalPoint(numberToken)) {
                marqenPDFWarn("MarqenPDF: Offset to xref area was not a number");
                return false;
            }
            int64_t number = integerFromToken(numberToken).value_or(-1);
            if (number < 6) {
                marqenPDFWarn("MarqenPDF: Offset to xref area was invalid");
                return false;
            }
            uint64_t startxrefLine = 0;
            if (!backup(numberLine - 1, &startxrefLine)) {
                marqenPDFWarn("MarqenPDF: Could not back up to find start of startxref token");
                return false;
            }
            if (tokenFromOffset(startxrefLine, nullptr) != "startxref") {
                marqenPDFWarn("MarqenPDF: Could not find startxref token");
                return false;
            }
            // An offset past the startxref line cannot be right: use the nearest preceding "xref" line.
            if (uint64_t(number) > startxrefLine) {
                uint64_t candidate = startxrefLine;
                while (candidate > 1 && backup(candidate - 1, &candidate)) {
                    if (tokenFromOffset(candidate, nullptr) == "xref") {
                        number = int64_t(candidate);
                        break;
                    }
                }
                if (needMore) return false;
            }
            if (uint64_t(number) >= end) {
                marqenPDFWarn("MarqenPDF: Offset to xref area was invalid");
                return false;
            }
            *offset = uint64_t(number);
            return true;
        };
        bool found = attempt();
        if (!needMore) {
            if (capture) capture->replay();
            return found;
        }
        tailLength = tailLength > SIZE_MAX / 16 ? SIZE_MAX : tailLength * 16;
    }
}

bool MarqenPDF::growTable(XrefTable &table, uint64_t size) const {
    // Every object takes more than one byte of the file, so no honest file lists more objects than it
    // has bytes; refusing such numbers keeps a hostile count from reserving huge tables.
    if (size > pdfLength() + 1) {
        marqenPDFWarn("MarqenPDF: Object count " + std::to_string(size) + " is too large for a file of " +
                  std::to_string(pdfLength()) + " bytes");
        return false;
    }
    if (table.offsets.size() < size) table.offsets.resize(size, 0);
    return true;
}

void MarqenPDF::noteListedObject(XrefTable &table, uint64_t objectNumber) const {
    if (!table.listedAny || objectNumber > table.highestListedObjectNumber)
        table.highestListedObjectNumber = objectNumber;
    table.listedAny = true;
}

bool MarqenPDF::findObjectsFromXrefOffset(uint64_t offset, XrefTable &table) {
    size_t afterToken = 0;
    if (offset >= length_ || tokenFromOffset(offset, &afterToken) != "xref") return false;
    uint64_t position = skipWhitespaceAt(afterToken);
    bool warnedOffset = false;
    for (;;) {
        std::string line;
        uint64_t lineEnd = position;
        bool read = lookInWindows(position, [&](const MarqenPDFWindow &window, bool &reachedEnd) {
            std::string_view rest =
                window.bytes.substr(size_t(std::min<uint64_t>(position - window.offset, window.bytes.size())));
            size_t length = 0;
            while (length < rest.size() && !isLineEnd(static_cast<unsigned char>(rest[length]))) ++length;
            reachedEnd = length >= rest.size();
            line.assign(rest.substr(0, length));
            lineEnd = position + length;
        });
        if (!read) return false;
        if (line.size() == 7 && line == "trailer") break;
        size_t afterFirst = 0, afterCount = 0;
        std::string_view firstToken = tokenFromOffset(0, line, &afterFirst);
        std::string_view countToken = tokenFromOffset(afterFirst, line, &afterCount);
        if (!isTokenNumeric(firstToken) || hasDecimalPoint(firstToken) || !isTokenNumeric(countToken) ||
            hasDecimalPoint(countToken))
            break;
        int64_t first = integerFromToken(firstToken).value_or(-1);
        int64_t count = integerFromToken(countToken).value_or(-1);
        if (first < 0 || count < 0) break;
        position = skipWhitespaceAt(lineEnd);
        if (count == 0) continue;
        // Entries are 20 bytes; 19 when written with a one-byte line end, 21 with " \r\n".
        std::optional<MarqenPDFWindow> head = windowAt(position, 21);
        if (!head) return false;
        std::string_view firstEntry =
            head->bytes.substr(size_t(std::min<uint64_t>(position - head->offset, head->bytes.size())));
        size_t entryLength = 20;
        auto byteAt = [&](size_t index) -> unsigned char {
            return index < firstEntry.size() ? static_cast<unsigned char>(firstEntry[index]) : 0;
        };
        if (byteAt(18) == ' ' && isLineEnd(byteAt(19)) && isLineEnd(byteAt(20))) {
            entryLength = 21;
        } else if (!isLineEnd(byteAt(19))) {
            entryLength = 19;
        }
        if (uint64_t(count) > (length_ - position) / entryLength) {
            marqenPDFWarn("MarqenPDF: Xref table runs past the end of the file");
            return false;
        }
        if (!growTable(table, uint64_t(first) + uint64_t(count))) return false;
        std::optional<MarqenPDFWindow> rows = windowAt(position, size_t(count) * entryLength);
        if (!rows) return false;
        std::string_view entries = rows->bytes.substr(size_t(position - rows->offset));
        for (int64_t i = 0; i < count; ++i) {
            std::string_view entry = entries.substr(size_t(i) * entryLength, entryLength);
            uint64_t objectNumber = uint64_t(first + i);
            if (entry[17] != 'n') continue;
            uint64_t entryOffset = 0;
            bool digits = true;
            for (size_t d = 0; d < 10; ++d) {
                if (entry[d] < '0' || entry[d] > '9') digits = false;
                else entryOffset = entryOffset * 10 + uint64_t(entry[d] - '0');
            }
            if (!digits) continue;
            noteListedObject(table, objectNumber);
            if (entryOffset >= length_) {
                if (!warnedOffset)
                    marqenPDFWarn("MarqenPDF: Xref entry for object " + std::to_string(objectNumber) +
                              " points past the end of the file");
                warnedOffset = true;
                continue;
            }
            if (table.offsets[objectNumber] == 0) table.offsets[objectNumber] = entryOffset;
        }
        position = skipWhitespaceAt(position + uint64_t(count) * entryLength);
    }
    size_t afterTrailer = 0;
    if (tokenFromOffset(position, &afterTrailer) != "trailer") {
        marqenPDFWarn("MarqenPDF: Unknown entry in xref table");
        return false;
    }
    return true;
}

uint64_t MarqenPDF::findTrailerSectionAfterXrefOffset(uint64_t offset) const {
    // The first "t" at or after offset, looked for in windows that grow.
    uint64_t from = offset, position = 0;
    bool found = false;
    size_t length = reader_ ? reader_->firstWindowLength() : SIZE_MAX;
    while (!found && from < length_) {
        std::optional<MarqenPDFWindow> window = windowAt(from, length);
        if (!window) return 0;
        std::string_view rest = window->bytes.substr(size_t(from - window->offset));
        size_t at = rest.find('t');
        if (at != std::string_view::npos) {
            position = from + at;
            found = true;
        }
        from = window->end();
        length = length > SIZE_MAX / 16 ? SIZE_MAX : length * 16;
    }
    if (!found) return 0;
    size_t next = 0;
    if (tokenFromOffset(position, &next) != "trailer") return 0;
    if (next >= length_) return 0;
    std::optional<MarqenPDFWindow> after = windowAt(next, 1);
    if (!after) return 0;
    unsigned char byte = static_cast<unsigned char>(after->bytes[size_t(next - after->offset)]);
    if (!isWhitespace(byte) && byte != '<') return 0;
    return next;
}

bool MarqenPDF::findObjectsFromXrefStream(const MarqenPDFStream &stream, XrefTable &table, bool fromOriginalPDF) {
    const MarqenPDFDictionary &info = stream.streamInfo();
    auto entry = [&](std::string_view key) {
        const MarqenPDFObject *value = info.objectForKey(key);
        return value ? resolveIndirectReference(*value, fromOriginalPDF) : MarqenPDFObject();
    };
    MarqenPDFObject size = entry("Size");
    if (!size.isInteger() || size.integerValue() < 0) {
        marqenPDFWarn("MarqenPDF: Xref stream has no valid Size entry");
        return false;
    }
    if (!growTable(table, uint64_t(size.integerValue()))) return false;
    MarqenPDFObject widths = entry("W");
    const MarqenPDFArray *w = widths.asArray();
    if (!w || w->size() != 3 || !(*w)[0].isInteger() || !(*w)[1].isInteger() || !(*w)[2].isInteger()) {
        marqenPDFWarn("MarqenPDF: Xref stream W entry is invalid");
        return false;
    }
    int64_t w0 = (*w)[0].integerValue(), w1 = (*w)[1].integerValue(), w2 = (*w)[2].integerValue();
    if (w0 < 0 || w1 < 0 || w2 < 0 || w0 > 32 || w1 > 32 || w2 > 32 || w0 + w1 + w2 == 0) {
        marqenPDFWarn("MarqenPDF: Xref stream W entry is invalid");
        return false;
    }
    size_t entryWidth = size_t(w0 + w1 + w2);
    std::vector<std::pair<int64_t, int64_t>> subsections;
    MarqenPDFObject index = entry("Index");
    if (index.isNull()) {
        subsections.emplace_back(0, size.integerValue());
    } else {
        const MarqenPDFArray *pairs = index.asArray();
        if (!pairs || pairs->size() % 2 != 0) {
            marqenPDFWarn("MarqenPDF: Xref stream Index entry is invalid");
            return false;
        }
        for (size_t i = 0; i < pairs->size(); i += 2) {
            MarqenPDFObject first = resolveIndirectReference((*pairs)[i], fromOriginalPDF);
            MarqenPDFObject count = resolveIndirectReference((*pairs)[i + 1], fromOriginalPDF);
            if (!first.isInteger() || !count.isInteger() || first.integerValue() < 0 || count.integerValue() < 0) {
                marqenPDFWarn("MarqenPDF: Xref stream Index entry is invalid");
                return false;
            }
            subsections.emplace_back(first.integerValue(), count.integerValue());
        }
    }
    const std::string *decoded = stream.stream();
    if (!decoded) return false;
    const unsigned char *bytes = reinterpret_cast<const unsigned char *>(decoded->data());
    size_t position = 0;
    for (auto [first, count] : subsections) {
        if (uint64_t(count) > (decoded->size() - position) / entryWidth) {
            marqenPDFWarn("MarqenPDF: Xref stream data is shorter than its Index entry");
            count = int64_t((decoded->size() - position) / entryWidth);
        }
        if (count > 0 && !growTable(table, uint64_t(first) + uint64_t(count))) return false;
        for (int64_t i = 0; i < count; ++i, position += entryWidth) {
            uint64_t objectNumber = uint64_t(first + i);
            const unsigned char *fields = bytes + position;
            int64_t type = decodeXrefStreamEntryArea(fields, w0, 1);
            int64_t second = decodeXrefStreamEntryArea(fields + w0, w1, 0);
            if (type == 1) {
                noteListedObject(table, objectNumber);
                if (second <= 0 || uint64_t(second) >= pdfLength()) continue;
                if (table.offsets[objectNumber] == 0) table.offsets[objectNumber] = uint64_t(second);
            } else if (type == 2) {
                noteListedObject(table, objectNumber);
                int64_t third = decodeXrefStreamEntryArea(fields + w0 + w1, w2, 0);
                if (second < 0 || third < 0) continue;
                if (table.offsets[objectNumber] == 0) {
                    table.offsets[objectNumber] = kObjectInObjectStream;
                    table.streamInfo[objectNumber] = {uint64_t(second), uint64_t(third)};
                }
            }
        }
    }
    return true;
}

bool MarqenPDF::readSectionChain(uint64_t start, XrefTable &table, bool fromOriginalPDF) {
    std::set<uint64_t> visited;
    uint64_t offset = start;
    bool first = true;
    for (;;) {
        if (!visited.insert(offset).second) {
            marqenPDFWarn("MarqenPDF: Cross-reference sections loop back to offset " + std::to_string(offset));
            break;
        }
        MarqenPDFObject prev;
        if (findObjectsFromXrefOffset(offset, table)) {
            uint64_t trailerOffset = findTrailerSectionAfterXrefOffset(offset);
            std::optional<MarqenPDFObject> trailer;
            if (trailerOffset != 0) trailer = makeObjectFromOffset(trailerOffset, nullptr);
            if (!trailer || !trailer->asDictionary()) {
                marqenPDFWarn("MarqenPDF: Invalid Prev trailer dictionary");
                return false;
            }
            const MarqenPDFDictionary &dictionary = *trailer->asDictionary();
            // A hybrid file lists some objects only in the stream its trailer names with /XRefStm.
            if (const MarqenPDFObject *xrefStm = dictionary.objectForKey("XRefStm")) {
                MarqenPDFObject streamOffset = resolveIndirectReference(*xrefStm, fromOriginalPDF);
                std::optional<MarqenPDFObject> hybrid;
                if (streamOffset.isInteger() && streamOffset.integerValue() > 0 &&
                    uint64_t(streamOffset.integerValue()) < pdfLength())
                    hybrid = resolveObjectFromOffset(uint64_t(streamOffset.integerValue()), fromOriginalPDF);
                if (hybrid && hybrid->asStream()) {
                    findObjectsFromXrefStream(*hybrid->asStream(), table, fromOriginalPDF);
                } else {
                    marqenPDFWarn("MarqenPDF: XRefStm entry does not lead to a cross-reference stream");
                }
            }
            table.trailers.push_back(dictionary);
            if (const MarqenPDFObject *value = dictionary.objectForKey("Prev"))
                prev = resolveIndirectReference(*value, fromOriginalPDF);
        } else {
            std::optional<MarqenPDFObject> object = resolveObjectFromOffset(offset, fromOriginalPDF);
            const MarqenPDFStream *stream = object ? object->asStream() : nullptr;
            if (!stream) {
                if (first) {
                    marqenPDFWarn("MarqenPDF: Xref area was not a valid stream");
                    return false;
                }
                marqenPDFWarn("MarqenPDF: Prev offset " + std::to_string(offset) +
                          " does not lead to a cross-reference section");
                break;
            }
            if (!findObjectsFromXrefStream(*stream, table, fromOriginalPDF)) {
                if (first) return false;
                break;
            }
            if (first) table.firstIsStream = true;
            table.trailers.push_back(stream->streamInfo());
            if (const MarqenPDFObject *value = stream->streamInfo().objectForKey("Prev"))
                prev = resolveIndirectReference(*value, fromOriginalPDF);
        }
        first = false;
        if (!prev.isInteger()) break;
        if (prev.integerValue() < 0 || uint64_t(prev.integerValue()) >= pdfLength()) {
            marqenPDFWarn("MarqenPDF: Prev offset " + std::to_string(prev.integerValue()) + " is outside of the file");
            break;
        }
        offset = uint64_t(prev.integerValue());
    }
    return true;
}

void MarqenPDF::fixBadPFDFileXrefOffsets(XrefTable &table) {
    std::vector<uint64_t> repaired(table.offsets.size(), 0);
    for (size_t i = 0; i < table.offsets.size(); ++i) {
        uint64_t value = table.offsets[i];
        if (value == 0 || value == kObjectInObjectStream) {
            if (repaired[i] == 0) repaired[i] = value;
            continue;
        }
        // Only a short window is read: an object number is a short token, and a hostile table pointing
        // many entries into one long run of bytes must not cost a scan of that run per entry.
        const uint64_t start = std::min<uint64_t>(value, length_);
        std::optional<MarqenPDFWindow> bytes = windowAt(start, 64);
        std::string_view window = bytes ? bytes->bytes.substr(size_t(start - bytes->offset), 64) : std::string_view();
        size_t end = 0;
        std::string_view token = pdf_lexer::tokenFromOffset(window, 0, &end);
        std::optional<int64_t> number;
        if (end < window.size() && isTokenNumeric(token) && !hasDecimalPoint(token)) number = integerFromToken(token);
        if (number && *number >= 0 && uint64_t(*number) < repaired.size() &&
            (uint64_t(*number) == i || repaired[size_t(*number)] == 0)) {
            repaired[size_t(*number)] = value;
        } else if (repaired[i] == 0) {
            repaired[i] = value;
        }
    }
    table.offsets = std::move(repaired);
}

std::optional<uint64_t> MarqenPDF::untouchedXrefOffset() {
    std::optional<uint64_t> previous = lastSectionPrev();
    if (previous && *previous < originalEOF_) return previous;
    // Another program saved on top of our update: the newest /Prev names that update, not the untouched
    // PDF. The untouched PDF's own startxref still says where its cross-reference data is.
    uint64_t offset = 0;
    if (originalEOF_ <= pdfLength() && findStartxref(originalEOF_, &offset) &&
        offset < originalEOF_)
        return offset;
    return std::nullopt;
}

std::optional<uint64_t> MarqenPDF::lastSectionPrev() {
    if (current_->trailers.empty()) return std::nullopt;
    const MarqenPDFObject *prev = current_->trailers.front().objectForKey("Prev");
    if (!prev) return std::nullopt;
    MarqenPDFObject value = resolveIndirectReference(*prev, false);
    if (!value.isInteger() || value.integerValue() < 0 || uint64_t(value.integerValue()) >= pdfLength())
        return std::nullopt;
    return uint64_t(value.integerValue());
}

}  // namespace marqen
