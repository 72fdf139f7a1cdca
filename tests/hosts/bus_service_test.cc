// The object on a real bus, with calls that the test holds and records.
#include "hosts/bus/bus_service.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "core/diagnostics.h"
#include "hosts/bus/bus_connection.h"
#include "hosts/bus/bus_interface.h"
#include "platform/linux/glib_ptr.h"
#include "platform/linux/session_bus.h"
#include "tests/support/no_threads.h"
#include "ui/item_words.h"

namespace kelvo::test {
namespace {

constexpr std::chrono::seconds kLimit{20};

// Lines written by any thread, and waiting for them.
class Record {
 public:
  void Add(const std::string& line) {
    std::lock_guard lock(mutex_);
    lines_.push_back(line);
    changed_.notify_all();
  }
  [[nodiscard]] bool WaitFor(const std::string& line) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kLimit, [&] {
      return std::find(lines_.begin(), lines_.end(), line) != lines_.end();
    });
  }
  std::vector<std::string> Lines() {
    std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> lines_;
};

class RecordedCalls : public BusCalls {
 public:
  // Folders named "/full" are too many.
  bool beginObservingDirectory(const std::string&, const std::string& path) override {
    if (path != "/full") record.Add("begin " + path);
    return path != "/full";
  }
  void endObservingDirectory(const std::string&, const std::string& path) override {
    record.Add("end " + path);
  }
  // A folder named "/slow" is answered when the test says so.
  bool requestBadges(const std::string&, const std::string& folder,
                     const std::vector<std::string_view>& names,
                     const std::function<void(const std::string&)>& reply) override {
    if (folder == "/full") return false;
    EXPECT_TRUE(folder != "/slow" || released.WaitFor("released"));
    record.Add("badges " + folder);
    if (folder == "/fail") throw std::bad_alloc();
    reply(std::string(names.size(), '1'));
    return true;
  }
  // Knows the item "a".
  void describeItems(const std::string&, const std::string& folder,
                     const std::vector<std::string_view>& names,
                     const std::function<void(const WordsOfItems&)>& reply) override {
    WordsOfItems items{{{}, {"In sync", "Zo\u00EB", "Modify"}}, {}};
    record.Add("describe " + folder);
    for (std::string_view name : names) items.which.push_back(name == "a" ? 1 : 0);
    reply(items);
    if (folder == "/fail") throw std::bad_alloc();
  }
  Diagnostics diagnostics() const override {
    return {.agentAddress = "/run/\xFF", .agent = {.lastMessage = "x\n"}, .started = true};
  }
  void withProjects(std::function<void(const ProjectsList&)>) override { record.Add("projects"); }
  // The menu of "/wait" takes until nobody wants it any more.
  KeptMenu menuForItems(const std::string&, std::uint32_t kind,
                        const std::vector<std::string>& items,
                        const std::atomic<bool>& cancelled) override {
    const std::string first = items.empty() ? "none" : items.front();
    record.Add("menu " + first);
    if (first == "/fail") throw std::bad_alloc();
    if (first == "/wait") {
      const auto limit = std::chrono::steady_clock::now() + kLimit;
      while (!cancelled && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
      record.Add(cancelled ? "cancelled" : "waited");
      return {};
    }
    KeptMenu menu{7 + kind};
    menu.menu.insertItem({"Lock \xFF", {"lock"}, true, "locked"}, 0);
    menu.menu.insertItem({.separator = true}, 1);
    return menu;
  }
  // The index says the state.
  ChosenLine lineOfMenu(const std::string&, std::uint32_t, std::uint32_t index) override {
    return {static_cast<ChosenLine::State>(index), {"act"}};
  }
  // Without a token it takes until the test says so.
  void perform(const std::string&, const ChosenLine& line, const std::string& token) override {
    EXPECT_TRUE(!token.empty() || released.WaitFor("released"));
    record.Add("perform " + std::string(line.action.name) + " " + token);
  }
  void clientGone(const std::string&) override { record.Add("gone"); }
  bool isStarted() const override { return true; }

  Record record;
  Record released;
};

GVariant* Bytes(const std::string& text) {
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), 1);
}

