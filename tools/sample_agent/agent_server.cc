#include "tools/sample_agent/agent_server.h"

#include <errno.h>
#include <glib-unix.h>
#include <string.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr std::size_t kMaxConnections = 32;
constexpr auto kInput = static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR);

std::string Name(AgentServer::ConnectionId id) { return "connection " + std::to_string(id); }

}  // namespace

bool AgentServer::Claim(const std::string& path, std::string* error) {
  std::optional<Rendezvous> rendezvous = Rendezvous::Claim(path, error);
  if (!rendezvous.has_value()) return false;
  rendezvous_.emplace(std::move(*rendezvous));
  return true;
}

bool AgentServer::Listen(std::string* error) {
  if (!rendezvous_->Listen(error)) return false;
  accepting_.Reset(g_unix_fd_add(rendezvous_->Fd(), G_IO_IN, OnAcceptable, this));
  return true;
}

gboolean AgentServer::OnAcceptable(gint /*fd*/, GIOCondition /*condition*/, gpointer server) {
  static_cast<AgentServer*>(server)->Accept();
  return G_SOURCE_CONTINUE;
}

void AgentServer::Accept() {
  UniqueFd fd = rendezvous_->Accept();
  if (!fd) {
    if (errno != EMFILE && errno != ENFILE) return;
    tools::PrintError(std::string("no longer listening: ") + strerror(errno));
    accepting_.Reset();  // or the loop would spin
    return;
  }
  const std::optional<Peer> peer = PeerOf(fd);
  if (!peer.has_value() || peer->user != ::getuid()) {
    tools::PrintError("refused a connection from another user");
    return;
  }
  if (clients_.size() >= kMaxConnections) {
    tools::PrintError("refused a connection: there are too many");
    return;
  }
  auto client = std::make_unique<Client>(*this, ++lastId_, std::move(fd));
  client->reading.Reset(g_unix_fd_add(client->connection.Fd(), kInput, OnReadable, client.get()));
  tools::PrintLine(Name(client->id) + ": from process " + std::to_string(peer->process));
  clients_.emplace(client->id, std::move(client));
}

gboolean AgentServer::OnReadable(gint /*fd*/, GIOCondition /*condition*/, gpointer client) {
  const auto* self = static_cast<const Client*>(client);
  self->server.HandleInput(self->id);
  return G_SOURCE_CONTINUE;
}

void AgentServer::HandleInput(ConnectionId id) {
  // What came before the end of a connection is heard all the same, so all of it is taken out
  // first.
  AgentConnection& connection = clients_.at(id)->connection;
  connection.Read();
  std::vector<AgentMessage> messages;
  while (std::optional<AgentMessage> message = connection.NextMessage()) {
    messages.push_back(std::move(*message));
  }
  for (const AgentMessage& message : messages) {
    tools::PrintLine(Name(id) + ": received " + Describe(message));
    listener_.OnMessage(id, message);
  }
  CloseEnded();
}

gboolean AgentServer::OnWritable(gint /*fd*/, GIOCondition /*condition*/, gpointer client) {
  auto* self = static_cast<Client*>(client);
  AgentServer& server = self->server;
  server.Flush(*self);
  server.CloseEnded();
  return G_SOURCE_CONTINUE;
}

void AgentServer::Flush(Client& client) {
  if (paused_) return;
  client.connection.Write();
  if (!client.connection.HasQueued()) {
    client.writing.Reset();
  } else if (!client.writing) {
    client.writing.Reset(g_unix_fd_add(client.connection.Fd(), G_IO_OUT, OnWritable, &client));
  }
}

void AgentServer::Send(ConnectionId to, const AgentMessage& message) {
  const auto found = clients_.find(to);
  if (found == clients_.end()) return;
  tools::PrintLine(Name(to) + ": sent " + Describe(message));
  found->second->connection.Queue(message);
  Flush(*found->second);
  CloseEnded();
}

void AgentServer::SendToAll(const AgentMessage& message) {
  std::string names;
  for (const auto& [id, client] : clients_) {
    if (!client->connection.IsOpened()) continue;
    names += ' ' + std::to_string(id);
    client->connection.Queue(message);
    Flush(*client);
  }
  const std::string what = Describe(message);
  tools::PrintLine(names.empty() ? "no connection: not sent " + what
                                 : "connection" + names + ": sent " + what);
  CloseEnded();
}

void AgentServer::CloseAll() {
  for (const auto& [id, client] : clients_) tools::PrintLine(Name(id) + ": dropped");
  clients_.clear();
}

void AgentServer::SetPaused(bool paused) {
  if (paused_ == paused) return;
  paused_ = paused;
  if (paused) {
    accepting_.Reset();
    for (const auto& [id, client] : clients_) {
      client->reading.Reset();
      client->writing.Reset();
    }
    return;
  }
  accepting_.Reset(g_unix_fd_add(rendezvous_->Fd(), G_IO_IN, OnAcceptable, this));
  for (const auto& [id, client] : clients_) {
    client->reading.Reset(g_unix_fd_add(client->connection.Fd(), kInput, OnReadable, client.get()));
    Flush(*client);
  }
  CloseEnded();
}

void AgentServer::CloseEnded() {
  for (auto it = clients_.begin(); it != clients_.end();) {
    const std::string& ending = it->second->connection.Ending();
    if (ending.empty()) {
      ++it;
      continue;
    }
    tools::PrintLine(Name(it->first) + ": ended: " + ending);
    it = clients_.erase(it);
  }
}

}  // namespace kelvo::sample_agent
