#include "hosts/bus/application.h"

#include <glib-unix.h>
#include <locale.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/string_utils.h"
#include "base/user_languages.h"
#include "deployment.h"
#include "hosts/bus/bus_interface.h"
#include "hosts/bus/client_pasteboard.h"
#include "settings/application_bundle.h"

namespace kelvo {
namespace {

constexpr char kProgram[] = "kelvo-finder-sync";
constexpr char kDialogProgram[] = "kelvo-finder-dialog";
// With it the program opens a page for the extension and ends; see GioDesktop.
constexpr char kOpenArgument[] = "--open-for-extension";
constexpr char kUserDefaultsFile[] = "~/Library/Preferences/com.kelvo.vip.kelvoFinderSync.plist";
constexpr std::chrono::milliseconds kMenusChangedInterval{500};
// At the end: nobody is left to wait for an answer, but what was begun to be written should be.
constexpr std::chrono::milliseconds kCallsPatience{300};
constexpr std::chrono::seconds kSettingsPatience{2};

void PrintError(const std::string& text) {
  fprintf(stderr, "%s: %s\n", kProgram, EscapeControlCharacters(text).c_str());
}

// The resources lie where they are installed relative to the program, in the build tree, too.
std::filesystem::path OwnFolder() {
  std::error_code ignored;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", ignored);
  return program.parent_path();
}

std::shared_ptr<const Bundle> OwnBundle() {
  const std::filesystem::path prefix = OwnFolder().parent_path();
  return std::make_shared<const Bundle>((prefix / "share" / kProgram).string(),
                                        PreferredLanguages());
}

// Beside the extension in the build tree, else where it is installed; nowhere else, so that nobody
// else's program is started.
std::string DialogProgram() {
  const std::filesystem::path folder = OwnFolder();
  std::error_code ignored;
  const std::filesystem::path beside = folder / kDialogProgram;
  if (std::filesystem::exists(beside, ignored)) return beside.string();
  return (folder.parent_path() / "libexec" / kProgram / kDialogProgram).string();
}

// The exit code when the arguments leave nothing to do.
std::optional<int> HandleArguments(int argc, char** argv) {
  if (argc == 1) return std::nullopt;
  const std::string_view argument = argv[1];
  if (argc == 2 && argument == "--version") {
    printf("%s %s\n", kProgram, deployment::kVersion);
    return 0;
  }
  if (argc == 2 && argument == kOpenArgument) return OpenForAnother();
  const bool isHelp = argc == 2 && argument == "--help";
  fprintf(isHelp ? stdout : stderr, "Usage: %s\n", kProgram);
  return isHelp ? 0 : 2;
}

}  // namespace

Application::Application(std::unique_ptr<BusConnection> connection)
    : connection_(std::move(connection)),
      service_(connection_->get()),
      badges_(
          runLoop_, clock_,
          [this](const std::string& directory, const std::vector<KnownItem>& items) {
            return finderSync_.knownBadgeIdentifiers(directory, items);
          },
          [this](const std::string& folder, const std::string& entries) {
            service_.EmitBadgesChanged(folder, entries);
          },
          [this] { return finderSync_.badgeChanges(); }),
      descriptions_(
          runLoop_, clock_,
          [this](const std::string& folder, const std::vector<std::string_view>& names) {
            return finderSync_.describeItems(folder, names);
          },
          [this](const std::string& folder, const std::string& names) {
            service_.EmitDescriptionsChanged(folder, names);
          }),
      finderController_(badges_, service_),
      agentTransport_(runLoop_.context()),
      userDefaults_(ExpandTildeInPath(kUserDefaultsFile), settingsQueue_),
      httpClient_(runLoop_.context()),
      desktop_({(OwnFolder() / kProgram).string(), kOpenArgument}),
      bundle_(OwnBundle()),
      dialogs_(
          runLoop_.context(), connection_->get(),
          {DialogProgram(), bundle_->pathForResource("ConfirmationDialog", "ui").value_or("")}),
      pasteboard_(DialogProgram()),
      menusChanged_(runLoop_, clock_, kMenusChangedInterval,
                    [this] { service_.EmitMenusChanged(); }),
      finderSync_(Platform{clock_, runLoop_, settingsQueue_, accountsQueue_, messageQueue_,
                           agentTransport_, finderController_, secretStore_, userDefaults_,
                           systemLog_, threads_, httpClient_, desktop_, dialogs_},
                  bundle_, this),
      calls_(finderSync_, badges_, descriptions_, clock_, [this](const std::string& client) {
        return std::make_unique<ClientPasteboard>(connection_->get(), client, pasteboard_);
      }) {}

int Application::Run() {
  const bool served = Serve();
  const int exitCode = served ? 0 : 1;
  const bool callsEnded = service_.Stop(kCallsPatience);
  const auto limit = std::chrono::steady_clock::now() + kSettingsPatience;
  const auto left = [limit] {
    return std::max(std::chrono::duration_cast<std::chrono::milliseconds>(
                        limit - std::chrono::steady_clock::now()),
                    std::chrono::milliseconds(0));
  };
  // A web command waits for its server, and nobody waits for it.
  const bool threadsEnded = threads_.Finish(std::chrono::milliseconds(0));
  const bool settingsWritten = settingsQueue_.Finish(left());
  const bool accountsWritten = accountsQueue_.Finish(left());
  const bool messagesEnded = messageQueue_.Finish(left());
  if (!callsEnded || !threadsEnded || !settingsWritten || !accountsWritten || !messagesEnded) {
    // A thread waits for a disk or a lock, and uses what would be torn down on the way out.
    fflush(nullptr);
    _Exit(exitCode);
  }
  // Only now: a call under way may still send to the Agent.
  if (served) finderSync_.dealloc();
  return exitCode;
}

// The object is there before its name, so that the first call finds it; whoever does not get the
// name has touched neither Agent nor files.
bool Application::Serve() {
  std::string error;
  QuitOnSignals();
  connection_->OnLost([this] { runLoop_.Quit(); });
  if (!service_.Start(calls_, &error) || !connection_->OwnName(kBusName, &error)) {
    PrintError(error);
    return false;
  }
  settingsQueue_.Async([this] { userDefaults_.Load(); });
  finderSync_.init();
  runLoop_.Run();
  return true;
}

void Application::QuitOnSignals() {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    g_unix_signal_add(
        number,
        [](gpointer self) -> gboolean {
          static_cast<Application*>(self)->runLoop_.Quit();
          return G_SOURCE_CONTINUE;
        },
        this);
  }
}

