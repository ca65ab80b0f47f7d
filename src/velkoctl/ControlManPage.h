#pragma once
#include <string>
#include <string_view>

namespace velko {

// velkoctl(1) in roff, made from the command table and the overview at build time, so that every
// word of help is written once.
class ControlManPage {
public:
    static std::string render(std::string_view version);
    // One command's help text (without its usage lines) as roff: paragraphs filled, "term  text"
    // lines as tagged paragraphs, other indented lines kept as examples.
    static std::string fromHelp(std::string_view help);
    // Text safe on a roff line: backslashes and minus signs escaped, no leading control character.
    static std::string escape(std::string_view text);
};

}  // namespace velko
