#include "siminfo/snapshot/document_parser.h"

#include "siminfo/snapshot/document_stream.h"

namespace siminfo {
namespace {

Place whole(std::string_view text) { return {nullptr, {}, 0, text.data()}; }

/// The parser does not say where; the line that is no UTF-8 by itself is where.
[[noreturn]] void refuseUtf8(std::string_view text) {
  std::size_t start = 0;
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n', start)) {
    if (!simdjson::validate_utf8(text.data() + start, end - start)) break;
    start = end + 1;
  }
  refuse(whole(text.substr(start)), "is not UTF-8");
}

}  // namespace

json::object DocumentParser::begin(std::string_view text, json::document& document) {
  json::object object;
  auto error =
      parser_.iterate(text.data(), text.size(), text.size() + DocumentStream::kPadding).get(document);
  if (error == simdjson::SUCCESS) error = document.get_object().get(object);
  if (error == simdjson::INCORRECT_TYPE) refuse(whole(text), "is not an object; expected a header or a node");
  if (error == simdjson::UTF8_ERROR) refuseUtf8(text);
  if (error != simdjson::SUCCESS) refuse(whole(text), malformedWords(error));
  return object;
}

void DocumentParser::requireEnd(std::string_view text, json::document& document) {
  if (document.current_location().error() != simdjson::OUT_OF_BOUNDS)
    refuse(whole(text),
           "has other text after its closing bracket; expected white space and the next document");
}

void DocumentParser::locate(Refusal& refusal, std::string_view text, json::document& document) {
  if (refusal.at != nullptr) return;
  refusal.at = text.data() + text.size();
  const char* stoppedAt = nullptr;
  if (document.current_location().get(stoppedAt) == simdjson::SUCCESS) refusal.at = stoppedAt;
}

}  // namespace siminfo
