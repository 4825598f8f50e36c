// Serialising PDF values and appending one incremental update to the untouched PDF.
#include <cmath>
#include <cstdio>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_file_io.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

namespace {

std::string numberText(double value) {
    if (!std::isfinite(value)) return "0";
    if (value == std::floor(value) && std::fabs(value) < 9e15) return std::to_string(int64_t(value));
    char text[64];
    std::snprintf(text, sizeof text, "%.6f", value);
    std::string result = text;
    while (!result.empty() && result.back() == '0') result.pop_back();
    if (!result.empty() && result.back() == '.') result.pop_back();
    if (result == "-0") result = "0";
    return result;
}

void appendBigEndian(std::string &out, uint64_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) out += char((value >> (8 * i)) & 0xFF);
}

}  // namespace

std::string MarqenPDF::encodedObject(const MarqenPDFObject &value) {
    struct Encoder {
        std::string out;
        void encode(const MarqenPDFObject &value) {
            const auto &storage = value.storage();
            if (value.isNull()) {
                out += "null";
            } else if (auto boolean = std::get_if<bool>(&storage)) {
                out += *boolean ? "true" : "false";
            } else if (auto integer = std::get_if<int64_t>(&storage)) {
                out += std::to_string(*integer);
            } else if (auto real = std::get_if<double>(&storage)) {
                out += numberText(*real);
            } else if (auto string = value.asString()) {
                out += string->encodedStringData();
            } else if (auto name = value.asName()) {
                out += '/';
                out += name->encodedName();
            } else if (auto reference = value.asReference()) {
                out += reference->encodedReference();
            } else if (auto array = value.asArray()) {
                out += '[';
                for (const MarqenPDFObject &element : *array) {
                    out += ' ';
                    encode(element);
                }
                out += " ]";
            } else if (auto dictionary = value.asDictionary()) {
                encodeDictionary(*dictionary);
            } else if (auto stream = value.asStream()) {
                MarqenPDFDictionary info = stream->streamInfo();
                info.setObject(MarqenPDFObject(uint64_t(stream->rawData().size())), "Length");
                encodeDictionary(info);
                out += "\nstream\n";
                out += stream->rawData();
                out += "\nendstream";
            } else {
                marqenPDFWarn("MarqenPDF: Attempting to write out an unknown object");
            }
        }
        void encodeDictionary(const MarqenPDFDictionary &dictionary) {
            out += "<<";
            for (const auto &[key, element] : dictionary) {
                out += " /";
                out += key.encodedName();
                out += ' ';
                encode(element);
            }
            out += " >>";
        }
    } encoder;
    encoder.encode(value);
    return std::move(encoder.out);
}

std::string MarqenPDF::appendObjects(const std::vector<MarqenPDFAppendedObject> &appendedObjects,
                                     const MarqenPDFDictionary &trailer) {
    MarqenPDFWarningScope scope(&warnings_);
    const uint64_t base = isRichPDF() ? originalEOF_ : pdfLength();
    // The update follows the untouched PDF, so it takes that file's form (the same as the newest section's,
    // unless another program saved on top in the other form).
    const bool streamForm = originalUsesXrefStream();
    uint64_t m = nextAvailableObjectNumber_;
    std::string objects;
    std::string entries = streamForm ? "" : "xref\n";
    std::vector<uint64_t> index;
    for (const MarqenPDFAppendedObject &entry : appendedObjects) {
        const MarqenPDFIndirectReference *reference = entry.r.asReference();
        if (!reference || !entry.o) continue;
        m = std::max(m, reference->objectNumber);
        uint64_t offset = base + objects.size();
        if (streamForm) {
            index.push_back(reference->objectNumber);
            index.push_back(1);
            appendBigEndian(entries, offset, 8);
            appendBigEndian(entries, reference->generationNumber, 4);
        } else {
            char line[64];
            std::snprintf(line, sizeof line, "%llu 1\n%010llu %05u n \n",
                          static_cast<unsigned long long>(reference->objectNumber),
                          static_cast<unsigned long long>(offset), reference->generationNumber);
            entries += line;
        }
        objects += std::to_string(reference->objectNumber) + " " + std::to_string(reference->generationNumber) +
                   " obj\n";
        // New strings and streams of an encrypted file are enciphered with its handler and key.
        objects += encodedObject(encryptedObject(*entry.o, reference->objectNumber, reference->generationNumber));
        objects += "\nendobj\n";
    }
    const uint64_t xrefStart = base + objects.size();
    MarqenPDFDictionary finalTrailer = trailer;
    if (!streamForm) {
        finalTrailer.setObject(MarqenPDFObject(m + 1), "Size");
        objects += entries;
        objects += "trailer\n";
        objects += encodedObject(MarqenPDFObject(finalTrailer));
    } else {
        uint64_t xrefNumber = m + 1;
        index.push_back(xrefNumber);
        index.push_back(1);
        appendBigEndian(entries, xrefStart, 8);
        appendBigEndian(entries, 0, 4);
        MarqenPDFDictionary info;
        info.setObject(MarqenPDFObject::name("XRef"), "Type");
        info.setObject(MarqenPDFObject(m + 2), "Size");
        if (const MarqenPDFObject *prev = trailer.objectForKey("Prev")) info.setObject(*prev, "Prev");
        info.setObject(MarqenPDFObject(MarqenPDFArray{MarqenPDFObject(0), MarqenPDFObject(8), MarqenPDFObject(4)}),
                       "W");
        MarqenPDFArray indexArray;
        for (uint64_t value : index) indexArray.push_back(MarqenPDFObject(value));
        info.setObject(MarqenPDFObject(std::move(indexArray)), "Index");
        if (const MarqenPDFObject *root = trailer.objectForKey("Root")) info.setObject(*root, "Root");
        if (const MarqenPDFObject *documentInfo = trailer.objectForKey("Info")) info.setObject(*documentInfo, "Info");
        if (const MarqenPDFObject *identifier = trailer.objectForKey("ID")) info.setObject(*identifier, "ID");
        // An encrypted file stays encrypted: readers find its handler through the newest section.
        if (const MarqenPDFObject *encrypt = trailer.objectForKey("Encrypt")) info.setObject(*encrypt, "Encrypt");
        MarqenPDFStream plain(std::move(info), std::move(entries));
        std::shared_ptr<const MarqenPDFStream> compressed = plain.streamCompressedWithFlate();
        objects += std::to_string(xrefNumber) + " 0 obj\n";
        objects += encodedObject(compressed ? MarqenPDFObject(compressed)
                                            : MarqenPDFObject(std::make_shared<const MarqenPDFStream>(plain)));
        objects += "\nendobj\n";
    }
    objects += "\nstartxref\n" + std::to_string(xrefStart) + "\n%%EOF\n";
    return objects;
}

