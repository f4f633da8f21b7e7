#include "siminfo/snapshot/document_stream.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace siminfo {
namespace {

constexpr std::size_t kWindow = std::size_t{1} << 20U;

/// Which bytes mean something: outside strings brackets and quotes, inside them quotes and backslashes.
constexpr std::array<bool, 256> markTable(std::string_view marks) {
  std::array<bool, 256> table{};
  for (const char mark : marks) table[static_cast<unsigned char>(mark)] = true;
  return table;
}

/// Finds the bracket that closes the first one, over text that comes in pieces.
class BracketScanner {
 public:
  /// Goes on where it stopped; returns the length up to the closing bracket, or 0 when more is needed.
  std::size_t scan(std::string_view text) {
    for (at_ = behindMark(text); at_ <= text.size(); at_ = behindMark(text)) {
      const char mark = text[at_ - 1];
      if (mark == '"')
        inString_ = !inString_;
      else if (mark == '\\')
        ++at_;  // what it escapes, which may be in the next piece
      else if (mark == '{' || mark == '[')
        ++depth_;
      else if (--depth_ <= 0)
        return at_;
    }
    --at_;
    return 0;
  }

 private:
  /// One past the next byte that means something; two past the end when there is none.
  std::size_t behindMark(std::string_view text) const {
    static constexpr auto kOutside = markTable("\"{}[]");
    static constexpr auto kInside = markTable("\"\\");
    const auto& marks = inString_ ? kInside : kOutside;
    std::size_t at = at_;
    while (at < text.size() && !marks[static_cast<unsigned char>(text[at])]) ++at;
    return at + 1;
  }

  std::size_t at_ = 0;
  long depth_ = 0;
  bool inString_ = false;
};

/// By searching, as lines are long: faster by far than looking at every byte.
std::size_t countLineEnds(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1)) ++count;
  return count;
}

/// Length of the text up to its last line end, or 0. Searched from the end by the word, as lines are long.
std::size_t endOfLines(std::string_view text) {
  const void* last = memrchr(text.data(), '\n', text.size());
  return last != nullptr ? static_cast<std::size_t>(static_cast<const char*>(last) - text.data()) + 1 : 0;
}

}  // namespace

DocumentStream::DocumentStream(ReadBytes readBytes)
    : readBytes_(std::move(readBytes)), buffer_(kWindow + kPadding) {}

bool DocumentStream::readMore() {
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  if (end_ > kLongestDocument) return false;
  if (end_ + kPadding == buffer_.size()) buffer_.resize(std::min(2 * end_, kLongestDocument + 1) + kPadding);
  const std::size_t got = askForBytes(buffer_.data() + end_, buffer_.size() - kPadding - end_);
  end_ += got;
  bytesRead_ += got;
  return got > 0;
}

std::size_t DocumentStream::askForBytes(char* to, std::size_t size) {
  if (failure_) std::rethrow_exception(failure_);
  try {
    return readBytes_(to, size);
  } catch (...) {
    failure_ = std::current_exception();
    throw;
  }
}

bool DocumentStream::skipWhiteSpace() {
  for (;;) {
    for (; begin_ < end_; ++begin_) {
      const char character = buffer_[begin_];
      if (character == '\n')
        ++line_;
      else if (character != ' ' && character != '\t' && character != '\r')
        return true;
    }
    if (!readMore()) return false;
  }
}

void DocumentStream::leaveDocument() {
  // A line has no line end in it; only a widened document has to be looked through for them.
  if (isWidened_) line_ += countLineEnds(text());
  isLineShared_ = isWidened_;
  begin_ += length_;
  length_ = 0;
  isWidened_ = isCut_ = false;
}

bool DocumentStream::next() {
  leaveDocument();
  const std::size_t line = line_;
  if (!skipWhiteSpace()) return false;
  // The rest of a line with many documents on it would be offered, and parsed, once for each of them.
  if (isLineShared_ && line_ == line && hasBrackets())
    takeBrackets();
  else
    takeLine();
  return true;
}

void DocumentStream::takeLine() {
  for (std::size_t seen = 0;;) {
    length_ = held().find('\n', seen);
    // What makes a line too long may be blanks behind the document.
    if (length_ != std::string_view::npos) return length_ > kLongestDocument ? takeBrackets() : void();
    length_ = seen = held().size();
    // No document is as long as a file whose line ends were taken out.
    if (seen > kWindow && hasBrackets()) return takeBrackets();
    if (!readMore()) return;
  }
}

void DocumentStream::takeBrackets() {
  isWidened_ = true;
  BracketScanner scanner;
  while ((length_ = scanner.scan(held().substr(0, kLongestDocument))) == 0) {
    if (held().size() <= kLongestDocument && readMore()) continue;
    length_ = std::min(held().size(), kLongestDocument + 1);
    isCut_ = true;
    return;
  }
}

bool DocumentStream::widen() {
  if (isWidened_ || !hasBrackets()) return false;
  const std::string_view guess = text();
  const std::size_t guessed = guess.find_last_not_of(" \t\r") + 1;
  takeBrackets();
  return !isCut_ && length_ != guessed;
}

bool DocumentStream::takeLines(std::size_t size, Lines& lines) {
  leaveDocument();
  bool isAtEnd = false;
  while (held().size() < size && !isAtEnd) isAtEnd = !readMore();
  // What is left of a line with many documents on it is no line of one.
  const std::size_t next = held().find_first_not_of(" \t\r");
  if (isLineShared_ && next < held().size() && held()[next] != '\n') return false;
  std::size_t taken = held().size();
  if (!isAtEnd || taken > size) taken = endOfLines(held().substr(0, size));
  // A line that is longer than all that was asked for is taken as well.
  for (std::size_t seen = size; taken == 0 && seen < held().size();) {
    taken = held().find('\n', seen) + 1;
    seen = held().size();
    if (taken == 0 && !readMore()) {
      if (held().size() > kLongestDocument) return false;
      taken = seen;
    }
  }
  if (taken == 0) return false;
  if (lines.memory.size() < taken + kPadding) lines.memory.resize(taken + kPadding);
  std::copy_n(held().begin(), taken, lines.memory.begin());
  lines.size = taken;
  lines.firstLine = line_;
  line_ += countLineEnds(held().substr(0, taken));
  begin_ += taken;
  return true;
}

void DocumentStream::putBack(const Lines& lines) {
  buffer_.insert(buffer_.begin() + static_cast<std::ptrdiff_t>(begin_), lines.memory.begin(),
                 lines.memory.begin() + static_cast<std::ptrdiff_t>(lines.size));
  end_ += lines.size;
  line_ = lines.firstLine;
}

}  // namespace siminfo
