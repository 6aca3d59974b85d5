/// Matrix products: element by element through registers, by blocks over doubles, and exact ones without
/// quantizers.
#include <algorithm>
#include <array>
#include <climits>
#include <optional>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/elementproduct.h"
#include "qfcore/fi/exactness.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/integermatrix.h"
#include "qfcore/fi/paths/matrixtiles.h"
#include "qfcore/fi/paths/operations.h"
#include "qfcore/fi/paths/productkernel.h"
#include "qfcore/fi/paths/tiles.h"
#include "qfcore/fi/resulttypes.h"
#include "qfcore/fi/scratch.h"
#include "tessel/interruption.h"
#include "tessel/products.h"

namespace embedded {

namespace {

constexpr Message kInputsMustBe2D{"numforge:fi:mtimes:inputsMustBe2D", "Input arguments must be 2-D."};
constexpr Message kInnerDimensions{"numforge:fi:innerdim", "Inner matrix dimensions must agree."};

// --------------------------------------------------------------------------------------------- exact products

/// So many multiplications are done at once, about a tenth of a second, but those of a few columns in any case:
/// fewer would make the library slow.
constexpr double kMultiplicationsAtOnce = 4e8;
constexpr int kLeastColumns = 8;
/// So many are worth a thread's while.
constexpr double kSharedMultiplications = 4e6;
/// The same of terms that take a microsecond each.
constexpr unsigned kTermsAtOnce = 4096;

/// target (+)= factor · a · b for column-major matrices.
void addProduct(const fi& a, const double* left, const fi& b, const double* right, double factor, double keep,
                double* target) {
  const auto rows = static_cast<int>(a.rows()), inner = static_cast<int>(a.cols());
  const double each = std::max(1.0, static_cast<double>(rows) * inner);
  const auto columnsFor = [&](double multiplications) {
    return static_cast<std::size_t>(std::max(multiplications / each, double{kLeastColumns}));
  };
  const std::size_t atOnce = columnsFor(kMultiplicationsAtOnce);
  const auto addColumns = [&](std::size_t begin, std::size_t count) {
    const std::size_t end = begin + count;
    do {
      const std::size_t columns = std::min(atOnce, end - begin);
      tessel::multiplyAdd(rows, static_cast<int>(columns), inner, factor, left, right + begin * inner, keep,
                          target + begin * rows);
      tessel::raiseIfInterrupted();
      begin += columns;
    } while (begin < end);
  };
  shareLoop(b.cols(), columnsFor(kSharedMultiplications), addColumns, kLeastColumns);
}

void multiplyExactDoubles(const fi& a, const fi& b, fi& result) {
  const OperandParts left = OperandParts::of(a), right = OperandParts::of(b);
  double *re = result.realPart().doubles(), *im = result.imagPart().doubles();
  addProduct(a, left.re, b, right.re, 1, 0, re);
  if (left.im) addProduct(a, left.im, b, right.re, 1, 0, im);
  if (right.im) addProduct(a, left.re, b, right.im, 1, left.im ? 1 : 0, im);
  if (left.im && right.im) addProduct(a, left.im, b, right.im, -1, 1, re);
}

/// Sums of products without quantizers, for values of any kind.
void multiplyExactNumbers(const fi& left, const fi& right, fi& result) {
  const fi a(left, Reading{}), b(right, Reading{});
  Scratch term(result.getPrecision());
  const auto addTerm = [&](number& sum, const number& x, const number& y, bool subtract) {
    term = x;
    term *= y;
    if (subtract) {
      sum -= term;
    } else {
      sum += term;
    }
  };
  for (unsigned column = 0; column < b.cols(); ++column) {
    for (unsigned row = 0; row < a.rows(); ++row) {
      result.setIndex(column * a.rows() + row);
      for (unsigned k = 0; k < a.cols(); ++k) {
        if (k % kTermsAtOnce == 0) tessel::raiseIfInterrupted();
        a.setIndex(k * a.rows() + row);
        b.setIndex(column * b.rows() + k);
        addTerm(result.realPart(), a.realPart(), b.realPart(), false);
        if (a.iscomplex()) addTerm(result.imagPart(), a.imagPart(), b.realPart(), false);
        if (b.iscomplex()) addTerm(result.imagPart(), a.realPart(), b.imagPart(), false);
        if (a.iscomplex() && b.iscomplex()) addTerm(result.realPart(), a.imagPart(), b.imagPart(), true);
      }
    }
  }
}

/// The way of products without quantizers; that of elements where these are needed.
struct ExactWay {
  Path path;
  IntegerSizes sizes;
};

bool isExact(const NumericType& a, const NumericType& b, const NumericType& product, const NumericType& sum,
             unsigned terms, bool bothComplex) {
  return exactness::holdsProducts(product, a, b) &&
         exactness::holdsSumsOfProducts(sum, a, b, terms, bothComplex);
}

/// Where every product and every sum is a value of its type and nothing is logged, the quantizers are left out.
/// `realIsExact` tells it of products of real matrices.
ExactWay exactWay(const fi& a, const fi& b, const NumericType& product, bool realIsExact, const fi& result) {
  const NumericType &ta = a.getNumericType(), &tb = b.getNumericType();
  const bool bothComplex = a.iscomplex() && b.iscomplex();
  if (qlogger::getLogging() ||
      !(bothComplex ? isExact(ta, tb, product, result.getNumericType(), a.cols(), true) : realIsExact)) {
    return {Path::Elements, IntegerSizes::None};
  }
  const unsigned longest = std::max({a.rows(), a.cols(), b.cols()});
  const bool hasBlocks =
      longest <= INT_MAX && exactness::doublesHoldSumsOfProducts(ta, tb, a.cols(), bothComplex);
  const IntegerSizes sizes = hasBlocks ? IntegerSizes::None : integersForExact(ta, tb, result.getNumericType());
  const Ways ways{.isExact = true,
                  .hasBlocks = hasBlocks,
                  .hasIntegers = sizes != IntegerSizes::None,
                  .wideLoops = WideLoops::OfAny};
  return {choosePath(ways, a, b, result), sizes};
}

// ------------------------------------------------------------------------------------------ blocks of doubles

/// A quantizer for products that cannot overflow, where it pays: in range saturating and wrapping are the same,
/// and saturating costs less. Nothing where `products` itself is to be used.
std::optional<quantizer> saturating(const quantizer& products, const fi& a, const fi& b) {
  const bool wraps = products.overflowMode() == OverflowModeEnum::wrap;
  if (!wraps || products.logger().isOn() ||
      !exactness::holdsRoundedProducts(products.numericType(), a.getNumericType(), b.getNumericType())) {
    return std::nullopt;
  }
  return quantizer(products.numericType(), products.roundMode(), OverflowModeEnum::saturate);
}

/// Fewer elements than these make no tile.
constexpr std::size_t kSmallTile = 8;

/// Forms a matrix product in doubles. Tiles of the result sum their products in step; of a few elements, each
/// sums its own, of which a block is formed at once.
class MatrixBlocks {
 public:
  /// From so many rows on each column of a tile is worth a call of its own.
  static constexpr std::size_t kLongColumn = 64;

