// Whole branches of a tree whose nodes are kept in a map by absolute path.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kelvo::sample_agent {

inline bool IsPathOrBelow(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// "/a/b" gives "/a", "/a" the empty path: as the peer splits paths.
inline std::string ParentOfPath(std::string_view path) {
  return std::string(path.substr(0, path.rfind('/')));
}

// The nodes below `path`, without itself. "0" is the character after "/".
template <typename Value>
auto RangeBelow(std::map<std::string, Value>& nodes, const std::string& path) {
  return std::pair(nodes.lower_bound(path + '/'), nodes.lower_bound(path + '0'));
}

template <typename Value>
void ErasePaths(std::map<std::string, Value>& nodes, const std::string& path) {
  const auto [begin, end] = RangeBelow(nodes, path);
  nodes.erase(begin, end);
  nodes.erase(path);
}

// Nodes that are at the new place already stay; what would have replaced them is dropped.
template <typename Value>
void MovePaths(std::map<std::string, Value>& nodes, const std::string& from,
               const std::string& to) {
  if (from == to) return;
  std::vector<typename std::map<std::string, Value>::node_type> moved;
  for (auto [node, end] = RangeBelow(nodes, from); node != end;) {
    moved.push_back(nodes.extract(node++));
  }
  if (auto node = nodes.extract(from)) moved.push_back(std::move(node));
  for (auto& node : moved) {
    node.key() = to + node.key().substr(from.size());
    nodes.insert(std::move(node));
  }
}

}  // namespace kelvo::sample_agent
