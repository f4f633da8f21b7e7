#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace siminfo {

/// An open file or folder, closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }

 private:
  int number_;
};

/// What becomes of a file in its place when the power fails.
enum class Durability : std::uint8_t {
  kScratch,  ///< it may be empty: for folders that are made anew
  kSynced,   ///< it is whole, or the old one is
};

/// A file on the way to its place in a folder. It has no name until then where the file system has files
/// without one, and ".siminfo-<random>.tmp" elsewhere. A name that it has goes with it, and also when a
/// signal ends the process, once removeAllWhenKilled() was called.
class TemporaryFile {
 public:
  /// Makes the file, for nobody but its owner to open. The folder is borrowed. Returns 0, or an errno value.
  int create(const Descriptor& folder);
  const Descriptor& descriptor() const { return file_; }

  /// Puts the file in the place of `name`, whatever file is there, with that mode. Returns like create().
  int replace(const std::string& name, mode_t mode, Durability durability);
  void discard();

  /// From now on a signal that ends the process removes its temporary files first. Leaves signals alone that
  /// are ignored or handled. To be called once, before there are threads.
  static void removeAllWhenKilled();
  /// Removes what has a name, for an end without destructors.
  static void removeAll();

  TemporaryFile() = default;
  ~TemporaryFile() { discard(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

 private:
  class Name;
  struct DropName {
    void operator()(Name* name) const;
  };

  int createNamed();
  int takeName();

  int folder_ = -1;
  Descriptor file_;
  std::string name_;                         // empty while it has none
  std::unique_ptr<Name, DropName> claimed_;  // for whoever ends the process
};

}  // namespace siminfo
