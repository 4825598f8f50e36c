#pragma once
// JSON text of a node tree written straight from the nodes: the same bytes as dumping
// dictionaryRepresentation() (keys in the same order, strings that are not UTF-8 written with U+FFFD), with
// no JSON value built on the way, so that a large document needs memory for its text alone.
//
// Threads: the main thread, like the nodes it reads.
#include <string>

#include "dom/multi_page_document.h"
#include "dom/node.h"

namespace marqen {

// Appends the text of node->dictionaryRepresentation().dump(indent) to out; a negative indent writes it
// compact. Nothing is appended for a node whose representation is null, nor when writing throws (out is
// left as it was and the exception goes on).
void appendNodeJSONText(std::string &out, const MarqenDOMNode &node, int indent = -1);
// The same for a multi-page document: {"type": "MultiPageDocument", "children": [pages]}.
void appendMultiPageDocumentJSONText(std::string &out, const MarqenDOMMultiPageDocument &pages, int indent = -1);

}  // namespace marqen
