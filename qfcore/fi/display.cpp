#include "qfcore/fi/display.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/interpreter.h"
#include "tessel/interruption.h"

namespace embedded {

using EmbeddedTypeSystem::EnumRow;
using EmbeddedTypeSystem::EnumTable;
using Values = DisplaySettings::Values;

namespace {

constexpr EnumRow kValues[] = {{static_cast<int>(Values::RealWorldValue), "RealWorldValue"},
                               {static_cast<int>(Values::Int), "int"},
                               {static_cast<int>(Values::Bin), "bin"},
                               {static_cast<int>(Values::Oct), "oct"},
                               {static_cast<int>(Values::Dec), "dec"},
                               {static_cast<int>(Values::Hex), "hex"},
                               {static_cast<int>(Values::None), "none"}};
constexpr EnumRow kTypes[] = {{static_cast<int>(DisplaySettings::Type::Short), "short"},
                              {static_cast<int>(DisplaySettings::Type::Full), "full"},
                              {static_cast<int>(DisplaySettings::Type::None), "none"}};
constexpr EnumRow kMath[] = {{static_cast<int>(DisplaySettings::Math::Changed), "changed"},
                             {static_cast<int>(DisplaySettings::Math::Full), "full"},
                             {static_cast<int>(DisplaySettings::Math::None), "none"}};
constexpr EnumTable kValuesTable{"NumberDisplay", "NumberDisplay", kValues};
constexpr EnumTable kTypesTable{"NumericTypeDisplay", "NumericTypeDisplay", kTypes};
constexpr EnumTable kMathTable{"FimathDisplay", "FimathDisplay", kMath};

/// Zeros that no digit of the word follows or precedes: where there are more, stored integers are shown in
/// units.
constexpr int kMostPlaceholders = 64;

/// How the values of one array are written.
struct Notation {
  Values values = Values::RealWorldValue;
  bool inUnits = false;  ///< of one step of the type
  bool isRounded = false;
  int decimals = 0;         ///< behind the point, at most
  bool isShortest = false;  ///< of slope-bias values: each as the shortest text that gives the same double

