// marqen demo: the main job on the bundled samples.
#include <algorithm>
#include <filesystem>
#include <iostream>

#include "command.h"
#include "document_loading.h"

namespace marqen::cli {
namespace {

namespace fs = std::filesystem;

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o", "--samples"}, {});
    if (!arguments.positional().empty()) usageError("unexpected argument " + arguments.positional()[0]);
    fs::path output = arguments.value("-o", "demo-out");
    fs::path samples = arguments.value("--samples", "samples");
    std::error_code ec;
    if (!fs::is_directory(samples, ec)) failure("no samples folder at " + samples.string() + " (use --samples DIR)");
    fs::create_directories(output / "normalized", ec);
    if (ec) failure("cannot create " + output.string() + ": " + ec.message());

    std::vector<fs::path> files;
    for (const auto &entry : fs::directory_iterator(samples))
        if (entry.is_regular_file() && entry.path().extension() == ".json") files.push_back(entry.path());
    std::sort(files.begin(), files.end());

    MarqenJSON report = MarqenJSON::object();
    for (const auto &file : files) {
        auto content = loadDocumentFile(file.string());
        fs::path normalized = output / "normalized" / file.filename();
        writeFileAtomically(normalized.string(), content.dictionaryRepresentation().dump(2) + "\n");
        size_t nodes = 0;
        for (const auto &page : content.pages->pages())
            page->acceptVisitor([&](MarqenDOMNode &) {
                ++nodes;
                return true;
            });
        report[file.filename().string()] = {{"pages", content.pages->pages().size()}, {"nodes", nodes}};
        std::cout << file.filename().string() << ": " << content.pages->pages().size() << " page(s), " << nodes
                  << " nodes -> " << normalized.string() << '\n';
    }
    writeFileAtomically((output / "summary.json").string(), report.dump(2) + "\n");
    std::cout << "demo output is in " << fs::absolute(output).string() << '\n';
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "demo",
    "run the main job on the bundled samples",
    "usage: marqen demo [-o DIR] [--samples DIR]\n\n"
    "Loads every sample document in the samples folder (default ./samples), writes its\n"
    "canonical form and a summary to DIR (default ./demo-out) and says where they are.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
