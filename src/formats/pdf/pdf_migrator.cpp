#include "formats/pdf/pdf_migrator.h"

#include "formats/pdf/pdf_value_parser.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

std::optional<MarqenPDFIndirectReference> MarqenPDFMigratorSourceMap::alreadyMigratedReferenceInTargetForSourceObjectNumber(
    uint64_t sourceObjectNumber) const {
    auto found = migrated_.find(sourceObjectNumber);
    if (found == migrated_.end()) return std::nullopt;
    return found->second;
}

void MarqenPDFMigratorSourceMap::trackMigratedResourceReference(const MarqenPDFIndirectReference &reference,
                                                                uint64_t sourceObjectNumber) {
    migrated_[sourceObjectNumber] = reference;
}

MarqenPDFIndirectReference MarqenPDFMigrator::nextAvailableMarqenPDFIndirectReference() {
    return MarqenPDFIndirectReference{nextObjectNumber_++, 0};
}

void MarqenPDFMigrator::addObject(MarqenPDFObject object, const MarqenPDFIndirectReference &reference,
                                  const std::optional<std::string> &tag) {
    migratedObjects_.push_back({MarqenPDFObject(reference), std::move(object)});
    if (tag) taggedRecords_[*tag] = migratedObjects_.size() - 1;
}

std::optional<MarqenPDFIndirectReference> MarqenPDFMigrator::migreatedReferenceForTag(const std::string &tag) const {
    auto found = taggedRecords_.find(tag);
    if (found == taggedRecords_.end()) return std::nullopt;
    return *migratedObjects_[found->second].r.asReference();
}

std::optional<MarqenPDFObject> MarqenPDFMigrator::migreatedObjectForTag(const std::string &tag) const {
    auto found = taggedRecords_.find(tag);
    if (found == taggedRecords_.end()) return std::nullopt;
    return migratedObjects_[found->second].o;
}

std::optional<MarqenPDFObject> MarqenPDFMigrator::migrateObject(const MarqenPDFObject &value,
                                                               MarqenPDFMigratorSourceMap &sourceMap) {
    if (sourceMap.targetPDF() != targetPDF_) return std::nullopt;
    MarqenPDFObject result = migrate(value, sourceMap, 0);
    // Referenced objects are copied here, one after another, rather than recursively, so that long
    // chains of references in a hostile file cannot exhaust the stack.
    while (!pending_.empty()) {
        auto [source, target] = pending_.front();
        pending_.pop_front();
        MarqenPDFObject resolved = sourceMap.sourcePDF()->resolveIndirectReference(MarqenPDFObject(source), true);
        if (resolved.asStream() || resolved.asArray() || resolved.asDictionary())
            resolved = migrate(resolved, sourceMap, 0);
        addObject(std::move(resolved), target);
    }
    return result;
}

MarqenPDFObject MarqenPDFMigrator::migrate(const MarqenPDFObject &value, MarqenPDFMigratorSourceMap &sourceMap,
                                           int depth) {
    // Direct values nest no deeper than the parser allows; references restart the count, and the source
    // map ends every cycle through them.
    if (depth > MarqenPDFValueParser::kMaximumNestingDepth) {
        marqenPDFWarn("MarqenPDF: Objects nest too deeply to be copied");
        return MarqenPDFObject();
    }
    if (const MarqenPDFIndirectReference *reference = value.asReference()) {
        if (auto known = sourceMap.alreadyMigratedReferenceInTargetForSourceObjectNumber(reference->objectNumber))
            return MarqenPDFObject(*known);
        MarqenPDFIndirectReference target = nextAvailableMarqenPDFIndirectReference();
        sourceMap.trackMigratedResourceReference(target, reference->objectNumber);
        pending_.emplace_back(*reference, target);
        return MarqenPDFObject(target);
    }
    auto needsMigration = [](const MarqenPDFObject &element) {
        return element.asReference() || element.asArray() || element.asDictionary();
    };
    if (const MarqenPDFStream *stream = value.asStream()) {
        MarqenPDFObject info(value.streamPointer()->streamInfo());
        MarqenPDFObject migrated = migrate(info, sourceMap, depth + 1);
        if (migrated.isIdenticalTo(info)) return value;
        return MarqenPDFObject(stream->streamWithInfo(*migrated.asDictionary()));
    }
    if (const MarqenPDFArray *array = value.asArray()) {
        std::optional<MarqenPDFArray> copy;
        for (size_t i = 0; i < array->size(); ++i) {
            if (!needsMigration((*array)[i])) continue;
            MarqenPDFObject migrated = migrate((*array)[i], sourceMap, depth + 1);
            if (migrated.isIdenticalTo((*array)[i])) continue;
            if (!copy) copy = *array;
            (*copy)[i] = std::move(migrated);
        }
        return copy ? MarqenPDFObject(std::move(*copy)) : value;
    }
    if (const MarqenPDFDictionary *dictionary = value.asDictionary()) {
        std::optional<MarqenPDFDictionary> copy;
        for (const auto &[key, element] : *dictionary) {
            if (!needsMigration(element)) continue;
            MarqenPDFObject migrated = migrate(element, sourceMap, depth + 1);
            if (migrated.isIdenticalTo(element)) continue;
            if (!copy) copy = *dictionary;
            copy->setObject(std::move(migrated), key);
        }
        return copy ? MarqenPDFObject(std::move(*copy)) : value;
    }
    return value;
}

}  // namespace marqen
