#include "qfcore/fi/positionmap.h"

#include "tessel/threadend.h"

namespace embedded {

using tessel::HostArray;

namespace {

/// Maps of up to this many elements are kept for the next call with the same shape.
constexpr std::size_t kMaxKeptMap = std::size_t{1} << 22;

HostArray stepMap(const fi::Shape& dims, double first, double step) {
  HostArray map = HostArray::zeros(tessel::ArrayClass::Double, tessel::Dimensions(dims.begin(), dims.end()));
  const std::size_t count = map.numel();
  double* position = count == 0 ? nullptr : map.mutableReal<double>();
  for (std::size_t k = 0; k < count; ++k) position[k] = first + step * static_cast<double>(k);
  return map;
}

/// Loops over parts of one large array would otherwise spend their time on its map.
struct KeptMap {
  HostArray map;
  fi::Shape dims{0, 0};
};

}  // namespace

HostArray positionMap(const fi::Shape& dims, double first) {
  if (first != 0) return stepMap(dims, first + 1, 1);
  KeptMap& kept = tessel::ownObject<KeptMap>();
  if (dims == kept.dims) return kept.map;
  HostArray map = stepMap(dims, 1, 1);
  if (map.numel() <= kMaxKeptMap) kept = {map, dims};
  return map;
}

HostArray sourceMap(const fi::Shape& dims) { return stepMap(dims, -1, -1); }

}  // namespace embedded
