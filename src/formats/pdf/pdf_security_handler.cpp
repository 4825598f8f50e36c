#include "formats/pdf/pdf_security_handler.h"

#include <algorithm>

#include "formats/pdf/pdf_cipher.h"

namespace marqen {

using namespace pdf_cipher;

namespace {

constexpr unsigned char kPadding[32] = {0x28, 0xBF, 0x4E, 0x5E, 0x4E, 0x75, 0x8A, 0x41, 0x64, 0x00, 0x4E,
                                        0x56, 0xFF, 0xFA, 0x01, 0x08, 0x2E, 0x2E, 0x00, 0xB6, 0xD0, 0x68,
                                        0x3E, 0x80, 0x2F, 0x0C, 0xA9, 0xFE, 0x64, 0x53, 0x69, 0x7A};

std::string padded(const std::string &password) {
    std::string out = password.substr(0, 32);
    out.append(reinterpret_cast<const char *>(kPadding), 32 - out.size());
    return out;
}

std::string littleEndian(uint64_t value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i) out += char((value >> (8 * i)) & 0xFF);
    return out;
}

std::string xorKey(const std::string &key, unsigned value) {
    std::string out = key;
    for (char &c : out) c = char(static_cast<unsigned char>(c) ^ value);
    return out;
}

// The hash of revisions 5 (one SHA-256) and 6 (rounds of AES-128 and SHA-2 until the last byte allows).
std::string hashR6(const std::string &password, std::string_view salt, std::string_view userData, int revision) {
    std::string k = sha2(password + std::string(salt) + std::string(userData), 256);
    if (revision == 5) return k;
    // At least 64 rounds; then until the last byte of E is at most the round count less 32 (so at most 288).
    for (int round = 1;; ++round) {
        std::string block = password + k + std::string(userData);
        std::string k1;
        k1.reserve(block.size() * 64);
        for (int i = 0; i < 64; ++i) k1 += block;
        std::optional<std::string> e = aesNoPadding(std::string_view(k).substr(0, 16), std::string_view(k).substr(16, 16),
                                                    k1, true);
        if (!e || e->size() < 16) return {};
        unsigned sum = 0;
        for (int i = 0; i < 16; ++i) sum += static_cast<unsigned char>((*e)[size_t(i)]);
        int bits = sum % 3 == 0 ? 256 : sum % 3 == 1 ? 384 : 512;
        k = sha2(*e, bits);
        unsigned last = static_cast<unsigned char>(e->back());
        if (round >= 64 && last <= unsigned(round - 32)) break;
    }
    return k.substr(0, 32);
}

const MarqenPDFObject *entry(const MarqenPDFDictionary &dictionary, std::string_view key) {
    return dictionary.objectForKey(key);
}

std::optional<int64_t> integerEntry(const MarqenPDFDictionary &dictionary, std::string_view key) {
    const MarqenPDFObject *value = entry(dictionary, key);
    if (!value || !value->isNumber()) return std::nullopt;
    return value->integerValue();
}

std::optional<std::string> stringEntry(const MarqenPDFDictionary &dictionary, std::string_view key) {
    const MarqenPDFObject *value = entry(dictionary, key);
    if (!value || !value->asString()) return std::nullopt;
    return value->asString()->string();
}

}  // namespace

const char *MarqenPDFSecurityHandler::methodName(MarqenPDFCryptMethod method) {
    switch (method) {
    case MarqenPDFCryptMethod::Identity: return "Identity";
    case MarqenPDFCryptMethod::RC4: return "RC4";
    case MarqenPDFCryptMethod::AES128: return "AESV2";
    case MarqenPDFCryptMethod::AES256: return "AESV3";
    }
    return "Identity";
}

