// Encrypted files: setting up the security handler from the trailer, and deciphering or enciphering the
// strings and streams of one object.
#include <functional>

#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

namespace {

// Ciphertext is written in hexadecimal, which no reader's line-end handling can alter.
MarqenPDFString hexString(const std::string &bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string encoded = "<";
    for (unsigned char c : bytes) {
        encoded += digits[c >> 4];
        encoded += digits[c & 15];
    }
    encoded += '>';
    return MarqenPDFString(std::move(encoded), bytes);
}

// Walks a value and rebuilds it with every string (and every stream's bytes) passed through the given
// functions; nothing when one of them fails.
// Whether a value holds a string or a stream anywhere: only those are changed by a transform, and a
// value without them is kept as it is instead of being copied.
bool holdsStringsOrStreams(const MarqenPDFObject &value, int depth) {
    if (value.asString() || value.asStream()) return true;
    if (depth > 256) return false;
    if (const MarqenPDFArray *array = value.asArray()) {
        for (const MarqenPDFObject &element : *array)
            if (holdsStringsOrStreams(element, depth + 1)) return true;
    } else if (const MarqenPDFDictionary *dictionary = value.asDictionary()) {
        for (const auto &entry : *dictionary)
            if (holdsStringsOrStreams(entry.second, depth + 1)) return true;
    }
    return false;
}

struct ValueTransform {
    std::function<std::optional<std::string>(const std::string &)> string;
    bool hexadecimal = false;  // how changed strings are written
    std::function<std::optional<std::string>(std::string_view, const MarqenPDFDictionary &)> stream;
    int depth = 0;

    std::optional<MarqenPDFObject> apply(const MarqenPDFObject &value) {
        // Parsed values nest only as deep as the parser allows; this bounds hand-built ones too.
        if (depth > 256) return value;
        struct Nest {
            int &d;
            explicit Nest(int &x) : d(++x) {}
            ~Nest() { --d; }
        } nest(depth);
        if (const MarqenPDFString *text = value.asString()) {
            std::optional<std::string> changed = string(text->string());
            if (!changed) return std::nullopt;
            return MarqenPDFObject(hexadecimal ? hexString(*changed) : MarqenPDFString::stringWithString(*changed));
        }
        if ((value.asArray() || value.asDictionary()) && !holdsStringsOrStreams(value, depth)) return value;
        if (const MarqenPDFArray *array = value.asArray()) {
            MarqenPDFArray copy;
            copy.reserve(array->size());
            for (const MarqenPDFObject &element : *array) {
                std::optional<MarqenPDFObject> changed = apply(element);
                if (!changed) return std::nullopt;
                copy.push_back(std::move(*changed));
            }
            return MarqenPDFObject(std::move(copy));
        }
        if (const MarqenPDFDictionary *dictionary = value.asDictionary()) {
            std::optional<MarqenPDFDictionary> copy = applyDictionary(*dictionary);
            if (!copy) return std::nullopt;
            return MarqenPDFObject(std::move(*copy));
        }
        if (const MarqenPDFStream *stream = value.asStream()) {
            std::optional<MarqenPDFDictionary> info = applyDictionary(stream->streamInfo());
            if (!info) return std::nullopt;
            std::optional<std::string> bytes = this->stream(stream->rawData(), stream->streamInfo());
            if (!bytes) return std::nullopt;
            // The deciphered stream keeps the limits of the one it replaces.
            return MarqenPDFObject(std::make_shared<const MarqenPDFStream>(
                std::move(*info), std::move(*bytes), stream->maximumDecodedLength(), stream->decodeAllowance()));
        }
        return value;
    }

    std::optional<MarqenPDFDictionary> applyDictionary(const MarqenPDFDictionary &dictionary) {
        MarqenPDFDictionary copy;
        for (const auto &[key, element] : dictionary) {
            std::optional<MarqenPDFObject> changed = apply(element);
            if (!changed) return std::nullopt;
            copy.setObject(std::move(*changed), key);
        }
        return copy;
    }
};

}  // namespace

