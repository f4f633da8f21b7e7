#pragma once

#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/cli/command.h"

// The library behind it is named in one source only: it takes ten seconds to compile.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace siminfo {

/// How an option, a flag or an argument looks: help, manual and completion are made from this.
struct OptionLook {
  std::vector<std::string> names;  ///< "-o" and "--output"; of an argument the one name, without hyphens
  std::string valueName;           ///< of its value: NAME, or "error|comment" for the words themselves;
                                   ///< empty for a flag
  std::string help;
  std::string defaultText;  ///< empty when there is nothing to tell
  bool isRequired = false;
  bool isRepeated = false;
  std::vector<std::string> excludes = {};  ///< the long names of those that it cannot be given with
  std::vector<std::string> needs = {};     ///< and of those without which it cannot

  bool isArgument() const { return names[0][0] != '-'; }
  /// What messages call it.
  const std::string& longName() const;
};

/// An option of a command, as it is declared. A handle: the command has what it stands for.
class Option {
 public:
  Option(CLI::Option& option, OptionLook& look) : option_(&option), look_(&look) {}

  const Option& required() const;
  /// Every word that is left is a value.
  const Option& takesTheRest() const;
  /// Neither may be given together with the other.
  const Option& excludes(const Option& other) const;
  const Option& needs(const Option& other) const;

 private:
  CLI::Option* option_;
  OptionLook* look_;
};

/// The least and the most that an option takes.
struct Range {
  unsigned least, most;
};

/// A subcommand: what it takes, and what it does. What options are read into must live as long as the
/// command.
class Command {
 public:
  Command(CLI::App& app, const std::string& name, const std::string& description);

  // Names are given as "-o,--output". What a variable holds at first is the default, shown unless it is empty
  // or 0.
  Option flag(const std::string& names, bool& value, const std::string& help);
  Option option(const std::string& names, const std::string& valueName, std::string& value,
                const std::string& help);
  Option option(const std::string& names, const std::string& valueName, std::filesystem::path& value,
                const std::string& help);
  Option options(const std::string& names, const std::string& valueName, std::vector<std::string>& values,
                 const std::string& help);
  template <class Number>
  Option number(const std::string& names, const std::string& valueName, Number& value, Range range,
                const std::string& help) {
    return addNumber(names, valueName, static_cast<unsigned>(value), range, help,
                     [&value](unsigned given) { value = static_cast<Number>(given); });
  }
  template <class Choice>
  Option choice(const std::string& name, const std::map<std::string, Choice>& choices, Choice& value,
                const std::string& help) {
    std::vector<std::string> words;
    std::string now;
    for (const auto& [word, choice] : choices) {
      words.push_back(word);
      if (choice == value) now = word;
    }
    return addChoice(name, words, now, help,
                     [&value, choices](const std::string& word) { value = choices.at(word); });
  }
  Option argument(const std::string& name, std::string& value, const std::string& help);
  /// All words that are left, which may be none.
  Option rest(const std::string& name, std::vector<std::string>& values, const std::string& help);

  /// What help says at its end.
  void footer(const std::string& text);
  void does(std::function<ExitStatus()> action) { action_ = std::move(action); }

  const std::string& name() const { return name_; }
  const std::string& description() const { return description_; }
  const std::string& footer() const { return footer_; }
  const std::deque<OptionLook>& looks() const { return looks_; }

 private:
  friend class CommandLine;
  /// Gets the words that were given for an option, and throws what is wrong with them.
  using Taker = std::function<void(const std::vector<std::string>&)>;
  Option add(OptionLook look, const Taker& take);
  Option addFlag(const std::string& names, const std::string& help, const std::function<void()>& set);
  Option addNumber(const std::string& names, const std::string& valueName, unsigned value, Range range,
                   const std::string& help, const std::function<void(unsigned)>& take);
  Option addChoice(const std::string& name, const std::vector<std::string>& words, const std::string& now,
                   const std::string& help, const std::function<void(const std::string&)>& take);

  CLI::App* app_;
  std::string name_, description_, footer_;
  std::deque<OptionLook> looks_;
  std::function<ExitStatus()> action_;
};

/// The program's whole command line.
class CommandLine {
 public:
  /// `version` is what --version prints.
  CommandLine(const std::string& description, const std::string& version, const std::string& footer);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  Command& addCommand(const std::string& name, const std::string& description);
  const std::deque<Command>& commands() const { return commands_; }

  /// Does what the words ask for, help and version among it, or says what is wrong with them.
  ExitStatus run(int argc, const char* const* argv);

  /// The command "help", which shows the help of the others.
  void addHelpCommand();

 private:
  const Command* named(const std::string& name) const;
  const Command* chosen() const;
  ExitStatus showHelp(const Command* command);
  std::vector<std::string> commandNames() const;
  std::string unknownCommand(const std::string& typed) const;
  std::string unexpectedWord(const std::vector<std::string>& typed) const;
  std::string faultOf(const std::vector<std::string>& typed) const;

  std::unique_ptr<CLI::App> app_;
  std::deque<Command> commands_;
  std::string helpSubject_;
};

}  // namespace siminfo
