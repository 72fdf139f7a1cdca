#pragma once

#include <string>

namespace kelvo::test {

// What the general pasteboard holds; empty for none.
std::string TextOnPasteboard();

}  // namespace kelvo::test
