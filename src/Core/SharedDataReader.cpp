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
    std::vector<SnippetTrigger> triggers;
    std::string error;
    if (!bytes || !decodeTriggers(*bytes, triggers, error)) triggers.clear();
    snippetTriggers = std::move(triggers);
}

bool SharedDataReader::decodeTriggers(const Bytes& json, std::vector<SnippetTrigger>& out, std::string& error) {
    return JsonFields::array<SnippetTrigger>(
        json, out, error, [](const nlohmann::json& element, SnippetTrigger& t, std::string& why) {
            return JsonFields::string(element, "abbreviation", t.abbreviation, why) &&
                   JsonFields::string(element, "expansion", t.expansion, why) &&
                   JsonFields::string(element, "format", t.format, why) &&
                   JsonFields::stringArray(element, "appScope", t.appScope, why);
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
