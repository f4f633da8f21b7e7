#include "siminfo/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iostream>

#include "siminfo/cli/console.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/spelling.h"

namespace siminfo {
namespace {

constexpr const char* kProgram = "siminfo";
constexpr const char* kHelpHelp = "Show this help";

/// Something is wrong with the value of an option.
class BadValue : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::vector<std::string> splitNames(const std::string& names) { return CLI::detail::split(names, ','); }

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
  return CLI::detail::join(words, separator);
}

/// Of an error of the library, which begins with the name of an option.
std::string faultWords(const CLI::ParseError& error, const Command* command) {
  std::string text = error.what();
  const std::string name = text.substr(0, text.find_first_of(": "));
  if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr)
    return name + " and " + text.substr(text.rfind(' ') + 1) + " cannot be used together";
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) == nullptr || command == nullptr) return text;
  for (const OptionLook& look : command->looks()) {
    // The library leaves out the hyphens of a flag.
    if (look.longName() != name && look.longName() != "--" + name) continue;
    return look.longName() + (look.valueName.empty() ? " takes no value"
                                                     : ": the value is missing; expected " + look.valueName);
  }
  return text;
}

}  // namespace

const std::string& OptionLook::longName() const {
  const auto found =
      std::ranges::find_if(names, [](const std::string& name) { return name.starts_with("--"); });
  return found != names.end() ? *found : names[0];
}

const Option& Option::required() const {
  look_->isRequired = true;
  option_->required();
  return *this;
}

const Option& Option::takesTheRest() const {
  option_->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
  return *this;
}

const Option& Option::excludes(const Option& other) const {
  option_->excludes(other.option_);
  look_->excludes.push_back(other.look_->longName());
  other.look_->excludes.push_back(look_->longName());
  return *this;
}

const Option& Option::needs(const Option& other) const {
  option_->needs(other.option_);
  look_->needs.push_back(other.look_->longName());
  return *this;
}

Command::Command(CLI::App& app, const std::string& name, const std::string& description)
    : app_(&app), name_(name), description_(description) {
  app.allow_extras();  // the command line itself judges what is left over, in the words typed
  looks_.push_back({{"-h", "--help"}, "", kHelpHelp, "", false, false});
  app.set_help_flag("-h,--help", kHelpHelp);
  addFlag("-q,--quiet", "Print only warnings and errors on standard error", [] { silenceNotes(); });
}

Option Command::add(OptionLook look, const Taker& take) {
  looks_.push_back(std::move(look));
  OptionLook& kept = looks_.back();
  const auto callback = [take, &kept](const CLI::results_t& words) {
    if (!kept.isRepeated && words.size() > 1)
      throw BadValue(kept.longName() + " is given more than once: " + inQuotes(words[0]) + " and " +
                     inQuotes(words[1]));
    take(words);
    return true;
  };
  CLI::Option* option = app_->add_option(joined(kept.names, ","), callback, kept.help);
  option->type_name(kept.valueName)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->allow_extra_args(false);
  if (!kept.defaultText.empty()) option->default_str(kept.defaultText);
  return {*option, kept};
}

Option Command::addFlag(const std::string& names, const std::string& help, const std::function<void()>& set) {
  looks_.push_back({splitNames(names), "", help, "", false, false});
  CLI::Option* option = app_->add_flag_callback(names, set, help);
  option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)->disable_flag_override();
  return {*option, looks_.back()};
}

Option Command::flag(const std::string& names, bool& value, const std::string& help) {
  return addFlag(names, help, [&value] { value = true; });
}

Option Command::option(const std::string& names, const std::string& valueName, std::string& value,
                       const std::string& help) {
  return add({splitNames(names), valueName, help, value, false, false},
             [&value](const std::vector<std::string>& words) { value = words[0]; });
}

Option Command::option(const std::string& names, const std::string& valueName, std::filesystem::path& value,
                       const std::string& help) {
  return add({splitNames(names), valueName, help, value.string(), false, false},
             [&value](const std::vector<std::string>& words) { value = words[0]; });
}

Option Command::options(const std::string& names, const std::string& valueName,
                        std::vector<std::string>& values, const std::string& help) {
  return add({splitNames(names), valueName, help, "", false, true},
             [&values](const std::vector<std::string>& words) { values = words; });
}

Option Command::argument(const std::string& name, std::string& value, const std::string& help) {
  return option(name, "", value, help);
}

Option Command::rest(const std::string& name, std::vector<std::string>& values, const std::string& help) {
  const Option option = options(name, "", values, help);
  option.takesTheRest();
  return option;
}

Option Command::addNumber(const std::string& names, const std::string& valueName, unsigned value, Range range,
                          const std::string& help, const std::function<void(unsigned)>& take) {
  const std::vector<std::string> all = splitNames(names);
  const std::string name = OptionLook{all, "", "", "", false, false}.longName();
  return add({all, valueName, help, value != 0 ? std::to_string(value) : "", false, false},
             [=](const std::vector<std::string>& words) {
               const std::string& word = words[0];
               unsigned number = 0;
               const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
               if (error != std::errc() || end != word.data() + word.size() || number < range.least ||
                   number > range.most)
                 throw BadValue(name + ": " + inQuotes(word) + " is not a number from " +
                                std::to_string(range.least) + " to " + std::to_string(range.most));
               take(number);
             });
}

