#include "platform/linux/secret_service_store.h"

#include <libsecret/secret.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"
#include "platform/linux/glib_ptr.h"
#include "platform/linux/session_bus_address.h"
#include "platform/linux/silent_secret_service.h"

namespace kelvo {
namespace {

constexpr guint kLimitMilliseconds = 2000;

struct FreeItems {
  void operator()(GList* items) const { g_list_free_full(items, g_object_unref); }
};
struct UnrefTable {
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
struct UnrefValue {
  void operator()(SecretValue* value) const { secret_value_unref(value); }
};

// The main context in which one operation's calls are made and waited for. Nothing is left on the
// caller's context, which may be nobody's or a busy one's.
class CallContext {
 public:
  CallContext() : context_(g_main_context_new()), cancellable_(g_cancellable_new()) {
    g_main_context_push_thread_default(context_.get());
    limit_ = g_timeout_source_new(kLimitMilliseconds);
    g_source_set_callback(limit_, OnLimit, this, nullptr);
    g_source_attach(limit_, context_.get());
  }
  ~CallContext() {
    g_source_destroy(limit_);
    g_source_unref(limit_);
    // What the objects of the operation left to be freed.
    constexpr int kMost = 1000;
    for (int i = 0; i < kMost && g_main_context_iteration(context_.get(), FALSE); ++i) {
    }
    g_main_context_pop_thread_default(context_.get());
  }
  CallContext(const CallContext&) = delete;
  CallContext& operator=(const CallContext&) = delete;

  GCancellable* cancellable() const { return cancellable_.get(); }
  bool LimitReached() const { return limitReached_; }

  // The callback of an asynchronous call, with this object as its data.
  static void OnReady(GObject*, GAsyncResult* result, gpointer self) {
    static_cast<CallContext*>(self)->result_.reset(
        static_cast<GAsyncResult*>(g_object_ref(result)));
  }
  // Connects to the session bus, for the operation to go on with. Null at the limit, too: the first
  // exchange on a new connection cannot be cancelled, and is left behind then.
  GObjectPtr<GDBusConnection> Connect(GErrorSlot& error);
  // Waits for OnReady, which comes soon after the limit at the latest: it cancels the call.
  GObjectPtr<GAsyncResult> Wait() {
    while (result_ == nullptr) g_main_context_iteration(context_.get(), TRUE);
    return std::move(result_);
  }

 private:
  static gboolean OnLimit(gpointer self) {
    auto* const context = static_cast<CallContext*>(self);
    context->limitReached_ = true;
    g_cancellable_cancel(context->cancellable_.get());
    return G_SOURCE_REMOVE;
  }

  const GLibPtr<GMainContext> context_;
  GObjectPtr<GCancellable> cancellable_;
  GSource* limit_;
  bool limitReached_ = false;
  GObjectPtr<GAsyncResult> result_;
};

GObjectPtr<GDBusConnection> CallContext::Connect(GErrorSlot& error) {
  using Slot = std::shared_ptr<GObjectPtr<GAsyncResult>>;
  const Slot result = std::make_shared<GObjectPtr<GAsyncResult>>();
  g_bus_get(
      G_BUS_TYPE_SESSION, cancellable(),
      [](GObject*, GAsyncResult* ready, gpointer data) {
        const std::unique_ptr<Slot> slot(static_cast<Slot*>(data));
        (*slot)->reset(static_cast<GAsyncResult*>(g_object_ref(ready)));
      },
      new Slot(result));
  while (*result == nullptr && !limitReached_) g_main_context_iteration(context_.get(), TRUE);
  if (*result == nullptr) return nullptr;
  GObjectPtr<GDBusConnection> bus(g_bus_get_finish(result->get(), error.out()));
  // The bus's end is the front end's affair; GLib would end the process with a signal.
  if (bus) g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
  return bus;
}

// GLib reads the variable itself, and would start a bus, which takes long, where that says so.
bool HasSessionBus() {
  const std::string address = SessionBusAddress();
  const char* const given = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  return !address.empty() && (given == nullptr || *given == '\0' || given == address);
}

bool IsName(const std::string& text) {
  return IsValidUtf8(text) && text.find('\0') == std::string::npos;
}

bool IsServiceMissing(const GError* error) {
  for (const int code : {G_DBUS_ERROR_SERVICE_UNKNOWN, G_DBUS_ERROR_NAME_HAS_NO_OWNER,
                         G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND, G_DBUS_ERROR_SPAWN_EXEC_FAILED,
                         G_DBUS_ERROR_SPAWN_CHILD_EXITED, G_DBUS_ERROR_SPAWN_FAILED}) {
    if (g_error_matches(error, G_DBUS_ERROR, code)) return true;
  }
  return false;
}

// One operation on the items of a service and account.
class Operation {
 public:
  // `action` completes "cannot ... the secret".
  Operation(const char* action, const std::string& service, const std::string& account)
      : action_(action),
        serviceName_(service),
        accountName_(account),
        attributes_(g_hash_table_new(g_str_hash, g_str_equal)) {
    g_hash_table_insert(attributes_.get(), Key("service"), Key(serviceName_.c_str()));
    g_hash_table_insert(attributes_.get(), Key("account"), Key(accountName_.c_str()));
  }

