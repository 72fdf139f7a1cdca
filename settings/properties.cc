#include "settings/properties.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/logger.h"
#include "base/open_exclusive.h"
#include "base/string_utils.h"
#include "base/unique_fd.h"
#include "settings/file_space.h"
#include "settings/property_list_limits.h"
#include "settings/property_list_xml.h"
#include "settings/whole_file.h"

namespace kelvo {
namespace {

constexpr std::string_view kSomeFile = "the open file";

std::string Reason(int error) { return std::generic_category().message(error); }

void LogNotOpened(const std::string& path, int error) {
  KELVO_LOG(kLogError, "cannot open " << EscapeControlCharacters(path) << ": " << Reason(error));
}

UniqueFd OpenForUse(const std::string& path) {
  UniqueFd fd(OpenExclusive(path));
  if (!fd) LogNotOpened(path, errno);
  return fd;
}

// Settings count also where the home takes no writes. That may be so for this process alone, hence
// the lock; without it, where it cannot be had.
UniqueFd OpenForReading(const std::string& path) {
  UniqueFd fd(OpenExclusive(path));
  if (!fd && errno == EROFS) {
    fd.Reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    while (fd && ::flock(fd.get(), LOCK_SH) != 0 && errno == EINTR) continue;
  }
  if (!fd) LogNotOpened(path, errno);
  return fd;
}

// From the position to the end; nullopt when it cannot all be read. Logged under `name`.
std::optional<std::string> ReadAll(int fd, std::string_view name) {
  std::string bytes;
  char chunk[1024];
  while (true) {
    const ssize_t size = ::read(fd, chunk, sizeof chunk);
    if (size < 0 && errno == EINTR) continue;
    if (size == 0) return bytes;
    const int error = size < 0 ? errno : EFBIG;
    if (size < 0 || bytes.size() > kMaxPropertyListBytes) {
      KELVO_LOG(kLogError,
                "cannot read " << EscapeControlCharacters(name) << ": " << Reason(error));
      return std::nullopt;
    }
    bytes.append(chunk, static_cast<std::size_t>(size));
  }
}

std::optional<PropertyList> Parse(const std::string& bytes, std::string_view name) {
  if (bytes.empty()) {
    KELVO_LOG(kLogDebug, EscapeControlCharacters(name) << " is empty");
    return std::nullopt;
  }
  std::string error;
  auto value = ReadPropertyList(bytes, &error);
  if (!value) {
    KELVO_LOG(kLogError, EscapeControlCharacters(name) << " is not a property list: " << error);
  }
  return value;
}

// The value when its top level is a T. nullopt is logged, except for no value at all.
template <typename T>
std::optional<T> TopLevel(std::optional<PropertyList> value, T* (PropertyList::*as)(),
                          std::string_view name) {
  if (!value) return std::nullopt;
  T* top = ((*value).*as)();
  if (top == nullptr) {
    KELVO_LOG(kLogError, EscapeControlCharacters(name)
                             << " holds another kind of value at its top level");
    return std::nullopt;
  }
  return std::move(*top);
}

template <typename T>
std::optional<T> Load(const std::string& path, T* (PropertyList::*as)()) {
  const UniqueFd fd = OpenForReading(path);
  if (!fd) return std::nullopt;
  const auto bytes = ReadAll(fd.get(), path);
  if (!bytes) return std::nullopt;
  return TopLevel<T>(Parse(*bytes, path), as, path);
}

// One write, repeated only when a signal came before its first byte.
ssize_t WriteOnce(int fd, std::string_view bytes) {
  ssize_t written;
  do {
    written = ::write(fd, bytes.data(), bytes.size());
  } while (written < 0 && errno == EINTR);
  return written;
}

// What the file holds now; nullopt when it cannot be read.
std::optional<std::string> OldBytes(int fd) {
  if (::lseek(fd, 0, SEEK_SET) != 0) return std::nullopt;
  return ReadAll(fd, kSomeFile);
}

bool PutBack(int fd, const std::optional<std::string>& old) {
  return old && ::lseek(fd, 0, SEEK_SET) == 0 && WriteAll(fd, *old) &&
         ::ftruncate(fd, static_cast<off_t>(old->size())) == 0;
}

// `old` is what the file holds, nullopt when that is not known.
bool WriteOver(int fd, std::string_view text, const std::optional<std::string>& old,
               std::string_view name) {
  if (!ReserveFileSpace(fd, text.size()) || ::lseek(fd, 0, SEEK_SET) != 0) {
    const int error = errno;
    KELVO_LOG(kLogError, "cannot write " << EscapeControlCharacters(name) << ": " << Reason(error));
    return false;
  }
  const ssize_t written = WriteOnce(fd, text);
  if (written != static_cast<ssize_t>(text.size())) {
    const int error = written < 0 ? errno : ENOSPC;
    // Half of the new bytes over the old ones is neither.
    const bool restored = written <= 0 || PutBack(fd, old);
    KELVO_LOG(kLogError, "cannot write " << EscapeControlCharacters(name) << ": " << Reason(error)
                                         << (restored ? "" : "; what it held is lost"));
    return false;
  }
  if (::ftruncate(fd, ::lseek(fd, 0, SEEK_CUR)) != 0) {
    const int error = errno;
    KELVO_LOG(kLogWarning, "a tail of the old bytes stays in " << EscapeControlCharacters(name)
                                                               << ": " << Reason(error));
  }
  return true;
}

bool Write(int fd, const PropertyList& properties, const std::optional<std::string>& old,
           std::string_view name) {
  const auto text = WriteXmlPropertyList(properties);
  if (!text) {
    KELVO_LOG(kLogError,
              "a value has no XML form; " << EscapeControlCharacters(name) << " stays as it is");
    return false;
  }
  return WriteOver(fd, *text, old, name);
}

// Keeps bytes that are about to be written over although nobody could read them. An earlier copy
// stays. False when there is no copy.
bool CopyAside(const std::string& path, std::string_view bytes) {
  const std::string copy = path + ".damaged";
  struct stat status;
  if (::lstat(copy.c_str(), &status) == 0) return true;
  // It gets its name when it is whole: one cut short would count as an earlier copy for ever.
  const std::string unfinished = copy + ".new";
  ::unlink(unfinished.c_str());  // of a process that was killed
  const UniqueFd fd(::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (fd && WriteAll(fd.get(), bytes) && ::rename(unfinished.c_str(), copy.c_str()) == 0) {
    KELVO_LOG(kLogWarning, "what could not be read is kept in " << EscapeControlCharacters(copy));
    return true;
  }
  const int error = errno;
  if (fd) ::unlink(unfinished.c_str());
  KELVO_LOG(kLogError,
            "cannot keep a copy in " << EscapeControlCharacters(copy) << ": " << Reason(error));
  return false;
}

bool Store(const std::string& path, const PropertyList& properties) {
  const UniqueFd fd = OpenForUse(path);
  if (!fd) return false;
  const auto old = ReadAll(fd.get(), path);
  if (old && (old->empty() || Parse(*old, path) || CopyAside(path, *old))) {
    (void)Write(fd.get(), properties, old, path);
  }
  return true;
}

}  // namespace

std::optional<PropertyList::Dictionary> LoadPropertiesFromFile(const std::string& path) {
  return Load<PropertyList::Dictionary>(path, &PropertyList::AsDictionary);
}

std::optional<PropertyList::Array> LoadPropertiesFromFileToArrayOfDictionaries(
    const std::string& path) {
  return Load<PropertyList::Array>(path, &PropertyList::AsArray);
}

std::optional<PropertyList> ReadPropertiesFile(int fd) {
  const auto bytes = ReadAll(fd, kSomeFile);
  return bytes ? Parse(*bytes, kSomeFile) : std::nullopt;
}

PropertyList::Dictionary CreateEmptyProperties() { return {}; }

bool StorePropertiesToFile(const std::string& path, const PropertyList::Dictionary& properties) {
  return Store(path, PropertyList(properties));
}

bool StorePropertiesToFileA(const std::string& path, const PropertyList::Array& properties) {
  return Store(path, PropertyList(properties));
}

bool WritePropertiesFile(int fd, const PropertyList& properties) {
  return Write(fd, properties, OldBytes(fd), kSomeFile);
}

bool ChangePropertiesInFile(const std::string& path, const PropertyList::Dictionary& changes) {
  const UniqueFd fd = OpenForUse(path);
  if (!fd) return false;
  const auto bytes = ReadAll(fd.get(), path);
  if (!bytes) return false;
  auto properties =
      TopLevel<PropertyList::Dictionary>(Parse(*bytes, path), &PropertyList::AsDictionary, path);
  if (!properties && !bytes->empty() && !CopyAside(path, *bytes)) return false;
  PropertyList::Dictionary merged = properties ? *std::move(properties) : CreateEmptyProperties();
  for (const auto& [key, value] : changes) AddValueToDictionary(key, value, merged);
  return Write(fd.get(), PropertyList(std::move(merged)), bytes, path);
}

void AddValueToDictionary(const std::string& key, const PropertyList& value,
                          PropertyList::Dictionary& dictionary) {
  dictionary.insert_or_assign(key, value);
}

}  // namespace kelvo
