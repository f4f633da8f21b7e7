#pragma once

#include <string>
#include <vector>

#include "siminfo/simulator/record_layout.h"
#include "siminfo/verify/expectation.h"
#include "siminfo/verify/facts.h"

namespace siminfo {

using Images = std::vector<ExpectedImage>;

/// What the image of that name holds once it holds the record.
template <class Record>
ExpectedImage imageOf(std::string name, const Record& record, std::string place = {}) {
  ExpectedImage image{std::move(name), std::move(place), {}};
  image.numbers.reserve(recordLayout<Record>().numbers.size());
  for (const NumberLayout& number : recordLayout<Record>().numbers)
    image.numbers.push_back({number.path, number.bit, number.bits, number.valueIn(&record)});
  return image;
}

std::string indexed(const std::string& member, std::size_t index);
std::string portPlace(std::size_t port);
/// Which port's record the index of a generated loop gets.
const IBPort* sourceOf(const FramePlan& ports, std::size_t index);

/// The indexes of a generated loop over the simulated node's ports, from `first` on.
std::vector<std::size_t> portIndexes(const Facts& facts, const FramePlan& ports, std::size_t first);

/// An image for every index of such a loop.
template <class Record>
Images imagesByPort(const Facts& facts, const FramePlan& ports, const std::string& member,
                    std::size_t first) {
  Images images;
  for (const std::size_t index : portIndexes(facts, ports, first))
    images.push_back(
        imageOf(indexed(member, index), *facts.record<Record>(*sourceOf(ports, index)), portPlace(index)));
  return images;
}

template <bool IsGMP>
Images maskImages(const Facts& facts, const FramePlan&) {
  const auto& words = facts.mask(IsGMP)->words;
  const GeneralInfoCapabilityMask mask{words[0], words[1], words[2], words[3]};
  return {imageOf(IsGMP ? "capMaskGMP" : "capMaskSMP", mask)};
}

Images nodeInfoImages(const Facts& facts, const FramePlan& ports);
Images portInfoImages(const Facts& facts, const FramePlan& ports);
Images portInfoExtendedImages(const Facts& facts, const FramePlan& ports);
Images reductionCountersImages(const Facts& facts, const FramePlan& ports);
Images pushCountersImages(const Facts& facts, const FramePlan& ports);

}  // namespace siminfo
