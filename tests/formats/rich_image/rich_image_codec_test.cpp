#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <vector>

#include "formats/rich_image/rich_heic.h"
#include "formats/rich_image/rich_jpeg.h"
#include "formats/rich_image/rich_png.h"
#include "formats/rich_image/rich_image_test_bytes.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;

namespace {

struct Walk {
    std::vector<MarqenRichImageChunkToken> tokens;
};

int recordToken(void *context, FILE *input, MarqenRichImageChunkToken token) {
    // Moving the stream and putting it back must not disturb the walk.
    long position = std::ftell(input);
    std::fseek(input, 0, SEEK_SET);
    std::fgetc(input);
    std::fseek(input, position, SEEK_SET);
    static_cast<Walk *>(context)->tokens.push_back(token);
    return 1;
}

std::string typeOf(const MarqenRichImageChunkToken &token) { return std::string(reinterpret_cast<const char *>(token.type), 4); }

// Writes one metadata chunk from the file named in the context, then one resource chunk.
struct ChunkSource {
    std::string indexPath, resourcePath, uuid;
};
void writeTestChunks(void *context, FILE *output) {
    auto *source = static_cast<ChunkSource *>(context);
    EXPECT_EQ(MarqenPNGImageWriteMetadataChunk(source->indexPath.c_str(), output), 0);
    std::string uuid = uuidBytes(source->uuid);
    EXPECT_EQ(MarqenPNGImageWriteResourceChunk(source->resourcePath.c_str(), reinterpret_cast<const uint8_t *>(uuid.data()), output), 0);
}

const std::string kIndex = "{\"type\":\"Document\"}";
const std::string kResource("\x00\x01\x02rsrc\xFF", 8);
const std::string kUUID = "0123abcd-4567-89ef-0a1b-2c3d4e5f6071";

// The chunks writeTestChunks emits, built independently.
std::string expectedChunks() {
    return pngChunk("mqMf", kIndex) + pngChunk("mqRf", uuidBytes(kUUID) + kResource);
}

class RichImageCodec : public ::testing::Test {
protected:
    void SetUp() override {
        writeFile(dir / "index.json", kIndex);
        writeFile(dir / "resource", kResource);
        source = {(dir / "index.json").string(), (dir / "resource").string(), kUUID};
    }
    std::string path(const std::string &name) const { return (dir / name).string(); }
    // The answer of a file test (MarqenJPGImageIsValidMarqenJPGFile, ...) for a file of these bytes.
    int fileTest(int (*test)(FILE *), const std::string &bytes) {
        writeFile(dir / "t", bytes);
        FILE *file = std::fopen(path("t").c_str(), "rb");
        const int result = test(file);
        std::fclose(file);
        return result;
    }
    Walk walkPNG(const std::string &name, int *result) {
        Walk walk;
        *result = MarqenPNGReadChunkTokens(&walk, path(name).c_str(), recordToken);
        return walk;
    }
    TempDir dir;
    ChunkSource source;
};

}  // namespace

TEST(RichImageBytes, BigEndianHelpersAndConstants) {
    const uint8_t bytes[8] = {0x01, 0x02, 0x03, 0x04, 0xF5, 0x06, 0x07, 0x08};
    EXPECT_EQ(MarqenRichImageUint32FromUint8Array(bytes), 0x01020304u);
    EXPECT_EQ(MarqenRichImageUint64FromUint8Array(bytes), 0x01020304F5060708ull);
    uint8_t out[4];
    MarqenRichImageUint8ArrayFromUint32(0xA1B2C3D4u, out);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(out), 4), "\xA1\xB2\xC3\xD4");
    EXPECT_EQ(MarqenRichImageChunkTypeEquals(MarqenPNGImageMetadataChunkType, reinterpret_cast<const uint8_t *>("mqMf")), 1);
    EXPECT_EQ(MarqenRichImageChunkTypeEquals(MarqenPNGImageMetadataChunkType, MarqenPNGImageResourceChunkType), 0);
    uint8_t copy[4];
    MarqenRichImageChunkTypeCopy(copy, MarqenPNGImageResourceChunkType);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(copy), 4), "mqRf");
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(MarqenPNGImageEndChunk), 12), kIEND);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(MarqenPNGImageSignature), 8), kPNGSignature);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(MarqenHEICImageFileBox), 24), std::string(4, '\0') + "uuid" + kMarkerUUID);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(MarqenJPGImageTrailerMarker), 6), "marqen");
}

