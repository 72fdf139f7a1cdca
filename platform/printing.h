#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kelvo {

// A printer as the printing system knows it. Both texts are valid UTF-8 without control characters.
struct Printer {
  std::string identifier;  // unique and lasting
  std::string name;        // for people
  bool isDefault = false;
  bool operator==(const Printer&) const = default;
};

// States of a printer, as the Internet Printing Protocol numbers them; others may come.
inline constexpr int kPrinterIdle = 3;
inline constexpr int kPrinterProcessing = 4;
inline constexpr int kPrinterStopped = 5;

// What the printing system of this computer says about its printers. Nothing is changed or printed.
//
// Threads: any. Each call blocks for some seconds at most when the printing system does not answer;
// why it failed is logged by the implementation.
class Printing {
 public:
  virtual ~Printing() = default;
  // In the printing system's order. nullopt when it could not be asked, which is not the same as
  // having no printers.
  virtual std::optional<std::vector<Printer>> Printers() = 0;
  // The present state; nullopt when there is no such printer or it could not be asked.
  virtual std::optional<int> State(const std::string& identifier) = 0;
};

}  // namespace kelvo
