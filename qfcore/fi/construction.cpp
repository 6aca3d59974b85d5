/// How arrays are made, copied, resized and viewed.
#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/elementvisit.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/paths/blocks.h"
#include "qfcore/fi/paths/wideloops.h"
#include "qfcore/fi/resulttypes.h"

namespace embedded {

using tessel::HostArray;

namespace {

constexpr Message kNotNumeric{"numforge:fi:constructor:numeric", "FI constructor only valid for numeric data"};

/// Two sizes, nearly always, are read each on its own, which compilers would join, and written as one word,
/// which copies of the shape read: a load of what two stores have just left waits until both are done, as long
/// as hundreds of additions take.
fi::Shape sizesFrom(const unsigned* dims, unsigned count) {
  if (count != 2) return fi::Shape(dims, dims + count);
  static_assert(std::endian::native == std::endian::little, "the first size is the lower half of the word");
  unsigned rows = dims[0], columns = dims[1];
  asm("" : "+r"(rows), "+r"(columns));
  const std::uint64_t word = rows | std::uint64_t{columns} << 32;
  fi::Shape sizes(2, boost::container::default_init);
  std::memcpy(sizes.data(), &word, sizeof word);
  return sizes;
}

bool holdsNumbers(const HostArray& array) { return array.isNumeric() || array.isLogical(); }

/// Raises for a NaN or an infinity that the type cannot hold. A wide value beyond the doubles is neither.
void requireSuited(const number& value, const NumericType& type) {
  if (!value.isFinite()) NumericType::checkNaNInf(type.dataType(), value.todouble());
}

void requireSuited(const fi& x, const NumericType& type) {
  const auto isFinite = [&](const number& part) {
    const double* values = valuesOf(x, part);
    return !values || !anyOf(values, x.numel(), [](double value) { return !std::isfinite(value); });
  };
  if (takesBlocks(x) && isFinite(x.realPart()) && isFinite(x.imagPart())) return;
  for (unsigned k = 0; k < x.numel(); ++k) {
    x.setIndex(k);
    requireSuited(x.realPart(), type);
    if (x.iscomplex()) requireSuited(x.imagPart(), type);
  }
}

NumericType typeForValues(const HostArray* values, NumericType type) {
  if (!holdsNumbers(*values)) fail<kNotNumeric>();
  if (type.isFixedOrScaledDouble() && type.isScalingUnspecified()) type.setBestPrecision(*values);
  return type;
}

}  // namespace

fi::fi(const Shape& dims, const NumericType& type, const fimath& math, bool isComplex, const Tag& tag,
       OperationTypeEnum operationType, unsigned precision)
    : fi(dims, ArrayFormat::of(type, math), isComplex, tag, operationType, precision) {}

fi::fi(const Shape& dims, const ArrayFormat::Ptr& format, bool isComplex, const Tag& tag,
       OperationTypeEnum operationType, unsigned precision)
    : HeldArray(dims, format, isComplex, tag, operationType, precision) {}

fi fi::unset(const Shape& dims, bool isComplex) const { return fi(*this, dims, isComplex); }

fi fi::blank(const Shape& dims, bool isComplex) const {
  fi result = unset(dims, isComplex);
  result.fillWithZeroValue(result.realPart_);
  result.fillWithZeroValue(result.imagPart_);
  return result;
}

/// What becomes an array of one value, quantized already where that takes one step which nobody counts.
struct fi::NewValue {
  NewValue(double given, const NumericType& type, const fimath& math, unsigned atLeast)
      : format(ArrayFormat::of(type, math)), precision(std::max(format->precision(), atLeast)), value(given) {
    const QuantizerRules& rules = *format->rules();
    isQuantized = rules.valueKernel && std::isfinite(given) && !format->isSlopeBias() &&
                  precision <= kMaxDoublePrecision && !qlogger::getLogging() && !elementPathOnly();
    if (isQuantized) value = rules.valueKernel(rules.format, given);
  }

