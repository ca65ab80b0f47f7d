#pragma once
#include "platform/Application.h"

namespace velko {

class QtApplication : public Application {
public:
    void terminate() override;
    void startUpdater() override;
};

}  // namespace velko
