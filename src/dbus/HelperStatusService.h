#pragma once
#include <QObject>
#include <QStringList>
#include <functional>
#include <string>

#include "platform/BackendChoice.h"

namespace velko {

class SessionBusConnection;

// Answers velkoctl status on the helper's own bus name: one line per capability, as the
// preferences window shows it, then whether screenshots are picked up. Says nothing when there is
// no session bus; object and name come back on every new one.
class HelperStatusService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.velko.Helper")
public:
    static inline const char* const path = "/app/velko/Helper";
    static inline const char* const interface = "app.velko.Helper";

    // screenshots: "on, watching ~/Pictures/Screenshots", or off and why; read at each call.
    HelperStatusService(const BackendChoices& backends, SessionBusConnection& bus,
                        std::function<std::string()> screenshots, QObject* parent = nullptr);
    // Whether the helper's bus name is ours on the bus now; true without a bus.
    bool ownsName() const { return ownsName_; }

public slots:
    QStringList Backends() const;

private:
    const BackendChoices& backends_;
    const std::function<std::string()> screenshots_;
    bool ownsName_ = true;
};

}  // namespace velko
