#include "siminfo/text/number_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>

namespace siminfo {
namespace {

/// The whole text as a number of that base.
std::optional<std::uint64_t> parseDigits(std::string_view digits, int base) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
  if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
  return number;
}

bool takeHexMark(std::string_view& text) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  return isHex;
}

}  // namespace

std::optional<std::uint64_t> parseUnsigned(std::string_view text) {
  return takeHexMark(text) ? parseDigits(text, 16) : parseDigits(text, 10);
}

std::optional<std::uint64_t> parseInteger(std::string_view text, const IntegerForm& form) {
  const auto word = std::ranges::find(form.words, text, &Word::word);
  if (word != form.words.end()) return static_cast<std::uint64_t>(word->value);
  const bool isNegative = form.lowest < 0 && text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  std::optional<std::uint64_t> number;
  if (form.isGuid && text.size() == 16) number = parseDigits(text, 16);
  if (!number) number = parseUnsigned(text);
  const std::uint64_t most = isNegative ? 0 - static_cast<std::uint64_t>(form.lowest) : form.highest;
  if (!number || *number > most) return std::nullopt;
  return isNegative ? 0 - *number : *number;
}

std::string integerWords(const IntegerForm& form) {
  std::string words;
  for (const Word& each : form.words) words.append("\"").append(each.word).append("\", ");
  if (!form.words.empty()) words.append("or ");
  return words.append("an integer from ")
      .append(std::to_string(form.lowest))
      .append(" to ")
      .append(std::to_string(form.highest));
}

std::string hexDigits(std::uint64_t value, std::size_t digits) {
  std::array<char, 16> text;
  const char* end = std::to_chars(text.begin(), text.end(), value, 16).ptr;
  const auto count = static_cast<std::size_t>(end - text.data());
  return std::string(digits - std::min(digits, count), '0').append(text.data(), count);
}

std::string hexText(std::uint64_t value, std::size_t digits) {
  return std::string("0x").append(hexDigits(value, digits));
}

std::optional<std::uint64_t> parseGuid(std::string_view text) {
  if (text.size() > 2 && text[1] == '-' && std::string_view("SHR").find(text[0]) != std::string_view::npos)
    text.remove_prefix(2);
  takeHexMark(text);
  std::string digits;
  std::ranges::copy_if(text, std::back_inserter(digits), [](char character) { return character != ':'; });
  return parseDigits(digits, 16);
}

std::string guidText(std::uint64_t guid) { return hexText(guid, 16); }

}  // namespace siminfo
