#include "qfcore/math/fimath.h"
#include "qfcore/types/printed.h"
#include "tessel/console.h"

namespace embedded {

using EmbeddedTypeSystem::printed;
using EmbeddedTypeSystem::textOf;

namespace {

/// How `disp` begins the lines of one register.
struct DisplayLabels {
  const char *mode, *maxWordLength, *wordLength, *fractionLength, *slope, *bias;
};
constexpr DisplayLabels kProductLabels{
    "\n           ProductMode: ", "\n  MaxProductWordLength: ", "\n     ProductWordLength: ",
    "\n ProductFractionLength: ", "\n          ProductSlope: ", "\n           ProductBias: "};
constexpr DisplayLabels kSumLabels{
    "\n               SumMode: ", "\n      MaxSumWordLength: ", "\n         SumWordLength: ",
    "\n     SumFractionLength: ", "\n              SumSlope: ", "\n               SumBias: "};

std::string displayed(const RegisterSettings& settings, const DisplayLabels& labels) {
  std::string text = std::string(labels.mode) + textOf(settings.mode);
  if (settings.mode == ArithmeticModeEnum::FullPrecision)
    return text + labels.maxWordLength + settings.maxWordLengthString();
  text += labels.wordLength + settings.wordLengthString();
  if (settings.mode != ArithmeticModeEnum::SpecifyPrecision) return text;
  if (!settings.isSlopeBiasScaled()) return text + labels.fractionLength + settings.fractionLengthString();
  return text + labels.slope + printed("%1.5g", settings.slope()) + labels.bias + settings.biasString();
}

/// The constructor arguments of one register, each with a comma before it; none under FullPrecision. `name` is
/// "Product" or "Sum".
std::string constructorArguments(const RegisterSettings& settings, const char* name) {
  if (settings.mode == ArithmeticModeEnum::FullPrecision) return "";
  std::string text = printed(", '%sMode', '%s'", name, textOf(settings.mode));
  if (settings.mode != ArithmeticModeEnum::SpecifyPrecision) return text;
  text += printed(", '%sWordLength', %d", name, settings.wordLength);
  if (!settings.isSlopeBiasScaled())
    return text + printed(", '%sFractionLength', %d", name, settings.fractionLength());
  return text + printed(", '%sSlopeAdjustmentFactor', %1.5g, '%sFixedExponent', %d, '%sBias', %1.5g", name,
                        settings.slopeAdjustmentFactor, name, settings.fixedExponent, name, settings.bias);
}

}  // namespace

std::string RegisterSettings::wordLengthString() const { return printed("%d", wordLength); }
std::string RegisterSettings::maxWordLengthString() const { return printed("%d", maxWordLength); }
std::string RegisterSettings::fractionLengthString() const { return printed("%d", fractionLength()); }
std::string RegisterSettings::fixedExponentString() const { return printed("%d", fixedExponent); }
std::string RegisterSettings::slopeString() const {
  return slopeAdjustmentFactor == 1 ? printed("2^%d", fixedExponent) : printed("%.17g", slope());
}
std::string RegisterSettings::slopeAdjustmentFactorString() const {
  return printed("%1.5g", slopeAdjustmentFactor);
}
std::string RegisterSettings::biasString() const { return printed("%1.5g", bias); }

std::string fimath::displayText() const {
  std::string text = printed("\n             RoundMode: %s", textOf(roundMode_));
  text += printed("\n          OverflowMode: %s", textOf(overflowMode_));
  text += displayed(product_, kProductLabels) + displayed(sum_, kSumLabels);
  return text + printed("\n         CastBeforeSum: %s\n", castBeforeSum_ ? "true" : "false");
}

void fimath::disp() const { tessel::print(displayText()); }

std::string fimath::toString() const {
  if (matches(getDefaultFimath())) return "fimath";
  std::string text =
      printed("fimath('RoundMode', '%s', 'OverflowMode', '%s'", textOf(roundMode_), textOf(overflowMode_));
  text += constructorArguments(sum_, "Sum") + constructorArguments(product_, "Product");
  return text + printed(", 'CastBeforeSum', %s)", castBeforeSum_ ? "true" : "false");
}

}  // namespace embedded
