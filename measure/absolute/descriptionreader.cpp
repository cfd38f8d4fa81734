#include "measure/absolute/descriptionreader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>
#include <vector>

#include "measure/error.h"

namespace measure {
namespace {

// The library keeps the last of several equal keys; whoever wrote them meant something else.
class UniqueKeys {
public:
    bool operator()(int, nlohmann::json::parse_event_t event, nlohmann::json& value) {
        using Event = nlohmann::json::parse_event_t;
        if (event == Event::object_start) mSeen.emplace_back();
        if (event == Event::object_end) mSeen.pop_back();
        if (event == Event::key && !mSeen.back().insert(value.get<std::string>()).second)
            throw InputError("the key '" + value.get<std::string>() + "' stands twice in the same place");
        return true;
    }

private:
    std::vector<std::set<std::string>> mSeen;
};

}  // namespace

nlohmann::json DescriptionNode::Parse(const std::string& text, const std::string& name) {
    constexpr bool kThrow = true, kIgnoreComments = true;
    if (text.find('\0') != std::string::npos)
        throw InputError(name + ": this is no text, and no description therefore");
    try {
        return Json::parse(text, UniqueKeys(), kThrow, kIgnoreComments);
    } catch (const Json::exception& error) {
        const char* what = std::strstr(error.what(), "] ");  // after the library's own error number
        throw InputError(name + ": this is no valid JSON: " + (what ? what + 2 : error.what()));
    } catch (const InputError& error) {
        throw InputError(name + ": " + error.what());
    }
}

void DescriptionNode::Refuse(const std::string& text) const {
    throw InputError(mName + ": " + (mPath.empty() ? "" : mPath + ": ") + text);
}

void DescriptionNode::AllowKeys(std::initializer_list<const char*> keys) const {
    if (!mValue->is_object()) Refuse("must be an object { ... }");
    for (const auto& item : mValue->items()) {
        const std::string& key = item.key();
        const bool known = std::any_of(keys.begin(), keys.end(), [&](const char* k) { return key == k; });
        if (known) continue;
        std::string list;
        for (const char* k : keys) list += (list.empty() ? "" : ", ") + std::string(k);
        Refuse("unknown key '" + key + "'; there are " + list);
    }
}

DescriptionNode DescriptionNode::At(const char* key) const {
    if (!Has(key)) Refuse("the key '" + std::string(key) + "' is missing");
    return {(*mValue)[key], mName, mPath.empty() ? key : mPath + "." + key};
}

std::size_t DescriptionNode::Count() const {
    if (!mValue->is_array()) Refuse("must be a list [ ... ]");
    return mValue->size();
}

DescriptionNode DescriptionNode::At(std::size_t index) const {
    return {(*mValue)[index], mName, mPath + "[" + std::to_string(index) + "]"};
}

std::string DescriptionNode::Text() const {
    if (!mValue->is_string() || mValue->get_ref<const std::string&>().empty()) Refuse("must be a text");
    return mValue->get<std::string>();
}

double DescriptionNode::Number(const std::function<bool(double)>& accepts, const char* rule) const {
    if (!mValue->is_number()) Refuse(*rule ? std::string("must be a number ") + rule : "must be a number");
    const double number = mValue->get<double>();
    if (!std::isfinite(number) || !accepts(number)) Refuse(mValue->dump() + " is given, it must be " + rule);
    return number;
}

}  // namespace measure
