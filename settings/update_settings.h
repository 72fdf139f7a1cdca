#pragma once

#include <string>

namespace kelvo {

// The servers for web access and for updates: server_info.plist in the configuration folder.
//
// Threads: one at a time; what loads or stores waits for the file's lock.
class kelvoUpdateSettings {
 public:
  static std::string defaultFilename();
  // Loaded from defaultFilename.
  static kelvoUpdateSettings settings();

  // Both servers are the deployment's web server until they are loaded.
  kelvoUpdateSettings();

  // False, with nothing changed, when the file cannot be read. A server that it does not name is
  // the deployment's web server.
  bool loadSettings();
  bool loadSettingsFromFile(const std::string& path);
  // Keeps the file's other keys. Deliberate: both names written are the web server's; the update
  // server that is held here is never written.
  bool store() const;
  bool storeToSpecificPath(const std::string& path) const;

  const std::string& webServerName() const { return webServerName_; }
  void setWebServerName(const std::string& name) { webServerName_ = name; }
  const std::string& updateServerName() const { return updateServerName_; }

 private:
  std::string webServerName_;
  std::string updateServerName_;
};

}  // namespace kelvo