TEST_F(RichImageCodec, SingleChunkReaderResultCodesAndToken) {
    const std::string bytes = "xx" + pngChunkWithCRC("abCd", "12345", 0xDEADBEEF) + std::string(11, '\0');
    writeFile(dir / "c", bytes);
    std::string memory = bytes;
    // A file is read through its descriptor, a stream in memory through its own position: same answers.
    for (FILE *file : {std::fopen(path("c").c_str(), "rb"), fmemopen(memory.data(), memory.size(), "rb")}) {
        ASSERT_NE(file, nullptr);
        const long end = 2 + 17 + 11;
        std::fseek(file, 2, SEEK_SET);
        MarqenRichImageChunkToken token;
        ASSERT_EQ(MarqenPNGImageReadSingleChunkToken(file, end, &token), 0);
        EXPECT_EQ(token.chunkOffset, 2u);
        EXPECT_EQ(token.chunkSize, 17u);
        EXPECT_EQ(typeOf(token), "abCd");
        EXPECT_EQ(token.dataOffset, 10u);
        EXPECT_EQ(token.dataLength, 5u);
        EXPECT_EQ(token.crc, 0xDEADBEEFu);  // wrong, and still reported
        EXPECT_EQ(std::ftell(file), 19);
        EXPECT_EQ(MarqenPNGImageReadSingleChunkToken(file, end, &token), 4);  // 11 bytes left
        EXPECT_EQ(std::ftell(file), 19);
        std::fseek(file, 0, SEEK_END);
        EXPECT_EQ(MarqenPNGImageReadSingleChunkToken(file, end, &token), 5);
        // A length one byte longer than what is left runs past the end.
        std::fseek(file, 2, SEEK_SET);
        EXPECT_EQ(MarqenPNGImageReadSingleChunkToken(file, 2 + 16, &token), 3);
        // An end beyond the real file (a file that shrank after it was measured): the zero frame at 19
        // reads, its CRC would lie past the real end.
        std::fseek(file, 19, SEEK_SET);
        EXPECT_EQ(MarqenPNGImageReadSingleChunkToken(file, end + 100, &token), 3);
        std::fseek(file, 25, SEEK_SET);
        EXPECT_EQ(MarqenPNGImageReadSingleChunkToken(file, end + 100, &token), 4);  // no whole frame left
        std::fclose(file);
    }
}

TEST_F(RichImageCodec, PNGWalkBoundariesAndQuirks) {
    std::string chunk = pngChunk("IHDR", std::string(12, '\x07'));  // 24 bytes: the file is 32
    writeFile(dir / "32.png", kPNGSignature + chunk);
    writeFile(dir / "31.png", (kPNGSignature + chunk).substr(0, 31));
    writeFile(dir / "badsig.png", "\x88" + (kPNGSignature + chunk).substr(1));
    int result = -1;
    EXPECT_EQ(walkPNG("32.png", &result).tokens.size(), 1u);
    EXPECT_EQ(result, 0);
    walkPNG("31.png", &result);
    EXPECT_EQ(result, 2);
    walkPNG("badsig.png", &result);
    EXPECT_EQ(result, 2);
    EXPECT_EQ(MarqenPNGReadChunkTokens(nullptr, path("missing.png").c_str(), nullptr), 1);
    EXPECT_EQ(MarqenPNGReadChunkTokens(nullptr, path("32.png").c_str(), nullptr), 0);  // no callback

    // After IEND: chunks are still reported, fewer than 12 trailing bytes end quietly.
    writeFile(dir / "after.png", kPNGSignature + chunk + kIEND + pngChunk("zzZz", "tail") + "short");
    Walk walk = walkPNG("after.png", &result);
    EXPECT_EQ(result, 0);
    ASSERT_EQ(walk.tokens.size(), 3u);
    EXPECT_EQ(typeOf(walk.tokens[2]), "zzZz");
    EXPECT_EQ(walk.tokens[2].chunkOffset, 8u + 24 + 12);
    // Each CRC is read with the next chunk's frame: every token still carries its own.
    const std::string after = readFile(dir / "after.png");
    for (const MarqenRichImageChunkToken &token : walk.tokens)
        EXPECT_EQ(token.crc, MarqenRichImageUint32FromUint8Array(reinterpret_cast<const uint8_t *>(
                                 after.data() + token.chunkOffset + token.chunkSize - 4)));

    // A declared length past the end gives 3, after the chunks before it were reported.
    writeFile(dir / "long.png", kPNGSignature + chunk + be32(1000) + "IDAT" + std::string(20, 'x'));
    walk = walkPNG("long.png", &result);
    EXPECT_EQ(result, 3);
    EXPECT_EQ(walk.tokens.size(), 1u);
}

