#include "base/notification_center.h"

#include <utility>

namespace kelvo {

NotificationCenter& NotificationCenter::LocalCenter() {
  static NotificationCenter& center = *new NotificationCenter;
  return center;
}

void NotificationCenter::AddObserver(const void* observer, const std::string& name,
                                     const std::string& object, Callback callback) {
  registrations_.push_back({observer, name, object, std::move(callback), nextSerial_++});
}

void NotificationCenter::RemoveObserver(const void* observer, const std::string& object) {
  for (Registration& registration : registrations_) {
    if (registration.observer == observer && registration.object == object) {
      registration.removed = true;
    }
  }
  Unlink();
}

void NotificationCenter::Post(const std::string& name, const std::string& object,
                              const PropertyList::Dictionary& userInfo) {
  struct Posting {
    explicit Posting(NotificationCenter& owner) : center(owner) { ++center.posting_; }
    ~Posting() {
      --center.posting_;
      center.Unlink();
    }
    NotificationCenter& center;
  };
  const std::uint64_t end = nextSerial_;
  const Posting posting(*this);
  for (const Registration& registration : registrations_) {
    if (registration.serial >= end) break;
    if (registration.removed || registration.name != name) continue;
    if (!registration.object.empty() && registration.object != object) continue;
    registration.callback(name, userInfo);
  }
}

void NotificationCenter::Unlink() {
  if (posting_ > 0) return;
  // Callbacks die after the list is whole again: what they own may come back to this center.
  std::list<Registration> removed;
  for (auto next = registrations_.begin(); next != registrations_.end();) {
    auto registration = next++;
    if (registration->removed) removed.splice(removed.end(), registrations_, registration);
  }
}

}  // namespace kelvo
