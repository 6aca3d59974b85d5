/// Filters and convolutions: element by element through registers, and on stored integers.
#include "qfcore/fi/filter.h"

#include <algorithm>
#include <numeric>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/elementproduct.h"
#include "qfcore/fi/fibers.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/filterkernel.h"
#include "qfcore/fi/paths/path.h"
#include "qfcore/fi/resulttypes.h"
#include "qfcore/fi/scratch.h"
#include "tessel/interruption.h"

namespace embedded {

namespace {

constexpr Message kCoefficients{"numforge:fi:filter:coefficients",
                                "The coefficients of a filter are two vectors with one element at least."};
constexpr Message kLeadingCoefficient{
    "numforge:fi:filter:leadingcoefficient",
    "The first coefficient of the denominator must be 1: divide the coefficients of both by it beforehand."};
constexpr Message kStates{"numforge:fi:filter:states",
                          "Initial states are needed as a matrix of %ld rows and %ld columns."};
constexpr Message kSections{"numforge:fi:sosfilt:sections",
                            "Sections are rows of a matrix of six columns: [b0 b1 b2 1 a1 a2]."};
constexpr Message kVectors{"numforge:fi:conv:vectors",
                           "A convolution takes two vectors with one element at least."};

/// So many products of any kind take about a millisecond, after which the interrupt key is asked for.
constexpr unsigned kProductsAtOnce = 4096;

bool isVector(const fi& x) { return x.isvector() && !x.isempty(); }

unsigned dimensionOf(const fi& x, unsigned dimension) {
  return dimension > 0 ? dimension : x.firstNonSingleton();
}

}  // namespace

/// The registers of one filter or convolution, and its loops through them.
class FilterRun {
 public:
  /// Products of b and x, of which `forwardTerms` meet in one sum, and, unless `backwardTerms` is 0, of a and
  /// the signal that comes out. Raises the type rules' errors.
  FilterRun(const char* name, const fi& b, const fi& a, const fi& x, unsigned forwardTerms,
            unsigned backwardTerms)
      : name_(name),
        owner_(b),
        hasFeedback_(backwardTerms > 0),
        isComplex_(b.iscomplex() || x.iscomplex() || (hasFeedback_ && a.iscomplex())),
        backwardTerms_(backwardTerms) {
    fi::errorIfMathMismatch(b, x);
    for (const fi* operand : {&b, &x}) fi::errorIfSlopeBiasMath(*operand);
    if (hasFeedback_) {
      fi::errorIfMathMismatch(a, x);
      fi::errorIfSlopeBiasMath(a);
    }
    const NumericType &tb = b.getNumericType(), &ta = a.getNumericType(), &tx = x.getNumericType();
    const TermTypes ahead(tb, b.iscomplex(), tx, x.iscomplex(), math());
    const TermTypes back = hasFeedback_ ? TermTypes(ta, a.iscomplex(), tx, isComplex_, math()) : ahead;
    const NumericType sum =
        resulttypes::sumOfEither(ahead.term, back.term, std::max(forwardTerms + backwardTerms, 1U), math());
    const NumericType& output = hasFeedback_ ? tx : sum;
    const unsigned precision = std::max(precisionOf(ahead.term, sum), precisionOf(back.term, sum));
    forward_ = b.initializeProductRegister(ahead.product, ahead.term, math(), 0);
    backward_ = b.initializeProductRegister(back.product, back.term, math(), 0);
    forward_.coordinateComplexity(b.iscomplex() || x.iscomplex(), 1);
    backward_.coordinateComplexity(isComplex_, 1);
    fi::errorIfSlopeBiasMath(forward_);
    sum_ = b.initializeSumRegister(sum, math(), precision, isComplex_);
    output_ = fi(1, 1, output, math(), isComplex_, b.tag(), OperationTypeEnum::Assignment);
    if (!elementPathOnly() && !isComplex_) {
      kernel_ = FilterKernel::madeFor({tb, ta, tx, forwardTerms, backwardTerms, quantizerOf(forward_),
                                       quantizerOf(backward_), quantizerOf(sum_), quantizerOf(output_),
                                       math().castBeforeSum()});
    }
  }

