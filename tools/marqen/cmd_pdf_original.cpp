// marqen pdf-original: the untouched PDF inside an annotated one.
#include "command.h"
#include "pdf_opening.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o", "--password", "--owner-password"}, {});
    std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    std::string output = arguments.requireValue("-o");
    auto pdf = openPDFOrFail(path, arguments);
    MarqenError error;
    if (!pdf->writeOriginalPDFToURL(output, &error)) failure("cannot write " + output + ": " + error.localizedDescription());
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "pdf-original",
    "write the untouched PDF of an annotated PDF",
    "usage: marqen pdf-original FILE -o OUT [--password PW] [--owner-password PW]\n"
    "\n"
    "Writes to OUT the PDF as it was before annotations were added: the bytes up to the recorded\n"
    "original size for an annotated (rich) PDF, the whole file for a plain PDF. An encrypted FILE\n"
    "stays encrypted; --password gives its user password when it has one.\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
