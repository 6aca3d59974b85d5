#include "tessel/language/error_place.h"

#include <algorithm>

#include <fmt/format.h>

namespace tessel {
namespace {

std::string entryText(const StackEntry& entry, int column) {
  const std::string place = column > 0 ? fmt::format("{}:{}:{}", entry.file, entry.line, column)
                                       : fmt::format("{}:{}", entry.file, entry.line);
  return entry.name != entry.file ? place + " in " + entry.name : place;
}

/// The lines of a deep recursion say nothing after a few.
constexpr std::size_t kCallsShown = 10;

}  // namespace

std::string placeText(const std::vector<StackEntry>& stack, int column) {
  return stack.empty() || stack[0].file == kPromptFile ? std::string() : entryText(stack[0], column);
}

std::string callsText(const std::vector<StackEntry>& stack) {
  std::string text;
  const std::size_t shown = std::min(stack.size(), kCallsShown + 1);
  for (std::size_t k = 1; k < shown; ++k) {
    if (stack[k].file != kPromptFile)
      text += fmt::format("  called from {}\n", entryText(stack[k], stack[k].column));
  }
  if (shown < stack.size()) text += fmt::format("  and from {} more\n", stack.size() - shown);
  return text;
}

}  // namespace tessel
