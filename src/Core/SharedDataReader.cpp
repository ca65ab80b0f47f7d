#include "Core/SharedDataReader.h"

#include "Core/HelperServices.h"

#include "Core/GroupContainer.h"
#include "Core/HelperConstants.h"
#include "Core/JsonFields.h"

namespace velko {

SharedDataReader::SharedDataReader(FileSystem& fileSystem, UserDefaults& userDefaults)
    : fileSystem_(fileSystem), defaults_(userDefaults.openSuite(std::string(AppGroupIdentifier))) {}

SharedDataReader::~SharedDataReader() = default;

SharedDataReader& SharedDataReader::shared() { return *HelperServices::current().reader; }

std::string SharedDataReader::storePath() const { return GroupContainer(fileSystem_.homeDirectory()).storePath(); }

void SharedDataReader::initialize() {
    isConnected = fileSystem_.exists(storePath());
    if (isConnected) loadSnippetTriggers();
}

bool SharedDataReader::verifyConnection() {
    isConnected = fileSystem_.exists(storePath());
    return isConnected;
}

void SharedDataReader::loadSnippetTriggers() {
    std::optional<Bytes> bytes;
    if (defaults_) bytes = defaults_->data(triggersKey);
    auto triggers = bytes ? decodeTriggers(*bytes) : Failure{"no triggers stored"};
    snippetTriggers = triggers ? std::move(*triggers) : std::vector<SnippetTrigger>{};
}

Result<std::vector<SharedDataReader::SnippetTrigger>> SharedDataReader::decodeTriggers(const Bytes& json) {
    return JsonFields::array<SnippetTrigger>(json, [](const nlohmann::json& element) -> Result<SnippetTrigger> {
        SnippetTrigger t;
        const auto read = JsonFields(element)
                              .string("abbreviation", t.abbreviation)
                              .string("expansion", t.expansion)
                              .string("format", t.format)
                              .stringArray("appScope", t.appScope)
                              .result();
        if (!read) return read.failure();
        return t;
    });
}

std::string SharedDataReader::encodeTriggers(const std::vector<SnippetTrigger>& triggers) {
    auto json = nlohmann::ordered_json::array();
    for (const auto& t : triggers)
        json.push_back({{"abbreviation", t.abbreviation},
                        {"expansion", t.expansion},
                        {"format", t.format},
                        {"appScope", t.appScope}});
    return json.dump();
}

}  // namespace velko
