/// Rounding and overflow modes, shared by `fimath` and `quantizer`.
#pragma once

#include "qfcore/types/enumtable.h"

namespace embedded {

enum class RoundModeEnum : int { ceil = 0, convergent, fix, floor, nearest, round };
enum class OverflowModeEnum : int { saturate = 0, wrap };

namespace detail {

inline constexpr EmbeddedTypeSystem::EnumRow kRoundModeRows[] = {{0, "ceil"},  {1, "convergent"}, {2, "fix"},
                                                                 {3, "floor"}, {4, "nearest"},    {5, "round"}};
inline constexpr EmbeddedTypeSystem::EnumRow kOverflowModeRows[] = {{0, "saturate"}, {1, "wrap"}};

inline constexpr EmbeddedTypeSystem::EnumTable kRoundModeTable{"quantizer Round Mode", "quantizer Round Mode",
                                                               kRoundModeRows};
inline constexpr EmbeddedTypeSystem::EnumTable kOverflowModeTable{"quantizer Overflow Mode",
                                                                  "quantizer Overflow Mode", kOverflowModeRows};

}  // namespace detail

constexpr const EmbeddedTypeSystem::EnumTable& tableOf(RoundModeEnum) { return detail::kRoundModeTable; }
constexpr const EmbeddedTypeSystem::EnumTable& tableOf(OverflowModeEnum) { return detail::kOverflowModeTable; }

}  // namespace embedded
