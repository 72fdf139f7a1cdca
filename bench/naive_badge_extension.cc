// The badge extension that asks for each file: one line with a path in, one line with its badge
// out, over the Unix socket that is standard input. It answers from a hash table at once, which it
// is given first: the number of files, then a line "BADGE PATH" each.
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <string>
#include <unordered_map>

namespace {

class Lines {
 public:
  // False at the end of the stream.
  bool Next(std::string* line) {
    std::size_t end;
    while ((end = buffer_.find('\n', start_)) == std::string::npos) {
      buffer_.erase(0, start_);
      start_ = 0;
      char bytes[4096];
      const ssize_t count = ::recv(STDIN_FILENO, bytes, sizeof bytes, 0);
      if (count <= 0) return false;
      buffer_.append(bytes, static_cast<std::size_t>(count));
    }
    line->assign(buffer_, start_, end - start_);
    start_ = end + 1;
    return true;
  }

 private:
  std::string buffer_;
  std::size_t start_ = 0;
};

}  // namespace

int main() {
  Lines lines;
  std::string line;
  std::unordered_map<std::string, char> badges;
  if (!lines.Next(&line)) return 1;
  for (std::size_t count = std::stoul(line); count > 0; --count) {
    if (!lines.Next(&line)) return 1;
    badges[line.substr(2)] = line.front();
  }
  while (lines.Next(&line)) {
    const auto found = badges.find(line);
    const char answer[2] = {found == badges.end() ? '0' : found->second, '\n'};
    if (::send(STDIN_FILENO, answer, sizeof answer, MSG_NOSIGNAL) < 0) return 1;
  }
  return 0;
}
