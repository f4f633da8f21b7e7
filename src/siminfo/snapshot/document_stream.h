#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <string_view>
#include <vector>

namespace siminfo {

/// Whole lines of a text, followed by as many readable bytes as a document.
struct Lines {
  std::vector<char> memory;
  std::size_t size = 0;       ///< of the text in it
  std::size_t firstLine = 0;  ///< number of its first line
};

/// Splits a text into the JSON documents that it is a sequence of, holding one of them in memory at a time.
///
/// A document as snapshots are written is one line, and a line's end is found at the speed of memory; so a
/// line is what next() offers first. Where the reader finds that the line is no whole document, or more than
/// one, widen() finds the document's true end by its brackets; and so next() does for whatever else begins on
/// that line.
class DocumentStream {
 public:
  /// Fills a buffer with at most `size` bytes and returns how many; 0 at the end. Throws when it cannot; it
  /// is not asked again then, and whatever needs more bytes throws the same.
  using ReadBytes = std::function<std::size_t(char* to, std::size_t size)>;

  explicit DocumentStream(ReadBytes readBytes);

  /// Moves to the next document; false at the end.
  bool next();
  /// Sets text() to the bytes from the document's first bracket to the one that closes it. True when that
  /// is another text, white space at its end apart, so that it is worth parsing. False as well when the
  /// document begins with no bracket, and when none closes it; isCut() is for the latter.
  bool widen();
  /// Whether the end of the input, or the limit, was met before the closing bracket; text() is then all that
  /// was read of the document, or one byte more than the limit.
  bool isCut() const { return isCut_; }

  /// Moves at most `size` bytes from before the next document into `lines`, or more where one line is longer:
  /// whole lines, the last of the input with or without its end. False when there is nothing left, on a line
  /// that was found to have several documents, and on one that is longer than any document. putBack undoes
  /// it, the lines that were taken last before those that were taken earlier.
  bool takeLines(std::size_t size, Lines& lines);
  void putBack(const Lines& lines);

  /// The document. It is followed by at least kPadding readable bytes.
  std::string_view text() const { return {buffer_.data() + begin_, length_}; }
  /// Number of the line on which the document begins, from 1.
  std::size_t line() const { return line_; }
  /// Bytes read so far.
  std::size_t bytesRead() const { return bytesRead_; }

  static constexpr std::size_t kPadding = 64;
  /// In bytes; of longer ones so much and a byte is read.
  static constexpr std::size_t kLongestDocument = std::size_t{64} << 20U;

 private:
  /// Goes behind the current document.
  void leaveDocument();
  void takeLine();
  /// Up to the bracket that closes the first one.
  void takeBrackets();
  bool hasBrackets() const { return held().starts_with('{') || held().starts_with('['); }
  /// Reads more behind what is held. False at the end of the input and beyond the longest document.
  bool readMore();
  std::size_t askForBytes(char* to, std::size_t size);
  bool skipWhiteSpace();
  std::string_view held() const { return {buffer_.data() + begin_, end_ - begin_}; }

  ReadBytes readBytes_;
  std::exception_ptr failure_;  // what readBytes_ threw
  std::vector<char> buffer_;
  std::size_t begin_ = 0;   // of the document, in buffer_
  std::size_t length_ = 0;  // of the document
  std::size_t end_ = 0;     // of what is held, in buffer_
  std::size_t line_ = 1;
  std::size_t bytesRead_ = 0;
  bool isWidened_ = false;
  bool isCut_ = false;
  bool isLineShared_ = false;  // whether another document was found to begin where the line goes on
};

}  // namespace siminfo
