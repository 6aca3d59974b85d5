/// Round trips through host arrays, integer layouts and text, compared with stored integers in GMP.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <sstream>
#include <string_view>

#include "qfcore/fi/intarray.h"
#include "qfcore/fi/paths/path.h"
#include "qfcore/fi/paths/radixblocks.h"
#include "qfcore/fi/quantizertext.h"
#include "qfcore/fi/wordfiles.h"
#include "qfcore/number/radix.h"
#include "qfcore/types/features.h"
#include "tests/fi/arrays.h"

namespace embedded {
namespace {

using EmbeddedTypeSystem::DataTypeEnum;
using reference::contents;
using reference::errorOf;
using reference::Random;
using reference::storedOf;
using tessel::ArrayClass;
using tessel::HostArray;
using ChunkMode = fi::IntArrayChunkMode;
using DimensionMode = fi::IntArrayDimensionMode;

struct FootprintSwitch {
  explicit FootprintSwitch(bool on) : before(std::exchange(s_feature_fi_33plus_memory_footprint, on)) {}
  ~FootprintSwitch() { s_feature_fi_33plus_memory_footprint = before; }
  bool before;
};

NumericType builtIn(DataTypeEnum dataType) {
  NumericType type;
  type.setDataType(dataType);
  return type;
}

mpz_class patternOf(const fi& x, unsigned k, bool imaginary) {
  const mpz_class stored =
      storedOf(imaginary ? reference::imagOf(x, k) : reference::valueOf(x, k), x.getNumericType());
  return reference::Format{true, x.getNumericType().wordLength(), 0}.pattern(stored);
}

/// The integer in `count` consecutive elements of an array, least significant first.
mpz_class integerAt(const HostArray& array, std::size_t first, std::size_t count, bool imaginary) {
  mpz_class result = 0;
  tessel::visitElementType(array.arrayClass(), [&](auto element) {
    using Element = decltype(element);
    const Element* part = imaginary ? array.imag<Element>() : array.real<Element>();
    for (std::size_t i = count; i-- > 0;) {
      result <<= static_cast<mp_bitcnt_t>(8 * sizeof(Element));
      const auto bits = static_cast<std::uint64_t>(part[first + i]);
      const int unused = 64 - 8 * static_cast<int>(sizeof(Element));
      result += static_cast<unsigned long>(unused == 0 ? bits : bits << unused >> unused);
    }
  });
  return result;
}

/// Every element of `array` is the pattern of its element in `x`, extended by its sign where that is asked for.
void expectPatterns(const HostArray& array, const fi& x, bool isExtended) {
  ASSERT_EQ(array.isComplex(), x.iscomplex());
  if (x.isempty()) return;
  ASSERT_EQ(array.numel() % x.numel(), 0U);
  const std::size_t each = array.numel() / x.numel();
  std::size_t bits = 0;
  tessel::visitElementType(array.arrayClass(), [&](auto element) { bits = 8 * sizeof element * each; });
  for (unsigned k = 0; k < x.numel(); ++k) {
    for (const bool imaginary : {false, true}) {
      if (imaginary && x.isreal()) break;
      mpz_class expected = patternOf(x, k, imaginary);
      const int w = x.getNumericType().wordLength();
      if (isExtended && x.getNumericType().isSigned() && mpz_tstbit(expected.get_mpz_t(), w - 1)) {
        expected += reference::pow2(static_cast<int>(bits)) - reference::pow2(w);
      }
      EXPECT_EQ(integerAt(array, k * each, each, imaginary), expected) << x.getNumericType().tostring();
    }
  }
}

TEST(StoredIntegers, ChunksCarryEveryWordAndReadBack) {
  Random random;
  for (int trial = 0; trial < 300; ++trial) {
    const fi x = random.array(reference::randomDims(random, random.integer(2, 4), 4), random.type(1, 300), {},
                              random.coin());
    const auto chunkMode =
        x.getNumericType().wordLength() <= 128 && random.coin() ? ChunkMode::Fixed128 : ChunkMode::AsNeeded;
    const auto dimensionMode = random.coin() ? DimensionMode::FirstDimension : DimensionMode::NewDimension;
    HostArray chunks = x.getIntArrayHostArray(chunkMode, dimensionMode);
    expectPatterns(chunks, x, false);
    if (chunkMode == ChunkMode::AsNeeded && dimensionMode == DimensionMode::FirstDimension) {
      HostArray extended = chunks;
      addSignExtension32BitIntArray(extended, x.getNumericType());
      expectPatterns(extended, x, x.getNumericType().wordLength() > 32);
      const HostArray words = convert32BitIntArrayTo64BitIntArray(extended, x.getNumericType()),
                      halves = convert64BitIntArrayTo32BitIntArray(words, x.getNumericType());
      expectPatterns(words, x, x.getNumericType().wordLength() > 32);
      expectPatterns(halves, x, x.getNumericType().wordLength() > 32);
      const bool isOneSigned = x.getNumericType().isSigned() && x.getNumericType().wordLength() <= 32;
      EXPECT_EQ(halves.arrayClass(), isOneSigned ? ArrayClass::Int32 : ArrayClass::Uint32);
      removeSignExtension32BitIntArray(extended, x.getNumericType());
      expectPatterns(extended, x, false);
      // What stands above the word does not count.
      if (random.coin()) addSignExtension32BitIntArray(chunks, x.getNumericType());
    }
    fi back(x.dims().data(), x.numDims(), x.getNumericType());
    back.setIntArrayHostArray(chunks, chunkMode, dimensionMode);
    EXPECT_EQ(contents(back), contents(x)) << x.getNumericType().tostring();
    if (dimensionMode == DimensionMode::NewDimension || !x.getNumericType().isFixed()) continue;
    const fi fresh = fi::convertIntArrayToFiArray(chunks, x.getNumericType(), {}, chunkMode, dimensionMode);
    if (x.getNumericType().wordLength() > 32) {
      EXPECT_EQ(contents(fresh), contents(x));
    }
  }
}

TEST(StoredIntegers, CorvaneLayoutReadsBackUnderBothSwitches) {
  Random random;
  for (int trial = 0; trial < 400; ++trial) {
    const FootprintSwitch footprint(random.coin());
    const fi x = random.array(reference::randomDims(random, random.integer(2, 3), 4), random.type(1, 128), {},
                              random.coin());
    const int w = x.getNumericType().wordLength();
    const HostArray layout = x.getCorvaneIntArray();
    const bool isExtended = w > 32 && s_feature_fi_33plus_memory_footprint;
    const bool isSigned = x.getNumericType().isSigned();
    EXPECT_EQ(layout.arrayClass(), !isExtended           ? ArrayClass::Uint32
                                   : isSigned && w <= 64 ? ArrayClass::Int64
                                                         : ArrayClass::Uint64);
    expectPatterns(layout, x, isExtended);
    fi back(x.dims().data(), x.numDims(), x.getNumericType());
    back.setCorvaneIntArray(layout);
    EXPECT_EQ(contents(back), contents(x)) << x.getNumericType().tostring();
    fi native(2U, 2U, x.getNumericType());
    CorvaneArray stored = x.createCVArray();
    EXPECT_EQ(stored.numel(), x.getCorvaneArray().numel());
    native.setFromSIArray(stored);
    EXPECT_EQ(contents(native), contents(x)) << x.getNumericType().tostring();
    (x.iscomplex() ? stored.imag : stored.real).push_back({});
    EXPECT_NE(errorOf([&] { native.setFromSIArray(stored); }), "");
    EXPECT_EQ(contents(native), contents(x)) << "after a refusal";
    const fi converted = fi::convertCorvaneIntArrayToFiArray(x.getCorvaneArray(), isSigned, w,
                                                             x.getNumericType().fractionLength());
    EXPECT_EQ(contents(converted), contents(x));
    const fi taken = fi::convertCorvaneIntArrayToFiArraySteal(x.getCorvaneArray(), isSigned, w, 0),
             sloped = fi::convertCorvaneIntArrayToFiArray(x.getCorvaneArray(), isSigned, w, 1.5, 7.0);
    EXPECT_EQ(contents(taken), contents(x.stripscaling()));
    for (unsigned k = 0; k < x.numel() && w < 50; ++k) {
      sloped.setIndex(k);
      EXPECT_EQ(sloped.realWorldReal(), reference::valueOf(taken, k).get_d() * 1.5 + 7);
    }
  }
  const fi truths(1.0, builtIn(DataTypeEnum::Boolean));
  EXPECT_EQ(truths.createCVArray().elementClass, ArrayClass::Uint8);
  for (const int wordLength : {0, 65536})
    EXPECT_NE(errorOf([&] { fi::convertCorvaneIntArrayToFiArray(HostArray(), true, wordLength, 0); }), "");
}

// --- Files of words

TEST(WordFiles, AreReadAsSimulatorsReadThem) {
  Random random;
  const char* between[] = {" ", "\n", "// 7\n", "-- 7\n", "/* 7\n */", "\t \n", "//", "/*"};
  for (int trial = 0; trial < 500; ++trial) {
    const NumericType type = random.type(1, 130);
    const auto form = random.coin() ? WordFile::Memh : WordFile::Bits;
    const int base = form == WordFile::Memh ? 16 : 2;
    std::vector<mpz_class> memory;
    std::string text;
    std::size_t place = 0;
    for (int count = random.integer(0, 9); count > 0; --count) {
      if (base == 16 && random.integer(0, 3) == 0) {
        place = static_cast<std::size_t>(random.integer(0, 40));
        text += "@" + mpz_class(static_cast<unsigned long>(place)).get_str(-16) + "\n";
      }
      const mpz_class stored = random.stored({type.isSigned(), type.wordLength(), 0});
      std::string digits =
          reference::Format{true, type.wordLength(), 0}.pattern(stored).get_str(random.coin() ? base : -base);
      if (random.coin()) digits.insert(0, "00");
      if (random.coin()) digits.insert(digits.size() / 2, "_");
      text += digits + between[random.integer(0, 5)];
      if (memory.size() <= place) memory.resize(place + 1);
      memory[place++] = stored;
    }
    text += between[random.integer(0, 7)];
    const fi read = fromWordLines(text, form, type, fimath());
    ASSERT_EQ(read.numel(), memory.size()) << text;
    for (unsigned k = 0; k < read.numel(); ++k)
      ASSERT_EQ(storedOf(reference::valueOf(read, k), type), memory[k]) << text;
    const fi back = fromWordLines(wordLines(read, form), form, type, fimath());
    EXPECT_TRUE(back.isequal(read));
  }
}

TEST(WordFiles, RefuseWhatIsNoWordAndNoAddress) {
  const NumericType byte(false, 8, 0), dbl = builtIn(DataTypeEnum::Double);
  const std::pair<const char*, const char*> refused[] = {{"@", "address"},
                                                         {"@g", "address"},
                                                         {"@4000000", "address"},
                                                         {"@1234567890123456", "address"},
                                                         {"@1_0000_000 @", "address"},
                                                         {"1g", "word"},
                                                         {"x", "word"},
                                                         {"100", "word"},
                                                         {"1,2", "word"}};
  for (const auto& [text, error] : refused)
    EXPECT_EQ(errorOf([&, t = text] { fromWordLines(t, WordFile::Memh, byte, fimath()); }),
              std::string("numforge:fi:wordfile:") + error)
        << text;
  EXPECT_EQ(errorOf([&] { fromWordLines("12", WordFile::Bits, byte, fimath()); }), "numforge:fi:wordfile:word");
  EXPECT_EQ(errorOf([&] { fromWordLines("@3FFFFFF 1 2", WordFile::Memh, byte, fimath()); }),
            "numforge:fi:wordfile:address");
  const fi complex(1.0, byte), real(1.0, dbl), wide(1.0, NumericType(true, 65, 0));
  for (const auto& write : {std::function<void()>([&] { fromWordLines("1", WordFile::Memh, dbl, fimath()); }),
                            {[&] { wordLines(complex.complex(), WordFile::Memh); }},
                            {[&] { wordLines(real, WordFile::Bits); }}})
    EXPECT_EQ(errorOf(write), "numforge:fi:wordfile:real");
  for (const char* name : {"", "1a", "a-b"})
    EXPECT_EQ(errorOf([&] { cHeader(complex, name); }), "numforge:fi:wordfile:name");
  EXPECT_EQ(errorOf([&] { cHeader(wide, "a_1"); }), "numforge:fi:wordfile:length");
}

TEST(WordFiles, HeadersOfCHoldEveryInteger) {
  const auto bodyOf = [](const fi& x) {
    const std::string header = cHeader(x, "a_1");
    return header.substr(header.find("#define A_1_LENGTH"));
  };
  NumericType sloped(false, 8, 0);
  sloped.setScaling(EmbeddedTypeSystem::ScalingEnum::SlopeBias);
  sloped.setSlope(0.75);
  sloped.setBias(-2);
  EXPECT_EQ(bodyOf(fi(4.0, sloped)),
            "#define A_1_LENGTH 1\n/* value = 0.75 * stored + -2 */\n"
            "static const uint8_t a_1[1] = {\n  8,\n};\n\n#endif\n");
  EXPECT_EQ(bodyOf(fi(0U, 1U, NumericType(true, 20, 2))),
            "#define A_1_LENGTH 0\n/* value = stored * 2^-A_1_FRACTION_LENGTH */\n"
            "#define A_1_FRACTION_LENGTH 2\nstatic const int32_t a_1[1] = {\n  0\n};\n\n#endif\n");
  EXPECT_NE(bodyOf(fi(-0x1p63, NumericType(true, 64, 0))).find("-INT64_C(9223372036854775807) - 1,"),
            std::string::npos);
  EXPECT_NE(bodyOf(fi(0x1p64, NumericType(false, 64, 0))).find("UINT64_C(18446744073709551615),"),
            std::string::npos);
  std::istringstream lines(bodyOf(fi(100U, 1U, NumericType(true, 33, 0))));
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 100U);
}

TEST(StoredIntegers, IntegersOfTheHostAreExactUpTo64Bits) {
  Random random;
  for (int trial = 0; trial < 300; ++trial) {
    const fi x = random.array(reference::randomDims(random, 2, 5), random.type(1, 64), {}, random.coin());
    const int w = x.getNumericType().wordLength();
    const HostArray integers = x.getIntHostArray();
    constexpr ArrayClass kSigned[] = {ArrayClass::Int8, ArrayClass::Int16, ArrayClass::Int32,
                                      ArrayClass::Int64};
    constexpr ArrayClass kUnsigned[] = {ArrayClass::Uint8, ArrayClass::Uint16, ArrayClass::Uint32,
                                        ArrayClass::Uint64};
    const int size = w <= 8 ? 0 : w <= 16 ? 1 : w <= 32 ? 2 : 3;
    EXPECT_EQ(integers.arrayClass(), (x.getNumericType().isSigned() ? kSigned : kUnsigned)[size]);
    expectPatterns(integers, x, true);
    fi back(1U, 1U, x.getNumericType());
    back.setIntHostArray(integers);
    EXPECT_EQ(contents(back), contents(x)) << x.getNumericType().tostring();
    back.setDataHostArray(x.getDoubleHostArray());
    if (w <= 53) {
      EXPECT_EQ(contents(back), contents(x));
    }
  }
}

TEST(StoredIntegers, ValuesThatDoNotFitAreQuantizedOnce) {
  Random random;
  for (int trial = 0; trial < 2000; ++trial) {
    const NumericType type = random.type(1, 90);
    const fimath math(random.roundMode(), random.overflowMode());
    fi x(0.0, type, math);
    const bool wide = static_cast<unsigned>(type.wordLength()) > kMaxDoublePrecision;
    mpq_class stored;
    bool inDoubles = !wide;
    if (random.coin()) {
      const double value = std::ldexp(random.integer(-99999, 99999), random.integer(-10, 10));
      stored = mpq_class(value);
      x.setIntHostArray(HostArray::scalar(value));
    } else {
      const mpz_class bits = random.bits(63);
      const auto value = static_cast<std::int64_t>(bits.get_si()) * (random.coin() ? 1 : -1);
      stored = mpq_class(mpz_class(static_cast<long>(value)));
      inDoubles = inDoubles && abs(stored) <= reference::pow2(53);
      x.setIntHostArray(HostArray::scalarOf(value));
    }
    const mpq_class held = reference::scaled(stored, -type.fractionLength());
    EXPECT_EQ(reference::valueOf(x, 0),
              reference::quantized(held, type, math.roundMode(), math.overflowMode(), nullptr, inDoubles))
        << stored << " " << reference::described(type, math);
  }
}

TEST(StoredIntegers, AValueBelowAllDoublesIsTrue) {
  fi x(0.0, NumericType(true, 60, 1200));
  for (const bool isOne : {true, false}) {
    x.setIntHostArray(HostArray::logical(isOne));
    EXPECT_EQ(x.getDoubleHostArray().realAt(0), 0);
    EXPECT_EQ(x.getBooleanHostArray().realAt(0), isOne);
  }
}

TEST(StoredIntegers, ShapesOfTheLayouts) {
  const unsigned dims[] = {3, 2}, line[] = {1, 5};
  const fi wide(0.0, dims, 2, NumericType(true, 70, 0)), narrow(0.0, line, 2, NumericType(true, 40, 0));
  using tessel::Dimensions;
  EXPECT_EQ(wide.getIntArray().dims(), (Dimensions{3, 3, 2}));
  EXPECT_EQ(wide.getIntArray(ChunkMode::Fixed128, DimensionMode::FirstDimension).dims(), (Dimensions{12, 2}));
  EXPECT_EQ(narrow.getIntArray().dims(), (Dimensions{2, 5}));
  EXPECT_EQ(narrow.getCorvaneIntArray().dims(), (Dimensions{1, 5}));
  EXPECT_EQ(wide.getCorvaneIntArray().dims(), (Dimensions{6, 2}));
  EXPECT_EQ(narrow.getCorvaneArray32MemoryFootPrint().dims(), (Dimensions{4, 5}));
  fi fromTwoRows(1U, 1U, NumericType(true, 40, 0));
  fromTwoRows.setIntArray(HostArray::zeros(ArrayClass::Uint32, {4, 3}));
  EXPECT_EQ(errorOf([&] {
              fromTwoRows.setFromSIArray({ArrayClass::Char, {1, 1}, {std::byte{1}}, {}});
            }),
            "numforge:fi:setSIArray:DataTypeNotSupported");
  EXPECT_EQ(contents(fromTwoRows), "2x3x 0 0 0 0 0 0");
}

// -------------------------------------------------------------------------------------------------------- text

TEST(RadixText, EveryBaseReadsBack) {
  Random random;
  for (int trial = 0; trial < 250; ++trial) {
    const int base = random.integer(2, 18);
    std::vector<unsigned> dims = reference::randomDims(random, 2, 4);
    for (unsigned& size : dims) size = std::max(size, 1U);
    const fi x = random.array(dims, random.type(1, 300), {}, random.coin());
    const HostArray text = x.num2base(base);
    const auto digits = static_cast<std::size_t>(radixDigits(x.getNumericType().wordLength(), base));
    const std::size_t width = x.isreal() ? digits + 3 : 2 * digits + 8;
    EXPECT_EQ(text.dims(), (tessel::Dimensions{x.rows(), x.cols() * width - 3}));
    const std::vector<std::string> lines = text.textRows();
    for (unsigned k = 0; k < x.numel(); ++k) {
      std::istringstream field(lines[k % x.rows()].substr(k / x.rows() * width, width));
      std::string real, plus, imaginary;
      field >> real >> plus >> imaginary;
      EXPECT_EQ(mpz_class(real, base), patternOf(x, k, false));
      if (x.iscomplex()) {
        EXPECT_EQ(imaginary.back(), 'i');
        imaginary.pop_back();
        EXPECT_EQ(mpz_class(imaginary, base), patternOf(x, k, true));
      }
    }
    fi back(1U, 1U, x.getNumericType());
    back.base2num(text, base);
    EXPECT_EQ(contents(back), contents(x)) << base << " " << x.getNumericType().tostring();

    const std::vector<std::string> signedLines = x.num2sdec().textRows();
    std::istringstream first(signedLines[0]);
    std::string value;
    first >> value;
    EXPECT_EQ(mpz_class(value, 10), storedOf(reference::valueOf(x, 0), x.getNumericType()));
  }
}

TEST(RadixText, DigitsAreThoseOfTheBaseInEitherCase) {
  for (int base = 2; base <= 18; ++base) {
    for (char digit = '!'; digit <= '~'; ++digit) {
      const char token[] = {'1', digit, '\0'};
      const std::string_view digits = "0123456789abcdefgh";
      const std::size_t value = digits.find(static_cast<char>(std::tolower(digit)));
      EXPECT_EQ(fi::base2numCheckElement(token, base), value < static_cast<std::size_t>(base)) << token << base;
    }
  }
}

TEST(RadixText, FloatingPointPatternsReadBack) {
  for (const DataTypeEnum dataType : {DataTypeEnum::Double, DataTypeEnum::Single}) {
    NumericType type;
    type.setDataType(dataType);
    constexpr double kInfinity = std::numeric_limits<double>::infinity(),
                     kNaN = -std::numeric_limits<double>::quiet_NaN();
    const HostArray values = reference::row({1.5, -0.0, 1e-30, -3.25, kInfinity, -1e-310, kNaN});
    const fi x(&values, type);
    for (const bool elementPathOnly : {false, true}) {
      setElementPathOnly(elementPathOnly);
      fi back(1U, 1U, type);
      back.base2num(x.num2base(16), 16);
      const auto *expected = x.realPart().doubles(), *found = back.realPart().doubles();
      EXPECT_TRUE(std::equal(expected, expected + 6, found));
      EXPECT_TRUE(std::isnan(found[6]) && std::signbit(found[1]));
      const std::string nan = dataType == DataTypeEnum::Double ? "7ff8000000000000" : "7fc00000";
      EXPECT_TRUE(x.num2base(16).textRows()[0].ends_with("   " + nan));
      EXPECT_EQ(errorOf([&] { back.base2num(HostArray::text("1" + nan), 16); }),
                "numforge:fi:base2num:InvalidElement");
    }
    setElementPathOnly(false);
    EXPECT_EQ(x.num2base(16).textRows()[0].substr(0, 4), dataType == DataTypeEnum::Double ? "3ff8" : "3fc0");
    EXPECT_EQ(errorOf([&] { x.num2sdec(); }), "numforge:quantizer:sdec:fixedonly");
  }
}

TEST(RadixText, BlocksOfCustomFloatingPointFormatsAreTheirElements) {
  Random random;
  for (int trial = 0; trial < 300; ++trial) {
    const int exponentLength = random.integer(0, 11);
    quantizer q;
    q.setMode(QuantizerModeEnum::floatMode);
    q.setFormat(exponentLength + 1 + random.integer(exponentLength == 0, 52), exponentLength);
    if (!hasTextByBlocks(q)) continue;
    const int base = random.integer(2, 18);
    const auto digits = static_cast<unsigned>(radixDigits(q.wordLength(), base));
    for (int k = 0; k < 20; ++k) {
      const double given[] = {
          std::ldexp(random.integer(-1000, 1000) / 7.0, random.integer(-1080, 1020) >> (k / 4)), std::nan(""),
          -std::numeric_limits<double>::infinity()};
      double value = given[std::max(k - 17, 0)];
      q.quantize(&value, 1);
      const number element(value, kMaxDoublePrecision, false);
      std::string text(digits, ' ');
      writePatterns(q, &value, 1, {text.data(), 1, digits, digits}, base);
      const std::string settings = std::to_string(q.wordLength()) + " " + std::to_string(exponentLength) +
                                   ": " + std::to_string(value) + " in base " + std::to_string(base);
      ASSERT_EQ(text, q.num2base(element, base)) << settings;
      text.back() = random.coin() ? '1' : '0';
      number expected(0.0, kMaxDoublePrecision, false);
      const auto table = readPatterns(HostArray::text(text), base, q);
      ASSERT_EQ(table.has_value(), q.base2num(expected, text.c_str(), base)) << settings;
      if (!table) continue;
      valuesOfPatterns(q, table->re, &value);
      q.quantize(&value, 1);
      ASSERT_TRUE(value == expected.todouble() || (std::isnan(value) && std::isnan(expected.todouble())))
          << settings;
    }
  }
}

TEST(RadixText, PatternsBeyondTheWordAreQuantized) {
  fi saturating(0.0, NumericType(true, 8, 0), fimath(RoundModeEnum::floor, OverflowModeEnum::saturate));
  fi wrapping(0.0, NumericType(false, 52, 0), fimath(RoundModeEnum::floor, OverflowModeEnum::wrap));
  saturating.base2num(HostArray::text("100, 0ff\t00300"), 10 + 6);
  EXPECT_EQ(contents(saturating), "1x3x 127 -1 127");
  // 2^64 + 2^52 + 1 is no double.
  wrapping.base2num(HostArray::text("18451247673336922113"), 10);
  EXPECT_EQ(contents(wrapping), "1x1x 1");
  wrapping.base2num(HostArray::text("1 + 2i 3 4i"), 10);
  EXPECT_EQ(contents(wrapping), "1x2x 1+i2 3+i4");
  Random random;
  for (int trial = 0; trial < 600; ++trial) {
    const int w = random.coin() ? 64 * random.integer(1, 3) : random.integer(1, 200),
              base = random.coin() ? 8 : random.integer(2, 18);
    const NumericType type(random.coin(), w, random.integer(-3, 3));
    const fimath math(random.roundMode(), random.overflowMode());
    // As many digits as the word has, of which the first may write more bits than these.
    mpz_class pattern = 0;
    for (int digits = radixDigits(w, base); digits > 0; --digits)
      pattern = pattern * base + (random.integer(0, 2) == 0 ? base - 1 : random.integer(0, base - 1));
    fi x(0.0, type, math);
    x.base2num(HostArray::text(pattern.get_str(base)), base);
    const reference::Format format{type.isSigned(), w, 0};
    const mpz_class stored = pattern < reference::pow2(w) ? format.stored(pattern) : pattern;
    ASSERT_EQ(reference::valueOf(x, 0),
              reference::quantized(reference::scaled(mpq_class(stored), -type.fractionLength()), type,
                                   math.roundMode(), math.overflowMode()))
        << pattern << reference::described(type, math);
  }
}

TEST(RadixText, OfQuantizersIsTheSameByBlocksAndElements) {
  Random random;
  for (int trial = 0; trial < 600; ++trial) {
    constexpr QuantizerModeEnum kModes[] = {QuantizerModeEnum::fixed,      QuantizerModeEnum::ufixed,
                                            QuantizerModeEnum::doubleMode, QuantizerModeEnum::singleMode,
                                            QuantizerModeEnum::floatMode,  QuantizerModeEnum::boolean};
    quantizer q(NumericType(true, random.integer(2, 60), random.integer(-3, 60)), random.roundMode(),
                random.overflowMode());
    q.setMode(kModes[trial % 6]);
    if (trial % 6 == 4) q.setFormat(random.integer(8, 40), random.integer(2, 6));
    const bool isComplex = random.coin();
    HostArray values = HostArray::zeros(ArrayClass::Double, {2, 3}, isComplex);
    const auto fill = [&](double* part) {
      for (int k = 0; k < 6; ++k)
        part[k] = random.integer(0, 30) == 0 ? std::nan("")
                                             : std::ldexp(random.integer(-999, 999), random.integer(-9, 3));
    };
    fill(values.mutableReal<double>());
    if (isComplex) fill(values.mutableImag<double>());
    const int base = random.integer(2, 18);
    std::string texts[2], values2[2];
    for (const bool elementPathOnly : {false, true}) {
      setElementPathOnly(elementPathOnly);
      HostArray text;
      const auto failure = reference::failureOf([&] { text = num2base(q, values, base); });
      texts[elementPathOnly] = failure ? failure->identifier : "";
      for (const std::string& row : failure ? std::vector<std::string>() : text.textRows())
        texts[elementPathOnly] += row + "|";
      if (failure) continue;
      const HostArray back = base2num(q, text, base);
      for (std::size_t k = 0; k < back.numel(); ++k)
        for (const double value : {back.realAt(k), back.imagAt(k)})
          values2[elementPathOnly] += std::isnan(value) ? "NaN " : std::to_string(value) + " ";
    }
    setElementPathOnly(false);
    ASSERT_EQ(texts[0], texts[1]) << trial;
    ASSERT_EQ(values2[0], values2[1]) << trial;
  }
  const quantizer q(NumericType(true, 8, 0), RoundModeEnum::floor, OverflowModeEnum::wrap);
  const HostArray pages = [] {
    HostArray text = HostArray::text("10 01 11");
    text.reshape({1, 4, 2});
    return text;
  }();
  fi narrow(0.0, NumericType(true, 8, 0)), wide(0.0, NumericType(true, 80, 0));
  EXPECT_EQ(errorOf([&] { base2num(q, HostArray::text(""), 2); }), "numforge:quantizer:base2num:EmptyInput");
  for (const auto& read : {std::function<void()>([&] { base2num(q, pages, 2); }),
                           {[&] { narrow.base2num(pages, 2); }},
                           {[&] { wide.base2num(pages, 2); }}})
    EXPECT_EQ(errorOf(read), "Tessel:mustBeText");
}

// ----------------------------------------------------------------------------------------------------- records

TEST(Conversions, IntWarnsAsTheSwitchSays) {
  const auto warningOf = [](int wordLength, bool footprint) {
    const FootprintSwitch on(footprint);
    tessel::lastWarning() = {};
    const HostArray integers = fi(5.0, NumericType(true, wordLength, 1)).getIntHostArray();
    EXPECT_EQ(integers.realAt(0), 10);
    const std::string& identifier = tessel::lastWarning().identifier;
    EXPECT_EQ(integers.arrayClass() == ArrayClass::Double, !identifier.empty());
    return identifier;
  };
  for (const bool footprint : {false, true}) {
    EXPECT_EQ(warningOf(32, footprint), "");
    EXPECT_EQ(warningOf(33, footprint), footprint ? "" : "numforge:fi:intover32bits");
    EXPECT_EQ(warningOf(53, footprint), footprint ? "" : "numforge:fi:intover52bits");
    EXPECT_EQ(warningOf(64, footprint), footprint ? "" : "numforge:fi:intover52bits");
    EXPECT_EQ(warningOf(65, footprint), "numforge:fi:intover64bits");
  }
  EXPECT_TRUE(fi(1.0, NumericType(true, 129, 0)).getCorvaneIntArray().isEmpty());
  EXPECT_EQ(tessel::lastWarning().text,
            "Corvane fixed-point data types must have word lengths less than or equal to 128 bits");
}

TEST(Conversions, SettersKeepSwitchTagAndRecord) {
  fi x(1.0, NumericType(true, 8, 0));
  x.setTag("kept");
  x.setLogging(true);
  x.setDataHostArray(reference::row({1000, 0.25, 2}));
  x.setIntHostArray(HostArray::scalarOf<std::int32_t>(-1000));
  x.base2num(HostArray::text("7f"), 16);
  EXPECT_EQ(x.tag(), "kept");
  EXPECT_TRUE(x.getQlogger().isAlwaysOn());
  EXPECT_EQ(x.getNoverflows(), 2U);
  EXPECT_EQ(x.getNunderflows(), 1U);
  EXPECT_EQ(x.getNoperations(), 5U);
  EXPECT_EQ(x.getQlogger().realWorldMin(), -128);
}

}  // namespace
}  // namespace embedded
