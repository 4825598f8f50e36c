#pragma once
// A writer of JSON values event by event (a key, a number, the start of an object ...). Whatever writes a
// JSON form through it writes that form once: the builder below turns the events into a MarqenJSON value,
// and the library's text writer turns the same events into the text that dumping that value gives, without
// building it.
//
// Preconditions: events form one well-nested value; inside an object every value follows its key().
// Threads: a writer is used by one thread at a time.
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "../export.h"
#include "json.h"

namespace marqen {

class MARQEN_EXPORT MarqenJSONWriter {
public:
    virtual ~MarqenJSONWriter() = default;

    // The key of the next value; inside objects only.
    virtual void key(std::string_view key) = 0;
    virtual void string(std::string_view value) = 0;
    virtual void number(double value) = 0;  // a number that is not finite is written as null
    virtual void integer(int64_t value) = 0;
    virtual void unsignedInteger(uint64_t value) = 0;
    // Any value, written as it is.
    virtual void value(const MarqenJSON &value) = 0;
    virtual void beginObject() = 0;
    virtual void endObject() = 0;
    virtual void beginArray() = 0;
    virtual void endArray() = 0;

    // A member in one call.
    void stringMember(std::string_view name, std::string_view text) {
        key(name);
        string(text);
    }
    void numberMember(std::string_view name, double number) {
        key(name);
        this->number(number);
    }
    void integerMember(std::string_view name, int64_t number) {
        key(name);
        integer(number);
    }
    void unsignedMember(std::string_view name, uint64_t number) {
        key(name);
        unsignedInteger(number);
    }
    void valueMember(std::string_view name, const MarqenJSON &json) {
        key(name);
        value(json);
    }
    // The member that `part` (a pointer to an object with writeJSON) writes of itself; none when it is null.
    template <typename Part>
    void partMember(std::string_view name, const Part &part) {
        if (!part) return;
        key(name);
        part->writeJSON(*this);
    }
};

// Builds the value the events describe. A key given twice in one object keeps its first place and takes
// the last value, as assigning to an existing key of a MarqenJSON object does.
class MARQEN_EXPORT MarqenJSONBuilder final : public MarqenJSONWriter {
public:
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

    // The value built (null when nothing was written); the builder is empty again afterwards.
    MarqenJSON take();

private:
    // Members are gathered with keys that can move, and become an object, moved once, when it closes:
    // an object's own storage has const keys and copies every member, nested values and all, when it grows.
    struct Frame {
        bool isArray = false;
        std::vector<std::pair<std::string, MarqenJSON>> members;
        std::vector<MarqenJSON> items;
        std::string pendingKey;
    };

    void place(MarqenJSON &&value);

    std::vector<Frame> stack_;
    size_t depth_ = 0;  // frames in use; the ones past it are kept for their storage
    MarqenJSON root_;
};

// Counts the members written at the top level of the object being written, and keeps nothing.
class MARQEN_EXPORT MarqenJSONMemberCounter final : public MarqenJSONWriter {
public:
    void key(std::string_view) override {
        if (depth_ == 0) ++members_;
    }
    void string(std::string_view) override {}
    void number(double) override {}
    void integer(int64_t) override {}
    void unsignedInteger(uint64_t) override {}
    void value(const MarqenJSON &) override {}
    void beginObject() override { ++depth_; }
    void endObject() override { --depth_; }
    void beginArray() override { ++depth_; }
    void endArray() override { --depth_; }

    size_t members() const { return members_; }

private:
    size_t depth_ = 0;
    size_t members_ = 0;
};

}  // namespace marqen
