/// Filters and convolutions: element by element through registers, and on stored integers.
#include "qfcore/fi/filter.h"

#include <algorithm>
#include <utility>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/elementproduct.h"
#include "qfcore/fi/lastones.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/fibers.h"
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
  using Section = FilterKernel::Section;

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
    // Of complex factors a register holds the sum of two products, which may have more bits.
    forward_ = b.initializeProductRegister(ahead.product, ahead.term, math(), fi::precisionOf(ahead.term));
    backward_ = b.initializeProductRegister(back.product, back.term, math(), fi::precisionOf(back.term));
    forward_.coordinateComplexity(b.iscomplex() || x.iscomplex(), 1);
    backward_.coordinateComplexity(isComplex_, 1);
    fi::errorIfSlopeBiasMath(forward_);
    sum_ = b.initializeSumRegister(sum, math(), precision, isComplex_);
    output_ = fi(1, 1, output, math(), isComplex_, b.tag(), OperationTypeEnum::Assignment);
    if (elementPathOnly()) return;
    const auto products = [](bool leftIsComplex, bool rightIsComplex, unsigned terms, const fi& formed) {
      const Factors factors = leftIsComplex    ? rightIsComplex ? Factors::BothComplex : Factors::LeftComplex
                              : rightIsComplex ? Factors::RightComplex
                                               : Factors::Real;
      return FilterProducts{factors, terms, quantizerOf(formed), sumsOf(formed)};
    };
    kernel_ =
        FilterKernel::madeFor({tb, ta, tx, products(b.iscomplex(), x.iscomplex(), forwardTerms, forward_),
                               products(a.iscomplex(), isComplex_, backwardTerms, backward_), quantizerOf(sum_),
                               quantizerOf(output_), math().castBeforeSum(), isComplex_});
  }

  const fimath& math() const { return owner_.getFimath(); }
  const NumericType& sumType() const { return sum_.getNumericType(); }

  /// A signal to fill, of the type that comes out.
  fi signalOf(const fi::Shape& dims) const { return made(dims, output_.getNumericType()); }
  /// `given` states, brought into the type of sums; zeros without them.
  fi statesOf(const fi::Shape& dims, const fi* given = nullptr) const {
    fi z = made(dims, sumType());
    if (!given) return z;
    fi brought(*given);
    brought.setFimath(math());
    brought.setNumericType(sumType());
    copy(brought, 0, z.numel(), z, 0);
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

  /// Fibers of x into those of y, through the sections one after the other. `states` are those of each fiber
  /// and section: first those that are given, zeros where it `isAtRest`, then those that are left.
  void filter(const std::vector<Section>& sections, const fi& x, const Fibers& fibers, bool isAtRest,
              fi& states, fi& y) {
    const std::size_t samples = sections.size() * fibers.count * fibers.length;
    forwardProducts_ += samples * sections[0].b.numel();
    backwardProducts_ += samples * backwardTerms_;
    if (kernel_) return kernel_->filter(sections, x, fibers, isAtRest, states, y);
    const auto order =
        static_cast<unsigned>(states.numel() / std::max<std::size_t>(sections.size() * fibers.count, 1));
    fi current = x;
    for (std::size_t k = 0; k < sections.size(); ++k) {
      for (std::size_t fiber = 0; fiber < fibers.count; ++fiber) {
        const std::size_t place = (fiber * sections.size() + k) * order;
        fi z = statesOf({order + 1, 1});
        copy(states, static_cast<unsigned>(place), order, z, 0);
        byElements(sections[k].b, sections[k].a, current, fibers, fibers.first(fiber), z, y);
        copy(z, 0, order, states, place);
      }
      if (k + 1 < sections.size()) current = y;
    }
  }

  void convolve(const fi& u, const fi& v, unsigned skipped, fi& y) {
    const auto bounds = [&](unsigned place) {
      const unsigned n = place + skipped;
      return std::pair{n < v.numel() ? 0 : n - v.numel() + 1, std::min(u.numel(), n + 1)};
    };
    for (unsigned place = 0; place < y.numel(); ++place)
      forwardProducts_ += bounds(place).second - bounds(place).first;
    if (kernel_) return kernel_->convolve(u, v, skipped, y);
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

  /// Whether it has formed the sums of products of the fibers.
  bool dot(const fi& a, const fi& b, const Fibers& fibers, fi& y) {
    if (!kernel_) return false;
    forwardProducts_ += fibers.count * fibers.length;
    kernel_->dot(a, b, fibers, y);
    return true;
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
  fi y = run.signalOf(x.dims()), left = run.statesOf({count, static_cast<unsigned>(fibers.count)}, states);
  run.filter({{b, a}}, x, fibers, !states, left, y);
  run.finish(y);
  return {std::move(y), std::move(left)};
}

Filtered sosfilt(const fi& sections, const fi& signal, const fi* states, unsigned dimension) {
  constexpr unsigned kStatesEach = 2;
  const unsigned rows = sections.rows();
  if (sections.numDims() > 2 || sections.cols() != 6 || rows == 0) fail<kSections>();
  // Every section then meets signals of one kind.
  const fi x = sections.iscomplex() && signal.isreal() ? signal.complex() : signal;
  std::vector<FilterRun::Section> each;
  for (unsigned row = 0; row < rows; ++row) {
    errorIfLeadingIsNotOne(sections, row + 3 * rows);
    const auto taken = [&](unsigned column) {
      const unsigned first = row + column * rows;
      return FilterRun::picked(sections, {1, 3}, {first, first + rows, first + 2 * rows});
    };
    each.push_back({taken(0), taken(3)});
  }
  const Fibers fibers = Fibers::along(x, dimensionOf(x, dimension));
  const auto columns = static_cast<unsigned>(fibers.count);
  errorIfNoStates(states, kStatesEach, std::size_t{rows} * columns);
  FilterRun run("sosfilt", sections, sections, x, 3, 2);
  fi::Shape statesShape{kStatesEach, rows};
  if (columns != 1) statesShape.push_back(columns);
  fi y = run.signalOf(x.dims()), left = run.statesOf(statesShape, states);
  run.filter(each, x, fibers, !states, left, y);
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
  const auto isNothing = [](const fi& x) { return x.dims() == fi::Shape{0, 0}; };  // its sum is one zero
  const bool areVectors =
      dimension == 0 && ((first.isvector() && second.isvector()) || (isNothing(first) && isNothing(second)));
  if (!areVectors || first.numel() != second.numel()) first.checkElementwiseSize(second);
  const fi a = first.iscomplex() ? first.conj() : first;
  const unsigned along = dimensionOf(first, dimension);
  const Fibers fibers = areVectors ? Fibers{1, first.numel(), 1} : Fibers::along(first, along);
  const auto length = static_cast<unsigned>(fibers.length);
  FilterRun run("dot", a, a, second, length, 0);
  fi::Shape dims = areVectors ? fi::Shape{1, 1} : first.dims();
  if (along <= dims.size()) dims[along - 1] = 1;
  dims = withoutLastOnes(std::move(dims));
  fi result = run.signalOf(dims);
  if (run.dot(a, second, fibers, result)) {
    run.finish(result);
    return result;
  }
  std::vector<unsigned> rising(length), falling(length);
  for (std::size_t fiber = 0; fiber < fibers.count; ++fiber) {
    for (unsigned k = 0; k < length; ++k) {
      rising[k] = static_cast<unsigned>(fibers.first(fiber) + k * fibers.stride);
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
  const NumericType& type = x.getNumericType();
  constexpr int kCountBits = 32;
  const NumericType counts = type.isFixedOrScaledDouble() ? NumericType(false, kCountBits, 0) : type;
  return x.sumAlong(along).over(fi(x.getDimension(along), counts, x.getFimath()), type);
}

}  // namespace embedded
