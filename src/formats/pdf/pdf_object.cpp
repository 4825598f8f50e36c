#include "formats/pdf/pdf_object.h"

#include <cmath>

#include "formats/pdf/pdf_filters.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

namespace {

// Bytes that may stand in a name token unescaped: printable ASCII except delimiters and "#".
bool isPlainNameByte(unsigned char byte) {
    if (byte < 33 || byte > 126) return false;
    switch (byte) {
        case '#': case '%': case '(': case ')': case '/': case '<': case '>': case '[': case ']': case '{': case '}':
            return false;
        default:
            return true;
    }
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

MarqenPDFName MarqenPDFName::marqenPDFNameWithName(std::string_view name) {
    static const char *digits = "0123456789ABCDEF";
    std::string encoded;
    for (unsigned char byte : name) {
        if (isPlainNameByte(byte)) {
            encoded += char(byte);
        } else {
            encoded += '#';
            encoded += digits[byte >> 4];
            encoded += digits[byte & 15];
        }
    }
    return MarqenPDFName(std::string(name), std::move(encoded));
}

MarqenPDFName MarqenPDFName::nameWithEncodedName(std::string_view encodedName) {
    std::string decoded;
    decoded.reserve(encodedName.size());
    for (size_t i = 0; i < encodedName.size(); ++i) {
        if (encodedName[i] == '#' && i + 2 < encodedName.size() && hexValue(encodedName[i + 1]) >= 0 &&
            hexValue(encodedName[i + 2]) >= 0) {
            decoded += char(hexValue(encodedName[i + 1]) * 16 + hexValue(encodedName[i + 2]));
            i += 2;
        } else {
            decoded += encodedName[i];
        }
    }
    return MarqenPDFName(std::move(decoded), std::string(encodedName));
}

MarqenPDFString MarqenPDFString::stringWithString(std::string_view text) {
    std::string encoded = "(";
    for (char c : text) {
        if (c == '(' || c == ')' || c == '\\') encoded += '\\';
        if (c == '\r') {
            encoded += "\\r";
            continue;
        }
        encoded += c;
    }
    encoded += ')';
    return MarqenPDFString(std::move(encoded), std::string(text));
}

std::string MarqenPDFIndirectReference::encodedReference() const {
    return std::to_string(objectNumber) + " " + std::to_string(generationNumber) + " R";
}

std::string MarqenPDFIndirectReference::description() const { return "@ " + encodedReference(); }

MarqenPDFObject::MarqenPDFObject(MarqenPDFArray value)
    : storage_(std::make_shared<const MarqenPDFArray>(std::move(value))) {}

MarqenPDFObject::MarqenPDFObject(MarqenPDFDictionary value)
    : storage_(std::make_shared<const MarqenPDFDictionary>(std::move(value))) {}

MarqenPDFObject MarqenPDFObject::name(std::string_view text) {
    return MarqenPDFObject(MarqenPDFName::marqenPDFNameWithName(text));
}

bool MarqenPDFObject::boolValue() const {
    if (auto value = std::get_if<bool>(&storage_)) return *value;
    return integerValue() != 0;
}

int64_t MarqenPDFObject::integerValue() const {
    if (auto value = std::get_if<int64_t>(&storage_)) return *value;
    if (auto value = std::get_if<double>(&storage_)) {
        if (!std::isfinite(*value) || std::fabs(*value) >= 9.2e18) return 0;
        return int64_t(*value);
    }
    if (auto value = std::get_if<bool>(&storage_)) return *value ? 1 : 0;
    return 0;
}

double MarqenPDFObject::doubleValue() const {
    if (auto value = std::get_if<double>(&storage_)) return *value;
    return double(integerValue());
}

const MarqenPDFArray *MarqenPDFObject::asArray() const {
    auto value = std::get_if<std::shared_ptr<const MarqenPDFArray>>(&storage_);
    return value ? value->get() : nullptr;
}

const MarqenPDFDictionary *MarqenPDFObject::asDictionary() const {
    auto value = std::get_if<std::shared_ptr<const MarqenPDFDictionary>>(&storage_);
    return value ? value->get() : nullptr;
}

const MarqenPDFStream *MarqenPDFObject::asStream() const {
    auto value = std::get_if<std::shared_ptr<const MarqenPDFStream>>(&storage_);
    return value ? value->get() : nullptr;
}

std::shared_ptr<const MarqenPDFArray> MarqenPDFObject::arrayPointer() const {
    auto value = std::get_if<std::shared_ptr<const MarqenPDFArray>>(&storage_);
    return value ? *value : nullptr;
}

std::shared_ptr<const MarqenPDFDictionary> MarqenPDFObject::dictionaryPointer() const {
    auto value = std::get_if<std::shared_ptr<const MarqenPDFDictionary>>(&storage_);
    return value ? *value : nullptr;
}

std::shared_ptr<const MarqenPDFStream> MarqenPDFObject::streamPointer() const {
    auto value = std::get_if<std::shared_ptr<const MarqenPDFStream>>(&storage_);
    return value ? *value : nullptr;
}

bool MarqenPDFObject::isName(std::string_view text) const {
    auto value = asName();
    return value && value->name() == text;
}

MarqenPDFDictionary::MarqenPDFDictionary(const MarqenPDFDictionary &other) : entries_(other.entries_) {
    if (other.index_) index_ = std::make_unique<std::unordered_map<std::string, size_t>>(*other.index_);
}

MarqenPDFDictionary &MarqenPDFDictionary::operator=(const MarqenPDFDictionary &other) {
    if (this != &other) *this = MarqenPDFDictionary(other);
    return *this;
}

size_t MarqenPDFDictionary::position(std::string_view name) const {
    if (index_) {
        auto found = index_->find(std::string(name));
        return found == index_->end() ? entries_.size() : found->second;
    }
    for (size_t i = 0; i < entries_.size(); ++i)
        if (entries_[i].first.name() == name) return i;
    return entries_.size();
}

void MarqenPDFDictionary::rebuildIndex() {
    if (entries_.size() <= kIndexedAbove) {
        index_.reset();
        return;
    }
    if (!index_) index_ = std::make_unique<std::unordered_map<std::string, size_t>>();
    index_->clear();
    index_->reserve(entries_.size());
    for (size_t i = 0; i < entries_.size(); ++i) index_->emplace(entries_[i].first.name(), i);
}

const MarqenPDFObject *MarqenPDFDictionary::objectForKey(std::string_view name) const {
    size_t found = position(name);
    return found == entries_.size() ? nullptr : &entries_[found].second;
}

void MarqenPDFDictionary::setObject(MarqenPDFObject value, const MarqenPDFName &key) {
    setObject(std::move(value), MarqenPDFName(key));
}

void MarqenPDFDictionary::setObject(MarqenPDFObject value, MarqenPDFName &&key) {
    size_t found = position(key.name());
    if (found != entries_.size()) {
        entries_[found].second = std::move(value);
        return;
    }
    entries_.emplace_back(std::move(key), std::move(value));
    if (index_) index_->emplace(entries_.back().first.name(), entries_.size() - 1);
    else if (entries_.size() > kIndexedAbove) rebuildIndex();
}

void MarqenPDFDictionary::setObject(MarqenPDFObject value, std::string_view key) {
    setObject(std::move(value), MarqenPDFName::marqenPDFNameWithName(key));
}

void MarqenPDFDictionary::removeObjectForKey(std::string_view name) {
    size_t found = position(name);
    if (found == entries_.size()) return;
    entries_.erase(entries_.begin() + std::ptrdiff_t(found));
    if (index_) rebuildIndex();
}

MarqenPDFStream::MarqenPDFStream(MarqenPDFDictionary streamInfo, std::shared_ptr<const void> storage,
                                 std::string_view rawData, size_t maximumDecodedLength,
                                 std::shared_ptr<MarqenPDFDecodeAllowance> allowance)
    : streamInfo_(std::move(streamInfo)),
      storage_(std::move(storage)),
      rawData_(rawData),
      maximumDecodedLength_(maximumDecodedLength),
      allowance_(std::move(allowance)) {}

MarqenPDFStream::MarqenPDFStream(MarqenPDFDictionary streamInfo, std::string rawData, size_t maximumDecodedLength,
                                 std::shared_ptr<MarqenPDFDecodeAllowance> allowance)
    : streamInfo_(std::move(streamInfo)), maximumDecodedLength_(maximumDecodedLength), allowance_(std::move(allowance)) {
    auto owned = std::make_shared<const std::string>(std::move(rawData));
    rawData_ = *owned;
    storage_ = std::move(owned);
}

const std::string *MarqenPDFStream::stream() const {
    if (!decoded_) {
        decoded_ = true;
        size_t limit = maximumDecodedLength_;
        if (allowance_) limit = std::min(limit, allowance_->remaining);
        decodedData_ = MarqenPDFDecodeStreamData(rawData_, streamInfo_, limit);
        if (allowance_ && decodedData_) {
            allowance_->remaining -= decodedData_->size();
        } else if (allowance_ && limit < maximumDecodedLength_ && !allowance_->exhausted) {
            allowance_->exhausted = true;
            marqenPDFWarn("MarqenPDF: Decoded streams exceed the file's total of " + std::to_string(allowance_->total) +
                          " bytes; later streams are not decoded");
        }
    }
    return decodedData_ ? &*decodedData_ : nullptr;
}

std::shared_ptr<const MarqenPDFStream> MarqenPDFStream::streamCompressedWithFlate() const {
    const std::string *decoded = stream();
    if (!decoded) return nullptr;
    return makeNewStreamWithCompressedData(MarqenPDFEncodeFlate(*decoded), streamInfo_, "FlateDecode");
}

std::shared_ptr<const MarqenPDFStream> MarqenPDFStream::makeNewStreamWithCompressedData(
    const std::optional<std::string> &data, const MarqenPDFDictionary &streamInfo, std::string_view filter) {
    if (!data) return nullptr;
    MarqenPDFDictionary info = streamInfo;
    info.setObject(MarqenPDFObject::name(filter), "Filter");
    info.removeObjectForKey("DecodeParms");
    info.setObject(MarqenPDFObject(uint64_t(data->size())), "Length");
    return std::make_shared<const MarqenPDFStream>(std::move(info), *data);
}

std::shared_ptr<const MarqenPDFStream> MarqenPDFStream::streamWithInfo(MarqenPDFDictionary streamInfo) const {
    return std::make_shared<const MarqenPDFStream>(std::move(streamInfo), storage_, rawData_, maximumDecodedLength_,
                                                   allowance_);
}

}  // namespace marqen
