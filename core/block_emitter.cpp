#include "core/block_emitter.h"

#include <array>
#include <cstring>

namespace siminfo {
namespace {

/// One line composed in place, so that the stream is asked once for a line and not once for each piece of it.
class Line {
 public:
  static constexpr std::size_t kLongestText =
      160;  // fits every line with a field name; asked before it is used

  void append(std::string_view piece) { end_ = std::copy(piece.begin(), piece.end(), end_); }
  void append(Hex hex) { end_ = std::to_chars(end_, end_ + 16, hex.value, 16).ptr; }
  void indent(int width) { end_ = std::fill_n(end_, width, ' '); }
  std::string_view text() const { return {text_.data(), end_}; }

 private:
  std::array<char, kLongestText + 32> text_;
  char* end_ = text_.data();
};

}  // namespace

void BlockEmitter::put(std::string_view piece) {
  if (!os_.good()) return;
  const auto size = static_cast<std::streamsize>(piece.size());
  if (os_.rdbuf()->sputn(piece.data(), size) != size) os_.setstate(std::ios_base::badbit);
}

BlockEmitter& BlockEmitter::operator<<(std::string_view text) {
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    put(text.substr(0, end + 1));
    os_.flush();
    text.remove_prefix(end + 1);
  }
  if (!text.empty()) put(text);
  return *this;
}

BlockEmitter& BlockEmitter::operator<<(Hex hex) {
  Line digits;
  digits.append(hex);
  put(digits.text());
  return *this;
}

void BlockEmitter::assignLine(int indent, std::string_view name, std::uint64_t value, std::string_view end) {
  Line line;
  line.indent(indent);
  line.append("mad_buffer.");
  line.append(name);
  line.append(" = 0x");
  line.append(Hex{value});
  line.append(end);
  put(line.text());
}

void BlockEmitter::assign(int indent, std::string_view name, std::uint64_t value) {
  assignLine(indent, name, value, ";");
}

void BlockEmitter::assignAll(int indent, std::span<const Field> fields, const void* record) {
  for (const Field& field : fields.first(fields.size() - 1)) {
    assignLine(indent, field.name, field.get(record), ";\n");
    os_.flush();
  }
  assign(indent, fields.back().name, fields.back().get(record));
}

void BlockEmitter::open(const BlockTarget& target) {
  // clang-format off
  *this << "    " << target.record << " mad_buffer = {0};\n"
        << "    " << target.record << "_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(" << target.image << "));\n"
        << "\n";
  // clang-format on
}

void BlockEmitter::close(const BlockTarget& target) {
  *this << "\n"
        << "    " << target.record << "_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(" << target.image
        << "));";
}

}  // namespace siminfo