// A file manager's connection. What it hears is recorded on GLib's own thread.
class Client {
 public:
  explicit Client(const char* service) : service_(service) {
    g_dbus_connection_add_filter(
        connection_.get(), Hear, new std::shared_ptr<Record>(heard),
        [](gpointer data) { delete static_cast<std::shared_ptr<Record>*>(data); });
    g_dbus_connection_signal_subscribe(
        connection_.get(), service, nullptr, nullptr, kBusPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*,
           gpointer) {},
        nullptr, nullptr);
    EXPECT_TRUE(Call("org.freedesktop.DBus.Peer", "Ping", nullptr));
  }
  GLibPtr<GVariant> Call(const char* interface, const char* method, GVariant* arguments,
                         GError** error = nullptr) {
    return GLibPtr<GVariant>(g_dbus_connection_call_sync(
        connection_.get(), service_, kBusPath, interface, method, arguments, nullptr,
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, error));
  }
  // What the call answers, as text; the error's name when it fails. Any thread.
  std::string Ask(const char* method, GVariant* arguments) {
    GErrorSlot error;
    const GLibPtr<GVariant> answer = Call(kBusInterface, method, arguments, error.out());
    const GLibPtr<char> text(answer ? g_variant_print(answer.get(), FALSE)
                                    : g_dbus_error_get_remote_error(error.get()));
    return text ? text.get() : "";
  }
  // Without waiting for the answer.
  void Send(const char* method, GVariant* arguments) {
    g_dbus_connection_call(connection_.get(), service_, kBusPath, kBusInterface, method, arguments,
                           nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    g_dbus_connection_flush_sync(connection_.get(), nullptr, nullptr);
  }
  void Leave() { g_dbus_connection_close_sync(connection_.get(), nullptr, nullptr); }

  // Shared with GLib's thread, which may be at it when this goes.
  const std::shared_ptr<Record> heard = std::make_shared<Record>();

 private:
  static GDBusMessage* Hear(GDBusConnection*, GDBusMessage* message, gboolean incoming,
                            gpointer heard) {
    if (incoming && g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_SIGNAL) {
      GLibPtr<char> body(g_dbus_message_get_body(message) == nullptr
                             ? g_strdup("")
                             : g_variant_print(g_dbus_message_get_body(message), FALSE));
      (*static_cast<std::shared_ptr<Record>*>(heard))
          ->Add(std::string(g_dbus_message_get_member(message)) + body.get());
    }
    return message;
  }

  const char* service_;
  std::string error_;
  const GObjectPtr<GDBusConnection> connection_ = OpenSessionBus(&error_);
};

class BusServiceTest : public ::testing::Test {
 protected:
  explicit BusServiceTest(std::size_t mostWaiting = BusService::kMostWaiting) {
    g_test_dbus_up(bus_.get());
    std::string error;
    connection_ = BusConnection::Open(&error);
    EXPECT_NE(nullptr, connection_) << error;
    service_ = std::make_unique<BusService>(connection_->get(), mostWaiting);
    EXPECT_TRUE(service_->Start(calls_, &error)) << error;
  }
  ~BusServiceTest() override {
    calls_.released.Add("released");
    EXPECT_TRUE(service_->Stop(kLimit));
    service_.reset();
    connection_.reset();
    g_test_dbus_stop(bus_.get());
  }
  std::unique_ptr<Client> MakeClient() {
    return std::make_unique<Client>(g_dbus_connection_get_unique_name(connection_->get()));
  }

  GObjectPtr<GTestDBus> bus_{g_test_dbus_new(G_TEST_DBUS_NONE)};
  RecordedCalls calls_;
  std::unique_ptr<BusConnection> connection_;
  std::unique_ptr<BusService> service_;
};

