#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"

namespace siminfo {

/// One document of JSON as text, on one line. Puts the commas where they belong.
class JsonLine {
 public:
  void open(char bracket) {
    separate();
    text_ += bracket;
    needsComma_ = false;
  }
  void close(char bracket) {
    text_ += bracket;
    needsComma_ = true;
  }
  JsonLine& key(std::string_view name) {
    string(name);
    text_ += ':';
    needsComma_ = false;
    return *this;
  }
  void string(std::string_view value) {
    separate();
    text_ += jsonString(value);
  }
  template <std::integral Int>
  void number(Int value) {
    separate();
    char digits[24];
    text_ += std::string_view(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
  }
  /// A 64-bit value: a string, as many JSON tools round larger numbers.
  void wide(std::uint64_t value) { string(hexText(value)); }
  void truth(bool value) {
    separate();
    text_ += value ? "true" : "false";
  }

  std::string_view text() const { return text_; }
  /// Ends the line, and begins the next.
  void writeTo(std::ostream& out) {
    text_ += '\n';
    out.write(text_.data(), static_cast<std::streamsize>(text_.size()));
    text_.clear();
    needsComma_ = false;
  }

 private:
  void separate() {
    if (needsComma_) text_ += ',';
    needsComma_ = true;
  }

  std::string text_;
  bool needsComma_ = false;
};

}  // namespace siminfo
