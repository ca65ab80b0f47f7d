#include "velkoctl/ControlArguments.h"

#include <charconv>
#include <cmath>

namespace velko {

ControlArguments::ControlArguments(const std::vector<std::string>& args, std::size_t from) {
    bool optionsEnded = false;
    for (std::size_t i = from; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg == "-" || arg.empty() || arg[0] != '-') {
            positional_.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "-h" || arg == "--help") {
            help_ = true;
        } else if (arg == "--json") {
            json_ = true;
        } else if (arg == "--timeout" || arg == "-t") {
            if (i + 1 < args.size())
                timeout_ = args[++i];
            else
                missingValue_ = arg;
        } else if (arg.starts_with("--timeout=")) {
            timeout_ = arg.substr(10);
        } else if (unknownOption_.empty()) {
            unknownOption_ = arg;
        }
    }
}

std::string ControlArguments::at(std::size_t index) const {
    return index < positional_.size() ? positional_[index] : std::string();
}

Result<void> ControlArguments::check(Accepts accepts) const {
    if (!unknownOption_.empty()) return Failure{"unknown option '" + unknownOption_ + "'"};
    if (!missingValue_.empty()) return Failure{missingValue_ + " needs a number of seconds"};
    if (timeout_ && !accepts.timeout) return Failure{"takes no --timeout"};
    if (json_ && !accepts.json) return Failure{"takes no --json"};
    if (positional_.size() > accepts.positional) return Failure{"unexpected argument '" + positional_.back() + "'"};
    return {};
}

Result<void> ControlArguments::readTimeout(ControlRequest& request) const {
    if (!timeout_) return {};
    const std::string& text = *timeout_;
    double value = 0;
    const auto* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (ec != std::errc() || ptr != end || !std::isfinite(value) || value <= 0 ||
        value > ControlRequest::maxTimeout.count())
        return Failure{"--timeout wants seconds between 0 and 3600, not '" + text + "'"};
    request.timeout = ControlRequest::Seconds(value);
    return {};
}

}  // namespace velko
