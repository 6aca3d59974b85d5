/// Stored integers in the layouts of the host: any class, sizes and values. What is refused leaves the array as
/// it was; what is taken comes back from the array and reads as the same values.
#include <functional>

#include "fuzz/input.h"
#include "qfcore/fi/fi.h"
#include "qfcore/fi/paths/path.h"
#include "tests/fi/arrays.h"

namespace {

using namespace reference;
using tessel::ArrayClass;

HostArray anyIntegers(fuzz::Input& input) {
  constexpr int kClasses = static_cast<int>(ArrayClass::Char);
  const auto arrayClass =
      input.integer(0, 3) > 0 ? ArrayClass::Uint32 : static_cast<ArrayClass>(input.integer(0, kClasses));
  tessel::Dimensions dims;
  for (int d = input.integer(2, 4); d > 0; --d) dims.push_back(static_cast<std::size_t>(input.integer(0, 5)));
  const bool isComplex = input.integer(0, 3) == 0 && arrayClass < ArrayClass::Logical;
  HostArray array = HostArray::zeros(arrayClass, dims, isComplex);
  tessel::visitElementType(arrayClass, [&](auto element) {
    using Element = decltype(element);
    for (Element* part : {array.mutableReal<Element>(), isComplex ? array.mutableImag<Element>() : nullptr}) {
      for (std::size_t k = 0; part && k < array.numel(); ++k)
        part[k] = static_cast<Element>(input.integer(INT32_MIN, INT32_MAX));
    }
  });
  return array;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  tessel::setWarningEnabled("all", false);
  fuzz::Input input(bytes, count);
  const NumericType type = input.type(1, input.coin() ? 128 : 300);
  fi x = input.array({2, 1}, type, {}, input.coin());
  const std::string before = contents(x);
  embedded::setElementPathOnly(input.coin());
  const auto chunks = static_cast<fi::IntArrayChunkMode>(input.integer(0, 1));
  const auto dimension = static_cast<fi::IntArrayDimensionMode>(input.integer(0, 1));
  struct Layout {
    std::function<void(fi&, const HostArray&)> set;
    std::function<HostArray(const fi&)> get;
  };
  const Layout layouts[] = {
      {[&](fi& a, const HostArray& v) { a.setIntArrayHostArray(v, chunks, dimension); },
       [&](const fi& a) { return a.getIntArrayHostArray(chunks, dimension); }},
      {[&](fi& a, const HostArray& v) { a.setIntArray(v, chunks, dimension); },
       [&](const fi& a) { return a.getIntArray(chunks, dimension); }},
      {[](fi& a, const HostArray& v) { a.setCorvaneIntArray(v); },
       [](const fi& a) { return a.getCorvaneIntArray(); }},
      {[](fi& a, const HostArray& v) { a.setCorvaneArray(v); },
       [](const fi& a) { return a.getCorvaneArray(); }},
      {[](fi& a, const HostArray& v) { a.setIntHostArray(v); },
       [](const fi& a) { return a.getIntHostArray(); }},
  };
  const Layout& layout = input.oneOf(layouts);
  const HostArray integers = anyIntegers(input);
  if (failureOf([&] { layout.set(x, integers); })) {
    fuzz::require(contents(x) == before, "refused integers have changed the array: ", before, " is now ",
                  contents(x));
    return 0;
  }
  // Doubles do not hold what lies in wider words, and layouts of 128 bits no longer ones.
  if (type.wordLength() > 64) return 0;
  fi again = x;
  layout.set(again, layout.get(x));
  fuzz::require(contents(again) == contents(x), type.tostring(), ": ", contents(x), " reads back as ",
                contents(again));
  return 0;
}
