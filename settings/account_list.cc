#include "settings/account_list.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <random>
#include <set>
#include <system_error>
#include <utility>

#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/configuration_path.h"
#include "settings/value_utilities.h"

namespace kelvo {
namespace {

constexpr std::string_view kAccountPrefix = "account_";
constexpr unsigned kNewAccountNumbers = 10000;

std::atomic<AccountList*> theDefaultList{nullptr};
std::atomic<BackgroundQueue*> theQueue{nullptr};

bool Exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

// The rest of the text after that many characters.
std::string_view AfterCharacters(std::string_view text, std::size_t count) {
  const auto isContinuation = [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
  };
  std::size_t begin = 0;
  for (; count > 0 && begin < text.size(); --count) {
    ++begin;
    while (begin < text.size() && isContinuation(text[begin])) ++begin;
  }
  return text.substr(begin);
}

// The paths of the account folders directly inside; logged when they cannot all be listed.
std::vector<std::string> AccountFolders(const std::string& folder) {
  std::vector<std::string> paths;
  std::error_code error;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::string path = folder;
    path.append("/").append(name);
    if (name.starts_with(kAccountPrefix) && IsDirectory(path)) paths.push_back(std::move(path));
  }
  if (error) {
    KELVO_LOG(kLogError, "cannot list the accounts in " << EscapeControlCharacters(folder) << ": "
                                                        << error.message());
  }
  return paths;
}

}  // namespace

AccountList& AccountList::defaultAccountListWithPassword(bool loadPassword) {
  AccountList* list = existingDefaultAccountList();
  if (list != nullptr) return *list;
  list = new AccountList(loadPassword, theQueue.load(std::memory_order_acquire), Unregistered{});
  // Known before it loads: its accounts ask it whether to load their secrets.
  theDefaultList.store(list, std::memory_order_release);
  list->start();
  return *list;
}

AccountList* AccountList::existingDefaultAccountList() {
  return theDefaultList.load(std::memory_order_acquire);
}

void AccountList::SetSettingsQueue(BackgroundQueue* queue) {
  theQueue.store(queue, std::memory_order_release);
}

void AccountList::ResetForTesting() {
  delete theDefaultList.exchange(nullptr);
  theQueue.store(nullptr);
}

AccountList::AccountList(bool loadPassword, BackgroundQueue* queue, Unregistered)
    : loadPassword_(loadPassword),
      queue_(queue),
      random_([] { return std::uint32_t{std::random_device()()}; }),
      alive_(std::make_shared<AccountList*>(this)) {}

AccountList::AccountList(bool loadPassword, BackgroundQueue* queue)
    : AccountList(loadPassword, queue, Unregistered{}) {
  start();
}

AccountList::~AccountList() {
  RemoveAgentObserver(&settingsObserver_);
  *alive_ = nullptr;
}

void AccountList::start() {
  registerAgentEvents();
  runOnQueue([](AccountList& list) { list.load(); });
}

void AccountList::registerAgentEvents() {
  RegisterAgentSettingsObserver(&settingsObserver_, static_cast<AgentNotificationReceiver*>(this),
                                ForwardAgentSettingsEvent);
}

void AccountList::runOnQueue(std::function<void(AccountList&)> work) {
  if (queue_ == nullptr) return work(*this);
  queue_->Async([alive = alive_, work = std::move(work)] {
    if (*alive != nullptr) work(**alive);
  });
}

void AccountList::load() {
  const std::string folder = defaultConfigPath();
  if (!Exists(folder)) return;
  processPath(folder);
  for (const std::string& path : AccountFolders(folder)) processPath(path);
}

void AccountList::processPath(const std::string& path) {
  const auto known =
      std::find_if(accountsList_.begin(), accountsList_.end(),
                   [&path](const auto& account) { return account->accountFolderPath() == path; });
  if (known != accountsList_.end()) accountsList_.erase(known);
  if (!Exists(path)) return;
  auto account = std::make_unique<Account>(path, true);
  const auto place = std::upper_bound(
      accountsList_.begin(), accountsList_.end(), account,
      [](const auto& added, const auto& other) { return added->agentID() < other->agentID(); });
  accountsList_.insert(place, std::move(account));
}

void AccountList::notifyAgentSettings(int /*hint*/, const char* agentID) {
  std::optional<std::string> id;
  if (agentID != nullptr) id = agentID;
  if (id && id->find('/') != std::string::npos) {
    KELVO_LOG(kLogError, "changed settings of the account \""
                             << EscapeControlCharacters(ToValidUtf8(*id))
                             << "\" ignored: no name of a folder");
    return;
  }
  if (!changed_.Add([&id](ChangedAccounts& changed) { changed.insert(std::move(id)); })) return;
  runOnQueue([](AccountList& list) {
    for (const std::optional<std::string>& each : list.changed_.Take()) list.settingsChanged(each);
  });
}

void AccountList::settingsChanged(const std::optional<std::string>& agentID) {
  Account* account = agentID ? accountForAgentID(*agentID) : nullptr;
  if (account != nullptr) return account->loadSettings();
  const bool isFirst = !agentID || *agentID == kFirstAgentID;
  processPath(isFirst ? defaultConfigPath() : pathForAgentID(*agentID));
}