  std::string remark(const NumericType& type) const {
    if (values == Values::None) return "";
    if (values != Values::RealWorldValue) return kValuesTable.textOf(static_cast<int>(values));
    if (inUnits) return fmt::format("in units of 2^{}", type.fixedExponent());
    if (!isRounded) return "";
    return decimals == 0 ? "rounded to integers" : fmt::format("rounded to {} decimals", decimals);
  }
};

std::string shortestText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Inf" : "Inf";
  return fmt::format("{}", value + 0.0);
}

int decimalsOf(std::string_view text) {
  const std::size_t point = text.find('.');
  return point == std::string_view::npos ? 0 : static_cast<int>(text.size() - point) - 1;
}

bool isOnBinaryGrid(const NumericType& type) { return type.isFixed() && !type.isSlopeBias(); }

int baseOf(Values values) {
  switch (values) {
    case Values::Bin: return 2;
    case Values::Oct: return 8;
    case Values::Dec: return 10;
    default: return 16;
  }
}

/// Beyond so many digits the stored integer and its unit say more.
constexpr int kMostDigits = 10000;

std::string exactText(const number& value, const NumericType& type) {
  const int exponent = type.fixedExponent();
  if (std::abs(exponent) <= kMostDigits) return value.decimalText(value.fractionBits());
  return fmt::format("{}*2^{}", value.fixed2sdec(type.isSigned(), type.wordLength(), 1, exponent, 0), exponent);
}

/// The bits behind the binary point that the finest element needs.
int fractionBits(const fi& array) {
  int bits = 0;
  const auto scan = [&](const number& values) {
    const number part(values, Reading{});
    for (unsigned k = 0; k < part.numel(); ++k) bits = std::max(bits, part[k].fractionBits());
  };
  scan(array.realPart());
  scan(array.imagPart());
  return bits;
}

/// So many that no two multiples of 2^-fractionLength share a text: 10^-decimals < 2^-fractionLength.
int decimalsThatTell(int fractionLength) {
  return fractionLength <= 0 ? 0 : static_cast<int>(std::floor(fractionLength * std::log10(2.0))) + 1;
}

/// The characters of a row of values with `decimals` decimals, at most.
std::size_t rowWidth(const fi& array, int decimals) {
  const NumericType& type = array.getNumericType();
  const int integerDigits = decimalsThatTell(std::max(type.wordLength() - type.fractionLength(), 0)) + 1;
  const std::size_t part = static_cast<std::size_t>(integerDigits + 1 + decimals) + 1;
  return array.dims()[1] * (3 + (array.iscomplex() ? 2 * part + 3 : part));
}

/// The shortest texts where they fit a line and are little longer than it takes to tell steps of the slope
/// apart: the digits of a slope that no double holds, such as 0.05, tell nothing.
void chooseForSlope(Notation& notation, const fi& array) {
  constexpr int kMoreDecimals = 4;
  notation.decimals =
      std::max(static_cast<int>(std::floor(-std::log10(array.getNumericType().slope()))) + 1, 0);
  const tessel::HostArray values = array.getDoubleHostArray();
  std::size_t longest = 0;
  int decimals = 0;
  const auto measure = [&](double value) {
    const std::string text = shortestText(value);
    longest = std::max(longest, text.size());
    decimals = std::max(decimals, decimalsOf(text));
  };
  for (std::size_t k = 0; k < values.numel(); ++k) {
    measure(values.realAt(k));
    if (values.isComplex()) measure(values.imagAt(k));
  }
  const std::size_t width = array.dims()[1] * (longest + 3) * (array.iscomplex() ? 2 : 1);
  const bool isLong = tessel::numberFormat() == tessel::NumberFormat::Long;
  const bool isShort = decimals <= notation.decimals + kMoreDecimals && width <= tessel::lineWidth();
  notation.isShortest = isLong || isShort;
  notation.isRounded = !notation.isShortest;
  if (notation.isShortest) notation.decimals = array.isreal() ? decimals : 0;
}

Notation notationFor(const fi& array) {
  const NumericType& type = array.getNumericType();
  Notation notation{displaySettings().values};
  if (notation.values != Values::RealWorldValue || !type.isFixed() || array.isempty()) return notation;
  if (type.isSlopeBias()) {
    chooseForSlope(notation, array);
    return notation;
  }
  const int fractionLength = type.fractionLength();
  if (fractionLength - type.wordLength() > kMostPlaceholders || -fractionLength > kMostPlaceholders) {
    notation.inUnits = true;
    return notation;
  }
  notation.decimals = fractionBits(array);
  const int enough = decimalsThatTell(fractionLength);
  const bool isShort = tessel::numberFormat() == tessel::NumberFormat::Short;
  if (isShort && notation.decimals > enough && rowWidth(array, notation.decimals) > tessel::lineWidth()) {
    notation.decimals = enough;
    notation.isRounded = true;
  }
  return notation;
}

std::string partText(const number& value, const NumericType& type, const Notation& notation) {
  const int exponent = type.fixedExponent(), length = type.wordLength();
  if (notation.inUnits || notation.values == Values::Int)
    return value.fixed2sdec(type.isSigned(), length, 1, exponent, 0);
  if (notation.values == Values::RealWorldValue) return value.decimalText(notation.decimals);
  return value.fixed2base(baseOf(notation.values), type.isSigned(), length, 1, exponent, 0);
}

std::string slopedText(double value, const Notation& notation) {
  if (!notation.isShortest) return fmt::format("{:.{}f}", value, notation.decimals);
  const std::string text = shortestText(value);
  const int decimals = decimalsOf(text);
  // Points stand below each other.
  const int missing = notation.decimals - decimals + (decimals == 0 && notation.decimals > 0 ? 1 : 0);
  return text + std::string(static_cast<std::size_t>(std::max(missing, 0)), ' ');
}

/// The texts of one part of all elements, as wide as the widest; `textOf(k)` makes that of element k.
template <class TextOf>
std::vector<std::string> partTexts(std::size_t count, const TextOf& textOf) {
  std::vector<std::string> texts(count);
  std::size_t width = 0;
  for (std::size_t k = 0; k < count; ++k) {
    tessel::raiseIfInterrupted();
    texts[k] = textOf(k);
    width = std::max(width, texts[k].size());
  }
  for (std::string& text : texts) text.insert(0, width - text.size(), ' ');
  return texts;
}

/// Blanks in place of zeros that say nothing, so that points stay below each other.
void blankLastZeros(std::string& text) {
  if (text.find('.') == std::string::npos) return;
  std::size_t end = text.find_last_not_of('0') + 1;
  if (text[end - 1] == '.') --end;
  std::fill(text.begin() + static_cast<std::ptrdiff_t>(end), text.end(), ' ');
}

std::vector<std::string> elementTexts(const fi& array, const Notation& notation) {
  const NumericType& type = array.getNumericType();
  const bool isSloped = type.isSlopeBias() && notation.values == Values::RealWorldValue;
  const tessel::HostArray doubles = isSloped ? array.getDoubleHostArray() : tessel::HostArray();
  const auto textsOf = [&](const number& part, const double* values) {
    return partTexts(part.numel(), [&](std::size_t k) {
      return isSloped ? slopedText(values[k], notation)
                      : partText(part[static_cast<unsigned>(k)], type, notation);
    });
  };
  std::vector<std::string> texts = textsOf(array.realPart(), isSloped ? doubles.real<double>() : nullptr);
  if (array.isreal()) {
    if (!notation.isRounded) std::for_each(texts.begin(), texts.end(), blankLastZeros);
    return texts;
  }
  std::vector<std::string> imaginary = textsOf(array.imagPart(), isSloped ? doubles.imag<double>() : nullptr);
  for (std::size_t k = 0; k < texts.size(); ++k) {
    std::string& text = imaginary[k];
    const std::size_t sign = text.find('-');
    if (sign != std::string::npos) text[sign] = ' ';
    texts[k] += fmt::format(" {} {}i", sign == std::string::npos ? '+' : '-', text);
  }
  return texts;
}

std::string valuesIn(const fi& array, const Notation& notation, std::string_view name) {
  if (notation.values == Values::None) return "";
  if (array.isempty() || !array.getNumericType().isFixed()) {
    const tessel::ConsoleRedirect shown;
    tessel::callBuiltin("disp", {array.getDoubleHostArray()}, 0);
    return shown.text();
  }
  return tessel::tableText(elementTexts(array, notation), {array.dims().begin(), array.dims().end()}, name);
}

/// The short name of a type, its slope and bias in the fewest digits that tell them from other doubles.
std::string headingOf(const NumericType& type) {
  std::string name = type.qpointstr();
  const bool isPower = type.slopeAdjustmentFactor() == 1 && type.bias() == 0;
  if (!type.isSlopeBiasScalingSet() || isPower) return name;
  return fmt::format("{},{},{}", name.substr(0, name.find(',')), type.slope(), type.bias());
}

/// The lines of `math` that the default settings do not have.
std::string changedSettings(const fimath& math) {
  const std::string usual = fimath::getDefaultFimath().displayText() + '\n';
  std::istringstream lines(math.displayText());
  std::string changed;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && usual.find('\n' + line + '\n') == std::string::npos) changed += line + '\n';
  }
  return changed;
}

}  // namespace

