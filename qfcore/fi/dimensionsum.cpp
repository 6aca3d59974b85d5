/// Sums along one dimension: element by element through the sum register, and by blocks over doubles.
#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/lastones.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/fibers.h"
#include "qfcore/fi/paths/integersums.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/resulttypes.h"
#include "qfcore/fi/scratch.h"
#include "tessel/interruption.h"

namespace embedded {

namespace {

/// Which quantizations of a running sum change nothing and have nothing to record.
struct Identities {
  bool cast, sum;
};

/// Calls `step(fiber, size)` for so many fibers from one on, at most `most` at once, which start side by side
/// or, with a stride of 1, one after the other.
template <class Step>
void forEachNeighbours(const Fibers& fibers, std::size_t fiber, std::size_t count, std::size_t most,
                       Step step) {
  const std::size_t end = fiber + count;
  while (fiber < end) {
    const std::size_t neighbours = fibers.stride == 1 ? end : fibers.stride - fiber % fibers.stride;
    const std::size_t size = std::min({most, neighbours, end - fiber});
    step(fiber, size);
    fiber += size;
  }
}

/// Sums of doubles, each started at 0 and quantized after every term. Neighbouring fibers sum in step.
class FiberSums {
 public:
  FiberSums(const Fibers& fibers, const Identities& identity, const quantizer& q)
      : fibers_(fibers), identity_(identity), q_(q) {}

  /// One sum a fiber, of so many from one on; or, with `KeepsAll`, every partial sum where its last term
  /// stands.
  template <bool KeepsAll>
  void run(const double* values, double* sums, std::size_t fiber, std::size_t count) const {
    if (fibers_.stride == 1) {
      for (std::size_t k = fiber; k < fiber + count; ++k) {
        const std::size_t first = k * fibers_.length;
        const double sum = alongBlock<KeepsAll>(values + first, sums + first);
        if (!KeepsAll) sums[k] = sum;
      }
      return;
    }
    forEachNeighbours(fibers_, fiber, count, kBlock, [&](std::size_t first, std::size_t size) {
      const std::size_t place = fibers_.first(first);
      inStep<KeepsAll>(values + place, sums + (KeepsAll ? place : first), size);
    });
  }

 private:
  const double* castTerms(const double* values, Block& room, std::size_t count) const {
    if (identity_.cast) return values;
    q_.quantize(values, room.data(), count);
    return room.data();
  }

  template <bool KeepsAll>
  double alongBlock(const double* values, [[maybe_unused]] double* partial) const {
    Block room;
    double sum = 0;
    for (std::size_t first = 0; first < fibers_.length; first += kBlock) {
      const std::size_t count = std::min(kBlock, fibers_.length - first);
      const double* terms = castTerms(values + first, room, count);
      for (std::size_t k = 0; k < count; ++k) {
        sum += terms[k];
        if (!identity_.sum) q_.quantize(&sum, 1);
        if constexpr (KeepsAll) partial[first + k] = sum;
      }
    }
    return sum;
  }

  template <bool KeepsAll>
  void inStep(const double* values, double* sums, std::size_t count) const {
    Block room;
    Block zeros;
    std::fill_n(KeepsAll ? zeros.data() : sums, count, 0.0);
    const double* before = KeepsAll ? zeros.data() : sums;
    for (std::size_t k = 0; k < fibers_.length; ++k) {
      combine<Add, false, false>(sums, before, castTerms(values + k * fibers_.stride, room, count), count);
      if (!identity_.sum) q_.quantize(sums, count);
      if constexpr (KeepsAll) {
        before = sums;
        sums += fibers_.stride;
      }
    }
  }

  Fibers fibers_;
  Identities identity_;
  const quantizer& q_;
};

/// The same for stored integers.
template <class Stored>
class IntegerFiberSums {
 public:
  IntegerFiberSums(const fi& x, const Fibers& fibers, const Identities& identity, const quantizer& q)
      : fibers_(fibers),
        isPlain_(identity.cast && identity.sum && q.fractionLength() == x.getNumericType().fractionLength()),
        add_(q.numericType(), x.getNumericType(), q, x.getFimath().castBeforeSum(), false) {}

