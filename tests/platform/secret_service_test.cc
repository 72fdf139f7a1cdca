// Run by with_secret_service.sh, which supplies the session that each suite is about.
#include <gio/gio.h>
#include <libsecret/secret.h>

#include <cstdlib>
#include <future>
#include <iterator>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/glib_ptr.h"
#include "platform/linux/secret_service_store.h"
#include "platform/linux/session_bus.h"
#include "settings/agent_settings.h"
#include "settings/secure_store.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

constexpr char kService[] = "org.freedesktop.secrets";
constexpr char kRoot[] = "/org/freedesktop/secrets";
constexpr char kDefault[] = "/org/freedesktop/secrets/aliases/default";

class StoreFixture : public test::Fixture {
 protected:
  // By none of the five operations, each of which says why, without waiting for anybody.
  void ExpectUnavailable(const std::string& reason) {
    std::string secret;
    for (const SecretStatus status :
         {store_.Read("S", "A", &secret), store_.Find("S", "A"), store_.Modify("S", "A", "new"),
          store_.Create("S", "A", "new", {}), store_.Delete("S", "A")}) {
      EXPECT_EQ(status, SecretStatus::kUnavailable);
    }
    EXPECT_EQ(LogCount(reason), 5);
    EXPECT_EQ(LogCount("the secret of S"), 5);
  }

  SecretServiceStore store_;
};

// A connection of its own: the store must not depend on it.
class SecretServiceTest : public StoreFixture {
 protected:
  SecretServiceTest() {
    if (bus_ == nullptr) ADD_FAILURE() << error_;
  }

  GLibPtr<GVariant> Call(const char* path, const char* interface, const char* method,
                         GVariant* arguments) {
    GErrorSlot error;
    GLibPtr<GVariant> reply(
        g_dbus_connection_call_sync(bus_.get(), kService, path, interface, method, arguments,
                                    nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, error.out()));
    if (reply == nullptr) ADD_FAILURE() << method << ": " << error.text();
    return reply;
  }

  // All items, locked ones too, as gdbus would print their list.
  std::vector<std::string> Items(const std::string& service, const std::string& account) {
    const auto reply = Call(kRoot, "org.freedesktop.Secret.Service", "SearchItems",
                            g_variant_new_parsed("({'service': %s, 'account': %s},)",
                                                 service.c_str(), account.c_str()));
    std::vector<std::string> paths;
    for (gsize list = 0; reply != nullptr && list < 2; ++list) {
      const GLibPtr<GVariant> items(g_variant_get_child_value(reply.get(), list));
      for (gsize i = 0; i < g_variant_n_children(items.get()); ++i) {
        const GLibPtr<GVariant> path(g_variant_get_child_value(items.get(), i));
        paths.emplace_back(g_variant_get_string(path.get(), nullptr));
      }
    }
    return paths;
  }

  std::string Property(const std::string& item, const char* name) {
    const auto reply = Call(item.c_str(), "org.freedesktop.DBus.Properties", "Get",
                            g_variant_new("(ss)", "org.freedesktop.Secret.Item", name));
    if (reply == nullptr) return "";
    const GLibPtr<GVariant> boxed(g_variant_get_child_value(reply.get(), 0));
    const GLibPtr<GVariant> value(g_variant_get_variant(boxed.get()));
    const GLibPtr<char> text(g_variant_print(value.get(), FALSE));
    return text.get();
  }

  std::string error_;
  const GObjectPtr<GDBusConnection> bus_ = OpenSessionBus(&error_);
};

TEST_F(SecretServiceTest, KeepsOneItemForServiceAndAccount) {
  std::string secret = "untouched";
  EXPECT_EQ(store_.Read("S", "A", &secret), SecretStatus::kNotFound);
  EXPECT_EQ(store_.Modify("S", "A", "x"), SecretStatus::kNotFound);
  EXPECT_EQ(secret, "untouched");

  EXPECT_EQ(store_.Create("S", "A", "one", {}), SecretStatus::kOk);
  ASSERT_EQ(Items("S", "A").size(), 1u);
  const std::string item = Items("S", "A")[0];
  EXPECT_EQ(Property(item, "Label"), "'S'");
  // The daemon may add a schema of its own.
  EXPECT_TRUE(Property(item, "Attributes").starts_with("{'account': 'A', 'service': 'S'"));
  EXPECT_EQ(store_.Find("S", "A"), SecretStatus::kOk);
  EXPECT_EQ(store_.Find("S", "other"), SecretStatus::kNotFound);
  EXPECT_EQ(store_.Find("other", "A"), SecretStatus::kNotFound);

  EXPECT_EQ(store_.Modify("S", "A", "two"), SecretStatus::kOk);
  EXPECT_EQ(Items("S", "A"), std::vector<std::string>{item});
  EXPECT_EQ(store_.Read("S", "A", &secret), SecretStatus::kOk);
  EXPECT_EQ(secret, "two");

  EXPECT_EQ(store_.Delete("S", "A"), SecretStatus::kOk);
  EXPECT_EQ(store_.Delete("S", "A"), SecretStatus::kNotFound);
  EXPECT_EQ(store_.Find("S", "A"), SecretStatus::kNotFound);
  EXPECT_EQ(LogCount("the secret of"), 0);
  EXPECT_EQ(store_.Create("\xFF", "A", "x", {}), SecretStatus::kUnavailable) << "no text";
  EXPECT_EQ(store_.Find("S", std::string("A\0B", 3)), SecretStatus::kUnavailable);
}