TEST_F(BusServiceTest, ClientThatLeavesIsGoneAfterItsCalls) {
  auto client = MakeClient();
  client->Send("RequestBadges", g_variant_new("(@ay@ay)", Bytes("/slow"), Bytes("")));
  client->Send("BeginObservingDirectory", g_variant_new("(@ay)", Bytes("/w")));
  client->Leave();
  // Another client's calls wait neither for the slow one nor for the leaving.
  auto other = MakeClient();
  EXPECT_TRUE(
      other->Call(kBusInterface, "EndObservingDirectory", g_variant_new("(@ay)", Bytes("/other"))));
  EXPECT_EQ(std::vector<std::string>{"end /other"}, calls_.record.Lines());
  calls_.released.Add("released");
  ASSERT_TRUE(calls_.record.WaitFor("gone"));
  EXPECT_EQ((std::vector<std::string>{"end /other", "badges /slow", "begin /w", "gone"}),
            calls_.record.Lines());
}

GVariant* MenuArguments(const std::vector<std::string>& items) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("aay"));
  for (const std::string& item : items) g_variant_builder_add_value(&builder, Bytes(item));
  return g_variant_new("(uaay)", 2, &builder);
}

TEST_F(BusServiceTest, NewerMenuCallEndsOlderOnesAndHoldsNothingElse) {
  auto client = MakeClient();
  auto other = MakeClient();
  const std::string none = "(0, [])";
  const auto ask = [&client](const char* item) {
    return std::async(std::launch::async, [&client, item] {
      return client->Ask("MenuForItems", MenuArguments({item}));
    });
  };
  auto first = ask("/wait");
  ASSERT_TRUE(calls_.record.WaitFor("menu /wait"));
  EXPECT_EQ("([0x31],)", client->Ask("RequestBadges", g_variant_new("(@ay@ay)", Bytes("/w"),
                                                                    Bytes(std::string("a\0", 2)))));
  EXPECT_EQ(
      "(9, [(0, 'Lock \xEF\xBF\xBD', 'emblem-kelvo-locked', true, 'lock', false), "
      "(1, '', '', false, '', true)])",
      other->Ask("MenuForItems", MenuArguments({"/w/other", ""})));
  EXPECT_EQ("()", client->Ask("BeginObservingDirectory", g_variant_new("(@ay)", Bytes("/w"))));
  EXPECT_EQ(std::future_status::timeout, first.wait_for(std::chrono::seconds(0)));
  EXPECT_NE(none, ask("/w/new").get());
  EXPECT_EQ(none, first.get());
  EXPECT_TRUE(calls_.record.WaitFor("cancelled"));

  // Two calls wait for the turn of a slow one: the older one is answered before that, whichever of
  // the two the bus has heard first.
  client->Send("RequestBadges", g_variant_new("(@ay@ay)", Bytes("/slow"), Bytes("")));
  std::future<std::string> queued[] = {ask("/w/queued"), ask("/w/queued")};
  const auto isAnswered = [](const std::future<std::string>& call) {
    return call.wait_for(std::chrono::milliseconds(1)) == std::future_status::ready;
  };
  const auto limit = std::chrono::steady_clock::now() + kLimit;
  while (!isAnswered(queued[0]) && !isAnswered(queued[1])) {
    if (std::chrono::steady_clock::now() > limit) break;
  }
  const int older = isAnswered(queued[0]) ? 0 : 1;
  EXPECT_FALSE(isAnswered(queued[1 - older]));
  calls_.released.Add("released");
  EXPECT_EQ(none, queued[older].get());
  EXPECT_NE(none, queued[1 - older].get());
}

TEST_F(BusServiceTest, CallThatFailsIsAnsweredOnceAndSoIsTheNext) {
  auto client = MakeClient();
  const std::string failed = "org.freedesktop.DBus.Error.Failed";
  const auto ask = [&client](const char* method, const char* folder) {
    return client->Ask(method,
                       g_variant_new("(@ay@ay)", Bytes(folder), Bytes(std::string("b\0", 2))));
  };
  EXPECT_EQ(failed, ask("RequestBadges", "/fail"));
  EXPECT_EQ(failed, client->Ask("MenuForItems", MenuArguments({"/fail"})));
  EXPECT_EQ(ask("DescribeItems", "/w"), ask("DescribeItems", "/fail"))
      << "answered before it failed";
  EXPECT_EQ("([0x31],)", ask("RequestBadges", "/w"));
}