  template <bool KeepsAll>
  void run(const IntegerOperand& from, const IntegerTarget& to, std::size_t firstFiber,
           std::size_t fiberCount) {
    forEachNeighbours(fibers_, firstFiber, fiberCount, kIntegerBlock,
                      [&](std::size_t fiber, std::size_t count) {
                        IntegerBlock<Stored> block{};
                        if (fibers_.stride == 1 && (KeepsAll || count < kFewFibers)) {
                          for (std::size_t k = 0; k < count; ++k)
                            block[k] = along<KeepsAll>(from, fibers_.first(fiber + k), to);
                        } else {
                          inStep<KeepsAll>(from, fibers_.first(fiber), count, block.data(), to);
                        }
                        if constexpr (!KeepsAll) to.write(fiber, block.data(), count);
                      });
  }
  void record() const { add_.record(); }

 private:
  /// Fewer than these sum one after the other.
  static constexpr std::size_t kFewFibers = 8;

  template <bool KeepsAll>
  Stored along(const IntegerOperand& from, std::size_t start, const IntegerTarget& to) {
    IntegerBlock<Stored> room, partial;
    Stored sum = 0;
    forEachIntegerBlock(0, fibers_.length, [&](std::size_t first, std::size_t count) {
      const Stored* terms = add_.prepare(from.read(room, start + first, count), count);
      for (std::size_t k = 0; k < count; ++k) {
        if (isPlain_) {
          sum += terms[k];
        } else {
          add_.accumulatePrepared(&sum, &terms[k], 1);
        }
        if constexpr (KeepsAll) partial[k] = sum;
      }
      if constexpr (KeepsAll) to.write(start + first, partial.data(), count);
    });
    return sum;
  }

  template <bool KeepsAll>
  void inStep(const IntegerOperand& from, std::size_t start, std::size_t count, Stored* sums,
              const IntegerTarget& to) {
    IntegerBlock<Stored> room;
    const std::size_t apart = fibers_.stride == 1 ? fibers_.length : 1;
    for (std::size_t k = 0; k < fibers_.length; ++k) {
      const std::size_t place = start + k * fibers_.stride;
      const Stored* terms = add_.prepare(from.read(room, place, count, apart), count);
      if (isPlain_) {
        for (std::size_t i = 0; i < count; ++i) sums[i] += terms[i];
      } else {
        add_.accumulatePrepared(sums, terms, count);
      }
      if constexpr (KeepsAll) to.write(place, sums, count);
    }
  }

  Fibers fibers_;
  bool isPlain_;
  IntegerSum<Stored> add_;
};

/// The same for values of any length, into the sums' type.
class WideFiberSums {
 public:
  /// Both parts must outlive this; sums and terms have so many bits.
  WideFiberSums(const fi& x, const number& part, const Fibers& fibers, const Identities& identity,
                unsigned precision, number& sums)
      : from_(x, part), fibers_(fibers), identity_(identity), precision_(precision), sums_(sums) {}

  template <bool KeepsAll>
  void run(std::size_t fiber, std::size_t count, const quantizer& q) const {
    WideScratch sum(precision_), term(precision_);
    for (std::size_t k = fiber; k < fiber + count; ++k) {
      sum.asNumber() = 0.0;
      addTerms(sum, term, fibers_.first(k), 0, fibers_.length, q, [&](std::size_t place) {
        if constexpr (KeepsAll) storeExactly(sum.asNumber(), sums_, static_cast<unsigned>(place));
      });
      if (!KeepsAll) storeExactly(sum.asNumber(), sums_, static_cast<unsigned>(k));
    }
  }

