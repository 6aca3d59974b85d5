/// Values of a format as digits of a base, and back.
#include <algorithm>
#include <cstring>

#include "qfcore/math/quantizer.h"

namespace embedded {

namespace {

constexpr Message kSdecFixedOnly{"numforge:quantizer:sdec:fixedonly",
                                 "Num2sdec not defined for float, double or single."};
constexpr Message kBase2numNotDefined{"numforge:quantizer:base2num:notdefined",
                                      "Base2num is not defined for this quantizer mode."};
constexpr Message kNum2baseNotDefined{"numforge:quantizer:num2base:notdefined",
                                      "Num2base is not defined for this quantizer mode."};

/// Bits that hold a digit of the largest base.
constexpr unsigned kBitsPerDigit = 5;

}  // namespace

bool quantizer::hasPatterns() const {
  return settings().mode == QuantizerModeEnum::fixed || settings().mode == QuantizerModeEnum::ufixed ||
         settings().mode == QuantizerModeEnum::boolean || isFloatingPoint();
}

std::string quantizer::num2base(const number& value, int base) const {
  if (!hasPatterns()) fail<kNum2baseNotDefined>();
  requireFittingLengths();
  if (isFloatingPoint()) return value.float2base(base, wordLength(), exponentLength());
  if (settings().mode == QuantizerModeEnum::boolean) return value.fixed2base(base, false, 1, 1.0, 0, 0.0);
  return value.fixed2base(base, isSigned(), settings().wordLength, 1.0, -settings().fractionLength, 0.0);
}

std::string quantizer::num2sdec(const number& value) const {
  if (isFloatingPoint()) fail<kSdecFixedOnly>();
  if (settings().mode == QuantizerModeEnum::boolean) return value.fixed2sdec(false, 1, 1.0, 0, 0.0);
  return value.fixed2sdec(isSigned(), settings().wordLength, 1.0, -settings().fractionLength, 0.0);
}

bool quantizer::base2num(number& value, const char* text, int base) const {
  if (!hasPatterns()) fail<kBase2numNotDefined>();
  requireFittingLengths();
  const char* digits = *text ? text : "0";
  if (isFloatingPoint()) {
    if (!value.base2float(digits, base, wordLength(), exponentLength())) return false;
    quantize(value);
    return true;
  }
  // More digits than the word has bits for are still quantized from the number that they write.
  const auto bits = static_cast<unsigned>(std::strlen(digits)) * kBitsPerDigit;
  number read(0.0, std::max(value.getprecision(), bits), false);
  const bool isBoolean = settings().mode == QuantizerModeEnum::boolean;
  if (!read.base2fixed(digits, base, isSigned(), isBoolean ? 1 : settings().wordLength, 1.0,
                       isBoolean ? 0 : -settings().fractionLength, 0.0)) {
    return false;
  }
  value = quantize(read);
  return true;
}

}  // namespace embedded