TEST_F(BusServiceTest, WithoutAThreadThereIsAReason) {
  std::string error;
  const std::unique_ptr<BusConnection> connection = BusConnection::Open(&error);
  ASSERT_NE(nullptr, connection) << error;
  BusService service(connection->get());
  {
    const NoThreads none;
    EXPECT_EQ(nullptr, OpenSessionBus(&error));
    EXPECT_EQ(0U, error.find("no connection to the session bus: no thread")) << error;
    EXPECT_FALSE(service.Start(calls_, &error));
    EXPECT_EQ(0U, error.find("no thread to serve /com/kelvo/FinderSync")) << error;
  }
  BusService another(connection->get());
  EXPECT_TRUE(another.Start(calls_, &error)) << "the object was taken back: " << error;
  EXPECT_TRUE(another.Stop(kLimit));
}

TEST_F(BusServiceTest, ChoicesAreAnsweredBeforeTheyArePerformed) {
  auto client = MakeClient();
  const auto choose = [&client](ChosenLine::State state, const char* key, GVariant* value) {
    GVariantBuilder data;
    g_variant_builder_init(&data, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&data, "{sv}", key, value);
    return client->Ask("ChooseMenuItem",
                       g_variant_new("(uua{sv})", 7, static_cast<guint>(state), &data));
  };
  using State = ChosenLine::State;
  EXPECT_EQ(kErrorNotStarted, choose(State::kNotStarted, "x", g_variant_new_int32(1)));
  EXPECT_EQ(kErrorStaleMenu, choose(State::kStale, "x", g_variant_new_int32(1)));
  EXPECT_EQ(kErrorDisabled, choose(State::kDisabled, "x", g_variant_new_int32(1)));
  EXPECT_EQ("()", choose(State::kReady, "activation-token", g_variant_new_string("token")));
  EXPECT_TRUE(calls_.record.WaitFor("perform act token"));
  EXPECT_EQ("()", choose(State::kReady, "activation-token", g_variant_new_int32(1)));
  EXPECT_NE("", client->Ask("MenuForItems", MenuArguments({})));
  client->Leave();
  ASSERT_TRUE(calls_.record.WaitFor("gone"));
  calls_.released.Add("released");
  EXPECT_TRUE(calls_.record.WaitFor("perform act ")) << "although its client has left";
}

