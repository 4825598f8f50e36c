// A host application in miniature: it sees only the installed headers and the shared library.
// It builds a document, saves and reloads it, renders it and reads the log, the way an embedding
// application would, and exits non-zero when anything is off.
#include <marqenkit/marqenkit.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace {

struct RecordingLog : marqen::CoreMarqenLogDelegate {
    std::string lines;
    void marqenLog(marqen::CoreMarqenLog &, const std::string &message) override { lines += message + "\n"; }
};

int fail(const char *what) {
    std::fprintf(stderr, "host: %s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) return fail("usage: host_program WORKDIR");
    const std::filesystem::path work = argv[1];
    using namespace marqen;

    static RecordingLog log;
    CoreMarqenLog::sharedCoreMarqenLog().setDelegate(&log);

    auto document = MarqenDOMDocument::createWithSize(CGSizeMake(400, 300), 1);
    auto arrow = MarqenDOMArrow::create();
    arrow->setStartPoint(CGPointMake(40, 40));
    arrow->setEndPoint(CGPointMake(300, 200));
    document->annotationLayer()->addChild(arrow);
    if (document->annotationLayer()->children().size() != 1) return fail("the arrow was not added");

    const std::string path = (work / "host.json").string();
    MarqenError error;
    if (!MarqenWriteFileAtomically(path, document->dictionaryRepresentation().dump(), &error))
        return fail("writing the document failed");
    auto content = MarqenReadDOMJSONFile(path, &error);
    if (!content || content->pages->pages().size() != 1) return fail("reading the document back failed");
    auto reloaded = content->pages->pages().front();
    if (reloaded->dictionaryRepresentation() != document->dictionaryRepresentation())
        return fail("the document changed on the way through its file");

    auto png = MarqenDOMDocumentPNGRepresentation(reloaded, false, &error);
    if (!png || png->size() < 8 || (*png)[1] != 'P') return fail("rendering to PNG failed");
    auto image = MarqenImageDecodeData(png->data(), png->size(), nullptr, &error);
    if (!image || image->width() != 400 || image->height() != 300) return fail("the PNG has the wrong size");

    // The picture packed with its document as a rich PNG, and unpacked again.
    auto bundle = MarqenCompositionBundle::bundleAtDirectory(work / "bundle");
    if (!bundle || !bundle->writeDataForIndexJSONFile(document->dictionaryRepresentation().dump(), &error) ||
        !bundle->writeDataForPreview(std::string(png->begin(), png->end()), &error))
        return fail("filling a bundle failed");
    if (!bundle->writePNGAtPath(work / "rich.png", &error)) return fail("packing the rich PNG failed");
    if (!URLContainsMarqenPNGChunks((work / "rich.png").c_str())) return fail("the rich PNG holds no chunks");
    auto unpacked = MarqenCompositionBundle::bundleAtDirectory(work / "unpacked");
    MarqenCompositionPNGCodec codec;
    if (!unpacked || !codec.decodeImageAtURL(work / "rich.png", unpacked, &error)) return fail("unpacking failed");
    auto format = MarqenExportFormat::initWithFormatIdentifier("com.brondale.marqen:dom.embedded:public.png");
    if (!format || format->fileExtension() != "png") return fail("the rich PNG format is unknown");

    // Failures come back as false/null plus an error, never as an exception or a crash.
    MarqenError missing;
    if (MarqenReadDOMJSONFile((work / "does-not-exist.json").string(), &missing)) return fail("a missing file read");
    if (missing.domain.empty()) return fail("a missing file gave no error domain");

    std::printf("host: ok (%zu bytes of PNG)\n", png->size());
    return 0;
}
