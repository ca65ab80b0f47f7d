#include "qt/QtApplication.h"
#include "platform/Log.h"

#include <QCoreApplication>
#include <cstdio>

namespace velko {

void QtApplication::terminate() { QCoreApplication::quit(); }

void QtApplication::startUpdater() { log::info("updates come from the system's package manager; no updater runs"); }

}  // namespace velko
