#include <gtest/gtest.h>

#include "formats/rich_image/composition_png_codec.h"
#include "formats/rich_image/rich_image_test_bundles.h"
#include "formats/rich_image/rich_image_test_bytes.h"
#include "support/test_support.h"

using namespace marqen;
using namespace marqen::test;
namespace fs = std::filesystem;

namespace {

struct Chunk {
    size_t offset;
    std::string type, data;
    uint32_t crc;
};

// An independent walk of a chunk sequence from offset up to end.
std::vector<Chunk> chunksIn(const std::string &bytes, size_t offset, size_t end) {
    std::vector<Chunk> chunks;
    while (offset + 12 <= end) {
        uint32_t length = readBE32(bytes, offset);
        if (offset + 12 + length > end) break;
        chunks.push_back({offset, bytes.substr(offset + 4, 4), bytes.substr(offset + 8, length), readBE32(bytes, offset + 8 + length)});
        offset += 12 + length;
    }
    return chunks;
}

// The private chunks of the sample bundle, in order, with their CRCs checked.
void expectSampleChunks(const std::vector<Chunk> &chunks, const fs::path &resources) {
    ASSERT_EQ(chunks.size(), 3u);
    EXPECT_EQ(chunks[0].type, "mqMf");
    EXPECT_EQ(chunks[0].data, kSampleIndex);
    std::set<std::string> seen;
    for (size_t i = 1; i < 3; ++i) {
        EXPECT_EQ(chunks[i].type, "mqRf");
        ASSERT_GE(chunks[i].data.size(), 16u);
        std::string uuid = chunks[i].data.substr(0, 16);
        const std::string &name = uuid == uuidBytes(kFirstResourceUUID) ? kFirstResourceUUID : kSecondResourceUUID;
        EXPECT_EQ(uuid, uuidBytes(name));
        EXPECT_EQ(chunks[i].data.substr(16), readFile(resources / name));
        seen.insert(name);
    }
    EXPECT_EQ(seen.size(), 2u);
    for (const Chunk &chunk : chunks) EXPECT_EQ(chunk.crc, bitwiseCRC32(chunk.type + chunk.data));
}

class OnlyFirstResource : public MarqenCompositionPNGCodecDelegate {
public:
    std::optional<std::set<std::string>> compositionPNGCodecResourceURIsForBundle(MarqenCompositionPNGCodec &,
                                                                                  const MarqenCompositionBundle &) override {
        return std::set<std::string>{"marqen+uuid:///" + kFirstResourceUUID};
    }
};

}  // namespace

