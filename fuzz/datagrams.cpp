// The fabric server's messages: from programs of this machine, but of whoever knows the socket's name.

#include <infiniband/drovik/drovik_fabric.h>

#include <map>
#include <memory>
#include <optional>

#include "fuzz/target.h"
#include "fuzz/targets.h"
#include "served.h"
#include "server/control_desk.h"
#include "server/fabric_file.h"
#include "server/images.h"
#include "server/mad_desk.h"
#include "siminfo/models/model.h"
#include "siminfo/serve/served_file.h"
#include "siminfo/snapshot/reader.h"

namespace siminfo {
namespace {

/// The text from which the server makes the example's fabric.
std::string servedExample() {
  Snapshot snapshot = readSnapshotFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");
  snapshot.discovered.fabric.source.clear();
  InMemoryDrovik engine(snapshot.discovered, ".");
  std::vector<const IBNode*> nodes;
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    if (SimInfoDumpCPP::Selects({}, node)) nodes.push_back(node);
  }
  SectionStream text;
  printServedFile(text, snapshot, ModelWriter(engine, false).findModels(nodes), {});
  return std::string(text.text());
}

drovik::Fabric makeFabric() {
  static const std::string kText = servedExample();
  const FuzzFile file(kText);
  drovik::Fabric fabric = drovik::FabricFile(Served::models(), file.path()).read();
  drovik::ImageMaker(fabric, false).make();
  drovik::ShortestPaths(fabric).fill();
  return fabric;
}

/// A client's end of the sockets.
struct Caller {
  Caller(const std::string& name, u_int32_t itsProcess)
      : process(itsProcess), address(name + ":ctl" + std::to_string(itsProcess)) {
    require(control.bind(address) && mads.bind(drovik::Address(name + ":in" + std::to_string(itsProcess))),
            "a client has its sockets");
  }

  /// The last datagram that waits; all others go.
  template <class Message>
  static std::optional<Message> last(const drovik::Socket& socket) {
    std::optional<Message> last;
    Message message{};
    for (ssize_t size = 0; (size = socket.receive(&message, sizeof message)) >= 0; last = message)
      require(size == sizeof message, "messages have their size");
    return last;
  }

  u_int32_t process;
  drovik::Address address;
  drovik::Socket control;
  drovik::Socket mads;
};

std::string socketName() { return "siminfo-fuzz-" + std::to_string(getpid()); }

/// A server between honest and other clients. The sockets are made once, the fabric is new each time.
class Session {
 public:
  Session()
      : name_(socketName()), clients_(name_), honest_(name_, 1), others_{Caller{name_, 2}, Caller{name_, 3}} {
    honestNumber_ = connect(honest_);
    answer_ = askNodeInfo();
    for (const Caller& other : others_) connect(other);
  }

  void disturb(FuzzBytes& bytes) {
    const Caller& other = others_[bytes.byte() % 2];
    switch (bytes.byte() % 4) {
      case 0:
        return control(other, bytes.byte(), bytes.take(bytes.byte()));
      case 1:
        return controlWithHead(other, bytes);
      case 2:
        return mad(bytes.byte(), bytes.take(bytes.byte() + sizeof(drovik::MadMessage) - 128));
      default:
        return madWithHead(bytes);
    }
  }

  void requireService() {
    control_.forgetDead();
    Caller::last<drovik::MadMessage>(honest_.mads);
    clients_.sendWaiting(honestNumber_);
    Caller::last<drovik::MadMessage>(honest_.mads);
    require(askNodeInfo() == answer_, "an honest client is answered as before");
  }

 private:
  u_int32_t connect(const Caller& caller) {
    drovik::ControlMessage message{drovik::kControlMagic, 0, drovik::kConnect, 0, {}};
    const drovik::ConnectData data{caller.process, 0, 0, {}};
    std::memcpy(message.data, &data, sizeof data);
    control_.take(message, sizeof message, caller.address);
    const auto reply = Caller::last<drovik::ControlMessage>(caller.control);
    require(reply && reply->type == drovik::kConnect, "a client that connects is taken");
    u_int32_t number = 0;
    std::memcpy(&number, reply->data, sizeof number);
    return number;
  }

