/// Square roots: by bisection over the bits of the result, and directly where that gives the same bits.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/elementproduct.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/paths/productkernel.h"
#include "qfcore/fi/scratch.h"

namespace embedded {

using EmbeddedTypeSystem::NumericType;

namespace {

constexpr Message kBinaryPointOnly{"numforge:fi:sqrt:binarypointonly",
                                   "sqrt(A), sqrt(A,T) or sqrt(A,T,F) can only be calculated for FI object A  "
                                   "and numerictype T when the scaling of A "
                                   "and T has a fractional slope of 1 and 0 bias (binary-point only scaling)."};
constexpr Message kUnspecifiedScaling{
    "numforge:fi:sqrt:unspecifiedscaling",
    "sqrt(A,T) or sqrt(A,T,F) is not supported when numerictype T has unspecified scaling."};
constexpr Message kUnspecifiedSign{
    "numforge:fi:sqrt:unspecifiedsign",
    "sqrt(A,T) or sqrt(A,T,F) is not supported when numerictype T has unspecified sign."};
constexpr Message kNoComplex{"numforge:fi:sqrt:nocomplex",
                             "The sqrt function is not supported for complex fi."};
constexpr Message kNoNegative{"numforge:fi:sqrt:nonegative",
                              "The sqrt function is not supported for negative valued fi."};
constexpr Message kNoBoolean{
    "numforge:fi:sqrt:nobooleansqrt",
    "sqrt(A), sqrt(A,T) or sqrt(A,T,F) is not supported when A or T are of datatype boolean."};

enum class RootRounding { Down, Up, ToNearest };

RootRounding rootRounding(RoundModeEnum mode) {
  switch (mode) {
    case RoundModeEnum::fix:
    case RoundModeEnum::floor: return RootRounding::Down;
    case RoundModeEnum::ceil: return RootRounding::Up;
    default: return RootRounding::ToNearest;
  }
}

/// The root's word: its largest value, its least step, and how its last bit is rounded.
struct RootFormat {
  explicit RootFormat(const fi& result)
      : largest(result.getAssignmentQuantizer().max()),
        step(result.getAssignmentQuantizer().eps()),
        bits(result.getNumericType().wordLength() - result.getNumericType().isSigned()),
        fractionLength(result.getNumericType().fractionLength()),
        rounding(rootRounding(result.getFimath().roundMode())) {}

  number largest, step;
  int bits;  ///< those that are tried: a root has no sign
  int fractionLength;
  RootRounding rounding;
};

/// Squares in a register with slope and bias, and back in the real-world values that elements are compared
/// with.
struct SlopeBiasSquare {
  SlopeBiasSquare(const NumericType& root, const NumericType& square)
      : product(root, root, square), scaling(square) {}
  SlopeBiasProduct product;
  RealWorldScaling scaling;
};

/// Bits that hold real-world values of the register of squares, and sums of two.
unsigned squarePrecision(const NumericType& square) {
  const BitRange range = BitRange::ofRealWorld(square);
  return (range + range).bits();
}

/// Roots bit by bit, each candidate squared in the product register.
class Bisection {
 public:
  /// Scratch values have `precision` bits, twice an element's value `elementPrecision` or more.
  Bisection(const NumericType& root, const RootFormat& format, const quantizer& squares, unsigned precision,
            unsigned elementPrecision)
      : format_(format),
        squares_(squares),
        candidate_(precision),
        trial_(precision),
        step_(precision),
        square_(precision),
        upperSquare_(precision),
        twice_(std::max(precision, elementPrecision)) {
    if (squares.numericType().isSlopeBias()) slopeBias_.emplace(root, squares.numericType());
  }

  const number& operator()(const number& x) {
    candidate_ = 0.0;
    if (x.iszero()) return candidate_;
    step_ = 1.0;
    step_.pow2(format_.bits - 1);
    step_.pow2(-format_.fractionLength);
    for (int bit = 0; bit < format_.bits; ++bit) {
      trial_ = candidate_;
      trial_ += step_;
      if (squareOf(trial_, square_) <= x) candidate_ = trial_;
      step_.pow2(-1);
    }
    if (candidate_ < format_.largest && roundsUp(x)) candidate_ += format_.step;
    return candidate_;
  }

