// marqen original: the file as it was before it was annotated.
#include <iostream>

#include "command.h"
#include "facade_export.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o"}, {});
    const std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    const std::string output = arguments.requireValue("-o");
    auto document = openDocumentOrFail(path);
    MarqenError error;
    if (!document->writeCleanUnannotatedToURL(output, &error))
        failure("cannot write " + output + ": " + error.localizedDescription());
    std::cout << "wrote " << output << '\n';
    return kExitSuccess;
}

const MarqenCommandRegistration registration{{
    "original",
    "write the clean, unannotated file",
    "usage: marqen original FILE -o OUT\n"
    "\n"
    "Writes FILE as it was before annotation: the untouched PDF of a rich PDF, the background picture of\n"
    "a rich PNG, JPEG or HEIC.\n",
    run,
}};

}  // namespace
}  // namespace marqen::cli