  std::string askNodeInfo() {
    drovik::MadMessage message{};
    u_int8_t* packet = message.mad;
    drovik::put(packet, drovik::mad::kBaseVersion, 1);
    drovik::put(packet, drovik::mad::kClass, drovik::kSmpByRoute);
    drovik::put(packet, drovik::mad::kClassVersion, 1);
    drovik::put(packet, drovik::mad::kMethod, drovik::kGet);
    drovik::put(packet, drovik::mad::kAttribute, drovik::kNodeInfo);
    drovik::put(packet, drovik::mad::kDirectedSource, drovik::kPermissiveLid);
    drovik::put(packet, drovik::mad::kDirectedDestination, drovik::kPermissiveLid);
    mads_.take(honestNumber_, message, sizeof message);
    const auto reply = Caller::last<drovik::MadMessage>(honest_.mads);
    require(reply.has_value(), "an honest client is answered");
    return {reinterpret_cast<const char*>(reply->mad), sizeof reply->mad};
  }

  void control(const Caller& from, u_int8_t sizeOff, const std::string& bytes) {
    drovik::ControlMessage message{};
    std::memcpy(&message, bytes.data(), std::min(bytes.size(), sizeof message));
    control_.take(message, static_cast<ssize_t>(sizeof message + sizeOff), from.address);
    Caller::last<drovik::ControlMessage>(from.control);
  }
  void controlWithHead(const Caller& from, FuzzBytes& bytes) {
    drovik::ControlMessage message{drovik::kControlMagic, bytes.byte(), bytes.byte(), bytes.byte(), {}};
    std::memcpy(message.data, bytes.take(sizeof message.data).data(), sizeof message.data);
    control_.take(message, sizeof message, from.address);
    Caller::last<drovik::ControlMessage>(from.control);
  }

  void mad(u_int8_t sizeOff, const std::string& bytes) {
    drovik::MadMessage message{};
    std::memcpy(&message, bytes.data(), std::min(bytes.size(), sizeof message));
    send(message, static_cast<ssize_t>(sizeof message) - sizeOff % 2);
  }
  void madWithHead(FuzzBytes& bytes) {
    static constexpr u_int8_t kClasses[]{0x81, 0x01, 0x04, 0x03};
    static constexpr u_int8_t kMethods[]{0x01, 0x02, 0x81, 0x05};
    drovik::MadMessage message{};
    u_int8_t* packet = message.mad;
    message.destination[1] = bytes.byte();
    drovik::put(packet, drovik::mad::kBaseVersion, 1);
    drovik::put(packet, drovik::mad::kClass, kClasses[bytes.byte() % 4]);
    drovik::put(packet, drovik::mad::kClassVersion, 1);
    drovik::put(packet, drovik::mad::kMethod, kMethods[bytes.byte() % 4]);
    drovik::put(packet, drovik::mad::kHopCount, bytes.byte() % 5);
    drovik::put(packet, drovik::mad::kTransaction, bytes.byte());
    drovik::put(packet, drovik::mad::kAttribute, bytes.byte());
    drovik::put(packet, drovik::mad::kModifier, bytes.number());
    drovik::put(packet, drovik::mad::kDirectedSource, drovik::kPermissiveLid);
    drovik::put(packet, drovik::mad::kDirectedDestination, drovik::kPermissiveLid);
    std::memcpy(packet + drovik::kPathOffset + 1, bytes.take(4).data(), 4);
    std::memcpy(packet + drovik::kDataOffset, bytes.take(64).data(), 64);
    send(message, sizeof message);
  }
  /// From one of the others: the honest client's socket takes what it sends itself.
  void send(drovik::MadMessage& message, ssize_t size) {
    const unsigned from = honestNumber_ == 0 ? 1 : 0;
    mads_.take(from, message, size);
    for (const Caller& other : others_) Caller::last<drovik::MadMessage>(other.mads);
  }

  std::string name_;
  drovik::Fabric fabric_ = makeFabric();
  drovik::Clients clients_;
  drovik::LinkStates links_{fabric_};
  drovik::SubnetAgent agent_{fabric_, links_};
  drovik::ControlDesk control_{fabric_, clients_, agent_, drovik::defaultAttachment(fabric_)};
  drovik::MadDesk mads_{fabric_, clients_, agent_, links_};
  Caller honest_;
  std::array<Caller, 2> others_;
  u_int32_t honestNumber_ = 0;
  std::string answer_;
};

}  // namespace

void fuzzDatagrams(std::string_view input) {
  Session session;
  for (FuzzBytes bytes(input); !bytes.isOver();) session.disturb(bytes);
  session.requireService();
}

}  // namespace siminfo
