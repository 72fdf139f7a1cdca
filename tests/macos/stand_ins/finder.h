// Finder as the extension's process sees it: what it was told, and what it asks.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kelvo::test {

struct ToldBadge {
  std::string identifier;
  std::string label;
  double imageWidth;  // 0 for a picture that could not be loaded
};

struct ShownLine {
  std::string title;
  std::string action;  // selector; "" for none
  bool enabled;
  bool hasImage;
  long tag;
  bool separator;
};

// Threads: any, but for what says otherwise.
class Finder {
 public:
  // Instantiates the principal class by its name, as the platform does. Main thread; once.
  static bool StartExtension();
  // Releases it. Main thread.
  static void EndExtension();

  static std::vector<std::vector<std::string>> WatchedFolders();  // every call, sorted
  static std::vector<ToldBadge> Registrations();
  // As last told; "(none)" for a path that was never told of.
  static std::string Badge(const std::string& path);
  // Kinds of call in order, equal ones in a row once.
  static std::vector<std::string> Calls();

  static void BeginObserving(const std::string& path);
  static void EndObserving(const std::string& path);
  static void RequestBadge(const std::string& path);
  // The menu for a selection, which can be asked for only meanwhile; an empty path is an item
  // without one. Nothing where the extension has no menu.
  static std::vector<ShownLine> Menu(const std::vector<std::string>& selection);
  // Whether the extension has the operation of a line.
  static bool Answers(const ShownLine& line);
  // Hands a copy of the line back to the extension, as a choice. False without such an operation.
  static bool Choose(const ShownLine& line);

  // Turns the main loop until `isOver`, at most 30 s. Main thread.
  static bool TurnUntil(const std::function<bool()>& isOver);
};

}  // namespace kelvo::test