std::string AccountList::extractAgentID(std::string_view path) {
  const std::size_t prefix = path.find(kAccountPrefix);
  if (prefix == std::string_view::npos) return kFirstAgentID;
  const std::size_t slash = path.rfind('/', prefix);
  path.remove_prefix(slash == std::string_view::npos ? 0 : slash + 1);
  const std::string_view component = path.substr(0, path.find('/'));
  // Deliberate: from the eighth character, wherever the prefix stands.
  return std::string(AfterCharacters(component, kAccountPrefix.size()));
}

Account* AccountList::accountForAgentID(std::string_view agentID) {
  for (const auto& account : accountsList_) {
    if (account->agentID() == agentID) return account.get();
  }
  return nullptr;
}

Account* AccountList::accountForPath(std::string_view path) {
  return accountForAgentID(extractAgentID(path));
}

Account* AccountList::accountForUserID(std::string_view userID) {
  for (const auto& account : accountsList_) {
    const std::optional<std::string> id = account->agentSettings().userId();
    if (id && *id == userID) return account.get();
  }
  return nullptr;
}

std::optional<std::string> AccountList::teamForAgentID(std::string_view agentID) {
  Account* account = accountForAgentID(agentID);
  return account == nullptr ? std::nullopt : account->agentSettings().teamName();
}

std::string AccountList::pathForAgentID(std::string_view agentID) {
  std::string path = defaultConfigPath() + "/";
  return path.append(kAccountPrefix).append(agentID);
}

std::string AccountList::defaultConfigPath() { return GetConfigurationPath(nullptr); }

std::string AccountList::defaultConfigFilename() { return GetConfigurationPath("user_info.plist"); }

kelvoAgentSettings& AccountList::defaultConfig() {
  if (!accountsList_.empty()) return accountsList_.front()->agentSettings();
  return withoutAccount_.emplace("");
}

std::string AccountList::defaultClientId() {
  const std::string folder = defaultConfigPath();
  if (!Exists(folder)) return {};
  std::vector<std::string> folders = AccountFolders(folder);
  folders.insert(folders.begin(), folder);
  kelvoAgentSettings settings(*std::min_element(
      folders.begin(), folders.end(), [](const std::string& added, const std::string& other) {
        return extractAgentID(added) < extractAgentID(other);
      }));
  (void)settings.loadSettingsWithoutPassword();  // has logged why it could not
  return settings.rcid();
}

bool AccountList::needSetup() {
  return std::all_of(accountsList_.begin(), accountsList_.end(),
                     [](const auto& account) { return account->needSetup(); });
}

void AccountList::SetRandomSource(std::function<std::uint32_t()> source) {
  random_ = std::move(source);
}

std::optional<unsigned> AccountList::unusedNumber() {
  constexpr int kMaxDraws = 1000;
  std::set<std::int64_t> used;
  for (const auto& account : accountsList_) used.insert(IntValue(&account->agentID()));
  for (int draw = 0; draw < kMaxDraws; ++draw) {
    const unsigned number = random_() % kNewAccountNumbers;
    if (used.count(number) == 0) return number;
  }
  // Hardly any are left: drawing on might never find one.
  for (unsigned number = 0; number < kNewAccountNumbers; ++number) {
    if (used.count(number) == 0) return number;
  }
  return std::nullopt;
}

std::string AccountList::createNewAccountPath() {
  const std::optional<unsigned> number = unusedNumber();
  if (!number) KELVO_LOG(kLogError, "no number left for a new account");
  return number ? pathForAgentID(std::to_string(*number)) : std::string();
}

std::unique_ptr<Account> AccountList::newAccount() {
  std::string path = createNewAccountPath();
  return path.empty() ? nullptr : std::make_unique<Account>(std::move(path), false);
}

bool AccountList::syncEnabled() {
  return std::any_of(accountsList_.begin(), accountsList_.end(),
                     [](const auto& account) { return account->agentSettings().syncEnabled(); });
}

bool AccountList::debugTabEnabled() {
  return std::any_of(accountsList_.begin(), accountsList_.end(), [](const auto& account) {
    return account->agentSettings().debugTabEnabled();
  });
}

bool AccountList::backupEnabled() { return syncEnabled(); }

template <typename Value>
std::int64_t AccountList::leastOfAccounts(Value value) {
  std::int64_t least = 0;
  for (const auto& account : accountsList_) {
    const std::int64_t own = value(account->agentSettings());
    if (least == 0 || own <= least) least = own;
  }
  return least;
}

std::int64_t AccountList::minMbBackupWindowTresholdSetting() {
  return leastOfAccounts([](const kelvoAgentSettings& settings) {
    return settings.minMbBackupWindowTresholdSetting();
  });
}

std::int64_t AccountList::minFilesBackupWindowTresholdSetting() {
  return leastOfAccounts([](const kelvoAgentSettings& settings) {
    return settings.minFilesBackupWindowTresholdSetting();
  });
}

}  // namespace kelvo
