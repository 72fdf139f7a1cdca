#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <string>

#include "base/property_list.h"

namespace kelvo {

// The process-local notification center: a post reaches every observer of its name and sender.
//
// Threads: the main loop's. Posts are synchronous, in order of registration. An observer added
// during a post is not called for that post; one removed during it is called no more.
class NotificationCenter {
 public:
  // (name, user info)
  using Callback =
      std::function<void(const std::string& name, const PropertyList::Dictionary& userInfo)>;

  // The one center of the process. Never destroyed.
  static NotificationCenter& LocalCenter();

  // `observer` only identifies the registration; the same one may register for several names.
  // An empty `object` hears every sender.
  void AddObserver(const void* observer, const std::string& name, const std::string& object,
                   Callback callback);
  // Every registration of the observer with this object.
  void RemoveObserver(const void* observer, const std::string& object);
  void Post(const std::string& name, const std::string& object,
            const PropertyList::Dictionary& userInfo);

 private:
  struct Registration {
    const void* observer;
    std::string name;
    std::string object;
    Callback callback;
    std::uint64_t serial;  // posts skip what was registered after they began
    bool removed = false;  // unlinked when no post is under way
  };
  void Unlink();

  std::list<Registration> registrations_;
  std::uint64_t nextSerial_ = 1;
  int posting_ = 0;
};

}  // namespace kelvo
