/// What an array consists of: elements, their type and math settings, and the record of what they met.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "qfcore/fi/arrayformat.h"
#include "qfcore/fi/arrayshape.h"
#include "qfcore/logging/qlogger.h"
#include "qfcore/math/fimath.h"
#include "qfcore/math/quantizer.h"
#include "qfcore/number/number.h"
#include "qfcore/types/numerictype.h"

namespace embedded {

using EmbeddedTypeSystem::NumericType;
using EmbeddedTypeSystem::SharedTypePtr;

struct ArithmeticState;
class ElementVisit;
/// Selects the constructor that copies a single element.
struct CopyElement {};
/// The registers whose records are part of the left operand's, in the order of its log structure; and those
/// whose are not.
enum class RegisterLog { Sum, Product, ProductSum, NotKept };
inline constexpr std::size_t kRegisterLogs = 3;

/// The parts of a `fi` and what belongs to them whatever is computed: cursor, complexity, precision, the
/// quantizer of assignments, the record. Operations are those of `fi`, which tells how values are held.
class QFCORE_API HeldArray : public ArrayShape {
 public:
  /// The property set last: −1 for none, else the property's place (0 to 48) in the host's table of properties.
  enum class PropertyEnum : int {};
  static constexpr int kFirstProperty = -1;
  static constexpr int kLastProperty = 48;
  struct CopyReal {};

  // ------------------------------------------------------------------------- virtual operations, in slot order
  virtual void setIsReal(bool isReal);
  /// Moves the cursor of real and imaginary parts together; `index` counts from 0 and is not checked.
  virtual void setIndex(unsigned index) const;
  virtual const quantizer& getAssignmentQuantizer() const { return assignmentQuantizer_; }
  virtual ~HeldArray();
  /// Makes the array complex or real with `count` imaginary parts; parts that are new represent 0. Making it
  /// real takes no memory.
  virtual void coordinateComplexity(bool isComplex, unsigned count);
  virtual bool isreal() const { return isReal_; }
  virtual bool iscomplex() const { return !isReal_; }
  virtual const qlogger& getQlogger() const { return assignmentQuantizer_.logger(); }

  // ----------------------------------------------------------------------------------------------------- parts
  const NumericType& getNumericType() const { return assignmentQuantizerInUse_->numericType(); }
  const fimath& getFimath() const { return format()->math(); }
  /// Type and settings with all that follows from them, which arrays share.
  const ArrayFormat::Ptr& format() const { return owner().format_; }
  void setFimath(const fimath& math);
  number& realPart() { return realPart_; }
  const number& realPart() const { return realPart_; }
  number& imagPart() { return imagPart_; }
  const number& imagPart() const { return imagPart_; }
  /// 1 for complex, 0 for real.
  int getComplexity() const { return iscomplex(); }
  /// Raises "numforge:fi:setLastPropertySet:BadEnum" outside −1 to 48.
  void setLastPropertySet(PropertyEnum property);
  PropertyEnum getLastPropertySet() const { return owner().lastPropertySet_; }
  /// Whether the fraction length was chosen by best precision.
  bool isAutoScaled() const { return owner().isAutoScaled_; }
  void setAutoScaled(bool isAutoScaled) { owner().isAutoScaled_ = isAutoScaled; }
  /// Whether a name/value pair gave the values.
  bool isDataSetByPair() const { return owner().isDataSetByPair_; }
  void setDataSetByPair(bool byPair) { owner().isDataSetByPair_ = byPair; }

  // -------------------------------------------------------------------------------- precision and quantization
  /// Replaces the sizes; the storage stays as it is. Ends with `updateNumel`.
  void copyDimensions(const unsigned* dims, unsigned numDims);
  /// Whether the array has one real element, in doubles, and is no view; and the value of one that has.
  bool isOneDouble() const { return numel_ == 1 && isReal_ && !isView_ && realPart_.holdsDoubles(); }
  double oneDouble() const { return realPart_.onlyValue(); }
  /// What `format` and `tag` are of an array that is no view.
  const ArrayFormat& ownFormat() const { return *format_; }
  const Tag& ownTag() const { return assignmentQuantizer_.logger().sharedTag(); }
  /// The type's word length, or the number layer's default precision when that is 0.
  unsigned getPrecision() const;
  /// Resizes the storage to the element count at `precision` bits; values survive where the precision stays.
  void setPrecision(unsigned precision);
  void updatePrecision() { setPrecision(getPrecision()); }
  /// Bits in which values of `type` are carried: the word length of Fixed types, and more than doubles get
  /// where their step or range is not well inside the normal doubles; the double threshold for the types whose
  /// arithmetic is native double arithmetic, whatever word length they show.
  static unsigned precisionOf(const NumericType& type);
  /// Rebuilds the assignment quantizer from the type and the rounding and overflow modes.
  void updateAssignmentQuantizer();
  void updateAssignmentQuantizer(const NumericType& type);
  /// Sends every value through the assignment quantizer.
  void quantizeAll();
  /// The quantizer that assignments use: the array's own, or the target's for a view.
  const quantizer& assignmentQuantizerInUse() const { return *assignmentQuantizerInUse_; }
  /// Assigns the element at the cursor of `source` to the one at this cursor: same real-world value, quantized
  /// and logged by the assignment quantizer. A complex source makes no array complex; see
  /// `coordinateComplexity`.
  void assignElement(const HeldArray& source);
  /// The real-world value of the element at the cursor, rounded to a double.
  double realWorldReal() const { return requireElements(), realWorld(realPart_); }
  double realWorldImag() const { return requireElements(), isreal() ? 0.0 : realWorld(imagPart_); }

