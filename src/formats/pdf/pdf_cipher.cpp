#include "formats/pdf/pdf_cipher.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <memory>

namespace marqen::pdf_cipher {

namespace {

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

// The algorithms, looked up in the library's providers once: a lookup per use costs more than hashing
// the few bytes a use hashes, and a password check of a 256-bit handler makes hundreds of uses. They stay
// loaded for the life of the process.
enum class Algorithm { MD5, SHA256, SHA384, SHA512 };

const EVP_MD *digestType(Algorithm algorithm) {
    static EVP_MD *const types[] = {EVP_MD_fetch(nullptr, "MD5", nullptr), EVP_MD_fetch(nullptr, "SHA2-256", nullptr),
                                    EVP_MD_fetch(nullptr, "SHA2-384", nullptr),
                                    EVP_MD_fetch(nullptr, "SHA2-512", nullptr)};
    return types[int(algorithm)];
}

std::string digest(const EVP_MD *type, std::string_view data) {
    if (!type) return {};
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (!EVP_Digest(data.data(), data.size(), out, &length, type, nullptr)) return {};
    return std::string(reinterpret_cast<char *>(out), length);
}

const EVP_CIPHER *aesCipher(size_t keyLength) {
    static EVP_CIPHER *const aes128 = EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr);
    static EVP_CIPHER *const aes256 = EVP_CIPHER_fetch(nullptr, "AES-256-CBC", nullptr);
    return keyLength == 32 ? aes256 : keyLength == 16 ? aes128 : nullptr;
}

std::optional<std::string> runCipher(std::string_view key, std::string_view iv, std::string_view data, bool encrypt,
                                     bool padding) {
    const EVP_CIPHER *cipher = aesCipher(key.size());
    if (!cipher || iv.size() != 16) return std::nullopt;
    CipherContext context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    if (!context) return std::nullopt;
    const auto *k = reinterpret_cast<const unsigned char *>(key.data());
    const auto *i = reinterpret_cast<const unsigned char *>(iv.data());
    if (!EVP_CipherInit_ex(context.get(), cipher, nullptr, k, i, encrypt ? 1 : 0)) return std::nullopt;
    EVP_CIPHER_CTX_set_padding(context.get(), padding ? 1 : 0);
    std::string out(data.size() + 32, '\0');
    int written = 0, last = 0;
    auto *o = reinterpret_cast<unsigned char *>(out.data());
    if (!EVP_CipherUpdate(context.get(), o, &written, reinterpret_cast<const unsigned char *>(data.data()),
                          int(data.size())))
        return std::nullopt;
    if (!EVP_CipherFinal_ex(context.get(), o + written, &last)) return std::nullopt;
    out.resize(size_t(written + last));
    return out;
}

}  // namespace

std::string rc4(std::string_view key, std::string_view data) {
    unsigned char state[256];
    for (int i = 0; i < 256; ++i) state[i] = static_cast<unsigned char>(i);
    if (!key.empty()) {
        unsigned j = 0;
        for (unsigned i = 0; i < 256; ++i) {
            j = (j + state[i] + static_cast<unsigned char>(key[i % key.size()])) & 0xFF;
            std::swap(state[i], state[j]);
        }
    }
    std::string out(data.size(), '\0');
    unsigned i = 0, j = 0;
    for (size_t n = 0; n < data.size(); ++n) {
        i = (i + 1) & 0xFF;
        j = (j + state[i]) & 0xFF;
        std::swap(state[i], state[j]);
        out[n] = char(static_cast<unsigned char>(data[n]) ^ state[(state[i] + state[j]) & 0xFF]);
    }
    return out;
}

std::string md5(std::string_view data) { return digest(digestType(Algorithm::MD5), data); }

std::string sha2(std::string_view data, int bits) {
    return digest(digestType(bits == 512 ? Algorithm::SHA512 : bits == 384 ? Algorithm::SHA384 : Algorithm::SHA256),
                  data);
}

std::optional<std::string> aesDecryptWithIV(std::string_view key, std::string_view data) {
    if (data.size() < 32 || data.size() % 16 != 0) return std::nullopt;
    return runCipher(key, data.substr(0, 16), data.substr(16), false, true);
}

std::string aesEncryptWithIV(std::string_view key, std::string_view data) {
    unsigned char iv[16];
    if (RAND_bytes(iv, sizeof iv) != 1) return {};
    std::string ivText(reinterpret_cast<char *>(iv), sizeof iv);
    std::optional<std::string> body = runCipher(key, ivText, data, true, true);
    return body ? ivText + *body : std::string();
}

std::optional<std::string> aesNoPadding(std::string_view key, std::string_view iv, std::string_view data,
                                        bool encrypt) {
    if (data.size() % 16 != 0) return std::nullopt;
    return runCipher(key, iv, data, encrypt, false);
}

}  // namespace marqen::pdf_cipher
