#pragma once
// The standard security handler of encrypted PDFs: checks a password against the /Encrypt dictionary,
// derives the file key and enciphers or deciphers the strings and streams of one object. Revisions 2 to 4
// (RC4 of 40 to 128 bits, AES-128 through crypt filters) and 5 to 6 (AES-256).
// A handler is immutable after creation and may be read from any thread.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "formats/pdf/pdf_object.h"

namespace marqen {

enum class MarqenPDFCryptMethod { Identity, RC4, AES128, AES256 };

// Why an encrypted file cannot be opened.
enum class MarqenPDFSecurityFailure { None, WrongPassword, Unsupported, Malformed };

// Permission bits of /P (counted from 1 as the file format counts them).
inline constexpr uint32_t kMarqenPDFPermissionPrint = 1u << 2;
inline constexpr uint32_t kMarqenPDFPermissionModify = 1u << 3;
inline constexpr uint32_t kMarqenPDFPermissionCopy = 1u << 4;
inline constexpr uint32_t kMarqenPDFPermissionAnnotate = 1u << 5;
inline constexpr uint32_t kMarqenPDFPermissionFillForms = 1u << 8;
inline constexpr uint32_t kMarqenPDFPermissionExtract = 1u << 9;
inline constexpr uint32_t kMarqenPDFPermissionAssemble = 1u << 10;
inline constexpr uint32_t kMarqenPDFPermissionPrintHighQuality = 1u << 11;

class MarqenPDFSecurityHandler {
public:
    // encrypt is the resolved /Encrypt dictionary, firstID the first string of the trailer's /ID (empty
    // when absent). Tries the owner password first when one is given, then the user password. Null with
    // *failure and *reason set when the file cannot be opened with them.
    static std::shared_ptr<const MarqenPDFSecurityHandler> create(const MarqenPDFDictionary &encrypt,
                                                                  const std::string &firstID,
                                                                  const std::string &userPassword,
                                                                  const std::string &ownerPassword,
                                                                  MarqenPDFSecurityFailure *failure,
                                                                  std::string *reason);

    // Strings of the object (number, generation); nothing when AES data is malformed.
    std::optional<std::string> decryptString(std::string_view data, uint64_t number, uint32_t generation) const;
    std::string encryptString(std::string_view data, uint64_t number, uint32_t generation) const;
    // Streams: streamInfo picks a per-stream crypt filter (/Filter [/Crypt ...]) and exempts metadata
    // when /EncryptMetadata is false.
    std::optional<std::string> decryptStream(std::string_view data, const MarqenPDFDictionary &streamInfo,
                                             uint64_t number, uint32_t generation) const;
    std::string encryptStream(std::string_view data, const MarqenPDFDictionary &streamInfo, uint64_t number,
                              uint32_t generation) const;
    // True when the stream's bytes are stored as they are (identity filter, or unencrypted metadata).
    bool streamIsPlain(const MarqenPDFDictionary &streamInfo) const;

    std::string filter() const { return "Standard"; }
    int v() const { return v_; }
    int r() const { return r_; }
    int keyBits() const { return int(fileKey_.size() * 8); }
    // The method of streams (falling back to that of strings when streams are stored plainly).
    MarqenPDFCryptMethod method() const;
    static const char *methodName(MarqenPDFCryptMethod method);
    uint32_t permissions() const { return permissions_; }
    bool ownerAuthenticated() const { return ownerAuthenticated_; }
    bool encryptMetadata() const { return encryptMetadata_; }
    const std::string &fileKey() const { return fileKey_; }

private:
    MarqenPDFSecurityHandler() = default;
    std::string objectKey(uint64_t number, uint32_t generation, MarqenPDFCryptMethod method) const;
    std::optional<std::string> decrypt(std::string_view data, uint64_t number, uint32_t generation,
                                       MarqenPDFCryptMethod method) const;
    std::string encrypt(std::string_view data, uint64_t number, uint32_t generation,
                        MarqenPDFCryptMethod method) const;
    MarqenPDFCryptMethod streamMethod(const MarqenPDFDictionary &streamInfo) const;

    int v_ = 0;
    int r_ = 0;
    uint32_t permissions_ = 0;
    bool ownerAuthenticated_ = false;
    bool encryptMetadata_ = true;
    std::string fileKey_;
    MarqenPDFCryptMethod stringMethod_ = MarqenPDFCryptMethod::RC4;
    MarqenPDFCryptMethod streamMethod_ = MarqenPDFCryptMethod::RC4;
    // Named crypt filters a stream may pick with /Filter /Crypt.
    std::vector<std::pair<std::string, MarqenPDFCryptMethod>> cryptFilters_;
};

}  // namespace marqen