std::shared_ptr<const MarqenPDFSecurityHandler> MarqenPDFSecurityHandler::create(
    const MarqenPDFDictionary &encrypt, const std::string &firstID, const std::string &userPassword,
    const std::string &ownerPassword, MarqenPDFSecurityFailure *failure, std::string *reason) {
    auto fail = [&](MarqenPDFSecurityFailure kind, std::string text) {
        *failure = kind;
        *reason = std::move(text);
        return nullptr;
    };
    const MarqenPDFObject *filterEntry = entry(encrypt, "Filter");
    if (!filterEntry || !filterEntry->asName())
        return fail(MarqenPDFSecurityFailure::Malformed, "MarqenPDF: The Encrypt dictionary names no security handler");
    if (filterEntry->asName()->name() != "Standard")
        return fail(MarqenPDFSecurityFailure::Unsupported, "MarqenPDF: The security handler /" +
                                                               filterEntry->asName()->name() + " is not supported");
    std::shared_ptr<MarqenPDFSecurityHandler> handler(new MarqenPDFSecurityHandler());
    auto v = integerEntry(encrypt, "V").value_or(0);
    auto r = integerEntry(encrypt, "R");
    auto p = integerEntry(encrypt, "P");
    auto o = stringEntry(encrypt, "O");
    auto u = stringEntry(encrypt, "U");
    if (!r || !p || !o || !u)
        return fail(MarqenPDFSecurityFailure::Malformed, "MarqenPDF: The Encrypt dictionary lacks /R, /P, /O or /U");
    if (v != 1 && v != 2 && v != 4 && v != 5)
        return fail(MarqenPDFSecurityFailure::Unsupported,
                    "MarqenPDF: Encryption version /V " + std::to_string(v) + " is not supported");
    if (*r < 2 || *r > 6)
        return fail(MarqenPDFSecurityFailure::Unsupported,
                    "MarqenPDF: Standard security handler revision " + std::to_string(*r) + " is not supported");
    handler->v_ = int(v);
    handler->r_ = int(*r);
    handler->permissions_ = uint32_t(int32_t(*p));
    if (const MarqenPDFObject *metadata = entry(encrypt, "EncryptMetadata"); metadata && metadata->isBoolean())
        handler->encryptMetadata_ = metadata->boolValue();

    // Methods: V 1 and 2 use RC4 for everything; V 4 and 5 name crypt filters.
    size_t keyLength = 5;
    if (v == 2) {
        int64_t bits = integerEntry(encrypt, "Length").value_or(40);
        if (bits < 40 || bits > 128 || bits % 8 != 0)
            return fail(MarqenPDFSecurityFailure::Malformed,
                        "MarqenPDF: Encryption key length " + std::to_string(bits) + " is not 40 to 128 bits");
        keyLength = size_t(bits / 8);
    }
    if (v >= 4) {
        const MarqenPDFObject *cfEntry = entry(encrypt, "CF");
        const MarqenPDFDictionary *cf = cfEntry ? cfEntry->asDictionary() : nullptr;
        if (cf) {
            for (const auto &[name, value] : *cf) {
                const MarqenPDFDictionary *filter = value.asDictionary();
                if (!filter) continue;
                const MarqenPDFObject *cfm = filter->objectForKey("CFM");
                std::string method = cfm && cfm->asName() ? cfm->asName()->name() : "None";
                MarqenPDFCryptMethod kind;
                if (method == "V2") kind = MarqenPDFCryptMethod::RC4;
                else if (method == "AESV2") kind = MarqenPDFCryptMethod::AES128;
                else if (method == "AESV3") kind = MarqenPDFCryptMethod::AES256;
                else if (method == "None") kind = MarqenPDFCryptMethod::Identity;
                else
                    return fail(MarqenPDFSecurityFailure::Unsupported,
                                "MarqenPDF: Crypt filter method /" + method + " is not supported");
                handler->cryptFilters_.emplace_back(name.name(), kind);
            }
        }
        auto named = [&](std::string_view key) -> std::optional<MarqenPDFCryptMethod> {
            const MarqenPDFObject *value = entry(encrypt, key);
            std::string name = value && value->asName() ? value->asName()->name() : "Identity";
            if (name == "Identity") return MarqenPDFCryptMethod::Identity;
            for (const auto &[filterName, kind] : handler->cryptFilters_)
                if (filterName == name) return kind;
            return std::nullopt;
        };
        auto strings = named("StrF"), streams = named("StmF");
        if (!strings || !streams)
            return fail(MarqenPDFSecurityFailure::Malformed, "MarqenPDF: /StrF or /StmF names no crypt filter");
        handler->stringMethod_ = *strings;
        handler->streamMethod_ = *streams;
        bool aes256 = v == 5;
        for (MarqenPDFCryptMethod kind : {*strings, *streams})
            if ((kind == MarqenPDFCryptMethod::AES256) != aes256 && kind != MarqenPDFCryptMethod::Identity)
                return fail(MarqenPDFSecurityFailure::Malformed,
                            "MarqenPDF: The crypt filters do not match encryption version /V " + std::to_string(v));
        keyLength = aes256 ? 32 : 16;
        if (!aes256 && (*strings == MarqenPDFCryptMethod::RC4 || *streams == MarqenPDFCryptMethod::RC4)) {
            int64_t bits = integerEntry(encrypt, "Length").value_or(128);
            if (bits < 40 || bits > 128 || bits % 8 != 0)
                return fail(MarqenPDFSecurityFailure::Malformed,
                            "MarqenPDF: Encryption key length " + std::to_string(bits) + " is not 40 to 128 bits");
            keyLength = size_t(bits / 8);
        }
    }

    if (*r >= 5) {
        if (v != 5) return fail(MarqenPDFSecurityFailure::Malformed, "MarqenPDF: Revision 5 or 6 needs /V 5");
        auto oe = stringEntry(encrypt, "OE"), ue = stringEntry(encrypt, "UE");
        if (o->size() < 48 || u->size() < 48 || !oe || !ue || oe->size() != 32 || ue->size() != 32)
            return fail(MarqenPDFSecurityFailure::Malformed,
                        "MarqenPDF: /O, /U, /OE or /UE has the wrong size for AES-256 encryption");
        std::string u48 = u->substr(0, 48);
        auto unlock = [&](const std::string &password, bool owner) -> bool {
            std::string pw = password.substr(0, 127);
            const std::string &hashed = owner ? *o : *u;
            std::string userData = owner ? u48 : std::string();
            if (hashR6(pw, std::string_view(hashed).substr(32, 8), userData, int(*r)) != hashed.substr(0, 32))
                return false;
            std::string intermediate = hashR6(pw, std::string_view(hashed).substr(40, 8), userData, int(*r));
            std::optional<std::string> key =
                aesNoPadding(intermediate, std::string(16, '\0'), owner ? *oe : *ue, false);
            if (!key || key->size() != 32) return false;
            handler->fileKey_ = *key;
            return true;
        };
        if (!ownerPassword.empty() && unlock(ownerPassword, true)) {
            handler->ownerAuthenticated_ = true;
        } else if (!unlock(userPassword, false)) {
            // An owner password given as the only password opens the file too.
            if (ownerPassword.empty() && !userPassword.empty() && unlock(userPassword, true)) {
                handler->ownerAuthenticated_ = true;
            } else {
                return fail(MarqenPDFSecurityFailure::WrongPassword,
                            userPassword.empty() && ownerPassword.empty()
                                ? "MarqenPDF: The PDF is encrypted with a user password; give it to open the file"
                                : "MarqenPDF: The password does not open this encrypted PDF");
            }
        }
        return handler;
    }

    // Revisions 2 to 4.
    if (o->size() < 32 || u->size() < 32)
        return fail(MarqenPDFSecurityFailure::Malformed, "MarqenPDF: /O or /U is shorter than 32 bytes");
    std::string ownerHash = o->substr(0, 32);
    auto computeKey = [&](const std::string &password) {
        std::string input = padded(password) + ownerHash + littleEndian(uint32_t(handler->permissions_), 4) + firstID;
        if (*r >= 4 && !handler->encryptMetadata_) input += std::string(4, '\xFF');
        std::string key = md5(input).substr(0, keyLength);
        if (*r >= 3)
            for (int i = 0; i < 50; ++i) key = md5(key).substr(0, keyLength);
        return key;
    };
    auto userCheck = [&](const std::string &password) -> bool {
        std::string key = computeKey(password);
        if (*r == 2) {
            if (rc4(key, std::string_view(reinterpret_cast<const char *>(kPadding), 32)) != u->substr(0, 32))
                return false;
        } else {
            std::string value = rc4(key, md5(std::string(reinterpret_cast<const char *>(kPadding), 32) + firstID));
            for (unsigned i = 1; i <= 19; ++i) value = rc4(xorKey(key, i), value);
            if (value.substr(0, 16) != u->substr(0, 16)) return false;
        }
        handler->fileKey_ = key;
        return true;
    };
    auto ownerCheck = [&](const std::string &password) -> bool {
        std::string key = md5(padded(password)).substr(0, keyLength);
        if (*r >= 3)
            for (int i = 0; i < 50; ++i) key = md5(key).substr(0, keyLength);
        std::string user = ownerHash;
        if (*r == 2) {
            user = rc4(key, user);
        } else {
            for (int i = 19; i >= 0; --i) user = rc4(xorKey(key, unsigned(i)), user);
        }
        return userCheck(user);
    };
    if (!ownerPassword.empty() && ownerCheck(ownerPassword)) {
        handler->ownerAuthenticated_ = true;
    } else if (!userCheck(userPassword)) {
        if (ownerPassword.empty() && !userPassword.empty() && ownerCheck(userPassword)) {
            handler->ownerAuthenticated_ = true;
        } else {
            return fail(MarqenPDFSecurityFailure::WrongPassword,
                        userPassword.empty() && ownerPassword.empty()
                            ? "MarqenPDF: The PDF is encrypted with a user password; give it to open the file"
                            : "MarqenPDF: The password does not open this encrypted PDF");
        }
    }
    return handler;
}

