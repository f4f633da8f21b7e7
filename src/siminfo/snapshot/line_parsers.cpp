#include "siminfo/snapshot/line_parsers.h"

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
  for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this, i, threads] { work(i, threads); });
}

LineParsers::~LineParsers() {
  for (const auto& slot : slots_) {
    finish(*slot);
    slot->state = State::kStop;
    slot->state.notify_all();
  }
  for (std::thread& thread : threads_) thread.join();
}

void LineParsers::work(std::size_t first, std::size_t step) {
  DocumentParser parser;
  for (std::size_t number = first;; number += step) {
    Slot& mine = slot(number);
    State state = mine.state;
    for (; state == State::kIdle || state == State::kParsed; state = mine.state) mine.state.wait(state);
    if (state == State::kStop) return;
    parse(parser, mine.parsed);
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

void LineParsers::finish(Slot& slot) { slot.state.wait(State::kGiven); }

ParsedLines& LineParsers::oldest() {
  finish(slot(taken_));
  return slot(taken_).parsed;
}

Lines& LineParsers::takeBack() {
  finish(slot(--given_));
  return slot(given_).parsed.lines;
}

}  // namespace siminfo
