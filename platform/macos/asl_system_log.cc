#include "platform/macos/asl_system_log.h"

#include "deployment.h"

// Its successor has no message attributes, which the sender is told by.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace kelvo {

AslSystemLog::AslSystemLog() : message_(asl_new(ASL_TYPE_MSG)) {
  asl_set(message_, ASL_KEY_SENDER, deployment::kLogSender);
}

AslSystemLog::~AslSystemLog() {
  if (client_ != nullptr) asl_close(client_);
  asl_free(message_);
}

void AslSystemLog::Write(const std::string& identity, int level, const std::string& text) {
  CMutexLock lock(mutex_);
  if (client_ == nullptr || identity != identity_) {
    if (client_ != nullptr) asl_close(client_);
    identity_ = identity;
    client_ =
        asl_open(identity.c_str(), "client", ASL_OPT_STDERR | ASL_OPT_NO_DELAY | ASL_OPT_NO_REMOTE);
    asl_set_filter(client_, ASL_FILTER_MASK_UPTO(ASL_LEVEL_DEBUG));
  }
  asl_log(client_, message_, level, "%s", text.c_str());
}

}  // namespace kelvo
