#include "siminfo/collect/smp_exchange.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>

#include "siminfo/collect/questions.h"

namespace siminfo {
namespace {

/// A port whose fabric is a function: what it makes of a request arrives at once.
class FakePort final : public MadPort {
 public:
  std::function<void(Packet& request, std::deque<Packet>& answers)> fabric;
  bool isBroken = false;

  bool send(Packet& packet, unsigned) override {
    if (isBroken) return false;
    fabric(packet, arriving_);
    return true;
  }
  bool receive(Packet& packet, unsigned) override {
    if (arriving_.empty()) return false;
    packet = arriving_.front();
    arriving_.pop_front();
    return true;
  }

 private:
  std::deque<Packet> arriving_;
};

Packet answerTo(Packet request) {
  mad_set_field(request.mad(), 0, IB_MAD_RESPONSE_F, 1);
  request.mad()[IB_SMP_DATA_OFFS] = 0x42;
  return request;
}

/// As the kernel gives a request back that timed out.
Packet timedOut(Packet request) {
  reinterpret_cast<ib_user_mad*>(request.bytes.data())->status = 110;
  return request;
}

class SmpExchangeTest : public testing::Test {
 protected:
  SmpOutcome ask(const Route& route) {
    exchange_.submit(makeRequest(route, IB_ATTR_PORT_INFO, 0));
    return exchange_.next().value().outcome;
  }

