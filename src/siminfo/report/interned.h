#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace siminfo {

/// Texts that stand for numbers: each once, in the order in which they came.
class Interned {
 public:
  std::size_t indexOf(std::string text) {
    const auto [found, isNew] = indices_.try_emplace(std::move(text), texts_.size());
    if (isNew) texts_.push_back(&found->first);
    return found->second;
  }
  std::optional<std::size_t> find(const std::string& text) const {
    const auto found = indices_.find(text);
    return found != indices_.end() ? std::optional(found->second) : std::nullopt;
  }
  std::size_t size() const { return texts_.size(); }
  const std::string& operator[](std::size_t index) const { return *texts_[index]; }

 private:
  std::unordered_map<std::string, std::size_t> indices_;
  std::vector<const std::string*> texts_;  // keys keep their places
};

}  // namespace siminfo