TEST(CompositionPNGCodec, EachContainerRoundTripsTheBundle) {
    TempDir dir;
    for (MarqenImageFormat format : {MarqenImageFormat::PNG, MarqenImageFormat::JPEG, MarqenImageFormat::HEIC}) {
        SCOPED_TRACE(MarqenImageFormatName(format));
        const std::string name = MarqenImageFormatName(format);
        auto bundle = makeSampleBundle(dir / ("in-" + name), format);
        const fs::path out = dir / ("rich." + name);
        MarqenCompositionPNGCodec codec;
        MarqenError error;
        ASSERT_TRUE(codec.encodeBundle(bundle, out, &error)) << error.description();
        EXPECT_EQ(codec.bundle(), bundle);

        const std::string preview = readFile(bundle->previewURL());
        const std::string rich = readFile(out);
        if (format == MarqenImageFormat::PNG) {
            // Every chunk of the preview but IEND, then the private chunks, then IEND.
            std::vector<Chunk> source = chunksIn(preview, 8, preview.size());
            ASSERT_EQ(source.back().type, "IEND");
            const size_t copied = source.back().offset;
            EXPECT_EQ(rich.substr(0, copied), preview.substr(0, copied));
            EXPECT_EQ(rich.substr(rich.size() - 12), kIEND);
            expectSampleChunks(chunksIn(rich, copied, rich.size() - 12), bundle->resourcesURL());
        } else if (format == MarqenImageFormat::JPEG) {
            EXPECT_EQ(rich.substr(0, preview.size()), preview);
            EXPECT_EQ(rich.substr(rich.size() - 6), "marqen");
            EXPECT_EQ(readBE32(rich, rich.size() - 10), rich.size() - 10 - preview.size());
            expectSampleChunks(chunksIn(rich, preview.size(), rich.size() - 10), bundle->resourcesURL());
        } else {
            EXPECT_EQ(rich.substr(0, preview.size()), preview);
            EXPECT_EQ(readBE32(rich, preview.size()), rich.size() - preview.size());
            EXPECT_EQ(rich.substr(preview.size() + 4, 20), "uuid" + kMarkerUUID);
            expectSampleChunks(chunksIn(rich, preview.size() + 24, rich.size()), bundle->resourcesURL());
        }

        auto back = MarqenCompositionBundle::bundleAtDirectory(dir / ("out-" + name));
        MarqenCompositionPNGCodec decoder;
        ASSERT_TRUE(decoder.decodeImageAtURL(out, back, &error)) << error.description();
        EXPECT_FALSE(decoder.lastError());
        EXPECT_EQ(readFile(back->indexJSONFileURL()), kSampleIndex);
        for (const std::string &uuid : {kFirstResourceUUID, kSecondResourceUUID}) {
            auto located = back->resourceURLForResourceURI("marqen+uuid:///" + uuid, nullptr);
            ASSERT_TRUE(located);
            EXPECT_EQ(readFile(*located), readFile(bundle->resourcesURL() / uuid));
        }
        EXPECT_EQ(back->resources().size(), 2u);
    }
}

TEST(CompositionPNGCodec, DelegateChoosesResourcesAndTemporaryFilesGo) {
    TempDir dir;
    fs::create_directory(dir / "tmp");
    EnvironmentInForce temporary("TMPDIR", (dir / "tmp").string());
    auto bundle = makeSampleBundle(dir / "in", MarqenImageFormat::PNG);
    auto delegate = std::make_shared<OnlyFirstResource>();
    MarqenCompositionPNGCodec codec;
    codec.setDelegate(delegate);
    ASSERT_TRUE(bundle->writePNGAtPath(dir / "plain-all.png", nullptr));  // no delegate: every resource
    ASSERT_TRUE(codec.encodeBundle(bundle, dir / "one.png", nullptr));
    auto back = MarqenCompositionBundle::bundleAtDirectory(dir / "out");
    MarqenCompositionPNGCodec decoder;
    ASSERT_TRUE(decoder.decodeImageAtURL(dir / "one.png", back, nullptr));
    ASSERT_EQ(back->resources().size(), 1u);
    EXPECT_EQ(back->resources()[0].resourceURI, "marqen+uuid:///" + kFirstResourceUUID);
    EXPECT_TRUE(fs::is_empty(dir / "tmp"));
}

