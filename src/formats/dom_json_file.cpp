#include "formats/dom_json_file.h"

#include "dom/node_json_writer.h"

namespace marqen {

MarqenJSON MarqenDOMJSONContent::dictionaryRepresentation() const {
    if (isMultiPage) return pages->dictionaryRepresentation();
    return pages->pages().at(0)->dictionaryRepresentation();
}

std::string MarqenDOMJSONContent::JSONText(int indent) const {
    std::string text;
    if (isMultiPage)
        appendMultiPageDocumentJSONText(text, *pages, indent);
    else
        appendNodeJSONText(text, *pages->pages().at(0), indent);
    return text;
}

std::optional<MarqenDOMJSONContent> MarqenReadDOMJSON(const std::string &text, MarqenError *error) {
    std::string reason;
    auto parsed = marqen_parseJSON(text, &reason);
    if (!parsed) {
        marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileMalformed, "invalid JSON: " + reason);
        return std::nullopt;
    }
    if (!parsed->is_object()) {
        marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileMalformed,
                   "not a document: the top level is not a JSON object");
        return std::nullopt;
    }
    MarqenDOMJSONContent content;
    auto type = marqen_stringForKey(*parsed, "type");
    if (type && *type == "MultiPageDocument") {
        content.isMultiPage = true;
        content.pages = MarqenDOMMultiPageDocument::fromDictionary(*parsed);
        if (!content.pages) {
            marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileMalformed,
                       "not a multi-page document: a page could not be read");
            return std::nullopt;
        }
        return content;
    }
    if (type && *type != "Document") {
        marqenFail(error, MarqenDOMJSONFileErrorDomain, kMarqenDOMJSONFileMalformed,
                   "not a document: its type is \"" + *type + "\"");
        return std::nullopt;
    }
    content.pages = std::make_shared<MarqenDOMMultiPageDocument>(
        std::vector<std::shared_ptr<MarqenDOMDocument>>{MarqenDOMDocument::fromDictionary(*parsed)});
    return content;
}

std::optional<MarqenDOMJSONContent> MarqenReadDOMJSONFile(const std::string &path, MarqenError *error) {
    std::string text;
    if (!MarqenReadWholeFile(path, kMarqenDOMJSONFileMaximumSize, &text, error)) return std::nullopt;
    auto content = MarqenReadDOMJSON(text, error);
    if (!content && error) error->userInfo[kMarqenLocalizedDescriptionKey] = path + ": " + error->localizedDescription();
    return content;
}

}  // namespace marqen
