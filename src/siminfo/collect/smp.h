#pragma once

#include <infiniband/mad.h>
#include <infiniband/umad.h>

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace siminfo {

/// The 64 bytes of one attribute, as they travel in a subnet management packet (SMP).
using Attribute = std::array<std::uint8_t, IB_SMP_DATA_SIZE>;

/// So many bits of an attribute from `first` on; bit 0 is the top bit of the first byte. At most 64 bits.
std::uint64_t bitsOf(const Attribute& bytes, std::size_t first, std::size_t width);

/// A directed route: the port by which each hop leaves its node. Empty for the local node.
using Route = std::vector<std::uint8_t>;

/// An SMP with the header that the kernel's management ports put before it.
struct Packet {
  alignas(8) std::array<std::uint8_t, sizeof(ib_user_mad) + IB_MAD_SIZE> bytes{};

  std::uint8_t* mad() { return static_cast<std::uint8_t*>(umad_get_mad(bytes.data())); }
  std::uint32_t field(MAD_FIELDS id) { return mad_get_field(mad(), 0, id); }
  /// The half of the transaction id that is the sender's own; the kernel uses the other one.
  std::uint32_t transaction() { return static_cast<std::uint32_t>(mad_get_field64(mad(), 0, IB_MAD_TRID_F)); }
  Attribute attribute();
  /// The bytes of the directed route that the packet was sent along.
  std::string_view route();
};

/// A Get request for an attribute of the node at the end of a route, with a transaction id of its own.
Packet makeRequest(const Route& route, std::uint16_t attribute, std::uint32_t modifier);

/// Whether the packet is the device's answer, of any status, to the request.
bool answers(Packet& packet, Packet& request);

}  // namespace siminfo
