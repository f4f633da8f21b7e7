#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace siminfo {

/// Hands out the numbers below `count` to threads, until one of them fails or `goOn` says no. `goOn` is
/// called with the number of those that are done, and never by two threads at once.
class WorkQueue {
 public:
  WorkQueue(std::size_t count, std::function<bool(std::size_t done)> goOn)
      : count_(count), goOn_(std::move(goOn)) {}

  /// Calls `work(number)` on `threads` threads, this one included, or on fewer where the system has no more.
  /// Throws what one of them threw.
  template <class Work>
  void run(unsigned threads, const Work& work) {
    {
      std::vector<std::jthread> others;
      try {
        while (others.size() + 1 < threads && others.size() + 1 < count_)
          others.emplace_back([this, &work] { drain(work); });
      } catch (const std::system_error&) {
        // The others do it all.
      }
      drain(work);
    }
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  template <class Work>
  void drain(const Work& work) {
    try {
      for (std::optional<std::size_t> number = take(); number; number = take()) {
        work(*number);
        const std::lock_guard lock(mutex_);
        ++done_;
      }
    } catch (...) {
      const std::lock_guard lock(mutex_);
      failure_ = std::current_exception();
    }
  }
  std::optional<std::size_t> take() {
    const std::lock_guard lock(mutex_);
    if (failure_ || next_ == count_ || !goOn_(done_)) return std::nullopt;
    return next_++;
  }

  std::mutex mutex_;
  const std::size_t count_;
  const std::function<bool(std::size_t)> goOn_;
  std::size_t next_ = 0;
  std::size_t done_ = 0;
  std::exception_ptr failure_;
};

}  // namespace siminfo
