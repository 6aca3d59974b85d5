/// A row for every operation on arrays, what it needs for operands, and its outcome as text; random operands.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <type_traits>

#include "qfcore/fi/filter.h"
#include "tests/fi/arrays.h"
#include "tests/fi/meter.h"

namespace reference {

using namespace embedded;

using tessel::ArrayClass;

inline std::string bytesOf(const HostArray& array) {
  std::string text = array.className();
  for (const std::size_t size : array.dims()) text += " " + std::to_string(size);
  tessel::visitElementType(array.arrayClass(), [&](auto element) {
    const std::size_t bytes = array.numel() * sizeof element;
    if (bytes == 0) return;
    text.append(static_cast<const char*>(array.realData()), bytes);
    if (array.isComplex()) text.append("i").append(static_cast<const char*>(array.imagData()), bytes);
  });
  return text;
}

// Bytes tell values apart that print alike, and are there at once.
template <class Value>
void append(std::string& text, Value value) {
  // Zeros of either sign are one value, and so are all NaN.
  if constexpr (std::is_same_v<Value, double>)
    value = std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value + 0.0;
  text.append(reinterpret_cast<const char*>(&value), sizeof value);
}

inline void appendRecord(std::string& text, const qlogger& record) {
  append(text, record.noverflows());
  append(text, record.nunderflows());
  append(text, record.noperations());
  append(text, record.minlog().todouble());
  append(text, record.maxlog().todouble());
}

inline std::string described(const fi& x) {
  std::string text = x.getNumericType().tostring();
  appendRecord(text, x.getQlogger());
  if (fi::precisionOf(x.getNumericType()) > kMaxDoublePrecision) return text + contents(x);
  for (const unsigned size : x.dims()) append(text, size);
  for (const number* part : {&x.realPart(), &x.imagPart()}) {
    const number values(*part, Reading{});
    for (unsigned k = 0; k < part->numel(); ++k) append(text, values[k].todouble());
  }
  return text;
}

inline std::string described(const HostArray& array) { return bytesOf(array); }
inline std::string described(bool truth) { return truth ? "true" : "false"; }

inline const fi kNone;

/// What a random case consists of.
struct Operands {
  const fi &a, &b, &sameType;
  NumericType type;
  int number;  ///< a shift, a dimension, a base
  HostArray positions, bits;

