#pragma once

namespace velko {

class Application {
public:
    virtual ~Application() = default;
    // Ends the main loop; the process then exits without further steps.
    virtual void terminate() = 0;
    // Starts the software updater; on platforms without one it only says so.
    virtual void startUpdater() = 0;
};

}  // namespace velko
