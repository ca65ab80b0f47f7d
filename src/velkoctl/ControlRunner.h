#pragma once
#include <memory>
#include <string>

#include "platform/Types.h"
#include "velkoctl/ControlCommandLine.h"

namespace velko {

class DBusNotificationCenter;

// Carries out one velkoctl request on the real system: the session bus, the shared settings,
// Velko's store and the staging folder. Every failure is one line on stderr and an exit code.
class ControlRunner {
public:
    using Request = ControlCommandLine::Request;

    // Needs a QCoreApplication for the commands that use the link.
    explicit ControlRunner(std::string homeDirectory);
    ~ControlRunner();

    int run(const Request& request);

private:
    enum class List { snippets, rules };

    int ping(const Request& request);
    int paste(const Request& request);
    int watch(const Request& request);
    int setList(List list, const Request& request);
    int showList(List list, const Request& request);
    int store(const Request& request);
    int screenshots(const Request& request);

    // nullptr, after saying why, when the session bus cannot be reached.
    std::unique_ptr<DBusNotificationCenter> openLink();
    bool writeSuiteData(const std::string& key, const Bytes& value);
    std::string groupContainer() const;
    std::string suitePath() const;
    std::string storePath() const;

    std::string home_;
};

}  // namespace velko
