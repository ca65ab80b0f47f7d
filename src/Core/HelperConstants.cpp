#include "Core/HelperConstants.h"

#include <nlohmann/json.hpp>

#include "Core/GroupContainer.h"
#include "Core/JsonFields.h"
#include "platform/Platform.h"

namespace velko {

std::string HelperConstants::PongPayload::toJson() const {
    nlohmann::ordered_json json;
    json["version"] = version;
    json["protocolVersion"] = protocolVersion;
    json["capabilities"] = capabilities;
    json["minVelkoVersion"] = minVelkoVersion;
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<HelperConstants::PongPayload> HelperConstants::PongPayload::fromJson(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    PongPayload pong;
    const auto read = JsonFields(json)
                          .string("version", pong.version)
                          .integer("protocolVersion", pong.protocolVersion)
                          .stringArray("capabilities", pong.capabilities)
                          .string("minVelkoVersion", pong.minVelkoVersion)
                          .result();
    if (!read) return std::nullopt;
    return pong;
}

HelperConstants::PongPayload HelperConstants::currentPong() { return currentPong(*Platform::current().workspace); }

HelperConstants::PongPayload HelperConstants::currentPong(Workspace& workspace) {
    return PongPayload{
        workspace.bundleInfoString(bundleVersionKey).value_or(fallbackVersion),
        1,
        {"paste", "hotkeys", "expansion", "screenshots", "actions"},
        "2.8",
    };
}

std::string HelperConstants::screenshotStagingURL() { return screenshotStagingURL(*Platform::current().fileSystem); }

std::string HelperConstants::screenshotStagingURL(FileSystem& fileSystem) {
    std::string path = GroupContainer(fileSystem.homeDirectory()).stagingPath();
    fileSystem.createDirectories(path);  // a failure shows up at the write that follows
    return path;
}

}  // namespace velko
