#pragma once
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Core/Published.h"
#include "platform/Result.h"
#include "platform/Types.h"

namespace velko {

class DefaultsSuite;
class FileSystem;
class UserDefaults;

// What the main application keeps in the group container: its store (presence only)
// and the snippet triggers in the shared defaults suite.
class SharedDataReader {
public:
    struct SnippetTrigger {
        std::string abbreviation;
        std::string expansion;
        std::string format;
        std::vector<std::string> appScope;
    };

    static inline const std::string triggersKey = "helperSnippetTriggers";

    SharedDataReader(FileSystem& fileSystem, UserDefaults& userDefaults);
    ~SharedDataReader();
    static SharedDataReader& shared();

    void initialize();
    bool verifyConnection();
    void loadSnippetTriggers();

    // The whole list or nothing: one bad element rejects it, and `error` says which and why.
    static Result<std::vector<SnippetTrigger>> decodeTriggers(const Bytes& json);
    static std::string encodeTriggers(const std::vector<SnippetTrigger>& triggers);
    std::string storePath() const;

    Published<bool> isConnected{false};
    Published<std::vector<SnippetTrigger>> snippetTriggers;

private:
    FileSystem& fileSystem_;
    std::unique_ptr<DefaultsSuite> defaults_;
};

}  // namespace velko
