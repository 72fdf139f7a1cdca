#include "bench/bench_agent.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <chrono>
#include <cstring>
#include <optional>
#include <utility>

#include "agent/keyed_archive.h"
#include "agent/message_frame.h"
#include "agent/notifications_bridge.h"
#include "bench/extension_session.h"

namespace kelvo::bench {
namespace {

constexpr char kRendezvous[] = "/com.kelvo.vip.kelvoFinderSync";
constexpr std::chrono::seconds kPatience{60};

std::string TextOf(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  const std::string* text = value == nullptr ? nullptr : value->AsString();
  return text == nullptr ? std::string() : *text;
}

}  // namespace

BenchAgent::BenchAgent(const std::string& runtimeFolder)
    : listening_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = runtimeFolder + kRendezvous;
  Require(path.size() < sizeof address.sun_path, "the path of the Agent's socket is too long");
  std::memcpy(address.sun_path, path.c_str(), path.size());
  Require(
      ::bind(listening_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
          ::listen(listening_.get(), 4) == 0,
      "the Agent cannot listen");
  thread_ = std::thread([this] { Serve(); });
}

BenchAgent::~BenchAgent() {
  ::shutdown(listening_.get(), SHUT_RDWR);
  if (connection_) ::shutdown(connection_.get(), SHUT_RDWR);
  thread_.join();
}

void BenchAgent::Serve() {
  connection_.Reset(::accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  MessageFrameReader reader;
  char bytes[64 * 1024];
  while (connection_) {
    const ssize_t count = ::recv(connection_.get(), bytes, sizeof bytes, 0);
    if (count <= 0) return;
    reader.Append({bytes, static_cast<std::size_t>(count)});
    while (const std::optional<MessageFrameReader::Message> message = reader.Next()) {
      if (message->name != kAgentEventName) continue;
      if (const auto info = DecodeKeyedArchive(message->archive, nullptr)) Hear(*info);
    }
  }
}

void BenchAgent::Hear(const PropertyList::Dictionary& info) {
  if (TextOf(info, "event_name") == "configuration_init") {
    Send(EventFrame("configuration_updated", {}));
  } else if (TextOf(info, "command") == "status-list") {
    const std::lock_guard lock(mutex_);
    requested_.insert(TextOf(info, "path"));
    changed_.notify_all();
  }
}

void BenchAgent::WaitForRequest(const std::string& folder) {
  std::unique_lock lock(mutex_);
  Require(changed_.wait_for(lock, kPatience, [&] { return requested_.contains(folder); }),
          "the extension does not ask for " + folder);
}

std::string BenchAgent::EventFrame(const std::string& eventName, PropertyList::Dictionary info) {
  info["event_name"] = eventName;
  return EncodeMessageFrame(kAgentEventName, EncodeKeyedArchive(info));
}

std::string BenchAgent::ListFrame(const std::string& folder, const std::string& listText) {
  return EventFrame("sync_status_list", {{"path", folder}, {"list", listText}});
}

void BenchAgent::Send(std::string_view frames) {
  while (!frames.empty()) {
    const ssize_t count = ::send(connection_.get(), frames.data(), frames.size(), MSG_NOSIGNAL);
    Require(count > 0, "the extension has left the Agent");
    frames.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace kelvo::bench
