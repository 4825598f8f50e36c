#pragma once
// Writes JSON text event by event: the same bytes as MarqenJSON's dump of the value the events describe
// (pretty with `indent` spaces per level, or compact when indent is negative; strings that are not UTF-8
// written with U+FFFD in place of the bad bytes), without building the value.
//
// Threads: one thread at a time, like the string it appends to.
#include <string>
#include <vector>

#include "foundation/json_writer.h"

namespace marqen {

class MarqenJSONTextWriter final : public MarqenJSONWriter {
public:
    // Appends to out, which must outlive the writer.
    MarqenJSONTextWriter(std::string &out, int indent);

    void key(std::string_view key) override;
    void string(std::string_view value) override;
    void number(double value) override;
    void integer(int64_t value) override;
    void unsignedInteger(uint64_t value) override;
    void value(const MarqenJSON &value) override;
    void beginObject() override;
    void endObject() override;
    void beginArray() override;
    void endArray() override;

private:
    using Serializer = nlohmann::detail::serializer<MarqenJSON>;

    // Before a value: in an array, the separator and the indent of the next item (a member's key did that).
    void beforeValue();
    // The separator before the next member or item of the innermost container, then its indent.
    void separate();
    void close(char bracket);
    void appendIndent(size_t depth);
    void appendQuoted(std::string_view text);

    std::string &out_;
    Serializer serializer_;
    bool pretty_;
    unsigned step_;
    struct Container {
        bool isArray;
        bool any;  // a member or item is written
    };
    std::vector<Container> open_;
};

}  // namespace marqen
