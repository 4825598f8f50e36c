// MarqenExportFormat: identifiers, titles, extensions and writability of the save formats.
#include "formats/export_format.h"

#include "foundation/localization.h"
#include "foundation/string_helpers.h"
#include "platform/image_encodable_formats.h"

namespace marqen {

namespace {

bool startsWith(const std::string &text, const char *prefix) { return text.rfind(prefix, 0) == 0; }

bool isOneOf(const std::string &uti, std::initializer_list<const char *> types) {
    for (const char *type : types)
        if (MarqenTypeIdentifierEquals(uti, type)) return true;
    return false;
}

bool allowsEmbeddedDOM(const std::string &uti) { return isOneOf(uti, {kMarqenTypePNG, kMarqenTypeJPEG, kMarqenTypePDF, kMarqenTypeHEIC}); }


}  // namespace

MarqenImageFormat MarqenImageFormatForTypeIdentifier(const std::string &uti) {
    if (MarqenTypeIdentifierEquals(uti, kMarqenTypePNG)) return MarqenImageFormat::PNG;
    if (MarqenTypeIdentifierEquals(uti, kMarqenTypeJPEG)) return MarqenImageFormat::JPEG;
    if (MarqenTypeIdentifierEquals(uti, kMarqenTypeHEIC)) return MarqenImageFormat::HEIC;
    if (MarqenTypeIdentifierEquals(uti, kMarqenTypeTIFF)) return MarqenImageFormat::TIFF;
    if (MarqenTypeIdentifierEquals(uti, kMarqenTypeGIF)) return MarqenImageFormat::GIF;
    if (MarqenTypeIdentifierEquals(uti, kMarqenTypeBMP)) return MarqenImageFormat::BMP;
    if (MarqenTypeIdentifierEquals(uti, "public.jpeg-2000")) return MarqenImageFormat::JPEG2000;
    return MarqenImageFormat::Unknown;
}

bool MarqenTypeIdentifierEquals(const std::string &a, const std::string &b) {
    return marqen_asciiLowercase(a) == marqen_asciiLowercase(b);
}

std::optional<MarqenExportFormat> MarqenExportFormat::initWithUTI(const std::string &uti) {
    if (uti.empty()) return std::nullopt;
    return MarqenExportFormat(uti);
}

std::optional<MarqenExportFormat> MarqenExportFormat::initWithFormatIdentifier(const std::string &identifier) {
    auto uti = utiFromFormatIdentifier(identifier);
    if (!uti || uti->empty()) return std::nullopt;
    MarqenExportFormat format(*uti);
    if (startsWith(identifier, kMarqenExportFormatPDFWithSummaryPrefix)) {
        format.pdfWithSummary_ = true;
    } else if (startsWith(identifier, kMarqenExportFormatPDFWithDOMAndSummaryPrefix)) {
        format.pdfWithSummary_ = true;
        format.domEmbedded_ = true;
    } else if (startsWith(identifier, kMarqenExportFormatDOMEmbeddedPrefix) ||
               startsWith(identifier, kMarqenExportFormatBitmapWithEmbeddedDOMPrefix)) {
        format.domEmbedded_ = true;
    }
    return format;
}

void MarqenExportFormat::setIsPDFWithSummary(bool value) {
    pdfWithSummary_ = value && MarqenTypeIdentifierEquals(uti_, kMarqenTypePDF);
}

void MarqenExportFormat::setIsDOMEmbedded(bool value) { domEmbedded_ = value && allowsEmbeddedDOM(uti_); }

std::string MarqenExportFormat::formatIdentifier() const {
    if (pdfWithSummary_) return pdfWithSummaryFormatIdentifierWithDOMEmbedded(domEmbedded_);
    if (domEmbedded_) return embeddedDOMFormatIdentifierFromUTI(uti_).value_or(uti_);
    return uti_;
}

bool MarqenExportFormat::isEqualToFormatIdentifier(const std::string &identifier) const {
    auto other = initWithFormatIdentifier(identifier);
    return other && other->pdfWithSummary_ == pdfWithSummary_ && other->domEmbedded_ == domEmbedded_ &&
           MarqenTypeIdentifierEquals(other->uti_, uti_);
}

std::string MarqenExportFormat::formatTitle() const {
    const char *key = nullptr;
    if (pdfWithSummary_ && domEmbedded_)
        key = "Marqen PDF with summary";
    else if (pdfWithSummary_)
        key = "PDF with summary";
    else if (domEmbedded_ && MarqenTypeIdentifierEquals(uti_, kMarqenTypePDF))
        key = "Marqen PDF";
    else if (domEmbedded_ && MarqenTypeIdentifierEquals(uti_, kMarqenTypePNG))
        key = "Marqen PNG";
    else if (domEmbedded_ && MarqenTypeIdentifierEquals(uti_, kMarqenTypeJPEG))
        key = "Marqen JPG";
    else if (domEmbedded_ && MarqenTypeIdentifierEquals(uti_, kMarqenTypeHEIC))
        key = "Marqen HEIC";
    if (key) return MarqenLocalizedString(key, kMarqenLocalizationTable);
    std::string title = fileExtension();
    for (char &c : title) c = char(std::toupper(uint8_t(c)));
    return title;
}

std::string MarqenExportFormat::fileExtension() const {
    if (MarqenTypeIdentifierEquals(uti_, kMarqenTypePDF)) return "pdf";
    const MarqenImageFormat format = MarqenImageFormatForTypeIdentifier(uti_);
    if (format == MarqenImageFormat::Unknown) return "???";
    // JPEG always writes "jpg", TIFF its full name.
    if (format == MarqenImageFormat::TIFF) return "tiff";
    return MarqenImageFormatFileExtension(format);
}

bool MarqenExportFormat::isFormatWritable() const {
    if (MarqenTypeIdentifierEquals(uti_, kMarqenTypePDF)) return true;
    const MarqenImageFormat format = MarqenImageFormatForTypeIdentifier(uti_);
    return format != MarqenImageFormat::Unknown && MarqenImageCanEncodeFormat(format);
}

std::string MarqenExportFormat::pdfWithSummaryFormatIdentifierWithDOMEmbedded(bool domEmbedded) {
    return std::string(domEmbedded ? kMarqenExportFormatPDFWithDOMAndSummaryPrefix : kMarqenExportFormatPDFWithSummaryPrefix) +
           kMarqenTypePDF;
}

std::optional<std::string> MarqenExportFormat::embeddedDOMFormatIdentifierFromUTI(const std::string &uti) {
    if (!allowsEmbeddedDOM(uti)) return std::nullopt;
    return kMarqenExportFormatDOMEmbeddedPrefix + uti;
}

std::optional<std::string> MarqenExportFormat::utiFromFormatIdentifier(const std::string &identifier) {
    struct Prefix {
        const char *text;
        std::initializer_list<const char *> types;
    };
    const Prefix prefixes[] = {
        {kMarqenExportFormatPDFWithSummaryPrefix, {kMarqenTypePDF}},
        {kMarqenExportFormatPDFWithDOMAndSummaryPrefix, {kMarqenTypePDF}},
        {kMarqenExportFormatDOMEmbeddedPrefix, {kMarqenTypePNG, kMarqenTypeJPEG, kMarqenTypePDF, kMarqenTypeHEIC}},
        {kMarqenExportFormatBitmapWithEmbeddedDOMPrefix, {kMarqenTypePNG, kMarqenTypeJPEG, kMarqenTypeHEIC}},
    };
    for (const Prefix &prefix : prefixes) {
        if (!startsWith(identifier, prefix.text)) continue;
        std::string rest = identifier.substr(std::char_traits<char>::length(prefix.text));
        if (isOneOf(rest, prefix.types)) return rest;
        return std::nullopt;
    }
    return identifier;
}

std::vector<MarqenExportFormat> MarqenExportFormat::allFormats() {
    std::vector<MarqenExportFormat> formats;
    for (const char *type : {kMarqenTypePNG, kMarqenTypeJPEG, kMarqenTypePDF, kMarqenTypeHEIC, kMarqenTypeTIFF,
                             kMarqenTypeGIF, kMarqenTypeBMP})
        formats.push_back(MarqenExportFormat(type));
    for (const char *type : {kMarqenTypePNG, kMarqenTypeJPEG, kMarqenTypePDF, kMarqenTypeHEIC}) {
        MarqenExportFormat embedded(type);
        embedded.setIsDOMEmbedded(true);
        formats.push_back(embedded);
    }
    for (bool domEmbedded : {false, true}) {
        MarqenExportFormat summary(kMarqenTypePDF);
        summary.setIsPDFWithSummary(true);
        summary.setIsDOMEmbedded(domEmbedded);
        formats.push_back(summary);
    }
    return formats;
}

}  // namespace marqen
