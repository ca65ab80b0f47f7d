#pragma once
#include <string>

#include "Core/GroupContainer.h"
#include "platform/Types.h"
#include "velkoctl/ControlRequest.h"

namespace velko {

// snippets and rules: set checks a JSON list exactly as the helper decodes it and stores its bytes
// in the shared settings; list shows what is stored. Returns the exit status.
class ControlRunnerLists {
public:
    enum class List { snippets, rules };

    explicit ControlRunnerLists(GroupContainer container);

    int run(List list, const ControlRequest& request);

private:
    int set(List list, const ControlRequest& request);
    int show(List list, const ControlRequest& request);
    // False, after saying why, when the settings cannot be kept or written; other keys stay.
    bool writeSuiteData(const std::string& key, const Bytes& value);

    GroupContainer container_;
};

}  // namespace velko
