#pragma once
// JSON text of a node tree written straight from the nodes: the same bytes as dumping
// dictionaryRepresentation() (keys in the same order, strings that are not UTF-8 written with U+FFFD), without
// building the whole tree of JSON values first. Each node's own keys are still built as a small JSON object;
// its children are written in place of its "children" member, one after the other, so a large document
// needs memory for the text and one node's keys per level, not for a second copy of the document as JSON.
//
// Threads: the main thread, like the nodes it reads.
#include <string>

#include "dom/multi_page_document.h"
#include "dom/node.h"

namespace marqen {

// Appends the text of node->dictionaryRepresentation().dump(indent) to out; a negative indent writes it
// compact. Nothing is appended for a node whose representation is null.
void appendNodeJSONText(std::string &out, const MarqenDOMNode &node, int indent = -1);
// The same for a multi-page document: {"type": "MultiPageDocument", "children": [pages]}.
void appendMultiPageDocumentJSONText(std::string &out, const MarqenDOMMultiPageDocument &pages, int indent = -1);

// True while the writer asks a node for its own keys: MarqenDOMNode::dictionaryRepresentation() then
// stands a placeholder (a binary value, which JSON text never holds) in for "children" when the node has
// children to write, and builds none of them.
bool nodeRepresentationLeavesOutChildren();
// The placeholder itself.
MarqenJSON childrenPlaceholder();

}  // namespace marqen