  MatrixBlocks(const fi& a, const fi& b, const quantizer& products, const quantizer& productSums,
               const quantizer& accumulator, fi& result)
      : multiply_(a, b, products, productSums),
        accumulator_(accumulator),
        a_(OperandParts::of(a)),
        b_(OperandParts::of(b)),
        re_(result.realPart().doubles()),
        im_(result.imagPart().doubles()),
        rows_(a.rows()),
        inner_(a.cols()) {
    const bool bothComplex = a.iscomplex() && b.iscomplex();
    const quantizer& terms = bothComplex ? productSums : products;
    const bool cast = a.getFimath().castBeforeSum(), isQuiet = !accumulator.logger().isOn();
    const bool holdsTerms = exactness::holds(accumulator.numericType(), terms.numericType());
    castIsIdentity_ = !cast || (isQuiet && holdsTerms);
    sumsLieOnGrid_ = (cast || holdsTerms) && onlyBringsIntoRange(accumulator);
  }

  void run(const Tile& part) const {
    if (part.rows * part.columns < kSmallTile) return sumEachElement(part);
    const std::size_t tileRows = std::min(part.rows, kBlock);
    const std::size_t tileColumns = std::min(part.columns, kBlock / tileRows);
    for (std::size_t column = 0; column < part.columns; column += tileColumns) {
      for (std::size_t row = 0; row < part.rows; row += tileRows) {
        sumTile(part.row + row, std::min(tileRows, part.rows - row), part.column + column,
                std::min(tileColumns, part.columns - column));
      }
    }
  }

