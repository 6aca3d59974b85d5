#include "tessel/language/regular_expression.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <fmt/format.h>
#include <pcre2.h>

#include "tessel/interruption.h"
#include "tessel/messages.h"

namespace tessel {
namespace {

/// Steps that a match at one place may take, some milliseconds of work.
constexpr std::uint32_t kMostSteps = 1'000'000;

template <auto Free>
struct Freed {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};
template <class Object, auto Free>
using Owned = std::unique_ptr<Object, Freed<Free>>;

template <class Object>
Object* made(Object* object) {
  if (!object) throw std::bad_alloc();
  return object;
}

/// How many places a search may try in one call of the library, which cannot be interrupted: as many as take
/// about a hundredth of a second.
class Window {
 public:
  std::size_t places() const { return places_; }
  void adapt(std::chrono::steady_clock::duration taken) {
    using std::chrono::milliseconds;
    if (taken > milliseconds(20))
      places_ = std::max<std::size_t>(places_ / 8, 1);
    else if (taken < milliseconds(5))
      places_ = std::min<std::size_t>(places_ * 2, std::size_t{1} << 30);
  }

 private:
  std::size_t places_ = 16;
};

}  // namespace

struct RegularExpression::Code {
  Owned<pcre2_code, pcre2_code_free> compiled;
};

RegularExpression::RegularExpression(std::string function, const std::string& pattern, bool ignoresCase)
    : function_(std::move(function)), pattern_(pattern) {
  int error = 0;
  PCRE2_SIZE place = 0;
  const std::uint32_t options =
      PCRE2_DOLLAR_ENDONLY | PCRE2_USE_OFFSET_LIMIT | (ignoresCase ? PCRE2_CASELESS : 0);
  auto code = std::make_shared<Code>();
  code->compiled.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(), options,
                                     &error, &place, nullptr));
  if (!code->compiled) {
    if (error == PCRE2_ERROR_HEAP_FAILED) throw std::bad_alloc();
    raiseError("Tessel:badExpression",
               fmt::format("Function '{}': '{}' is no regular expression.", function_, pattern_));
  }
  code_ = std::move(code);
}

std::vector<RegularExpression::Match> RegularExpression::matchesIn(std::string_view text) const {
  const Owned<pcre2_match_context, pcre2_match_context_free> context(made(pcre2_match_context_create(nullptr)));
  pcre2_set_match_limit(context.get(), kMostSteps);
  const Owned<pcre2_match_data, pcre2_match_data_free> data(
      made(pcre2_match_data_create_from_pattern(code_->compiled.get(), nullptr)));
  std::vector<Match> matches;
  Window window;
  std::uint32_t options = 0;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t last = std::min(text.size() - start, window.places()) + start;
    pcre2_set_offset_limit(context.get(), last);
    const auto before = std::chrono::steady_clock::now();
    const int count = pcre2_match(code_->compiled.get(), reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(),
                                  start, options, data.get(), context.get());
    window.adapt(std::chrono::steady_clock::now() - before);
    raiseIfInterrupted();
    if (count == PCRE2_ERROR_NOMATCH) {
      // After an empty match only a longer one at the same place was looked for.
      start = std::exchange(options, 0) != 0 ? start + 1 : last + 1;
      continue;
    }
    if (count == PCRE2_ERROR_NOMEMORY) throw std::bad_alloc();
    if (count < 0) {
      raiseError("Tessel:expressionTooHard",
                 fmt::format("Function '{}': matching '{}' takes too many steps.", function_, pattern_));
    }
    const PCRE2_SIZE* extents = pcre2_get_ovector_pointer(data.get());
    Match match(pcre2_get_ovector_count(data.get()));
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k)
      if (extents[2 * k] != PCRE2_UNSET) match[k] = {extents[2 * k], extents[2 * k + 1]};
    // A match may be told to begin behind its end, or before where the search began.
    match[0].begin = std::clamp(match[0].begin, start, std::max(match[0].end, start));
    start = match[0].end = std::max(match[0].end, start);
    options = match[0].begin == match[0].end ? PCRE2_NOTEMPTY_ATSTART | PCRE2_ANCHORED : 0;
    matches.push_back(std::move(match));
  }
  return matches;
}

std::string RegularExpression::replaced(std::string_view text, std::string_view replacement) const {
  std::string out;
  std::size_t done = 0;
  for (const Match& match : matchesIn(text)) {
    out += text.substr(done, match[0].begin - done);
    for (std::size_t k = 0; k < replacement.size(); ++k) {
      const char next = replacement[k] == '$' && k + 1 < replacement.size() ? replacement[k + 1] : '\0';
      if (next == '&' || (next >= '0' && next <= '9')) {
        const std::size_t token = next == '&' ? 0 : static_cast<std::size_t>(next - '0');
        if (token < match.size()) out += match[token].in(text);
        ++k;
      } else {
        out += replacement[k];
        if (next == '$') ++k;
      }
    }
    done = match[0].end;
  }
  return out += text.substr(done);
}

}  // namespace tessel
