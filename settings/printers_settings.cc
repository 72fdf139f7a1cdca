#include "settings/printers_settings.h"

#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "base/file_system.h"
#include "base/logger.h"
#include "base/string_utils.h"
#include "settings/agent_observer.h"
#include "settings/configuration_path.h"
#include "settings/properties.h"
#include "settings/property_list_xml.h"
#include "settings/whole_file.h"

namespace kelvo {
namespace {

constexpr char kPrinterId[] = "printer_id";
constexpr char kPrinterName[] = "printer_name";
constexpr char kUserCheck[] = "user_check";
constexpr char kAgent[] = "1";
constexpr int kPrintersChanged = 128;
constexpr mode_t kUserOnly = 0600;

}  // namespace

std::string kelvo_PrintersSettings::defaultFilename() {
  return GetConfigurationPath("printer_info.plist");
}

void kelvo_PrintersSettings::LogError(const FileError& error) {
  KELVO_LOG(kLogError, "printer settings: " << EscapeControlCharacters(error.path) << ": "
                                            << std::generic_category().message(error.code));
}

kelvo_PrintersSettings::kelvo_PrintersSettings(Printing& printing, ErrorOutput printError)
    : printing_(printing), printError_(std::move(printError)) {
  createListOfPrinters(false);
}

void kelvo_PrintersSettings::createListOfPrinters(bool rebuild) {
  if (rebuild) printerInfoDictionaries_.reset();
  if (!printerInfoDictionaries_) printerInfoDictionaries_ = getArrayOfPrinters();
}

std::optional<PropertyList::Array> kelvo_PrintersSettings::getArrayOfPrinters() {
  const auto printers = printing_.Printers();
  if (!printers) return std::nullopt;
  const bool isListed = isTherePrintersPropertyList();
  if (isListed) readPropertyList();
  PropertyList::Array rows;
  for (const Printer& printer : *printers) {
    const bool check = isListed ? isChecked(printer.identifier) : printer.isDefault;
    rows.emplace_back(PropertyList::Dictionary{
        {kPrinterId, printer.identifier}, {kPrinterName, printer.name}, {kUserCheck, check}});
  }
  return rows;
}

std::size_t kelvo_PrintersSettings::count() const {
  return printerInfoDictionaries_ ? printerInfoDictionaries_->size() : 0;
}

bool kelvo_PrintersSettings::userCheckAtIndex(std::size_t index) const {
  return printerInfoDictionaries_ && GetBoolPropertyWithDefaultForRowInArray(
                                         *printerInfoDictionaries_, index, kUserCheck, false);
}

std::optional<std::string> kelvo_PrintersSettings::printersNameAtIndex(std::size_t index) const {
  if (!printerInfoDictionaries_) return std::nullopt;
  return GetStringPropertyForRowInArray(*printerInfoDictionaries_, index, kPrinterName);
}

void kelvo_PrintersSettings::setUserCheck(bool value, std::size_t index) {
  if (index >= count()) return;
  SetBoolProperty(*(*printerInfoDictionaries_)[index].AsDictionary(), kUserCheck, value);
}

std::string kelvo_PrintersSettings::printersStatusAtIndex(std::size_t index) {
  const auto identifier =
      index < count() ? GetStringPropertyForRowInArray(*printerInfoDictionaries_, index, kPrinterId)
                      : std::nullopt;
  switch (identifier ? printing_.State(*identifier).value_or(0) : 0) {
    case kPrinterIdle:
      return "ready";
    case kPrinterProcessing:
      return "processing";
    case kPrinterStopped:
      return "stopped";
    default:
      return "unknown";
  }
}

bool kelvo_PrintersSettings::store() {
  const auto data = getData();
  if (!data) {
    KELVO_LOG(kLogError, "Printers Settings getData failed with "
                             << (printerInfoDictionaries_ ? "a text that has no XML form"
                                                          : "no list of printers"));
    return false;
  }
  const std::string path = defaultFilename();
  if (!keepIfDamaged(path) || !storeData(*data, path, kUserOnly)) return false;
  NotifyAgentSettingsChanged(kAgent, kPrintersChanged);
  return true;
}

std::optional<std::string> kelvo_PrintersSettings::getData() const {
  if (!printerInfoDictionaries_) return std::nullopt;
  return WriteXmlPropertyList(PropertyList(*printerInfoDictionaries_));
}

bool kelvo_PrintersSettings::storeData(std::string_view data, const std::string& path,
                                       mode_t accessRights) {
  const int error = ReplaceWholeFile(path, data, accessRights);
  if (error == 0) return true;
  printError_({error, path});
  return false;
}

// What nobody could read gets a second name before another file takes its place; an earlier such
// file stays. False when it is lost otherwise, which is shown.
bool kelvo_PrintersSettings::keepIfDamaged(const std::string& path) {
  int error = 0;
  const auto old = ReadWholeFile(path, &error);
  if (!old && error != ENOENT && error != ENOTDIR) {
    printError_({error, path});
    return false;
  }
  if (!old || old->empty() || readFromData(*old)) return true;
  const std::string copy = path + ".damaged";
  if (::link(path.c_str(), copy.c_str()) == 0 || errno == EEXIST) return true;
  printError_({errno, copy});
  return false;
}

std::optional<std::string> kelvo_PrintersSettings::readDataFromFile(const std::string& path,
                                                                    bool reportNotFound) {
  int error = 0;
  auto data = ReadWholeFile(path, &error);
  if (!data && reportNotFound && error != ENOENT && error != ENOTDIR) printError_({error, path});
  return data;
}

std::optional<PropertyList::Array> kelvo_PrintersSettings::readFromData(std::string_view data) {
  std::string error = "another kind of value at its top level";
  auto value = ReadPropertyList(data, &error);
  PropertyList::Array* const rows = value ? value->AsArray() : nullptr;
  if (rows != nullptr) return std::move(*rows);
  // Deliberate: the name of other settings.
  KELVO_LOG(kLogError, "Shared Folders Settings load: failed with " << error);
  return std::nullopt;
}

bool kelvo_PrintersSettings::isTherePrintersPropertyList() {
  std::error_code error;
  const auto size = std::filesystem::file_size(defaultFilename(), error);
  return !error && size > 0;
}

bool kelvo_PrintersSettings::isThisPrinterCheckedInPropertyList(std::string_view printerID) {
  readPropertyList();
  return isChecked(printerID);
}

void kelvo_PrintersSettings::readPropertyList() {
  tempPrinterInfoDictionaries_.clear();
  const auto data = readDataFromFile(defaultFilename(), true);
  if (!data || data->empty()) return;
  if (auto rows = readFromData(*data)) tempPrinterInfoDictionaries_ = *std::move(rows);
}

bool kelvo_PrintersSettings::isChecked(std::string_view printerID) const {
  const auto& rows = tempPrinterInfoDictionaries_;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    if (GetStringPropertyForRowInArray(rows, row, kPrinterId) == printerID) {
      return GetBoolPropertyWithDefaultForRowInArray(rows, row, kUserCheck, false);
    }
  }
  return false;
}

}  // namespace kelvo
