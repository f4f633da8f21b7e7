#pragma once

#include <string_view>

#include "siminfo/snapshot/json.h"

namespace siminfo {

/// Parses documents one after the other and keeps its memory between them.
class DocumentParser {
 public:
  /// Has `parseObject` read the one object that the text must be. The text is followed by as many readable
  /// bytes as DocumentStream::kPadding. Throws a Refusal.
  template <class Result>
  void parse(std::string_view text, void (*parseObject)(json::object, const char*, Result&), Result& result) {
    json::document document;
    json::object object = begin(text, document);
    try {
      parseObject(object, text.data(), result);
      requireEnd(text, document);
    } catch (Refusal& refusal) {
      locate(refusal, text, document);
      throw;
    }
  }

 private:
  json::object begin(std::string_view text, json::document& document);
  static void requireEnd(std::string_view text, json::document& document);
  static void locate(Refusal& refusal, std::string_view text, json::document& document);

  json::parser parser_;
};

}  // namespace siminfo
