#include "platform/posix/cups_printing.h"

#include <cups/cups.h>
#include <cups/http.h>
#include <cups/ipp.h>
#include <sys/socket.h>

#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

#include "base/logger.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

constexpr int kLimitMilliseconds = 2000;
constexpr double kLimitSeconds = kLimitMilliseconds / 1000.0;

struct CloseHttp {
  void operator()(http_t* http) const { httpClose(http); }
};
using HttpPtr = std::unique_ptr<http_t, CloseHttp>;
struct DeleteIpp {
  void operator()(ipp_t* ipp) const { ippDelete(ipp); }
};
using IppPtr = std::unique_ptr<ipp_t, DeleteIpp>;

const char* NoPassword(const char*, http_t*, const char*, const char*, void*) { return nullptr; }
int GiveUp(http_t*, void*) { return 0; }

void LogFailure(std::string_view reason) {
  KELVO_LOG(kLogWarning,
            "the printing system cannot be asked: " << EscapeControlCharacters(reason));
}

HttpPtr Connect(const std::string& server) {
  // The library's own way is to ask on the terminal. In force for the calling thread.
  cupsSetPasswordCB2(NoPassword, nullptr);
  HttpPtr http(httpConnect2(server.empty() ? cupsServer() : server.c_str(), ippPort(), nullptr,
                            AF_UNSPEC, cupsEncryption(), 1, kLimitMilliseconds, nullptr));
  if (http == nullptr) {
    LogFailure(cupsLastErrorString());
  } else {
    httpSetTimeout(http.get(), kLimitSeconds, GiveUp, nullptr);
  }
  return http;
}

IppPtr NewRequest(ipp_op_t operation) { return IppPtr(ippNewRequest(operation)); }

template <std::size_t N>
void AskFor(ipp_t* request, const char* const (&attributes)[N]) {
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", N, nullptr,
                attributes);
}

// Null, and logged, when there is no answer or it is an error. An answer that there is no such
// thing comes without attributes.
IppPtr Ask(const std::string& server, IppPtr request) {
  const HttpPtr http = Connect(server);
  if (http == nullptr) return nullptr;
  IppPtr response(cupsDoRequest(http.get(), request.release(), "/"));
  if (response == nullptr) {
    LogFailure(cupsLastErrorString());
    return nullptr;
  }
  const ipp_status_t status = ippGetStatusCode(response.get());
  if (status > IPP_STATUS_OK_EVENTS_COMPLETE && status != IPP_STATUS_ERROR_NOT_FOUND) {
    LogFailure(ippErrorString(status));
    return nullptr;
  }
  return response;
}

std::string Text(ipp_attribute_t* attribute) {
  const char* const text = ippGetString(attribute, 0, nullptr);
  return text == nullptr ? "" : EscapeControlCharacters(ToValidUtf8(text));
}

void SetFact(ipp_attribute_t* attribute, Printer* printer) {
  const char* const given = ippGetName(attribute);
  const std::string_view name = given == nullptr ? "" : given;
  if (name == "printer-name") printer->identifier = Text(attribute);
  if (name == "printer-info") printer->name = Text(attribute);
  if (name == "printer-type") {
    printer->isDefault = (ippGetInteger(attribute, 0) & CUPS_PRINTER_DEFAULT) != 0;
  }
}

// Each printer is a group of attributes; whatever is no printer's stands between the groups.
std::vector<Printer> ReadPrinters(ipp_t* response) {
  std::vector<Printer> printers;
  bool isInside = false;
  for (ipp_attribute_t* attribute = ippFirstAttribute(response); attribute != nullptr;
       attribute = ippNextAttribute(response)) {
    const bool wasInside = std::exchange(isInside, ippGetGroupTag(attribute) == IPP_TAG_PRINTER);
    if (!isInside) continue;
    if (!wasInside) printers.emplace_back();
    SetFact(attribute, &printers.back());
  }
  std::erase_if(printers, [](const Printer& printer) { return printer.identifier.empty(); });
  for (Printer& printer : printers) {
    if (printer.name.empty()) printer.name = printer.identifier;
  }
  return printers;
}

}  // namespace

CupsPrinting::CupsPrinting(std::string server) : server_(std::move(server)) {}

std::optional<std::vector<Printer>> CupsPrinting::Printers() {
  constexpr const char* kAttributes[] = {"printer-name", "printer-info", "printer-type"};
  IppPtr request = NewRequest(IPP_OP_CUPS_GET_PRINTERS);
  AskFor(request.get(), kAttributes);
  const IppPtr response = Ask(server_, std::move(request));
  if (response == nullptr) return std::nullopt;
  return ReadPrinters(response.get());
}

std::optional<int> CupsPrinting::State(const std::string& identifier) {
  constexpr const char* kState = "printer-state";
  char uri[HTTP_MAX_URI];
  // The host plays no part: it is the server that was connected to.
  if (httpAssembleURIf(HTTP_URI_CODING_ALL, uri, std::size(uri), "ipp", nullptr, "localhost", 0,
                       "/printers/%s", identifier.c_str()) != HTTP_URI_STATUS_OK) {
    return std::nullopt;
  }
  IppPtr request = NewRequest(IPP_OP_GET_PRINTER_ATTRIBUTES);
  ippAddString(request.get(), IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri);
  AskFor(request.get(), {kState});
  const IppPtr response = Ask(server_, std::move(request));
  ipp_attribute_t* const state =
      response == nullptr ? nullptr : ippFindAttribute(response.get(), kState, IPP_TAG_ENUM);
  if (state == nullptr) return std::nullopt;
  return ippGetInteger(state, 0);
}

}  // namespace kelvo
