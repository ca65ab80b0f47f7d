#include "platform/Platform.h"

#include <cstdio>
#include <cstdlib>

namespace velko {

namespace {
Platform installed;
bool isInstalled = false;
}  // namespace

void Platform::install(const Platform& platform) {
    installed = platform;
    isInstalled = true;
}

const Platform& Platform::current() {
    if (!isInstalled) {
        std::fputs("velko-helper: a shared service was used before the platform was installed\n", stderr);
        std::abort();
    }
    return installed;
}

}  // namespace velko
