#pragma once
// Copies objects of one PDF into the object numbering of another, collecting them as appended objects.
//
// Threads: a migrator belongs to one thread at a time, like the MarqenPDF objects it reads.
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/pdf/pdf_file.h"

namespace marqen {

// Remembers, per object number of a source PDF, the reference the object received in the target, so that
// an object shared by several pages is copied once and cycles in the object graph end.
class MarqenPDFMigratorSourceMap {
public:
    MarqenPDFMigratorSourceMap(std::shared_ptr<MarqenPDF> sourcePDF, std::shared_ptr<MarqenPDF> targetPDF)
        : sourcePDF_(std::move(sourcePDF)), targetPDF_(std::move(targetPDF)) {}
    static std::shared_ptr<MarqenPDFMigratorSourceMap> initWithSourcePDF(std::shared_ptr<MarqenPDF> sourcePDF,
                                                                         std::shared_ptr<MarqenPDF> targetPDF) {
        return std::make_shared<MarqenPDFMigratorSourceMap>(std::move(sourcePDF), std::move(targetPDF));
    }

    const std::shared_ptr<MarqenPDF> &sourcePDF() const { return sourcePDF_; }
    const std::shared_ptr<MarqenPDF> &targetPDF() const { return targetPDF_; }
    std::optional<MarqenPDFIndirectReference> alreadyMigratedReferenceInTargetForSourceObjectNumber(
        uint64_t sourceObjectNumber) const;
    void trackMigratedResourceReference(const MarqenPDFIndirectReference &reference, uint64_t sourceObjectNumber);

private:
    std::shared_ptr<MarqenPDF> sourcePDF_;
    std::shared_ptr<MarqenPDF> targetPDF_;
    std::unordered_map<uint64_t, MarqenPDFIndirectReference> migrated_;
};

class MarqenPDFMigrator {
public:
    MarqenPDFMigrator(std::shared_ptr<MarqenPDF> targetPDF, uint64_t startingObjectNumber)
        : targetPDF_(std::move(targetPDF)), nextObjectNumber_(startingObjectNumber) {}
    static std::shared_ptr<MarqenPDFMigrator> initWithTargetPDF(std::shared_ptr<MarqenPDF> targetPDF,
                                                               uint64_t startingObjectNumber) {
        return std::make_shared<MarqenPDFMigrator>(std::move(targetPDF), startingObjectNumber);
    }

    const std::shared_ptr<MarqenPDF> &targetPDF() const { return targetPDF_; }
    const std::vector<MarqenPDFAppendedObject> &migratedObjects() const { return migratedObjects_; }

    // A reference with the next free number (generation 0); the number is then used up.
    MarqenPDFIndirectReference nextAvailableMarqenPDFIndirectReference();
    void addObject(MarqenPDFObject object, const MarqenPDFIndirectReference &reference,
                   const std::optional<std::string> &tag = std::nullopt);
    std::optional<MarqenPDFIndirectReference> migreatedReferenceForTag(const std::string &tag) const;
    std::optional<MarqenPDFObject> migreatedObjectForTag(const std::string &tag) const;

    // The value in the target's numbering; nothing when the source map belongs to another target.
    std::optional<MarqenPDFObject> migrateObject(const MarqenPDFObject &value, MarqenPDFMigratorSourceMap &sourceMap);

private:
    MarqenPDFObject migrate(const MarqenPDFObject &value, MarqenPDFMigratorSourceMap &sourceMap, int depth);

    std::shared_ptr<MarqenPDF> targetPDF_;
    uint64_t nextObjectNumber_;
    std::vector<MarqenPDFAppendedObject> migratedObjects_;
    std::map<std::string, size_t> taggedRecords_;
    std::deque<std::pair<MarqenPDFIndirectReference, MarqenPDFIndirectReference>> pending_;  // source, target
};

}  // namespace marqen