 private:
  const number& squareOf(const number& value, number& square) {
    if (slopeBias_) {
      square = slopeBias_->product(value, value, squares_);
      slopeBias_->scaling.fromHeld(square);
      return square;
    }
    square = value;
    square *= value;
    return squares_.quantize(square);
  }

  bool roundsUp(const number& x) {
    if (format_.rounding == RootRounding::Down) return false;
    squareOf(candidate_, square_);
    if (format_.rounding == RootRounding::Up) return square_ < x;
    trial_ = candidate_;
    trial_ += format_.step;
    // (c + lsb)² − x < x − c², without a difference that would have to be rounded.
    square_ += squareOf(trial_, upperSquare_);
    twice_ = x;
    twice_.pow2(1);
    return square_ < twice_;
  }

  const RootFormat& format_;
  const quantizer& squares_;
  std::optional<SlopeBiasSquare> slopeBias_;
  Scratch candidate_, trial_, step_, square_, upperSquare_, twice_;
};

/// The same for doubles, in blocks. The order of the squares differs, which their record does not show.
class BlockBisection {
 public:
  static bool applies(const fi& x, const fi& result, const quantizer& squares) {
    return choosePath({.hasBlocks = ProductKernel::applies(result, result, squares)}, x, result) ==
           Path::Blocks;
  }
  /// The quantizer and the format must outlive it.
  BlockBisection(const fi& result, const RootFormat& format, const quantizer& squares)
      : multiply_(result, result, squares),
        largest_(format.largest.todouble()),
        least_(format.step.todouble()),
        format_(format) {}

  /// At most `kBlock` roots. That of zero is known without a square.
  void operator()(const double* values, double* roots, std::size_t count) const {
    Selection others(values, count, [&](std::size_t k) { return values[k] != 0; });
    std::fill_n(roots, count, 0.0);
    const Block& x = others.values;
    Block root{}, trial, square;
    double step = least_ * std::ldexp(1.0, format_.bits);
    for (int bit = 0; bit < format_.bits; ++bit) {
      step /= 2;
      combine<Add>(trial.data(), root.data(), false, &step, true, others.count);
      squaresOf(trial, square, others.count);
      keepWhere(root.data(), trial.data(), square.data(), x.data(), others.count);
    }
    for (std::size_t k = 0; k < others.count; ++k) roots[others.places[k]] = root[k];
    if (format_.rounding != RootRounding::Down) roundUp(values, roots, count);
  }

 private:
  /// The values of a block that satisfy a condition, side by side.
  struct Selection {
    template <class Condition>
    Selection(const double* from, std::size_t size, Condition holds) {
      for (std::size_t k = 0; k < size; ++k) {
        if (!holds(k)) continue;
        values[count] = from[k];
        places[count++] = k;
      }
    }
    Block values;
    std::array<std::size_t, kBlock> places;
    std::size_t count = 0;
  };

  void squaresOf(const Block& values, Block& squares, std::size_t count) const {
    multiply_(squares.data(), values.data(), false, values.data(), false, count);
  }

  QFCORE_VECTORISED static void keepWhere(double* root, const double* trial, const double* square,
                                          const double* x, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) root[k] = square[k] <= x[k] ? trial[k] : root[k];
  }

  void roundUp(const double* values, double* roots, std::size_t count) const {
    const auto mayGrow = [&](std::size_t k) { return values[k] != 0 && roots[k] < largest_; };
    const Selection x(values, count, mayGrow), below(roots, count, mayGrow);
    Block square, upper, upperSquare{};
    squaresOf(below.values, square, x.count);
    const bool toNearest = format_.rounding == RootRounding::ToNearest;
    if (toNearest) {
      combine<Add>(upper.data(), below.values.data(), false, &least_, true, x.count);
      squaresOf(upper, upperSquare, x.count);
    }
    for (std::size_t k = 0; k < x.count; ++k) {
      const double twice = toNearest ? square[k] + upperSquare[k] : 2 * square[k];
      if (twice < 2 * x.values[k]) roots[x.places[k]] += least_;
    }
  }

