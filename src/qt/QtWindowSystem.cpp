#include "qt/QtWindowSystem.h"

#include <QGuiApplication>

#include "qt/BundledImages.h"
#include "qt/QtPreferencesWindow.h"

namespace velko {

std::unique_ptr<Window> QtWindowSystem::makePreferencesWindow(const PreferencesWindowModel& model,
                                                              ButtonTarget& target) {
    // Without a display (pure Wayland, a headless box) nobody could see it.
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) return nullptr;
    return std::make_unique<QtPreferencesWindow>(model, target);
}

}  // namespace velko
