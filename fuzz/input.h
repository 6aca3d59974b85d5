/// The bytes of one input as choices: types, arrays and texts are drawn from them, so that a small change of an
/// input is a small change of what is tried.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <span>
#include <string>

#include "tests/fi/reference.h"

namespace fuzz {

class Input : public reference::Random {
 public:
  Input(const std::uint8_t* bytes, std::size_t count) : bytes_(bytes, count) {}

  bool isEmpty() const { return bytes_.empty(); }
  /// Spent bytes are zeros, which are the least choice.
  int integer(int low, int high) override {
    const auto range = static_cast<std::uint32_t>(high) - static_cast<std::uint32_t>(low);
    std::uint32_t choice = 0;
    for (std::uint32_t rest = range; rest != 0; rest >>= 8) choice = choice << 8 | byte();
    return range == UINT32_MAX ? static_cast<int>(choice) : low + static_cast<int>(choice % (range + 1));
  }
  std::uint32_t word() override { return static_cast<std::uint32_t>(integer(INT32_MIN, INT32_MAX)); }
  template <class Choices>
  const auto& oneOf(const Choices& choices) {
    return choices[static_cast<std::size_t>(integer(0, static_cast<int>(std::size(choices)) - 1))];
  }
  /// All that is left.
  std::string rest() { return {bytes_.begin(), std::exchange(bytes_, {}).end()}; }

 private:
  std::uint8_t byte() {
    if (bytes_.empty()) return 0;
    const std::uint8_t first = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return first;
  }

  std::span<const std::uint8_t> bytes_;
};

/// Ends the program with a message, which makes an input a finding, unless `holds`.
template <class... Parts>
void require(bool holds, const Parts&... what) {
  if (holds) return;
  (std::cerr << ... << what) << std::endl;
  std::abort();
}

}  // namespace fuzz

/// What each target defines: tries one input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);
