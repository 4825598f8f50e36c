#pragma once
// The ciphers and digests of PDF encryption, over OpenSSL's libcrypto. RC4 is written here because
// libcrypto offers it only through its legacy provider, which hosts rarely load.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <optional>
#include <string>
#include <string_view>

namespace marqen::pdf_cipher {

std::string rc4(std::string_view key, std::string_view data);
std::string md5(std::string_view data);
// bits: 256, 384 or 512.
std::string sha2(std::string_view data, int bits);
// AES-CBC with a 16- or 32-byte key. Decrypting data that starts with its 16-byte IV and ends with
// PKCS#5 padding: nothing when the length is not a positive multiple of 16 or the padding is wrong.
std::optional<std::string> aesDecryptWithIV(std::string_view key, std::string_view data);
// Encrypting with a fresh random IV written first, padded.
std::string aesEncryptWithIV(std::string_view key, std::string_view data);
// Without padding and with a given IV (data a multiple of 16 bytes); nothing on failure.
std::optional<std::string> aesNoPadding(std::string_view key, std::string_view iv, std::string_view data,
                                        bool encrypt);

}  // namespace marqen::pdf_cipher
