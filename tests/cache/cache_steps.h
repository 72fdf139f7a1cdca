// What may happen to the cache, as data: drawn at random, done both to the cache and to its
// reference, and cut down to the few steps that still tell them apart.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/agent_text.h"

namespace kelvo::test {

enum class StepKind {
  kAsk,           // one of the nine queries
  kPaint,         // the file manager asks for the badge of a path
  kGetStatuses,   // of the records' names in the directory
  kPeekStatuses,  // the same
  kList,          // the Agent's list of the directory
  kItem,          // the Agent's news of one item, which is the first record
  kLinks,         // the Agent's public links
  kReset,
  kError,
  kReload,
  kRefreshAll,
  kObserve,
  kUnobserve,
  kPass,      // time passes, and the timer falls due
  kSetClock,  // somebody sets the wall clock
  kSweep,
  kLookAtAll,  // compares all that can be known without asking
};

struct Step {
  StepKind kind;
  std::string path = {};  // an item's or a directory's
  // kAsk: which query. kList, kLinks: how many bytes are cut off; below 0, the text goes on after
  // its end. kError: the kind of message. kPass: milliseconds. kSetClock: seconds.
  std::int64_t number = 0;
  bool direct = false;  // handed to the cache as decoded, not sent as a message
  std::vector<ListRecord> records = {};
};

constexpr int kQueries = 9;
// The signed-in user, whose name is left out of what is stored.
inline constexpr char kMe[] = "me";

// All directories and names that steps speak of.
std::span<const std::string> StepDirectories();
std::span<const std::string> StepNames();
// All paths that these make, and those of odd shape.
const std::vector<std::string>& StepPaths();

std::vector<Step> DrawSteps(std::uint64_t seed, std::size_t count);
// The text of a kList or kLinks.
std::string TextOf(const Step& step);
// Whether the step must or shall be handed over as decoded.
bool GoesDirect(const Step& step);
// The first record, or one of a plain item when there is none.
ListRecord ItemOf(const Step& step);
// In quotes, and what is not plain ASCII in hexadecimal.
std::string Quoted(std::string_view text);
// One line.
std::string Describe(const Step& step);

// The fewest steps, of those given, that were found to fail still.
std::vector<Step> Shrink(std::vector<Step> steps,
                         const std::function<bool(const std::vector<Step>&)>& fails);

}  // namespace kelvo::test
