// marqen chunks: the chunks of a rich image, found as the decoder finds them.
#include <iostream>

#include "command.h"
#include "formats/rich_image/rich_heic.h"
#include "formats/rich_image/rich_jpeg.h"
#include "formats/rich_image/rich_png.h"
#include "foundation/json.h"

namespace marqen::cli {
namespace {

int collect(void *context, FILE *, MarqenRichImageChunkToken token) {
    static_cast<std::vector<MarqenRichImageChunkToken> *>(context)->push_back(token);
    return 0;
}

std::string typeText(const MarqenRichImageChunkToken &token) {
    return std::string(reinterpret_cast<const char *>(token.type), 4);
}

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {}, {"--json"});
    const std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    std::vector<MarqenRichImageChunkToken> tokens;
    std::string container;
    int result = 0;
    if (MarqenJPGReadChunkTokens(&tokens, path.c_str(), collect) == 0) {
        container = "jpeg";
    } else if (MarqenHEICReadChunkTokens(&tokens, path.c_str(), collect) == 0) {
        container = "heic";
    } else if ((result = MarqenPNGReadChunkTokens(&tokens, path.c_str(), collect)) == 0) {
        container = "png";
    } else {
        failure(path + " is not a rich JPEG, rich HEIC or PNG (result code " + std::to_string(result) + ")");
    }
    if (arguments.has("--json")) {
        MarqenJSON chunks = MarqenJSON::array();
        for (const auto &token : tokens)
            chunks.push_back({{"offset", token.chunkOffset}, {"size", token.chunkSize}, {"type", typeText(token)},
                              {"dataOffset", token.dataOffset}, {"dataLength", token.dataLength}, {"crc", token.crc}});
        MarqenJSON out = {{"container", container}, {"chunks", chunks}};
        std::cout << out.dump(2, ' ', false, MarqenJSON::error_handler_t::replace) << '\n';
        return kExitSuccess;
    }
    std::cout << "container: " << container << "\n";
    for (const auto &token : tokens) {
        std::string type = typeText(token);
        for (char &c : type)
            if (c < 0x20 || c > 0x7E) c = '?';
        char crc[16];
        std::snprintf(crc, sizeof crc, "%08x", token.crc);
        std::cout << type << "  offset " << token.chunkOffset << "  size " << token.chunkSize << "  data " << token.dataOffset
                  << "+" << token.dataLength << "  crc " << crc << '\n';
    }
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "chunks",
    "list the chunks of a rich PNG, JPEG or HEIC",
    "usage: marqen chunks FILE [--json]\n"
    "\n"
    "Walks FILE as the decoder does (rich JPEG, then rich HEIC, then PNG) and lists every chunk it finds:\n"
    "type, offset, whole size, data offset and length, and the stored CRC (never checked). \"mqMf\" holds\n"
    "the document's index, each \"mqRf\" one resource.\n"
    "\n"
    "  --json   {\"container\": \"png\"|\"jpeg\"|\"heic\", \"chunks\": [{\"offset\", \"size\", \"type\",\n"
    "           \"dataOffset\", \"dataLength\", \"crc\"}]}\n"
    "\n"
    "Exit status 1 (naming the reader's result code) when FILE is none of them.\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