 private:
  /// Room for one factor of a block.
  struct FactorRoom {
    Block re, im;
    OperandParts factor(const OperandParts& like) { return {re.data(), like.im ? im.data() : nullptr, false}; }
  };

  void formTerms(double* re, double* im, const OperandParts& left, const OperandParts& right,
                 std::size_t count) const {
    multiply_(re, im, left, right, count);
    if (castIsIdentity_) return;
    accumulator_.quantize(re, count);
    if (im) accumulator_.quantize(im, count);
  }

  void accumulate(double* sum, const double* terms, std::size_t count) const {
    if (!sumsLieOnGrid_) {
      combine<Add, false, false>(sum, sum, terms, count);
      return accumulator_.quantize(sum, count);
    }
    withInRange(accumulator_, [&](auto inRange) {
      combineBy<false, false>(sum, sum, terms, count, [inRange](double a, double b) { return inRange(a + b); });
    });
  }

  void sumTile(std::size_t row, std::size_t rows, std::size_t column, std::size_t columns) const {
    const std::size_t size = rows * columns;
    Block re{}, im{}, termRe, termIm;
    FactorRoom leftRoom, rightRoom;
    double* terms = im_ ? termIm.data() : nullptr;
    for (std::size_t k = 0; k < inner_; ++k) {
      tessel::raiseIfInterrupted();
      OperandParts left = a_.at(k * rows_ + row), right = b_.at(column * inner_ + k);
      if (rows < kLongColumn && columns > 1) {
        expand(left, right, rows, columns, leftRoom, rightRoom);
        formTerms(termRe.data(), terms, left, right, size);
      } else {
        for (std::size_t j = 0; j < size; j += rows, right = right.at(inner_)) {
          formTerms(&termRe[j], terms ? terms + j : terms, left, right.asScalar(), rows);
        }
      }
      accumulate(re.data(), termRe.data(), size);
      if (im_) accumulate(im.data(), termIm.data(), size);
    }
    for (std::size_t j = 0; j < columns; ++j) {
      const std::size_t place = (column + j) * rows_ + row;
      std::copy_n(&re[j * rows], rows, re_ + place);
      if (im_) std::copy_n(&im[j * rows], rows, im_ + place);
    }
  }

  /// A column of the first matrix beside each element of a row of the second.
  void expand(OperandParts& left, OperandParts& right, std::size_t rows, std::size_t columns,
              FactorRoom& leftRoom, FactorRoom& rightRoom) const {
    const auto fill = [&](double* into, const double* from, bool isColumn) {
      if (!from) return;
      for (std::size_t j = 0; j < columns; ++j, into += rows) {
        if (isColumn) {
          std::copy_n(from, rows, into);
        } else {
          std::fill_n(into, rows, from[j * inner_]);
        }
      }
    };
    fill(leftRoom.re.data(), left.re, true);
    fill(leftRoom.im.data(), left.im, true);
    fill(rightRoom.re.data(), right.re, false);
    fill(rightRoom.im.data(), right.im, false);
    left = leftRoom.factor(left);
    right = rightRoom.factor(right);
  }

  void sumEachElement(const Tile& part) const {
    for (std::size_t column = 0; column < part.columns; ++column) {
      for (std::size_t row = 0; row < part.rows; ++row) sumElement(part.row + row, part.column + column);
    }
  }

  void sumElement(std::size_t row, std::size_t column) const {
    Block termRe, termIm;
    FactorRoom leftRoom;
    double re = 0, im = 0;
    for (std::size_t first = 0; first < inner_; first += kBlock) {
      tessel::raiseIfInterrupted();
      const std::size_t size = std::min(kBlock, inner_ - first);
      const OperandParts from = a_.at(first * rows_ + row);
      for (std::size_t k = 0; k < size; ++k) {
        leftRoom.re[k] = from.re[k * rows_];
        if (from.im) leftRoom.im[k] = from.im[k * rows_];
      }
      formTerms(termRe.data(), im_ ? termIm.data() : nullptr, leftRoom.factor(from),
                b_.at(column * inner_ + first), size);
      for (std::size_t k = 0; k < size; ++k) accumulate(&re, &termRe[k], 1);
      for (std::size_t k = 0; im_ && k < size; ++k) accumulate(&im, &termIm[k], 1);
    }
    re_[column * rows_ + row] = re;
    if (im_) im_[column * rows_ + row] = im;
  }