bool MarqenPDF::writeOriginalPDFToURL(const std::string &path, MarqenError *error) const {
    if (reader_) {
        if (reader_->failed()) return marqenFail(error, kErrorDomain, -1, readFailure());
        MarqenPDFFilePart original;
        original.reader = reader_.get();
        original.readerLength = originalPDFLength();
        return MarqenPDFWriteFileAtomically(path, {original}, error);
    }
    return MarqenPDFWriteFileAtomically(path, {{originalPDFBytes(), sourceFile()}}, error);
}

bool MarqenPDF::writeModifiedPDFToURL(const std::string &path,
                                      const std::vector<MarqenPDFAppendedObject> &appendedObjects,
                                      const std::optional<std::string> &domJSON, MarqenError *error) {
    MarqenPDFWarningScope scope(&warnings_);
    if (!allowsAnnotating())
        return marqenFail(error, kErrorDomain, kMarqenPDFErrorPermissionDenied,
                          "The PDF's permissions do not allow adding or changing annotations; its owner password "
                          "lifts this restriction");
    // Objects read from a file that could not be read where the reader looked may be missing.
    if (readFailed()) return marqenFail(error, kErrorDomain, -1, readFailure());
    const uint64_t originalSize = originalPDFLength();
    std::optional<uint64_t> previousXref = originalXrefOffset();
    if (!previousXref) return marqenFail(error, kErrorDomain, -1, "Could not find offset to previous xref");

    uint64_t n = nextAvailableObjectNumber_;
    for (const MarqenPDFAppendedObject &entry : appendedObjects)
        if (const MarqenPDFIndirectReference *reference = entry.r.asReference())
            n = std::max(n, reference->objectNumber + 1);

    std::vector<MarqenPDFAppendedObject> entries = appendedObjects;
    if (domJSON) {
        MarqenPDFDictionary domInfo;
        MarqenPDFStream plain(MarqenPDFDictionary(), *domJSON);
        std::shared_ptr<const MarqenPDFStream> dom = plain.streamCompressedWithFlate();
        if (!dom) return marqenFail(error, kErrorDomain, -1, "Could not compress the document JSON");
        MarqenPDFDictionary record;
        record.setObject(MarqenPDFObject::name("MarqenInfo"), "Type");
        record.setObject(MarqenPDFObject(originalSize), "OriginalPdfSize");
        record.setObject(MarqenPDFObject(MarqenPDFIndirectReference{n, 0}), "MarqenDom");
        entries.push_back({MarqenPDFObject(MarqenPDFIndirectReference{n, 0}), MarqenPDFObject(dom)});
        entries.push_back({MarqenPDFObject(MarqenPDFIndirectReference{n + 1, 0}), MarqenPDFObject(std::move(record))});
    }

    MarqenPDFDictionary trailer = originalTrailerInformation();
    trailer.setObject(MarqenPDFObject(*previousXref), "Prev");
    // The sections reached through /Prev keep their own hybrid stream; the update has none.
    trailer.removeObjectForKey("XRefStm");
    const MarqenPDFObject *rootEntry = trailer.objectForKey("Root");
    const MarqenPDFDictionary *root = nullptr;
    MarqenPDFObject resolvedRoot;
    if (rootEntry && rootEntry->asReference()) {
        resolvedRoot = resolveIndirectReference(*rootEntry, true);
        root = resolvedRoot.asDictionary();
    }
    if (!root) return marqenFail(error, kErrorDomain, -1, "Could not locate PDF root");
    MarqenPDFDictionary catalog = *root;
    if (domJSON) catalog.setObject(MarqenPDFObject(MarqenPDFIndirectReference{n + 1, 0}), "XXMarqen");
    else catalog.removeObjectForKey("XXMarqen");
    entries.push_back({*rootEntry, MarqenPDFObject(std::move(catalog))});

    std::string update = appendObjects(entries, trailer);
    bool shortWrite = false;
    // The untouched bytes are copied from the file inside the kernel when it is read in pieces.
    MarqenPDFFilePart original;
    if (reader_) {
        original.reader = reader_.get();
        original.readerLength = originalSize;
    } else {
        original = {originalPDFBytes(), sourceFile()};
    }
    MarqenPDFFilePart appended;
    appended.bytes = update;
    if (!MarqenPDFWriteFileAtomically(path, {original, appended}, error, &shortWrite)) {
        if (shortWrite) return marqenFail(error, kErrorDomain, -1, "Could not find write to file");
        return false;
    }
    return true;
}

}  // namespace marqen
