#pragma once
#include <string>

namespace velko {

// bash and zsh completion for velkoctl, made from the command table at build time.
class ControlCompletion {
public:
    static std::string bash();
    static std::string zsh();
};

}  // namespace velko
