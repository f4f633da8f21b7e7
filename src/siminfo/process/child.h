#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "siminfo/process/launch.h"

namespace siminfo {

/// A program that runs beside siminfo, in its process group. It is ended, and waited for, when the object
/// goes; where siminfo is gone before, the system asks it to end.
class Child {
 public:
  /// Throws std::system_error when the program cannot be started. To be made by a thread that lives as long.
  explicit Child(const ProgramSetup& setup);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// The exit status once the program has ended, 128 and the signal where one ended it.
  std::optional<int> status();
  /// Waits for the end. Once `isStopped` says true it asks for it, and after a while it is no question.
  int wait(const std::function<bool()>& isStopped);

 private:
  pid_t process_ = 0;
  std::optional<int> status_;
};

}  // namespace siminfo