void Application::onAgentConnected(bool connected) {
  service_.SetAgentConnected(connected);
  menusChanged_.Request();
}

void Application::onMenusChanged() { menusChanged_.Request(); }

void Application::onItemsChanged(const std::string& path, const CSyncStatusListResponse* list) {
  list == nullptr ? descriptions_.NoteChange(path) : descriptions_.NoteList(*list);
  if (calls_.isMenuAbout(path, list != nullptr)) menusChanged_.Request();
}

void Application::onPublicLinksChanged() {
  if (calls_.isMenuAbout({}, false)) menusChanged_.Request();
}

void Application::onFoldersSwept(const std::vector<std::string>& /*folders*/) {
  // An expired folder is of no interest, unless somebody has asked for it again since.
  const auto isOfInterest = [this](const std::string& directory) {
    return finderSync_.isFolderOfInterest(directory);
  };
  badges_.Swept(isOfInterest);
  descriptions_.Swept(isOfInterest);
}

int RunApplication(int argc, char** argv) {
  if (const std::optional<int> exitCode = HandleArguments(argc, argv)) return *exitCode;
  setlocale(LC_ALL, "");
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);  // where files may not grow, writes fail like any other
  std::string error;
  std::unique_ptr<BusConnection> connection = BusConnection::Open(&error);
  if (connection == nullptr) {
    PrintError(error);
    return 1;
  }
  return Application(std::move(connection)).Run();
}

}  // namespace kelvo
