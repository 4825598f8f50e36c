#pragma once
// PDF values in memory: names, strings, references, arrays, dictionaries and streams.
// Arrays, dictionaries and streams are shared immutable values; a change makes a copy.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

namespace marqen {

class MarqenPDFObject;
class MarqenPDFDictionary;
class MarqenPDFStream;
using MarqenPDFArray = std::vector<MarqenPDFObject>;

class MarqenPDFName {
public:
    MarqenPDFName() = default;
    // encodedName is the name as it stood in the file (without the slash), name its decoded text.
    MarqenPDFName(std::string name, std::string encodedName)
        : name_(std::move(name)), encodedName_(std::move(encodedName)) {}
    // A name from its decoded text; bytes that cannot stand in a name are written as "#XX".
    static MarqenPDFName marqenPDFNameWithName(std::string_view name);
    // Decodes the "#XX" escapes of a name token.
    static MarqenPDFName nameWithEncodedName(std::string_view encodedName);

    const std::string &name() const { return name_; }
    const std::string &encodedName() const { return encodedName_; }
    bool operator==(const MarqenPDFName &other) const { return name_ == other.name_; }

private:
    std::string name_;
    std::string encodedName_;
};

class MarqenPDFString {
public:
    MarqenPDFString() = default;
    MarqenPDFString(std::string encodedStringData, std::string decodedString)
        : string_(std::move(decodedString)), encodedStringData_(std::move(encodedStringData)) {}
    // A literal string for the given bytes, with "(", ")" and "\" escaped.
    static MarqenPDFString stringWithString(std::string_view text);

    const std::string &string() const { return string_; }  // the decoded bytes, one char per byte
    const std::string &encodedStringData() const { return encodedStringData_; }
    bool operator==(const MarqenPDFString &other) const { return string_ == other.string_; }

private:
    std::string string_;
    std::string encodedStringData_;
};

struct MarqenPDFIndirectReference {
    uint64_t objectNumber = 0;
    uint32_t generationNumber = 0;

    std::string encodedReference() const;  // "12 0 R"
    std::string description() const;       // "@ 12 0 R"
    bool operator==(const MarqenPDFIndirectReference &other) const = default;
};

struct MarqenPDFNull {
    bool operator==(const MarqenPDFNull &) const = default;
};

class MarqenPDFObject {
public:
    using Storage = std::variant<MarqenPDFNull, bool, int64_t, double, MarqenPDFString, MarqenPDFName,
                                 std::shared_ptr<const MarqenPDFArray>, std::shared_ptr<const MarqenPDFDictionary>,
                                 std::shared_ptr<const MarqenPDFStream>, MarqenPDFIndirectReference>;

    MarqenPDFObject() = default;  // the null value
    MarqenPDFObject(MarqenPDFNull) {}
    MarqenPDFObject(bool value) : storage_(value) {}
    MarqenPDFObject(int value) : storage_(int64_t(value)) {}
    MarqenPDFObject(int64_t value) : storage_(value) {}
    MarqenPDFObject(uint64_t value) : storage_(int64_t(value)) {}
    MarqenPDFObject(double value) : storage_(value) {}
    MarqenPDFObject(MarqenPDFString value) : storage_(std::move(value)) {}
    MarqenPDFObject(MarqenPDFName value) : storage_(std::move(value)) {}
    MarqenPDFObject(MarqenPDFIndirectReference value) : storage_(value) {}
    MarqenPDFObject(MarqenPDFArray value);
    MarqenPDFObject(MarqenPDFDictionary value);
    MarqenPDFObject(std::shared_ptr<const MarqenPDFArray> value) : storage_(std::move(value)) {}
    MarqenPDFObject(std::shared_ptr<const MarqenPDFDictionary> value) : storage_(std::move(value)) {}
    MarqenPDFObject(std::shared_ptr<const MarqenPDFStream> value) : storage_(std::move(value)) {}
    static MarqenPDFObject name(std::string_view text);

    bool isNull() const { return std::holds_alternative<MarqenPDFNull>(storage_); }
    bool isBoolean() const { return std::holds_alternative<bool>(storage_); }
    bool isInteger() const { return std::holds_alternative<int64_t>(storage_); }
    bool isReal() const { return std::holds_alternative<double>(storage_); }
    bool isNumber() const { return isInteger() || isReal(); }  // booleans are not numbers
    bool boolValue() const;
    int64_t integerValue() const;  // reals are truncated, everything else 0
    double doubleValue() const;

    const MarqenPDFString *asString() const { return std::get_if<MarqenPDFString>(&storage_); }
    const MarqenPDFName *asName() const { return std::get_if<MarqenPDFName>(&storage_); }
    const MarqenPDFIndirectReference *asReference() const {
        return std::get_if<MarqenPDFIndirectReference>(&storage_);
    }
    const MarqenPDFArray *asArray() const;
    const MarqenPDFDictionary *asDictionary() const;
    const MarqenPDFStream *asStream() const;
    std::shared_ptr<const MarqenPDFArray> arrayPointer() const;
    std::shared_ptr<const MarqenPDFDictionary> dictionaryPointer() const;
    std::shared_ptr<const MarqenPDFStream> streamPointer() const;
    bool isName(std::string_view text) const;

