#pragma once

#include <memory>

namespace kelvo {

class Bundle;
class Desktop;
class HttpClient;
class Pasteboard;
class SecretStore;
class SystemLog;
class UserDefaults;

// What the host takes from the platform as it is.
struct Services {
  SecretStore& secretStore;
  UserDefaults& userDefaults;
  SystemLog& systemLog;
  HttpClient& httpClient;
  Desktop& desktop;
  Pasteboard& pasteboard;
  std::shared_ptr<const Bundle> bundle;  // the extension's own
};

// Made at the first call and never destroyed. Main thread.
const Services& PlatformServices();

}  // namespace kelvo
