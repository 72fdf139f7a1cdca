#pragma once

#include <stdio.h>

#include <string>

#include "base/string_utils.h"

namespace kelvo::dialog {

inline constexpr char kProgram[] = "kelvo-finder-dialog";

// One line on standard error.
inline void Complain(const std::string& text) {
  fprintf(stderr, "%s: %s\n", kProgram, EscapeControlCharacters(text).c_str());
}

}  // namespace kelvo::dialog
