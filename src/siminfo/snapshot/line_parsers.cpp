#include "siminfo/snapshot/line_parsers.h"

#include <new>
#include <system_error>

#include "siminfo/snapshot/document_parser.h"

namespace siminfo {
namespace {

bool isBlank(std::string_view line) { return line.find_first_not_of(" \t\r") == std::string_view::npos; }

void parse(DocumentParser& parser, ParsedLines& parsed) {
  std::string_view text(parsed.lines.memory.data(), parsed.lines.size);
  parsed.count = 0;
  parsed.isComplete = false;
  for (std::size_t line = parsed.lines.firstLine; !text.empty(); ++line) {
    const std::string_view document = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(document.size() + 1, text.size()));
    if (isBlank(document)) continue;
    if (document.size() > DocumentStream::kLongestDocument) return;
    if (parsed.count == parsed.drafts.size()) {
      parsed.drafts.emplace_back();
      parsed.lineOf.emplace_back();
    }
    try {
      parser.parse(document, parseNode, parsed.drafts[parsed.count]);
    } catch (const Refusal&) {
      return;
    }
    parsed.lineOf[parsed.count++] = line;
  }
  parsed.isComplete = true;
}

}  // namespace

LineParsers::LineParsers(unsigned threads) {
  for (std::size_t i = 0; i < threads * kSlotsPerThread; ++i) slots_.push_back(std::make_unique<Slot>());
  threads_.reserve(threads);
  try {
    while (threads_.size() < threads) threads_.emplace_back([this] { work(); });
  } catch (const std::system_error&) {
    // Those that there are do it all.
  } catch (const std::bad_alloc&) {
    // Those that there are do it all.
  }
}

LineParsers::~LineParsers() {
  for (const auto& slot : slots_) {
    finish(*slot);
    slot->state = State::kStop;
    slot->state.notify_all();
  }
  for (std::thread& thread : threads_) thread.join();
}

void LineParsers::work() {
  DocumentParser parser;
  for (;;) {
    Slot& mine = slot(claimed_++);
    // A slot comes round again, and whoever finds it given parses it, be it claimed now or a round before.
    for (State state = State::kGiven; !mine.state.compare_exchange_strong(state, State::kParsing);
         state = State::kGiven) {
      if (state == State::kStop) return;
      mine.state.wait(state);
    }
    try {
      mine.parsed.failure = nullptr;
      parse(parser, mine.parsed);
    } catch (...) {
      mine.parsed.failure = std::current_exception();
    }
    mine.state = State::kParsed;
    mine.state.notify_all();
  }
}

void LineParsers::give(Lines& lines) {
  Slot& free = slot(given_++);
  std::swap(free.parsed.lines, lines);
  free.state = State::kGiven;
  free.state.notify_all();
}

void LineParsers::finish(Slot& slot) {
  for (State state = slot.state; state == State::kGiven || state == State::kParsing; state = slot.state)
    slot.state.wait(state);
}

ParsedLines& LineParsers::oldest() {
  finish(slot(taken_));
  ParsedLines& parsed = slot(taken_).parsed;
  if (parsed.failure) std::rethrow_exception(parsed.failure);
  return parsed;
}

Lines& LineParsers::takeBack() {
  finish(slot(--given_));
  return slot(given_).parsed.lines;
}

}  // namespace siminfo
