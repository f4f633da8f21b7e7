#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <memory>
#include <thread>
#include <vector>

#include "siminfo/snapshot/document_stream.h"
#include "siminfo/snapshot/node_parser.h"

namespace siminfo {

/// Lines that were parsed with each line as a node document.
struct ParsedLines {
  Lines lines;
  std::vector<NodeDraft> drafts;    ///< the first `count` of them; the rest is memory for later
  std::vector<std::size_t> lineOf;  ///< by draft, from 1 as in the file
  std::size_t count = 0;
  bool isComplete = false;     ///< false when a line was no node document; what is wrong with it is not known
  std::exception_ptr failure;  ///< what else ended the parsing, such as memory that is short
};

/// Parses lines on threads of their own and gives them back in the order in which they came, so that what
/// becomes of them does not depend on the number of threads.
class LineParsers {
 public:
  /// Starts the threads, or as many of them as the system has.
  explicit LineParsers(unsigned threads);
  ~LineParsers();
  LineParsers(const LineParsers&) = delete;
  LineParsers& operator=(const LineParsers&) = delete;

  /// Whether there is anybody to parse.
  bool hasThreads() const { return !threads_.empty(); }
  bool isEmpty() const { return given_ == taken_; }
  bool isFull() const { return given_ - taken_ == slots_.size(); }

  /// Takes the lines in exchange for ones that are done with. Must not be full.
  void give(Lines& lines);
  /// Waits for the lines that were given first; they are there until drop(). Throws what ended their parsing.
  ParsedLines& oldest();
  void drop() { ++taken_; }
  /// The lines that were given last, parsed or not, and takes them back.
  Lines& takeBack();

 private:
  enum class State { kIdle, kGiven, kParsing, kParsed, kStop };
  struct Slot {
    std::atomic<State> state = State::kIdle;
    ParsedLines parsed;
  };
  static constexpr std::size_t kSlotsPerThread = 2;

  /// Serves one slot after another that no other thread has claimed, in the order in which they are given.
  void work();
  Slot& slot(std::size_t number) { return *slots_[number % slots_.size()]; }
  static void finish(Slot& slot);

  std::vector<std::unique_ptr<Slot>> slots_;
  std::vector<std::thread> threads_;
  std::atomic<std::size_t> claimed_ = 0;
  std::size_t given_ = 0;
  std::size_t taken_ = 0;
};

}  // namespace siminfo
