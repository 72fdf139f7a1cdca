#include "hosts/dolphin/qt_values.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kelvo {
namespace {

TEST(QtValuesTest, ASelectionHasThePathsOfAllItsItemsOrNone) {
  struct Row {
    std::vector<const char*> items;
    std::vector<std::string> paths;
  };
  for (const Row& row : std::vector<Row>{
           {{"file:///w/a%20b", "file:///w/100%25"}, {"/w/a b", "/w/100%"}},
           {{"file:///w/folder//", "file:///"}, {"/w/folder", "/"}},
           {{"file:///w/a", "sftp://host/w/b"}, {}},
           {{"smb://host/w/a", "file:///w/b"}, {}},
           {{"trash:/a"}, {}},
           {{"desktop:/a"}, {}},
           {{"/w/a"}, {}},
           {{"file:///w/a%00b"}, {}},
           {{""}, {}},
       }) {
    QList<QUrl> items;
    for (const char* const item : row.items) items.append(QUrl(QString::fromUtf8(item)));
    EXPECT_EQ(LocalPaths(items), row.paths) << row.items.front();
  }
}

TEST(QtValuesTest, AnActionsTextMarksNoKey) {
  EXPECT_EQ(ActionText("Lock & Open").toStdString(), "Lock && Open");
  EXPECT_EQ(ActionText("&&a_b\n&").toStdString(), "&&&&a_b &&");
}

}  // namespace
}  // namespace kelvo