  // ------------------------------------------------------------------------------------------------------ logs
  // Up to four loggers record for an array: its own (assignments), and those of the registers of its arithmetic
  // for sums, products, and sums of products.

  const std::string& tag() const { return getQlogger().tag(); }
  void setTag(const std::string& tag);
  std::size_t getNoverflows() const { return getQlogger().noverflows(); }
  std::size_t getNunderflows() const { return getQlogger().nunderflows(); }
  std::size_t getNoperations() const { return getQlogger().noperations(); }
  std::size_t getNmathoperations() const { return getQlogger().nmathoperations(); }
  /// The array's own logging switch, which counts where the module-wide one is off.
  void setLogging(bool on) { owner().assignmentQuantizer_.logger().setAlwaysOn(on); }
  /// Resets the module-wide totals of assignments, sums and products; does nothing while logging is off.
  static void resetGlobalLog();
  /// Prints the counts of those totals on the console; nothing while logging is off.
  static void displayGlobalLog();
  /// Forgets what the array's loggers have recorded.
  void resetLogging() const;
  /// A 1-by-1 structure with the fields "Assignment", "Sum", "Product" and "ProductSum", one logger's structure
  /// each.
  tessel::HostArray saveLogsInHostStruct() const;
  /// A record of each of the array's loggers that has recorded something.
  std::vector<filog> getlocalfilogs() const;
  /// Writes the loggers that have recorded something into the module-wide collection, which counts each
  /// operation once, and resets them.
  void consolidatelocalfilogs() const;

 protected:
  /// Values without meaning, which the maker sets.
  HeldArray(const Shape& dims, const ArrayFormat::Ptr& format, bool isComplex, const Tag& tag,
            OperationTypeEnum operationType, unsigned precision);
  /// One real value, 1-by-1: `value` where doubles carry it, without meaning otherwise. Here, for the ways of
  /// single values: a call would cost them more than it does.
  HeldArray(OneElement one, double value, const ArrayFormat::Ptr& format, const Tag& tag,
            OperationTypeEnum operationType, unsigned precision)
      : HeldArray(one, numberfactory::createnumberSingle(value, std::max(format->precision(), precision)),
                  std::max(format->precision(), precision), format, tag, operationType) {}
  /// The same of the body of that value, which it takes over.
  HeldArray(OneElement one, numberrepbody* real, unsigned carried, const ArrayFormat::Ptr& format,
            const Tag& tag, OperationTypeEnum operationType) noexcept
      : ArrayShape(one),
        realPart_(real, carried),
        imagPart_(nullptr, carried),
        format_(format),
        assignmentQuantizer_(format->rules(), *format, tag, operationType) {}
  /// The same in the type and settings of `model`, with its tag and logging switch and nothing recorded.
  HeldArray(const HeldArray& model, const Shape& dims, bool isComplex);
  HeldArray(const HeldArray& other);
  /// Fails only where `other` is a view, which is copied.
  HeldArray(HeldArray&& other);
  HeldArray& operator=(const HeldArray&) = delete;
  HeldArray(const HeldArray& other, CopyIndex);
  HeldArray(const HeldArray& other, Reading);
  HeldArray(const HeldArray& other, CopyElement, unsigned position);
  HeldArray(const HeldArray& other, CopyReal);
  /// Becomes what `other` was, which is empty afterwards; neither is a view.
  void take(HeldArray& other) noexcept;
  void becomeEmpty() noexcept;

