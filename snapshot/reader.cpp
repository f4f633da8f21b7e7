#include "snapshot/reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "snapshot/format.h"
#include "snapshot/json.h"
#include "snapshot/node_parser.h"

namespace siminfo {
namespace {

constexpr std::size_t kNodesPerProgress = 256;

struct Header {
  std::string source;
  std::string collectedAt;
};

void parseHeader(json::object document, const char* text, Header& header) {
  enum Key : std::size_t { kVersion, kSource, kCollectedAt };
  static const KeyTable keys("the header, which is the first document,",
                             {"fabric_snapshot", "source", "collected_at"}, kSource);
  readMembers(Place{nullptr, {}, 0, text}, document, keys,
              [&](std::size_t key, json::value value, const Place& at) {
                if (key == kVersion) {
                  const std::uint64_t version = readUnsigned(at, value, ~std::uint64_t{0});
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
  SnapshotReader(DocumentStream::ReadBytes readBytes, const std::string& label)
      : documents_(std::move(readBytes)), label_(label) {}

  Snapshot read(const ReadProgress& progress) {
    if (!documents_.next())
      throw SnapshotError(label_ + ":1: is empty; expected a header as the first document");
    Header header;
    parse(parseHeader, header);
    snapshot_.source = snapshot_.discovered.fabric.source = header.source;
    snapshot_.collectedAt = header.collectedAt;
    NodeDraft draft;
    while (documents_.next()) {
      parse(parseNode, draft);
      add(draft);
      if (progress && lines_.size() % kNodesPerProgress == 0) progress(lines_.size(), documents_.bytesRead());
    }
    if (progress) progress(lines_.size(), documents_.bytesRead());
    return std::move(snapshot_);
  }

 private:
  /// Parses the current document: first as the one line that it is as a rule, and then, if that fails, to the
  /// bracket that closes it. A line that was no whole document says nothing about what is wrong.
  template <class Result>
  void parse(void (*parseObject)(json::object, const char*, Result&), Result& result) {
    try {
      return parseText(parseObject, result);
    } catch (const Refusal& refusal) {
      if (!documents_.widen()) {
        if (documents_.isCut()) refuseCut();
        refuseAt(refusal);
      }
    }
    try {
      return parseText(parseObject, result);
    } catch (const Refusal& refusal) {
      refuseAt(refusal);
    }
  }

  template <class Result>
  void parseText(void (*parseObject)(json::object, const char*, Result&), Result& result) {
    const std::string_view text = documents_.text();
    const Place whole{nullptr, {}, 0, text.data()};
    json::document document;
    json::object object;
    auto error =
        parser_.iterate(text.data(), text.size(), text.size() + DocumentStream::kPadding).get(document);
    if (error == simdjson::SUCCESS) error = document.get_object().get(object);
    if (error == simdjson::INCORRECT_TYPE) refuse(whole, "is no object; expected a header or a node");
    if (error == simdjson::UTF8_ERROR) refuseUtf8(text);
    if (error != simdjson::SUCCESS) refuse(whole, error, nullptr, {});
    parseObjectOf(document, object, parseObject, result);
  }

  template <class Result>
  void parseObjectOf(json::document& document, json::object object,
                     void (*parseObject)(json::object, const char*, Result&), Result& result) {
    const std::string_view text = documents_.text();
    const Place whole{nullptr, {}, 0, text.data()};
    try {
      parseObject(object, text.data(), result);
      if (document.current_location().error() != simdjson::OUT_OF_BOUNDS)
        refuse(whole, "has something behind its closing bracket; expected white space and the next document");
    } catch (Refusal& refusal) {
      const char* stoppedAt = text.data() + text.size();
      if (refusal.at == nullptr && document.current_location().get(stoppedAt) == simdjson::SUCCESS)
        refusal.at = stoppedAt;
      throw;
    }
  }

  /// The parser does not say where; the line that is no UTF-8 by itself is where.
  [[noreturn]] static void refuseUtf8(std::string_view text) {
    std::size_t start = 0;
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n', start)) {
      if (!simdjson::validate_utf8(text.data() + start, end - start)) break;
      start = end + 1;
    }
    refuse(Place{nullptr, {}, 0, text.data() + start}, "is not UTF-8");
  }

  void add(const NodeDraft& draft) {
    if (!addToSnapshot(draft, snapshot_)) {
      const IBNode* first = snapshot_.discovered.fabric.nodeByName.at(draft.node.name);
      refuseAt({"name",
                "is the name of the node on line " + std::to_string(lines_[first->recordIndex]) +
                    " as well; expected names to be unique",
                draft.nameAt});
    }
    lines_.push_back(lineOf(draft.nameAt));
  }

  std::size_t lineOf(const char* at) const {
    const char* start = documents_.text().data();
    return documents_.line() + (at != nullptr ? static_cast<std::size_t>(std::count(start, at, '\n')) : 0);
  }

  [[noreturn]] void refuseAt(const Refusal& refusal) const {
    const std::string path = refusal.path.empty() ? "" : refusal.path + ": ";
    throw SnapshotError(label_ + ":" + std::to_string(lineOf(refusal.at)) + ": " + path + refusal.what);
  }

  [[noreturn]] void refuseCut() const {
    const bool isTooLong = documents_.text().size() > DocumentStream::kLongestDocument;
    refuseAt({{},
              isTooLong
                  ? "the document that begins here is longer than 64 MiB; expected one node a document"
                  : "the document that begins here has no end; the file is cut off, or a closing bracket or "
                    "quote is missing",
              nullptr});
  }

  DocumentStream documents_;
  std::string label_;
  json::parser parser_;
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

Snapshot readSnapshot(DocumentStream::ReadBytes readBytes, const std::string& label,
                      const ReadProgress& progress) {
  return SnapshotReader(std::move(readBytes), label).read(progress);
}

Snapshot readSnapshotFile(const std::string& fileName, const ReadProgress& progress) {
  const InputFile file(fileName);
  return readSnapshot([&](char* to, std::size_t size) { return file.read(to, size); },
                      fileName == "-" ? "<stdin>" : fileName, progress);
}

}  // namespace siminfo