  SecretStatus Open();
  // The first item that is not locked.
  SecretStatus FindItem(GObjectPtr<SecretItem>* item);
  SecretStatus LoadSecret(SecretItem* item, std::string* secret);
  SecretStatus SetSecret(SecretItem* item, const std::string& secret);
  SecretStatus CreateItem(const std::string& secret);
  SecretStatus DeleteItem(SecretItem* item);

 private:
  using ValuePtr = std::unique_ptr<SecretValue, UnrefValue>;

  static gpointer Key(const char* text) { return const_cast<char*>(text); }
  static ValuePtr MakeValue(const std::string& secret);
  SecretStatus DefaultCollection(GObjectPtr<SecretCollection>* collection);
  SecretStatus Unavailable(std::string_view reason) {
    return Failed(SecretStatus::kUnavailable, reason);
  }
  SecretStatus Failed(SecretStatus status, std::string_view reason);
  SecretStatus Failed(const GError* error);

  const char* const action_;
  const std::string& serviceName_;
  const std::string& accountName_;
  std::unique_ptr<GHashTable, UnrefTable> attributes_;
  CallContext call_;
  GObjectPtr<SecretService> service_;
};

SecretStatus Operation::Failed(SecretStatus status, std::string_view reason) {
  KELVO_LOG(kLogWarning, "cannot " << action_ << " the secret of "
                                   << EscapeControlCharacters(serviceName_) << ": "
                                   << EscapeControlCharacters(reason));
  return status;
}

SecretStatus Operation::Failed(const GError* error) {
  if (call_.LimitReached()) return Unavailable("the secret service did not answer in 2 seconds");
  if (error == nullptr) return Unavailable("the secret service gave no reason");
  if (IsServiceMissing(error)) return Unavailable("there is no secret service on the session bus");
  if (g_error_matches(error, SECRET_ERROR, SECRET_ERROR_NO_SUCH_OBJECT)) {
    return SecretStatus::kNotFound;
  }
  if (g_error_matches(error, SECRET_ERROR, SECRET_ERROR_IS_LOCKED)) {
    return Unavailable("it is locked");
  }
  const GLibPtr<GError> plain(g_error_copy(error));
  g_dbus_error_strip_remote_error(plain.get());
  const bool refused = g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED);
  return Failed(refused ? SecretStatus::kRefused : SecretStatus::kUnavailable, plain->message);
}

SecretStatus Operation::Open() {
  if (!HasSessionBus()) return Unavailable("there is no session bus");
  if (!IsName(serviceName_) || !IsName(accountName_)) return Unavailable("its name is not text");
  GErrorSlot error;
  const GObjectPtr<GDBusConnection> bus = call_.Connect(error);
  if (bus == nullptr) return Failed(error.get());
  secret_service_open(SilentSecretServiceType(), nullptr, SECRET_SERVICE_NONE, call_.cancellable(),
                      CallContext::OnReady, &call_);
  service_.reset(secret_service_open_finish(call_.Wait().get(), error.out()));
  return service_ == nullptr ? Failed(error.get()) : SecretStatus::kOk;
}

SecretStatus Operation::DefaultCollection(GObjectPtr<SecretCollection>* collection) {
  secret_collection_for_alias(service_.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE,
                              call_.cancellable(), CallContext::OnReady, &call_);
  GErrorSlot error;
  collection->reset(secret_collection_for_alias_finish(call_.Wait().get(), error.out()));
  if (error.get() != nullptr) return Failed(error.get());
  if (*collection == nullptr) return Unavailable("the secret service has no default keyring");
  if (secret_collection_get_locked(collection->get())) return Unavailable("the keyring is locked");
  return SecretStatus::kOk;
}

SecretStatus Operation::FindItem(GObjectPtr<SecretItem>* item) {
  // Without a schema its name is no condition of the search.
  secret_service_search(service_.get(), nullptr, attributes_.get(), SECRET_SEARCH_ALL,
                        call_.cancellable(), CallContext::OnReady, &call_);
  GErrorSlot error;
  const std::unique_ptr<GList, FreeItems> items(
      secret_service_search_finish(service_.get(), call_.Wait().get(), error.out()));
  if (error.get() != nullptr) return Failed(error.get());
  for (GList* entry = items.get(); entry != nullptr; entry = entry->next) {
    if (secret_item_get_locked(SECRET_ITEM(entry->data))) continue;
    item->reset(static_cast<SecretItem*>(g_object_ref(entry->data)));
    return SecretStatus::kOk;
  }
  if (items != nullptr) return Unavailable("it is locked");
  // Not every service lists what is in a locked keyring.
  GObjectPtr<SecretCollection> collection;
  const SecretStatus status = DefaultCollection(&collection);
  return status == SecretStatus::kOk ? SecretStatus::kNotFound : status;
}

SecretStatus Operation::LoadSecret(SecretItem* item, std::string* secret) {
  secret_item_load_secret(item, call_.cancellable(), CallContext::OnReady, &call_);
  GErrorSlot error;
  if (!secret_item_load_secret_finish(item, call_.Wait().get(), error.out()))
    return Failed(error.get());
  const ValuePtr value(secret_item_get_secret(item));
  if (value == nullptr) return Unavailable("the secret service gave none");
  gsize length = 0;
  const char* const bytes = secret_value_get(value.get(), &length);
  secret->assign(bytes, length);
  return SecretStatus::kOk;
}

Operation::ValuePtr Operation::MakeValue(const std::string& secret) {
  const char* const type = IsName(secret) ? "text/plain" : "application/octet-stream";
  return ValuePtr(secret_value_new(secret.data(), static_cast<gssize>(secret.size()), type));
}

SecretStatus Operation::SetSecret(SecretItem* item, const std::string& secret) {
  const ValuePtr value = MakeValue(secret);
  secret_item_set_secret(item, value.get(), call_.cancellable(), CallContext::OnReady, &call_);
  GErrorSlot error;
  // Its two names are those that it was found by; the attributes of others stay.
  return secret_item_set_secret_finish(item, call_.Wait().get(), error.out()) ? SecretStatus::kOk
                                                                              : Failed(error.get());
}

SecretStatus Operation::CreateItem(const std::string& secret) {
  GObjectPtr<SecretCollection> collection;
  const SecretStatus status = DefaultCollection(&collection);
  if (status != SecretStatus::kOk) return status;
  const ValuePtr value = MakeValue(secret);
  secret_item_create(collection.get(), nullptr, attributes_.get(), serviceName_.c_str(),
                     value.get(), SECRET_ITEM_CREATE_NONE, call_.cancellable(),
                     CallContext::OnReady, &call_);
  GErrorSlot error;
  const GObjectPtr<SecretItem> item(secret_item_create_finish(call_.Wait().get(), error.out()));
  return item == nullptr ? Failed(error.get()) : SecretStatus::kOk;
}

SecretStatus Operation::DeleteItem(SecretItem* item) {
  secret_item_delete(item, call_.cancellable(), CallContext::OnReady, &call_);
  GErrorSlot error;
  return secret_item_delete_finish(item, call_.Wait().get(), error.out()) ? SecretStatus::kOk
                                                                          : Failed(error.get());
}

// Opens the service, finds the item and lets `use` go on with it.
template <typename Use>
SecretStatus WithItem(Operation& operation, Use use) {
  SecretStatus status = operation.Open();
  GObjectPtr<SecretItem> item;
  if (status == SecretStatus::kOk) status = operation.FindItem(&item);
  return status == SecretStatus::kOk ? use(item.get()) : status;
}

}  // namespace

SecretStatus SecretServiceStore::Read(const std::string& service, const std::string& account,
                                      std::string* secret) {
  Operation operation("read", service, account);
  return WithItem(operation, [&](SecretItem* item) { return operation.LoadSecret(item, secret); });
}

SecretStatus SecretServiceStore::Find(const std::string& service, const std::string& account) {
  Operation operation("look for", service, account);
  return WithItem(operation, [](SecretItem*) { return SecretStatus::kOk; });
}

SecretStatus SecretServiceStore::Modify(const std::string& service, const std::string& account,
                                        const std::string& secret) {
  Operation operation("change", service, account);
  return WithItem(operation, [&](SecretItem* item) { return operation.SetSecret(item, secret); });
}

SecretStatus SecretServiceStore::Create(const std::string& service, const std::string& account,
                                        const std::string& secret, const SecretAccess&) {
  Operation operation("store", service, account);
  const SecretStatus status = operation.Open();
  return status == SecretStatus::kOk ? operation.CreateItem(secret) : status;
}

SecretStatus SecretServiceStore::Delete(const std::string& service, const std::string& account) {
  Operation operation("delete", service, account);
  return WithItem(operation, [&](SecretItem* item) { return operation.DeleteItem(item); });
}

}  // namespace kelvo
