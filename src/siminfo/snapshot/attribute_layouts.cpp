#include "siminfo/snapshot/attribute_layouts.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "siminfo/text/line_file.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/spelling.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

constexpr std::string_view kRouterInfo = kRecordName<SMP_RouterInfo>;
constexpr std::size_t kAttributeBits = 64 * 8;

struct UndecodedField {
  std::string name;  // with its record's
  const Field* field;
};

template <class Record>
void addUndecoded(std::vector<UndecodedField>& fields) {
  for (const Field& field : kFields<Record>) {
    if (isUndecoded<Record>(field.name))
      fields.push_back({std::string(kRecordName<Record>).append(".").append(field.name), &field});
  }
}

std::vector<UndecodedField> undecodedFields() {
  std::vector<UndecodedField> fields;
  addUndecoded<SMP_RouterInfo>(fields);
  addUndecoded<SMP_PortInfo>(fields);
  return fields;
}

/// The first two words of a line, and what follows them; all without the comment.
std::array<std::string_view, 3> wordsOf(std::string_view line) {
  line = trimmed(line.substr(0, line.find('#')));
  std::array<std::string_view, 3> words;
  for (std::string_view& word : words) {
    word = &word == &words.back() ? line : line.substr(0, line.find_first_of(kBlanks));
    line = trimmed(line.substr(word.size()));
  }
  return words;
}

std::string outOfRange(std::string_view word, std::uint64_t least, std::uint64_t most) {
  return inQuotes(word) + ": expected a number from " + std::to_string(least) + " to " + std::to_string(most);
}

/// Judges the lines of a file one by one, and then what they make together.
class LayoutReader {
 public:
  /// What is wrong with the line, or nothing.
  std::string take(std::string_view line) {
    const auto [name, what, number] = wordsOf(line);
    if (name == kRouterInfo && what == "attribute") return takeAttribute(number);
    if (what == "bit") return takeBit(name, number);
    return R"(expected "SMP_RouterInfo attribute NUMBER" or "RECORD.FIELD bit NUMBER")";
  }

  /// What the lines leave open, or nothing.
  std::string gap() const {
    for (const UndecodedField& known : known_) {
      if (!known.name.starts_with(kRouterInfo) ||
          layouts_.firstBits.contains(known.field) == isRouterInfoTold())
        continue;
      return isRouterInfoTold() ? "there is no line with the bit of " + known.name
                                : "there is no line \"SMP_RouterInfo attribute NUMBER\"";
    }
    return {};
  }

  const AttributeLayouts& layouts() const { return layouts_; }

 private:
  bool isRouterInfoTold() const { return layouts_.routerInfo.has_value(); }

  std::string takeAttribute(std::string_view word) {
    constexpr std::uint64_t kMost = 0xffff;
    const auto number = parseUnsigned(word);
    if (!number || *number == 0 || *number > kMost) return outOfRange(word, 1, kMost);
    if (isRouterInfoTold()) return "the attribute of SMP_RouterInfo is given twice";
    layouts_.routerInfo = static_cast<std::uint16_t>(*number);
    return {};
  }

  std::string takeBit(std::string_view name, std::string_view word) {
    const auto known = std::ranges::find(known_, name, &UndecodedField::name);
    if (known == known_.end())
      return inQuotes(name) + " is not a field whose place can be given; " + expectedOneOf(names(), name);
    const std::size_t most = kAttributeBits - known->field->bits;
    const auto bit = parseUnsigned(word);
    if (!bit || *bit > most) return outOfRange(word, 0, most);
    if (!layouts_.firstBits.emplace(known->field, *bit).second) return known->name + " is given twice";
    return {};
  }

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const UndecodedField& known : known_) names.push_back(known.name);
    return names;
  }

  std::vector<UndecodedField> known_ = undecodedFields();
  AttributeLayouts layouts_;
};

}  // namespace

std::string readAttributeLayouts(const std::string& fileName, AttributeLayouts& layouts) {
  LayoutReader reader;
  std::string fault = readLines(fileName, [&](std::string_view line) { return reader.take(line); });
  if (const std::string gap = reader.gap(); fault.empty() && !gap.empty())
    fault = printable(fileName) + ": " + gap;
  layouts = reader.layouts();
  return fault;
}

}  // namespace siminfo
