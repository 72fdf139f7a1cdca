#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kelvo {

class Bundle;

// The languages that the user has chosen, most wanted first, named as PreferredLanguages names
// them: "pt_BR", "zh_Hans_CN".
std::vector<std::string> ChosenLanguages();

// The resources of the bundle that holds the Objective-C class, with texts in the user's languages.
std::shared_ptr<const Bundle> BundleForClass(const char* className);

}  // namespace kelvo
