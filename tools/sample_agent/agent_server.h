#pragma once

#include <glib.h>

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "tools/sample_agent/agent_connection.h"
#include "tools/sample_agent/agent_message.h"
#include "tools/sample_agent/rendezvous.h"
#include "tools/source_id.h"

namespace kelvo::sample_agent {

// Listens for extensions and exchanges messages with them. What it hears, says and sees of its
// connections it also prints.
//
// Threads: the default main context's.
class AgentServer {
 public:
  using ConnectionId = int;

  class Listener {
   public:
    // May send and close connections, also the one that this came from.
    virtual void OnMessage(ConnectionId from, const AgentMessage& message) = 0;

   protected:
    ~Listener() = default;
  };

  // `listener` must outlive the server.
  explicit AgentServer(Listener& listener) : listener_(listener) {}
  AgentServer(const AgentServer&) = delete;
  AgentServer& operator=(const AgentServer&) = delete;

  // Once each, in this order; see Rendezvous. False, with the reason, when it cannot be done.
  [[nodiscard]] bool Claim(const std::string& path, std::string* error);
  [[nodiscard]] bool Listen(std::string* error);

  // Nothing happens when the connection is gone.
  void Send(ConnectionId to, const AgentMessage& message);
  // To every extension that has opened its connection.
  void SendToAll(const AgentMessage& message);
  void CloseAll();
  // While it is paused nothing is accepted, read or written; what is sent waits.
  void SetPaused(bool paused);

 private:
  struct Client {
    Client(AgentServer& owner, ConnectionId number, UniqueFd fd)
        : server(owner), id(number), connection(std::move(fd)) {}
    AgentServer& server;
    const ConnectionId id;
    AgentConnection connection;
    tools::SourceId reading;
    tools::SourceId writing;  // while something is queued
  };

  static gboolean OnAcceptable(gint fd, GIOCondition condition, gpointer server);
  static gboolean OnReadable(gint fd, GIOCondition condition, gpointer client);
  static gboolean OnWritable(gint fd, GIOCondition condition, gpointer client);

  void Accept();
  void HandleInput(ConnectionId id);
  void Flush(Client& client);
  void CloseEnded();

  Listener& listener_;
  std::optional<Rendezvous> rendezvous_;
  tools::SourceId accepting_;
  std::map<ConnectionId, std::unique_ptr<Client>> clients_;
  ConnectionId lastId_ = 0;
  bool paused_ = false;
};

}  // namespace kelvo::sample_agent
