#pragma once
#include <QObject>
#include <QStringList>

#include "platform/BackendChoice.h"

namespace velko {

class SessionBusConnection;

// Answers velkoctl status on the helper's own bus name: one line per capability, as the
// preferences window shows it. Says nothing when there is no session bus; object and name come
// back on every new one.
class HelperStatusService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.velko.Helper")
public:
    static inline const char* const path = "/app/velko/Helper";
    static inline const char* const interface = "app.velko.Helper";

    HelperStatusService(const BackendChoices& backends, SessionBusConnection& bus, QObject* parent = nullptr);
    // Whether the helper's bus name is ours on the bus now; true without a bus.
    bool ownsName() const { return ownsName_; }

public slots:
    QStringList Backends() const;

private:
    const BackendChoices& backends_;
    bool ownsName_ = true;
};

}  // namespace velko
