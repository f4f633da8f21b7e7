#include "siminfo/snapshot/reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "siminfo/snapshot/document_parser.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/line_parsers.h"
#include "siminfo/snapshot/node_parser.h"

namespace siminfo {
namespace {

constexpr std::size_t kNodesPerProgress = 256;
constexpr std::size_t kLinesPerThread = 256UL * 1024;  // bytes that a thread is given at once

struct Header {
  std::string source;
  std::string collectedAt;
};

void parseHeader(json::object document, const char* text, Header& header) {
  enum Key : std::size_t { kVersion, kSource, kCollectedAt };
  static const KeyTable keys("the header, which is the first document,",
                             {{"fabric_snapshot", true}, {"source"}, {"collected_at"}});
  readMembers(Place{nullptr, {}, 0, text}, document, keys,
              [&](std::size_t key, json::value value, const Place& at) {
                if (key == kVersion) {
                  const std::uint64_t version = readInteger(at, value, {});
                  if (version != kFormatVersion)
                    refuse(at, "is format " + std::to_string(version) + "; expected format " +
                                   std::to_string(kFormatVersion));
                } else {
                  (key == kSource ? header.source : header.collectedAt) = readLineText(at, value);
                }
              });
}

/// Reads the documents of one snapshot, in their order.
class SnapshotReader {
 public:
  SnapshotReader(DocumentStream::ReadBytes readBytes, const std::string& label, const ReadProgress& progress)
      : documents_(std::move(readBytes)), label_(label), progress_(progress) {}

  Snapshot read(unsigned jobs) {
    if (!documents_.next())
      throw SnapshotError(label_ + ":1: is empty; expected a header as the first document");
    Header header;
    parse(parseHeader, header);
    snapshot_.source = snapshot_.discovered.fabric.source = header.source;
    snapshot_.collectedAt = header.collectedAt;
    if (jobs > 1) readLines(jobs);
    readDocuments();
    if (progress_) progress_(lines_.size(), documents_.bytesRead());
    return std::move(snapshot_);
  }

 private:
  /// Reads on several threads for as long as every line is a document. Where one is not, the rest is left to
  /// readDocuments, which finds the same as if it had read everything.
  void readLines(unsigned jobs) {
    LineParsers parsers(jobs);
    Lines lines;
    for (bool isMore = true;;) {
      while (isMore && !parsers.isFull() && (isMore = documents_.takeLines(kLinesPerThread, lines)))
        parsers.give(lines);
      if (parsers.isEmpty()) return;
      const ParsedLines& parsed = parsers.oldest();
      if (!parsed.isComplete) break;
      for (std::size_t i = 0; i < parsed.count; ++i) add(parsed.drafts[i], parsed.lineOf[i]);
      parsers.drop();
    }
    while (!parsers.isEmpty()) documents_.putBack(parsers.takeBack());
  }

  void readDocuments() {
    NodeDraft draft;
    while (documents_.next()) {
      parse(parseNode, draft);
      add(draft, lineOf(draft.nameAt));
    }
  }

  /// Parses the current document: first as the one line that it is as a rule, and then, if that fails, to the
  /// bracket that closes it. A line that was no whole document says nothing about what is wrong.
  template <class Result>
  void parse(void (*parseObject)(json::object, const char*, Result&), Result& result) {
    try {
      return parser_.parse(documents_.text(), parseObject, result);
    } catch (const Refusal& refusal) {
      if (!documents_.widen()) {
        if (documents_.isCut()) refuseCut();
        refuseAt(refusal.path, refusal.what, lineOf(refusal.at));
      }
    }
    try {
      parser_.parse(documents_.text(), parseObject, result);
    } catch (const Refusal& refusal) {
      refuseAt(refusal.path, refusal.what, lineOf(refusal.at));
    }
  }

  void add(const NodeDraft& draft, std::size_t line) {
    if (!addToSnapshot(draft, snapshot_)) {
      const IBNode* first = snapshot_.discovered.fabric.nodeByName.at(draft.node.name);
      refuseAt("name",
               "is the name of the node on line " + std::to_string(lines_[first->recordIndex]) +
                   " as well; expected names to be unique",
               line);
    }
    lines_.push_back(line);
    if (progress_ && lines_.size() % kNodesPerProgress == 0) progress_(lines_.size(), documents_.bytesRead());
  }

  std::size_t lineOf(const char* at) const {
    return documents_.line() + static_cast<std::size_t>(std::count(documents_.text().data(), at, '\n'));
  }

  [[noreturn]] void refuseAt(const std::string& path, const std::string& what, std::size_t line) const {
    throw SnapshotError(label_ + ":" + std::to_string(line) + ": " + path + (path.empty() ? "" : ": ") +
                        what);
  }

  [[noreturn]] void refuseCut() const {
    const bool isTooLong = documents_.text().size() > DocumentStream::kLongestDocument;
    refuseAt({},
             isTooLong
                 ? "the document that begins here is longer than 64 MiB; expected one node a document"
                 : "the document that begins here has no end; the file is cut off, or a closing bracket or "
                   "quote is missing",
             documents_.line());
  }

  DocumentStream documents_;
  std::string label_;
  const ReadProgress& progress_;
  DocumentParser parser_;
  Snapshot snapshot_;
  std::vector<std::size_t> lines_;  // of the nodes' names, by recordIndex
};

/// Closes what it opened, and leaves standard input alone.
class InputFile {
 public:
  explicit InputFile(const std::string& fileName) : name_(fileName) {
    if (fileName != "-") descriptor_ = ::open(fileName.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category(), name_);
  }
  ~InputFile() {
    if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  std::size_t read(char* to, std::size_t size) const {
    ssize_t got = 0;
    do got = ::read(descriptor_, to, size);
    while (got < 0 && errno == EINTR);
    if (got < 0) throw std::system_error(errno, std::generic_category(), name_);
    return static_cast<std::size_t>(got);
  }

 private:
  std::string name_;
  int descriptor_ = STDIN_FILENO;
};

}  // namespace

Snapshot readSnapshot(DocumentStream::ReadBytes readBytes, const std::string& label, unsigned jobs,
                      const ReadProgress& progress) {
  return SnapshotReader(std::move(readBytes), label, progress).read(jobs);
}

Snapshot readSnapshotFile(const std::string& fileName, unsigned jobs, const ReadProgress& progress) {
  const InputFile file(fileName);
  return readSnapshot([&](char* to, std::size_t size) { return file.read(to, size); },
                      fileName == "-" ? "<stdin>" : fileName, jobs, progress);
}

}  // namespace siminfo