TEST(CompositionPNGCodec, FailuresKeepTheOldFileAndReportCodes) {
    TempDir dir;
    auto bundle = makeSampleBundle(dir / "in", MarqenImageFormat::PNG);
    writeFile(dir / "out.png", "older file");
    // A preview that is not a PNG, JPEG or HEIC cannot be walked: code 2, the old file stays.
    writeFile(bundle->previewURL(), "not a picture at all, but long enough to be looked at");
    MarqenCompositionPNGCodec codec;
    MarqenError error;
    EXPECT_FALSE(codec.encodeBundle(bundle, dir / "out.png", &error));
    EXPECT_EQ(error.domain, "MarqenPNGImageErrorDomain");
    EXPECT_EQ(error.code, 2);
    EXPECT_TRUE(error.userInfo.empty());
    EXPECT_EQ(readFile(dir / "out.png"), "older file");
    size_t entries = 0;
    for (auto &entry : fs::directory_iterator(dir.path())) entries += entry.is_regular_file();
    EXPECT_EQ(entries, 1u);  // no temporary file left beside it
    // A preview that is a link out of the bundle is not read.
    fs::remove(bundle->previewURL());
    fs::create_symlink(dir / "out.png", bundle->previewURL());
    EXPECT_FALSE(codec.encodeBundle(bundle, dir / "out2.png", &error));
    EXPECT_EQ(error.code, 1);
    // A destination that is a link is refused, and what it points to stays as it was.
    fs::remove(bundle->previewURL());
    writeFile(bundle->previewURL(), samplePicture(MarqenImageFormat::PNG));
    fs::create_symlink(dir / "out.png", dir / "link.png");
    EXPECT_FALSE(codec.encodeBundle(bundle, dir / "link.png", &error));
    EXPECT_EQ(error.code, 1);
    EXPECT_EQ(readFile(dir / "out.png"), "older file");
    EXPECT_TRUE(fs::is_symlink(dir / "link.png"));

    // Decoding: a plain JPEG reports the PNG reader's 2; a plain PNG succeeds and stores nothing.
    writeFile(dir / "plain.jpg", samplePicture(MarqenImageFormat::JPEG));
    writeFile(dir / "plain.png", samplePicture(MarqenImageFormat::PNG));
    auto back = MarqenCompositionBundle::bundleAtDirectory(dir / "back");
    EXPECT_FALSE(codec.decodeImageAtURL(dir / "plain.jpg", back, &error));
    EXPECT_EQ(error.code, 2);
    EXPECT_TRUE(codec.decodeImageAtURL(dir / "plain.png", back, &error));
    EXPECT_FALSE(fs::exists(back->indexJSONFileURL()));
    EXPECT_TRUE(back->resources().empty());
}

TEST(CompositionPNGCodec, HostileChunksAreSkippedOrReported) {
    TempDir dir;
    const std::string picture = samplePicture(MarqenImageFormat::PNG);
    const std::string body = picture.substr(0, picture.size() - 12);
    // Two metadata chunks: the last wins. A resource chunk shorter than 16 bytes is skipped and logged.
    writeFile(dir / "two.png", body + pngChunk("mqMf", "{\"first\":1}") + pngChunk("mqRf", "short") +
                                   pngChunk("mqMf", "{\"second\":2}") + kIEND);
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(dir / "b");
    LogCapture log;
    MarqenCompositionPNGCodec codec;
    ASSERT_TRUE(codec.decodeImageAtURL(dir / "two.png", bundle, nullptr));
    EXPECT_EQ(readFile(bundle->indexJSONFileURL()), "{\"second\":2}");
    EXPECT_TRUE(log.contains("Skipped the resource chunk at offset " + std::to_string(body.size() + 12 + 11) +
                             ": shorter than 16 bytes"));
    // A metadata chunk declaring gigabytes in a small file: code 3 for a PNG, a quiet end for a JPEG.
    writeFile(dir / "huge.png", body + be32(0x7FFFFFF0u) + "mqMf" + "tiny");
    MarqenError error;
    EXPECT_FALSE(codec.decodeImageAtURL(dir / "huge.png", bundle, &error));
    EXPECT_EQ(error.code, 3);
    const std::string jpeg = samplePicture(MarqenImageFormat::JPEG);
    const std::string tail = be32(0x7FFFFFF0u) + "mqMf" + "tiny";
    writeFile(dir / "huge.jpg", jpeg + tail + be32(uint32_t(tail.size())) + "marqen");
    auto other = MarqenCompositionBundle::bundleAtDirectory(dir / "c");
    EXPECT_TRUE(codec.decodeImageAtURL(dir / "huge.jpg", other, nullptr));
    EXPECT_FALSE(fs::exists(other->indexJSONFileURL()));
    // A bundle error while storing is kept in lastError and does not fail the decode.
    fs::create_directory(other->resourcesURL() / "index.json");
    EXPECT_TRUE(codec.decodeImageAtURL(dir / "two.png", other, nullptr));
    ASSERT_TRUE(codec.lastError());
    EXPECT_EQ(codec.lastError()->domain, "MarqenCompositionBundleErrorDomain");
}