DisplaySettings& displaySettings() {
  static DisplaySettings settings;
  return settings;
}

const EnumTable& tableOf(DisplaySettings::Values) { return kValuesTable; }
const EnumTable& tableOf(DisplaySettings::Type) { return kTypesTable; }
const EnumTable& tableOf(DisplaySettings::Math) { return kMathTable; }

std::string displayedValues(const fi& array, std::string_view name) {
  return valuesIn(array, notationFor(array), name);
}

std::string displayedArray(const fi& array, std::string_view name) {
  const Notation notation = notationFor(array);
  const NumericType& type = array.getNumericType();
  const DisplaySettings& settings = displaySettings();
  const std::string remark = notation.remark(type);
  std::string text = fmt::format("\n{} =", name);
  if (settings.type == DisplaySettings::Type::Short)
    text += ' ' + headingOf(type) + (remark.empty() ? "" : ",");
  text += (remark.empty() ? "" : " ") + remark + "\n\n";
  text += valuesIn(array, notation, name);
  if (settings.type == DisplaySettings::Type::Full) text += type.displayText();
  if (settings.math == DisplaySettings::Math::Full) text += array.getFimath().displayText();
  if (settings.math == DisplaySettings::Math::Changed) {
    const std::string changed = changedSettings(array.getFimath());
    if (!changed.empty()) text += '\n' + changed;
  }
  return text + '\n';
}

std::vector<std::string> exactTexts(const fi& array) {
  const NumericType& type = array.getNumericType();
  std::vector<std::string> texts;
  const tessel::HostArray doubles = isOnBinaryGrid(type) ? tessel::HostArray() : array.getDoubleHostArray();
  const number re(array.realPart(), Reading{}), im(array.imagPart(), Reading{});
  const auto text = [&](const number& part, unsigned k, bool isImaginary) {
    tessel::raiseIfInterrupted();
    if (isOnBinaryGrid(type)) return exactText(part[k], type);
    const double value = (isImaginary ? doubles.imag<double>() : doubles.real<double>())[k];
    return shortestText(value);
  };
  for (unsigned k = 0; k < array.numel(); ++k) {
    texts.push_back(text(re, k, false));
    if (array.isreal()) continue;
    const std::string imaginary = text(im, k, true);
    texts.back() += (imaginary[0] == '-' ? "" : "+") + imaginary + 'i';
  }
  return texts;
}

}  // namespace embedded