  /// An array of a's type, or of a data type without scaling, made by `set`.
  template <class Set>
  fi made(Set set) const {
    return made(a.getNumericType(), set);
  }
  template <class Set>
  fi made(const NumericType& itsType, Set set) const {
    fi result(1U, 1U, itsType, a.getFimath());
    set(result);
    return result;
  }
  /// Coefficients in a type that has a 1.
  fi coefficients(const std::vector<double>& values) const {
    const int w = std::max(b.getNumericType().wordLength(), 2);
    return made(NumericType(true, w, std::clamp(type.fractionLength(), 0, w - 2)), [&](fi& x) {
      HostArray row = HostArray::zeros(ArrayClass::Double, {1, values.size()});
      std::copy(values.begin(), values.end(), row.mutableReal<double>());
      x.setDoubleHostArray(row);
    });
  }
  /// An operand for operations that take long element by element.
  const fi& few() const { return a.numel() < 200 ? a : sameType.numel() < 200 ? sameType : kNone; }
  /// A copy of `x` with its values in another type.
  static fi moved(fi x, const NumericType& to) {
    x.setNumericType(to);
    return x;
  }
  /// Real parts' bits as integers of the class, most of them beyond what doubles hold.
  HostArray integers(ArrayClass arrayClass) const {
    const HostArray doubles = b.getDoubleHostArray();
    HostArray result = HostArray::zeros(arrayClass, doubles.dims());
    if (!result.isEmpty())
      std::memcpy(result.mutableRealData(), doubles.realData(), doubles.numel() * sizeof(double));
    return result;
  }
};

struct Operation {
  const char* name;
  std::function<std::string(const Operands&)> run;
};

#define OPERATION(expression)                                            \
  {                                                                      \
#expression, [](const Operands& o) { return described(expression); } \
  }

template <class Find>
std::string withPlaces(Find find) {
  HostArray places;
  const fi extremes = find(places);
  return described(extremes) + bytesOf(places);
}

inline const NumericType& builtIn(EmbeddedTypeSystem::DataTypeEnum dataType) {
  static const auto types = [] {
    std::array<NumericType, 5> all;
    for (std::size_t k = 0; k < all.size(); ++k)
      all[k].setDataType(static_cast<EmbeddedTypeSystem::DataTypeEnum>(k));
    return all;
  }();
  return types[static_cast<std::size_t>(dataType)];
}
inline const NumericType &kBoolean = builtIn(EmbeddedTypeSystem::DataTypeEnum::Boolean),
                         &kSingle = builtIn(EmbeddedTypeSystem::DataTypeEnum::Single),
                         &kDouble = builtIn(EmbeddedTypeSystem::DataTypeEnum::Double);

inline HostArray index(const std::vector<HostArray>& subscripts) { return indexOf(subscripts); }

constexpr auto kFirst = fi::IntArrayDimensionMode::FirstDimension;
constexpr auto kFixed = fi::IntArrayChunkMode::Fixed128;

inline const Operation kOperations[] = {
    OPERATION(fi(o.a)),
    OPERATION(fi(o.a, fi::CopyReal())),
    OPERATION(fi(o.a, fi::CopyImag())),
    OPERATION(fi(fi(o.a, CopyIndex()))),
    OPERATION(o.a.subsref(index({HostArray::text(":")}))),
    OPERATION(o.a.subsref(index({HostArray::scalar(o.a.numel())}))),
    OPERATION(o.a.subsref(index({HostArray::scalar(1), HostArray::text(":")}))),
    {"ranges and elements assigned",
     [](const Operands& o) {
       fi x = Operands::moved(o.a, o.type);
       const std::size_t count = std::min(x.numel(), o.b.numel()), all = x.numel();
       if (count == 0) return described(x);
       const tessel::IndexRange first{0, 1, count}, last{all - count, 1, count}, odd{0, 2, (all + 1) / 2};
       x.assignAt({&last, 1}, o.b.elementsAt({&first, 1}));
       x.subsasgnScalarIndexing(0, fi(x, CopyElement{}, static_cast<unsigned>(all - 1)));
       x.assignAt({&(o.number > 0 ? odd : first), 1}, fi(o.b, CopyElement{}, 0));
       return described(x) + described(x.elementsAt({&odd, 1}));
     }},
    OPERATION(o.a.numel() < 20 ? o.a.toeplitz() : o.a),
    OPERATION(o.a.numel() < 20 && o.b.numel() < 20 ? o.a.toeplitz(o.b) : o.a),
    OPERATION(o.a.numel() < 20 && o.b.numel() < 20 ? o.a.hankel(o.b) : o.a),
    OPERATION(o.a.numel() < 20 ? o.a.diag(o.number % 3) : o.a),
    OPERATION(o.a.triu(o.number % 3)),
    OPERATION(o.a.ctranspose()),
    OPERATION(o.a.complex()),
    OPERATION(o.a.stridesort(o.number > 0, 1, o.a.rows())),
    OPERATION(fi::joined("vertcat", o.a, {&o.b, &o.a})),
    OPERATION(o.a.over(o.b, o.type)),
    OPERATION(o.a + o.b),
    OPERATION(o.a - o.b),
    OPERATION(o.a.sumAlong(1)),
    OPERATION(o.a.sumAlong(2)),
    OPERATION(o.a.lt(o.b)),
    OPERATION(o.a.le(o.b)),
    OPERATION(o.a.gt(o.sameType)),
    OPERATION(o.a.ge(o.sameType)),
    OPERATION(o.a.eq(o.sameType)),
    OPERATION(o.a.ne(o.sameType)),
    OPERATION(o.a.isequal(o.a)),
    OPERATION(o.a.isequal(o.sameType)),
    OPERATION(o.a.min(o.sameType)),
    OPERATION(o.a.max(o.sameType)),
    {"minAlong", [](const Operands& o) { return withPlaces([&](auto& p) { return o.a.minAlong(1, p); }); }},
    {"maxAlong", [](const Operands& o) { return withPlaces([&](auto& p) { return o.a.maxAlong(2, p); }); }},
    {"unary_max",
     [](const Operands& o) {
       unsigned index = 0;
       return withPlaces([&](auto& p) { return o.a.unary_max(index, p); }) + std::to_string(index);
     }},
    OPERATION(o.a.abs()),
    OPERATION(o.made(NumericType(true, 40, -1010),
                     [&](fi& x) {
                       x.setIntHostArray(o.a.getIntHostArray());
                       x = x.abs();
                     })),
    OPERATION(o.a.realabs(o.type)),
    OPERATION(o.a.uminus()),
    OPERATION(o.a.conj()),
    OPERATION(o.a.sign()),
    OPERATION(o.a.fibitand(o.sameType)),
    OPERATION(o.a.fibitor(o.sameType)),
    OPERATION(o.a.bitxor(o.sameType)),
    OPERATION(o.a.bitcmp()),
    OPERATION(o.a.bitshift(o.number)),
    OPERATION(o.a.bitset(HostArray::scalar(1))),
    OPERATION(o.a.bitset(o.positions)),
    OPERATION(o.a.bitset(o.positions, o.bits)),
    OPERATION(o.a.bitset(HostArray::scalar(1), o.bits)),
    OPERATION(o.a.bitget(HostArray::scalar(1))),
    OPERATION(o.a.bitget(o.positions)),
    OPERATION(o.a.reinterpretcast(
        NumericType(!o.a.getNumericType().isSigned(), o.a.getNumericType().wordLength(), o.number))),
    OPERATION(o.a.stripscaling()),
    OPERATION(o.a.pow2(o.number)),
    OPERATION(o.a.pow2(o.number, true)),
    OPERATION(o.a.getDoubleHostArray()),
    OPERATION(o.a.getSingleHostArray()),
    OPERATION(o.a.getBooleanHostArray()),
    OPERATION(o.a.getIntHostArray()),
    OPERATION(o.a.getIntArray()),
    OPERATION(o.a.getIntArrayHostArray(kFixed, kFirst)),
    OPERATION(o.a.getCorvaneIntArray()),
    OPERATION(o.made([&](fi& x) { x.setIntHostArray(o.b.getIntHostArray()); })),
    OPERATION(o.made([&](fi& x) { x.setIntHostArray(o.integers(ArrayClass::Int64)); })),
    OPERATION(o.made([&](fi& x) { x.setDataHostArray(o.integers(ArrayClass::Uint64)); })),
    OPERATION(o.made([&](fi& x) { x.copydata(o.b); })),
    OPERATION(o.a.complex(o.b)),
    OPERATION(o.moved(o.a, o.type)),
    OPERATION(o.moved(o.a, kSingle)),
    OPERATION(o.moved(o.moved(o.a, kDouble), o.type)),
    OPERATION(o.made([&](fi& x) { x.setDoubleHostArray(o.b.getDoubleHostArray()); })),
    OPERATION(o.made(
        [&](fi& x) { x.setIntArrayHostArray(o.a.getIntArrayHostArray(kFixed, kFirst), kFixed, kFirst); })),
    OPERATION(o.made([&](fi& x) { x.setCorvaneIntArray(o.a.getCorvaneIntArray()); })),
    OPERATION(o.a.num2base(std::abs(o.number) % 17 + 2)),
    OPERATION(o.a.num2sdec()),
    OPERATION(o.moved(o.a, kSingle).num2base(std::abs(o.number) % 17 + 2)),
    OPERATION(o.moved(o.a, kDouble).num2base(std::abs(o.number) % 17 + 2)),
    OPERATION(o.moved(o.a, kBoolean).num2base(10)),
    OPERATION(o.moved(o.a, kBoolean).num2sdec()),
    OPERATION(o.made([&](fi& x) { x.base2num(o.b.num2base(16), 16); })),
    OPERATION(o.made([&](fi& x) { x.base2num(o.a.num2base(8), 8); })),
    OPERATION(o.made(kSingle, [&](fi& x) { x.base2num(o.b.num2base(16), 16); })),
    OPERATION(o.made(kSingle, [&](fi& x) { x.base2num(o.moved(o.b, kSingle).num2base(10), 10); })),
    OPERATION(o.made(kDouble, [&](fi& x) { x.base2num(o.moved(o.b, kDouble).num2base(16), 16); })),
    OPERATION(o.made(kBoolean, [&](fi& x) { x.base2num(o.b.num2base(8), 8); })),
    OPERATION(o.made(NumericType(false, 20, -1000), [&](fi& x) { x.base2num(o.b.num2base(2), 2); })),
    OPERATION(o.made([&](fi& x) { x.base2num(o.b.num2base(2), std::abs(o.number) % 17 + 2); })),
    OPERATION(o.made([&](fi& x) {
      x.base2num(HostArray::charMatrix({"1 x", "2 3"}), 10);
    })),
    OPERATION(o.made([&](fi& x) {
      x.base2num(HostArray::charMatrix({"1", "2 3"}), 10);
    })),
};

inline const Operation kProducts[] = {
    OPERATION(o.a.abs().sqrtBisection(o.type, o.a.getFimath())),
    OPERATION(o.a.times(o.b)),
    OPERATION(o.a.rows() < 80 ? o.a.mtimes(o.b.transpose()) : o.a.transpose().mtimes(o.b)),
    // Long inner dimensions or long columns, but not both sizes of the result: it would have millions of
    // elements.
    OPERATION(std::max(o.a.rows(), o.a.cols()) < 80
                  ? o.a.transpose().mtimes(o.b)
                  : o.a.mtimes(o.b.subsref(index({HostArray::scalar(1), HostArray::text(":")})).transpose())),
    OPERATION(filter(o.coefficients({.5, -.3, .7, .9}), o.coefficients({1, -.75}), o.few()).signal),
    OPERATION(filter(o.coefficients({.5, -.3}), o.coefficients({1, -.75, .4, .1}), o.few()).states),
    OPERATION(filter(o.coefficients({.5, -.3, .7}), o.coefficients({1}), o.few(), nullptr, 2).signal),
    OPERATION(sosfilt(o.coefficients({.5, -.3, .7, 1, -.75, .4}), o.few()).signal),
    OPERATION(conv(o.coefficients({.5, -.3, .7}), o.few().subsref(index({HostArray::text(":")})))),
    OPERATION(dot(o.a, o.sameType)),
    OPERATION(dot(o.a, o.b, 2)),
    OPERATION(cumsum(o.a, 1)),
    OPERATION(mean(o.a, 2)),
};

/// Makes random operands for the rows above.
class OperationsTest : public ArithmeticTest {
 protected:
  /// Values of such types need not be on a grid, or have none.
  NumericType anyTypeOfDoubles() {
    const NumericType* builtIns[] = {&kBoolean, &kSingle, &kDouble};
    if (random.coin()) return *builtIns[random.integer(0, 2)];
    const bool isSloped = random.integer(0, 3) == 0;
    using EmbeddedTypeSystem::ScalingEnum;
    return NumericType(EmbeddedTypeSystem::DataTypeEnum::ScaledDouble,
                       isSloped ? ScalingEnum::SlopeBias : ScalingEnum::BinaryPoint, random.coin(),
                       random.integer(1, 90), isSloped ? 1.5 : 1,
                       random.integer(0, 5) == 0 ? random.integer(-1060, 1010) : random.integer(-40, 40),
                       isSloped ? 0.5 : 0);
  }

