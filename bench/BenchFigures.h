#pragma once
// What every benchmark reports with: milliseconds, percentiles, the memory a process holds.
#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace velko::bench {

using Clock = std::chrono::steady_clock;

inline double ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

// Nearest rank: 0.5 is the median, 0 and 1 the smallest and largest; 0 without samples.
inline double percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    const auto index = static_cast<std::size_t>(p * static_cast<double>(v.size() - 1) + 0.5);
    return v[std::min(index, v.size() - 1)];
}

// A size field of /proc/<pid>/status ("VmRSS:", "VmHWM:") in KiB; -1 when it cannot be read.
inline long statusKiB(const std::string& pid, std::string_view field) {
    std::ifstream status("/proc/" + pid + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, field.size(), field) == 0) return std::stol(line.substr(field.size()));
    return -1;
}

}  // namespace velko::bench
