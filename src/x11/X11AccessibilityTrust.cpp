#include "x11/X11AccessibilityTrust.h"

namespace velko {

bool X11AccessibilityTrust::isProcessTrusted() { return connection_.hasInputExtensions(); }

}  // namespace velko
