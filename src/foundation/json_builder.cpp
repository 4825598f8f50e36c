#include "foundation/json_writer.h"

namespace marqen {

void MarqenJSONBuilder::key(std::string_view key) {
    if (depth_ > 0) stack_[depth_ - 1].pendingKey.assign(key);
}

void MarqenJSONBuilder::string(std::string_view value) { place(MarqenJSON(std::string(value))); }
void MarqenJSONBuilder::number(double value) { place(MarqenJSON(value)); }
void MarqenJSONBuilder::integer(int64_t value) { place(MarqenJSON(value)); }
void MarqenJSONBuilder::unsignedInteger(uint64_t value) { place(MarqenJSON(value)); }
void MarqenJSONBuilder::value(const MarqenJSON &value) { place(MarqenJSON(value)); }

void MarqenJSONBuilder::beginObject() {
    if (depth_ == stack_.size()) stack_.emplace_back();
    Frame &frame = stack_[depth_++];
    frame.isArray = false;
    frame.members.clear();
}

void MarqenJSONBuilder::beginArray() {
    if (depth_ == stack_.size()) stack_.emplace_back();
    Frame &frame = stack_[depth_++];
    frame.isArray = true;
    frame.items.clear();
}

void MarqenJSONBuilder::endObject() {
    if (depth_ == 0) return;
    Frame &frame = stack_[--depth_];
    MarqenJSON object = MarqenJSON::object();
    auto &storage = static_cast<std::vector<MarqenJSON::object_t::value_type> &>(object.get_ref<MarqenJSON::object_t &>());
    storage.reserve(frame.members.size());
    for (auto &[name, member] : frame.members) storage.emplace_back(std::move(name), std::move(member));
    frame.members.clear();
    place(std::move(object));
}

void MarqenJSONBuilder::endArray() {
    if (depth_ == 0) return;
    Frame &frame = stack_[--depth_];
    MarqenJSON array = MarqenJSON::array();
    array.get_ref<MarqenJSON::array_t &>() = std::move(frame.items);
    frame.items.clear();
    place(std::move(array));
}

void MarqenJSONBuilder::place(MarqenJSON &&value) {
    if (depth_ == 0) {
        root_ = std::move(value);
        return;
    }
    Frame &frame = stack_[depth_ - 1];
    if (frame.isArray) {
        frame.items.push_back(std::move(value));
        return;
    }
    for (auto &member : frame.members) {
        if (member.first == frame.pendingKey) {
            member.second = std::move(value);
            return;
        }
    }
    frame.members.emplace_back(std::move(frame.pendingKey), std::move(value));
    frame.pendingKey.clear();
}

MarqenJSON MarqenJSONBuilder::take() {
    depth_ = 0;
    MarqenJSON built = std::move(root_);
    root_ = MarqenJSON();
    return built;
}

}  // namespace marqen
