#pragma once
#include <QObject>
#include <QStringList>

#include "platform/BackendChoice.h"

namespace velko {

// Answers velkoctl status on the helper's own bus name: one line per capability, as the
// preferences window shows it. Says nothing when there is no session bus.
class HelperStatusService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.velko.Helper")
public:
    static inline const char* const path = "/app/velko/Helper";
    static inline const char* const interface = "app.velko.Helper";

    explicit HelperStatusService(const BackendChoices& backends, QObject* parent = nullptr);

public slots:
    QStringList Backends() const;

private:
    const BackendChoices& backends_;
};

}  // namespace velko