Option Command::addChoice(const std::string& name, const std::vector<std::string>& choices,
                          const std::string& now, const std::string& help,
                          const std::function<void(const std::string&)>& take) {
  return add({splitNames(name), joined(choices, "|"), help, now, false, false},
             [=](const std::vector<std::string>& words) {
               if (std::ranges::find(choices, words[0]) == choices.end())
                 throw BadValue(name + ": " + inQuotes(words[0]) + " is not one of " + joined(choices, ", ") +
                                didYouMean(choices, words[0]));
               take(words[0]);
             });
}

void Command::footer(const std::string& text) {
  footer_ = text;
  app_->footer(text);
}

CommandLine::CommandLine(const std::string& description, const std::string& version,
                         const std::string& footer)
    : app_(std::make_unique<CLI::App>(description, kProgram)) {
  app_->set_help_flag("-h,--help", kHelpHelp);
  app_->set_version_flag("-V,--version", version, "Show the version");
  app_->footer(footer);
  app_->allow_extras();
  app_->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

Command& CommandLine::addCommand(const std::string& name, const std::string& description) {
  return commands_.emplace_back(*app_->add_subcommand(name, description), name, description);
}

void CommandLine::addHelpCommand() {
  Command& help = addCommand("help", "Show the help of a command, as COMMAND --help does");
  help.argument("COMMAND", helpSubject_, "Name of the command; without it, the help of the program itself");
  help.footer("Example: siminfo help generate");
  help.does([this] {
    const Command* subject = named(helpSubject_);
    if (helpSubject_.empty() || subject != nullptr) return showHelp(subject);
    throw CommandError(kBadCommandLine, unknownCommand(helpSubject_));
  });
}

const Command* CommandLine::named(const std::string& name) const {
  const auto found =
      std::ranges::find_if(commands_, [&](const Command& command) { return command.name() == name; });
  return found != commands_.end() ? &*found : nullptr;
}

const Command* CommandLine::chosen() const {
  const std::vector<CLI::App*> parsed = app_->get_subcommands();
  return parsed.empty() ? nullptr : named(parsed.front()->get_name());
}

ExitStatus CommandLine::showHelp(const Command* command) {
  app_->clear();  // the library shows the help of what was chosen, whatever it is asked for
  printResult(command != nullptr ? command->app_->help(kProgram) : app_->help());
  return kDone;
}

std::vector<std::string> CommandLine::commandNames() const {
  std::vector<std::string> names;
  for (const Command& command : commands_) names.push_back(command.name());
  return names;
}

std::string CommandLine::unknownCommand(const std::string& typed) const {
  return "there is no command " + inQuotes(typed) + didYouMean(commandNames(), typed);
}

/// The first of the words that nothing takes, or nothing when all of them are taken.
std::string CommandLine::unexpectedWord(const std::vector<std::string>& typed) const {
  std::vector<std::string> left = app_->remaining(true);
  std::erase(left, "--");
  const auto first = std::ranges::find_first_of(typed, left);
  if (first == typed.end()) return {};
  const Command* command = chosen();
  if (command == nullptr && !first->starts_with("-")) return unknownCommand(*first);
  std::vector<std::string> names{"--help", "--version"};
  if (command != nullptr) {
    names.clear();
    for (const OptionLook& look : command->looks())
      if (!look.isArgument()) names.insert(names.end(), look.names.begin(), look.names.end());
  }
  return "unexpected argument " + inQuotes(*first) +
         (first->starts_with("-") ? didYouMean(names, first->substr(0, first->find('='))) : "");
}

/// What the words hold too much, or lack.
std::string CommandLine::faultOf(const std::vector<std::string>& typed) const {
  if (std::string unexpected = unexpectedWord(typed); !unexpected.empty()) return unexpected;
  const Command* command = chosen();
  if (command == nullptr) return "a command is missing; expected one of " + joined(commandNames(), ", ");
  std::vector<std::string> missing;
  for (const OptionLook& look : command->looks())
    if (look.isRequired && command->app_->count(look.longName()) == 0) missing.push_back(look.longName());
  if (missing.empty()) return {};
  return joined(missing, " and ") + (missing.size() == 1 ? " is" : " are") + " required";
}

ExitStatus CommandLine::run(int argc, const char* const* argv) {
  const std::vector<std::string> typed(argv + 1, argv + argc);
  std::string fault;
  try {
    app_->parse(argc, argv);
    fault = faultOf(typed);
  } catch (const CLI::CallForVersion& version) {
    printResult(std::string(version.what()) + "\n");
    return kDone;
  } catch (const CLI::CallForHelp&) {
    return showHelp(chosen());
  } catch (const CLI::RequiredError&) {
    fault = faultOf(typed);
  } catch (const BadValue& error) {
    fault = error.what();
  } catch (const CLI::ParseError& error) {
    fault = faultWords(error, chosen());
  }
  if (fault.empty()) return chosen()->action_();
  printError(fault);
  const Command* command = chosen();
  std::cerr << "Try '" << kProgram << (command != nullptr ? " " + command->name() : "") << " --help'.\n";
  return kBadCommandLine;
}

}  // namespace siminfo
