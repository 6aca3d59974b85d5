/// The fixed-point array: values of one numeric type, under one set of math settings.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "qfcore/fi/heldarray.h"
#include "tessel/ranges.h"

namespace embedded {

struct CorvaneArray;

/// An N-dimensional, column-major array of fixed-point values, real or complex.
///
/// Values are *held*: in units of the type's binary-point grid. Where the type is slope-bias the real-world
/// value v is held as (v − bias) / slope adjustment factor, for every other type as it is. Real and imaginary
/// parts are two contiguous `number` sequences with a cursor; element-at-a-time operations work at the cursor,
/// array operations on the whole. Every value stored has passed the assignment quantizer, so it lies in the
/// type.
///
/// A view has its own header and cursor and another array's elements. What is done to elements, complexity,
/// settings, tag or record through a view is done to that array; what would give the view another shape or type
/// raises "numforge:fi:FiReference:changesTarget". Views are good until the array is given other elements as a
/// whole, or another shape or type.
///
/// Every operation that fails leaves its operands as they were. Errors are ErrorIdException.
class QFCORE_API fi : public HeldArray {
 public:
  using HostArray = tessel::HostArray;
  struct CopyImag {};

  // ---------------------------------------------------------------------------------------------- construction
  // Values are real-world values and must suit the data type: "numforge:nologicalnan", "numforge:nofixednan"
  // and "numforge:nofixedinf" refuse NaN and infinities. `precision` is a requested count of bits for the
  // values, used where it exceeds the word length. An unspecified sign becomes Signed.