  BlockProduct multiply_;
  const quantizer& accumulator_;
  OperandParts a_, b_;
  double *re_, *im_;
  std::size_t rows_, inner_;
  bool castIsIdentity_, sumsLieOnGrid_;
};

/// Bits of the accumulator: of its exact sum with a term.
unsigned accumulatorPrecision(const fi& a, const fi& b, const NumericType& product, const NumericType& sum) {
  const bool bothComplex = a.iscomplex() && b.iscomplex();
  return sumPrecision(sum, bothComplex ? sum : product, sum, a.getFimath().castBeforeSum());
}

/// The product in the order of its meaning; `zero` is where a sum starts.
void mtimesByElements(const fi& left, const fi& right, fi& productRegister, const quantizer& productSums,
                      fi& accumulator, const number& zero, fi& result) {
  const fi a(left, Reading{}), b(right, Reading{});
  ElementProduct product(a, b, productRegister.getAssignmentQuantizer(), productSums);
  Scratch scratch(accumulator.realPart().getprecision());
  for (unsigned column = 0; column < b.cols(); ++column) {
    for (unsigned row = 0; row < a.rows(); ++row) {
      accumulator.realPart() = zero;
      if (accumulator.iscomplex()) accumulator.imagPart() = zero;
      for (unsigned k = 0; k < a.cols(); ++k) {
        if (k % kTermsAtOnce == 0) tessel::raiseIfInterrupted();
        a.setIndex(k * a.rows() + row);
        b.setIndex(column * b.rows() + k);
        product(a, b, productRegister.realPart(), productRegister.imagPart());
        accumulator.sumEquals(accumulator, productRegister, accumulator, scratch);
      }
      result.setIndex(column * a.rows() + row);
      result.realPart() = accumulator.realPart();
      if (result.iscomplex()) result.imagPart() = accumulator.imagPart();
    }
  }
}

}  // namespace

/// Products of matrices whose sizes fit.
struct fi::MatrixProducts {
  /// The format of what comes out, and what is known of it beforehand.
  static ArrayFormat::Result format(const fi& a, const fi& b, const ArrayFormat& product) {
    const unsigned terms = std::max(a.cols_ + (a.iscomplex() && b.iscomplex()), 1U);
    const ArrayFormat &left = *a.format(), &right = *b.format();
    const auto derive = [&]() -> ArrayFormat::Result {
      const NumericType &ta = left.type(), &tb = right.type(), &tp = product.type();
      const NumericType type = a.matrixSumTypeWith(b, tp);
      return {ArrayFormat::of(type, left.math()), isExact(ta, tb, tp, type, terms, false),
              MatrixTiles::apply(ta, tb, tp, type), exactness::holdsRoundedProducts(tp, ta, tb)};
    };
    return left.result(ArrayFormat::Operation::MatrixProduct, right, derive, terms);
  }

  static fi of(const fi& a, const fi& b, const ArrayFormat& product, const ArrayFormat::Result& sum) {
    fi result(Shape{a.rows_, b.cols_}, sum.format, a.iscomplex() || b.iscomplex(), a.getQlogger().sharedTag(),
              OperationTypeEnum::Product);
    if (!byTiles(a, b, product, sum, result)) inOtherWays(a, b, product, sum, result);
    return result;
  }

  // Apart, so that small products do not pay for its room.
  [[gnu::noinline]] static void inOtherWays(const fi& a, const fi& b, const ArrayFormat& product,
                                            const ArrayFormat::Result& sum, fi& result) {
    const ExactWay way = exactWay(a, b, product.type(), sum.isExact, result);
    if (way.path == Path::PlainDoubles && a.cols_ > 0) return multiplyExactDoubles(a, b, result);
    // The others add to what is there, and sums of no products are what is there.
    for (number* part : {&result.realPart_, &result.imagPart_}) result.fillWithZeroValue(*part);
    switch (way.path) {
      case Path::PlainDoubles: break;
      case Path::Integers: multiplyMatricesExactly(a, b, way.sizes, result); break;
      case Path::PlainWide: multiplyExactNumbers(a, b, result); break;
      default: throughRegisters(a, b, product.type(), sum.format->type(), result);
    }
  }

