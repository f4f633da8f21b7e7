#pragma once

#include <functional>
#include <string>
#include <vector>

#include "siminfo/models/exact_ports.h"
#include "siminfo/serve/server_project.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

struct ServeRequest {
  std::string snapshotFile;  ///< decides where the project is built
  bool init = false;
  std::string socket;  ///< name of the sockets; empty: one of this process's own
  std::string from;    ///< where a client is that says nothing
  bool exactPorts = false;
  BuildLimits limits;
  AttributeLayouts told;
  std::vector<std::string> command;  ///< to run on the fabric; empty: serve until somebody asks for an end
};

/// What is there once the server answers.
struct Served {
  std::size_t nodes = 0;
  std::size_t models = 0;
  StandIns standIns;
  std::string client;   ///< where a client is that says nothing, in words
  std::string seconds;  ///< that the server took to begin
  std::map<std::string, std::string> environment;
};

struct ServeWatch {
  std::function<bool()> isStopped;
  std::function<void(const std::string& text)> progress;
  std::function<void(const Served&)> begun;
};

/// Builds and runs the server of these nodes of the snapshot, and the command on it. A port whose link leads
/// to a node that is not among them has no neighbour. Returns the command's exit status, or 0. Nothing is
/// left behind but the built project. Throws a ServeError, std::system_error.
int serve(Snapshot& snapshot, const std::vector<const IBNode*>& nodes, const ServeRequest& request,
          const ServeWatch& watch);

}  // namespace siminfo