TEST_F(SecretServiceTest, SecretsAreAnyBytes) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
  std::string read = "none";
  ASSERT_EQ(store_.Create("bytes", "A", "", {}), SecretStatus::kOk);
  ASSERT_EQ(store_.Read("bytes", "A", &read), SecretStatus::kOk);
  EXPECT_EQ(read, "");
  for (const std::string& secret : {everyByte, std::string(100'000, 'x'), std::string()}) {
    ASSERT_EQ(store_.Modify("bytes", "A", secret), SecretStatus::kOk);
    ASSERT_EQ(store_.Read("bytes", "A", &read), SecretStatus::kOk);
    EXPECT_EQ(read, secret);
  }
}

TEST_F(SecretServiceTest, FindsAndKeepsWhatOtherProgramsStored) {
  SecretSchema schema = {};
  schema.name = "org.example.Other";
  const char* const names[] = {"service", "account", "more"};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    schema.attributes[i] = {names[i], SECRET_SCHEMA_ATTRIBUTE_STRING};
  }
  ASSERT_TRUE(secret_password_store_sync(&schema, SECRET_COLLECTION_DEFAULT, "theirs", "one",
                                         nullptr, nullptr, "service", "O", "account", "A", "more",
                                         "m", nullptr));
  std::string secret;
  EXPECT_EQ(store_.Read("O", "A", &secret), SecretStatus::kOk);
  EXPECT_EQ(secret, "one");
  EXPECT_EQ(store_.Modify("O", "A", "two"), SecretStatus::kOk);
  ASSERT_EQ(Items("O", "A").size(), 1u);
  const std::string attributes = Property(Items("O", "A")[0], "Attributes");
  EXPECT_NE(attributes.find("'more': 'm'"), std::string::npos) << attributes;
  EXPECT_NE(attributes.find("org.example.Other"), std::string::npos) << attributes;
}

TEST_F(SecretServiceTest, WorkersNeedNoMainLoop) {
  ASSERT_EQ(store_.Create("worker", "A", "x", {}), SecretStatus::kOk);
  ASSERT_TRUE(g_main_context_acquire(nullptr));  // a main loop that is busy
  std::future<SecretStatus> readers[4];
  for (auto& reader : readers) {
    reader = std::async(std::launch::async, [this] {
      std::string secret;
      return store_.Read("worker", "A", &secret);
    });
  }
  for (auto& reader : readers) EXPECT_EQ(reader.get(), SecretStatus::kOk);
  g_main_context_release(nullptr);
}

TEST_F(SecretServiceTest, KeepsTheSecretsOfAnAccount) {
  SetSecretStore(&store_);
  kelvoAgentSettings account(Home("account"));
  account.setConfigLabel("Label");
  account.setUserName("user");
  ASSERT_EQ(store_.Create("Label", "user", "old password\nmore", {}), SecretStatus::kOk);
  EXPECT_TRUE(account.loadOnlyPassword());
  EXPECT_EQ(account.password(), "old password");
  account.setRcid("client");
  account.setAuthenticationKey("key");
  EXPECT_TRUE(account.store());
  EXPECT_EQ(store_.Find("Label", "user"), SecretStatus::kNotFound);

  kelvoAgentSettings later(Home("account"));
  EXPECT_TRUE(later.load());
  EXPECT_EQ(later.authenticationKey(), "key");
  EXPECT_FALSE(later.needSetup());
  ASSERT_EQ(store_.Create(later.webAccessLabel(), "client", "web", {}), SecretStatus::kOk);
  later.cleanupKeychain();
  EXPECT_TRUE(Items("Label", "client").empty());
  EXPECT_TRUE(Items(later.webAccessLabel(), "client").empty());
  EXPECT_EQ(LogCount("the secret of"), 0);
}

using LockedSecretServiceTest = SecretServiceTest;

TEST_F(LockedSecretServiceTest, IsUnavailableAndStaysLocked) {
  ASSERT_EQ(store_.Create("S", "A", "x", {}), SecretStatus::kOk);
  Call(kRoot, "org.freedesktop.Secret.Service", "Lock", g_variant_new_parsed("([%o],)", kDefault));
  ExpectUnavailable("locked");
  EXPECT_EQ(store_.Find("S", "never stored"), SecretStatus::kUnavailable);
  ASSERT_EQ(Items("S", "A").size(), 1u);
  EXPECT_EQ(Property(Items("S", "A")[0], "Locked"), "true");
}

