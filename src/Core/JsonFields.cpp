#include "Core/JsonFields.h"

#include <cmath>

namespace velko {

namespace {
const nlohmann::json* member(const nlohmann::json& object, const char* key, std::string& error) {
    if (!object.is_object()) {
        error = "not an object";
        return nullptr;
    }
    const auto it = object.find(key);
    if (it == object.end()) {
        error = std::string("missing \"") + key + "\"";
        return nullptr;
    }
    return &*it;
}

bool wrongType(const char* key, const char* expected, std::string& error) {
    error = std::string("\"") + key + "\" is not " + expected;
    return false;
}
}  // namespace

bool JsonFields::string(const nlohmann::json& object, const char* key, std::string& out, std::string& error) {
    const auto* value = member(object, key, error);
    if (!value) return false;
    if (!value->is_string()) return wrongType(key, "a string", error);
    out = value->get<std::string>();
    return true;
}

bool JsonFields::integer(const nlohmann::json& object, const char* key, std::int64_t& out, std::string& error) {
    const auto* value = member(object, key, error);
    if (!value) return false;
    if (value->is_number_integer()) {
        if (value->is_number_unsigned() && value->get<std::uint64_t>() > INT64_MAX)
            return wrongType(key, "a 64-bit integer", error);
        out = value->get<std::int64_t>();
        return true;
    }
    // 1.0 is an integer to a JSON reader; 1.5 is not.
    if (value->is_number_float()) {
        const double d = value->get<double>();
        if (std::trunc(d) == d && d >= -9.2e18 && d <= 9.2e18) {
            out = static_cast<std::int64_t>(d);
            return true;
        }
    }
    return wrongType(key, "an integer", error);
}

bool JsonFields::stringArray(const nlohmann::json& object, const char* key, std::vector<std::string>& out,
                             std::string& error) {
    const auto* value = member(object, key, error);
    if (!value) return false;
    if (!value->is_array()) return wrongType(key, "an array of strings", error);
    std::vector<std::string> result;
    result.reserve(value->size());
    for (const auto& element : *value) {
        if (!element.is_string()) return wrongType(key, "an array of strings", error);
        result.push_back(element.get<std::string>());
    }
    out = std::move(result);
    return true;
}

}  // namespace velko
