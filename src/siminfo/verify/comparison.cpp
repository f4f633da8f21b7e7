#include "siminfo/verify/comparison.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <tuple>

#include "siminfo/simulator/include/infiniband/drovik/bit_access.h"
#include "siminfo/text/number_text.h"
#include "siminfo/verify/probe/background.h"

namespace siminfo {
namespace {

constexpr const char* kBefore = "what was there before the function ran";

bool fits(const ExpectedNumber& number) { return number.bits == 64 || number.value >> number.bits == 0; }

Difference differenceOf(const ExpectedImage& image, const ExpectedNumber& number, std::uint64_t found,
                        bool isUntouched) {
  Difference difference{image.place, std::string(number.field), hexText(number.value), hexText(found)};
  if (!fits(number))
    difference.expected += ", which does not fit the attribute's " + std::to_string(number.bits) + " bits";
  if (isUntouched) difference.found = kBefore;
  return difference;
}

/// In bytes: as many as hold every number.
std::size_t leastSize(const ExpectedImage& image) {
  std::size_t bits = 0;
  for (const ExpectedNumber& number : image.numbers) bits = std::max(bits, number.bit + number.bits);
  return (bits + 7) / 8;
}

void compareImage(const ExpectedImage& image, const std::vector<std::uint8_t>& found, std::uint8_t background,
                  std::vector<Difference>& differences) {
  if (found.size() < leastSize(image)) {
    differences.push_back({image.place, "the whole image", std::to_string(leastSize(image)) + " bytes",
                           std::to_string(found.size())});
    return;
  }
  std::vector<std::uint8_t> others = found;
  const std::vector<std::uint8_t> untouched(found.size(), background);
  for (const ExpectedNumber& number : image.numbers) {
    const std::uint64_t was = drovik::getBits(untouched.data(), number.bit, number.bits);
    const std::uint64_t is = drovik::getBits(found.data(), number.bit, number.bits);
    if (is != number.value) differences.push_back(differenceOf(image, number, is, is == was));
    drovik::setBits(others.data(), number.bit, number.bits, was);
  }
  const auto changed = std::ranges::find_if(others, [&](std::uint8_t byte) { return byte != background; });
  if (changed != others.end())
    differences.push_back({image.place,
                           "byte " + std::to_string(changed - others.begin()) + ", outside the fields",
                           "unchanged", hexText(*changed)});
}

std::vector<Difference> compareRun(const std::vector<ExpectedImage>& expected, const FrameRun& run) {
  if (!run.ended) return {{"", "the whole frame", "a function that returns", "a program that ended in it"}};
  std::vector<Difference> differences;
  for (const auto& [name, bytes] : run.images) {
    if (std::ranges::find(expected, name, &ExpectedImage::name) == expected.end())
      differences.push_back({name, "the whole image", "unchanged", "changed"});
  }
  for (const ExpectedImage& image : expected) {
    const auto found = run.images.find(image.name);
    const bool isChanged = found != run.images.end();
    const std::uint8_t background = backgroundOf(image.name, run.number);
    std::vector<Difference> wrong;
    // The size of an image that was not changed does not matter.
    const std::vector<std::uint8_t> unchanged(leastSize(image), background);
    compareImage(image, isChanged ? found->second : unchanged, background, wrong);
    // What was never stored is one fault, however many fields it has.
    if (!isChanged && wrong.size() > 1)
      wrong = {{image.place, "every field", "the discovered values", kBefore}};
    std::ranges::move(wrong, std::back_inserter(differences));
  }
  return differences;
}

/// One wrong line of a generated loop is wrong for many ports.
std::vector<Difference> byPlaces(std::vector<Difference> differences) {
  constexpr std::size_t kMostPlaces = 4;
  using Key = std::tuple<std::string, std::string, std::string>;
  std::map<Key, std::vector<std::string>> places;
  const auto keyOf = [](const Difference& of) { return Key{of.field, of.expected, of.found}; };
  for (const Difference& difference : differences) places[keyOf(difference)].push_back(difference.place);
  std::vector<Difference> merged;
  for (Difference& difference : differences) {
    std::vector<std::string>& all = places[keyOf(difference)];
    if (all.empty()) continue;  // went with the first of its kind
    difference.place = all.front();
    for (std::size_t i = 1; i < std::min(all.size(), kMostPlaces); ++i) difference.place += ", " + all[i];
    if (all.size() > kMostPlaces)
      difference.place += " and " + std::to_string(all.size() - kMostPlaces) + " more";
    all.clear();
    merged.push_back(std::move(difference));
  }
  return merged;
}

}  // namespace

std::vector<Difference> compareImages(const std::vector<ExpectedImage>& expected,
                                      const std::vector<FrameRun>& runs) {
  for (const FrameRun& run : runs) {
    if (auto differences = compareRun(expected, run); !differences.empty())
      return byPlaces(std::move(differences));
  }
  if (runs.size() < 2) return {{"", "the whole frame", "two runs", "a program that ended before"}};
  return {};
}

}  // namespace siminfo
