// The JSON parse: a SAX handler that builds the value itself. The library's own callback parser checks
// the parent container at the end of every object, which is quadratic in the objects of one array; this
// builder does constant work per event, so the parse is linear, and it counts depth and values as it goes
// so that a refused file is refused before it has been built.
#include <algorithm>
#include <unordered_map>

#include "foundation/json.h"
#include "foundation/resource_budget.h"

namespace marqen {

namespace {

using ObjectStorage = MarqenJSON::object_t;
using ObjectVector = std::vector<ObjectStorage::value_type>;

// Objects with more members than this find repeated keys through an index instead of a scan.
constexpr size_t kIndexedObjectSize = 16;

class BuildingHandler : public nlohmann::json_sax<MarqenJSON> {
public:
    explicit BuildingHandler(const MarqenJSONParseLimits &limits) : limits_(limits) {}

    bool null() override { return place(MarqenJSON(nullptr)); }
    bool boolean(bool value) override { return place(MarqenJSON(value)); }
    bool number_integer(number_integer_t value) override { return place(MarqenJSON(value)); }
    bool number_unsigned(number_unsigned_t value) override { return place(MarqenJSON(value)); }
    bool number_float(number_float_t value, const string_t &) override { return place(MarqenJSON(value)); }
    bool string(string_t &value) override { return place(MarqenJSON(std::move(value))); }
    bool binary(binary_t &value) override { return place(MarqenJSON::binary(std::move(value))); }

    bool start_object(std::size_t) override { return open(MarqenJSON::object()); }
    bool start_array(std::size_t) override { return open(MarqenJSON::array()); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }

    bool key(string_t &key) override {
        pendingKey_ = std::move(key);
        return true;
    }

    bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &error) override {
        if (message_.empty()) message_ = error.what();
        return false;
    }

    MarqenJSON takeResult() { return std::move(root_); }
    const std::string &message() const { return message_; }

private:
    struct Frame {
        MarqenJSON *container;
        std::unique_ptr<std::unordered_map<std::string, size_t>> keyIndex;
    };

    bool refuse(std::string text) {
        message_ = std::move(text);
        return false;
    }

    bool count() {
        if (limits_.maximumValues != 0 && ++values_ > limits_.maximumValues)
            return refuse(MarqenBudgetExceededText("the JSON file's value count", "JSON values per file",
                                                   limits_.maximumValues));
        return true;
    }

    // Puts value where the parse stands (the root, the next array item or the member named by the last
    // key) and returns where it now lives.
    MarqenJSON *insert(MarqenJSON &&value) {
        if (stack_.empty()) {
            root_ = std::move(value);
            return &root_;
        }
        Frame &frame = stack_.back();
        MarqenJSON &container = *frame.container;
        if (container.is_array()) {
            auto &items = container.get_ref<MarqenJSON::array_t &>();
            items.push_back(std::move(value));
            return &items.back();
        }
        auto &members = static_cast<ObjectVector &>(container.get_ref<ObjectStorage &>());
        // A repeated key keeps its first place and takes the last value, as everywhere else in the library.
        if (frame.keyIndex) {
            auto found = frame.keyIndex->find(pendingKey_);
            if (found != frame.keyIndex->end()) {
                members[found->second].second = std::move(value);
                return &members[found->second].second;
            }
        } else {
            for (auto &member : members) {
                if (member.first == pendingKey_) {
                    member.second = std::move(value);
                    return &member.second;
                }
            }
        }
        if (members.size() == members.capacity()) grow(members);
        members.emplace_back(std::move(pendingKey_), std::move(value));
        if (frame.keyIndex) {
            frame.keyIndex->emplace(members.back().first, members.size() - 1);
        } else if (members.size() > kIndexedObjectSize) {
            frame.keyIndex = std::make_unique<std::unordered_map<std::string, size_t>>();
            for (size_t i = 0; i < members.size(); ++i) frame.keyIndex->emplace(members[i].first, i);
        }
        return &members.back().second;
    }

    // The members' keys are const, so a vector growing on its own copies every member, nested values and
    // all (an object that gains a member after a large one copies the whole large one). Growing here moves
    // the values and copies only the keys.
    static void grow(ObjectVector &members) {
        ObjectVector grown;
        grown.reserve(std::max<size_t>(4, members.size() * 2));
        for (auto &member : members) grown.emplace_back(member.first, std::move(member.second));
        members.swap(grown);
    }

    bool place(MarqenJSON &&value) {
        if (!count()) return false;
        insert(std::move(value));
        return true;
    }

    bool open(MarqenJSON &&container) {
        if (stack_.size() >= limits_.maximumDepth)
            return refuse("JSON nested more than " + std::to_string(limits_.maximumDepth) + " levels deep");
        if (!count()) return false;
        // The container's address stays valid: its parent gains no member until it is closed.
        stack_.push_back(Frame{insert(std::move(container)), nullptr});
        return true;
    }

    bool close() {
        stack_.pop_back();
        return true;
    }

    MarqenJSONParseLimits limits_;
    MarqenJSON root_;
    std::vector<Frame> stack_;
    std::string pendingKey_;
    uint64_t values_ = 0;
    std::string message_;
};

}  // namespace

std::optional<MarqenJSON> marqen_parseJSON(const std::string &text, const MarqenJSONParseLimits &limits,
                                           std::string *message) {
    BuildingHandler handler(limits);
    bool parsed = false;
    try {
        parsed = MarqenJSON::sax_parse(text, &handler, nlohmann::detail::input_format_t::json, true, false);
    } catch (const MarqenJSON::exception &error) {
        if (message) *message = error.what();
        return std::nullopt;
    }
    if (!parsed) {
        if (message) *message = handler.message();
        return std::nullopt;
    }
    return handler.takeResult();
}

std::optional<MarqenJSON> marqen_parseJSON(const std::string &text, std::string *message) {
    MarqenJSONParseLimits limits;
    limits.maximumValues = MarqenCurrentResourceBudget().jsonValuesPerFile;
    return marqen_parseJSON(text, limits, message);
}

}  // namespace marqen
