#pragma once

#include <fstream>
#include <string>

#include "siminfo/core/capability_module.h"
#include "siminfo/core/fabric.h"
#include "siminfo/core/kvorm_extended_info.h"

namespace siminfo {

class OutputControl {
 public:
  enum Flags : unsigned {
    kGeneratedSource = 4,  ///< a file that a compiler reads, not a report for people
  };

  /// Names an output file. Where it lands is the file services' business.
  class Identity {
   public:
    Identity(const std::string& fileName, Flags flags) : fileName_(fileName), flags_(flags) {}
    const std::string& fileName() const { return fileName_; }
    Flags flags() const { return flags_; }

   private:
    std::string fileName_;
    Flags flags_;
  };
};

/// The diagnostics engine as the generator sees it: the discovered state, and the file services. What the
/// accessors return belongs to the engine and stays unchanged while a generation runs.
class Drovik {
 public:
  virtual ~Drovik() = default;

  virtual const IBFabric& fabric() const = 0;
  virtual const KvormExtendedInfo& extendedInfo() const = 0;
  virtual CapabilityModule& capabilityModule() const = 0;

  /// Opens `out` for the identified file. Returns 0, or a status after it has reported the failure itself.
  /// The last two parameters belong to other kinds of files.
  virtual int OpenFile(const std::string& description, const OutputControl::Identity& identity,
                       std::ofstream& out, bool, const char*) = 0;

  /// Finishes and closes the file, and reports by itself whatever went wrong since it was opened.
  virtual int CloseFile(std::ofstream& out, const char* commentPrefix) = 0;
};

}  // namespace siminfo