  ProductKernel multiply_;
  double largest_, least_;
  const RootFormat& format_;
};

// ----------------------------------------------------- direct roots, where every square is exact and unlogged

// There the bisection ends at the largest multiple c of the step with c² <= x, up to the largest value. The
// floating-point root, rounded to nearest, is c or more, for multiples of the step are floating-point values;
// so the multiple below it is c, or the next one where the root has been rounded up to that.

/// The sign of c · d + rest − x, exactly: the product as a double and its error. Both are multiples of the
/// squared step, the error of at most 52 bits, so that it takes in half of one as the rest. Where x is not
/// within a factor of 2 of the product, their difference is rounded, but then outweighs the error.
double compareProduct(double c, double d, double rest, double x) {
  const double high = c * d;
  const double low = std::fma(c, d, -high) + rest;
  return (high - x) + low;
}

template <RootRounding Rounding>
double directRoot(double x, double largest, double step, double inverseStep) {
  double root = std::min(std::floor(std::sqrt(x) * inverseStep) * step, largest);
  root -= compareProduct(root, root, 0, x) > 0 ? step : 0;
  if constexpr (Rounding == RootRounding::Down) return root;
  // The mean of both squares is c (c + lsb) + lsb² / 2.
  const bool up = Rounding == RootRounding::Up ? compareProduct(root, root, 0, x) < 0
                                               : compareProduct(root, root + step, step * step / 2, x) < 0;
  return root < largest && up ? root + step : root;
}

template <RootRounding Rounding>
QFCORE_VECTORISED void directRoots(double* roots, const double* values, std::size_t count, double largest,
                                   double step, double inverseStep) {
  for (std::size_t k = 0; k < count; ++k)
    roots[k] = directRoot<Rounding>(values[k], largest, step, inverseStep);
}

void directRoots(double* roots, const double* values, std::size_t count, double largest, double step,
                 RootRounding rounding) {
  const double inverse = 1 / step;
  switch (rounding) {
    case RootRounding::Down:
      return directRoots<RootRounding::Down>(roots, values, count, largest, step, inverse);
    case RootRounding::Up: return directRoots<RootRounding::Up>(roots, values, count, largest, step, inverse);
    default: return directRoots<RootRounding::ToNearest>(roots, values, count, largest, step, inverse);
  }
}

/// Roots of so many bits that none is rounded up to a multiple of the step.
class DirectWideRoot {
 public:
  DirectWideRoot(const RootFormat& format, unsigned precision)
      : format_(format),
        root_(0.0, precision, true),
        upper_(0.0, precision, true),
        square_(0.0, precision, true),
        twice_(0.0, precision, true) {}

  const number& operator()(const number& x) {
    root_ = x;
    root_.multiprecision()->sqrt();
    root_.floor(format_.fractionLength);
    if (root_ > format_.largest) root_ = format_.largest;
    if (root_ < format_.largest && roundsUp(x)) root_ += format_.step;
    return root_;
  }

 private:
  const number& squareOf(const number& value) {
    square_ = value;
    square_ *= value;
    return square_;
  }

  bool roundsUp(const number& x) {
    if (format_.rounding == RootRounding::Down) return false;
    if (format_.rounding == RootRounding::Up) return squareOf(root_) < x;
    twice_ = x;
    twice_.pow2(1);
    twice_ -= squareOf(root_);
    upper_ = root_;
    upper_ += format_.step;
    return squareOf(upper_) < twice_;
  }

