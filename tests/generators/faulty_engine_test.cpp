#include <algorithm>
#include <limits>
#include <memory>

#include "siminfo/snapshot/reader.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// Whatever an engine is asked, one question after the other. One of them gets no answer: the n-th, or every
/// one that is the same question as the n-th.
class Answers {
 public:
  static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

  void refuse(std::size_t number, bool everyTime) {
    refused_ = number;
    everyTime_ = everyTime;
    question_.clear();
    count_ = 0;
  }
  /// How many questions there were.
  std::size_t count() const { return count_; }
  bool isRefused(const std::string& question) {
    if (count_++ == refused_) question_ = question;
    return count_ - 1 == refused_ || (everyTime_ && question == question_);
  }

 private:
  std::size_t count_ = 0;
  std::size_t refused_ = kNever;
  bool everyTime_ = false;
  std::string question_;
};

class FaultyRecords final : public KvormExtendedInfo {
 public:
  FaultyRecords(const KvormExtendedInfo& records, Answers& answers) : records_(records), answers_(answers) {}

#define SIMINFO_GETTER(Record, getter)                                 \
  const Record* getter(std::uint32_t recordIndex) const override {     \
    return answer(#getter, recordIndex, records_.getter(recordIndex)); \
  }
  SIMINFO_NODE_RECORDS(SIMINFO_GETTER)
  SIMINFO_PORT_RECORDS(SIMINFO_GETTER)
#undef SIMINFO_GETTER
  const ZYRReductionCounters* getZYRReductionCounters(std::uint32_t portIndex,
                                                      std::uint32_t counterIndex) const override {
    return answer("counters " + std::to_string(counterIndex), portIndex,
                  records_.getZYRReductionCounters(portIndex, counterIndex));
  }
  const ZYRReductionConfigureMLIDMonitors* getZYRReductionConfigureMLIDMonitors(
      std::uint32_t portIndex, std::uint8_t monitor) const override {
    return answer("monitor " + std::to_string(monitor), portIndex,
                  records_.getZYRReductionConfigureMLIDMonitors(portIndex, monitor));
  }

 private:
  template <class Record>
  const Record* answer(const std::string& question, std::uint32_t index, const Record* record) const {
    return answers_.isRefused(question + " " + std::to_string(index)) ? nullptr : record;
  }

  const KvormExtendedInfo& records_;
  Answers& answers_;
};

class FaultyCapabilities final : public CapabilityModule {
 public:
  static constexpr int kError = -5;

  FaultyCapabilities(CapabilityModule& capabilities, Answers& answers)
      : capabilities_(capabilities), answers_(answers) {}

  int GetCapability(IBNode* node, bool isGMP, capability_mask& mask) override {
    const std::string question = (isGMP ? "GMP mask " : "SMP mask ") + node->name;
    return answers_.isRefused(question) ? kError : capabilities_.GetCapability(node, isGMP, mask);
  }
  bool IsSupportedSMPCapability(const IBNode* node, std::uint8_t bit) const override {
    return !answers_.isRefused("SMP bit " + std::to_string(bit) + node->name) &&
           capabilities_.IsSupportedSMPCapability(node, bit);
  }
  bool IsSupportedGMPCapability(const IBNode* node, std::uint8_t bit) const override {
    return !answers_.isRefused("GMP bit " + std::to_string(bit) + node->name) &&
           capabilities_.IsSupportedGMPCapability(node, bit);
  }

 private:
  CapabilityModule& capabilities_;
  Answers& answers_;
};

class FaultyEngine final : public Drovik {
 public:
  explicit FaultyEngine(DiscoveredFabric& discovered)
      : discovered_(discovered),
        records_(discovered.records, answers),
        capabilities_(discovered.capabilities, answers) {}

  const IBFabric& fabric() const override { return discovered_.fabric; }
  const KvormExtendedInfo& extendedInfo() const override { return records_; }
  CapabilityModule& capabilityModule() const override { return capabilities_; }
  int OpenFile(const std::string&, const OutputControl::Identity&, std::ofstream&, bool,
               const char*) override {
    return 1;
  }
  int CloseFile(std::ofstream&, const char*) override { return 1; }

  Answers answers;

 private:
  DiscoveredFabric& discovered_;
  FaultyRecords records_;
  mutable FaultyCapabilities capabilities_;
};

class FaultyEngineTest : public testing::Test {
 protected:
  std::string frame(const SimInfoDumpCPP::Frame& frame, const IBNode& node) const {
    std::ostringstream os;
    (generator.*frame.generate)(os, node);
    return os.str();
  }
  /// What becomes of a frame when the question of that number gets no answer, once or ever.
  std::string frameWithout(std::size_t question, bool everyTime, const SimInfoDumpCPP::Frame& of,
                           const IBNode& node) {
    engine.answers.refuse(question, everyTime);
    return frame(of, node);
  }

