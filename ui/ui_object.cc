#include "ui/ui_object.h"

namespace kelvo {
namespace {

bool IsView(UiObject::Kind kind) {
  using enum UiObject::Kind;
  switch (kind) {
    case kView:
    case kButton:
    case kTextField:
    case kTabView:
    case kTextView:
    case kScrollView:
    case kImageView:
    case kMatrix:
      return true;
    default:
      return false;
  }
}

bool HasParts(UiObject::Kind kind) {
  using enum UiObject::Kind;
  switch (kind) {
    case kArray:
    case kTabView:
    case kScrollView:
    case kMatrix:
    case kTabViewItem:
    case kMenu:
    case kWindow:
      return true;
    default:
      return false;
  }
}

void PushReversed(std::vector<UiObject*>& stack, std::vector<UiObject>& objects) {
  for (auto object = objects.rbegin(); object != objects.rend(); ++object) {
    stack.push_back(&*object);
  }
}

}  // namespace

void VisitUiObjects(UiObject& root, const std::function<void(UiObject&)>& visit) {
  std::vector<UiObject*> toVisit = {&root};  // the last one next
  while (!toVisit.empty()) {
    UiObject& object = *toVisit.back();
    toVisit.pop_back();
    visit(object);
    if (IsView(object.kind)) PushReversed(toVisit, object.subviews);
    if (HasParts(object.kind)) PushReversed(toVisit, object.parts);
  }
}

}  // namespace kelvo