bool MarqenPDF::setUpSecurityHandler(const MarqenPDFDictionary &trailer) {
    const MarqenPDFObject *encryptEntry = trailer.objectForKey("Encrypt");
    if (!encryptEntry) return true;
    encrypted_ = true;
    if (const MarqenPDFIndirectReference *reference = encryptEntry->asReference())
        encryptObjectNumber_ = reference->objectNumber;
    // Resolved before the handler exists, so the dictionary is read (and cached) as it stands.
    MarqenPDFObject encrypt = resolveIndirectReference(*encryptEntry, false);
    const MarqenPDFDictionary *dictionary = encrypt.asDictionary();
    if (!dictionary) {
        marqenPDFWarn("MarqenPDF: The Encrypt entry is not a dictionary");
        openFailureCode_ = kMarqenPDFErrorUnsupportedEncryption;
        return false;
    }
    std::string firstID;
    if (const MarqenPDFObject *id = trailer.objectForKey("ID"); id && id->asArray() && !id->asArray()->empty())
        if (const MarqenPDFString *first = id->asArray()->front().asString()) firstID = first->string();
    MarqenPDFSecurityFailure failure = MarqenPDFSecurityFailure::None;
    std::string reason;
    securityHandler_ =
        MarqenPDFSecurityHandler::create(*dictionary, firstID, userPassword_, ownerPassword_, &failure, &reason);
    if (!securityHandler_) {
        marqenPDFWarn(reason);
        openFailureCode_ = failure == MarqenPDFSecurityFailure::WrongPassword ? kMarqenPDFErrorPasswordRequired
                                                                             : kMarqenPDFErrorUnsupportedEncryption;
        return false;
    }
    return true;
}

bool MarqenPDF::allowsAnnotating() const {
    if (!securityHandler_ || securityHandler_->ownerAuthenticated()) return true;
    return (securityHandler_->permissions() & kMarqenPDFPermissionAnnotate) != 0;
}

std::optional<MarqenPDFObject> MarqenPDF::decryptedObject(const MarqenPDFObject &value, uint64_t number,
                                                          uint32_t generation) const {
    // Cross-reference streams are never enciphered, nor are the strings of their dictionaries.
    if (const MarqenPDFStream *stream = value.asStream()) {
        const MarqenPDFObject *type = stream->streamInfo().objectForKey("Type");
        if (type && type->isName("XRef")) return value;
    }
    const MarqenPDFSecurityHandler &handler = *securityHandler_;
    ValueTransform transform;
    transform.string = [&](const std::string &data) -> std::optional<std::string> {
        std::optional<std::string> plain = handler.decryptString(data, number, generation);
        if (!plain) {
            marqenPDFWarn("MarqenPDF: A string of object " + std::to_string(number) +
                          " could not be deciphered and is kept as it stands");
            return data;
        }
        return plain;
    };
    transform.stream = [&](std::string_view data, const MarqenPDFDictionary &info) -> std::optional<std::string> {
        std::optional<std::string> plain = handler.decryptStream(data, info, number, generation);
        if (!plain)
            marqenPDFWarn("MarqenPDF: The stream of object " + std::to_string(number) + " could not be deciphered");
        return plain;
    };
    return transform.apply(value);
}

MarqenPDFObject MarqenPDF::encryptedObject(const MarqenPDFObject &value, uint64_t number, uint32_t generation) const {
    if (!securityHandler_) return value;
    const MarqenPDFSecurityHandler &handler = *securityHandler_;
    ValueTransform transform;
    transform.hexadecimal = true;
    transform.string = [&](const std::string &data) -> std::optional<std::string> {
        return handler.encryptString(data, number, generation);
    };
    transform.stream = [&](std::string_view data, const MarqenPDFDictionary &info) -> std::optional<std::string> {
        return handler.encryptStream(data, info, number, generation);
    };
    return transform.apply(value).value_or(value);
}

}  // namespace marqen
