#include "siminfo/verify/compiler_messages.h"

#include <charconv>

namespace siminfo {
namespace {

bool skip(std::string_view& text, std::string_view what) {
  if (!text.starts_with(what)) return false;
  text.remove_prefix(what.size());
  return true;
}

std::optional<std::size_t> takeNumber(std::string_view& text) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

/// "FILE:LINE:COLUMN: error: WORDS", where compilers may leave the column out.
std::optional<CompilerError> errorIn(std::string_view message, const std::string& source) {
  if (!skip(message, source) || !skip(message, ":")) return std::nullopt;
  const std::optional<std::size_t> line = takeNumber(message);
  if (!line || !skip(message, ":")) return std::nullopt;
  if (takeNumber(message)) skip(message, ":");
  skip(message, " ");
  skip(message, "fatal ");
  if (!skip(message, "error: ")) return std::nullopt;
  return CompilerError{*line, std::string(message)};
}

}  // namespace

CompilerMessages::CompilerMessages(std::string_view text, const std::string& source) {
  bool isError = false;
  while (!text.empty()) {
    const std::string_view message = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(message.size() + 1, text.size()));
    if (auto error = errorIn(message, source)) errors.push_back(std::move(*error));
    // Linkers say no such word, and what they say first is what is wrong.
    if (anything.empty() || (!isError && message.find("error: ") != std::string_view::npos)) {
      isError = message.find("error: ") != std::string_view::npos;
      anything = message;
    }
  }
  if (anything.empty()) anything = "the compiler failed without a message";
}

}  // namespace siminfo
