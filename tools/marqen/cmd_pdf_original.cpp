// marqen pdf-original: the untouched PDF inside an annotated one.
#include "command.h"
#include "formats/pdf/pdf_file.h"

namespace marqen::cli {
namespace {

int run(const std::vector<std::string> &args) {
    Arguments arguments(args, {"-o"}, {});
    std::string path = arguments.requirePositional(0, "FILE");
    if (arguments.positional().size() > 1) usageError("unexpected argument " + arguments.positional()[1]);
    std::string output = arguments.requireValue("-o");
    auto pdf = MarqenPDF::initWithContentsOfFile(path);
    if (!pdf) failure("cannot read " + path + " as a PDF");
    MarqenError error;
    if (!pdf->writeOriginalPDFToURL(output, &error)) failure("cannot write " + output + ": " + error.localizedDescription());
    return kExitSuccess;
}

const MarqenCommandRegistration registration({
    "pdf-original",
    "write the untouched PDF of an annotated PDF",
    "usage: marqen pdf-original FILE -o OUT\n"
    "\n"
    "Writes to OUT the PDF as it was before annotations were added: the bytes up to the recorded\n"
    "original size for an annotated (rich) PDF, the whole file for a plain PDF.\n",
    run,
});

}  // namespace
}  // namespace marqen::cli