  /// False where tiles do not serve, and nothing has been done.
  static bool byTiles(const fi& a, const fi& b, const ArrayFormat& product, const ArrayFormat::Result& sum,
                      fi& result) {
    // Where real sums are never rounded there are better ways.
    const bool hasTiles = sum.hasTiles && !sum.isExact && result.isreal() && result.numel() >= kSmallTile &&
                          !qlogger::getLogging();
    if (choosePath({.hasBlocks = hasTiles}, a, b, result) != Path::Blocks) return false;
    const MatrixTiles tiles(
        {valuesOf(a, a.realPart()), valuesOf(b, b.realPart()), result.realPart_.doubles(), a.rows_, a.cols_},
        *product.rules(), *sum.format->rules(), sum.productsFit);
    shareTiles(result.rows_, result.cols_, a.cols_, kSharedRounded, [&](const Tile& tile) { tiles.run(tile); });
    return true;
  }

  // Apart, so that a product that needs no register does not pay for the room of one.
  [[gnu::noinline]] static void throughRegisters(const fi& a, const fi& b, const NumericType& productType,
                                                 const NumericType& type, fi& result) {
    const bool complexResult = result.iscomplex();
    fi productRegister = a.initializeProductRegister(productType, type, a.getFimath(), precisionOf(type));
    if (complexResult) productRegister.coordinateComplexity(true, 1);
    const unsigned precision = accumulatorPrecision(a, b, productType, type);
    fi accumulator = a.initializeSumRegister(type, a.getFimath(), precision, complexResult);

    const quantizer& products = productRegister.assignmentQuantizer_;
    const quantizer& productSums = productRegister.arithmeticState().sumRegister->assignmentQuantizer_;
    const bool hasBlocks =
        precision <= kMaxDoublePrecision && BlockProduct::applies(a, b, products, productSums);
    const quantizer& sums = accumulator.assignmentQuantizer_;
    const ProductRules rules{a, b, products, productSums};
    const IntegerSizes sizes = hasBlocks ? IntegerSizes::None : integersFor(rules, type);
    const Path path =
        choosePath({.hasBlocks = hasBlocks, .hasIntegers = sizes != IntegerSizes::None}, a, b, result);
    if (path == Path::Blocks) {
      const std::optional<quantizer> cheaper = saturating(products, a, b);
      shareTiles(
          result.rows_, result.cols_, a.cols_, kSharedRounded,
          [&](const Tile& tile, const auto& own) {
            MatrixBlocks(a, b, *own[0], *own[1], *own[2], result).run(tile);
          },
          std::array{cheaper ? &*cheaper : &products, &productSums, &sums});
    } else if (path == Path::Integers) {
      multiplyMatricesByIntegers(rules, sums, sizes, result);
    } else {
      mtimesByElements(a, b, productRegister, productSums, accumulator, accumulator.zeroValue(), result);
    }
    // Element by element the accumulator has counted its own.
    if (path != Path::Elements) sums.logger().nMathOperationsPlus(std::size_t{result.numel_} * a.cols_);
    products.logger().nMathOperationsPlus(std::size_t{result.numel_} * a.cols_);
    a.finishRegisters(&result, "mtimes",
                      {{RegisterLog::Product, productRegister},
                       {RegisterLog::ProductSum, *productRegister.arithmeticState().sumRegister},
                       {RegisterLog::Sum, accumulator}});
  }
};

fi fi::mtimes(const fi& b) const {
  if ((isscalar() || b.isscalar()) && isreal() && b.isreal()) return times(b);
  const bool complexResult = iscomplex() || b.iscomplex();
  const bool slopeBias = isSlopeBias() || b.isSlopeBias() || getFimath().isSumSlopeBiasScaled() ||
                         getFimath().isProductSlopeBiasScaled();
  if (slopeBias && complexResult) fail<message::complexSlopeBias>("mtimes");
  if (slopeBias && numel_ >= 2 && b.numel_ >= 2 && !getFimath().castBeforeSum()) {
    fail<message::castBeforeSumFalse>("mtimes");
  }
  if (isscalar() || b.isscalar()) return times(b);
  if (numDims() > 2 || b.numDims() > 2) fail<kInputsMustBe2D>();
  if (cols_ != b.rows_) fail<kInnerDimensions>();

  const ArrayFormat::Result product = productWith(b), sum = MatrixProducts::format(*this, b, *product.format);
  if (slopeBias) errorIfScaledDoubleSlopeBiasMath(*this, b);
  return MatrixProducts::of(*this, b, *product.format, sum);
}

}  // namespace embedded
