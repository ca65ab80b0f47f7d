#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/TextRecognizer.h"

namespace velko {

// The lines the helper and velko-ocr exchange, one JSON object each. A request names an image by
// its path and gives the name the log should use for it, both hex-encoded since neither need be
// UTF-8; a result answers a request's id with the lines read, or with null when the image could
// not be read.
class RecognitionMessages {
public:
    struct Request {
        std::uint64_t id = 0;
        std::string imagePath;
        std::string name;  // the path when the request gives none
    };
    struct Result {
        std::uint64_t id = 0;
        std::optional<std::vector<TextObservation>> observations;
    };

    // One line each, newline included.
    static std::string request(const Request& request);
    static std::string result(const Result& result);
    // nullopt for a line that is not a well-formed request or result.
    static std::optional<Request> readRequest(std::string_view line);
    static std::optional<Result> readResult(std::string_view line);
};

}  // namespace velko