    const Storage &storage() const { return storage_; }
    // Same kind and value; arrays, dictionaries and streams compare by identity.
    bool isIdenticalTo(const MarqenPDFObject &other) const { return storage_ == other.storage_; }

private:
    Storage storage_;
};

// A dictionary keyed by name that keeps its entries in the order they were set. Most dictionaries hold a
// handful of entries and are looked through in order; a large one gets an index by name.
class MarqenPDFDictionary {
public:
    using Entry = std::pair<MarqenPDFName, MarqenPDFObject>;
    // Dictionaries with more entries than this are indexed.
    static constexpr size_t kIndexedAbove = 12;

    MarqenPDFDictionary() = default;
    MarqenPDFDictionary(const MarqenPDFDictionary &other);
    MarqenPDFDictionary &operator=(const MarqenPDFDictionary &other);
    MarqenPDFDictionary(MarqenPDFDictionary &&) noexcept = default;
    MarqenPDFDictionary &operator=(MarqenPDFDictionary &&) noexcept = default;

    const MarqenPDFObject *objectForKey(std::string_view name) const;
    // Replaces an existing entry in place (keeping its position) or appends a new one.
    void setObject(MarqenPDFObject value, const MarqenPDFName &key);
    void setObject(MarqenPDFObject value, MarqenPDFName &&key);
    void setObject(MarqenPDFObject value, std::string_view key);
    void removeObjectForKey(std::string_view name);
    // Room for this many entries in all, so that a dictionary read from a file takes one allocation.
    void reserve(size_t count) { entries_.reserve(count); }
    size_t count() const { return entries_.size(); }
    std::vector<Entry>::const_iterator begin() const { return entries_.begin(); }
    std::vector<Entry>::const_iterator end() const { return entries_.end(); }

private:
    // The position of the entry named, or count() when there is none.
    size_t position(std::string_view name) const;
    void rebuildIndex();

    std::vector<Entry> entries_;
    std::unique_ptr<std::unordered_map<std::string, size_t>> index_;  // only above kIndexedAbove entries
};

// What the streams of one file may still decode to, together. Shared by every stream the file's reader
// makes; like the reader, used on one thread at a time.
struct MarqenPDFDecodeAllowance {
    size_t total = 0;
    size_t remaining = 0;
    bool exhausted = false;  // a decode was refused for it (warned once)
};

class MarqenPDFStream {
public:
    static constexpr size_t kDefaultMaximumDecodedLength = size_t(512) << 20;

    // A stream over bytes held elsewhere (the file's buffer): rawData is not copied.
    MarqenPDFStream(MarqenPDFDictionary streamInfo, std::shared_ptr<const void> storage,
                    std::string_view rawData, size_t maximumDecodedLength = kDefaultMaximumDecodedLength,
                    std::shared_ptr<MarqenPDFDecodeAllowance> allowance = nullptr);
    // A stream owning its bytes.
    MarqenPDFStream(MarqenPDFDictionary streamInfo, std::string rawData,
                    size_t maximumDecodedLength = kDefaultMaximumDecodedLength,
                    std::shared_ptr<MarqenPDFDecodeAllowance> allowance = nullptr);

    const MarqenPDFDictionary &streamInfo() const { return streamInfo_; }
    std::string_view rawData() const { return rawData_; }
    // Keeps the bytes that rawData points into alive.
    const std::shared_ptr<const void> &storage() const { return storage_; }
    size_t maximumDecodedLength() const { return maximumDecodedLength_; }
    const std::shared_ptr<MarqenPDFDecodeAllowance> &decodeAllowance() const { return allowance_; }

    // The decoded bytes (cached after the first call), or null when the filters cannot be undone.
    const std::string *stream() const;
    // A new stream holding the Flate-compressed decoded data, or null.
    std::shared_ptr<const MarqenPDFStream> streamCompressedWithFlate() const;
    // A stream with the given already-compressed data: streamInfo copied with /Filter set to filter,
    // /DecodeParms removed and /Length set. Null when data is absent.
    static std::shared_ptr<const MarqenPDFStream> makeNewStreamWithCompressedData(
        const std::optional<std::string> &data, const MarqenPDFDictionary &streamInfo, std::string_view filter);
    // The same bytes under another dictionary.
    std::shared_ptr<const MarqenPDFStream> streamWithInfo(MarqenPDFDictionary streamInfo) const;

private:
    MarqenPDFDictionary streamInfo_;
    std::shared_ptr<const void> storage_;
    std::string_view rawData_;
    size_t maximumDecodedLength_ = kDefaultMaximumDecodedLength;
    std::shared_ptr<MarqenPDFDecodeAllowance> allowance_;
    mutable bool decoded_ = false;
    mutable std::optional<std::string> decodedData_;
};

}  // namespace marqen
