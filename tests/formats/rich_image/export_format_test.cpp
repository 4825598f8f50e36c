#include <gtest/gtest.h>

#include "formats/export_format.h"

using namespace marqen;

TEST(ExportFormat, IdentifiersReadAndWrittenBack) {
    auto embedded = MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:dom.embedded:public.png");
    ASSERT_TRUE(embedded);
    EXPECT_TRUE(embedded->isDOMEmbedded());
    EXPECT_FALSE(embedded->isPDFWithSummary());
    EXPECT_EQ(embedded->uti(), "public.png");
    // The older form reads the same and is written with the current prefix.
    auto older = MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:bitmap.with.embedded.dom:public.png");
    ASSERT_TRUE(older);
    EXPECT_EQ(older->formatIdentifier(), "com.brondale.marqen:dom.embedded:public.png");
    EXPECT_TRUE(older->isEqualToFormatIdentifier("com.brondale.marqen:dom.embedded:PUBLIC.PNG"));
    EXPECT_FALSE(MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:bitmap.with.embedded.dom:com.adobe.pdf"));
    EXPECT_FALSE(MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:dom.embedded:public.tiff"));
    EXPECT_FALSE(MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:pdf.with.summary:public.png"));

    auto both = MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:pdf.with.dom.and.summary:com.adobe.pdf");
    ASSERT_TRUE(both);
    EXPECT_TRUE(both->isPDFWithSummary() && both->isDOMEmbedded());
    EXPECT_EQ(both->description(), "com.brondale.marqen:pdf.with.dom.and.summary:com.adobe.pdf");
    auto summary = MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:pdf.with.summary:com.adobe.pdf");
    ASSERT_TRUE(summary);
    EXPECT_TRUE(summary->isPDFWithSummary());
    EXPECT_FALSE(summary->isDOMEmbedded());
    EXPECT_FALSE(summary->isEqualToFormatIdentifier(both->formatIdentifier()));

    auto plain = MarqenExportFormat::initWithFormatIdentifier("com.microsoft.bmp");
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->formatIdentifier(), "com.microsoft.bmp");
    EXPECT_FALSE(MarqenExportFormat::initWithUTI(""));
    EXPECT_EQ(MarqenExportFormat::embeddedDOMFormatIdentifierFromUTI("com.compuserve.gif"), std::nullopt);
    EXPECT_EQ(MarqenExportFormat::pdfWithSummaryFormatIdentifierWithDOMEmbedded(false),
              "com.brondale.marqen:pdf.with.summary:com.adobe.pdf");
}

TEST(ExportFormat, FlagsFollowTheType) {
    auto gif = MarqenExportFormat::initWithUTI("com.compuserve.gif");
    gif->setIsDOMEmbedded(true);
    EXPECT_FALSE(gif->isDOMEmbedded());
    gif->setIsPDFWithSummary(true);
    EXPECT_FALSE(gif->isPDFWithSummary());
    auto pdf = MarqenExportFormat::initWithUTI("com.adobe.pdf");
    pdf->setIsPDFWithSummary(true);
    pdf->setIsDOMEmbedded(true);
    EXPECT_EQ(pdf->formatIdentifier(), "com.brondale.marqen:pdf.with.dom.and.summary:com.adobe.pdf");
    pdf->setIsPDFWithSummary(false);
    EXPECT_EQ(pdf->formatIdentifier(), "com.brondale.marqen:dom.embedded:com.adobe.pdf");
    auto heic = MarqenExportFormat::initWithUTI("public.heic");
    heic->setIsDOMEmbedded(true);
    EXPECT_TRUE(heic->isDOMEmbedded());
    heic->setIsDOMEmbedded(false);
    EXPECT_EQ(heic->formatIdentifier(), "public.heic");
}

TEST(ExportFormat, TitlesExtensionsAndWritability) {
    struct Expectation {
        const char *identifier, *title, *extension;
    };
    for (const Expectation &e : {Expectation{"public.heic", "HEIC", "heic"},
                                 {"public.jpeg", "JPG", "jpg"},
                                 {"public.tiff", "TIFF", "tiff"},
                                 {"com.microsoft.bmp", "BMP", "bmp"},
                                 {"com.example.unknown", "???", "???"},
                                 {"com.brondale.marqen:dom.embedded:public.jpeg", "Marqen JPG", "jpg"},
                                 {"com.brondale.marqen:dom.embedded:public.heic", "Marqen HEIC", "heic"},
                                 {"com.brondale.marqen:dom.embedded:public.png", "Marqen PNG", "png"},
                                 {"com.brondale.marqen:dom.embedded:com.adobe.pdf", "Marqen PDF", "pdf"},
                                 {"com.brondale.marqen:pdf.with.summary:com.adobe.pdf", "PDF with summary", "pdf"},
                                 {"com.brondale.marqen:pdf.with.dom.and.summary:com.adobe.pdf", "Marqen PDF with summary", "pdf"}}) {
        auto format = MarqenExportFormat::initWithFormatIdentifier(e.identifier);
        ASSERT_TRUE(format) << e.identifier;
        EXPECT_EQ(format->formatTitle(), e.title) << e.identifier;
        EXPECT_EQ(format->fileExtension(), e.extension) << e.identifier;
    }
    EXPECT_TRUE(MarqenExportFormat::initWithUTI("com.adobe.pdf")->isFormatWritable());
    EXPECT_TRUE(MarqenExportFormat::initWithUTI("public.png")->isFormatWritable());
    EXPECT_TRUE(MarqenExportFormat::initWithUTI("public.jpeg")->isFormatWritable());
    EXPECT_FALSE(MarqenExportFormat::initWithUTI("com.example.unknown")->isFormatWritable());
    EXPECT_EQ(MarqenExportFormat::allFormats().size(), 13u);
}
