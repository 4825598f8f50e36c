#include "platform/image_resolution.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

namespace marqen {

double MarqenImageTidyDPI(double dpi) {
    if (!std::isfinite(dpi) || dpi <= 0) return 0;
    double whole = std::round(dpi);
    if (std::fabs(dpi - whole) < 0.02) return whole;
    return std::round(dpi * 100) / 100;
}

namespace {

uint32_t readU32BE(const uint8_t *p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}
uint16_t readU16BE(const uint8_t *p) { return static_cast<uint16_t>((p[0] << 8) | p[1]); }

struct Box {
    size_t start = 0;       // offset of the box header
    size_t payload = 0;     // offset of the payload
    size_t end = 0;         // one past the box
    char type[5] = {};
};

// The box at `pos` within [pos, limit); nullopt when malformed.
std::optional<Box> readBox(const uint8_t *bytes, size_t pos, size_t limit) {
    if (limit < pos || limit - pos < 8) return std::nullopt;
    Box box;
    box.start = pos;
    uint64_t size = readU32BE(bytes + pos);
    std::memcpy(box.type, bytes + pos + 4, 4);
    box.payload = pos + 8;
    if (size == 1) {
        if (limit - pos < 16) return std::nullopt;
        size = (uint64_t(readU32BE(bytes + pos + 8)) << 32) | readU32BE(bytes + pos + 12);
        box.payload = pos + 16;
    } else if (size == 0) {
        size = limit - pos;
    }
    if (size < box.payload - pos || size > limit - pos) return std::nullopt;
    box.end = pos + static_cast<size_t>(size);
    return box;
}

// One of the resolution boxes, in pixels per metre.
bool readResolutionBox(const uint8_t *p, double *vertical, double *horizontal) {
    uint16_t vn = readU16BE(p), vd = readU16BE(p + 2), hn = readU16BE(p + 4), hd = readU16BE(p + 6);
    int8_t ve = static_cast<int8_t>(p[8]), he = static_cast<int8_t>(p[9]);
    if (!vn || !vd || !hn || !hd) return false;
    *vertical = double(vn) / vd * std::pow(10.0, ve);
    *horizontal = double(hn) / hd * std::pow(10.0, he);
    return true;
}

void appendResolutionBox(std::vector<uint8_t> &out, const char *type, double dpiWidth, double dpiHeight) {
    // pixels per metre = dpi / 0.0254 = (dpi · 50 / 127) · 10^2, with bigger exponents for huge values.
    auto encode = [](double dpi, uint16_t *numerator, int8_t *exponent) {
        double n = dpi * 50;
        int8_t e = 2;
        while (n > 65535 && e < 8) {
            n /= 10;
            ++e;
        }
        *numerator = static_cast<uint16_t>(std::max(1.0, std::round(n)));
        *exponent = e;
    };
    uint16_t vn, hn;
    int8_t ve, he;
    encode(dpiHeight, &vn, &ve);
    encode(dpiWidth, &hn, &he);
    const uint8_t box[18] = {0, 0, 0, 18, uint8_t(type[0]), uint8_t(type[1]), uint8_t(type[2]), uint8_t(type[3]),
                             uint8_t(vn >> 8), uint8_t(vn), 0, 127, uint8_t(hn >> 8), uint8_t(hn), 0, 127,
                             uint8_t(ve), uint8_t(he)};
    out.insert(out.end(), box, box + sizeof box);
}

}  // namespace

bool MarqenJP2ReadResolution(const uint8_t *bytes, size_t length, double *dpiWidth, double *dpiHeight) {
    size_t pos = 0;
    while (auto box = readBox(bytes, pos, length)) {
        if (std::memcmp(box->type, "jp2h", 4) == 0) {
            size_t inner = box->payload;
            while (auto sub = readBox(bytes, inner, box->end)) {
                if (std::memcmp(sub->type, "res ", 4) == 0) {
                    std::optional<std::pair<double, double>> found;
                    size_t r = sub->payload;
                    while (auto res = readBox(bytes, r, sub->end)) {
                        double v, h;
                        bool capture = std::memcmp(res->type, "resc", 4) == 0;
                        bool display = std::memcmp(res->type, "resd", 4) == 0;
                        if ((capture || display) && res->end - res->payload >= 10 &&
                            readResolutionBox(bytes + res->payload, &v, &h)) {
                            if (!found || capture) found = std::make_pair(h, v);
                        }
                        r = res->end;
                    }
                    if (!found) return false;
                    *dpiWidth = MarqenImageTidyDPI(found->first * 0.0254);
                    *dpiHeight = MarqenImageTidyDPI(found->second * 0.0254);
                    return *dpiWidth > 0 && *dpiHeight > 0;
                }
                inner = sub->end;
            }
            return false;
        }
        if (box->end == pos) break;
        pos = box->end;
    }
    return false;
}

std::vector<uint8_t> MarqenJP2WithResolution(const std::vector<uint8_t> &file, double dpiWidth, double dpiHeight) {
    if (!(dpiWidth > 0) || !(dpiHeight > 0)) return file;
    const uint8_t *bytes = file.data();
    size_t pos = 0;
    while (auto box = readBox(bytes, pos, file.size())) {
        if (std::memcmp(box->type, "jp2h", 4) == 0) {
            std::vector<uint8_t> header;  // the header box's sub-boxes without any resolution box
            size_t inner = box->payload;
            while (auto sub = readBox(bytes, inner, box->end)) {
                if (std::memcmp(sub->type, "res ", 4) != 0) header.insert(header.end(), bytes + sub->start, bytes + sub->end);
                inner = sub->end;
            }
            const uint8_t resHeader[8] = {0, 0, 0, 44, 'r', 'e', 's', ' '};
            header.insert(header.end(), resHeader, resHeader + 8);
            appendResolutionBox(header, "resc", dpiWidth, dpiHeight);
            appendResolutionBox(header, "resd", dpiWidth, dpiHeight);
            std::vector<uint8_t> out(file.begin(), file.begin() + static_cast<long>(box->start));
            uint32_t size = static_cast<uint32_t>(header.size() + 8);
            const uint8_t jp2h[8] = {uint8_t(size >> 24), uint8_t(size >> 16), uint8_t(size >> 8), uint8_t(size),
                                     'j', 'p', '2', 'h'};
            out.insert(out.end(), jp2h, jp2h + 8);
            out.insert(out.end(), header.begin(), header.end());
            out.insert(out.end(), file.begin() + static_cast<long>(box->end), file.end());
            return out;
        }
        if (box->end == pos) break;
        pos = box->end;
    }
    return file;
}

}  // namespace marqen
