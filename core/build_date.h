#pragma once

namespace kelvo {

// When the program was compiled: "Nov 22 2026" and "21:46:00". In a file of their own, since they
// make every build of it differ.
extern const char kBuildDate[];
extern const char kBuildTime[];

}  // namespace kelvo
