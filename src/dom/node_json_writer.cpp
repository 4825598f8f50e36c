#include "dom/node_json_writer.h"

namespace marqen {

namespace {

thread_local int childrenLeftOut = 0;

// While alive, nodes asked for their representation on this thread leave their children out.
class ChildrenLeftOutScope {
public:
    ChildrenLeftOutScope() { ++childrenLeftOut; }
    ~ChildrenLeftOutScope() { --childrenLeftOut; }
    ChildrenLeftOutScope(const ChildrenLeftOutScope &) = delete;
    ChildrenLeftOutScope &operator=(const ChildrenLeftOutScope &) = delete;
};

using Serializer = nlohmann::detail::serializer<MarqenJSON>;

// Writes the layout nlohmann's dump gives: pretty, "{\n", members at the next indent as "key": value,
// separated by ",\n", then "\n" and the closing brace at the container's indent; an empty container as {}
// or []; compact, no spaces at all.
class Writer {
public:
    Writer(std::string &out, int indent)
        : out_(out),
          serializer_(nlohmann::detail::output_adapter<char, std::string>(out), ' ',
                      MarqenJSON::error_handler_t::replace),
          pretty_(indent >= 0),
          step_(indent >= 0 ? static_cast<unsigned>(indent) : 0) {}

    // Writes node at the given indent, with lead written first; false (and nothing written) when the
    // node's representation is null.
    bool writeNode(const MarqenDOMNode &node, unsigned current, const std::string &lead) {
        MarqenJSON own;
        {
            ChildrenLeftOutScope scope;
            own = node.dictionaryRepresentation();
        }
        if (own.is_null()) return false;
        out_ += lead;
        if (!own.is_object()) {
            serializer_.dump(own, pretty_, false, step_, current);
            return true;
        }
        writeObject(own, current, [&](const std::string &childrenLead, unsigned childIndent) {
            bool any = false;
            for (size_t i = 0; i < node.childCount(); ++i) {
                MarqenDOMNodePtr child = node.childAtIndex(i);
                if (child->isAdjustment()) continue;
                if (writeNode(*child, childIndent, any ? itemSeparator(childIndent) : childrenLead)) any = true;
            }
            return any;
        });
        return true;
    }

    void writePages(const MarqenDOMMultiPageDocument &pages) {
        if (pages.pages().empty()) {
            serializer_.dump(pages.dictionaryRepresentation(), pretty_, false, step_, 0);
            return;
        }
        MarqenJSON own{{"type", "MultiPageDocument"}, {"children", childrenPlaceholder()}};
        writeObject(own, 0, [&](const std::string &childrenLead, unsigned childIndent) {
            bool any = false;
            for (const auto &page : pages.pages())
                if (writeNode(*page, childIndent, any ? itemSeparator(childIndent) : childrenLead)) any = true;
            return any;
        });
    }

private:
    std::string indentText(unsigned indent) const { return pretty_ ? std::string(indent, ' ') : std::string(); }
    std::string itemSeparator(unsigned indent) const { return (pretty_ ? ",\n" : ",") + indentText(indent); }

    // The key as the serializer writes it, "key": (pretty) or "key":.
    void appendKey(std::string &text, const std::string &key) {
        bool plain = true;
        for (unsigned char c : key) plain = plain && c >= 0x20 && c < 0x7f && c != '"' && c != '\\';
        if (plain) {
            text += '"';
            text += key;
            text += '"';
        } else {
            std::string escaped;
            Serializer(nlohmann::detail::output_adapter<char, std::string>(escaped), ' ',
                       MarqenJSON::error_handler_t::replace)
                .dump(MarqenJSON(key), false, false, 0);
            text += escaped;
        }
        text += pretty_ ? ": " : ":";
    }

    // Writes an object's members; the placeholder member is handed to writeChildren(lead, indent), which
    // writes the lead before its first child and says whether it wrote any (no child: no member at all).
    template <typename WriteChildren>
    void writeObject(const MarqenJSON &object, unsigned current, WriteChildren &&writeChildren) {
        unsigned inner = current + step_;
        bool any = false;
        auto memberLead = [&] { return (any ? (pretty_ ? ",\n" : ",") : (pretty_ ? "{\n" : "{")) + indentText(inner); };
        for (auto it = object.begin(); it != object.end(); ++it) {
            std::string lead = memberLead();
            appendKey(lead, it.key());
            if (it.value().is_binary()) {
                lead += pretty_ ? "[\n" : "[";
                lead += indentText(inner + step_);
                if (writeChildren(lead, inner + step_)) {
                    out_ += pretty_ ? "\n" + indentText(inner) + "]" : "]";
                    any = true;
                }
                continue;
            }
            out_ += lead;
            serializer_.dump(it.value(), pretty_, false, step_, inner);
            any = true;
        }
        if (!any)
            out_ += "{}";
        else
            out_ += pretty_ ? "\n" + indentText(current) + "}" : "}";
    }

    std::string &out_;
    Serializer serializer_;
    bool pretty_;
    unsigned step_;
};

}  // namespace

bool nodeRepresentationLeavesOutChildren() { return childrenLeftOut > 0; }

MarqenJSON childrenPlaceholder() { return MarqenJSON::binary(MarqenJSON::binary_t::container_type{}); }

void appendNodeJSONText(std::string &out, const MarqenDOMNode &node, int indent) {
    Writer(out, indent).writeNode(node, 0, std::string());
}

void appendMultiPageDocumentJSONText(std::string &out, const MarqenDOMMultiPageDocument &pages, int indent) {
    Writer(out, indent).writePages(pages);
}

}  // namespace marqen
