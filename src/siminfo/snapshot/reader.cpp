#include "siminfo/snapshot/reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <system_error>

#include "siminfo/snapshot/compression.h"
#include "siminfo/snapshot/document_parser.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/line_parsers.h"
#include "siminfo/snapshot/links.h"
#include "siminfo/snapshot/node_parser.h"
#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

constexpr std::size_t kNodesPerProgress = 256;
// Each takes the memory of a pointer. No subnet has as many that count.
constexpr std::size_t kMostSkippedPorts = std::size_t{1} << 22U;
constexpr std::size_t kLinesPerThread = 256UL * 1024;  // bytes that a thread is given at once

struct Header {
  std::string source;
  std::string collectedAt;
  std::string fabric;
  std::optional<std::uint64_t> nodes;  // documents up to the next header or the end
  const char* nodesAt = nullptr;       // in the document's text
};

/// A document of a snapshot: the header, or a node.
struct Document {
  bool isHeader = true;
  Header header;
  NodeDraft node;
};

constexpr std::array<KeyTable::Key, 5> kHeaderKeys{
    {{"fabric_snapshot", true}, {"source"}, {"collected_at"}, {"fabric"}, {"nodes"}}};

void parseHeader(json::object document, const char* text, Header& header) {
  enum Key : std::size_t { kVersion, kSource, kCollectedAt, kFabric, kNodes };
  static const KeyTable keys("the header, which is the first document,",
                             {kHeaderKeys.begin(), kHeaderKeys.end()});
  header = {};
  readMembers(Place{nullptr, {}, 0, text}, document, keys,
              [&](std::size_t key, json::value value, const Place& at) {
                switch (static_cast<Key>(key)) {
                  case kVersion:
                    if (const std::uint64_t version = readInteger(at, value, {}); version != kFormatVersion)
                      refuse(at, "is format " + std::to_string(version) + "; expected format " +
                                     std::to_string(kFormatVersion));
                    break;
                  case kSource:
                    header.source = readLineText(at, value);
                    break;
                  case kCollectedAt:
                    header.collectedAt = readLineText(at, value);
                    break;
                  case kFabric:
                    header.fabric = readLineText(at, value);
                    break;
                  case kNodes:
                    header.nodes = readInteger(at, value, {});
                    header.nodesAt = at.at;
                    break;
                }
              });
}

/// Whether the object that begins at `text` is a header: nodes and headers have no key in common, so the
/// first key of a document tells which it is.
bool isHeader(const char* text) {
  while (std::string_view("{ \t\r\n").find(*text) != std::string_view::npos) ++text;
  return std::ranges::any_of(kHeaderKeys, [text](const KeyTable::Key& key) {
    static_assert(DocumentStream::kPadding > 20, "a key may be compared beyond the document's end");
    return *text == '"' && std::char_traits<char>::compare(text + 1, key.name.data(), key.name.size()) == 0 &&
           text[key.name.size() + 1] == '"';
  });
}

/// Files may be joined, so a header may stand between nodes.
void parseDocument(json::object object, const char* text, Document& document) {
  document.isHeader = isHeader(text);
  if (document.isHeader)
    parseHeader(object, text, document.header);
  else
    parseNode(object, text, document.node);
}

/// Reads the documents of one snapshot, in their order.
class SnapshotReader {
 public:
  SnapshotReader(DocumentStream::ReadBytes readBytes, const std::string& label, const ReadProgress& progress)
      : documents_(textOf(std::move(readBytes))), label_(label), progress_(progress) {}

  Snapshot read(unsigned jobs) {
    if (!documents_.next())
      throw SnapshotError(label_ + ":1: is empty; expected a header as the first document");
    requireObject();
    Header header;
    parse(parseHeader, header);
    snapshot_.source = snapshot_.discovered.fabric.source = header.source;
    snapshot_.collectedAt = header.collectedAt;
    snapshot_.fabric = header.fabric;
    takeHeader(header);
    if (jobs > 1) readLines(jobs);
    readDocuments();
    requireAllNodes();
    judgeLinks();
    if (progress_) progress_(lines_.size(), documents_.bytesRead());
    return std::move(snapshot_);
  }

 private:
  /// Files of another kind are told as what they are, and not as a fault of a header.
  void requireObject() const {
    constexpr std::size_t kShown = 24;
    const std::string_view text = documents_.text();
    if (text.starts_with('{')) return;
    if (text.starts_with('['))
      refuseAt({}, "is a JSON array; expected documents one after the other, as jq -c '.[]' makes of it",
               documents_.line());
    refuseAt({},
             "is not a fabric snapshot: it begins with " + inQuotes(text.substr(0, kShown)) +
                 "; expected a JSON object with the key \"fabric_snapshot\"",
             documents_.line());
  }

