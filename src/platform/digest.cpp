#include "platform/digest.h"

#include <openssl/evp.h>

#include <cstdlib>
#include <new>

namespace marqen {

namespace {
EVP_MD_CTX *started() {
    EVP_MD_CTX *context = EVP_MD_CTX_new();
    if (!context) throw std::bad_alloc();
    // SHA-1 is built into libcrypto; failing to start it means the library is unusable.
    if (EVP_DigestInit_ex(context, EVP_sha1(), nullptr) != 1) std::abort();
    return context;
}
}  // namespace

MarqenSHA1Context::MarqenSHA1Context() : context_(started()) {}

MarqenSHA1Context::~MarqenSHA1Context() { EVP_MD_CTX_free(static_cast<EVP_MD_CTX *>(context_)); }

void MarqenSHA1Context::update(const void *bytes, size_t length) {
    if (length > 0) EVP_DigestUpdate(static_cast<EVP_MD_CTX *>(context_), bytes, length);
}

MarqenSHA1Digest MarqenSHA1Context::finish() {
    MarqenSHA1Digest digest{};
    unsigned int size = 0;
    auto *context = static_cast<EVP_MD_CTX *>(context_);
    EVP_DigestFinal_ex(context, digest.data(), &size);
    EVP_DigestInit_ex(context, EVP_sha1(), nullptr);
    return digest;
}

MarqenSHA1Digest MarqenSHA1(const void *bytes, size_t length) {
    MarqenSHA1Context context;
    context.update(bytes, length);
    return context.finish();
}

std::string MarqenDigestToHex(const MarqenSHA1Digest &digest) {
    static const char hex[] = "0123456789abcdef";
    std::string text;
    text.reserve(digest.size() * 2);
    for (uint8_t byte : digest) {
        text.push_back(hex[byte >> 4]);
        text.push_back(hex[byte & 15]);
    }
    return text;
}

std::string MarqenSHA1Hex(const void *bytes, size_t length) { return MarqenDigestToHex(MarqenSHA1(bytes, length)); }

}  // namespace marqen