  bool isSlopeBias() const { return getNumericType().isSlopeBias(); }
  double realWorld(const number& part) const;
  /// The array whose elements, type and record these are: this one, or the target of a view.
  HeldArray& owner() { return target_ ? target_->owner() : *this; }
  const HeldArray& owner() const { return target_ ? target_->owner() : *this; }
  /// Whether no array has elements besides those that are seen here.
  bool seesAll() const {
    return !isView_ ||
           (target_ && numel_ == target_->numel_ && sharesElementsWith(*target_) && target_->seesAll());
  }
  /// Whether what is written here may be read there: the two are views of one array, or one array.
  bool sharesElementsWith(const HeldArray& other) const { return realPart_.sharesValuesWith(other.realPart_); }
  /// Raises "numforge:fi:FiReference:changesTarget" where this is a view that cannot take such elements.
  void errorIfViewCannotTake(const Shape& dims, const NumericType& type, bool isComplex) const;

  /// Replaces type and settings; elements stay as they are held.
  void takeFormat(const NumericType& type, const fimath& math);

  /// The held value that reads as real-world 0.
  number zeroValue() const;
  /// For new values from `first` on, of which multiprecision ones are 0 already.
  void fillWithZeroValue(number& part, unsigned first = 0) const;
  static void fillWith(const number& value, number& part, unsigned first);
  /// For values that may be anything.
  void overwriteWithZeroValue(number& part, const ElementVisit& targets, unsigned count) const;
  void assignPart(number& target, const number& value, const NumericType& from) const;

  // Values from outside. Those that a data type does not hold are refused; `assignValues`, `storeHostValues`
  // and `fillQuantized` go through the assignment quantizer, which the others leave to their caller.

  /// What a value from outside means: a real-world value, or a stored integer.
  enum class ValueMeaning { RealWorld, StoredInteger };
  void storeRealWorld(number& part, const double* values) const;
  void fillWithRealWorld(number& part, double value) const;
  void fillQuantized(double value);
  /// All elements, from a host array of this shape and complexity.
  void storeHostValues(const tessel::HostArray& values, ValueMeaning meaning = ValueMeaning::RealWorld);
  /// All elements of both parts, `im` null for a real array.
  template <class Element>
  void assignValues(const Element* re, const Element* im, ValueMeaning meaning);
  /// `wordsEach` words stand for an element; those beyond the word length are passed over.
  void storeWords(number& part, const unsigned* words, unsigned wordsEach) const;

  /// What an element of `array` is to become: the one at the cursor of `source`, brought into the type and
  /// logged. Making it may fail, putting it in its place does not.
  class NewElement {
   public:
    NewElement(const HeldArray& array, const HeldArray& source, bool isComplex);
    /// At the cursor of the array, which is complex by then if it is to be.
    void put(HeldArray& array) const;

   private:
    number real_, imag_;
  };
  /// Makes a real array complex; the cursor stays.
  void becomeComplex();

  ArithmeticState& arithmeticState() const;
  /// Hands what a new array, which is no view, has recorded to the module's total of its kind.
  void recordInTotal() const {
    if (assignmentQuantizer_.logger().isOn()) addToTotal();
  }
  void addToTotal() const;
  /// This array's logger and those of `registerLogs`, null where arithmetic has not logged.
  std::array<const qlogger*, 1 + kRegisterLogs> loggers() const;
  /// Takes over what another array's registers have recorded.
  void copyRegisterLogs(const HeldArray& other);
  struct FinishedRegister {
    RegisterLog kind;
    const HeldArray& finished;
  };
  class RegisterRecords;
  /// Makes `RegisterRecords` and completes them.
  void finishRegisters(HeldArray* result, const char* name,
                       std::initializer_list<FinishedRegister> registers) const;

  /// The same for a product register and its sum register.
  void finishProducts(HeldArray* result, const HeldArray& productRegister, const char* name) const;
  /// Runs `assign` with another assignment quantizer than the array's own.
  template <class Assign>
  void assignWith(const quantizer& lent, Assign assign);

  number realPart_, imagPart_;
  bool isReal_ = true;
  bool isAutoScaled_ = false, isDataSetByPair_ = false;
  bool isView_ = false;
  PropertyEnum lastPropertySet_{-1};
  ArrayFormat::Ptr format_;
  quantizer assignmentQuantizer_;
  const quantizer* assignmentQuantizerInUse_ = &assignmentQuantizer_;
  HeldArray* target_ = nullptr;  // what an FiReference refers to
  // Apart: most arrays have none, and would keep registers free for its end.
  struct DeleteState {
    void operator()(ArithmeticState* state) const noexcept;
  };
  // Result-type caches, correction factors, registers: made when arithmetic first needs them.
  mutable std::unique_ptr<ArithmeticState, DeleteState> arithmeticState_;
};

}  // namespace embedded