std::string MarqenPDFSecurityHandler::objectKey(uint64_t number, uint32_t generation,
                                                MarqenPDFCryptMethod method) const {
    if (method == MarqenPDFCryptMethod::AES256) return fileKey_;
    std::string input = fileKey_ + littleEndian(number, 3) + littleEndian(generation, 2);
    if (method == MarqenPDFCryptMethod::AES128) input += "sAlT";
    return md5(input).substr(0, std::min<size_t>(fileKey_.size() + 5, 16));
}

std::optional<std::string> MarqenPDFSecurityHandler::decrypt(std::string_view data, uint64_t number,
                                                             uint32_t generation, MarqenPDFCryptMethod method) const {
    switch (method) {
    case MarqenPDFCryptMethod::Identity: return std::string(data);
    case MarqenPDFCryptMethod::RC4: return rc4(objectKey(number, generation, method), data);
    case MarqenPDFCryptMethod::AES128:
    case MarqenPDFCryptMethod::AES256:
        if (data.empty()) return std::string();
        return aesDecryptWithIV(objectKey(number, generation, method), data);
    }
    return std::nullopt;
}

std::string MarqenPDFSecurityHandler::encrypt(std::string_view data, uint64_t number, uint32_t generation,
                                              MarqenPDFCryptMethod method) const {
    switch (method) {
    case MarqenPDFCryptMethod::Identity: return std::string(data);
    case MarqenPDFCryptMethod::RC4: return rc4(objectKey(number, generation, method), data);
    case MarqenPDFCryptMethod::AES128:
    case MarqenPDFCryptMethod::AES256: return aesEncryptWithIV(objectKey(number, generation, method), data);
    }
    return std::string(data);
}

