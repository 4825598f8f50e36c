#pragma once
// Drawing page 1 of a separately rendered annotation PDF on top of a page of the PDF being updated.
//
// Threads: one thread at a time per PDF, like MarqenPDF.
#include <memory>
#include <string>

#include "formats/pdf/pdf_migrator.h"

namespace marqen {

// Adds to the migrator the objects that draw page 1 of annotatedPDF, as the Form XObject "/MarqenXObject",
// over page pageIndex (counted from 0) of the migrator's target: the page's content becomes
// "q", the untouched content, "Q /MarqenXObject Do". The page is read from the untouched PDF, so a file
// annotated before is annotated afresh. sourceMap maps annotatedPDF into the target; reuse it for several
// pages of the same annotation PDF so that shared objects are copied once.
bool MarqenPDFMergeAnnotationPage(MarqenPDF &annotatedPDF, MarqenPDFMigratorSourceMap &sourceMap,
                                  MarqenPDFMigrator &migrator, uint64_t pageIndex, MarqenError *error);

// The same for an annotation PDF in a file.
bool mergeAnnotationsWithOriginal(const std::shared_ptr<MarqenPDF> &original, const std::string &annotatedPDFURL,
                                  MarqenPDFMigrator &migrator, uint64_t pageIndex, MarqenError *error);

}  // namespace marqen