TEST_F(BusServiceTest, DescribesInTheClientsOrderAndDiagnosesBesideIt) {
  auto client = MakeClient();
  const auto names = [](const char* folder, const std::string& packed) {
    return g_variant_new("(@ay@ay)", Bytes(folder), Bytes(packed));
  };
  const std::string two("b\0a\0", 4);
  EXPECT_EQ(kErrorInvalidPath, client->Ask("DescribeItems", names("w", two)));
  EXPECT_EQ(kErrorInvalidPath, client->Ask("DescribeItems", names("/w", "a")));
  const std::string endless = "/" + std::string(100'000, 'w');
  EXPECT_EQ(kErrorInvalidPath, client->Ask("DescribeItems", names(endless.c_str(), "")));
  for (const char* method : {"DescribeItems", "RequestBadges"}) {
    EXPECT_EQ("org.freedesktop.DBus.Error.LimitsExceeded",
              client->Ask(method, names("/w", std::string(1'000'001, '\0'))));
  }
  EXPECT_NE("", client->Ask("DescribeItems", names("/", "")));

  client->Send("RequestBadges", names("/slow", ""));
  client->Send("DescribeItems", names("/after", two));
  EXPECT_EQ(
      "({'agent-socket': <[byte 0x2f, 0x72, 0x75, 0x6e, 0x2f, 0xff]>, 'agent-connected': <false>, "
      "'last-message': <'x\xEF\xBF\xBD'>, 'configuration-read': <false>, 'started': <true>},)",
      client->Ask("Diagnose", nullptr));
  calls_.released.Add("released");
  EXPECT_EQ("([('', '', ''), ('In sync', 'Zo\u00EB', 'Modify')], [0, 1])",
            client->Ask("DescribeItems", names("/w", two)));
  EXPECT_EQ(
      (std::vector<std::string>{"describe /", "badges /slow", "describe /after", "describe /w"}),
      calls_.record.Lines());
}

class BusyServiceTest : public BusServiceTest {
 protected:
  BusyServiceTest() : BusServiceTest(10 * 4096) {}
};

TEST_F(BusyServiceTest, AClientThatHasTooMuchWaitingIsRefusedMore) {
  const std::string refusal = "org.freedesktop.DBus.Error.LimitsExceeded";
  const auto folder = [](const char* path) { return g_variant_new("(@ay)", Bytes(path)); };
  auto client = MakeClient();
  auto other = MakeClient();
  const auto begin = [&client, folder] {
    return client->Ask("BeginObservingDirectory", folder("/w"));
  };
  EXPECT_EQ(refusal, client->Ask("BeginObservingDirectory", folder("/full")));
  EXPECT_EQ(refusal,
            client->Ask("RequestBadges", g_variant_new("(@ay@ay)", Bytes("/full"), Bytes(""))));
  client->Send("RequestBadges", g_variant_new("(@ay@ay)", Bytes("/slow"), Bytes("")));
  for (int i = 0; i < 8; ++i) client->Send("EndObservingDirectory", folder("/w"));
  EXPECT_EQ(refusal, begin());
  EXPECT_EQ("()", other->Ask("BeginObservingDirectory", folder("/other")));
  calls_.released.Add("released");
  const auto limit = std::chrono::steady_clock::now() + kLimit;
  while (begin() != "()" && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
  EXPECT_TRUE(calls_.record.WaitFor("begin /w"));
  const std::vector<std::string> lines = calls_.record.Lines();
  EXPECT_EQ(8, std::count(lines.begin(), lines.end(), "end /w")) << "those before the refusal";
}

TEST_F(BusServiceTest, PropertiesAreSignalledWhenTheyChange) {
  auto client = MakeClient();
  service_->SetAgentConnected(false);
  service_->SetDirectoryURLs({});
  service_->SetAgentConnected(true);
  service_->SetAgentConnected(true);
  service_->SetDirectoryURLs({"/w"});
  service_->SetDirectoryURLs({"/w"});
  service_->EmitDescriptionsChanged("/w", std::string("a\0", 2));
  service_->EmitMenusChanged();
  const std::vector<std::string> properties{
      "PropertiesChanged('com.kelvo.FinderSync1', {'AgentConnected': <true>}, [])",
      "PropertiesChanged('com.kelvo.FinderSync1', {'DirectoryURLs': <[[byte 0x2f, 0x77]]>}, [])"};
  ASSERT_TRUE(client->heard->WaitFor(properties.back()));
  ASSERT_TRUE(client->heard->WaitFor("MenusChanged"));
  // Properties keep their order, and so do the other signals; the two may come mixed.
  std::vector<std::string> heard = client->heard->Lines();
  std::erase_if(heard, [](const std::string& line) { return line.starts_with("NameAcquired"); });
  const auto others = std::stable_partition(
      heard.begin(), heard.end(),
      [](const std::string& line) { return line.starts_with("PropertiesChanged"); });
  EXPECT_EQ(std::vector<std::string>(heard.begin(), others), properties);
  EXPECT_EQ(std::vector<std::string>(others, heard.end()),
            (std::vector<std::string>{"DescriptionsChanged([0x2f, 0x77], b'a')", "MenusChanged"}));
}

}  // namespace
}  // namespace kelvo::test
