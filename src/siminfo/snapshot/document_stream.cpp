#include "siminfo/snapshot/document_stream.h"

#include <algorithm>
#include <cstring>

namespace siminfo {
namespace {

constexpr std::size_t kWindow = std::size_t{1} << 20U;

/// Finds the bracket that closes the first one, over text that comes in pieces.
class BracketScanner {
 public:
  /// Goes on where it stopped; returns the length up to the closing bracket, or 0 when more is needed.
  std::size_t scan(std::string_view text) {
    for (; at_ < text.size(); ++at_) {
      const char character = text[at_];
      if (inString_) {
        if (isEscaped_)
          isEscaped_ = false;
        else if (character == '\\')
          isEscaped_ = true;
        else if (character == '"')
          inString_ = false;
      } else if (character == '"') {
        inString_ = true;
      } else if (character == '{' || character == '[') {
        ++depth_;
      } else if ((character == '}' || character == ']') && --depth_ <= 0) {
        return at_ + 1;
      }
    }
    return 0;
  }

 private:
  std::size_t at_ = 0;
  long depth_ = 0;
  bool inString_ = false;
  bool isEscaped_ = false;
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
  const std::size_t got = readBytes_(buffer_.data() + end_, buffer_.size() - kPadding - end_);
  end_ += got;
  bytesRead_ += got;
  return got > 0;
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
  begin_ += length_;
  length_ = 0;
  isWidened_ = isCut_ = false;
}

bool DocumentStream::next() {
  leaveDocument();
  if (!skipWhiteSpace()) return false;
  for (std::size_t seen = 0;;) {
    if (const std::size_t lineEnd = held().find('\n', seen); lineEnd != std::string_view::npos) {
      length_ = lineEnd;
      return true;
    }
    seen = held().size();
    if (!readMore()) {
      length_ = seen;
      return true;
    }
  }
}

bool DocumentStream::widen() {
  const bool hasBrackets = text().starts_with('{') || text().starts_with('[');
  if (isWidened_ || !hasBrackets) return false;
  isWidened_ = true;
  const std::size_t guess = length_;
  BracketScanner scanner;
  for (;;) {
    if (const std::size_t whole = scanner.scan(held()); whole > 0) {
      length_ = whole;
      return text().size() != std::string_view(text().data(), guess).find_last_not_of(" \t\r") + 1;
    }
    if (!readMore()) {
      length_ = held().size();
      isCut_ = true;
      return false;
    }
  }
}

bool DocumentStream::takeLines(std::size_t size, Lines& lines) {
  leaveDocument();
  bool isAtEnd = false;
  while (held().size() < size && !isAtEnd) isAtEnd = !readMore();
  std::size_t taken = held().size();
  if (!isAtEnd || taken > size) taken = endOfLines(held().substr(0, size));
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
