// Icons by name, as the file managers' toolkits look for them: theme by theme, in the folders that
// each theme lists, below every base folder.
#pragma once

#include <string>
#include <vector>

namespace kelvo::finder {

struct IconFiles {
  std::vector<std::string> pictures;  // PNG
  std::vector<std::string> drawings;  // SVG
  // Folders of themes where a file lies that the theme's cache, which is asked instead, knows not.
  std::vector<std::string> staleCaches;
};

class IconSearch {
 public:
  // `bases`: folders that hold themes, the first counts most.
  IconSearch(std::vector<std::string> bases, const std::string& theme);

  // The theme, those it inherits from, and "hicolor", as far as they are there.
  const std::vector<std::string>& themes() const { return themes_; }
  const std::string& wanted() const { return wanted_; }
  IconFiles Find(const std::string& name) const;

 private:
  struct ThemeFolders {
    std::string name;
    std::vector<std::string> folders;
  };

  void FindIn(const ThemeFolders& theme, const std::string& name, IconFiles* files) const;

  const std::vector<std::string> bases_;
  const std::string wanted_;
  std::vector<std::string> themes_;
  std::vector<ThemeFolders> folders_;
};

// $XDG_DATA_HOME, ~/.icons and $XDG_DATA_DIRS, in the toolkits' order.
std::vector<std::string> IconBases();
// What the desktop's settings say; "hicolor" when they say nothing.
std::string CurrentIconTheme();

}  // namespace kelvo::finder
