#include "platform/linux/helper_dialogs.h"

#include <cstddef>
#include <optional>
#include <utility>

#include "agent/keyed_archive.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "platform/linux/desktop_notification.h"
#include "platform/linux/dialog/dialog_messages.h"
#include "platform/linux/dialog_process.h"
#include "platform/linux/unix_agent_port.h"

namespace kelvo {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMaxMessageFromHelper = std::size_t{64} << 10;
constexpr std::size_t kMaxLoggedName = 40;
constexpr std::size_t kMaxLoggedReason = 300;
// A helper that reads nothing for so long is stuck.
constexpr std::chrono::seconds kSendLimit{30};
// Results that arrive together change the window once.
constexpr milliseconds kUpdateDelay{50};

}  // namespace

class HelperDialogs::Window final : public DialogWindow, private AgentPortDelegate {
 public:
  Window(HelperDialogs& dialogs, const DialogContents& contents, Closed closed)
      : dialogs_(dialogs), contents_(contents), closed_(std::move(closed)) {}
  ~Window() override { Kill(); }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  void start();
  void update(const DialogContents& contents) override;
  void makeKeyAndOrderFront() override;

 private:
  void handlePortMessage(AgentPort& port, std::string name, std::string archive) override;
  void handleInvalidPort(AgentPort& /*port*/) override { Lose("has ended"); }
  void handleSendFailure(AgentPort& /*port*/) override { Lose("does not read"); }
  void handleSendException(AgentPort& /*port*/, const std::string& description) override {
    Lose("cannot be written to: " + description);
  }

  // Runs the method once, later, unless the answer is reset before.
  template <void (Window::*kMethod)()>
  GSourcePtr After(milliseconds delay);
  void Send(const char* name, const PropertyList::Dictionary& dictionary);
  void OnImpatience() { Lose(shown_ ? "hangs" : "has shown no window in time"); }
  void OnUpdate();

  // Each of these may end with the end of the window itself.
  void Lose(const std::string& reason);
  void NotShown();
  void Finish(const std::optional<DialogAnswer>& answer);

  bool IsQuestion() const { return contents_.cancelButton.has_value(); }
  void Kill();

  HelperDialogs& dialogs_;
  DialogContents contents_;
  Closed closed_;  // empty once it is called
  bool shown_ = false;
  GObjectPtr<GSubprocess> process_;      // until it has answered
  std::unique_ptr<UnixAgentPort> port_;  // null when there is nobody to talk to
  GSourcePtr impatience_;                // until the window is there, or at the front
  GSourcePtr update_;                    // an update is owed
};