  const fimath& math() const { return owner_.getFimath(); }
  const NumericType& sumType() const { return sum_.getNumericType(); }
  bool isComplex() const { return isComplex_; }

  /// A signal or states to fill, of the type that comes out or that sums have.
  fi signalOf(const fi::Shape& dims) const { return made(dims, output_.getNumericType()); }
  fi statesOf(const fi::Shape& dims) const { return made(dims, sumType()); }

  /// Element `from` on of `states`, brought into their type; zeros without them. One more is always 0.
  fi statesFrom(const fi* states, std::size_t from, unsigned count) const {
    fi z = statesOf({count + 1, 1});
    if (!states) return z;
    std::vector<unsigned> positions(count);
    std::iota(positions.begin(), positions.end(), static_cast<unsigned>(from));
    fi given = picked(*states, {count, 1}, positions);
    given.setFimath(math());
    given.setNumericType(sumType());
    copy(given, 0, count, z, 0);
    return z;
  }

  /// The elements at `positions`, from 0.
  static fi picked(const fi& x, const fi::Shape& dims, const std::vector<unsigned>& positions) {
    return x.rearranged(dims, positions);
  }
  static void copy(const fi& from, unsigned first, unsigned count, fi& to, std::size_t place) {
    for (unsigned k = 0; k < count; ++k) {
      const auto target = static_cast<unsigned>(place + k);
      to.realPart_[target] = from.realPart_[first + k];
      if (from.iscomplex()) to.imagPart_[target] = from.imagPart_[first + k];
    }
  }

  /// One fiber of x into that of y, for which there are K + 1 states.
  void filterFiber(const fi& b, const fi& a, const fi& x, const Fibers& fibers, std::size_t fiber, fi& z,
                   fi& y) {
    const std::size_t first = fibers.first(fiber);
    countOperations(std::size_t{b.numel()} * fibers.length, std::size_t{backwardTerms_} * fibers.length);
    if (!kernel_) return byElements(b, a, x, fibers, first, z, y);
    FilterKernel::Stored signal = FilterKernel::stored(x, first, fibers.stride, fibers.length);
    if (!hasFeedback_) return kernel_->direct(all(b), signal, z, y, first, fibers.stride);
    kernel_->recursive(all(b), all(a), signal, z);
    FilterKernel::store(signal, y, first, fibers.stride);
  }

  /// The same through sections, from one to the next without the way through arrays. All of x is real.
  bool cascade(const std::vector<fi>& b, const std::vector<fi>& a, const fi& x, const Fibers& fibers,
               std::size_t fiber, std::vector<fi>& z, fi& y) {
    if (!kernel_) return false;
    const std::size_t first = fibers.first(fiber);
    FilterKernel::Stored signal = FilterKernel::stored(x, first, fibers.stride, fibers.length);
    for (std::size_t k = 0; k < b.size(); ++k) {
      countOperations(3 * fibers.length, 2 * fibers.length);
      kernel_->recursive(all(b[k]), all(a[k]), signal, z[k]);
    }
    FilterKernel::store(signal, y, first, fibers.stride);
    return true;
  }

  void convolve(const fi& u, const fi& v, unsigned skipped, fi& y) {
    const auto bounds = [&](unsigned place) {
      const unsigned n = place + skipped;
      return std::pair{n < v.numel() ? 0 : n - v.numel() + 1, std::min(u.numel(), n + 1)};
    };
    std::size_t products = 0;
    for (unsigned place = 0; place < y.numel(); ++place) products += bounds(place).second - bounds(place).first;
    countOperations(products, 0);
    if (kernel_) return kernel_->convolve(all(u), all(v), skipped, y);
    const fi left(u, Reading{}), right(v, Reading{});
    ElementProduct product(left, right, quantizerOf(forward_), sumsOf(forward_));
    Scratch scratch(sum_.realPart_.getprecision());
    fi sum = statesOf({1, 1});
    for (unsigned place = 0; place < y.numel(); ++place) {
      sum.realPart_ = 0.0;
      if (isComplex_) sum.imagPart_ = 0.0;
      const auto [begin, end] = bounds(place);
      for (unsigned k = begin; k < end; ++k) {
        if (k % kProductsAtOnce == 0) tessel::raiseIfInterrupted();
        left.setIndex(k);
        right.setIndex(place + skipped - k);
        product(left, right, forward_.realPart_, forward_.imagPart_);
        sum_.sumEquals(sum, forward_, sum_, scratch);
        take(sum_, sum);
      }
      y.setIndex(place);
      take(sum, y);
    }
  }

