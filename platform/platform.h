#pragma once

namespace kelvo {

class AgentTransport;
class BackgroundQueue;
class Clock;
class FinderController;
class RunLoop;
class SecretStore;
class SystemLog;
class UserDefaults;

// What a front end supplies, filled once at start and handed down. The front end owns everything
// and keeps it alive for as long as the process runs.
struct Platform {
  Clock& clock;
  RunLoop& runLoop;
  BackgroundQueue& settingsQueue;
  AgentTransport& agentTransport;
  FinderController& finderController;
  SecretStore& secretStore;
  UserDefaults& userDefaults;
  SystemLog& systemLog;
};

}  // namespace kelvo
