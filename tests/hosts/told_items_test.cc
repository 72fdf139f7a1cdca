#include "hosts/bus/told_items.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

namespace kelvo {
namespace {

// Against a plain map, over all ways in which clients may come and go.
TEST(ToldItemsTest, KeepsWhatAPlainMapKeeps) {
  struct Known {
    ClientSlots::Bits clients = 0;
    char told = ToldItems::kUntold;
  };
  std::mt19937 random(7);  // NOLINT(bugprone-random-generator-seed): the same in every run
  ToldItems items;
  std::map<std::string, Known> model;
  const auto check = [&] {
    ASSERT_EQ(items.Size(), model.size());
    for (int i = 0; i < 600; ++i) {
      const std::string name = "n" + std::to_string(i);
      const auto known = model.find(name);
      const ToldItems::Item* item = items.Find(name);
      ASSERT_EQ(item != nullptr, known != model.end()) << name;
      if (item == nullptr) continue;
      ASSERT_EQ(item->told, known->second.told) << name;
      ASSERT_EQ(items.ClientsOf(*item), known->second.clients) << name;
    }
  };
  for (int round = 0; round < 60; ++round) {
    for (int i = 0; i < 100; ++i) {
      const std::string name = "n" + std::to_string(random() % 600);
      const ClientSlots::Bits client = ClientSlots::Bits{1} << (random() % 4);
      const char badge = static_cast<char>('0' + random() % 7);
      items.Add(name, client).told = badge;
      model[name].clients |= client;
      model[name].told = badge;
    }
    check();
    const ClientSlots::Bits leaver = ClientSlots::Bits{1} << (random() % 4);
    items.RemoveClient(leaver);
    for (auto& [name, known] : model) known.clients &= ~leaver;
    std::erase_if(model, [](const auto& entry) { return entry.second.clients == 0; });
    check();
  }
}

TEST(ToldItemsTest, NamesTooManyClientsRatherThanTooFew) {
  ToldItems items;
  for (unsigned set = 1; set < 1000; ++set) {
    for (int bit = 0; bit < 10; ++bit) {
      if ((set >> bit & 1) != 0) items.Add(std::to_string(set), ClientSlots::Bits{1} << bit);
    }
  }
  for (unsigned set = 1; set < 1000; ++set) {
    EXPECT_EQ(items.ClientsOf(*items.Find(std::to_string(set))) & set, set);
  }
  for (int bit = 0; bit < 10; ++bit) items.RemoveClient(ClientSlots::Bits{1} << bit);
  EXPECT_EQ(items.Size(), 0u);
}

}  // namespace
}  // namespace kelvo
