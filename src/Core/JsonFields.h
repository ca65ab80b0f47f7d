#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/Result.h"
#include "platform/Types.h"

namespace velko {

// Strict reader of one of the main application's JSON records: the key must be there with
// exactly the expected type (null never passes). Reading stops at the first field that is not,
// and result() names it and says why.
class JsonFields {
public:
    explicit JsonFields(const nlohmann::json& object) : object_(object) {}

    JsonFields& string(const char* key, std::string& out);
    JsonFields& integer(const char* key, std::int64_t& out);
    JsonFields& stringArray(const char* key, std::vector<std::string>& out);
    Result<void> result() const { return failure_ ? Result<void>(*failure_) : Result<void>(); }

    // Decodes a JSON array of records with `decodeOne(element) -> Result<T>`; the first bad
    // element fails the whole list, named by its index.
    template <class T, class DecodeOne>
    static Result<std::vector<T>> array(const Bytes& bytes, DecodeOne decodeOne) {
        const auto json = nlohmann::json::parse(bytes.begin(), bytes.end(), nullptr, false);
        if (json.is_discarded()) return Failure{"not valid JSON"};
        if (!json.is_array()) return Failure{"not a JSON array"};
        std::vector<T> result;
        result.reserve(json.size());
        for (std::size_t i = 0; i < json.size(); ++i) {
            const auto failed = [i](const std::string& why) {
                return Failure{"element " + std::to_string(i) + ": " + why};
            };
            if (!json[i].is_object()) return failed("not an object");
            Result<T> item = decodeOne(json[i]);
            if (!item) return failed(item.error());
            result.push_back(std::move(*item));
        }
        return result;
    }

private:
    // The key's value while nothing failed before; null after recording why there is none.
    const nlohmann::json* member(const char* key);
    JsonFields& wrongType(const char* key, const char* expected);

    const nlohmann::json& object_;
    std::optional<Failure> failure_;
};

}  // namespace velko
