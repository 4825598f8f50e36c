// Encrypted PDFs: the ciphers against published values, files from qpdf and mutool read object by object
// and annotated through the command line (checked by qpdf and rendered by poppler), permissions, and
// hostile /Encrypt dictionaries refused cleanly.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "formats/pdf/pdf_cipher.h"
#include "formats/pdf/pdf_file.h"
#include "formats/pdf/pdf_test_helpers.h"
#include "support/test_support.h"

namespace marqen {
namespace {

namespace fs = std::filesystem;
using test::LogCapture;
using test::PDFBuilder;
using test::runCli;
using test::runTool;
using test::TempDir;

std::string hex(const std::string &bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (unsigned char c : bytes) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

std::string quoted(const fs::path &path) { return "'" + path.string() + "'"; }

TEST(PDFCipher, PublishedValuesAndRefusals) {
    EXPECT_EQ(hex(pdf_cipher::rc4("Key", "Plaintext")), "bbf316e8d940af0ad3");
    EXPECT_EQ(hex(pdf_cipher::rc4("Wiki", "pedia")), "1021bf0420");
    EXPECT_EQ(hex(pdf_cipher::md5("abc")), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(hex(pdf_cipher::sha2("abc", 256)), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    // FIPS-197: AES-128 of 00112233..ff with key 000102..0f.
    std::string key128, block;
    for (int i = 0; i < 16; ++i) {
        key128 += char(i);
        block += char(i * 0x11);
    }
    auto cipher = pdf_cipher::aesNoPadding(key128, std::string(16, '\0'), block, true);
    ASSERT_TRUE(cipher);
    EXPECT_EQ(hex(*cipher), "69c4e0d86a7b0430d8cdb78070b4c55a");

    std::string key256(32, 'k');
    std::string sealed = pdf_cipher::aesEncryptWithIV(key256, "seventeen bytes!!");
    EXPECT_EQ(sealed.size(), 16u + 32u);
    EXPECT_EQ(pdf_cipher::aesDecryptWithIV(key256, sealed), std::optional<std::string>("seventeen bytes!!"));
    EXPECT_FALSE(pdf_cipher::aesDecryptWithIV(key256, sealed.substr(0, 40)));  // not a multiple of 16
    EXPECT_FALSE(pdf_cipher::aesDecryptWithIV(key256, sealed.substr(0, 16)));  // an IV only
    std::string tampered = sealed;
    tampered.back() = char(tampered.back() ^ 0x5A);  // the padding no longer reads right
    EXPECT_FALSE(pdf_cipher::aesDecryptWithIV(key256, tampered));
    EXPECT_FALSE(pdf_cipher::aesDecryptWithIV(std::string(7, 'k'), sealed));  // odd key length
}

// A two-page document with text on each page, drawn by Ghostscript.
fs::path plainSource(const TempDir &dir) {
    fs::path path = dir / "plain.pdf";
    if (!fs::exists(path)) test::makeGhostscriptPDF(path, 2);
    return path;
}

struct Variant {
    std::string name;
    std::string qpdfArguments;  // between the input and --encrypt ... --
    std::string encrypt;        // the --encrypt arguments
    std::string userPassword;
    std::string method;
    int keyBits;
    int revision;
};

std::vector<Variant> variants() {
    return {
        {"rc4_40", "--allow-weak-crypto", "'' owner 40", "", "RC4", 40, 2},
        {"rc4_40_objstm", "--allow-weak-crypto --object-streams=generate", "'' owner 40", "", "RC4", 40, 2},
        {"rc4_128", "--allow-weak-crypto", "'' owner 128 --use-aes=n", "", "RC4", 128, 3},
        {"rc4_128_objstm_cleartext_metadata", "--allow-weak-crypto --object-streams=generate",
         "'' owner 128 --use-aes=n --cleartext-metadata", "", "RC4", 128, 4},
        {"aes128", "", "'' owner 128 --use-aes=y", "", "AESV2", 128, 4},
        {"aes128_objstm_user", "--object-streams=generate", "secret owner 128 --use-aes=y", "secret", "AESV2", 128, 4},
        {"aes256", "", "'' owner 256", "", "AESV3", 256, 6},
        {"aes256_objstm", "--object-streams=generate", "'' owner 256", "", "AESV3", 256, 6},
        {"aes256_objstm_user", "--object-streams=generate", "secret owner 256", "secret", "AESV3", 256, 6},
        {"mutool_rc4_128", "mutool:rc4-128", "", "", "RC4", 128, 3},
        {"mutool_aes128_user", "mutool:aes-128", "", "secret", "AESV2", 128, 4},
        {"mutool_aes256", "mutool:aes-256", "", "", "AESV3", 256, 6},
    };
}

void makeVariant(const Variant &variant, const TempDir &dir, const fs::path &out) {
    fs::path source = plainSource(dir);
    std::string command;
    if (variant.qpdfArguments.rfind("mutool:", 0) == 0) {
        command = "mutool clean -E " + variant.qpdfArguments.substr(7) + " -O owner -U '" + variant.userPassword +
                  "' " + quoted(source) + " " + quoted(out);
    } else {
        command = "qpdf " + variant.qpdfArguments + " " + quoted(source) + " --encrypt " + variant.encrypt + " -- " +
                  quoted(out);
    }
    ASSERT_EQ(runTool(command), 0) << command;
}

bool toolsAvailable() {
    for (const char *tool : {"qpdf", "gs", "mutool", "pdftoppm", "pdfinfo"})
        if (!test::toolAvailable(tool)) return false;
    return true;
}

class PDFEncryptedFiles : public ::testing::TestWithParam<size_t> {};

TEST_P(PDFEncryptedFiles, EveryObjectDecryptsAndAnAnnotatedCopyStaysEncrypted) {
    if (!toolsAvailable()) GTEST_SKIP() << "qpdf, ghostscript, mutool or poppler-utils missing";
    const Variant variant = variants()[GetParam()];
    TempDir dir;
    fs::path input = dir / "encrypted.pdf";
    makeVariant(variant, dir, input);
    std::string qpdfPassword = "--password='" + variant.userPassword + "' ";

    MarqenPDFOptions options;
    options.userPassword = variant.userPassword;
    MarqenError error;
    auto pdf = MarqenPDF::initWithContentsOfFile(input.string(), options, &error);
    ASSERT_TRUE(pdf) << error.description();
    ASSERT_TRUE(pdf->securityHandler());
    EXPECT_EQ(MarqenPDFSecurityHandler::methodName(pdf->securityHandler()->method()), variant.method);
    EXPECT_EQ(pdf->securityHandler()->keyBits(), variant.keyBits);
    EXPECT_EQ(pdf->securityHandler()->r(), variant.revision);
    EXPECT_EQ(pdf->numberOfPagesInOriginalPDF(), 2u);

    // Every stream decodes to the bytes qpdf reads out of it.
    size_t streams = 0;
    for (uint64_t number = 1; number < pdf->objectTableSize(); ++number) {
        MarqenPDFObject value = pdf->resolveIndirectReference(MarqenPDFObject(MarqenPDFIndirectReference{number, 0}), true);
        const MarqenPDFStream *stream = value.asStream();
        if (!stream) continue;
        const MarqenPDFObject *type = stream->streamInfo().objectForKey("Type");
        if (type && (type->isName("XRef") || type->isName("ObjStm"))) continue;
        const std::string *decoded = stream->stream();
        ASSERT_TRUE(decoded) << "object " << number;
        std::string expected;
        ASSERT_EQ(runTool("qpdf " + qpdfPassword + "--show-object=" + std::to_string(number) +
                              " --filtered-stream-data " + quoted(input),
                          &expected),
                  0);
        EXPECT_EQ(*decoded, expected) << "object " << number;
        ++streams;
    }
    EXPECT_GE(streams, 2u);

    // Annotate page 2 through the command line.
    fs::path overlay = dir / "overlay.pdf";
    test::makeCairoOverlay(overlay, 595, 842);
    test::writeFile(dir / "dom.json", "{\"pages\":[2],\"note\":\"caf\\u00e9 (1)\"}");
    fs::path out = dir / "annotated.pdf";
    std::string passwordArgument = variant.userPassword.empty() ? "" : " --password " + variant.userPassword;
    std::string err;
    ASSERT_EQ(runCli("pdf-overlay " + quoted(input) + passwordArgument + " --overlay " + quoted(overlay) +
                         " --page 2 --dom " + quoted(dir / "dom.json") + " -o " + quoted(out),
                     nullptr, &err),
              0)
        << err;
    std::string check;
    EXPECT_EQ(runTool("qpdf --check " + qpdfPassword + quoted(out), &check), 0) << check;
    EXPECT_NE(check.find("No syntax or stream encoding errors"), std::string::npos) << check;
    EXPECT_EQ(test::popplerPageCount(out, variant.userPassword), 2);
    EXPECT_EQ(test::redShareOfPage(out, 1, variant.userPassword), 0.0);
    EXPECT_GT(test::redShareOfPage(out, 2, variant.userPassword), 0.05);

    // Still encrypted with the same handler; the hidden record reads back; the original comes back whole.
    std::string info;
    ASSERT_EQ(runCli("pdf-info --json " + quoted(out) + passwordArgument, &info), 0);
    auto json = nlohmann::json::parse(info);
    EXPECT_EQ(json["rich"], true);
    EXPECT_EQ(json["encrypted"]["method"], variant.method);
    EXPECT_EQ(json["encrypted"]["keyBits"], variant.keyBits);
    auto annotated = MarqenPDF::initWithContentsOfFile(out.string(), options);
    ASSERT_TRUE(annotated);
    EXPECT_EQ(annotated->richPDFJSON(), std::optional<std::string>(test::readFile(dir / "dom.json")));
    ASSERT_EQ(runCli("pdf-original " + quoted(out) + passwordArgument + " -o " + quoted(dir / "original.pdf")), 0);
    EXPECT_EQ(test::readFile(dir / "original.pdf"), test::readFile(input));
    // Without the key nothing of the update is readable: qpdf refuses a wrong password.
    EXPECT_NE(runTool("qpdf --check --password=wrong-password " + quoted(out)), 0);
}

INSTANTIATE_TEST_SUITE_P(All, PDFEncryptedFiles, ::testing::Range(size_t(0), variants().size()),
                         [](const ::testing::TestParamInfo<size_t> &info) { return variants()[info.param].name; });

// A file encrypted, then signed by poppler's pdfsig with a throwaway certificate: the annotation goes in an
// update after the signed byte ranges, so the signature still verifies.
TEST(PDFEncryption, AnnotatingASignedEncryptedFileKeepsTheSignatureValid) {
    if (!toolsAvailable() || !test::toolAvailable("pdfsig") || !test::toolAvailable("certutil"))
        GTEST_SKIP() << "qpdf, ghostscript, poppler-utils or certutil missing";
    TempDir dir;
    fs::path encrypted = dir / "encrypted.pdf", signedFile = dir / "signed.pdf", out = dir / "annotated.pdf";
    ASSERT_EQ(runTool("qpdf " + quoted(plainSource(dir)) + " --encrypt '' owner 256 -- " + quoted(encrypted)), 0);
    std::string nss = "sql:" + (dir / "nss").string();
    fs::create_directories(dir / "nss");
    test::writeFile(dir / "noise", std::string(64, '\x5a'));
    ASSERT_EQ(runTool("certutil -N -d " + nss + " --empty-password"), 0);
    ASSERT_EQ(runTool("certutil -S -s 'CN=Test Signer' -n signer -x -t CT,C,C -k rsa -g 2048 -v 12 -d " + nss +
                      " -z " + quoted(dir / "noise")),
              0);
    ASSERT_EQ(runTool("pdfsig -add-signature -nssdir " + nss + " -nick signer " + quoted(encrypted) + " " +
                      quoted(signedFile)),
              0);
    auto verify = [&](const fs::path &file) {
        std::string report;
        runTool("pdfsig -nssdir " + nss + " " + quoted(file), &report);
        return report;
    };
    ASSERT_NE(verify(signedFile).find("Signature is Valid."), std::string::npos) << verify(signedFile);

    fs::path overlay = dir / "overlay.pdf";
    test::makeCairoOverlay(overlay, 595, 842);
    test::writeFile(dir / "dom.json", "{\"pages\":[1]}");
    std::string err;
    ASSERT_EQ(runCli("pdf-overlay " + quoted(signedFile) + " --overlay " + quoted(overlay) + " --page 1 --dom " +
                         quoted(dir / "dom.json") + " -o " + quoted(out),
                     nullptr, &err),
              0)
        << err;
    std::string report = verify(out);
    EXPECT_NE(report.find("Signature is Valid."), std::string::npos) << report;
    EXPECT_NE(report.find("Not total document signed"), std::string::npos) << report;  // our update follows it
    EXPECT_GT(test::redShareOfPage(out, 1, ""), 0.05);
    ASSERT_EQ(runCli("pdf-original " + quoted(out) + " -o " + quoted(dir / "original.pdf")), 0);
    EXPECT_EQ(test::readFile(dir / "original.pdf"), test::readFile(signedFile));
}

TEST(PDFEncryption, PasswordsPermissionsAndTheCommandLine) {
    if (!toolsAvailable()) GTEST_SKIP() << "qpdf, ghostscript, mutool or poppler-utils missing";
    TempDir dir;
    fs::path source = plainSource(dir);
    fs::path locked = dir / "locked.pdf";
    ASSERT_EQ(runTool("qpdf " + quoted(source) + " --encrypt user owner 256 --annotate=n --print=none -- " +
                      quoted(locked)),
              0);
    std::string out, err;
    EXPECT_EQ(runCli("pdf-info " + quoted(locked), &out, &err), 1);
    EXPECT_NE(err.find("The PDF is encrypted with a user password; give it to open the file"), std::string::npos);
    EXPECT_EQ(runCli("pdf-info " + quoted(locked) + " --password nope", &out, &err), 1);
    EXPECT_NE(err.find("The password does not open this encrypted PDF"), std::string::npos);
    ASSERT_EQ(runCli("pdf-info --json " + quoted(locked) + " --password user", &out), 0);
    auto json = nlohmann::json::parse(out);
    EXPECT_EQ(json["encrypted"]["filter"], "Standard");
    EXPECT_EQ(json["encrypted"]["v"], 5);
    EXPECT_EQ(json["encrypted"]["permissions"]["annotate"], false);
    EXPECT_EQ(json["encrypted"]["permissions"]["print"], false);
    EXPECT_EQ(json["encrypted"]["permissions"]["copy"], true);
    EXPECT_EQ(json["encrypted"]["ownerPassword"], false);
    // The owner password alone opens the file too, and lifts the restriction.
    ASSERT_EQ(runCli("pdf-info --json " + quoted(locked) + " --owner-password owner", &out), 0);
    EXPECT_EQ(nlohmann::json::parse(out)["encrypted"]["ownerPassword"], true);

    fs::path overlay = dir / "overlay.pdf";
    test::makeCairoOverlay(overlay, 595, 842);
    fs::path annotated = dir / "annotated.pdf";
    EXPECT_EQ(runCli("pdf-overlay " + quoted(locked) + " --password user --overlay " + quoted(overlay) +
                         " --page 1 -o " + quoted(annotated),
                     nullptr, &err),
              1);
    EXPECT_NE(err.find("permissions that do not allow adding or changing annotations"), std::string::npos) << err;
    EXPECT_FALSE(fs::exists(annotated));
    ASSERT_EQ(runCli("pdf-overlay " + quoted(locked) + " --password user --owner-password owner --overlay " +
                         quoted(overlay) + " --page 1 -o " + quoted(annotated),
                     nullptr, &err),
              0)
        << err;
    EXPECT_EQ(runTool("qpdf --check --password=user " + quoted(annotated)), 0);
    EXPECT_GT(test::redShareOfPage(annotated, 1, "user"), 0.05);

    // An unencrypted file reports false.
    ASSERT_EQ(runCli("pdf-info --json " + quoted(source), &out), 0);
    EXPECT_EQ(nlohmann::json::parse(out)["encrypted"], false);
}

// A small file whose trailer names the given /Encrypt dictionary (object 5) and an /ID.
std::string withEncrypt(const std::string &encrypt, const std::string &encryptEntry = "5 0 R") {
    PDFBuilder builder = PDFBuilder::simpleDocument();
    builder.object(5, encrypt);
    return builder.finishWithTable("/Root 1 0 R /Encrypt " + encryptEntry + " /ID [<0123456789ABCDEF0123456789ABCDEF> <00>]");
}

std::string bytesString(size_t length) { return "<" + std::string(length * 2, 'A') + ">"; }

TEST(PDFEncryption, HostileEncryptDictionariesAreRefusedWithAReason) {
    struct Case {
        std::string encrypt;
        std::string entry;
        long code;
        std::string reason;
    };
    std::string o32 = bytesString(32), u32 = bytesString(32), o48 = bytesString(48);
    std::vector<Case> cases = {
        {"<< /Filter /Adobe.PubSec /V 4 /R 4 >>", "5 0 R", kMarqenPDFErrorUnsupportedEncryption,
         "MarqenPDF: The security handler /Adobe.PubSec is not supported"},
        {"<< /V 2 /R 3 /P -4 /O " + o32 + " /U " + u32 + " >>", "5 0 R", kMarqenPDFErrorUnsupportedEncryption,
         "MarqenPDF: The Encrypt dictionary names no security handler"},
        {"<< /Filter /Standard /V 3 /R 3 /P -4 /O " + o32 + " /U " + u32 + " >>", "5 0 R",
         kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: Encryption version /V 3 is not supported"},
        {"<< /Filter /Standard /V 2 /R 7 /P -4 /O " + o32 + " /U " + u32 + " >>", "5 0 R",
         kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: Standard security handler revision 7 is not supported"},
        {"<< /Filter /Standard /V 2 /R 3 /Length 0 /P -4 /O " + o32 + " /U " + u32 + " >>", "5 0 R",
         kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: Encryption key length 0 is not 40 to 128 bits"},
        {"<< /Filter /Standard /V 2 /R 3 /Length 2147483648 /P -4 /O " + o32 + " /U " + u32 + " >>", "5 0 R",
         kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: Encryption key length 2147483648 is not 40 to 128 bits"},
        {"<< /Filter /Standard /V 2 /R 3 /Length 44 /P -4 /O " + o32 + " /U " + u32 + " >>", "5 0 R",
         kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: Encryption key length 44 is not 40 to 128 bits"},
        {"<< /Filter /Standard /V 2 /R 3 /P -4 /O " + bytesString(31) + " /U " + u32 + " >>", "5 0 R",
         kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: /O or /U is shorter than 32 bytes"},
        {"<< /Filter /Standard /V 2 /R 3 /P -4 /O " + o32 + " >>", "5 0 R", kMarqenPDFErrorUnsupportedEncryption,
         "MarqenPDF: The Encrypt dictionary lacks /R, /P, /O or /U"},
        {"<< /Filter /Standard /V 5 /R 6 /P -4 /O " + o48 + " /U " + o48 + " /OE " + bytesString(31) + " /UE " +
             bytesString(32) + " /CF << /StdCF << /CFM /AESV3 >> >> /StmF /StdCF /StrF /StdCF >>",
         "5 0 R", kMarqenPDFErrorUnsupportedEncryption,
         "MarqenPDF: /O, /U, /OE or /UE has the wrong size for AES-256 encryption"},
        {"<< /Filter /Standard /V 4 /R 4 /P -4 /O " + o32 + " /U " + u32 +
             " /CF << /StdCF << /CFM /Rot13 >> >> /StmF /StdCF /StrF /StdCF >>",
         "5 0 R", kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: Crypt filter method /Rot13 is not supported"},
        {"<< /Filter /Standard /V 4 /R 4 /P -4 /O " + o32 + " /U " + u32 + " /StmF /Missing >>", "5 0 R",
         kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: /StrF or /StmF names no crypt filter"},
        {"<< /Filter /Standard /V 4 /R 4 /P -4 /O " + o32 + " /U " + u32 +
             " /CF << /StdCF << /CFM /AESV3 >> >> /StmF /StdCF /StrF /StdCF >>",
         "5 0 R", kMarqenPDFErrorUnsupportedEncryption,
         "MarqenPDF: The crypt filters do not match encryption version /V 4"},
        // Well formed, but the empty password does not match /U.
        {"<< /Filter /Standard /V 2 /R 3 /Length 128 /P -4 /O " + o32 + " /U " + u32 + " >>", "5 0 R",
         kMarqenPDFErrorPasswordRequired,
         "MarqenPDF: The PDF is encrypted with a user password; give it to open the file"},
        // An /Encrypt that is a reference to a reference to itself, and one that is a number.
        {"5 0 R", "5 0 R", kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: The Encrypt entry is not a dictionary"},
        {"<< >>", "12", kMarqenPDFErrorUnsupportedEncryption, "MarqenPDF: The Encrypt entry is not a dictionary"},
    };
    for (const Case &c : cases) {
        LogCapture log;
        MarqenError error;
        EXPECT_FALSE(MarqenPDF::initWithData(withEncrypt(c.encrypt, c.entry), {}, &error)) << c.encrypt;
        EXPECT_EQ(error.code, c.code) << c.encrypt;
        EXPECT_EQ(error.localizedDescription(), c.reason) << c.encrypt;
    }
}

TEST(PDFEncryption, MalformedCiphertextIsSkippedNotTrusted) {
    if (!test::toolAvailable("qpdf")) GTEST_SKIP() << "qpdf is not installed";
    TempDir dir;
    test::writeFile(dir / "plain.pdf", PDFBuilder::simpleDocument("0 0 1 rg 10 10 50 50 re f").finishWithTable("/Root 1 0 R"));
    ASSERT_EQ(runTool("qpdf " + quoted(dir / "plain.pdf") + " --encrypt '' owner 256 -- " + quoted(dir / "aes.pdf")), 0);
    std::string data = test::readFile(dir / "aes.pdf");
    // Shorten the page's content stream by one byte, so that its length is no multiple of 16.
    auto good = MarqenPDF::initWithData(data);
    ASSERT_TRUE(good);
    auto page = good->pageReferenceForPageNumber(1, true);
    ASSERT_TRUE(page);
    MarqenPDFObject pageObject = good->resolveIndirectReference(MarqenPDFObject(*page), true);
    const MarqenPDFObject *contents = pageObject.asDictionary()->objectForKey("Contents");
    ASSERT_TRUE(contents && contents->asReference());
    uint64_t number = contents->asReference()->objectNumber;
    size_t object = size_t(good->objectOffsetTable()[number]);
    size_t length = data.find("/Length ", object);
    size_t digitsEnd = data.find_first_not_of("0123456789", length + 8);
    int oldLength = std::stoi(data.substr(length + 8, digitsEnd - length - 8));
    std::string shorter = std::to_string(oldLength - 1);
    shorter.resize(digitsEnd - length - 8, ' ');
    data.replace(length + 8, shorter.size(), shorter);
    size_t start = data.find("stream", digitsEnd) + 7;
    if (data[start - 1] == '\r') ++start;
    data[start + size_t(oldLength) - 1] = '\n';
    LogCapture log;
    auto pdf = MarqenPDF::initWithData(data);
    ASSERT_TRUE(pdf);
    EXPECT_TRUE(pdf->resolveIndirectReference(MarqenPDFObject(MarqenPDFIndirectReference{number, 0}), true).isNull());
    EXPECT_TRUE(log.contains("MarqenPDF: The stream of object " + std::to_string(number) + " could not be deciphered"));
    EXPECT_EQ(pdf->numberOfPagesInOriginalPDF(), 1u);
}

TEST(PDFCommands, APageTreeWithoutPagesIsAnErrorNotZeroPages) {
    TempDir dir;
    PDFBuilder builder;
    builder.object(1, "<< /Type /Catalog /Pages 2 0 R >>");
    builder.object(2, "<< /Type /Pages /Kids [] /Count 0 >>");
    test::writeFile(dir / "empty.pdf", builder.finishWithTable("/Root 1 0 R"));
    std::string out, err;
    EXPECT_EQ(runCli("pdf-info --json " + quoted(dir / "empty.pdf"), &out, &err), 1);
    EXPECT_EQ(out, "");
    EXPECT_NE(err.find("empty.pdf has no pages that can be read"), std::string::npos) << err;
    test::writeFile(dir / "overlay.pdf", PDFBuilder::simpleDocument().finishWithTable("/Root 1 0 R"));
    EXPECT_EQ(runCli("pdf-overlay " + quoted(dir / "empty.pdf") + " --overlay " + quoted(dir / "overlay.pdf") +
                         " --page 1 -o " + quoted(dir / "out.pdf"),
                     nullptr, &err),
              1);
    EXPECT_NE(err.find("empty.pdf has no pages"), std::string::npos) << err;
    EXPECT_FALSE(fs::exists(dir / "out.pdf"));
}

}  // namespace
}  // namespace marqen
