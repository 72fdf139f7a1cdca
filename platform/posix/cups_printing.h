#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/printing.h"

namespace kelvo {

// The printers of a CUPS server: its queues and classes, by name. The default printer is the
// server's. Printers elsewhere on the network are not looked for, and nobody is asked for a
// password.
//
// Each wait for the server ends after 2 seconds. To look up a server's host name may take longer.
class CupsPrinting : public Printing {
 public:
  // `server`: a host name or the path of a socket; empty for the one that the user's and the
  // computer's CUPS configuration names, usually that of this computer.
  explicit CupsPrinting(std::string server = "");

  std::optional<std::vector<Printer>> Printers() override;
  std::optional<int> State(const std::string& identifier) override;

 private:
  const std::string server_;
};

}  // namespace kelvo
