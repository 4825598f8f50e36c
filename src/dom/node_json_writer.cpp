#include "dom/node_json_writer.h"

#include "foundation/json_text_writer.h"

namespace marqen {

namespace {

template <typename Write>
void appendOrLeave(std::string &out, Write &&write) {
    size_t before = out.size();
    try {
        write();
    } catch (...) {
        out.resize(before);
        throw;
    }
}

}  // namespace

void appendNodeJSONText(std::string &out, const MarqenDOMNode &node, int indent) {
    appendOrLeave(out, [&] {
        MarqenJSONTextWriter writer(out, indent);
        node.writeJSON(writer);
    });
}

void appendMultiPageDocumentJSONText(std::string &out, const MarqenDOMMultiPageDocument &pages, int indent) {
    appendOrLeave(out, [&] {
        MarqenJSONTextWriter writer(out, indent);
        pages.writeJSON(writer);
    });
}

}  // namespace marqen