  Snapshot snapshot = readSnapshotFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");
  FaultyEngine engine{snapshot.discovered};
  SimInfoDumpCPP generator{engine};
};

/// Each question of each frame in turn. What is missing once is missing as if it had never been collected:
/// nothing is asked for twice in the hope that the second answer is the first.
TEST_F(FaultyEngineTest, LacksWhatItDoesNotAnswerAndNothingElse) {
  std::size_t changed = 0;
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    for (const SimInfoDumpCPP::Frame& of : SimInfoDumpCPP::Frames()) {
      const std::string whole = frameWithout(Answers::kNever, false, of, *node);
      const std::size_t questions = engine.answers.count();
      for (std::size_t i = 0; i < questions; ++i) {
        const std::string once = frameWithout(i, false, of, *node);
        EXPECT_EQ(once, frameWithout(i, true, of, *node)) << name << " " << of.method << " question " << i;
        changed += once != whole ? 1U : 0U;
      }
    }
  }
  EXPECT_GT(changed, 200U);
}

TEST_F(FaultyEngineTest, SaysWhichErrorACapabilityQueryEndedWith) {
  const IBNode& node = *snapshot.discovered.fabric.nodeByName.at("sw1-reduction");
  for (const auto& [method, mask] :
       {std::pair("setSMPCapability", "SMP"), std::pair("setGMPCapability", "GMP")}) {
    const auto of = std::ranges::find(SimInfoDumpCPP::Frames(), method, &SimInfoDumpCPP::Frame::method);
    EXPECT_EQ(frameWithout(0, false, *of, node), "#error \"Failed to get " + std::string(mask) +
                                                     " capabilites for the node=sw1-reduction with rc=-5\"");
  }
}

/// Port lists of every length and with holes: what is not there is passed over.
TEST_F(FaultyEngineTest, TakesPortsForAbsentThatAreNotThere) {
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    const std::vector<IBPort*> all = node->ports;
    for (const SimInfoDumpCPP::Frame& of : SimInfoDumpCPP::Frames()) {
      for (std::size_t length = node->type == kSwitch ? 1 : 0; length <= all.size(); ++length) {
        node->ports = all;
        std::fill(node->ports.begin() + static_cast<std::ptrdiff_t>(length), node->ports.end(), nullptr);
        const std::string withHoles = frame(of, *node);
        node->ports.resize(length);
        EXPECT_EQ(frame(of, *node), withHoles) << name << " " << of.method << " ports " << length;
      }
    }
    node->ports = all;
  }
}

/// A buffer that takes so many writes and flushes, and then refuses or throws.
class FailingBuffer final : public std::streambuf {
 public:
  FailingBuffer(std::size_t sound, bool throws) : left_(sound), throws_(throws) {}

  std::string text;
  std::size_t asked = 0;
  std::size_t askedAfterFailure = 0;

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize size) override {
    if (!isSound()) return 0;
    text.append(bytes, static_cast<std::size_t>(size));
    return size;
  }
  int_type overflow(int_type character) override {
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
  }
  int sync() override { return isSound() ? 0 : -1; }

 private:
  bool isSound() {
    ++asked;
    if (left_ > 0) {
      --left_;
      return true;
    }
    askedAfterFailure += hasFailed_ ? 1 : 0;
    hasFailed_ = true;
    if (throws_) throw std::runtime_error("the buffer");
    return false;
  }

  std::size_t left_;
  bool throws_;
  bool hasFailed_ = false;
};

/// All frames of a node into one stream. Returns what left the generators.
std::string generateInto(std::ostream& os, const SimInfoDumpCPP& generator, const IBNode& node) {
  try {
    for (const SimInfoDumpCPP::Frame& of : SimInfoDumpCPP::Frames()) (generator.*of.generate)(os, node);
    return "nothing";
  } catch (const std::exception& error) {
    return error.what();
  }
}

/// Each write and each flush in turn: the stream is bad from then on, and its buffer is not asked again.
TEST_F(FaultyEngineTest, WritesNothingBehindAFailedWrite) {
  const IBNode& node = *snapshot.discovered.fabric.nodeByName.at("sw1-reduction");
  FailingBuffer sound(Answers::kNever, false);
  std::ostream whole(&sound);
  ASSERT_EQ(generateInto(whole, generator, node), "nothing");
  for (const bool throws : {false, true}) {
    for (std::size_t i = 0; i < sound.asked; i += i < 200 ? 1 : 37) {
      FailingBuffer buffer(i, throws);
      std::ostream os(&buffer);
      os.exceptions(throws ? std::ios_base::badbit : std::ios_base::goodbit);
      EXPECT_EQ(generateInto(os, generator, node), throws ? "the buffer" : "nothing") << i;
      EXPECT_TRUE(os.bad());
      EXPECT_EQ(buffer.askedAfterFailure, 0U) << i;
      EXPECT_TRUE(sound.text.starts_with(buffer.text)) << i;
    }
  }
}

}  // namespace
}  // namespace siminfo
