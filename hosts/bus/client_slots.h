#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace kelvo {

// A bit for each client, so that an item says in one word who asked for it. There are more bits
// than anybody has file managers; clients beyond them share the last one.
//
// Threads: the caller's lock.
class ClientSlots {
 public:
  using Bits = std::uint64_t;

  // The client's bit; given out on first use.
  Bits BitOf(const std::string& client);
  // Of `bits`, those that may stand for somebody else than the client.
  Bits Others(Bits bits, Bits clientBit) const;
  // The bit that nobody has any more now that the client has left; 0 when others share it, or when
  // the client never had one.
  Bits Release(const std::string& client);

 private:
  static constexpr int kSharedSlot = 63;
  static constexpr Bits kSharedBit = Bits{1} << kSharedSlot;

  std::map<std::string, Bits> bits_;
  Bits used_ = 0;
  std::size_t sharing_ = 0;  // clients of the last bit
};

}  // namespace kelvo
