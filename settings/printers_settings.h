#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/property_list.h"
#include "platform/printing.h"

namespace kelvo {

// Which of the computer's printers the user has selected: printer_info.plist in the configuration
// folder, one dictionary per printer.
//
// Threads: one at a time; reads and writes the file, and waits for the printing system.
class kelvo_PrintersSettings {
 public:
  // Something about a file that the user should see.
  struct FileError {
    int code = 0;  // errno
    std::string path;
  };
  using ErrorOutput = std::function<void(const FileError& error)>;

  static std::string defaultFilename();
  // At error level; what happens to errors unless another output is given.
  static void LogError(const FileError& error);

  // Makes the list. `printing` must outlive the object.
  explicit kelvo_PrintersSettings(Printing& printing, ErrorOutput printError = LogError);

  // Makes the list anew, or only where there is none. There is none after the printing system could
  // not be asked; that is tried again here.
  void createListOfPrinters(bool rebuild);
  // The printers that there are now, each selected as the file says; where there is no file or an
  // empty one, the default printer is. nullopt when the printing system could not be asked.
  std::optional<PropertyList::Array> getArrayOfPrinters();

  // Of the list; 0 without one.
  std::size_t count() const;
  // Of the printers that the file held when it was last read.
  std::size_t count2() const { return tempPrinterInfoDictionaries_.size(); }
  // False, and nullopt, beyond the list.
  bool userCheckAtIndex(std::size_t index) const;
  std::optional<std::string> printersNameAtIndex(std::size_t index) const;
  void setUserCheck(bool value, std::size_t index);
  // "ready", "processing", "stopped" or "unknown", asked of the printing system now.
  std::string printersStatusAtIndex(std::size_t index);

  // Writes the list and tells the Agent. Without a list nothing is written, so that no selection is
  // lost because the printing system is away. A file that does not parse is kept as the file
  // "printer_info.plist.damaged".
  bool store();
  // The list as an XML property list.
  std::optional<std::string> getData() const;
  // Puts a new file with these permissions in the path's place; what was there stays, whole, when
  // that fails, which is shown.
  bool storeData(std::string_view data, const std::string& path, mode_t accessRights);
  // The file's bytes; nullopt when they cannot be read. With `reportNotFound` that is shown,
  // deliberately except when the file or a folder above it is missing.
  std::optional<std::string> readDataFromFile(const std::string& path, bool reportNotFound);
  std::optional<PropertyList::Array> readFromData(std::string_view data);

  static bool isTherePrintersPropertyList();
  // Reads the file.
  bool isThisPrinterCheckedInPropertyList(std::string_view printerID);

 private:
  bool keepIfDamaged(const std::string& path);
  void readPropertyList();
  bool isChecked(std::string_view printerID) const;

  Printing& printing_;
  const ErrorOutput printError_;
  std::optional<PropertyList::Array> printerInfoDictionaries_;
  PropertyList::Array tempPrinterInfoDictionaries_;  // the file's
};

}  // namespace kelvo