  ArrayFormat::Ptr format;
  unsigned precision;
  double value;
  bool isQuantized;
};

inline fi::fi(const NewValue& made, const Tag& tag, OperationTypeEnum operationType)
    : HeldArray(OneElement{}, made.value, made.format, tag, operationType, made.precision) {
  if (made.isQuantized) return;
  fillQuantized(made.value);
  recordInTotal();
}

fi::fi() : fi(Shape{0, 0}, NumericType(), fimath(), false, {}, OperationTypeEnum::Assignment, 0) {}

fi::fi(double value, bool isSigned, int wordLength, int fractionLength, const fimath& math, unsigned precision,
       const std::string& tag, OperationTypeEnum operationType)
    : fi(value, NumericType(isSigned, wordLength, fractionLength), math, precision, tag, operationType) {}

fi::fi(double value, const NumericType& type, const fimath& math, unsigned precision, const std::string& tag,
       OperationTypeEnum operationType)
    : fi(NewValue(value, type, math, precision), tag, operationType) {}

fi::fi(double value, const unsigned* dims, unsigned numDims, const NumericType& type, const fimath& math,
       const std::string& tag, OperationTypeEnum operationType)
    : fi(sizesFrom(dims, numDims), type, math, false, tag, operationType, 0) {
  fillQuantized(value);
  recordInTotal();
}

fi::fi(double re, double im, const unsigned* dims, unsigned numDims, const NumericType& type,
       const fimath& math, const std::string& tag, OperationTypeEnum operationType)
    : fi(sizesFrom(dims, numDims), type, math, true, tag, operationType, 0) {
  NumericType::errorIfComplexLogical(type.dataType(), true);
  fillWithRealWorld(realPart_, re);
  fillWithRealWorld(imagPart_, im);
  quantizeAll();
  recordInTotal();
}

fi::fi(const double* re, const unsigned* dims, unsigned numDims, const NumericType& type, const fimath& math,
       const std::string& tag, OperationTypeEnum operationType)
    : fi(re, nullptr, dims, numDims, type, math, tag, operationType) {}

fi::fi(const double* re, const double* im, const unsigned* dims, unsigned numDims, const NumericType& type,
       const fimath& math, const std::string& tag, OperationTypeEnum operationType)
    : fi(sizesFrom(dims, numDims), type, math, im != nullptr, tag, operationType, 0) {
  NumericType::errorIfComplexLogical(type.dataType(), im != nullptr);
  assignValues(re, im, ValueMeaning::RealWorld);
  recordInTotal();
}

fi::fi(unsigned rows, unsigned cols, const NumericType& type, const fimath& math, bool isComplex,
       const std::string& tag, OperationTypeEnum operationType, unsigned precision)
    : fi(Shape{rows, cols}, type, math, isComplex, tag, operationType, precision) {
  fillWithZeroValue(realPart_);
  fillWithZeroValue(imagPart_);
}

fi::fi(const unsigned* dims, unsigned numDims, const NumericType& type, const fimath& math, bool isComplex,
       const std::string& tag, OperationTypeEnum operationType, unsigned precision)
    : fi(sizesFrom(dims, numDims), type, math, isComplex, tag, operationType, precision) {
  fillWithZeroValue(realPart_);
  fillWithZeroValue(imagPart_);
}

fi::fi(const unsigned* dims, unsigned numDims, const NumericType& type, const fimath& math, bool isComplex,
       const quantizer& assignment)
    : fi(dims, numDims, type, math, isComplex) {
  assignmentQuantizer_ = assignment;
  format_ = ArrayFormat::of(assignment.numericType(), math);
}

fi::fi(const void* intData, const unsigned* dims, unsigned numDims, const NumericType& type, const fimath& math,
       bool isComplex, const std::string& tag, OperationTypeEnum operationType, unsigned precision)
    : fi(dims, numDims, type, math, isComplex, tag, operationType, precision) {
  const auto* words = static_cast<const unsigned*>(intData);
  const unsigned wordsEach = (static_cast<unsigned>(type.wordLength()) + 31U) / 32U;
  storeWords(realPart_, words, wordsEach);
  if (isComplex) storeWords(imagPart_, words + std::size_t{wordsEach} * numel_, wordsEach);
}

fi::fi(const HostArray* values, const NumericType& type, const fimath& math, const std::string& tag,
       OperationTypeEnum operationType)
    : fi(shapeOf(*values), typeForValues(values, type), math, values->isComplex(), tag, operationType, 0) {
  storeHostValues(*values);
  recordInTotal();
}

fi::fi(const fi& other) : HeldArray(other) {}
fi::fi(fi&& other) : HeldArray(std::move(other)) {}

fi& fi::operator=(const fi& other) {
  if (this != &other) *this = fi(other);
  return *this;
}

fi& fi::operator=(fi&& other) {
  if (isView_) {
    errorIfViewCannotTake(other.dims_, other.getNumericType(), other.iscomplex());
    takeElements(other.realPart_.sharesValuesWith(realPart_) ? other.detached() : other);
    return *this;
  }
  if (other.isView_) return *this = fi(other);
  if (this == &other) return *this;
  take(other);
  return *this;
}

fi::fi(const fi& other, CopyIndex) : HeldArray(other, CopyIndex{}) {}
fi::fi(const fi& other, Reading) : HeldArray(other, Reading{}) {}
fi::fi(const fi& other, CopyElement) : fi(other, CopyElement{}, other.realPart_.getIndex()) {}
fi::fi(const fi& other, CopyElement, unsigned position) : HeldArray(other, CopyElement{}, position) {}
fi::fi(const fi& other, CopyReal) : HeldArray(other, CopyReal{}) {}
fi::fi(const fi& other, CopyImag)
    : fi(other.dims_.data(), other.numDims(), other.getNumericType(), other.getFimath()) {
  if (other.iscomplex()) number(other.imagPart_, NumberVector{}).swap(realPart_);
}

// ------------------------------------------------------------------------------------------ views and changes

fi fi::replacement(const Shape& dims, bool isComplex) const {
  errorIfViewCannotTake(dims, getNumericType(), isComplex);
  return unset(dims, isComplex);
}

void fi::takeElements(const fi& source) {
  const bool keepsImaginaryParts = iscomplex() && !seesAll();
  const number zero = zeroValue();
  makeValues(*this);
  makeValues(source);
  std::optional<number> real, imaginary;
  if (!realPart_.doubles() || !source.realPart_.doubles()) {
    real.emplace(source.realPart_, Reading{});
    imaginary.emplace(source.imagPart_, Reading{});
  }
  if (source.iscomplex() || !keepsImaginaryParts) coordinateComplexity(source.iscomplex(), numel_);
  const auto take = [&](number& to, const number& from, const std::optional<number>& reader) {
    if (!reader) {
      std::copy_n(from.doubles(), numel_, to.doubles());
    } else {
      for (unsigned k = 0; k < numel_; ++k) to[k] = (*reader)[k];
    }
  };
  take(realPart_, source.realPart_, real);
  if (source.iscomplex()) take(imagPart_, source.imagPart_, imaginary);
  if (source.isreal()) fillWith(zero, imagPart_, 0);
}

fi fi::inType(const NumericType& type, const fimath& math) const {
  if (!type.isequal(getNumericType())) return castTo(type, math);
  fi same(*this);
  same.setFimath(math);
  return same;
}

fi fi::castTo(const NumericType& type, const fimath& math) const {
  NumericType target(type);
  if (type.isFixedOrScaledDouble() && type.isScalingUnspecified())
    target.setBestPrecision(getDoubleHostArray());
  fi moved(dims_, target, math, iscomplex(), tag(), getQlogger().operationType());
  moved.setLogging(getQlogger().isAlwaysOn());
  requireSuited(*this, target);
  moved.storeQuantized(moved, ElementVisit::from(0), *this, ElementVisit::from(0), numel_);
  // The record goes on where it began.
  qlogger record(getQlogger());
  record.shareType(moved.getQlogger().sharedType());
  record.merge(moved.getQlogger());
  record.markReported();
  moved.recordInTotal();
  moved.assignmentQuantizer_.logger() = std::move(record);
  moved.copyRegisterLogs(*this);
  moved.isAutoScaled_ = type.isScalingUnspecified();
  moved.isDataSetByPair_ = isDataSetByPair();
  moved.lastPropertySet_ = getLastPropertySet();
  return moved;
}

void fi::setNumericType(const NumericType& type) {
  if (type.isequal(getNumericType())) return;
  if (isView_) fail<message::viewChangesTarget>();
  *this = inType(type, getFimath());
}

void fi::resizeAndZero(const unsigned* dims, unsigned numDims, unsigned numel, const NumericType& type,
                       const fimath& math, bool isComplex) {
  const ArrayFormat::Ptr format = ArrayFormat::of(type, math);
  const unsigned precision = format->precision();
  Shape shape = padded(Shape(dims, dims + numDims));
  errorIfViewCannotTake(shape, format->type(), isComplex);
  if (isView_) {
    coordinateComplexity(isComplex || (iscomplex() && !seesAll()), numel_);
    return setFimath(math);
  }
  const bool fits =
      numel == numel_ && (realPart_.getprecision() >= precision || precision <= kMaxDoublePrecision);
  const bool imagFits = fits && (!isComplex || imagPart_.numel() == numel);
  number real(fits ? 0U : numel, precision, NumberVector{});
  number imag(isComplex && !imagFits ? numel : 0U, fits ? realPart_.getprecision() : precision, NumberVector{});
  assignmentQuantizer_.set(SharedTypePtr(format.get()), format->rules());
  format_ = format;
  // Nothing fails any more.
  number::setDefaultPrecision(precision, false);
  if (!fits) realPart_.swap(real);
  if (!imagFits) imagPart_.swap(imag);
  setIsReal(!isComplex);
  dims_ = std::move(shape);
  updateNumel();
}

void fi::resizeAndZero(unsigned rows, unsigned cols, const NumericType& type, const fimath& math,
                       bool isComplex) {
  const unsigned dims[] = {rows, cols};
  resizeAndZero(dims, 2, rows * cols, type, math, isComplex);
}

// ----------------------------------------------------------------------------------------------- range queries

namespace {

fi constantArray(const fi& x, std::initializer_list<number> constants) {
  fi result(1, static_cast<unsigned>(constants.size()), x.getNumericType(), x.getFimath());
  unsigned place = 0;
  for (const number& constant : constants) result.realPart()[place++] = constant;
  return result;
}

}  // namespace

fi fi::lowerbound() const { return constantArray(*this, {getAssignmentQuantizer().min()}); }
fi fi::realmax() const { return constantArray(*this, {getAssignmentQuantizer().max()}); }
fi fi::range() const {
  return constantArray(*this, {getAssignmentQuantizer().min(), getAssignmentQuantizer().max()});
}

fi fi::eps() const {
  const quantizer& q = getAssignmentQuantizer();
  const bool isOneSignedBit = q.mode() == QuantizerModeEnum::fixed && q.wordLength() == 1;
  return constantArray(*this, {isOneSignedBit ? q.negativeEps() : q.eps()});
}

fi fi::realmin() const {
  const quantizer& q = getAssignmentQuantizer();
  const bool isOneSignedBit = q.mode() == QuantizerModeEnum::fixed && q.wordLength() == 1;
  return constantArray(*this, {isOneSignedBit ? q.negativeEps() : q.realmin()});
}

}  // namespace embedded
