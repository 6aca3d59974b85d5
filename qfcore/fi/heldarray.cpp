#include "qfcore/fi/heldarray.h"

#include <algorithm>
#include <utility>

#include "qfcore/fi/arithmeticstate.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/resulttypes.h"

namespace embedded {

namespace {

constexpr Message kBadProperty{
    "numforge:fi:setLastPropertySet:BadEnum",
    "PropertyEnum out of range.  Valid values are %d through %d, and %d was entered."};

number taken(number& part, bool isView) {
  return isView ? number(part, NumberVector{}) : number(std::move(part));
}

}  // namespace

// ---------------------------------------------------------------------------------------------------- lifetime

HeldArray::HeldArray(const Shape& dims, const ArrayFormat::Ptr& format, bool isComplex, const Tag& tag,
                     OperationTypeEnum operationType, unsigned precision)
    : ArrayShape(dims),
      realPart_(numel_, std::max(format->precision(), precision), Unset{}),
      imagPart_(isComplex ? numel_ : 0, realPart_.getprecision(), Unset{}),
      isReal_(!isComplex),
      format_(format),
      assignmentQuantizer_(format->rules(), *format, tag, operationType) {}

HeldArray::HeldArray(const HeldArray& model, const Shape& dims, bool isComplex)
    : ArrayShape(dims),
      realPart_(numel_, precisionOf(model.getNumericType()), Unset{}),
      imagPart_(isComplex ? numel_ : 0, realPart_.getprecision(), Unset{}),
      isReal_(!isComplex),
      format_(model.format()),
      assignmentQuantizer_(model.getAssignmentQuantizer(), false) {}

HeldArray::HeldArray(const HeldArray& other)
    : ArrayShape(other),
      realPart_(other.realPart_, NumberVector{}),
      imagPart_(other.imagPart_, NumberVector{}),
      isReal_(other.isreal()),
      isAutoScaled_(other.isAutoScaled()),
      isDataSetByPair_(other.isDataSetByPair()),
      lastPropertySet_(other.getLastPropertySet()),
      format_(other.format()),
      assignmentQuantizer_(other.getAssignmentQuantizer()) {
  copyRegisterLogs(other);
}

HeldArray::HeldArray(HeldArray&& other)
    : ArrayShape(other, other.isView_),
      realPart_(taken(other.realPart_, other.isView_)),
      imagPart_(taken(other.imagPart_, other.isView_)),
      isReal_(other.isView_ ? other.isreal() : other.isReal_),
      isAutoScaled_(other.isAutoScaled()),
      isDataSetByPair_(other.isDataSetByPair()),
      lastPropertySet_(other.getLastPropertySet()),
      format_(other.format()),
      assignmentQuantizer_(other.isView_ ? quantizer(other.getAssignmentQuantizer())
                                         : quantizer(std::move(other.assignmentQuantizer_))),
      arithmeticState_(std::move(other.arithmeticState_)) {
  if (!other.isView_) other.becomeEmpty();
}

void HeldArray::take(HeldArray& other) noexcept {
  takeSizes(other);
  realPart_.swap(other.realPart_);
  imagPart_.swap(other.imagPart_);
  isReal_ = other.isReal_;
  isAutoScaled_ = other.isAutoScaled_;
  isDataSetByPair_ = other.isDataSetByPair_;
  lastPropertySet_ = other.lastPropertySet_;
  format_ = other.format_;
  assignmentQuantizer_ = std::move(other.assignmentQuantizer_);
  arithmeticState_ = std::move(other.arithmeticState_);
  other.becomeEmpty();
}

void HeldArray::becomeEmpty() noexcept {
  for (number* part : {&realPart_, &imagPart_}) [[maybe_unused]] const number released(std::move(*part));
  isReal_ = true;
  becomeZeroByZero();
}

HeldArray::HeldArray(const HeldArray& other, CopyIndex)
    : ArrayShape(other),
      realPart_(other.realPart_, CopyIndex{}),
      imagPart_(other.imagPart_, CopyIndex{}),
      isReal_(other.isreal()),
      isAutoScaled_(other.isAutoScaled()),
      isDataSetByPair_(other.isDataSetByPair()),
      isView_(true),
      lastPropertySet_(other.getLastPropertySet()),
      format_(other.format()),
      assignmentQuantizer_(other.getAssignmentQuantizer()),
      assignmentQuantizerInUse_(&other.getAssignmentQuantizer()) {}

HeldArray::HeldArray(const HeldArray& other, Reading)
    : ArrayShape(other),
      realPart_(other.realPart_, Reading{}),
      imagPart_(other.imagPart_, Reading{}),
      isReal_(other.isreal()),
      isView_(true),
      format_(other.format()),
      assignmentQuantizer_(other.getAssignmentQuantizer(), false) {}

HeldArray::HeldArray(const HeldArray& other, CopyElement, unsigned position)
    : ArrayShape(OneElement{}),
      realPart_(1, other.realPart_.getprecision(), Unset{}),
      imagPart_(other.isreal() ? 0 : 1, realPart_.getprecision(), Unset{}),
      isReal_(other.isreal()),
      format_(other.format()),
      assignmentQuantizer_(other.getAssignmentQuantizer()) {
  if (other.dims_.size() != 2) dims_.resize(other.dims_.size(), 1U);
  other.checkIndex(position);
  realPart_.copyValue(other.realPart_, position);
  if (!isReal_) imagPart_.copyValue(other.imagPart_, position);
}

HeldArray::HeldArray(const HeldArray& other, CopyReal)
    : ArrayShape(other),
      realPart_(other.realPart_, NumberVector{}),
      imagPart_(0, other.realPart_.getprecision(), NumberVector{}),
      format_(other.format()),
      assignmentQuantizer_(other.getAssignmentQuantizer()) {}

HeldArray::~HeldArray() = default;

ArithmeticState& HeldArray::arithmeticState() const {
  auto& state = owner().arithmeticState_;
  if (!state) state.reset(new ArithmeticState);
  return *state;
}

void HeldArray::DeleteState::operator()(ArithmeticState* state) const noexcept { delete state; }

// --------------------------------------------------------------------------------- parts, type, precision,
// shape

void HeldArray::errorIfViewCannotTake(const Shape& dims, const NumericType& type, bool isComplex) const {
  if (!isView_) return;
  const bool becomesComplex = isComplex && isreal();
  if (dims != dims_ || !type.isequal(getNumericType()) || (becomesComplex && !target_))
    fail<message::viewChangesTarget>();
}

void HeldArray::setIsReal(bool isReal) { isReal_ = isReal; }

void HeldArray::setIndex(unsigned index) const {
  realPart_.setIndex(index);
  imagPart_.setIndex(index);
}

void HeldArray::coordinateComplexity(bool isComplex, unsigned count) {
  if (isView_ && isComplex != iscomplex()) fail<message::viewChangesTarget>();
  if (isView_) return;
  const unsigned before = imagPart_.numel();
  if (!isComplex || count <= before || !isSlopeBias()) {
    imagPart_.resize(isComplex ? count : 0);
    setIsReal(!isComplex);
    return fillWithZeroValue(imagPart_, before);
  }
  const number zero = zeroValue();
  imagPart_.resize(count);
  setIsReal(false);
  fillWith(zero, imagPart_, before);
}

unsigned HeldArray::precisionOf(const NumericType& type) {
  return type.isFixed() ? carryingPrecision(type.wordLength(), type.fractionLength()) : kMaxDoublePrecision;
}

unsigned HeldArray::getPrecision() const {
  return getNumericType().wordLength() == 0 ? number::getDefaultPrecision() : precisionOf(getNumericType());
}

void HeldArray::setPrecision(unsigned precision) {
  if (isView_ && precision != realPart_.getprecision()) fail<message::viewChangesTarget>();
  if (isView_) return;
  number resizedImag(0U, imagPart_.getprecision(), NumberVector{});
  if (iscomplex()) {
    if (precision == imagPart_.getprecision()) number(imagPart_, NumberVector{}).swap(resizedImag);
    resizedImag.resize(numel_, precision);
  }
  realPart_.resize(numel_, precision);
  if (iscomplex()) imagPart_.swap(resizedImag);
}

void HeldArray::updateAssignmentQuantizer(const NumericType& type) {
  resulttypes::errorIfUnfit(type);
  errorIfViewCannotTake(dims_, type, iscomplex());
  takeFormat(type, getFimath());
}

void HeldArray::updateAssignmentQuantizer() { takeFormat(NumericType(getNumericType()), getFimath()); }

void HeldArray::setFimath(const fimath& math) { takeFormat(NumericType(getNumericType()), math); }

void HeldArray::takeFormat(const NumericType& type, const fimath& math) {
  HeldArray& changed = owner();
  changed.format_ = ArrayFormat::of(type, math);
  changed.assignmentQuantizer_.set(SharedTypePtr(changed.format_.get()), changed.format_->rules());
}

void HeldArray::becomeComplex() {
  coordinateComplexity(true, numel_);
  imagPart_.setIndex(realPart_.getIndex());
}

void HeldArray::setLastPropertySet(PropertyEnum property) {
  const int place = static_cast<int>(property);
  if (place < kFirstProperty || place > kLastProperty) fail<kBadProperty>(kFirstProperty, kLastProperty, place);
  owner().lastPropertySet_ = property;
}

void HeldArray::copyDimensions(const unsigned* dims, unsigned numDims) {
  Shape shape = padded(Shape(dims, dims + numDims));
  errorIfViewCannotTake(shape, getNumericType(), iscomplex());
  dims_ = std::move(shape);
  updateNumel();
}

}  // namespace embedded
