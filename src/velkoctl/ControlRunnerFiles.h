#pragma once
#include "Core/GroupContainer.h"
#include "velkoctl/ControlRequest.h"

namespace velko {

// The commands on Velko's files in the group container: its store marker and the staged
// screenshots. Returns the exit status.
class ControlRunnerFiles {
public:
    explicit ControlRunnerFiles(GroupContainer container);

    // connect, disconnect or status; only an empty marker file is ever removed.
    int store(const ControlRequest& request);
    // Each readable record with its data beside it, oldest first; the others are skipped with a warning.
    int screenshots(const ControlRequest& request);

private:
    GroupContainer container_;
};

}  // namespace velko