  fi anyArray(const std::vector<unsigned>& dims, const NumericType& type, const fimath& math) {
    const bool isComplex = random.integer(0, 3) == 0;
    if (type.isFixed()) {
      const fi x = random.array(dims, type, math, isComplex);
      const bool hasMore = !type.isSlopeBias() && x.numel() < 40 && random.integer(0, 11) == 0;
      return hasMore ? inBits(x, x.realPart().getprecision() + 60) : x;
    }
    qlogger::setLogging(false);
    return Operands::moved(random.array(dims, NumericType(true, 30, random.integer(-30, 60)), math,
                                        isComplex && !type.isBoolean()),
                           type);
  }

  /// Of scales near one, or far from it.
  NumericType anyType(bool isFar) {
    if (!isFar && random.integer(0, 7) == 0) return anyTypeOfDoubles();
    const int w = random.integer(1, random.coin() ? longestWord_ : 52),
              far = random.coin() ? random.integer(280, 1060) : -random.integer(280, 990);
    const int f = isFar ? far : random.integer(-60, w + 60);
    if (isFar || random.integer(0, 7) > 0) return NumericType(random.coin(), w, f);
    return NumericType(EmbeddedTypeSystem::DataTypeEnum::Fixed, EmbeddedTypeSystem::ScalingEnum::SlopeBias,
                       random.coin(), w, 1.5, -f, random.integer(-3, 3) / 2.0);
  }

