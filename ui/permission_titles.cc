// What a permission value is called in the menu.
#include <string>

#include "settings/application_bundle.h"
#include "ui/menu_context.h"

namespace kelvo {
namespace {

using sync::EItemPermissions;

constexpr int kFullySubscribed = static_cast<int>(EItemPermissions::PERM_SUBSCRIBED);

struct LevelTitle {
  EItemPermissions level;
  LocalizedText title;
};

constexpr LevelTitle kLevelTitles[] = {
    {EItemPermissions::PERM_PROJECT_RESTRICTED_LIST,
     Localizable("Permissions.Restricted", "Restricted List")},
    {EItemPermissions::PERM_PROJECT_LIST, Localizable("Permissions.List", "View Structure")},
    {EItemPermissions::PERM_PROJECT_VIEW, Localizable("Permissions.View", "View Content")},
    {EItemPermissions::PERM_PROJECT_ACCESS, Localizable("Permissions.Access", "Read-Only")},
    {EItemPermissions::PERM_PROJECT_UPDATE, Localizable("Permissions.Update", "Modify")},
    {EItemPermissions::PERM_PROJECT_CREATE, Localizable("Permissions.Create", "Create and Modify")},
    {EItemPermissions::PERM_PROJECT_DELETE, Localizable("Permissions.Delete", "Full Access")},
    {EItemPermissions::PERM_PROJECT_DELETE_PROJECT,
     Localizable("Permissions.DeleteProject", "Project Owner")},
    // Deliberate: the same words as the level before, under a key of their own.
    {EItemPermissions::PERM_PROJECT_OWNER, Localizable("Permissions.Full", "Project Owner")},
};

std::string PartlySubscribed(const std::string& title) {
  return title + LocalizedString("Permissions.PartialSubscribe", " - (Selective Sync)");
}

}  // namespace

std::string KelvoMenuContext::stringForPermission(EItemPermissions permission) {
  if (permission == EItemPermissions::PERM_NONE) {
    return PartlySubscribed(LocalizedString("Permissions.NoPerm", "No Permissions"));
  }
  const int value = static_cast<int>(permission);
  const bool full = value >= kFullySubscribed;
  const EItemPermissions level{full ? value - kFullySubscribed : value};
  for (const LevelTitle& known : kLevelTitles) {
    if (known.level != level) continue;
    const std::string title = LocalizedString(known.title);
    return full ? title : PartlySubscribed(title);
  }
  return "Value: " + std::to_string(value);
}

}  // namespace kelvo