  /// 0-by-0, signed, word length 16, fraction length 15, the default math settings.
  fi();
  /// 1-by-1.
  fi(double value, bool isSigned, int wordLength, int fractionLength,
     const fimath& math = fimath::getDefaultFimath(), unsigned precision = 0, const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  fi(double value, const NumericType& type, const fimath& math = fimath::getDefaultFimath(),
     unsigned precision = 0, const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  /// Of the given shape, every element equal to `value`, or to `re` + i·`im`.
  fi(double value, const unsigned* dims, unsigned numDims, const NumericType& type,
     const fimath& math = fimath::getDefaultFimath(), const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  fi(double re, double im, const unsigned* dims, unsigned numDims, const NumericType& type,
     const fimath& math = fimath::getDefaultFimath(), const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  /// From column-major buffers with one value an element.
  fi(const double* re, const unsigned* dims, unsigned numDims, const NumericType& type,
     const fimath& math = fimath::getDefaultFimath(), const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  fi(const double* re, const double* im, const unsigned* dims, unsigned numDims, const NumericType& type,
     const fimath& math = fimath::getDefaultFimath(), const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  /// Zeros: every element represents the real-world value 0.
  fi(unsigned rows, unsigned cols, const NumericType& type, const fimath& math = fimath::getDefaultFimath(),
     bool isComplex = false, const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment, unsigned precision = 0);
  fi(const unsigned* dims, unsigned numDims, const NumericType& type,
     const fimath& math = fimath::getDefaultFimath(), bool isComplex = false, const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment, unsigned precision = 0);
  /// Zeros whose assignments go through a copy of `assignment`.
  fi(const unsigned* dims, unsigned numDims, const NumericType& type, const fimath& math, bool isComplex,
     const quantizer& assignment);
  /// From stored integers: ceil(word length / 32) unsigned 32-bit words an element, least significant first;
  /// all real parts, then, for a complex array, all imaginary parts. Bits above the word length are ignored.
  fi(const void* intData, const unsigned* dims, unsigned numDims, const NumericType& type,
     const fimath& math = fimath::getDefaultFimath(), bool isComplex = false, const std::string& tag = {},
     OperationTypeEnum operationType = OperationTypeEnum::Assignment, unsigned precision = 0);
  /// Shape, complexity and values of a numeric or logical host array. A type of unspecified scaling gets the
  /// best precision for the data. Raises "numforge:fi:constructor:numeric" for other classes.
  fi(const HostArray* values, const NumericType& type, const fimath& math = fimath::getDefaultFimath(),
     const std::string& tag = {}, OperationTypeEnum operationType = OperationTypeEnum::Assignment);
  /// A deep copy; of a view, of the elements that it sees.
  fi(const fi& other);
  /// The other array is empty afterwards; a view is copied.
  fi(fi&& other);
  /// Becomes what `other` is. A view, whose shape and type stay, takes its elements alone.
  fi& operator=(const fi& other);
  fi& operator=(fi&& other);
  /// A view: own header and cursor, elements and assignment quantizer those of `other`; stays real if it is.
  fi(const fi& other, CopyIndex);
  /// A reader: own header and cursor over the elements of `other`, which knows nothing of it, must outlive it
  /// and must not change meanwhile. Only what reads is defined.
  fi(const fi& other, Reading);
  /// A single element: the one at the cursor of `other`, or at `position`, from 0; every dimension 1. Raises
  /// "numforge:fi:badindex".
  fi(const fi& other, CopyElement);
  fi(const fi& other, CopyElement, unsigned position);
  /// A real array of the real parts; of the imaginary parts, zeros where `other` is real.
  fi(const fi& other, CopyReal);
  fi(const fi& other, CopyImag);

  /// Brings every value into another type: its real-world value is quantized under the array's math settings.
  /// An unspecified scaling gets the best precision for the values.
  void setNumericType(const NumericType& type);
  /// The array in that type under other settings, with its record.
  fi inType(const NumericType& type, const fimath& math) const;
  /// Gives the array another shape, type and math settings; the storage is kept where it fits, its values have
  /// no meaning then and are to be overwritten. An unspecified sign becomes Signed.
  void resizeAndZero(const unsigned* dims, unsigned numDims, unsigned numel, const NumericType& type,
                     const fimath& math, bool isComplex);
  void resizeAndZero(unsigned rows, unsigned cols, const NumericType& type, const fimath& math, bool isComplex);

  // ------------------------------------------------------------------------------------- range queries, 1-by-1
  fi lowerbound() const;
  fi upperbound() const { return realmax(); }
  /// 1-by-2: smallest and largest value.
  fi range() const;
  fi realmax() const;
  fi realmin() const;
  /// One step of the type, 2^(−f); −2^(−f) for a signed word of one bit, whose only nonzero value that is.
  fi eps() const;
  fi lsb() const { return eps(); }
  fi getRealFi() const { return fi(*this, CopyReal{}); }
  fi getImagFi() const { return fi(*this, CopyImag{}); }

  // ------------------------------------------------------------------------------------ exchange with the host
  // Getters keep shape and complexity. Setters take shape, complexity and values of a host array; type,
  // settings, logging switch and record stay. A value is quantized once and logged; NaN and infinities are
  // refused as in construction.

  /// Real-world values, rounded to the class. Logical: true where not 0; raises "numforge:nologicalcomplex" and
  /// "numforge:nologicalnan".
  HostArray getDoubleHostArray() const;
  HostArray getSingleHostArray() const;
  HostArray getBooleanHostArray() const;
  /// Real-world values in the class that belongs to the data type: logical, single, or double for all others.
  HostArray getDataHostArray() const;
  /// Takes a double array. Raises "numforge:fi:double:notdouble" for other classes.
  void setDoubleHostArray(const HostArray& values);
  /// Takes a numeric or logical array. Raises "numforge:fi:data:notnumeric" for other classes.
  void setDataHostArray(const HostArray& values);
  /// Prints the values on the console; see `displayedValues`.
  void disp() const;

  // ------------------------------------------------------------------------------------------- stored integers
  // Chunked layout: class uint32; each element is a run of 32-bit chunks, least significant first, that hold
  // the pattern of its stored integer in exactly the word's bits. Real and imaginary parts are chunked alike.

  /// Chunks an element takes: as many as the word needs, or always 4.
  enum class IntArrayChunkMode : int { AsNeeded = 0, Fixed128 = 1 };
  /// Where the chunks of an element lie: along a new first dimension (along the given one where there is one
  /// row), or along the first dimension, which grows by that factor.
  enum class IntArrayDimensionMode : int { NewDimension = 0, FirstDimension = 1 };

  /// The stored integers in the narrowest integer class of the host, up to 64 bits. Wider words, and with the
  /// switch "Fi33PlusMemoryFootprint" off those of more than 32 bits, come as doubles with the warning
  /// "numforge:fi:intover64bits", "…:intover52bits" or "…:intover32bits". Data types that are not fixed-point
  /// give their values, ScaledDouble in units of the scaling.
  HostArray getIntHostArray() const;
  /// Takes stored integers from a numeric or logical array; what the word does not hold is rounded and brought
  /// into range. Raises "numforge:fi:int:notnumeric".
  void setIntHostArray(const HostArray& stored);
  /// Fixed words of more than 32 bits in the chunked layout, everything else as `getIntHostArray`.
  HostArray getIntArray(IntArrayChunkMode chunkMode = IntArrayChunkMode::AsNeeded,
                        IntArrayDimensionMode dimensionMode = IntArrayDimensionMode::NewDimension) const;
  void setIntArray(const HostArray& stored, IntArrayChunkMode chunkMode = IntArrayChunkMode::AsNeeded,
                   IntArrayDimensionMode dimensionMode = IntArrayDimensionMode::NewDimension);
  /// The chunked layout, whatever the data type. Raises "numforge:fi:corvanearray:TooBigWordLength" for words
  /// that 4 chunks do not hold.
  HostArray getIntArrayHostArray(IntArrayChunkMode chunkMode, IntArrayDimensionMode dimensionMode) const;
  /// Takes the chunked layout; bits above the word are ignored. An array that has the layout of this array's
  /// shape keeps that shape. Raises "numforge:fi:intarray:not_uint32" and "numforge:fi:intarray:leadingdim".
  void setIntArrayHostArray(const HostArray& chunks, IntArrayChunkMode chunkMode,
                            IntArrayDimensionMode dimensionMode);
  /// The Corvane layout: chunks along the first dimension, 4 an element; while "Fi33PlusMemoryFootprint" is on,
  /// as many as needed, and fixed-point words of more than 32 bits sign-extended in 64-bit integers. More than
  /// 128 bits give a warning and a 0-by-0 array.
  HostArray getCorvaneIntArray() const;
  /// Fixed words of more than 32 bits as `getCorvaneIntArray`, everything else as `getIntHostArray`.
  HostArray getCorvaneArray() const;
  /// The Corvane layout with 4 chunks an element, whatever the switch says.
  HostArray getCorvaneArray32MemoryFootPrint() const;
  /// The inverses. Raise "numforge:fi:corvanearray:TooBigWordLength" and what `setIntArrayHostArray` raises.
  void setCorvaneIntArray(const HostArray& stored);
  void setCorvaneArray(const HostArray& stored);
  /// `getCorvaneArray` in memory of the block-diagram side, and back. Raises
  /// "numforge:fi:setSIArray:DataTypeNotSupported" for element classes that the side does not have.
  CorvaneArray createCVArray() const;
  void setFromSIArray(const CorvaneArray& stored);
  /// New arrays from chunks, read as the setters of a fresh array read them.
  static fi convertIntArrayToFiArray(const HostArray& chunks, const NumericType& type, const fimath& math,
                                     IntArrayChunkMode chunkMode, IntArrayDimensionMode dimensionMode);
  static fi convertCorvaneIntArrayToFiArray(const HostArray& stored, bool isSigned, int wordLength,
                                            int fractionLength, const fimath& math = {});
  /// `slope` is the whole step, slope adjustment factor times power of two.
  static fi convertCorvaneIntArrayToFiArray(const HostArray& stored, bool isSigned, int wordLength,
                                            double slope, double bias, const fimath& math = {});
  /// Releases the source, also when it raises.
  static fi convertCorvaneIntArrayToFiArraySteal(HostArray&& stored, bool isSigned, int wordLength,
                                                 int fractionLength, const fimath& math = {});

  // -------------------------------------------------------------------------------------------------- indexing
  // The host's built-in indexing works on arrays of positions (1 to the element count; −1, −2, … for the
  // right-hand side); elements then move where the positions say. So its rules hold, and its errors pass on
  // unchanged. `index` is the host's index structure with one level of parentheses; further levels raise
  // "numforge:fi:subsref:parenlast" or "numforge:fi:subsasgn:parenlast".

  /// Whether an index structure begins with parentheses.
  static bool isParenthesisIndex(const HostArray& index);
  /// The selected elements with this array's quantizer and record. Scalar subscripts that name no element raise
  /// "numforge:fi:badsubscript" or "numforge:fi:badindex".
  fi subsref(const HostArray& index) const;
  /// One existing element, `position` from 0, as `subsref` gives it.
  fi elementAt(unsigned position) const;
  /// The existing elements that ranges of positions select, as `subsref` gives them.
  fi elementsAt(tessel::IndexRanges ranges) const;
  /// Assigns to them: one element to all, or one each; else as `subsasgn`. `rhs` is another array.
  void assignAt(tessel::IndexRanges ranges, const fi& rhs);
  /// Assigns to existing elements, grows with zeros, or deletes where the right-hand side is empty. Values of
  /// either kind are quantized once, by this array's quantizer, and logged; while logging is on what is new
  /// goes to the module's total of assignments and is warned of. A complex right-hand side makes the array
  /// complex. Host values must be numeric or logical ("numforge:fi:subsasgn:notnumeric"); what the data type
  /// refuses is refused.
  fi& subsasgn(const HostArray& index, const fi& rhs);
  fi& subsasgn(const HostArray& index, const HostArray& rhs);
  /// One existing element, `position` from 0, takes the first one of `rhs`. Raises "numforge:fi:badindex".
  void subsasgnScalarIndexing(unsigned position, double rhs);
  void subsasgnScalarIndexing(unsigned position, const fi& rhs);
  void subsasgnGeneralIndexing(const HostArray& index, const fi& rhs);
  /// The elements at `positions`, a double array of positions from 1. Raises
  /// "numforge:fi:subsref:double_index", "numforge:fi:badsubscript", "numforge:fi:badindex".
  fi subscriptedReference(const HostArray& positions) const;
  /// Where `positions`, of this array's size, holds −j, the element takes right-hand element j.
  void subscriptedOverwriteAssignment(const HostArray& positions, const fi& rhs);
  void subscriptedOverwriteAssignment(const HostArray& positions, const HostArray& rhs);
  /// Takes the shape of `positions`: p > 0 keeps element p, −j takes right-hand element j, 0 represents 0.
  void subscriptedGrowAssignment(const HostArray& positions, const fi& rhs);
  void subscriptedGrowAssignment(const HostArray& positions, const HostArray& rhs);
  void subscriptedGrowAssignmentFromStruct(const HostArray& index, const fi& rhs);
  /// Keeps the elements at `positions`, in that shape.
  void subscriptedDelete(const HostArray& positions);
  void subscriptedDeleteFromStruct(const HostArray& index);
  /// Takes shape and values of another array, quantized into this type.
  void copydata(const fi& source);
  static void checkValidIndexType(const HostArray& positions);
  /// `index` counts from 0.
  static void checkNegativeSignedIndex(long long index);
  void checkSignedIndex(long long index) const;

  // ----------------------------------------------------------------------------------------------------- shape
  // Elements move, none is quantized, nothing is logged; type and settings stay. New places hold the stored
  // zero.

  /// Raises "numforge:fi:reshape:siz_not_double", "numforge:fi:reshape:badsize", "numforge:fi:reshape:numel".
  fi reshape(const HostArray& sizes) const;
  fi squeeze() const;
  /// Raise "numforge:fi:transpose:NDArray", "numforge:fi:ctranspose:NDArray". `ctranspose` brings the negated
  /// imaginary parts into the type; refuses complex slope-bias arrays,
  /// "numforge:fi:complexslopebiasnotdefined".
  fi transpose() const;
  fi ctranspose() const;
  /// A square matrix with a vector on its k-th diagonal; the k-th diagonal of a matrix as a column. Raise
  /// "numforge:fi:diag:kthDiagInputNotInteger", "numforge:fi:diag:firstInputMustBe2D".
  fi diag(double k = 0) const;
  /// The elements up to, or from, the k-th diagonal. Raise "numforge:fi:tril:firstInputMustBe2D" and as `diag`.
  fi tril(double k = 0) const;
  fi triu(double k = 0) const;
  /// Constant diagonals: this is the first column, `row` (brought into this type) or else the conjugate the
  /// first row. Warns "numforge:fi:toeplitz:DiagonalConflict"; raises "numforge:fi:toeplitz:emptynotallowed".
  fi toeplitz() const;
  fi toeplitz(const fi& row) const;
  /// Constant anti-diagonals: this is the first column, `row` the last row, or else zeros. Warns
  /// "Tessel:hankel:AntiDiagonalConflict"; raises "numforge:fi:hankel:emptynotallowed".
  fi hankel() const;
  fi hankel(const fi& row) const;
  /// What the host's function `name` makes of an array of this shape, given the further arguments: for
  /// functions that move elements and fill with zeros ("permute", "repmat", "flip", …).
  fi rearrangedBy(const char* name, tessel::Arrays arguments) const;
  /// The operands joined as the host's `name` ("horzcat", "vertcat", "cat" with `leading` arguments) joins
  /// arrays of their sizes, in the type and settings of `model`. Operands of other types are quantized and
  /// logged.
  static fi joined(const char* name, const fi& model, const std::vector<const fi*>& operands,
                   tessel::Arrays leading = {});
  /// The values of a numeric or logical array as they are: an operand before its quantization.
  static fi unquantized(const HostArray& values);
  /// Sorts the sequences of `length` elements that stand `stride` apart: real ones by value, complex ones by
  /// magnitude and then angle. Fills `index`, when given, with positions from 1 in each sequence. Raises
  /// "numforge:fi:sort:badstride" unless the sequences fill the array.
  fi stridesort(bool ascending, unsigned stride, unsigned length, HostArray* index = nullptr) const;
  /// Real parts from this array, imaginary parts from `imaginary`, brought into this type; it may be scalar.
  fi complex(const fi& imaginary) const;
  /// The array with imaginary parts, zero where it is real.
  fi complex() const;

  // ------------------------------------------------------------------------------------------------ radix text
  // Raise `errorIfScaledDouble`'s error.

  /// A character matrix of the stored integers' patterns, one text row a row, columns three blanks apart;
  /// complex elements as "re + imi". Raises "numforge:fi:num2base:BadBase" outside 2 to 18.
  HostArray num2base(int base) const;
  /// The stored integers as signed decimal text.
  HostArray num2sdec() const;
  /// Takes shape, complexity and stored integers from such text; type and settings stay. Raises
  /// "numforge:fi:base2num:BadBase", "…:NotCharArray", "…:EmptyInput", "…:InvalidElement".
  void base2num(const HostArray& text, int base);
  /// Whether a token is a number of the base; null is not, the empty text is.
  static bool base2numCheckElement(const char* token, int base);
  HostArray bin() const { return num2base(2); }
  HostArray oct() const { return num2base(8); }
  HostArray dec() const { return num2base(10); }
  HostArray hex() const { return num2base(16); }

  // ---------------------------------------------------------------------------------------------- result types
  // Checks, each raising the error told in resulttypes.cpp.
  static void errorIfBooleanMath(const fi& x);
  static void errorIfMixedMath(const fi& a, const fi& b);
  static void errorIfFimathMismatch(const fi& a, const fi& b);
  static void errorIfMathMismatch(const fi& a, const fi& b);
  static void errorIfSlopeBiasMath(const fi& x);
  static void errorIfScaledDoubleSlopeBiasMath(const fi& a, const fi& b);
  /// "numforge:fi:scaleddoublenotdefined", with the function's name in the text.
  static void errorIfScaledDouble(const fi& x, const char* functionName);
  /// The data type of a result, after `errorIfMathMismatch`.
  static EmbeddedTypeSystem::DataTypeEnum getDataTypeForMathOp(const fi& a, const fi& b);
  // The types of results and registers of operations on this array and `b`. Each stores its answer in a cache
  // of this array; the reference stays valid until the next derivation of the same kind (sums, products).
  const NumericType& getNumericTypeForAddOp(const fi& b) const;
  const NumericType& getProductTypeForMpyOp(const fi& b) const;
  const NumericType& getSumTypeForMpyOp(const fi& b, const NumericType& productType) const;
  const NumericType& getSumNumericTypeForMatrixMultiply(const fi& b, const NumericType& productType) const;
  const NumericType& getNumericTypeForLeadingDimensionSum() const;
  NumericType getNumericTypeForSqrtBisection() const;

  // ---------------------------------------------------------------------------------- addition and subtraction
  // Element-wise, with scalar expansion. Raise the type rule's errors, "numforge:fi:dimagree",
  // "numforge:fi:complexslopebiasnotdefined" and "numforge:fi:castbeforesumfalseslopebiasnotdefined". New
  // overflows and underflows are warned of at the end.
  fi plus(const fi& b) const;
  fi minus(const fi& b) const;
  fi operator+(const fi& b) const { return plus(b); }
  fi operator-(const fi& b) const { return minus(b); }
  /// In place; the type stays. A non-scalar `b` needs this array's size.
  fi& operator+=(const fi& b);
  fi& operator-=(const fi& b);
  /// One element: register = a ± b at the cursors, written to this array's cursor. The register may be this
  /// array.
  fi& sumEquals(const fi& a, const fi& b, fi& sumRegister);
  fi& diffEquals(const fi& a, const fi& b, fi& sumRegister);
  /// The same with a scratch number that is precise enough for both operands and the register.
  fi& sumEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch);
  fi& diffEquals(const fi& a, const fi& b, fi& sumRegister, number& scratch);
  /// Whether the slope-bias correction factors are missing or made for other types than those of `b` and
  /// `result`.
  bool needToInitSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const;
  void initSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const;
  void initSlopeBiasCorrectionFactorsForEquals(const fi& b) const;
  double getBnetForSlopeBiasPlus() const;
  double getBnetForSlopeBiasMinus() const;
  /// The net bias and the right operand's factor of in-place sums, as `initSlopeBiasCorrectionFactorsForEquals`
  /// made them; 0 before.
  double getBnetForEquals() const;
  double getFsxForEquals() const;
  /// The sum along the first dimension, which becomes 1.
  fi leadingdimension_sum() const;
  /// A 1-by-1 register for sums: real or complex as asked, precise enough for words of `operandPrecision` bits.
  fi initializeSumRegister(const NumericType& type, const fimath& math, unsigned operandPrecision,
                           bool isComplex) const;

  // -------------------------------------------------------------------------------------------- multiplication
  // Raise the type rules' errors, "numforge:fi:dimagree" and "numforge:fi:complexslopebiasnotdefined". What
  // products and their sums met goes into the result's record; new overflows and underflows are warned of at
  // the end.

  /// Element-wise, with scalar expansion, in the product's type; for two complex operands in the type of the
  /// sum of two products. The exact product is rounded once; slope-bias operands give the product of real-world
  /// values.
  fi times(const fi& b) const;
  // A slope-bias product in held units of a type with factor Sr and bias Br: Fsc (qa + A) (qb + B) - Br / Sr.
  // The operations themselves form it exactly; these are its constants as doubles, kept from one call to the
  // next.
  /// Makes Fsc = Sa Sb / Sr for `b` and a product's type.
  void initSlopeCorrectionFactorForTimes(const fi& b, const NumericType& product) const;
  /// Makes A = Ba / Sa and B = Bb / Sb, the biases in held units, and returns the bits that the exact product
  /// has at worst.
  unsigned initParamsForWorstCaseSlopeBiasTimes(const fi& b) const;
  /// What was made last; 0 before.
  double getFscForTimes() const;
  double getAForSlopeBiasTimes() const;
  double getBForSlopeBiasTimes() const;
  /// The product of the elements at the cursors, 1-by-1, as `times` forms it.
  fi operator*(const fi& b) const;
  /// In place; the type stays, and the exact product is rounded into it. A non-scalar `b` needs this array's
  /// size.
  fi& operator*=(const fi& b);
  /// One element: this = this · b at the cursors. Products go through `productQuantizer`; the sums that two
  /// complex factors need through `sumQuantizer`. Scratch values have `precision` bits: those of both words, or
  /// more.
  fi& timesEquals(const fi& b, const quantizer& productQuantizer, const quantizer& sumQuantizer,
                  unsigned precision);
  /// The same for complex factors, a missing imaginary part being 0, with the scratch values given.
  fi& complexTimesEquals(const fi& b, const quantizer& productQuantizer, const quantizer& sumQuantizer,
                         number& scratch1, number& scratch2);
  /// Matrix product; element-wise where one operand is scalar. Each result element sums its products in the
  /// order of the inner dimension. Raises "numforge:fi:castbeforesumfalseslopebiasnotdefined",
  /// "numforge:fi:mtimes:inputsMustBe2D" and "numforge:fi:innerdim" besides; the host, "Tessel:interrupted".
  fi mtimes(const fi& b) const;
  /// A 1-by-1 register for products of the type derived last, or of `productType`; its sum register, of
  /// `sumType`, records the sums of complex products. Holds words of `precision` bits.
  fi initializeProductRegister(const fimath& math, unsigned precision) const;
  fi initializeProductRegister(const NumericType& productType, const NumericType& sumType, const fimath& math,
                               unsigned precision) const;

  // ------------------------------------------------------------------ division, square root and absolute value
  // Results are logged as assignments.

  /// Element-wise quotient in `type`, with scalar expansion. Each quotient is rounded to the dividend's
  /// precision, then quantized; both parts of a complex one likewise. 0/0 gives 0, another dividend over 0 the
  /// upper or lower bound, with the warning "fi:divideByZero". Raises "numforge:fi:nobooleanmath",
  /// "numforge:fi:onlybinarypointmath" (for `type` too), "numforge:fi:dimagree".
  fi over(const fi& b, const NumericType& type) const;
  /// The type of a quotient where none is given; see resulttypes.h.
  NumericType getNumericTypeForQuotient(const fi& b) const;
  /// Square root of every element, found bit by bit and rounded as `math` says; without `type` that of
  /// `getNumericTypeForSqrtBisection`, without `math` the array's own. Squares are formed in the product type
  /// of `type` under `math`, whose overflows and underflows are warned of. Raises what `sqrtErrorMessage`
  /// raises and the errors of the product's type.
  fi sqrtBisection() const { return sqrtBisection(getNumericTypeForSqrtBisection(), getFimath()); }
  fi sqrtBisection(const NumericType& type) const { return sqrtBisection(type, getFimath()); }
  fi sqrtBisection(const fimath& math) const { return sqrtBisection(getNumericTypeForSqrtBisection(), math); }
  fi sqrtBisection(const NumericType& type, const fimath& math) const;
  /// Raises "numforge:fi:sqrt:binarypointonly", "…:unspecifiedscaling", "…:unspecifiedsign", "…:nocomplex",
  /// "…:nonegative", "…:nobooleansqrt", in this order.
  void sqrtErrorMessage(const NumericType& type) const;
  bool isAnyElementNegative() const;
  /// The magnitude of the held element at the cursor.
  void abs(number& out) const;
  /// Magnitudes of all elements in this type: of the exact real-world magnitude, rounded once. Refuses complex
  /// slope-bias arrays, "numforge:fi:complexslopebiasnotdefined".
  fi abs() const;
  /// Absolute values of a real array in `type`, without one in this type, rounded and brought into range by
  /// `math`. Raises "numforge:fi:abs:binarypointonly" and "numforge:fi:realabs:nocomplex".
  fi realabs() const { return realabs(getNumericType(), getFimath()); }
  fi realabs(const NumericType& type) const { return realabs(type, getFimath()); }
  fi realabs(const fimath& math) const { return realabs(getNumericType(), math); }
  fi realabs(const NumericType& type, const fimath& math) const;

  // -------------------------------------------------------------------------------- comparison, extremes, sign
  /// The element of `x` at its cursor in the scaling of `y`: the value that would represent the same real-world
  /// value there, with so many bits that it compares exactly with values of `y`. Valid until the next such call
  /// for `x`.
  static const number& getAdjustedReal(const fi& x, const fi& y);
  /// Both parts, at the cursor of the array returned: a 1-by-1 one, or `x` itself where the scalings agree.
  static const fi& getAdjustedElement(const fi& x, const fi& y);
  /// Element-wise comparison of real parts, by real-world value, with scalar expansion: a logical array. `eq`
  /// and `ne` compare imaginary parts too. Raise "numforge:fi:dimagree".
  HostArray ge(const fi& b) const;
  HostArray le(const fi& b) const;
  HostArray gt(const fi& b) const;
  HostArray lt(const fi& b) const;
  HostArray eq(const fi& b) const;
  HostArray ne(const fi& b) const;
  /// Whether the elements at the cursors are equal.
  bool operator==(const fi& b) const;
  /// Same size and all elements equal.
  bool isequal(const fi& b) const;
  /// Element-wise, with scalar expansion; complex elements by magnitude; of equal ones this array's. Raise
  /// "numforge:fi:min:numerictypemismatch", "numforge:fi:min:fimathmismatch" ("…:max:…") and
  /// "numforge:fi:dimagree".
  fi min(const fi& b) const;
  fi max(const fi& b) const;
  /// The first extreme in storage order, 1-by-1, and its position: from 0 in `index`, from 1 in `position`. Of
  /// an empty array, empty ones; `index` is 0 then.
  fi unary_min(unsigned& index, HostArray& position) const;
  fi unary_max(unsigned& index, HostArray& position) const;
  /// The first extremes along `dimension`, from 1, and their positions in it, from 1. Raise
  /// "numforge:fi:getDimension:badDimension" for 0.
  fi minAlong(unsigned dimension, HostArray& positions) const;
  fi maxAlong(unsigned dimension, HostArray& positions) const;
  /// The sum along `dimension`, from 1, by the rules of `leadingdimension_sum`.
  fi sumAlong(unsigned dimension) const;
  /// The partial sums that `sumAlong` forms.
  fi cumulativeSumAlong(unsigned dimension) const;
  /// −1, 0 or 1 in this type. Refuses complex arrays, "numforge:fi:complexnotdefined".
  fi sign() const;
  /// The negated real-world values, brought into this type; `conj` negates imaginary parts alone and refuses
  /// complex slope-bias arrays, "numforge:fi:complexslopebiasnotdefined".
  fi uminus() const;
  fi conj() const;

  // -------------------------------------------------------------------------------------------- bit operations
  // On the patterns of stored integers. Raise `errorIfScaledDouble`'s error, and "numforge:fi:fixedonly" for
  // the data types double and single.

  /// This array with one bit of every element set, or made `value`. Scalars expand. Raise
  /// "numforge:fi:bitset:inputsMustBeReal", "numforge:fi:bitSet:sizeMismatch",
  /// "numforge:fi:bitSet:ArgSizeMismatch", "numforge:fi:bitset:BITOutOfRange".
  fi bitset(const HostArray& bit) const;
  fi bitset(const HostArray& bit, const HostArray& value) const;
  fi bitset(const fi& bit) const;
  fi bitset(const fi& bit, const fi& value) const;
  fi bitset(const fi& bit, const HostArray& value) const;
  fi bitset(const HostArray& bit, const fi& value) const;
  /// One bit of every element, as an unsigned array of word length 1. Raises
  /// "numforge:fi:bitget:inputsMustBeReal", "numforge:fi:bitget:sizeMismatch",
  /// "numforge:fi:bitget:BITOutOfRange".
  fi bitget(const HostArray& bit) const;
  /// Every bit complemented, in both parts.
  fi bitcmp() const;
  /// Bit by bit in both parts, a missing imaginary part being 0; scalars expand. Raise
  /// "numforge:fi:bitAndXorOr:mixedNumericTypes" and "numforge:fi:dimagree".
  fi fibitand(const fi& b) const;
  fi fibitor(const fi& b) const;
  fi bitxor(const fi& b) const;
  /// Stored integers times 2^places, in this type: rounded down, brought into range by the overflow mode.
  fi bitshift(int places) const;
  /// Values times 2^exponent. In this type, rounded and brought into range; or, with `movesPoint`, exactly, in
  /// a type whose fraction length is shorter by `exponent`. Refuses slope-bias arrays,
  /// "numforge:fi:onlybinarypointmath".
  fi pow2(int exponent, bool movesPoint = false) const;
  /// The bounds of the stored integers, 1-by-1, with fraction length 0.
  fi intmin() const;
  fi intmax() const;
  /// The stored integers as values: same sign and word length, fraction length 0. Arrays of data types without
  /// scaling come back as they are.
  fi stripscaling() const;
  /// The same patterns read in `type`. Raises "numforge:fi:reinterpretcast:wordlength" unless the word lengths
  /// agree, and "numforge:fi:fixedonly".
  fi reinterpretcast(const NumericType& type) const;

 private:
  friend class FilterRun;
  // What one source alone needs, defined there.
  struct Arranging;
  struct Bits;
  struct Comparison;
  struct DimensionSums;
  struct Exchange;
  struct Extremes;
  struct Indexing;
  struct MatrixProducts;
  struct Products;
  struct Sums;
  struct Ones;
  /// Values without meaning, which the maker sets.
  fi(const Shape& dims, const NumericType& type, const fimath& math, bool isComplex, const Tag& tag,
     OperationTypeEnum operationType, unsigned precision = 0);
  fi(const Shape& dims, const ArrayFormat::Ptr& format, bool isComplex, const Tag& tag,
     OperationTypeEnum operationType, unsigned precision = 0);
  /// 1-by-1 and real: `held`, a value of the format, which doubles carry.
  fi(const ArrayFormat::Ptr& format, double held, const Tag& tag, OperationTypeEnum operationType);
  struct NewValue;
  fi(const NewValue& made, const Tag& tag, OperationTypeEnum operationType);
  /// What `inType` gives where the type is another.
  fi castTo(const NumericType& type, const fimath& math) const;
  fi(const fi& model, const Shape& dims, bool isComplex) : HeldArray(model, dims, isComplex) {}
  /// Zeros of this type and these settings, with this array's tag and logging switch and nothing recorded.
  fi blank(const Shape& dims, bool isComplex) const;
  /// The same with values that mean nothing until the maker has set them all.
  fi unset(const Shape& dims, bool isComplex) const;
  fi detached() const;
  /// An array of this type to fill and then `replaceElements` with: as `unset`, if that is allowed.
  fi replacement(const Shape& dims, bool isComplex) const;
  /// The elements and, as far as a view sees all of its target's, the complexity become those of `source`, an
  /// array of this type, the second one of any shape. Where they fail, they do so before anything changes.
  void takeElements(const fi& source);
  void replaceElements(fi& source);
  void setChunks(const HostArray& chunks, const Shape& dims, unsigned chunksEach);
  /// Copies elements of this array to `into`, an array of this type; `kNoElement` leaves a place as it is.
  void copyElements(fi& into, const ElementVisit& targets, const ElementVisit& sources, unsigned count) const;
  /// The elements at `positions`, from 0; `kNoElement` is the stored zero.
  fi rearranged(const Shape& dims, const std::vector<unsigned>& positions) const;
  /// Assigns elements of `rhs` to `into`, this array or one of its type; logged by the quantizer in use.
  void storeQuantized(fi& into, const ElementVisit& targets, const fi& rhs, const ElementVisit& sources,
                      unsigned count) const;
  void storePart(number& to, const ElementVisit& targets, const fi& rhs, const number& from,
                 const ElementVisit& sources, unsigned count) const;
  /// Runs `assign` so that what it records is also handed to the module's total and warned of.
  /// With `products`, what these have recorded is warned of besides, in the same warnings.
  template <class Assign>
  void assignLogged(const char* operation, Assign assign, const qlogger* products = nullptr);
  /// The same for elements that there are already: `assign` only makes what `complete` puts into their place
  /// at last. That changes everything it is to change or, where it fails, nothing; nor do records change then.
  template <class Assign, class Complete>
  void assignLogged(const char* operation, Assign assign, Complete complete, const qlogger* products = nullptr);
  /// The same for all elements: `fill` fills `replaced`, which `replacement` made, and its elements are taken.
  template <class Fill>
  void replaceLogged(fi& replaced, Fill fill);
  void errorIfNotAssignable(const fi& rhs) const;
  /// The elements of all operands, one after the other in a column, in the type and settings of `model`.
  static fi pooled(const char* operation, const fi& model, const std::vector<const fi*>& operands);
  bool base2numByBlocks(const HostArray& text, int base);
  // What `getNumericTypeForAddOp` and the like give, without keeping it.
  ArrayFormat::Result sumWith(const fi& b, ArrayFormat::Operation operation) const;
  ArrayFormat::Result productWith(const fi& b) const;
  NumericType sumTypeOfProductsWith(const fi& b, const NumericType& productType) const;
  NumericType matrixSumTypeWith(const fi& b, const NumericType& productType) const;
  static void oneSlopeBiasSum(const fi& a, const fi& b, fi& sumRegister, bool subtracts);
};

}  // namespace embedded
