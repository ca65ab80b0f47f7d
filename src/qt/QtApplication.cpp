#include "qt/QtApplication.h"

#include <QCoreApplication>
#include <cstdio>

namespace velko {

void QtApplication::terminate() { QCoreApplication::quit(); }

void QtApplication::startUpdater() {
    std::fputs("velko-helper: updates come from the system's package manager; no updater runs\n", stderr);
}

}  // namespace velko
