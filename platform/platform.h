#pragma once

namespace kelvo {

class AgentTransport;
class BackgroundQueue;
class Clock;
class Desktop;
class Dialogs;
class FinderController;
class HttpClient;
class RunLoop;
class SecretStore;
class SystemLog;
class Threads;
class UserDefaults;

// What a front end supplies, filled once at start and handed down. The front end owns everything
// and keeps it alive for as long as the process runs.
struct Platform {
  Clock& clock;
  RunLoop& runLoop;
  BackgroundQueue& settingsQueue;
  // For the files of accounts and projects: a lock that somebody keeps on one of these must not
  // hold the configuration, without which there is no badge.
  BackgroundQueue& accountsQueue;
  BackgroundQueue& messageQueue;  // for large messages of the Agent; waits for nothing but itself
  AgentTransport& agentTransport;
  FinderController& finderController;
  SecretStore& secretStore;
  UserDefaults& userDefaults;
  SystemLog& systemLog;
  Threads& threads;
  HttpClient& httpClient;
  Desktop& desktop;
  Dialogs& dialogs;
};

}  // namespace kelvo
