#include "qfcore/types/numerictype.h"
#include "qfcore/types/printed.h"
#include "tessel/console.h"

namespace EmbeddedTypeSystem {

std::string NumericType::wordLengthString() const { return printed("%d", wordLength_); }
std::string NumericType::fractionLengthString() const { return printed("%d", fractionLength()); }
std::string NumericType::biasString() const { return printed("%.17g", bias_); }
std::string NumericType::slopeString() const {
  return isUnscaled() ? printed("2^%d", fixedExponent_) : printed("%.17g", slope());
}

const char* NumericType::signText() const {
  if (isSignUnspecified()) return "[]";
  return isSigned() ? "true" : "false";
}

std::string NumericType::displayText() const {
  std::string text = printed("\n          DataTypeMode: %s", textOf(dataTypeMode_));
  if (!isBuiltIn()) {
    text += printed("\n                Signed: %s", signText());
    text += printed("\n            WordLength: %d", wordLength_);
    if (isBinaryPointScalingSet()) text += "\n        FractionLength: " + fractionLengthString();
    if (isSlopeBiasScalingSet()) {
      text += "\n                 Slope: " + slopeString();
      text += "\n                  Bias: " + biasString();
    }
  }
  return text + "\n";
}

void NumericType::disp() const { tessel::print(displayText()); }

std::string NumericType::scalingSuffix() const {
  if (isBinaryPointScalingSet()) return "," + fractionLengthString();
  if (isSlopeBiasScalingSet()) return "," + slopeString() + "," + biasString();
  return "";
}

std::string NumericType::tostring(const char* prefix) const {
  std::string arguments;
  if (isFixed()) {
    arguments = printed("%s,%d", signText(), wordLength_) + scalingSuffix();
  } else if (isScaledDouble()) {
    arguments = printed("'DataType','ScaledDouble','Signed',%s,'WordLength',%d,", signText(), wordLength_);
    if (isBinaryPointScalingSet()) {
      arguments += "'Scaling','BinaryPoint','FractionLength'," + fractionLengthString();
    } else if (isSlopeBiasScalingSet()) {
      arguments += "'Scaling','SlopeBias','Slope'," + slopeString() + ",'Bias'," + biasString();
    } else {
      arguments += "'Scaling','Unspecified'";
    }
  } else {
    arguments = printed("'%s'", textOf(dataType_));
  }
  return std::string(prefix) + "(" + arguments + ")";
}

std::string NumericType::qpointstr() const {
  if (isBuiltIn()) return textOf(dataType_);
  std::string text;
  if (isScaledDouble()) {
    text = isSigned() ? "sflt" : "uflt";
  } else if (isSignUnspecified()) {
    text = "UnspecifiedSign";
  } else {
    text = isSigned() ? "s" : "u";
  }
  return text + wordLengthString() + scalingSuffix();
}

const char* NumericType::getEquivalentTesselClassName() const {
  if (isBoolean()) return "logical";
  if (isBuiltIn()) return textOf(dataType_);
  if (!isFixed() || isScalingUnspecified() || isSignUnspecified() || slope() != 1 || bias_ != 0) return nullptr;
  switch (wordLength_) {
    case 8: return isSigned() ? "int8" : "uint8";
    case 16: return isSigned() ? "int16" : "uint16";
    case 32: return isSigned() ? "int32" : "uint32";
    default: return nullptr;
  }
}

}  // namespace EmbeddedTypeSystem
