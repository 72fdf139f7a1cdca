// Stands in for the Apple System Log: what it is told goes to the lines that a test reads.
#include "platform/macos/off_mac/gnustep/asl.h"

#include <stdarg.h>
#include <stdio.h>

#include <map>
#include <mutex>
#include <utility>

#include "tests/macos/stand_ins/services.h"

struct __asl_object_s {
  std::string identity;
  std::map<std::string, std::string> attributes;
};

namespace {

std::mutex mutex;
std::vector<std::string>* const lines = new std::vector<std::string>;

}  // namespace

asl_object_t asl_open(const char* ident, const char*, uint32_t) {
  return new __asl_object_s{ident, {}};
}
void asl_close(asl_object_t client) { delete client; }
asl_object_t asl_new(uint32_t) { return new __asl_object_s; }
void asl_free(asl_object_t message) { delete message; }
int asl_set(asl_object_t message, const char* key, const char* value) {
  message->attributes[key] = value;
  return 0;
}
int asl_set_filter(asl_object_t, int) { return 0; }

int asl_log(asl_object_t client, asl_object_t message, int level, const char* format, ...) {
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  std::lock_guard lock(mutex);
  lines->push_back(client->identity + "|" + message->attributes[ASL_KEY_SENDER] + "|" +
                   std::to_string(level) + "|" + text);
  return 0;
}

namespace kelvo::test {

std::vector<std::string> LoggedLines() {
  std::lock_guard lock(mutex);
  return *lines;
}

}  // namespace kelvo::test