TEST_F(RichImageCodec, PNGWriterLayoutKeepsEveryChunkByteForByte) {
    const std::string ihdr = pngChunk("IHDR", std::string("\0\0\0\1\0\0\0\1\x08\x06\0\0\0", 13));
    const std::string idat = pngChunkWithCRC("IDAT", "pixels", 0x12345678);  // wrong CRC, copied as is
    const std::string oldMeta = pngChunk("mqMf", "old");
    const std::string afterIEND = pngChunk("zzZz", "after");
    writeFile(dir / "src.png", kPNGSignature + ihdr + idat + oldMeta + kIEND + afterIEND + "xyz");
    ASSERT_EQ(MarqenPNGWriteChunks(&source, path("src.png").c_str(), path("out.png").c_str(), writeTestChunks), 0);
    EXPECT_EQ(readFile(dir / "out.png"), kPNGSignature + ihdr + idat + oldMeta + afterIEND + expectedChunks() + kIEND);

    // Reading back: the old metadata chunk comes first, so the new one (last) wins for a reader.
    int result = -1;
    Walk walk = walkPNG("out.png", &result);
    ASSERT_EQ(walk.tokens.size(), 7u);
    EXPECT_EQ(typeOf(walk.tokens[3]), "zzZz");
    EXPECT_EQ(typeOf(walk.tokens[4]), "mqMf");
    EXPECT_EQ(walk.tokens[4].dataLength, kIndex.size());
    EXPECT_EQ(walk.tokens[5].dataLength, 16 + kResource.size());
    EXPECT_EQ(walk.tokens[5].crc, bitwiseCRC32("mqRf" + uuidBytes(kUUID) + kResource));

    // The copying callback on its own: every chunk but IEND, byte for byte.
    FILE *copied = std::fopen(path("copied").c_str(), "wb");
    ASSERT_EQ(MarqenPNGReadChunkTokens(copied, path("src.png").c_str(), MarqenPNGWriteChunksReadChunkTokensCallback), 0);
    std::fclose(copied);
    EXPECT_EQ(readFile(dir / "copied"), ihdr + idat + oldMeta + afterIEND);

    // Without a writer only the copy and IEND are written.
    ASSERT_EQ(MarqenPNGWriteChunks(nullptr, path("src.png").c_str(), path("plain.png").c_str(), nullptr), 0);
    EXPECT_EQ(readFile(dir / "plain.png"), kPNGSignature + ihdr + idat + oldMeta + afterIEND + kIEND);
}

TEST_F(RichImageCodec, PNGWriterFailures) {
    writeFile(dir / "long.png", kPNGSignature + pngChunk("IHDR", "abc") + be32(99) + "IDAT" + std::string(20, 'x'));
    EXPECT_EQ(MarqenPNGWriteChunks(nullptr, path("long.png").c_str(), path("out.png").c_str(), nullptr), 3);
    // What was written stays: the signature and the chunk before the broken one.
    EXPECT_EQ(readFile(dir / "out.png"), kPNGSignature + pngChunk("IHDR", "abc"));
    writeFile(dir / "tiny.png", "tiny");
    EXPECT_EQ(MarqenPNGWriteChunks(nullptr, path("tiny.png").c_str(), path("out2.png").c_str(), nullptr), 2);
    EXPECT_EQ(MarqenPNGWriteChunks(nullptr, path("long.png").c_str(), path("no/such/dir.png").c_str(), nullptr), 1);
}

TEST_F(RichImageCodec, JPEGTestsLookOnlyAtTheNameAndTrailer) {
    auto code = [&](const std::string &bytes) { return fileTest(MarqenJPGImageIsValidMarqenJPGFile, bytes); };
    EXPECT_EQ(code(fakeJPEG(124)), 10);
    EXPECT_EQ(code(fakeJPEG(125)), 12);  // a JPEG, but no trailer
    EXPECT_EQ(code(fakeJPEG(200, std::string("JFIF\1", 5))), 11);
    EXPECT_EQ(code(fakeJPEG(200, std::string("Exif\0", 5))), 12);
    // Only bytes 6-10 count: no start-of-image marker is needed.
    std::string noSOI = fakeJPEG();
    noSOI[0] = 'A';
    writeFile(dir / "nosoi.jpg", noSOI);
    EXPECT_TRUE(MarqenJPGImageIsJPG(path("nosoi.jpg").c_str()));
    EXPECT_EQ(code(fakeJPEG() + be32(0) + "marqen"), 13);
    EXPECT_EQ(code(fakeJPEG() + be32(5000) + "marqen"), 13);  // longer than the file
    EXPECT_EQ(code(fakeJPEG() + pngChunk("abcd", "") + be32(12) + "marqen"), 0);
    EXPECT_FALSE(MarqenJPGImageIsValidMarqenJPG(path("missing.jpg").c_str()));
}

