#include "formats/pdf/pdf_filters.h"

#include <zlib.h>

#include <cstdio>

#include "formats/pdf/pdf_warnings.h"

namespace marqen {

namespace {

constexpr size_t kStep = 16384;

std::optional<std::string> decodeWithFilter(std::string_view filter, std::string_view data,
                                            const MarqenPDFDictionary *params, size_t maximumLength) {
    if (filter == "FlateDecode") {
        auto inflated = MarqenPDFDecodeFlate(data, maximumLength);
        if (!inflated) return std::nullopt;
        return MarqenPDFReversePrediction(std::move(*inflated), params);
    }
    if (filter == "ASCIIHexDecode") return MarqenPDFDecodeASCIIHex(data);
    // The security handler has already deciphered the bytes when the stream was resolved.
    if (filter == "Crypt") return std::string(data);
    if (filter == "ASCII85Decode" || filter == "LZWDecode" || filter == "RunLengthDecode") {
        marqenPDFWarn("MarqenPDF: Cannot yet handle filter type " + std::string(filter));
        return std::nullopt;
    }
    marqenPDFWarn("MarqenPDF: Cannot decode filter: " + std::string(filter));
    return std::nullopt;
}

}  // namespace

std::optional<std::string> MarqenPDFDecodeStreamData(std::string_view rawData, const MarqenPDFDictionary &streamInfo,
                                                     size_t maximumLength) {
    const MarqenPDFObject *filter = streamInfo.objectForKey("Filter");
    const MarqenPDFObject *params = streamInfo.objectForKey("DecodeParms");
    if (!filter || filter->isNull()) {
        if (rawData.size() > maximumLength) {
            marqenPDFWarn("MarqenPDF: Decoded stream exceeds the size limit of " + std::to_string(maximumLength) +
                      " bytes");
            return std::nullopt;
        }
        return std::string(rawData);
    }
    if (auto name = filter->asName())
        return decodeWithFilter(name->name(), rawData, params ? params->asDictionary() : nullptr, maximumLength);
    if (auto filters = filter->asArray()) {
        const MarqenPDFArray *paramList = params ? params->asArray() : nullptr;
        std::string data(rawData);
        for (size_t i = 0; i < filters->size(); ++i) {
            auto name = (*filters)[i].asName();
            if (!name) {
                marqenPDFWarn("MarqenPDF: Cannot decode filter: (not a name)");
                return std::nullopt;
            }
            const MarqenPDFDictionary *entry =
                paramList && i < paramList->size() ? (*paramList)[i].asDictionary() : nullptr;
            auto decoded = decodeWithFilter(name->name(), data, entry, maximumLength);
            if (!decoded) return std::nullopt;
            data = std::move(*decoded);
        }
        return data;
    }
    marqenPDFWarn("MarqenPDF: Cannot decode filter: (not a name)");
    return std::nullopt;
}

std::optional<std::string> MarqenPDFDecodeFlate(std::string_view data, size_t maximumLength) {
    z_stream zs{};
    if (inflateInit(&zs) != Z_OK) return std::nullopt;
    std::string output;
    zs.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    size_t remaining = data.size();
    unsigned char buffer[kStep];
    int status = Z_OK;
    while (status == Z_OK) {
        if (zs.avail_in == 0 && remaining > 0) {
            uInt chunk = uInt(std::min<size_t>(remaining, 1u << 30));
            zs.avail_in = chunk;
            remaining -= chunk;
        }
        zs.next_out = buffer;
        zs.avail_out = kStep;
        status = inflate(&zs, Z_NO_FLUSH);
        if (status != Z_OK && status != Z_STREAM_END) break;
        size_t produced = kStep - zs.avail_out;
        if (output.size() + produced > maximumLength) {
            inflateEnd(&zs);
            marqenPDFWarn("MarqenPDF: Decoded stream exceeds the size limit of " + std::to_string(maximumLength) +
                      " bytes");
            return std::nullopt;
        }
        output.append(reinterpret_cast<char *>(buffer), produced);
    }
    inflateEnd(&zs);
    if (status != Z_STREAM_END) {
        marqenPDFWarn("MarqenPDF: Flate data could not be decompressed (zlib result " + std::to_string(status) + ")");
        return std::nullopt;
    }
    return output;
}

std::optional<std::string> MarqenPDFDecodeASCIIHex(std::string_view data) {
    std::string output;
    int high = -1;
    for (char c : data) {
        int value;
        if (c >= '0' && c <= '9') value = c - '0';
        else if (c >= 'a' && c <= 'f') value = c - 'a' + 10;
        else if (c >= 'A' && c <= 'F') value = c - 'A' + 10;
        else if (c == '>') break;
        else continue;  // whitespace and stray bytes are ignored
        if (high < 0) {
            high = value;
        } else {
            output += char(high * 16 + value);
            high = -1;
        }
    }
    if (high >= 0) output += char(high * 16);
    return output;
}

std::optional<std::string> MarqenPDFReversePrediction(std::string data, const MarqenPDFDictionary *params) {
    const MarqenPDFObject *predictorValue = params ? params->objectForKey("Predictor") : nullptr;
    int64_t predictor = predictorValue && predictorValue->isNumber() ? predictorValue->integerValue() : 1;
    if (predictor < 2) return data;
    if (predictor < 10) {
        marqenPDFWarn("MarqenPDF: Cannot yet handle filter prediction type TIFF");
        return std::nullopt;
    }
    const MarqenPDFObject *columnsValue = params->objectForKey("Columns");
    int64_t columns = columnsValue && columnsValue->isNumber() ? columnsValue->integerValue() : 1;
    if (columns < 1 || columns > (int64_t(1) << 24)) {
        marqenPDFWarn("MarqenPDF: Invalid prediction Columns value " + std::to_string(columns));
        return std::nullopt;
    }
    size_t rowLength = size_t(columns);
    std::string output;
    output.reserve(data.size());
    std::string previous(rowLength, '\0');
    for (size_t row = 0; row + 1 <= data.size(); row += rowLength + 1) {
        unsigned char type = static_cast<unsigned char>(data[row]);
        size_t available = std::min(rowLength, data.size() - row - 1);
        std::string_view bytes(data.data() + row + 1, available);
        if (type == 0) {
            for (size_t i = 0; i < available; ++i) previous[i] = bytes[i];
        } else if (type == 2) {
            for (size_t i = 0; i < available; ++i) previous[i] = char(uint8_t(previous[i]) + uint8_t(bytes[i]));
        } else {
            char text[80];
            std::snprintf(text, sizeof text, "MarqenPDF: Cannot yet handle filter prediction type PNG 0x%02X", type);
            marqenPDFWarn(text);
            return std::nullopt;
        }
        output.append(previous.data(), available);
    }
    return output;
}

std::optional<std::string> MarqenPDFEncodeFlate(std::string_view data) {
    z_stream zs{};
    if (deflateInit(&zs, Z_DEFAULT_COMPRESSION) != Z_OK) return std::nullopt;
    std::string output;
    zs.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.data()));
    size_t remaining = data.size();
    unsigned char buffer[kStep];
    int status = Z_OK;
    do {
        if (zs.avail_in == 0 && remaining > 0) {
            uInt chunk = uInt(std::min<size_t>(remaining, 1u << 30));
            zs.avail_in = chunk;
            remaining -= chunk;
        }
        zs.next_out = buffer;
        zs.avail_out = kStep;
        status = deflate(&zs, remaining == 0 ? Z_FINISH : Z_NO_FLUSH);
        if (status == Z_STREAM_ERROR) break;
        output.append(reinterpret_cast<char *>(buffer), kStep - zs.avail_out);
    } while (status != Z_STREAM_END);
    deflateEnd(&zs);
    if (status != Z_STREAM_END) return std::nullopt;
    return output;
}

}  // namespace marqen
