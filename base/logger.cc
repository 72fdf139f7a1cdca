#include "base/logger.h"

#include <pthread.h>

#include <locale>
#include <string>

#include "base/agent_id.h"

namespace kelvo {

constinit std::atomic<CLogger*> CLogger::m_Instance{nullptr};

CLogger::CLogger() : flags_(stream_.flags()) { stream_.imbue(std::locale::classic()); }

std::ostream& CurrentThread(std::ostream& stream) {
  // The type of a thread's identifier is a number here, a pointer there.
  const auto thread = reinterpret_cast<std::uintptr_t>(pthread_self());
  return stream << '[' << std::to_string(thread) << '|' << AgentID() << "] ";
}

}  // namespace kelvo