  fimath settings() {
    fimath math(random.roundMode(), random.overflowMode());
    if (random.coin()) return math;
    // Words that fill a native integer, or miss it by one.
    static constexpr int kEnds[] = {52, 53, 63, 64, 65, 127, 128};
    const auto end = [&] { return kEnds[random.integer(0, 6)]; };
    const bool atEnd = random.integer(0, 3) == 0;
    math.setProductMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    const bool isLong = random.coin();
    math.setProductWordLength(atEnd ? end() : random.integer(isLong ? 40 : 1, isLong ? 128 : 40));
    math.setProductFractionLength(random.integer(-4, isLong ? 130 : 40));
    math.setSumMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    math.setSumWordLength(atEnd ? end() : random.integer(isLong ? 40 : 1, isLong ? 128 : 52));
    math.setSumFractionLength(random.integer(-4, isLong ? 130 : 40));
    math.setCastBeforeSum(random.coin());
    return math;
  }

  std::vector<unsigned> anyShape() {
    static const std::vector<unsigned> kLong[] = {{1, 2100}, {1100, 1}, {1100, 3}, {70, 3}};
    return random.integer(0, 9) == 0 ? kLong[random.integer(0, 3)] : shape(6);
  }

  HostArray integers(const std::vector<unsigned>& dims, int least, int most) {
    HostArray array = HostArray::zeros(ArrayClass::Double, tessel::Dimensions(dims.begin(), dims.end()));
    for (std::size_t k = 0; k < array.numel(); ++k)
      array.mutableReal<double>()[k] = random.integer(least, most);
    return array;
  }

  struct Arrays {
    fi a, b, sameType;
    NumericType type;
    int number;
    HostArray positions, bits;

    Operands operands() const { return {a, b, sameType, type, number, positions, bits}; }
  };

  Arrays anyArrays(bool isFar) {
    const fimath math = settings();
    const std::vector<unsigned> dims = anyShape(), one{1, 1};
    const auto size = [&] { return random.integer(0, 4) == 0 ? one : dims; };
    const NumericType type = anyType(isFar);
    return {anyArray(size(), type, math), anyArray(size(), anyType(isFar && random.coin()), math),
            anyArray(size(), type, math), anyType(isFar),
            random.integer(-20, 20),      integers(size(), 1, type.wordLength()),
            integers(size(), 0, 1)};
  }

  int longestWord_ = 52;
};

}  // namespace reference