  /// Reads on several threads for as long as every line is a document. Where one is not, or no more bytes
  /// come, the rest is left to readDocuments, which finds the same as if it had read everything.
  void readLines(unsigned jobs) {
    LineParsers parsers(jobs);
    if (!parsers.hasThreads()) return;
    Lines lines;
    for (bool isMore = true;;) {
      while (isMore && !parsers.isFull() && (isMore = takeLines(lines))) parsers.give(lines);
      if (parsers.isEmpty()) return;
      const ParsedLines& parsed = parsers.oldest();
      if (!parsed.isComplete) break;
      for (std::size_t i = 0; i < parsed.count; ++i)
        add(parsed.drafts[i], [line = parsed.lineOf[i]](const char*) { return line; });
      parsers.drop();
    }
    while (!parsers.isEmpty()) documents_.putBack(parsers.takeBack());
  }

  /// Whoever fails to get bytes says so when what was read before them is judged.
  bool takeLines(Lines& lines) {
    try {
      return documents_.takeLines(kLinesPerThread, lines);
    } catch (const std::exception&) {
      return false;
    }
  }

  void readDocuments() {
    Document document;
    while (documents_.next()) {
      parse(parseDocument, document);
      if (document.isHeader) {
        requireAllNodes();
        takeHeader(document.header);
      } else {
        add(document.node, [this](const char* at) { return lineOf(at); });
      }
    }
  }

  void takeHeader(const Header& header) {
    promised_ = header.nodes;
    promisedLine_ = header.nodes ? lineOf(header.nodesAt) : 0;
    nodesBefore_ = lines_.size();
  }

  /// A file that was cut between two documents looks whole, but for this number.
  void requireAllNodes() const {
    const std::size_t nodes = lines_.size() - nodesBefore_;
    if (promised_ && *promised_ != nodes)
      refuseAt("nodes",
               "is " + std::to_string(*promised_) + ", but the number of nodes that follow is " +
                   std::to_string(nodes) +
                   "; the file was cut off, or nodes were added or removed (then remove this key as well)",
               promisedLine_);
  }

  void judgeLinks() const {
    links_.judge(snapshot_.discovered.fabric, [this](const LinkJudge::End& end, const std::string& what) {
      const LinkPlace& place = linkPlaces_[end.place];
      refuseAt("ports[" + std::to_string(place.element) + "].link", what, place.line);
    });
  }

  /// Parses the current document: first as the one line that it is as a rule, and then, if that fails, to the
  /// bracket that closes it. A line that was no whole document says nothing about what is wrong.
  template <class Result>
  void parse(void (*parseObject)(json::object, const char*, Result&), Result& result) {
    if (documents_.isCut()) refuseCut();
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

  /// `lineAt` gives the line on which a place of the document is.
  template <class LineAt>
  void add(const NodeDraft& draft, LineAt lineAt) {
    const IBNode* node = addToSnapshot(draft, snapshot_);
    if (node == nullptr) {
      const IBNode* first = snapshot_.discovered.fabric.nodeByName.at(draft.node.name);
      refuseAt("name",
               "is also the name of the node on line " + std::to_string(lines_[first->recordIndex]) +
                   "; expected a name that no other node has",
               lineAt(draft.nameAt));
    }
    lines_.push_back(lineAt(draft.nameAt));
    skippedPorts_ +=
        static_cast<std::size_t>(std::count(node->ports.begin() + 1, node->ports.end(), nullptr));
    if (skippedPorts_ > kMostSkippedPorts)
      refuseAt("ports",
               "with this node, " + std::to_string(skippedPorts_) +
                   " ports below the highest one of their node are missing; expected at most " +
                   std::to_string(kMostSkippedPorts),
               lines_.back());
    for (const PortIdentityDraft& each : draft.portIdentities) {
      if (!each.identity.link) continue;
      const std::uint8_t num = draft.ports[each.owner].port.num;
      const PortIdentity* stored = snapshot_.portIdentities.find(node->ports[num]->recordIndex);
      links_.add({node, num, &*stored->link, linkPlaces_.size()});
      linkPlaces_.push_back({lineAt(each.linkAt), each.owner});
    }
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
                 ? "the document that begins here is larger than 64 MiB; expected one node per document"
                 : "the document that begins here has no end; the file is cut off, or a closing bracket or "
                   "quote is missing",
             documents_.line());
  }

  DocumentStream documents_;
  std::string label_;
  const ReadProgress& progress_;
  DocumentParser parser_;
  Snapshot snapshot_;
  std::size_t skippedPorts_ = 0;    // numbers below the highest of their node
  std::vector<std::size_t> lines_;  // of the nodes' names, by recordIndex

  // What the latest header promised.
  std::optional<std::uint64_t> promised_;
  std::size_t promisedLine_ = 0;
  std::size_t nodesBefore_ = 0;

  /// Where a link stands in the file.
  struct LinkPlace {
    std::size_t line;
    std::size_t element;  // of the array "ports"
  };
  std::vector<LinkPlace> linkPlaces_;
  LinkJudge links_;
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
  try {
    return SnapshotReader(std::move(readBytes), label, progress).read(jobs);
  } catch (const EncodingError& error) {
    throw SnapshotError(label + ": " + error.what());
  }
}

Snapshot readSnapshotFile(const std::string& fileName, unsigned jobs, const ReadProgress& progress) {
  const InputFile file(fileName);
  return readSnapshot([&](char* to, std::size_t size) { return file.read(to, size); },
                      fileName == "-" ? "<stdin>" : fileName, jobs, progress);
}

}  // namespace siminfo