  /// Hands on what was recorded, to the result, the operand that the registers belong to, the totals, the user.
  void finish(fi& result) {
    for (const fi* product : {&forward_, &backward_}) {
      const std::size_t count = product == &forward_ ? forwardProducts_ : backwardProducts_;
      quantizerOf(*product).logger().nMathOperationsPlus(count);
    }
    if (kernel_) quantizerOf(sum_).logger().nMathOperationsPlus(forwardProducts_ + backwardProducts_);
    owner_.finishRegisters(&result, name_,
                           {{RegisterLog::Product, forward_},
                            {RegisterLog::ProductSum, *forward_.arithmeticState().sumRegister},
                            {RegisterLog::Product, backward_},
                            {RegisterLog::ProductSum, *backward_.arithmeticState().sumRegister},
                            {RegisterLog::Sum, sum_},
                            {RegisterLog::NotKept, output_}});
  }

 private:
  struct TermTypes {
    NumericType product, term;

    TermTypes(const NumericType& a, bool aIsComplex, const NumericType& b, bool bIsComplex, const fimath& math)
        : product(resulttypes::product(a, b, math)),
          term(aIsComplex && bIsComplex
                   ? resulttypes::sumOfTwoProducts(resulttypes::dataType(a, b), product, math)
                   : product) {}
  };

  static const quantizer& quantizerOf(const fi& x) { return x.assignmentQuantizer_; }
  static const quantizer& sumsOf(const fi& product) {
    return product.arithmeticState().sumRegister->assignmentQuantizer_;
  }
  static FilterKernel::Stored all(const fi& x) { return FilterKernel::stored(x, 0, 1, x.numel()); }
  static void take(const fi& from, fi& to) {
    to.realPart_ = from.realPart_;
    if (to.iscomplex()) to.imagPart_ = from.imagPart_;
  }

  unsigned precisionOf(const NumericType& term, const NumericType& sum) const {
    return sumPrecision(sum, term, sum, math().castBeforeSum());
  }
  fi made(const fi::Shape& dims, const NumericType& type) const {
    return fi(dims.data(), static_cast<unsigned>(dims.size()), type, math(), isComplex_, owner_.tag(),
              hasFeedback_ ? OperationTypeEnum::Assignment : OperationTypeEnum::Sum);
  }
  void countOperations(std::size_t forward, std::size_t backward) {
    forwardProducts_ += forward;
    backwardProducts_ += backward;
  }

  void byElements(const fi& numerator, const fi& denominator, const fi& signal, const Fibers& fibers,
                  std::size_t first, fi& z, fi& y) {
    const fi b(numerator, Reading{}), a(denominator, Reading{}), x(signal, Reading{});
    ElementProduct ahead(b, x, quantizerOf(forward_), sumsOf(forward_)),
        back(a, y, quantizerOf(backward_), sumsOf(backward_));
    Scratch scratch(sum_.realPart_.getprecision());
    const fi previous(z, CopyIndex{});
    const auto addForward = [&](const fi& to, unsigned k) {
      b.setIndex(k);
      ahead(b, x, forward_.realPart_, forward_.imagPart_);
      sum_.sumEquals(to, forward_, sum_, scratch);
    };
    const std::size_t atOnce = std::max<std::size_t>(1, kProductsAtOnce / (std::size_t{1} + z.numel()));
    for (std::size_t n = 0; n < fibers.length; ++n) {
      if (n % atOnce == 0) tessel::raiseIfInterrupted();
      const auto place = static_cast<unsigned>(first + n * fibers.stride);
      x.setIndex(place);
      y.setIndex(place);
      previous.setIndex(0);
      addForward(previous, 0);
      quantizeOutput(y);
      for (unsigned k = 1; k < z.numel(); ++k) {
        previous.setIndex(k);
        z.setIndex(k - 1);
        take(previous, z);
        if (k < b.numel()) {
          addForward(z, k);
          take(sum_, z);
        }
        if (k <= backwardTerms_) {
          a.setIndex(k);
          back(a, y, backward_.realPart_, backward_.imagPart_);
          sum_.diffEquals(z, backward_, sum_, scratch);
          take(sum_, z);
        }
      }
    }
  }

