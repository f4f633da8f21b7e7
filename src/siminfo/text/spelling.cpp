#include "siminfo/text/spelling.h"

#include <algorithm>
#include <numeric>

namespace siminfo {

std::size_t distance(std::string_view pattern, std::string_view text) {
  std::vector<std::size_t> costs(text.size() + 1);  // of the pattern so far and each beginning of the text
  std::iota(costs.begin(), costs.end(), 0);
  for (const char wanted : pattern) {
    const bool isAny = wanted == '*';
    std::size_t diagonal = costs[0];
    if (!isAny) ++costs[0];
    for (std::size_t i = 1; i < costs.size(); ++i) {
      const std::size_t above = costs[i];
      const std::size_t same = diagonal + (wanted == '?' || wanted == text[i - 1] ? 0 : 1);
      costs[i] = isAny ? std::min(above, costs[i - 1]) : std::min({same, above + 1, costs[i - 1] + 1});
      diagonal = above;
    }
  }
  return costs.back();
}

std::string didYouMean(const std::vector<std::string>& words, std::string_view typed) {
  constexpr std::size_t kMost = 100;  // what is longer takes long, and is no slip of a finger
  if (typed.size() > kMost) return {};
  const auto farness = [&](const std::string& word) {
    return word.starts_with(typed) ? 0 : distance(typed, word);
  };
  const auto near = std::ranges::min_element(words, {}, farness);
  // What has half of its letters right is no accident.
  if (near == words.end() || farness(*near) * 2 >= std::max(near->size(), typed.size())) return {};
  return "; did you mean " + *near + "?";
}

std::string expectedOneOf(const std::vector<std::string>& words, std::string_view typed) {
  std::string text = "expected one of ";
  for (const std::string& word : words) text += (&word == &words.front() ? "" : ", ") + word;
  return text + didYouMean(words, typed);
}

}  // namespace siminfo
