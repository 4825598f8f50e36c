#pragma once
// Opening a PDF for a command: the --password and --owner-password options, and a failure that names
// why the file could not be read (a password, an unsupported encryption, damage).
#include <memory>
#include <string>

#include "command.h"
#include "formats/pdf/pdf_file.h"

namespace marqen::cli {

// The value options every PDF-reading command takes.
inline const std::vector<std::string> kPDFPasswordOptions = {"--password", "--owner-password"};

// The opened file; fails the command (exit 1) with the reason when it cannot be opened.
std::shared_ptr<MarqenPDF> openPDFOrFail(const std::string &path, const Arguments &arguments);

// Fails the command when the file could not be read where the reader looked (another process truncated
// it meanwhile): what was read from it may be missing objects.
void failIfReadFailed(const MarqenPDF &pdf, const std::string &path);

}  // namespace marqen::cli
