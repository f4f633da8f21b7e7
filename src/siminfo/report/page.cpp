#include "siminfo/report/page.h"

#include <charconv>
#include <cstdint>

namespace siminfo {
namespace {

/// Bytes given in hexadecimal, a multiple of two digits, as base64.
std::string base64(std::string_view hex) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t at = 0; at < hex.size(); at += 6) {
    const std::string_view piece = hex.substr(at, 6);  // three bytes are four digits
    std::uint32_t bits = 0;
    std::from_chars(piece.data(), piece.data() + piece.size(), bits, 16);
    bits <<= 4 * (6 - piece.size());
    for (std::size_t digit = 0; digit < 4; ++digit)
      text += digit <= piece.size() / 2 ? kDigits[bits >> (18 - 6 * digit) & 63U] : '=';
  }
  return text;
}

/// Takes the text up to the mark off its front, the mark as well.
std::string_view takeTo(std::string_view& text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  const std::string_view front = text.substr(0, at);
  text.remove_prefix(at + mark.size());
  return front;
}

}  // namespace

std::string jsonForScript(std::string_view json) {
  std::string text;
  text.reserve(json.size());
  for (std::size_t at = 0; at < json.size(); ++at) {
    const std::string_view rest = json.substr(at, 3);
    if (rest.front() == '<') {
      text += "\\u003c";
    } else if (rest == "\u2028" || rest == "\u2029") {
      text += rest == "\u2028" ? "\\u2028" : "\\u2029";
      at += 2;
    } else {
      text += rest.front();
    }
  }
  return text;
}

std::string pageAround(std::string_view json) {
  const PageParts& parts = kPageParts;
  std::string_view html = parts.html;
  std::string page;
  const auto put = [&](std::string_view mark, std::string_view what) {
    page.append(takeTo(html, mark)).append(what);
  };
  put("{{script digest}}", base64(parts.scriptDigest));
  put("{{style digest}}", base64(parts.cssDigest));
  put("{{style}}", parts.css);
  put("{{data}}", jsonForScript(json));
  put("{{script}}", parts.script);
  return page.append(html);
}

}  // namespace siminfo
