#pragma once
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velko {

// One piece of text found in an image (a line), with its readings ranked best first.
struct TextObservation {
    std::vector<std::string> candidates;
};

// Optical character recognition at a level that favours accuracy over speed.
class TextRecognizer {
public:
    using Completion = std::function<void(std::optional<std::vector<TextObservation>>)>;
    virtual ~TextRecognizer() = default;
    // Queues the image file at path for one of a few recogniser threads and calls done on that
    // thread with the observations in reading order; nullopt when the file is not a decodable
    // image, is larger than is read, or recognition failed. Not called at all when the process
    // shuts down first. name: how the log speaks of the image (the screenshot's own name).
    virtual void recognizeText(const std::string& imagePath, const std::string& name, Completion done) = 0;
    void recognizeText(const std::string& imagePath, Completion done) {
        recognizeText(imagePath, imagePath, std::move(done));
    }
};

}  // namespace velko