TEST_F(RichImageCodec, JPEGWriterAppendsChunksLengthAndMarker) {
    writeFile(dir / "src.jpg", fakeJPEG());
    ASSERT_EQ(MarqenJPGWriteChunks(&source, path("src.jpg").c_str(), path("out.jpg").c_str(), writeTestChunks), 0);
    const std::string chunks = expectedChunks();
    EXPECT_EQ(readFile(dir / "out.jpg"), fakeJPEG() + chunks + be32(uint32_t(chunks.size())) + "marqen");
    Walk walk;
    ASSERT_EQ(MarqenJPGReadChunkTokens(&walk, path("out.jpg").c_str(), recordToken), 0);
    ASSERT_EQ(walk.tokens.size(), 2u);
    EXPECT_EQ(walk.tokens[0].chunkOffset, 200u);
    EXPECT_EQ(typeOf(walk.tokens[1]), "mqRf");
    EXPECT_TRUE(URLContainsMarqenPNGChunks(path("out.jpg").c_str()));

    // No writer: L is 0, which the reader then rejects.
    ASSERT_EQ(MarqenJPGWriteChunks(nullptr, path("src.jpg").c_str(), path("empty.jpg").c_str(), nullptr), 0);
    EXPECT_EQ(readFile(dir / "empty.jpg"), fakeJPEG() + be32(0) + "marqen");
    EXPECT_EQ(MarqenJPGReadChunkTokens(nullptr, path("empty.jpg").c_str(), nullptr), 2);
    EXPECT_EQ(MarqenJPGReadChunkTokens(nullptr, path("missing.jpg").c_str(), nullptr), 1);
    EXPECT_EQ(MarqenJPGWriteChunks(nullptr, path("missing.jpg").c_str(), path("x.jpg").c_str(), nullptr), 100);
    // A truncated chunk ends the walk quietly.
    writeFile(dir / "cut.jpg", fakeJPEG() + pngChunk("mqMf", "abc") + be32(40) + "mqMf" + be32(2) + "marqen");
    walk.tokens.clear();
    EXPECT_EQ(MarqenJPGReadChunkTokens(&walk, path("cut.jpg").c_str(), recordToken), 0);
}