  const RootFormat& format_;
  number root_, upper_, square_, twice_;
};

template <class Root>
void rootsOf(const fi& x, fi& result, Root root) {
  const number reader(x.realPart(), Reading{});
  for (unsigned k = 0; k < x.numel(); ++k) result.realPart()[k] = root(reader[k]);
}

void directRoots(const fi& x, fi& result, const RootFormat& format) {
  const Ways ways{.isExact = true,
                  .hasBlocks = exactness::isNearOne(result.getNumericType()),
                  .wideLoops = WideLoops::OfAny};
  if (choosePath(ways, x, result) == Path::PlainDoubles) {
    const double largest = format.largest.todouble(), step = format.step.todouble();
    return directRoots(result.realPart().doubles(), valuesOf(x, x.realPart()), x.numel(), largest, step,
                       format.rounding);
  }
  // Squares, twice the element and their difference are exact. An element that is not the square of a multiple
  // of the step differs from the next one by a unit of its own bits or of twice the root's, relative to itself,
  // and its root from the multiple by half of that: more than rounding moves it.
  const unsigned precision = 2 * result.getPrecision() + x.realPart().getprecision() + kDoubleBits;
  rootsOf(x, result, DirectWideRoot(format, precision));
}

/// Types without a word: the native root.
void nativeRoots(const fi& x, fi& result, const quantizer& q) {
  double* to = result.realPart().doubles();
  const number reader(x.realPart(), Reading{});
  for (unsigned k = 0; k < x.numel(); ++k) to[k] = std::sqrt(reader[k].todouble());
  q.quantize(to, x.numel());
}

}  // namespace

bool fi::isAnyElementNegative() const {
  if (takesBlocks(*this) && !isSlopeBias()) {
    return anyOf(valuesOf(*this, realPart_), numel_, [](double value) { return value < 0; });
  }
  const number reader(realPart_, Reading{});
  for (unsigned k = 0; k < numel_; ++k) {
    if (isSlopeBias() ? realWorld(reader[k]) < 0 : reader[k].isnegative()) return true;
  }
  return false;
}

void fi::sqrtErrorMessage(const NumericType& type) const {
  if (isSlopeBias() || type.isSlopeBias()) fail<kBinaryPointOnly>();
  if (type.isScalingUnspecified()) fail<kUnspecifiedScaling>();
  if (type.isSignUnspecified()) fail<kUnspecifiedSign>();
  if (iscomplex()) fail<kNoComplex>();
  if (isAnyElementNegative()) fail<kNoNegative>();
  if (getNumericType().isBoolean() || type.isBoolean()) fail<kNoBoolean>();
}

fi fi::sqrtBisection(const NumericType& type, const fimath& math) const {
  sqrtErrorMessage(type);
  fi result(dims_.data(), numDims(), type, math, false, tag());
  if (!type.isFixed()) {
    result.assignLogged("sqrt", [&] { nativeRoots(*this, result, result.assignmentQuantizerInUse()); });
    return result;
  }
  const NumericType squareType = result.getProductTypeForMpyOp(result);
  fi squares = result.initializeProductRegister(squareType, squareType, math, 2 * result.getPrecision());
  const quantizer& q = squares.assignmentQuantizer_;
  const RootFormat format(result);
  if (!elementPathOnly() && !q.logger().isOn() && exactness::holdsProducts(squareType, type, type)) {
    directRoots(*this, result, format);
    return result;
  }
  const unsigned precision = std::max({productPrecision(type, type, squareType), result.getPrecision() + 1,
                                       squareType.isSlopeBias() ? squarePrecision(squareType) : 1});
  if (BlockBisection::applies(*this, result, q)) {
    const BlockBisection roots(result, format, q);
    const double* values = valuesOf(*this, realPart_);
    double* to = result.realPart_.doubles();
    forEachBlock(numel_, [&](std::size_t first, std::size_t size) { roots(values + first, to + first, size); });
  } else {
    rootsOf(*this, result, Bisection(type, format, q, precision, realPart_.getprecision()));
  }
  result.assignLogged(
      "sqrt", [&] { result.quantizeAll(); }, &q.logger());
  finishProducts(nullptr, squares, "sqrt");
  return result;
}

}  // namespace embedded
