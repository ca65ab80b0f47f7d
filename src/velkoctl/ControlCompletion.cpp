#include "velkoctl/ControlCompletion.h"

#include "velkoctl/ControlCommandTable.h"

namespace velko {

namespace {

std::string commandWords() {
    std::string words;
    for (const auto& command : ControlCommandTable::commands())
        words += (words.empty() ? "" : " ") + std::string(command.word);
    return words;
}

// zsh's _describe splits at the first colon; the summary sits in single quotes.
std::string zshDescription(std::string_view word, std::string_view summary) {
    std::string out = "'" + std::string(word) + ":";
    for (const char c : summary) {
        if (c == ':')
            out += "\\:";
        else if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

}  // namespace

std::string ControlCompletion::bash() {
    std::string cases;
    for (const auto& command : ControlCommandTable::commands()) {
        cases += "        " + std::string(command.word) + ") arguments=\"" + std::string(command.arguments) +
                 "\" options=\"" + std::string(command.options) + "\" file=\"" + std::string(command.fileAfter) +
                 "\" ;;\n";
    }
    return R"(# bash completion for velkoctl, generated from its command table.
_velkoctl() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local arguments="" options="" file=""
    [[ $prev == --timeout || $prev == -t ]] && return
    if ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W ")" +
           commandWords() + R"( help --help --version" -- "$cur"))
        return
    fi
    case ${COMP_WORDS[1]} in
)" + cases +
           "        help) ((COMP_CWORD == 2)) && COMPREPLY=($(compgen -W \"" + commandWords() +
           R"(" -- "$cur")); return ;;
        *) return ;;
    esac
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options --help" -- "$cur"))
    elif ((COMP_CWORD == 2)); then
        COMPREPLY=($(compgen -W "$arguments" -- "$cur"))
    elif ((COMP_CWORD == 3)) && [[ -n $file && ${COMP_WORDS[2]} == "$file" ]]; then
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -f -- "$cur"))
    fi
}
complete -F _velkoctl velkoctl
)";
}

std::string ControlCompletion::zsh() {
    std::string described, cases;
    for (const auto& command : ControlCommandTable::commands()) {
        described += "    " + zshDescription(command.word, command.summary) + "\n";
        cases += "    (" + std::string(command.word) + ") arguments=(" + std::string(command.arguments) +
                 ") options=(" + std::string(command.options) + ") file=" + std::string(command.fileAfter) + " ;;\n";
    }
    return R"(#compdef velkoctl
# zsh completion for velkoctl, generated from its command table.
_velkoctl() {
  local -a commands arguments options
  local file
  commands=(
)" + described +
           R"(    'help:show the help of a command'
  )
  if (( CURRENT == 2 )); then
    _describe -t commands 'velkoctl command' commands
    compadd -- --help --version
    return
  fi
  [[ ${words[CURRENT-1]} == (--timeout|-t) ]] && { _message 'seconds'; return }
  case ${words[2]} in
)" + cases +
           "    (help) (( CURRENT == 3 )) && compadd -- " + commandWords() +
           R"(; return ;;
    (*) return 1 ;;
  esac
  if [[ $PREFIX == -* ]]; then
    compadd -- $options --help
  elif (( CURRENT == 3 )); then
    compadd -- $arguments
  elif (( CURRENT == 4 )) && [[ -n $file && ${words[3]} == $file ]]; then
    _files
  fi
}
_velkoctl "$@"
)";
}

}  // namespace velko
