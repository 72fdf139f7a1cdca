#include "settings/filename_filter.h"

#include <fnmatch.h>
#include <locale.h>

#include <algorithm>

#include "base/logger.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

constexpr std::string_view kWildcards = "*\\?";

char ToLowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool EqualIgnoringAsciiCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return ToLowerAscii(x) == ToLowerAscii(y); });
}

bool HasZeroByte(std::string_view text) { return text.find('\0') != std::string_view::npos; }

// Whether the plain end of the pattern already rules the name out, as it does for nearly all names,
// and at a fraction of fnmatch's cost.
bool EndsOtherwise(std::string_view pattern, std::string_view name) {
  const std::string_view end = pattern.substr(pattern.find_last_of("*?[]\\") + 1);
  return name.size() < end.size() ||
         !EqualIgnoringAsciiCase(name.substr(name.size() - end.size()), end);
}

// In it text is bytes. Names need not be UTF-8, and glibc's fnmatch for UTF-8 reads past the end of
// some patterns with brackets.
locale_t ByteLocale() {
  static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

// The calling thread's locale, for as long as it lives.
class ThreadLocale {
 public:
  explicit ThreadLocale(locale_t locale) : former_(::uselocale(locale)) {}
  ~ThreadLocale() { ::uselocale(former_); }
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;

 private:
  const locale_t former_;
};

}  // namespace

bool FilterFunctionAll(const std::string&, std::string_view) { return true; }

bool FilterFunctionSuffix(const std::string& pattern, std::string_view name) {
  return name.size() >= pattern.size() &&
         EqualIgnoringAsciiCase(name.substr(name.size() - pattern.size()), pattern);
}

bool FilterFunctionPrefix(const std::string& pattern, std::string_view name) {
  return name.size() >= pattern.size() &&
         EqualIgnoringAsciiCase(name.substr(0, pattern.size()), pattern);
}

bool FilterFunctionFnmatch(const std::string& pattern, std::string_view name) {
  if (pattern.size() > kMaxWildcardBytes || HasZeroByte(pattern) || HasZeroByte(name)) return false;
  if (EndsOtherwise(pattern, name)) return false;
  const ThreadLocale locale(ByteLocale());
  return ::fnmatch(pattern.c_str(), std::string(name).c_str(), FNM_CASEFOLD) == 0;
}

kelvo_FilenameFilter::kelvo_FilenameFilter(std::string_view pattern, std::uint32_t filterType)
    : filterType_(filterType) {
  const std::size_t first = pattern.find_first_of(kWildcards);
  if (pattern.empty() || pattern == "*") {
    filterFunction_ = FilterFunctionAll;
  } else if (pattern.front() == '*' && pattern.find_first_of(kWildcards, 1) == pattern.npos) {
    // Deliberate: "[" is no wildcard here, nor before a final star.
    filterFunction_ = FilterFunctionSuffix;
    pattern.remove_prefix(1);
  } else if (pattern.back() == '*' && first == pattern.size() - 1) {
    filterFunction_ = FilterFunctionPrefix;
    pattern.remove_suffix(1);
  } else {
    filterFunction_ = FilterFunctionFnmatch;
    if (pattern.size() > kMaxWildcardBytes || HasZeroByte(pattern)) {
      KELVO_LOG(
          kLogWarning,
          "a file-name pattern matches nothing: "
              << (HasZeroByte(pattern) ? "it holds a zero byte" : "it is longer than 1024 bytes")
              << ", and begins with " << EscapeControlCharacters(pattern.substr(0, 40)));
    }
  }
  pattern_ = pattern;
}

}  // namespace kelvo
