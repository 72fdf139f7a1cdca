// The forms that paths and names have on the bus. Stateless: any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvo {

// Absolute, no zero byte, no trailing "/" other than that of "/" itself. Any other bytes may occur.
[[nodiscard]] bool IsBusPath(std::string_view path);

// Whether the name can be that of an item in a folder: not empty, ".", "..", and no "/" inside.
[[nodiscard]] bool IsItemName(std::string_view name);

// Splits names that are each ended by a zero byte; the parts point into `packed`. False when the
// last one is not ended.
[[nodiscard]] bool SplitNames(std::string_view packed, std::vector<std::string_view>* names);

// The path of a folder's item: "/" and "a" give "/a".
std::string ItemPath(std::string_view folder, std::string_view name);

}  // namespace kelvo
