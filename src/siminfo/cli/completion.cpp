#include "siminfo/cli/completion.h"

#include <algorithm>
#include <vector>

namespace siminfo {
namespace {

/// What stands behind an option, or for an argument.
enum class Value : std::uint8_t { kNone, kWords, kFolder, kFile, kProgram, kCommand, kOther };

Value valueOf(const Command& command, const OptionLook& look) {
  if (look.isArgument() && command.name() == "help") return Value::kCommand;
  if (look.isArgument()) return look.isRepeated ? Value::kProgram : Value::kFile;
  const std::string& of = look.valueName;
  if (of.empty()) return Value::kNone;
  if (of.find('|') != std::string::npos &&
      std::ranges::none_of(of, [](char c) { return 'A' <= c && c <= 'Z'; }))
    return Value::kWords;
  if (of == "DIR") return Value::kFolder;
  if (of == "CXX") return Value::kProgram;
  return of.starts_with("FILE") || of == "SNAPSHOT" ? Value::kFile : Value::kOther;
}

std::string wordsOf(const OptionLook& look) {
  std::string words = look.valueName;
  std::ranges::replace(words, '|', ' ');
  return words;
}

/// The help on one line, as far as its first sentence goes.
std::string briefly(const std::string& help) {
  std::string line = help.substr(0, help.find(';'));
  std::ranges::replace(line, '\n', ' ');
  return line;
}

std::string commandNames(const CommandLine& line) {
  std::string names;
  for (const Command& command : line.commands())
    names.append(names.empty() ? "" : " ").append(command.name());
  return names;
}

std::string optionNames(const Command& command) {
  std::string names;
  for (const OptionLook& look : command.looks())
    for (const std::string& name : look.names)
      if (!look.isArgument()) names.append(names.empty() ? "" : " ").append(name);
  return names;
}

/// The text between single quotes, with a backslash before each of the `special` characters.
std::string quotedFor(const std::string& text, std::string_view special, std::string_view quote) {
  std::string out;
  for (const char character : text) {
    if (character == '\'') {
      out += quote;
      continue;
    }
    if (special.find(character) != std::string_view::npos) out += '\\';
    out += character;
  }
  return out;
}

std::string bashAction(Value value, const OptionLook& look) {
  switch (value) {
    case Value::kWords:
      return "_siminfo_words '" + wordsOf(look) + "'";
    case Value::kFolder:
      return "compopt -o filenames; _siminfo_candidates -d";
    case Value::kFile:
      return "compopt -o filenames; _siminfo_candidates -f";
    case Value::kProgram:
      return "_siminfo_candidates -c";
    default:
      return ":";
  }
}

std::string bashCommand(const Command& command) {
  std::string text;
  Value arguments = Value::kOther;
  for (const OptionLook& look : command.looks()) {
    const Value value = valueOf(command, look);
    if (look.isArgument() && arguments == Value::kOther) arguments = value;
    if (look.isArgument() || value == Value::kNone) continue;
    text += "    ";
    for (std::size_t i = 0; i < look.names.size(); ++i)
      text.append(i > 0 ? "|" : "").append(command.name()).append(":").append(look.names[i]);
    text += ") " + bashAction(value, look) + " ;;\n";
  }
  text += "    " + command.name() + ":*)\n      if [[ $word == -* ]]; then\n        _siminfo_words '" +
          optionNames(command) + "'\n      else\n        ";
  text += arguments == Value::kCommand ? "_siminfo_words \"$commands\"" : bashAction(arguments, {});
  return text + "\n      fi\n      ;;\n";
}

std::string zshAction(Value value, const OptionLook& look) {
  switch (value) {
    case Value::kWords:
      return "(" + wordsOf(look) + ")";
    case Value::kFolder:
      return "_files -/";
    case Value::kFile:
      return "_files";
    case Value::kProgram:
      return "_command_names -e";
    case Value::kCommand:
      return "_siminfo_commands";
    default:
      return " ";
  }
}

std::string zshOption(const Command& command, const OptionLook& look) {
  const Value value = valueOf(command, look);
  const auto quoted = [](const std::string& text) { return quotedFor(text, "[]:\\", "'\\''"); };
  if (look.isArgument())
    return std::string("'") + (look.isRepeated ? "*" : "") + ":" + quoted(look.names[0]) + ":" +
           zshAction(value, look) + "'";
  std::string all;
  std::string braces;
  for (const std::string& name : look.names) {
    all.append(all.empty() ? "" : " ").append(name);
    braces.append(braces.empty() ? "" : ",").append(name);
  }
  std::string text = look.isRepeated ? "'*'" : "'(" + all + ")'";
  text += look.names.size() > 1 ? "{" + braces + "}" : braces;
  text += "'[" + quoted(briefly(look.help)) + "]";
  if (value != Value::kNone) text += ":" + quoted(look.valueName) + ":" + zshAction(value, look);
  return text + "'";
}

std::string fishOption(const Command& command, const OptionLook& look) {
  const auto quoted = [](const std::string& text) { return quotedFor(text, "\\", "\\'"); };
  const std::string condition = "complete -c siminfo -n '__fish_seen_subcommand_from " + command.name() + "'";
  const Value value = valueOf(command, look);
  if (look.isArgument()) {
    if (value == Value::kCommand) return condition + " -f -a '(__siminfo_commands)'\n";
    return condition + (value == Value::kProgram ? " -a '(__fish_complete_command)'\n" : " -F\n");
  }
  std::string text = condition;
  for (const std::string& name : look.names)
    text += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
  text += " -d '" + quoted(briefly(look.help)) + "'";
  switch (value) {
    case Value::kNone:
      break;
    case Value::kWords:
      text += " -x -a '" + wordsOf(look) + "'";
      break;
    case Value::kFolder:
      text += " -x -a '(__fish_complete_directories)'";
      break;
    case Value::kFile:
      text += " -r -F";
      break;
    case Value::kProgram:
      text += " -x -a '(__fish_complete_command)'";
      break;
    default:
      text += " -x";
  }
  return text + "\n";
}

}  // namespace

std::string bashCompletion(const CommandLine& line) {
  std::string text =
      "# Completes the words of siminfo in bash.\n"
      "_siminfo_words() { mapfile -t COMPREPLY < <(compgen -W \"$1\" -- \"$word\"); }\n"
      "_siminfo_candidates() { mapfile -t COMPREPLY < <(compgen \"$1\" -- \"$word\"); }\n"
      "_siminfo() {\n"
      "  local commands='" +
      commandNames(line) +
      "'\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
      "  # --name=VALUE is three words.\n"
      "  [[ $word == = ]] && word= || { [[ $before == = ]] && before=${COMP_WORDS[COMP_CWORD-2]}; }\n"
      "  COMPREPLY=()\n"
      "  if ((COMP_CWORD == 1)); then\n"
      "    _siminfo_words \"$commands -h --help -V --version\"\n"
      "    return\n"
      "  fi\n"
      "  case ${COMP_WORDS[1]}:$before in\n";
  for (const Command& command : line.commands()) text += bashCommand(command);
  return text + "  esac\n}\ncomplete -F _siminfo siminfo\n";
}

std::string zshCompletion(const CommandLine& line) {
  std::string text =
      "#compdef siminfo\n# Completes the words of siminfo in zsh.\n_siminfo_commands() {\n  local -a "
      "commands=(\n";
  for (const Command& command : line.commands())
    text +=
        "    '" + command.name() + ":" + quotedFor(briefly(command.description()), "\\:", "'\\''") + "'\n";
  text +=
      "  )\n  _describe -t commands command commands\n}\n"
      "_siminfo() {\n"
      "  local curcontext=$curcontext state\n"
      "  local -a line\n"
      "  _arguments -C '(- *)'{-h,--help}'[Show this help]' '(- *)'{-V,--version}'[Show the version]' \\\n"
      "    '1: :_siminfo_commands' '*:: :->arguments' && return\n"
      "  [[ $state == arguments ]] || return 1\n"
      "  case $words[1] in\n";
  for (const Command& command : line.commands()) {
    text += "    " + command.name() + ")\n      _arguments -s";
    for (const OptionLook& look : command.looks()) text += " \\\n        " + zshOption(command, look);
    text += "\n      ;;\n";
  }
  return text + "  esac\n}\n_siminfo \"$@\"\n";
}

std::string fishCompletion(const CommandLine& line) {
  std::string text = "# Completes the words of siminfo in fish.\nfunction __siminfo_commands\n";
  for (const Command& command : line.commands())
    text += "    echo '" + command.name() + "'\\t'" + quotedFor(briefly(command.description()), "\\", "\\'") +
            "'\n";
  text +=
      "end\n"
      "complete -c siminfo -f\n"
      "complete -c siminfo -n __fish_use_subcommand -a '(__siminfo_commands)'\n"
      "complete -c siminfo -n __fish_use_subcommand -s h -l help -d 'Show this help'\n"
      "complete -c siminfo -n __fish_use_subcommand -s V -l version -d 'Show the version'\n";
  for (const Command& command : line.commands())
    for (const OptionLook& look : command.looks()) text += fishOption(command, look);
  return text;
}

}  // namespace siminfo