  /// The only fiber's sum where each partial one is a value of the type, so that their order does not matter.
  void runInParts(const quantizer& q) const {
    const std::size_t pieces = detail::pieceCount(fibers_.length, kSharedWide);
    std::vector<WideScratch> partial;
    partial.reserve(pieces);
    while (partial.size() < pieces) partial.emplace_back(precision_);
    shareRanges(fibers_.length, pieces, 1, [&](std::size_t piece, std::size_t first, std::size_t size) {
      WideScratch term(precision_);
      addTerms(partial[piece], term, 0, first, size, q, [](std::size_t) {});
    });
    for (std::size_t piece = 1; piece < pieces; ++piece) Add::apply(*partial[0], *partial[0], *partial[piece]);
    storeExactly(partial[0].asNumber(), sums_, 0);
  }

 private:
  template <class Keep>
  void addTerms(WideScratch& sum, WideScratch& term, std::size_t start, std::size_t first, std::size_t count,
                const quantizer& q, Keep keep) const {
    constexpr std::size_t kTermsAtOnce = 4096;
    for (std::size_t k = first; k < first + count; ++k) {
      if (k % kTermsAtOnce == 0) tessel::raiseIfInterrupted();
      const std::size_t place = start + k * fibers_.stride;
      term.take(from_, static_cast<unsigned>(place));
      if (!identity_.cast) q.quantize(term.asNumber());
      Add::apply(*sum, *sum, *term);
      if (!identity_.sum) q.quantize(sum.asNumber());
      keep(place);
    }
  }

