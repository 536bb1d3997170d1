// What has shells complete a command line.
#include <algorithm>

#include "studio/command_help.h"

namespace studio {
namespace {

struct Value {
  enum Kind { kNone, kFile, kSceneFile, kOther } kind;
  std::vector<std::string> words, keys;
};

Value ValueOf(const CommandHelp& help, const CLI::Option& option) {
  Value value{Value::kNone, {}, help.KeysOf(option)};
  if (!TakesValue(option)) return value;
  const std::string type = option.get_type_name();
  value.kind = type.rfind("FILE.json", 0) == 0 ? Value::kSceneFile
               : type.rfind("FILE", 0) == 0    ? Value::kFile
                                               : Value::kOther;
  const auto words = help.words.find(NameOf(option));
  if (words != help.words.end()) value.words = words->second;
  return value;
}

std::string Joined(const std::vector<std::string>& words, const std::string& between) {
  std::string joined;
  for (const std::string& word : words) joined += (joined.empty() ? "" : between) + word;
  return joined;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

// In single quotes, for bash and zsh.
std::string Quoted(const std::string& text) { return "'" + Replaced(text, "'", "'\\''") + "'"; }

std::string FunctionName(const CommandHelp& help) { return "_" + Replaced(help.app->get_name(), "-", "_"); }

constexpr char kBash[] = R"(# Completion of PROGRAM in bash, made by PROGRAM --help-as bash.
FUNCTION() {
  local options=OPTIONS
  local first=$COMP_CWORD part=${COMP_WORDS[COMP_CWORD]} cut='^[=:@]+$' whole='' option='' value='' i
  COMPREPLY=()
  # The shell cuts words at these signs, the program does not.
  while ((first > 1)) && [[ ${COMP_WORDS[first]} =~ $cut || ${COMP_WORDS[first - 1]} =~ $cut ]]; do ((first--)); done
  for ((i = first; i <= COMP_CWORD; i++)); do whole+=${COMP_WORDS[i]}; done
  [[ ! $part =~ $cut ]] || part=
  if [[ $whole == --*=* ]]; then
    option=${whole%%=*} value=${whole#*=}
  else
    option=${COMP_WORDS[first - 1]} value=$whole
    case $option in TAKING) ;; *) option= ;; esac
    # Some options take what follows their first value, too.
    if [[ -z $option && $whole != -* ]]; then
      for ((i = first - 1; i > 0; i--)); do
        case ${COMP_WORDS[i]} in MANY) option=${COMP_WORDS[i]}; break ;; -*) break ;; esac
      done
    fi
  fi
  local keys='' words='' files=''
  case $option in
CASES    '') words=$options ;;
  esac
  if [[ -n $keys && $value == *,* ]]; then
    local field=${value##*,}
    [[ $field != *=* ]] || return
    mapfile -t COMPREPLY < <(compgen -P "${part%"$field"}" -W "$keys" -- "$field")
    compopt -o nospace 2>/dev/null
  elif [[ -n $files ]]; then
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(
      compgen -f -X "$files" -- "$part"
      [[ $files == '!*' ]] || compgen -d -- "$part"
    )
  elif [[ -n $words ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$part")
  fi
}
complete -F FUNCTION PROGRAM
)";

std::string Bash(const CommandHelp& help) {
  std::vector<std::string> options, taking, many;
  std::string cases;
  for (const CLI::Option* option : help.Options()) {
    const std::vector<std::string> names = NamesOf(*option);
    options.insert(options.end(), names.begin(), names.end());
    if (!TakesValue(*option)) continue;
    taking.insert(taking.end(), names.begin(), names.end());
    if (option->get_allow_extra_args() && option->get_items_expected_max() > 1) many.push_back(names.back());
    const Value value = ValueOf(help, *option);
    cases += "    " + Joined(names, " | ") + ")";
    if (!value.keys.empty()) cases += " keys=" + Quoted(Joined(value.keys, " "));
    if (!value.words.empty()) cases += " words=" + Quoted(Joined(value.words, " "));
    if (value.kind == Value::kFile) cases += " files='!*'";
    if (value.kind == Value::kSceneFile) cases += " files='!*.json'";
    cases += " ;;\n";
  }
  if (many.empty()) many.push_back("''");
  std::string script = Replaced(kBash, "CASES", cases);
  script = Replaced(script, "OPTIONS", Quoted(Joined(options, " ")));
  script = Replaced(script, "TAKING", Joined(taking, " | "));
  script = Replaced(script, "MANY", Joined(many, " | "));
  script = Replaced(script, "FUNCTION", FunctionName(help));
  return Replaced(script, "PROGRAM", help.app->get_name());
}

// "--name[help]:type:what completes it", and whatever the brackets and colons of those would end escaped.
std::string ZshSpecification(const CommandHelp& help, const CLI::Option& option) {
  const auto escaped = [](std::string text) {
    for (const char* sign : {"\\", "[", "]", ":"}) text = Replaced(text, sign, std::string("\\") + sign);
    return text;
  };
  const std::vector<std::string> names = NamesOf(option);
  const Value value = ValueOf(help, option);
  std::string action, rest = "[" + escaped(option.get_description()) + "]";
  if (!value.keys.empty()) {
    action =
        FunctionName(help) + "_list " + (value.kind == Value::kFile ? "_files" : ":") + " " + Joined(value.keys, " ");
  } else if (!value.words.empty()) {
    action = "(" + Joined(value.words, " ") + ")";
  } else if (value.kind == Value::kFile) {
    action = "_files";
  } else if (value.kind == Value::kSceneFile) {
    action = "_files -g \"*.json\"";
  }
  if (TakesValue(option)) rest += ":" + escaped(option.get_type_name()) + ":" + action;
  const bool repeats = option.get_items_expected_max() > 1;
  std::string lines;
  for (const std::string& name : names) {
    const std::string others = repeats || names.size() < 2 ? "" : "(" + Joined(names, " ") + ")";
    const std::string ends = !TakesValue(option) ? "" : name.rfind("--", 0) == 0 ? "=" : "+";
    lines += "    " + Quoted((repeats ? "*" : others) + name + ends + rest) + " \\\n";
  }
  return lines;
}

std::string Zsh(const CommandHelp& help) {
  const std::string function = FunctionName(help), program = help.app->get_name();
  std::string script = "#compdef " + program + "\n# Completion of " + program + " in zsh, made by " + program +
                       " --help-as zsh.\n\n# A value, and the keys that follow it behind commas.\n" + function +
                       "_list() {\n  local files=$1\n  shift\n  if compset -P '*,'; then\n    compadd -S '' -- \"$@\"\n"
                       "  else\n    $files -S ''\n  fi\n}\n\n" +
                       function + "() {\n  _arguments -s \\\n";
  for (const CLI::Option* option : help.Options()) script += ZshSpecification(help, *option);
  return script + "    && return\n}\n\n" + function + " \"$@\"\n";
}

std::string Fish(const CommandHelp& help) {
  const std::string program = help.app->get_name();
  std::string script = "# Completion of " + program + " in fish, made by " + program +
                       " --help-as fish.\ncomplete -c " + program + " -f\n";
  for (const CLI::Option* option : help.Options()) {
    const Value value = ValueOf(help, *option);
    script += "complete -c " + program;
    for (const std::string& name : option->get_snames()) script += " -s " + name;
    for (const std::string& name : option->get_lnames()) script += " -l " + name;
    if (value.kind == Value::kFile || value.kind == Value::kSceneFile) script += " -r -F";
    if (value.kind == Value::kOther) script += " -x";
    if (!value.words.empty()) script += " -a '" + Joined(value.words, " ") + "'";
    script += " -d '" + Replaced(Replaced(option->get_description(), "\\", "\\\\"), "'", "\\'") + "'\n";
  }
  return script;
}

}  // namespace

std::string Completion(const CommandHelp& help, const std::string& shell) {
  if (shell == "bash") return Bash(help);
  if (shell == "zsh") return Zsh(help);
  return shell == "fish" ? Fish(help) : "";
}

}  // namespace studio