  void quantizeOutput(fi& y) const {
    if (!hasFeedback_) return take(sum_, y);
    quantizerOf(output_).quantize(sum_.realPart_, y.realPart_);
    if (isComplex_) quantizerOf(output_).quantize(sum_.imagPart_, y.imagPart_);
  }

  const char* name_;
  const fi& owner_;
  bool hasFeedback_, isComplex_;
  unsigned backwardTerms_;
  fi forward_, backward_, sum_, output_;
  std::unique_ptr<FilterKernel> kernel_;
  std::size_t forwardProducts_ = 0, backwardProducts_ = 0;
};

namespace {

void errorIfLeadingIsNotOne(const fi& a, unsigned first) {
  const fi leading(a, CopyElement{}, first);
  if (leading.realWorldReal() != 1 || leading.realWorldImag() != 0) fail<kLeadingCoefficient>();
}

/// Initial states are a column for each fiber, or for one fiber any vector.
void errorIfNoStates(const fi* states, std::size_t rows, std::size_t columns) {
  if (!states) return;
  const bool isColumnEach = states->rows() == rows || columns == 1;
  if (states->numel() != rows * columns || !isColumnEach)
    fail<kStates>(static_cast<long>(rows), static_cast<long>(columns));
}

}  // namespace

Filtered filter(const fi& b, const fi& a, const fi& x, const fi* states, unsigned dimension) {
  if (!isVector(b) || !isVector(a)) fail<kCoefficients>();
  errorIfLeadingIsNotOne(a, 0);
  const Fibers fibers = Fibers::along(x, dimensionOf(x, dimension));
  const unsigned count = std::max(b.numel(), a.numel()) - 1;
  errorIfNoStates(states, count, fibers.count);
  FilterRun run("filter", b, a, x, b.numel(), a.numel() - 1);
  fi y = run.signalOf(x.dims()), left = run.statesOf({count, static_cast<unsigned>(fibers.count)});
  for (std::size_t k = 0; k < fibers.count; ++k) {
    fi z = run.statesFrom(states, k * count, count);
    run.filterFiber(b, a, x, fibers, k, z, y);
    FilterRun::copy(z, 0, count, left, k * count);
  }
  run.finish(y);
  return {std::move(y), std::move(left)};
}

Filtered sosfilt(const fi& sections, const fi& signal, const fi* states, unsigned dimension) {
  constexpr unsigned kStatesEach = 2;
  const unsigned rows = sections.rows();
  if (sections.numDims() > 2 || sections.cols() != 6 || rows == 0) fail<kSections>();
  // Every section then meets signals of one kind.
  const fi x = sections.iscomplex() && signal.isreal() ? signal.complex() : signal;
  std::vector<fi> b, a;
  for (unsigned row = 0; row < rows; ++row) {
    errorIfLeadingIsNotOne(sections, row + 3 * rows);
    const auto taken = [&](unsigned column) {
      const unsigned first = row + column * rows;
      return FilterRun::picked(sections, {1, 3}, {first, first + rows, first + 2 * rows});
    };
    b.push_back(taken(0));
    a.push_back(taken(3));
  }
  const Fibers fibers = Fibers::along(x, dimensionOf(x, dimension));
  const auto columns = static_cast<unsigned>(fibers.count);
  errorIfNoStates(states, kStatesEach, std::size_t{rows} * columns);
  FilterRun run("sosfilt", sections, sections, x, 3, 2);
  fi::Shape statesShape{kStatesEach, rows};
  if (columns != 1) statesShape.push_back(columns);
  fi y = run.signalOf(x.dims()), left = run.statesOf(statesShape);
  for (std::size_t fiber = 0; fiber < fibers.count; ++fiber) {
    std::vector<fi> z;
    for (unsigned k = 0; k < rows; ++k)
      z.push_back(run.statesFrom(states, kStatesEach * (fiber * rows + k), kStatesEach));
    if (!run.cascade(b, a, x, fibers, fiber, z, y)) {
      fi current = x;
      for (unsigned k = 0; k < rows; ++k) {
        run.filterFiber(b[k], a[k], current, fibers, fiber, z[k], y);
        current = y;
      }
    }
    for (unsigned k = 0; k < rows; ++k)
      FilterRun::copy(z[k], 0, kStatesEach, left, kStatesEach * (fiber * rows + k));
  }
  run.finish(y);
  return {std::move(y), std::move(left)};
}

fi conv(const fi& u, const fi& v, ConvolutionShape shape) {
  if (!isVector(u) || !isVector(v)) fail<kVectors>();
  FilterRun run("conv", u, u, v, std::min(u.numel(), v.numel()), 0);
  unsigned length = u.numel() + v.numel() - 1, skipped = 0;
  if (shape == ConvolutionShape::Same) {
    length = u.numel();
    skipped = v.numel() / 2;
  } else if (shape == ConvolutionShape::Valid) {
    length = u.numel() >= v.numel() ? u.numel() - v.numel() + 1 : 0;
    skipped = v.numel() - 1;
  }
  const bool isColumn = (u.isscalar() ? v : u).cols() == 1;
  fi w = run.signalOf(isColumn ? fi::Shape{length, 1} : fi::Shape{1, length});
  run.convolve(u, v, skipped, w);
  run.finish(w);
  return w;
}

fi dot(const fi& first, const fi& second, unsigned dimension) {
  const bool areVectors = first.isvector() && second.isvector() && dimension == 0;
  if (!areVectors || first.numel() != second.numel()) first.checkElementwiseSize(second);
  const fi a = first.iscomplex() ? first.conj() : first;
  const unsigned along = dimensionOf(first, dimension);
  const Fibers fibersA = areVectors ? Fibers{1, first.numel(), 1} : Fibers::along(first, along);
  const auto length = static_cast<unsigned>(fibersA.length);
  FilterRun run("dot", a, a, second, length, 0);
  fi::Shape dims = areVectors ? fi::Shape{1, 1} : first.dims();
  if (along <= dims.size()) dims[along - 1] = 1;
  fi result = run.signalOf(dims);
  std::vector<unsigned> rising(length), falling(length);
  for (std::size_t fiber = 0; fiber < fibersA.count; ++fiber) {
    for (unsigned k = 0; k < length; ++k) {
      rising[k] = static_cast<unsigned>(fibersA.first(fiber) + k * fibersA.stride);
      falling[length - 1 - k] = rising[k];
    }
    fi sum = run.signalOf({1, 1});
    if (length > 0) {
      run.convolve(FilterRun::picked(a, {1, length}, rising), FilterRun::picked(second, {1, length}, falling),
                   length - 1, sum);
    }
    FilterRun::copy(sum, 0, 1, result, fiber);
  }
  run.finish(result);
  return result;
}

fi cumsum(const fi& x, unsigned dimension) { return x.cumulativeSumAlong(dimensionOf(x, dimension)); }

fi mean(const fi& x, unsigned dimension) {
  const unsigned along = dimensionOf(x, dimension);
  const NumericType type(x.getNumericType());
  constexpr int kCountBits = 32;
  const NumericType counts = type.isFixedOrScaledDouble() ? NumericType(false, kCountBits, 0) : type;
  return x.sumAlong(along).over(fi(x.getDimension(along), counts, x.getFimath()), type);
}

}  // namespace embedded
