#include "siminfo/report/body_table.h"

#include "siminfo/report/page.h"

namespace siminfo {
namespace {

/// Of a number and its comma.
std::size_t bytesOf(std::size_t number) { return std::to_string(number).size() + 1; }

template <class Take>
void forEachLine(std::string_view text, Take take) {
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    take(std::string(text.substr(0, end)));
    text.remove_prefix(end + 1);
  }
  take(std::string(text));
}

void addNumbers(JsonLine& json, const std::vector<std::size_t>& numbers) {
  json.open('[');
  for (const std::size_t number : numbers) json.number(number);
  json.close(']');
}

}  // namespace

std::size_t BodyTable::cost(const std::string& body) const {
  if (const auto known = bodies_.find(body)) return bytesOf(*known);
  std::size_t bytes = bytesOf(bodies_.size() + SimInfoDumpCPP::Frames().size()) + 3;  // and its brackets
  std::size_t next = lines_.size();
  forEachLine(body, [&](const std::string& line) {
    const auto known = lines_.find(line);
    bytes += bytesOf(known.value_or(next));
    if (known) return;
    bytes += jsonForScript(jsonString(line)).size() + 1;
    ++next;
  });
  return bytes;
}

bool BodyTable::add(std::size_t model, const NodeOutcomes& outcomes) {
  std::size_t bytes = 0;
  for (const FrameOutcome& each : outcomes) bytes += each.kind == BodyKind::kBlock ? cost(each.body) : 0;
  if (bytes > bytesLeft_) return false;
  bytesLeft_ -= bytes;
  std::vector<std::size_t>& own = bodiesOf_[model];
  for (const FrameOutcome& each : outcomes) {
    if (each.kind != BodyKind::kBlock) continue;
    own.push_back(bodies_.indexOf(each.body));
    if (own.back() < linesOf_.size()) continue;
    std::vector<std::size_t>& lines = linesOf_.emplace_back();
    forEachLine(each.body, [&](std::string line) { lines.push_back(lines_.indexOf(std::move(line))); });
  }
  return true;
}

void BodyTable::writeTo(JsonLine& json, std::size_t models) const {
  json.key("lines").open('[');
  for (std::size_t i = 0; i < lines_.size(); ++i) json.string(lines_[i]);
  json.close(']');
  json.key("bodies").open('[');
  for (const auto& lines : linesOf_) addNumbers(json, lines);
  json.close(']');
  json.key("model_bodies").open('[');
  for (std::size_t model = 0; model < models; ++model) {
    const auto found = bodiesOf_.find(model);
    addNumbers(json, found != bodiesOf_.end() ? found->second : std::vector<std::size_t>());
  }
  json.close(']');
}

}  // namespace siminfo
