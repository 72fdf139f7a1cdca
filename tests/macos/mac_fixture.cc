#include "tests/macos/mac_fixture.h"

#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "hosts/finder/services.h"
#include "settings/application_bundle.h"

extern char** environ;

// What GNUstep keeps for the life of the process is no leak of the adapter's.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libgnustep-\nleak:libobjc\nleak:libfontconfig\n";
}

namespace kelvo {

// Pictures by the names of the bundle's, in a form that is read off a Mac, too.
const Services& PlatformServices() {
  test::HostFakes& fakes = test::TheFakes();
  static const auto* services =
      new Services{fakes.secrets,
                   fakes.defaults,
                   fakes.systemLog,
                   fakes.http,
                   fakes.desktop,
                   fakes.pasteboard,
                   std::make_shared<const Bundle>(std::string(getenv("HOME")) + "/bundle",
                                                  std::vector<std::string>{})};
  return *services;
}

}  // namespace kelvo

namespace kelvo::test {
namespace {

constexpr char kAgentPortName[] = "com.kelvo.vip.kelvoFinderSync";
constexpr const char* kPictures[] = {
    "in-sync", "syncing", "locked_red", "locked", "permissionViolation", "App"};

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
}

// One grey pixel: a PNG file, which is read under any name.
constexpr unsigned char kPicture[] = {
    0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48,
    0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x02, 0x00, 0x00,
    0x00, 0x90, 0x77, 0x53, 0xde, 0x00, 0x00, 0x00, 0x0c, 0x49, 0x44, 0x41, 0x54, 0x78,
    0xda, 0x63, 0x68, 0x68, 0x68, 0x00, 0x00, 0x03, 0x04, 0x01, 0x81, 0x75, 0x2e, 0x01,
    0xbc, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82,
};

}  // namespace

HostFakes& TheFakes() {
  static auto* fakes = new HostFakes;
  return *fakes;
}

MacExtension::MacExtension()
    : home_((std::filesystem::temp_directory_path() / "kelvo-mac-XXXXXX").string()) {
  if (mkdtemp(home_.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  setenv("HOME", home_.c_str(), 1);
  WriteFile(Home("Library/Preferences/com.kelvo.vip/user_info.plist"),
            "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>master_project_folder</key>"
            "<string>" +
                Home("Work") +
                "</string><key>sync_file_locking</key><string>1</string></dict></plist>");
  for (const char* picture : kPictures) {
    WriteFile(Home("bundle/" + std::string(picture) + ".icns"),
              std::string(std::begin(kPicture), std::end(kPicture)));
  }
}

MacExtension::~MacExtension() {
  SignalAgent(SIGKILL);
  Finder::EndExtension();
  std::error_code ignored;
  std::filesystem::remove_all(home_, ignored);
}

void MacExtension::StartAgent() {
  const std::size_t former = AgentHeard("ready");
  std::string program = KELVO_PORT_AGENT;
  std::string name = kAgentPortName;
  std::string notes = Home("notes");
  char* arguments[] = {program.data(), name.data(), notes.data(), nullptr};
  ASSERT_EQ(posix_spawn(&agent_, program.c_str(), nullptr, nullptr, arguments, environ), 0);
  ASSERT_TRUE(Finder::TurnUntil([&] { return AgentHeard("ready") > former; }));
}

void MacExtension::SignalAgent(int number) {
  if (agent_ == 0) return;
  kill(agent_, number);
  if (number != SIGKILL) return;
  waitpid(agent_, nullptr, 0);
  agent_ = 0;
}

std::vector<std::string> MacExtension::AgentNotes() const {
  std::ifstream file(Home("notes"));
  std::vector<std::string> notes;
  for (std::string line; std::getline(file, line);) notes.push_back(line);
  return notes;
}

std::size_t MacExtension::AgentHeard(const std::string& note) const {
  const std::vector<std::string> notes = AgentNotes();
  return static_cast<std::size_t>(std::count(notes.begin(), notes.end(), note));
}

void MacExtension::StartConfigured() {
  StartAgent();
  ASSERT_TRUE(Finder::StartExtension());
  const std::vector<std::string> work = {Home("Work")};
  ASSERT_TRUE(Finder::TurnUntil([&] { return Finder::WatchedFolders().back() == work; }));
}

}  // namespace kelvo::test
