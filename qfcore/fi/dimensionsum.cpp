/// Sums along one dimension: element by element through the sum register, and by blocks over doubles.
#include <algorithm>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/resulttypes.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

namespace {

/// Sums along one dimension: of `length` elements that stand `stride` apart.
struct Fibers {
  std::size_t stride, length, count;
  std::size_t first(std::size_t k) const { return k % stride + k / stride * stride * length; }
};

/// Which quantizations of a running sum change nothing and have nothing to record.
struct Identities {
  bool cast, sum;
};

/// Sums of doubles, each started at 0 and quantized after every term. Neighbouring fibers sum in step.
class FiberSums {
 public:
  FiberSums(const Fibers& fibers, const Identities& identity, const quantizer& q)
      : fibers_(fibers), identity_(identity), q_(q) {}

  void run(const double* values, double* sums) const {
    if (fibers_.stride == 1) {
      for (std::size_t k = 0; k < fibers_.count; ++k) sums[k] = alongBlock(values + k * fibers_.length);
      return;
    }
    for (std::size_t k = 0; k < fibers_.count; k += fibers_.stride) {
      for (std::size_t first = 0; first < fibers_.stride; first += kBlock) {
        inStep(values + fibers_.first(k) + first, sums + k + first, std::min(kBlock, fibers_.stride - first));
      }
    }
  }

 private:
  const double* castTerms(const double* values, Block& room, std::size_t count) const {
    if (identity_.cast) return values;
    q_.quantize(values, room.data(), count);
    return room.data();
  }

  double alongBlock(const double* values) const {
    Block room;
    double sum = 0;
    for (std::size_t first = 0; first < fibers_.length; first += kBlock) {
      const std::size_t count = std::min(kBlock, fibers_.length - first);
      const double* terms = castTerms(values + first, room, count);
      for (std::size_t k = 0; k < count; ++k) {
        sum += terms[k];
        if (!identity_.sum) q_.quantize(&sum, 1);
      }
    }
    return sum;
  }

  void inStep(const double* values, double* sums, std::size_t count) const {
    Block room;
    std::fill_n(sums, count, 0.0);
    for (std::size_t k = 0; k < fibers_.length; ++k) {
      combine<Add, false, false>(sums, sums, castTerms(values + k * fibers_.stride, room, count), count);
      if (!identity_.sum) q_.quantize(sums, count);
    }
  }

  Fibers fibers_;
  Identities identity_;
  const quantizer& q_;
};

/// The same for values of every kind, through the register.
void sumFibers(const fi& x, const Fibers& fibers, fi& sumRegister, fi& result) {
  Scratch scratch(sumRegister.realPart().getprecision());
  for (unsigned k = 0; k < fibers.count; ++k) {
    sumRegister.realPart() = 0.0;
    if (x.iscomplex()) sumRegister.imagPart() = 0.0;
    for (std::size_t term = 0; term < fibers.length; ++term) {
      x.setIndex(static_cast<unsigned>(fibers.first(k) + term * fibers.stride));
      sumRegister.sumEquals(sumRegister, x, sumRegister, scratch);
    }
    result.realPart()[k] = sumRegister.realPart();
    if (x.iscomplex()) result.imagPart()[k] = sumRegister.imagPart();
  }
}

/// For sums of `terms` elements each.
Identities identitiesOf(const fi& x, unsigned terms, const quantizer& q) {
  const bool cast = x.getFimath().castBeforeSum();
  if (q.logger().isOn()) return {!cast, false};
  const NumericType &term = x.getNumericType(), &sum = q.numericType();
  return {!cast || exactness::holds(sum, term), exactness::holdsSumsOf(sum, term, terms)};
}

}  // namespace

fi fi::leadingdimension_sum() const { return sumAlong(1); }

fi fi::sumAlong(unsigned dimension) const {
  const unsigned length = getDimension(dimension);
  Shape dims = dims_;
  if (dimension <= dims.size()) dims[dimension - 1] = 1;
  if (dimension == 1 && dims_[0] < 2 && dims[1] == 0) dims[1] = 1;
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  const auto numDims = static_cast<unsigned>(dims.size());
  if (isempty())
    return fi(dims.data(), numDims, getNumericType(), fimath_, iscomplex(), tag(), OperationTypeEnum::Sum);

  errorIfBooleanMath(*this);
  errorIfSlopeBiasMath(*this);
  const NumericType type = arithmeticState().sumType =
      resulttypes::sumOfTerms(getNumericType(), length, fimath_);
  fi result(dims, type, fimath_, iscomplex(), tag(), OperationTypeEnum::Sum);
  const unsigned precision = sumPrecision(type, getNumericType(), type, fimath_.castBeforeSum());
  fi sumRegister = initializeSumRegister(type, fimath_, precision, iscomplex());
  Fibers fibers{1, length, numel_ / length};
  for (unsigned d = 0; d + 1 < dimension && d < dims_.size(); ++d) fibers.stride *= dims_[d];

  if (choosePath({.hasBlocks = precision <= kMaxDoublePrecision}, *this, result) == Path::Blocks) {
    const quantizer& q = sumRegister.assignmentQuantizer_;
    const FiberSums sums(fibers, identitiesOf(*this, length, q), q);
    sums.run(valuesOf(*this, realPart_), result.realPart_.doubles());
    if (iscomplex()) sums.run(valuesOf(*this, imagPart_), result.imagPart_.doubles());
    sumRegister.getQlogger().nMathOperationsPlus(numel_);
  } else {
    sumFibers(*this, fibers, sumRegister, result);
  }
  finishRegisters(&result, "sum", {{RegisterLog::Sum, sumRegister}});
  return result;
}

}  // namespace embedded