TEST_F(RichImageCodec, HEICTestsAndBoxWalk) {
    auto code = [&](const std::string &bytes) { return fileTest(MarqenHEICImageIsValidMarqenHEICFile, bytes); };
    EXPECT_EQ(code(""), 13);
    EXPECT_EQ(code(std::string(19, 'x')), 10);
    EXPECT_EQ(code(be32(19) + "ftyp" + std::string(12, 'x')), 11);
    EXPECT_EQ(code(be32(20) + "free" + "avif" + std::string(8, 'x')), 12);
    const std::string marker = isoBox("uuid", kMarkerUUID + pngChunk("mqMf", "{}"));
    // Any "ftyp" passes, and so does a first box of brand "heic" whatever its type.
    EXPECT_EQ(code(isoBox("ftyp", "avif" + std::string(8, 'x')) + marker), 0);
    EXPECT_EQ(code(isoBox("abcd", "heic" + std::string(8, 'x')) + marker), 0);
    EXPECT_EQ(code(fakeHEIC()), 13);
    EXPECT_EQ(code(fakeHEIC() + isoBox("uuid", std::string(16, 'u')) + marker), 0);  // another uuid box first
    EXPECT_EQ(code(fakeHEIC() + be32(0) + "mdat" + std::string(8, 'x') + marker), 13);
    // Size 1: a 64-bit size follows; a huge one passes the end, a zero one stops the walk.
    EXPECT_EQ(code(fakeHEIC() + be32(1) + "mdat" + std::string("\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8) + marker), 13);
    EXPECT_EQ(code(fakeHEIC() + be32(1) + "mdat" + std::string(8, '\0') + marker), 13);
    EXPECT_EQ(code(fakeHEIC() + be32(1) + "mdat" + be32(0) + be32(16) + marker), 0);
    // A box that claims to reach past the end.
    EXPECT_EQ(code(fakeHEIC() + be32(0xFFFFFFF0u) + "mdat" + marker), 13);
}

TEST_F(RichImageCodec, HEICWriterAppendsOneBoxWithA32BitSize) {
    writeFile(dir / "src.heic", fakeHEIC());
    ASSERT_EQ(MarqenHEICWriteChunks(&source, path("src.heic").c_str(), path("out.heic").c_str(), writeTestChunks), 0);
    const std::string chunks = expectedChunks();
    EXPECT_EQ(readFile(dir / "out.heic"), fakeHEIC() + be32(uint32_t(24 + chunks.size())) + "uuid" + kMarkerUUID + chunks);
    Walk walk;
    ASSERT_EQ(MarqenHEICReadChunkTokens(&walk, path("out.heic").c_str(), recordToken), 0);
    ASSERT_EQ(walk.tokens.size(), 2u);
    EXPECT_EQ(walk.tokens[0].chunkOffset, fakeHEIC().size() + 24);
    // The containment test looks at PNG and JPEG only.
    EXPECT_FALSE(URLContainsMarqenPNGChunks(path("out.heic").c_str()));

    ASSERT_EQ(MarqenHEICWriteChunks(nullptr, path("src.heic").c_str(), path("empty.heic").c_str(), nullptr), 0);
    EXPECT_EQ(readFile(dir / "empty.heic"), fakeHEIC() + be32(24) + "uuid" + kMarkerUUID);
    EXPECT_EQ(MarqenHEICReadChunkTokens(nullptr, path("empty.heic").c_str(), nullptr), 0);
    EXPECT_EQ(MarqenHEICReadChunkTokens(nullptr, path("src.heic").c_str(), nullptr), 2);
    EXPECT_EQ(MarqenHEICWriteChunks(nullptr, path("missing").c_str(), path("x.heic").c_str(), nullptr), 100);
}

TEST_F(RichImageCodec, ContainmentTestSeesPrivateChunksInPNGAndJPEG) {
    writeFile(dir / "plain.png", kPNGSignature + pngChunk("IHDR", std::string(13, '\0')) + kIEND);
    writeFile(dir / "rich.png", kPNGSignature + pngChunk("IHDR", std::string(13, '\0')) + pngChunk("mqRf", std::string(16, 'u')) + kIEND);
    EXPECT_FALSE(URLContainsMarqenPNGChunks(path("plain.png").c_str()));
    EXPECT_TRUE(URLContainsMarqenPNGChunks(path("rich.png").c_str()));
    EXPECT_FALSE(URLContainsMarqenPNGChunks(path("missing.png").c_str()));
}

// Every prefix of a rich PNG, JPEG and HEIC reads to a result code, and every reported chunk lies inside
// the file.
TEST_F(RichImageCodec, TruncationAtEveryOffsetGivesCodesAndChunksInsideTheFile) {
    writeFile(dir / "src.png", kPNGSignature + pngChunk("IHDR", std::string(13, '\0')) + pngChunk("IDAT", "data") + kIEND);
    writeFile(dir / "src.jpg", fakeJPEG(130));
    writeFile(dir / "src.heic", fakeHEIC());
    ASSERT_EQ(MarqenPNGWriteChunks(&source, path("src.png").c_str(), path("r.png").c_str(), writeTestChunks), 0);
    ASSERT_EQ(MarqenJPGWriteChunks(&source, path("src.jpg").c_str(), path("r.jpg").c_str(), writeTestChunks), 0);
    ASSERT_EQ(MarqenHEICWriteChunks(&source, path("src.heic").c_str(), path("r.heic").c_str(), writeTestChunks), 0);
    for (const char *name : {"r.png", "r.jpg", "r.heic"}) {
        const std::string whole = readFile(dir / name);
        for (size_t length = 0; length <= whole.size(); ++length) {
            writeFile(dir / "cut", whole.substr(0, length));
            for (auto reader : {MarqenPNGReadChunkTokens, MarqenJPGReadChunkTokens, MarqenHEICReadChunkTokens}) {
                Walk walk;
                int result = reader(&walk, path("cut").c_str(), recordToken);
                EXPECT_TRUE(result == 0 || result == 2 || result == 3) << name << " " << length << " " << result;
                for (const auto &token : walk.tokens) EXPECT_LE(uint64_t(token.chunkOffset) + token.chunkSize, length);
            }
        }
    }
}
