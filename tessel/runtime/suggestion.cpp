#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "tessel/messages.h"

namespace tessel {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Characters to insert, leave out, change, or exchange with their neighbour, to make `b` of `a`; case aside.
std::size_t distance(std::string_view a, std::string_view b) {
  std::array<std::vector<std::size_t>, 3> rows;  // of the last two characters of `a`, and the current one
  for (auto& row : rows) row.resize(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) rows[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::rotate(rows.begin(), rows.begin() + 2, rows.end());
    auto& [current, last, beforeLast] = rows;
    current[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool isSame = lower(a[i - 1]) == lower(b[j - 1]);
      current[j] = std::min({last[j] + 1, current[j - 1] + 1, last[j - 1] + (isSame ? 0 : 1)});
      const bool isExchange =
          i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1]);
      if (isExchange) current[j] = std::min(current[j], beforeLast[j - 2] + 1);
    }
  }
  return rows[0][b.size()];
}

}  // namespace

std::string suggestion(std::string_view wrong, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 64;  // nobody mistypes more
  if (wrong.size() > kLongest) return "";
  const std::string* best = nullptr;
  std::size_t least = wrong.size() < 3 ? 1 : wrong.size() < 5 ? 2 : 3;  // must stay below
  for (const std::string& name : known) {
    const std::size_t longer = std::max(name.size(), wrong.size()),
                      shorter = std::min(name.size(), wrong.size());
    if (longer - shorter >= least) continue;
    const std::size_t changes = distance(wrong, name);
    if (changes < least) least = changes, best = &name;
  }
  return best ? " Did you mean '" + *best + "'?" : "";
}

}  // namespace tessel