MarqenPDFCryptMethod MarqenPDFSecurityHandler::streamMethod(const MarqenPDFDictionary &streamInfo) const {
    const MarqenPDFObject *type = streamInfo.objectForKey("Type");
    if (type && type->isName("XRef")) return MarqenPDFCryptMethod::Identity;
    if (!encryptMetadata_ && type && type->isName("Metadata")) return MarqenPDFCryptMethod::Identity;
    // A first filter /Crypt picks a named crypt filter (/Identity when unnamed) for this stream.
    const MarqenPDFObject *filter = streamInfo.objectForKey("Filter");
    const MarqenPDFObject *firstFilter = filter;
    const MarqenPDFObject *parms = streamInfo.objectForKey("DecodeParms");
    if (filter && filter->asArray()) {
        firstFilter = filter->asArray()->empty() ? nullptr : &filter->asArray()->front();
        parms = parms && parms->asArray() && !parms->asArray()->empty() ? &parms->asArray()->front() : nullptr;
    }
    if (firstFilter && firstFilter->isName("Crypt")) {
        const MarqenPDFDictionary *parameters = parms ? parms->asDictionary() : nullptr;
        const MarqenPDFObject *name = parameters ? parameters->objectForKey("Name") : nullptr;
        std::string filterName = name && name->asName() ? name->asName()->name() : "Identity";
        if (filterName == "Identity") return MarqenPDFCryptMethod::Identity;
        for (const auto &[known, kind] : cryptFilters_)
            if (known == filterName) return kind;
        return MarqenPDFCryptMethod::Identity;
    }
    return streamMethod_;
}

bool MarqenPDFSecurityHandler::streamIsPlain(const MarqenPDFDictionary &streamInfo) const {
    return streamMethod(streamInfo) == MarqenPDFCryptMethod::Identity;
}

MarqenPDFCryptMethod MarqenPDFSecurityHandler::method() const {
    return streamMethod_ != MarqenPDFCryptMethod::Identity ? streamMethod_ : stringMethod_;
}

std::optional<std::string> MarqenPDFSecurityHandler::decryptString(std::string_view data, uint64_t number,
                                                                   uint32_t generation) const {
    return decrypt(data, number, generation, stringMethod_);
}

std::string MarqenPDFSecurityHandler::encryptString(std::string_view data, uint64_t number,
                                                    uint32_t generation) const {
    return encrypt(data, number, generation, stringMethod_);
}

std::optional<std::string> MarqenPDFSecurityHandler::decryptStream(std::string_view data,
                                                                   const MarqenPDFDictionary &streamInfo,
                                                                   uint64_t number, uint32_t generation) const {
    return decrypt(data, number, generation, streamMethod(streamInfo));
}

std::string MarqenPDFSecurityHandler::encryptStream(std::string_view data, const MarqenPDFDictionary &streamInfo,
                                                    uint64_t number, uint32_t generation) const {
    return encrypt(data, number, generation, streamMethod(streamInfo));
}

}  // namespace marqen