using AbsentSecretServiceTest = StoreFixture;

TEST_F(AbsentSecretServiceTest, IsUnavailable) { ExpectUnavailable("there is no secret service"); }

using NoSessionBusTest = StoreFixture;

TEST_F(NoSessionBusTest, IsUnavailableAndStartsNone) {
  ExpectUnavailable("there is no session bus");
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "autolaunch:", 1);
  EXPECT_EQ(store_.Find("S", "A"), SecretStatus::kUnavailable);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + Home("no-such-bus")).c_str(), 1);
  EXPECT_EQ(store_.Find("S", "A"), SecretStatus::kUnavailable);
}

using MuteSessionBusTest = StoreFixture;

TEST_F(MuteSessionBusTest, SilenceEndsAfterTwoSeconds) {
  EXPECT_EQ(store_.Find("S", "A"), SecretStatus::kUnavailable);
  EXPECT_EQ(LogCount("did not answer in 2 seconds"), 1);
}

// Owns the service's name, answers the methods that it has replies for, and no others.
class BrokenSecretServiceTest : public SecretServiceTest {
 protected:
  BrokenSecretServiceTest() {
    filter_ = g_dbus_connection_add_filter(bus_.get(), OnMessage, this, nullptr);
    const GLibPtr<GVariant> reply(g_dbus_connection_call_sync(
        bus_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", kService, 4u), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
        nullptr, nullptr));
    EXPECT_TRUE(reply);
  }
  ~BrokenSecretServiceTest() override {
    g_dbus_connection_remove_filter(bus_.get(), filter_);
    g_dbus_connection_close_sync(bus_.get(), nullptr, nullptr);
  }

  // `reply`: the arguments in GVariant's text form.
  void Reply(const std::string& method, const std::string& reply) { replies_[method] = reply; }
  int Calls(const std::string& method) {
    std::lock_guard lock(mutex_);
    return calls_[method];
  }

 private:
  // On GDBus's own thread.
  static GDBusMessage* OnMessage(GDBusConnection* bus, GDBusMessage* message, gboolean incoming,
                                 gpointer self) {
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
      return message;
    }
    static_cast<BrokenSecretServiceTest*>(self)->Answer(bus, message);
    g_object_unref(message);
    return nullptr;
  }

  void Answer(GDBusConnection* bus, GDBusMessage* call) {
    const std::string method = g_dbus_message_get_member(call);
    std::lock_guard lock(mutex_);
    ++calls_[method];
    const auto found = replies_.find(method);
    if (found == replies_.end()) return;
    const GObjectPtr<GDBusMessage> reply(g_dbus_message_new_method_reply(call));
    g_dbus_message_set_body(reply.get(), g_variant_new_parsed(found->second.c_str()));
    g_dbus_connection_send_message(bus, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                   nullptr);
  }

  std::mutex mutex_;
  std::map<std::string, std::string> replies_;
  std::map<std::string, int> calls_;
  guint filter_ = 0;
};

TEST_F(BrokenSecretServiceTest, SilenceEndsAfterTwoSeconds) {
  // Silent from the first call on, and only when it is asked for the item.
  for (const char* answered : {"", "GetAll"}) {
    Reply(answered, "(@a{sv} {},)");
    std::string secret = "untouched";
    EXPECT_EQ(store_.Read("S", "A", &secret), SecretStatus::kUnavailable);
    EXPECT_EQ(secret, "untouched");
  }
  EXPECT_EQ(Calls("SearchItems"), 1);
  EXPECT_EQ(LogCount("did not answer in 2 seconds"), 2);
}

TEST_F(BrokenSecretServiceTest, PromptsAreDismissed) {
  Reply("GetAll", "({'Locked': <false>},)");
  Reply("SearchItems", "([objectpath '/org/freedesktop/secrets/collection/c/1'], @ao [])");
  Reply("ReadAlias", "(objectpath '/org/freedesktop/secrets/collection/c',)");
  Reply("OpenSession", "(<[byte 5]>, objectpath '/org/freedesktop/secrets/session/1')");
  Reply("CreateItem", "(objectpath '/', objectpath '/org/freedesktop/secrets/prompt/1')");
  Reply("Delete", "(objectpath '/org/freedesktop/secrets/prompt/2',)");
  EXPECT_EQ(store_.Delete("S", "A"), SecretStatus::kUnavailable);
  EXPECT_EQ(store_.Create("S", "A", "x", {}), SecretStatus::kUnavailable);
  EXPECT_EQ(Calls("Delete"), 1);
  EXPECT_EQ(Calls("CreateItem"), 1);
  EXPECT_EQ(Calls("Prompt"), 0);
  EXPECT_EQ(LogCount("it is locked"), 2);
}

}  // namespace
}  // namespace kelvo
