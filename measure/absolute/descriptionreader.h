#pragma once

#include <cstddef>
#include <functional>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>

namespace measure {

// One value of a JSON description together with the path of its key, so that whatever is wrong with it can be said.
class DescriptionNode {
public:
    using Json = nlohmann::json;

    // The whole description. Comments are allowed, keys that stand twice are not. `name` is what messages begin with.
    static Json Parse(const std::string& text, const std::string& name);
    DescriptionNode(const Json& value, const std::string& name) : mValue(&value), mName(name) {}

    // Throws InputError "name: path: text".
    [[noreturn]] void Refuse(const std::string& text) const;

    // Of an object. At refuses a key that is missing.
    void AllowKeys(std::initializer_list<const char*> keys) const;
    bool Has(const char* key) const { return mValue->contains(key); }
    DescriptionNode At(const char* key) const;

    // Of an array; a value that is none is refused.
    std::size_t Count() const;
    DescriptionNode At(std::size_t index) const;

    // As in columns.sines[0].frames.
    const std::string& Path() const { return mPath; }

    bool IsNull() const { return mValue->is_null(); }
    bool IsText() const { return mValue->is_string(); }
    std::string Text() const;
    // `rule` says which numbers `accepts` lets pass, as in "above 0"; empty when all finite ones.
    double Number(const std::function<bool(double)>& accepts, const char* rule) const;

private:
    DescriptionNode(const Json& value, const std::string& name, std::string path)
        : mValue(&value), mName(name), mPath(std::move(path)) {}

    const Json* mValue;
    std::string mName, mPath;
};

}  // namespace measure
