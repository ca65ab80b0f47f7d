#include "Core/HelperIPCManager.h"

#include "Core/HelperServices.h"

#include "Core/HelperConstants.h"
#include "Core/KeystrokeInjector.h"

namespace velko {

using Names = HelperConstants::Notification;

HelperIPCManager::HelperIPCManager(NotificationCenter& center, AccessibilityTrust& trust, KeystrokeInjector& injector,
                                   Workspace& workspace)
    : dnc_(center), trust_(trust), injector_(injector), workspace_(workspace) {}

HelperIPCManager& HelperIPCManager::shared() { return *HelperServices::current().link; }

void HelperIPCManager::start() {
    dnc_.observe(Names::ping, [this](const std::string& o) { handlePing(o); });
    dnc_.observe(Names::pasteNow, [this](const std::string& o) { handlePasteNow(o); });
    dnc_.observe(Names::pastePlain, [this](const std::string& o) { handlePastePlain(o); });
    dnc_.observe(Names::pasteMatch, [this](const std::string& o) { handlePasteMatch(o); });
    dnc_.observe(Names::expansionTrigger, [this](const std::string& o) { handleExpansionTrigger(o); });
    sendPong();  // a main application that is already running learns of us unasked
}

void HelperIPCManager::sendPong() { dnc_.post(Names::pong, HelperConstants::currentPong(workspace_).toJson()); }

void HelperIPCManager::handlePing(const std::string&) { sendPong(); }
void HelperIPCManager::handlePasteNow(const std::string&) { paste(pasteNowFlags); }
void HelperIPCManager::handlePastePlain(const std::string&) { paste(pastePlainFlags); }
void HelperIPCManager::handlePasteMatch(const std::string&) { paste(pasteMatchFlags); }
void HelperIPCManager::handleExpansionTrigger(const std::string&) {}

void HelperIPCManager::paste(EventFlags flags) {
    // Asked at every request, so a grant or revocation takes effect without a restart.
    if (!trust_.isProcessTrusted()) {
        dnc_.post(Names::helperDegraded, HelperConstants::degradedReason);
        return;
    }
    injector_.injectKeystroke(KeyCodes::v, flags, true);
}

}  // namespace velko
