#include "pdf_opening.h"

namespace marqen::cli {

std::shared_ptr<MarqenPDF> openPDFOrFail(const std::string &path, const Arguments &arguments) {
    MarqenPDFOptions options = commandLinePDFOptions();
    options.userPassword = arguments.value("--password");
    options.ownerPassword = arguments.value("--owner-password");
    MarqenError error;
    auto pdf = MarqenPDF::initWithContentsOfFile(path, options, &error);
    if (pdf) return pdf;
    std::string reason = error.localizedDescription();
    if (reason.rfind("MarqenPDF: ", 0) == 0) reason = reason.substr(11);
    if (error.code == kMarqenPDFErrorPasswordRequired) failure("cannot open " + path + ": " + reason);
    if (error.code == kMarqenPDFErrorUnsupportedEncryption) failure("cannot open encrypted " + path + ": " + reason);
    failure("cannot read " + path + " as a PDF");
}

void failIfReadFailed(const MarqenPDF &pdf, const std::string &path) {
    if (!pdf.readFailed()) return;
    std::string reason = pdf.readFailure();
    if (reason.rfind("MarqenPDF: ", 0) == 0) reason = reason.substr(11);
    failure("cannot read " + path + ": " + reason);
}

}  // namespace marqen::cli
