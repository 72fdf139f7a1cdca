#include "hosts/bus/client_slots.h"

#include <bit>

namespace kelvo {

ClientSlots::Bits ClientSlots::BitOf(const std::string& client) {
  auto [entry, isNew] = bits_.try_emplace(client, 0);
  if (!isNew) return entry->second;
  const int slot = std::countr_one(used_ & ~kSharedBit);
  if (slot == kSharedSlot) ++sharing_;
  entry->second = Bits{1} << slot;
  used_ |= entry->second;
  return entry->second;
}

ClientSlots::Bits ClientSlots::Others(Bits bits, Bits clientBit) const {
  if (clientBit == kSharedBit && sharing_ > 1) return bits;
  return bits & ~clientBit;
}

ClientSlots::Bits ClientSlots::Release(const std::string& client) {
  auto entry = bits_.find(client);
  if (entry == bits_.end()) return 0;
  const Bits bit = entry->second;
  bits_.erase(entry);
  if (bit == kSharedBit && --sharing_ > 0) return 0;
  used_ &= ~bit;
  return bit;
}

}  // namespace kelvo