template <void (HelperDialogs::Window::*kMethod)()>
GSourcePtr HelperDialogs::Window::After(milliseconds delay) {
  GSourcePtr source(g_timeout_source_new(static_cast<guint>(delay.count())));
  g_source_set_callback(
      source.get(),
      [](gpointer self) -> gboolean {
        (static_cast<Window*>(self)->*kMethod)();
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
  g_source_attach(source.get(), dialogs_.context_.get());
  return source;
}

void HelperDialogs::Window::start() {
  const Options& options = dialogs_.options_;
  std::optional<DialogProcess> helper =
      StartDialogProcess(options.program, dialogs_.takeActivationToken());
  if (!helper) {
    impatience_ = After<&Window::NotShown>(milliseconds(0));
    return;
  }
  process_ = std::move(helper->process);
  port_ = std::make_unique<UnixAgentPort>(
      dialogs_.context_.get(), std::move(helper->channel), options.program,
      UnixAgentPort::Options{kSendLimit, kMaxMessageFromHelper, "the dialog helper"},
      static_cast<AgentPortDelegate&>(*this));
  impatience_ = After<&Window::OnImpatience>(options.patience);
  PropertyList::Dictionary message = dialog::ToDictionary(contents_);
  message[dialog::kInterfaceFile] = options.interfaceFile;
  Send(dialog::kShow, message);
}

void HelperDialogs::Window::Send(const char* name, const PropertyList::Dictionary& dictionary) {
  port_->Send(name, EncodeKeyedArchive(dictionary));
}

void HelperDialogs::Window::update(const DialogContents& contents) {
  contents_ = contents;
  if (port_ != nullptr && update_ == nullptr) update_ = After<&Window::OnUpdate>(kUpdateDelay);
}

// A helper that is still starting reads nothing; it is told when it has shown its window.
void HelperDialogs::Window::OnUpdate() {
  if (!shown_) return;
  update_.reset();
  Send(dialog::kUpdate, dialog::ToDictionary(contents_));
}

void HelperDialogs::Window::makeKeyAndOrderFront() {
  const std::string token = dialogs_.takeActivationToken();
  // What is still opening, or coming to the front already, needs no telling.
  if (port_ == nullptr || impatience_ != nullptr) return;
  impatience_ = After<&Window::OnImpatience>(dialogs_.options_.frontPatience);
  Send(dialog::kFront, {{dialog::kActivationToken, token}});
}

void HelperDialogs::Window::handlePortMessage(AgentPort& /*port*/, std::string name,
                                              std::string archive) {
  if (name == dialog::kShown && impatience_ != nullptr) {
    impatience_.reset();
    const bool wasShown = std::exchange(shown_, true);
    if (!wasShown && update_ != nullptr) update_ = After<&Window::OnUpdate>(milliseconds(0));
    return;
  }
  std::string error;
  const std::optional<PropertyList::Dictionary> values = DecodeKeyedArchive(archive, &error);
  if (!values) return Lose("sent what cannot be read: " + error);
  if (name == dialog::kClosed) {
    process_.reset();  // it ends by itself
    return Finish(dialog::AnswerOf(*values));
  }
  if (name == dialog::kFailed) {
    return Lose("failed: " +
                std::string(CutText(dialog::TextOf(*values, dialog::kReason), kMaxLoggedReason)));
  }
  Lose("sent an unexpected message: " + std::string(CutText(name, kMaxLoggedName)));
}

void HelperDialogs::Window::Lose(const std::string& reason) {
  KELVO_LOG(kLogWarning, "the dialog helper " << reason);
  if (shown_) return Finish(std::nullopt);
  NotShown();
}

void HelperDialogs::Window::NotShown() {
  const DialogAnswer answer = AnswerWithoutWindow(contents_);
  if (IsQuestion()) return Finish(answer);
  std::string body = contents_.fileName;
  if (!body.empty() && !contents_.additionalInformation.empty()) body += "\n";
  body += contents_.additionalInformation;
  const bool isWarning = contents_.image == kCautionImage;
  SendDesktopNotification(
      dialogs_.bus_, {contents_.windowTitle, isWarning ? "dialog-warning" : "dialog-information",
                      contents_.informationText, body});
  Finish(answer);
}

void HelperDialogs::Window::Finish(const std::optional<DialogAnswer>& answer) {
  Kill();
  port_.reset();
  impatience_.reset();
  update_.reset();
  const Closed closed = std::exchange(closed_, nullptr);
  closed(answer);
}

// Nothing gentler ends a helper that hangs with its window open.
void HelperDialogs::Window::Kill() {
  if (process_ == nullptr) return;
  g_subprocess_force_exit(process_.get());
  process_.reset();
}

HelperDialogs::HelperDialogs(GMainContext* context, GDBusConnection* bus, Options options)
    : context_(g_main_context_ref(context)), bus_(bus), options_(std::move(options)) {}

HelperDialogs::~HelperDialogs() = default;

std::unique_ptr<DialogWindow> HelperDialogs::open(const DialogContents& contents, Closed closed) {
  auto window = std::make_unique<Window>(*this, contents, std::move(closed));
  window->start();
  return window;
}

void HelperDialogs::setActivationToken(const std::string& token) {
  CMutexLock lock(mutex_);
  activationToken_ = token;
}

std::string HelperDialogs::takeActivationToken() {
  CMutexLock lock(mutex_);
  return std::exchange(activationToken_, {});
}

}  // namespace kelvo
