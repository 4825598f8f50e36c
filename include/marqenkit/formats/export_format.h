#pragma once
// MarqenExportFormat: one way of saving an annotated document. A plain image or PDF type, the same type
// with the editable document embedded (rich PNG, JPEG, HEIC or PDF), or a PDF with a summary page (with or
// without the document). Its identifier string stores and compares choices: the type identifier, or one
// of the "com.brondale.marqen:..." prefixes followed by it. Type identifiers are the conventional ones
// ("public.png", ...) and compare without regard to case. A value type; any thread.
#include <optional>
#include <string>
#include <vector>

#include "../export.h"
#include "../platform/image_io.h"

namespace marqen {

inline constexpr const char *kMarqenTypePNG = "public.png";
inline constexpr const char *kMarqenTypeJPEG = "public.jpeg";
inline constexpr const char *kMarqenTypePDF = "com.adobe.pdf";
inline constexpr const char *kMarqenTypeHEIC = "public.heic";
inline constexpr const char *kMarqenTypeTIFF = "public.tiff";
inline constexpr const char *kMarqenTypeGIF = "com.compuserve.gif";
inline constexpr const char *kMarqenTypeBMP = "com.microsoft.bmp";

inline constexpr const char *kMarqenExportFormatPDFWithSummaryPrefix = "com.brondale.marqen:pdf.with.summary:";
inline constexpr const char *kMarqenExportFormatPDFWithDOMAndSummaryPrefix = "com.brondale.marqen:pdf.with.dom.and.summary:";
inline constexpr const char *kMarqenExportFormatDOMEmbeddedPrefix = "com.brondale.marqen:dom.embedded:";
// Older form of the embedded-document prefix: read, never written.
inline constexpr const char *kMarqenExportFormatBitmapWithEmbeddedDOMPrefix = "com.brondale.marqen:bitmap.with.embedded.dom:";

// Type identifiers are equal without regard to case.
MARQEN_EXPORT bool MarqenTypeIdentifierEquals(const std::string &a, const std::string &b);
// The image codec that writes a type identifier (Unknown for PDF and types that are no picture).
MARQEN_EXPORT MarqenImageFormat MarqenImageFormatForTypeIdentifier(const std::string &uti);

class MARQEN_EXPORT MarqenExportFormat {
public:
    // A plain format; nothing for an empty type.
    static std::optional<MarqenExportFormat> initWithUTI(const std::string &uti);
    // Nothing when utiFromFormatIdentifier gives nothing.
    static std::optional<MarqenExportFormat> initWithFormatIdentifier(const std::string &identifier);

    const std::string &uti() const { return uti_; }
    bool isPDFWithSummary() const { return pdfWithSummary_; }
    bool isDOMEmbedded() const { return domEmbedded_; }
    // true is kept only for a PDF type; false always clears.
    void setIsPDFWithSummary(bool value);
    // true is kept only for PNG, JPEG, PDF and HEIC; false always clears.
    void setIsDOMEmbedded(bool value);

    std::string formatIdentifier() const;
    bool isEqualToFormatIdentifier(const std::string &identifier) const;
    // Looked up in the "MarqenKit" string table; plain types title themselves by their upper-case extension.
    std::string formatTitle() const;
    std::string fileExtension() const;
    // PDF always; an image type when the image encoder of this installation can write it.
    bool isFormatWritable() const;
    std::string description() const { return formatIdentifier(); }

    static std::string pdfWithSummaryFormatIdentifierWithDOMEmbedded(bool domEmbedded);
    static std::optional<std::string> embeddedDOMFormatIdentifierFromUTI(const std::string &uti);
    static std::optional<std::string> utiFromFormatIdentifier(const std::string &identifier);

    // Every format a host may offer: each plain type, each embedded-document form, the two summary forms.
    static std::vector<MarqenExportFormat> allFormats();

private:
    explicit MarqenExportFormat(std::string uti) : uti_(std::move(uti)) {}
    std::string uti_;
    bool pdfWithSummary_ = false;
    bool domEmbedded_ = false;
};

}  // namespace marqen
