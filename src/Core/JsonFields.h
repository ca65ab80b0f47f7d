#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/Types.h"

namespace velko {

// Strict readers for the main application's JSON records: the key must be there with
// exactly the expected type (null never passes). On failure `error` says which key and why.
struct JsonFields {
    static bool string(const nlohmann::json& object, const char* key, std::string& out, std::string& error);
    static bool integer(const nlohmann::json& object, const char* key, std::int64_t& out, std::string& error);
    static bool stringArray(const nlohmann::json& object, const char* key, std::vector<std::string>& out,
                            std::string& error);

    // Decodes a JSON array of records with `decodeOne(element, out, error)`; the first bad
    // element fails the whole list, and `error` names its index.
    template <class T, class DecodeOne>
    static bool array(const Bytes& bytes, std::vector<T>& out, std::string& error, DecodeOne decodeOne) {
        const auto json = nlohmann::json::parse(bytes.begin(), bytes.end(), nullptr, false);
        if (json.is_discarded()) {
            error = "not valid JSON";
            return false;
        }
        if (!json.is_array()) {
            error = "not a JSON array";
            return false;
        }
        std::vector<T> result;
        result.reserve(json.size());
        for (std::size_t i = 0; i < json.size(); ++i) {
            T item;
            std::string why;
            if (!json[i].is_object()) why = "not an object";
            if (!why.empty() || !decodeOne(json[i], item, why)) {
                error = "element " + std::to_string(i) + ": " + why;
                return false;
            }
            result.push_back(std::move(item));
        }
        out = std::move(result);
        return true;
    }
};

}  // namespace velko