  WideOperand from_;
  Fibers fibers_;
  Identities identity_;
  unsigned precision_;
  number& sums_;
};

/// The same for values of every kind, through the register.
void sumFibers(const fi& terms, const Fibers& fibers, bool keepsAll, fi& sumRegister, fi& result) {
  const fi x(terms, Reading{});
  Scratch scratch(sumRegister.realPart().getprecision());
  const auto keep = [&](std::size_t place) {
    const auto k = static_cast<unsigned>(place);
    result.realPart()[k] = sumRegister.realPart();
    if (x.iscomplex()) result.imagPart()[k] = sumRegister.imagPart();
  };
  for (std::size_t k = 0; k < fibers.count; ++k) {
    sumRegister.realPart() = 0.0;
    if (x.iscomplex()) sumRegister.imagPart() = 0.0;
    for (std::size_t term = 0; term < fibers.length; ++term) {
      const std::size_t place = fibers.first(k) + term * fibers.stride;
      x.setIndex(static_cast<unsigned>(place));
      sumRegister.sumEquals(sumRegister, x, sumRegister, scratch);
      if (keepsAll) keep(place);
    }
    if (!keepsAll) keep(k);
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

struct fi::DimensionSums {
  /// The sums along a dimension into `result`, of their type, by `name`.
  template <bool KeepsAll>
  static void into(fi& result, const fi& x, unsigned dimension, const char* name) {
    const NumericType& type = result.getNumericType();
    const unsigned precision = sumPrecision(type, x.getNumericType(), type, x.getFimath().castBeforeSum());
    fi sumRegister = x.initializeSumRegister(type, x.getFimath(), precision, x.iscomplex());
    const Fibers fibers = Fibers::along(x, dimension);
    const quantizer& q = sumRegister.assignmentQuantizer_;
    const auto identities = [&] { return identitiesOf(x, x.getDimension(dimension), q); };
    // Where each sum waits for the one before, integers round and saturate sooner.
    const bool isShort = precision <= kMaxDoublePrecision,
               areInTurn = fibers.stride == 1 && fibers.length > 1 && !identities().sum;
    const IntegerSizes sizes = isShort && !areInTurn ? IntegerSizes::None
                                                     : integersForSums(type, x.getNumericType(), type,
                                                                       x.getFimath().castBeforeSum(), false);
    const bool hasIntegers = sizes != IntegerSizes::None,
               hasBlocks = isShort && (!hasIntegers || q.logger().isOn());
    const Path path = choosePath({.hasBlocks = hasBlocks,
                                  .hasIntegers = hasIntegers,
                                  .wideLoops = isShort ? WideLoops::None : WideLoops::OfAny},
                                 x, result);
    const auto share = [&](std::size_t worthwhile, auto sumFibers) {
      shareLoop(fibers.count, std::max<std::size_t>(worthwhile / fibers.length, 1), std::array{&q}, sumFibers);
    };
    if (path == Path::Blocks) {
      const OperandParts from = OperandParts::of(x);
      double *re = result.realPart_.doubles(), *im = result.imagPart_.doubles();
      share(kSharedDoubles, [&](std::size_t first, std::size_t count, const auto& own) {
        const FiberSums sums(fibers, identities(), *own[0]);
        sums.run<KeepsAll>(from.re, re, first, count);
        if (from.im) sums.run<KeepsAll>(from.im, im, first, count);
      });
    } else if (path == Path::Integers) {
      withIntegers(sizes, [&](auto, auto stored) {
        const auto sumPart = [&](const number& part, number& target) {
          const IntegerOperand from(x, part);
          const IntegerTarget to(target, type);
          share(kSharedIntegers, [&](std::size_t first, std::size_t count, const auto& own) {
            IntegerFiberSums<decltype(stored)> sums(x, fibers, identities(), *own[0]);
            sums.template run<KeepsAll>(from, to, first, count);
            sums.record();
          });
        };
        sumPart(x.realPart_, result.realPart_);
        if (x.iscomplex()) sumPart(x.imagPart_, result.imagPart_);
      });
    } else if (path == Path::Wide) {
      const Identities identity = identities();
      const auto sumPart = [&](const number& part, number& target) {
        makeStorable(target);
        const WideFiberSums sums(x, part, fibers, identity, sumRegister.realPart_.getprecision(), target);
        if (!KeepsAll && identity.sum && fibers.count == 1) return sums.runInParts(q);
        share(kSharedWide, [&](std::size_t first, std::size_t count, const auto& own) {
          sums.template run<KeepsAll>(first, count, *own[0]);
        });
      };
      sumPart(x.realPart_, result.realPart_);
      if (x.iscomplex()) sumPart(x.imagPart_, result.imagPart_);
    } else {
      sumFibers(x, fibers, KeepsAll, sumRegister, result);
    }
    // Element by element the register has counted its own.
    if (path != Path::Elements) q.logger().nMathOperationsPlus(x.numel_);
    x.finishRegisters(&result, name, {{RegisterLog::Sum, sumRegister}});
  }
};

fi fi::sumAlong(unsigned dimension) const {
  const unsigned length = getDimension(dimension);
  Shape dims = dims_;
  if (dimension <= dims.size()) dims[dimension - 1] = 1;
  if (dimension == 1 && dims_[0] < 2 && dims[1] == 0) dims[1] = 1;
  dims = withoutLastOnes(std::move(dims));
  const auto numDims = static_cast<unsigned>(dims.size());
  if (isempty())
    return fi(dims.data(), numDims, getNumericType(), getFimath(), iscomplex(), tag(), OperationTypeEnum::Sum);

  errorIfBooleanMath(*this);
  errorIfSlopeBiasMath(*this);
  const NumericType type = resulttypes::sumOfTerms(getNumericType(), length, getFimath());
  fi result(dims, type, getFimath(), iscomplex(), tag(), OperationTypeEnum::Sum);
  DimensionSums::into<false>(result, *this, dimension, "sum");
  return result;
}

fi fi::cumulativeSumAlong(unsigned dimension) const {
  errorIfBooleanMath(*this);
  errorIfSlopeBiasMath(*this);
  const unsigned length = getDimension(dimension);
  if (isempty()) return unset(dims_, iscomplex());
  const NumericType type = resulttypes::sumOfTerms(getNumericType(), length, getFimath());
  fi result(dims_, type, getFimath(), iscomplex(), tag(), OperationTypeEnum::Sum);
  DimensionSums::into<true>(result, *this, dimension, "cumsum");
  return result;
}

}  // namespace embedded