  bool isInterrupted_ = false;
  SmpWatch watch_{[this] { return isInterrupted_; }, [] {}, 0, {}};
  FakePort port_;
  SmpExchange exchange_{port_, {5, 2, 1}, watch_};
};

TEST_F(SmpExchangeTest, MatchesAnswersInAnyOrderAndIgnoresAllOthers) {
  std::deque<Packet> held;
  port_.fabric = [&](Packet& request, std::deque<Packet>& answers) {
    held.push_front(answerTo(request));
    if (held.size() < 3) return;
    Packet unknown = answerTo(makeRequest({1}, IB_ATTR_PORT_INFO, 1));
    Packet otherPort = held.back();
    mad_set_field(otherPort.mad(), 0, IB_MAD_ATTRMOD_F, 99);
    Packet otherAttribute = held.back();
    mad_set_field(otherAttribute.mad(), 0, IB_MAD_ATTRID_F, IB_ATTR_SMINFO);
    answers = {unknown, otherPort, otherAttribute, request};
    answers.insert(answers.end(), held.begin(), held.end());
    answers.insert(answers.end(), held.begin(), held.end());
  };
  std::map<std::uint32_t, std::uint32_t> modifiers;
  for (std::uint32_t modifier = 1; modifier <= 3; ++modifier) {
    Packet request = makeRequest({1, 2}, IB_ATTR_PORT_INFO, modifier);
    modifiers[request.transaction()] = modifier;
    exchange_.submit(request);
  }
  while (auto completed = exchange_.next()) {
    EXPECT_EQ(completed->outcome, SmpOutcome::kAnswered);
    EXPECT_EQ(completed->packet.field(IB_MAD_ATTRMOD_F), modifiers[completed->packet.transaction()]);
    EXPECT_EQ(completed->packet.attribute()[0], 0x42);
    modifiers.erase(completed->packet.transaction());
  }
  EXPECT_TRUE(modifiers.empty());
  EXPECT_EQ(watch_.sent, 3U);
}

TEST_F(SmpExchangeTest, AsksAgainWhenTheKernelTimesOutOrNothingComes) {
  unsigned sent = 0;
  port_.fabric = [&](Packet& request, std::deque<Packet>& answers) {
    if (++sent == 1) answers.push_back(timedOut(request));
    if (sent == 3) answers.push_back(answerTo(request));
  };
  EXPECT_EQ(ask({1}), SmpOutcome::kAnswered);
  EXPECT_EQ(sent, 3U);
}

TEST_F(SmpExchangeTest, AsksASilentDeviceNoMoreAndOthersStill) {
  const std::string silent("\x01\x07", 2);
  port_.fabric = [&](Packet& request, std::deque<Packet>& answers) {
    answers.push_back(request.route() == silent ? timedOut(request) : answerTo(request));
  };
  EXPECT_EQ(ask({1, 7}), SmpOutcome::kTimedOut);
  EXPECT_EQ(ask({1, 7}), SmpOutcome::kTimedOut);
  EXPECT_EQ(watch_.sent, 6U);
  EXPECT_EQ(ask({1, 7}), SmpOutcome::kDeviceSilent);
  EXPECT_EQ(ask({1, 8}), SmpOutcome::kAnswered);
  EXPECT_EQ(ask({1, 7, 1}), SmpOutcome::kAnswered);
  EXPECT_EQ(watch_.sent, 8U);
}

TEST_F(SmpExchangeTest, GivesAFabricUpOnlyWhenItsNearestDeviceIsSilentToo) {
  bool isNearestThere = true;
  port_.fabric = [&](Packet& request, std::deque<Packet>& answers) {
    const bool isNearest = request.route().size() == 1;
    answers.push_back(isNearest && isNearestThere ? answerTo(request) : timedOut(request));
  };
  EXPECT_EQ(ask({1}), SmpOutcome::kAnswered);
  for (std::uint8_t device = 1; device <= 40; ++device)
    EXPECT_EQ(ask({1, device}), SmpOutcome::kTimedOut) << int{device};
  isNearestThere = false;
  unsigned tried = 0;
  while (ask({2, static_cast<std::uint8_t>(++tried)}) == SmpOutcome::kTimedOut) ASSERT_LT(tried, 20U);
  EXPECT_EQ(ask({1}), SmpOutcome::kFabricSilent);
}

TEST_F(SmpExchangeTest, EndsWhenThePortTakesNothing) {
  port_.isBroken = true;
  std::set<SmpOutcome> outcomes;
  for (std::uint8_t device = 1; device <= 12; ++device) outcomes.insert(ask({device}));
  EXPECT_EQ(outcomes, (std::set{SmpOutcome::kTimedOut, SmpOutcome::kFabricSilent}));
  EXPECT_EQ(ask({1}), SmpOutcome::kFabricSilent);
}

TEST_F(SmpExchangeTest, EndsWhenInterrupted) {
  port_.fabric = [&](Packet&, std::deque<Packet>&) { isInterrupted_ = true; };
  exchange_.submit(makeRequest({1}, IB_ATTR_NODE_INFO, 0));
  exchange_.submit(makeRequest({2}, IB_ATTR_NODE_INFO, 0));
  EXPECT_EQ(exchange_.next().value().outcome, SmpOutcome::kInterrupted);
  EXPECT_EQ(exchange_.next().value().outcome, SmpOutcome::kInterrupted);
  EXPECT_FALSE(exchange_.next());
  EXPECT_EQ(watch_.sent, 1U);
}

/// Nothing else is known of a switch of two ports than its NodeInfo, and port 2 is refused.
TEST_F(SmpExchangeTest, QuestionsAskForAllThatIsUnknownAndTellWhatIsMissing) {
  port_.fabric = [&](Packet& request, std::deque<Packet>& answers) {
    answers.push_back(answerTo(request));
    if (request.field(IB_MAD_ATTRMOD_F) == 2) mad_set_field(answers.back().mad(), 0, IB_DRSMP_STATUS_F, 0x1c);
  };
  Attribute info{};
  mad_set_field64(info.data(), 0, IB_NODE_GUID_F, 1);
  mad_set_field(info.data(), 0, IB_NODE_TYPE_F, IB_NODE_SWITCH);
  mad_set_field(info.data(), 0, IB_NODE_NPORTS_F, 2);
  const auto ask = [&](bool isInterrupted) {
    isInterrupted_ = isInterrupted;
    WalkedFabric fabric{{makeNode(info)}};
    fabric.nodes[0].isDescribed = false;
    Shortfall shortfall;
    const WalkLimits limits{{5, 2, 1}, 2, 0};
    Questions(port_, limits, watch_, shortfall).askAll(fabric, 1, std::nullopt);
    return std::pair(fabric.nodes[0], shortfall.lines());
  };
  const auto [node, refused] = ask(false);
  EXPECT_EQ(node.switchInfo.value()[0], 0x42);
  EXPECT_TRUE(node.ports[0].info && node.ports[1].info);
  EXPECT_EQ(node.ports[2].absent, (AbsentRecords{{"SMP_PortInfo", "status 0x001c"}}));
  EXPECT_EQ(refused,
            std::vector<std::string>{"B (0x0000000000000001): SMP_PortInfo of port 2: status 0x001c"});
  EXPECT_EQ(ask(true).second, (std::vector<std::string>{
                                  "1 nodes or ports: NodeDescription: not asked: interrupted",
                                  "3 nodes or ports: SMP_PortInfo: not asked: interrupted",
                                  "1 nodes or ports: SMP_SwitchInfo: not asked: interrupted",
                              }));
}

}  // namespace
}  // namespace siminfo
