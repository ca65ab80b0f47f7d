#pragma once
// A property every input must keep. A broken one aborts, so libFuzzer keeps the input as a crash;
// the reason goes where the sanitizers report, which stays open under -close_fd_mask=2.
#include <sanitizer/common_interface_defs.h>

#include <cstdlib>
#include <string>

namespace velko::fuzz {

inline void require(bool holds, const char* what) {
    if (holds) return;
    __sanitizer_report_error_summary((std::string("fuzz: broken: ") + what).c_str());
    std::abort();
}

}  // namespace velko::fuzz
