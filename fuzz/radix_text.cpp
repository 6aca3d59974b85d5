/// Text of stored integers: any characters, in any base, for any type. What is refused leaves the array as it
/// was; what is taken is written again and read back as the same values.
#include <algorithm>

#include "fuzz/input.h"
#include "qfcore/fi/fi.h"
#include "qfcore/fi/paths/path.h"
#include "tests/fi/arrays.h"

namespace {

using namespace reference;

HostArray anyText(fuzz::Input& input) {
  static constexpr char kUsual[] = "0123456789abcdefghABCDEFGH -+i .";
  const auto rows = static_cast<std::size_t>(input.integer(0, 4)),
             columns = static_cast<std::size_t>(input.integer(0, 40));
  HostArray text = HostArray::zeros(tessel::ArrayClass::Char, {rows, columns});
  const bool isUsual = input.integer(0, 3) > 0;
  for (std::size_t k = 0; k < text.numel(); ++k)
    text.mutableReal<char>()[k] =
        isUsual ? kUsual[input.integer(0, sizeof kUsual - 2)] : static_cast<char>(input.integer(0, 255));
  return text;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  tessel::setWarningEnabled("all", false);
  fuzz::Input input(bytes, count);
  const int base = input.integer(1, 19);
  const NumericType type = input.type(1, 300);
  fi x = input.array({1, 2}, type, fimath(input.roundMode(), input.overflowMode()), input.coin());
  const std::string before = contents(x);
  embedded::setElementPathOnly(input.coin());
  const HostArray text = anyText(input);
  if (failureOf([&] { x.base2num(text, base); })) {
    fuzz::require(contents(x) == before, "a refused text has changed the array: ", before, " is now ",
                  contents(x));
    return 0;
  }
  if (x.isempty()) return 0;
  fi again(1U, 1U, type);
  again.base2num(x.num2base(base), base);
  fuzz::require(contents(again) == contents(x), type.tostring(), " base ", base, ": ", contents(x),
                " reads back as ", contents(again));
  for (unsigned k = 0; k < x.numel(); ++k) {
    const mpq_class stored = scaled(valueOf(x, k), type.fractionLength());
    fuzz::require(stored.get_den() == 1 && quantized(valueOf(x, k), type, RoundModeEnum::fix,
                                                     OverflowModeEnum::wrap) == valueOf(x, k),
                  "the value ", valueOf(x, k), " lies outside of ", type.tostring());
  }
  return 0;
}
