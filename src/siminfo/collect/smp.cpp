#include "siminfo/collect/smp.h"

#include <algorithm>

namespace siminfo {
namespace {

// Where a directed-route packet holds its outgoing path, in bytes from its start. Entry 0 is not used.
constexpr std::size_t kPathOffset = 128;

}  // namespace

std::uint64_t bitsOf(const Attribute& bytes, std::size_t first, std::size_t width) {
  std::uint64_t value = 0;
  for (std::size_t bit = first; bit < first + width; ++bit)
    value = value << 1U | (std::uint64_t{bytes.at(bit / 8)} >> (7U - bit % 8) & 1U);
  return value;
}

Attribute Packet::attribute() {
  Attribute data;
  std::copy_n(mad() + IB_SMP_DATA_OFFS, data.size(), data.begin());
  return data;
}

std::string_view Packet::route() {
  const std::size_t hops = std::min<std::size_t>(field(IB_DRSMP_HOPCNT_F), IB_SUBNET_PATH_HOPS_MAX - 1);
  return {reinterpret_cast<const char*>(mad() + kPathOffset + 1), hops};
}

Packet makeRequest(const Route& route, std::uint16_t attribute, std::uint32_t modifier) {
  ib_rpc_t call{};
  call.mgtclass = IB_SMI_DIRECT_CLASS;
  call.method = IB_MAD_METHOD_GET;
  call.attr.id = attribute;
  call.attr.mod = modifier;
  call.datasz = IB_SMP_DATA_SIZE;
  call.dataoffs = IB_SMP_DATA_OFFS;
  call.trid = mad_trid();
  ib_portid_t destination{};
  destination.drpath.cnt = static_cast<int>(route.size());
  destination.drpath.drslid = destination.drpath.drdlid = 0xffff;
  std::ranges::copy(route, destination.drpath.p + 1);
  Packet packet;
  mad_build_pkt(packet.bytes.data(), &call, &destination, nullptr, nullptr);
  return packet;
}

bool answers(Packet& packet, Packet& request) {
  const auto same = [&](MAD_FIELDS id) { return packet.field(id) == request.field(id); };
  return packet.field(IB_MAD_RESPONSE_F) == 1 && same(IB_MAD_METHOD_F) && same(IB_MAD_MGMTCLASS_F) &&
         same(IB_MAD_ATTRID_F) && same(IB_MAD_ATTRMOD_F);
}

}  // namespace siminfo
