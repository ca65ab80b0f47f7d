#include "Core/JsonFields.h"

#include <cmath>

namespace velko {

const nlohmann::json* JsonFields::member(const char* key) {
    if (failure_) return nullptr;
    if (!object_.is_object()) {
        failure_ = Failure{"not an object"};
        return nullptr;
    }
    const auto it = object_.find(key);
    if (it == object_.end()) {
        failure_ = Failure{std::string("missing \"") + key + "\""};
        return nullptr;
    }
    return &*it;
}

JsonFields& JsonFields::wrongType(const char* key, const char* expected) {
    failure_ = Failure{std::string("\"") + key + "\" is not " + expected};
    return *this;
}

JsonFields& JsonFields::string(const char* key, std::string& out) {
    const auto* value = member(key);
    if (!value) return *this;
    if (!value->is_string()) return wrongType(key, "a string");
    out = value->get<std::string>();
    return *this;
}

JsonFields& JsonFields::integer(const char* key, std::int64_t& out) {
    const auto* value = member(key);
    if (!value) return *this;
    if (value->is_number_integer()) {
        if (value->is_number_unsigned() && value->get<std::uint64_t>() > INT64_MAX)
            return wrongType(key, "a 64-bit integer");
        out = value->get<std::int64_t>();
        return *this;
    }
    // 1.0 is an integer to a JSON reader; 1.5 is not.
    if (value->is_number_float()) {
        const double d = value->get<double>();
        if (std::trunc(d) == d && d >= -9.2e18 && d <= 9.2e18) {
            out = static_cast<std::int64_t>(d);
            return *this;
        }
    }
    return wrongType(key, "an integer");
}

JsonFields& JsonFields::stringArray(const char* key, std::vector<std::string>& out) {
    const auto* value = member(key);
    if (!value) return *this;
    if (!value->is_array()) return wrongType(key, "an array of strings");
    std::vector<std::string> result;
    result.reserve(value->size());
    for (const auto& element : *value) {
        if (!element.is_string()) return wrongType(key, "an array of strings");
        result.push_back(element.get<std::string>());
    }
    out = std::move(result);
    return *this;
}

}  // namespace velko
