#include "qfcore/math/fimath.h"

#include <boost/numeric/conversion/cast.hpp>
#include <charconv>
#include <cmath>
#include <map>

#include "qfcore/types/warnings.h"

namespace embedded {

namespace {

namespace msg {

constexpr Message nonPositiveProduct{"numforge:fimath:NonPositiveProductWordLength",
                                     "ProductWordLength must be greater than 0."};
constexpr Message tooBigProduct{"numforge:fimath:TooBigProductWordLength",
                                "ProductWordLength cannot be greater than 65535."};
constexpr Message nonPositiveMaxProduct{"numforge:fimath:NonPositiveMaxProductWordLength",
                                        "MaxProductWordLength must be greater than 0."};
constexpr Message tooBigMaxProduct{"numforge:fimath:TooBigMaxProductWordLength",
                                   "MaxProductWordLength cannot be greater than 65535."};
constexpr Message nonPositiveSum{"numforge:fimath:NonPositiveSumWordLength",
                                 "SumWordLength must be greater than 0."};
constexpr Message tooBigSum{"numforge:fimath:TooBigSumWordLength",
                            "SumWordLength cannot be greater than 65535."};
constexpr Message nonPositiveMaxSum{"numforge:fimath:NonPositiveMaxSumWordLength",
                                    "MaxSumWordLength must be greater than 0."};
constexpr Message tooBigMaxSum{"numforge:fimath:TooBigMaxSumWordLength",
                               "MaxSumWordLength cannot be greater than 65535."};
// The identifier has no colon after "fimath".
constexpr Message invalidFactor{
    "Numforge:fimathInvalidSetting",
    "Invalid SlopeAdjustmentFactor specified; the SlopeAdjustmentFactor must be greater "
    "than or equal to 1 and less than 2"};
constexpr Message invalidSlope{
    "Numforge:fimath:InvalidSetting",
    "Invalid total slope specified; the total slope must be greater than 0 and finite"};
constexpr Message badConversion{"numforge:fimath:badconversion", "%s"};
constexpr Message badCStyle{"numforge:fimath:cstyle:badvalue", "Word length must be scalar integer."};
constexpr Message keyExists{"numforge:fimath:FimathKeyExists",
                            "The fimath dictionary already contains a fimath with the tag: %s"};
constexpr Message invalidKey{"numforge:fimath:InvalidFimathKey",
                             "The fimath dictionary does not contain a fimath with that tag."};
constexpr Message invalidEnum{"numforge:fimath:string2Fimath", "\nThe '%s' enumerated value is invalid.\n"};
constexpr Message invalidInteger{"numforge:fimath:string2Fimath", "\nThe '%s' value is not an integer.\n"};
constexpr Message missingField{"numforge:fimath:string2Fimath",
                               "\nThe record must hold eleven fields, each ended by a newline.\n"};

}  // namespace msg

constexpr int kMaxWordLength = 65535;

template <const Message& tooSmall, const Message& tooBig>
int checkedWordLength(int wordLength) {
  if (wordLength < 1) fail<tooSmall>();
  if (wordLength > kMaxWordLength) fail<tooBig>();
  return wordLength;
}

int checkedInteger(double value) {
  if (std::isnan(value)) fail<msg::badConversion>("bad numeric conversion: overflow");
  try {
    return boost::numeric_cast<int>(value);
  } catch (const boost::numeric::bad_numeric_cast& error) {
    fail<msg::badConversion>(error.what());
  }
}

bool setFactor(RegisterSettings& settings, double factor) {
  const bool isValid = EmbeddedTypeSystem::isValidSlopeAdjustmentFactor(factor);
  if (isValid)
    settings.slopeAdjustmentFactor = factor;
  else
    warn<msg::invalidFactor>();
  return isValid;
}

void setSlope(RegisterSettings& settings, double slope) {
  if (!EmbeddedTypeSystem::isValidSlope(slope)) fail<msg::invalidSlope>();
  const auto parts = EmbeddedTypeSystem::splitSlope(slope);
  settings.slopeAdjustmentFactor = parts.factor;
  settings.fixedExponent = parts.exponent;
}

/// Takes the fields of a text record off its front, one by one.
class RecordReader {
 public:
  explicit RecordReader(std::string_view record) : rest_(record) {}

  template <class Enum>
  Enum enumerated() {
    const std::string text = field();
    const auto value = EmbeddedTypeSystem::enumValue<Enum>(text);
    if (!value) fail<msg::invalidEnum>(text.c_str());
    return *value;
  }
  int integer() {
    const std::string text = field();
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc{} || stop != end) fail<msg::invalidInteger>(text.c_str());
    return value;
  }
  void finish() const {
    if (!rest_.empty()) fail<msg::missingField>();
  }

 private:
  std::string field() {
    const std::size_t end = rest_.find('\n');
    if (end == std::string_view::npos) fail<msg::missingField>();
    std::string text(rest_.substr(0, end));
    rest_.remove_prefix(end + 1);
    return text;
  }
  std::string_view rest_;
};

std::map<std::string, fimath>& dictionary() {
  static std::map<std::string, fimath> entries;
  return entries;
}

}  // namespace

double RegisterSettings::slope() const { return std::ldexp(slopeAdjustmentFactor, fixedExponent); }

bool RegisterSettings::matches(const RegisterSettings& other) const {
  if (mode != other.mode) return false;
  switch (mode) {
    case ArithmeticModeEnum::KeepLSB:
    case ArithmeticModeEnum::KeepMSB:
      return wordLength == other.wordLength && maxWordLength == other.maxWordLength &&
             fixedExponent == other.fixedExponent;
    case ArithmeticModeEnum::SpecifyPrecision: return fixedExponent == other.fixedExponent;
    case ArithmeticModeEnum::FullPrecision: break;
  }
  return true;
}

fimath::fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode)
    : roundMode_(roundMode), overflowMode_(overflowMode) {}

fimath::fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode, PrecisionModeEnum precisionMode,
               ArithmeticModeEnum productMode, int productWordLength, int maxProductWordLength,
               int productFractionLength, ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength,
               int sumFractionLength, bool castBeforeSum)
    : roundMode_(roundMode),
      overflowMode_(overflowMode),
      precisionMode_(precisionMode),
      castBeforeSum_(castBeforeSum) {
  setProductMode(productMode);
  setProductWordLength(productWordLength);
  setMaxProductWordLength(maxProductWordLength);
  setProductFractionLength(productFractionLength);
  setSumMode(sumMode);
  setSumWordLength(sumWordLength);
  setMaxSumWordLength(maxSumWordLength);
  setSumFractionLength(sumFractionLength);
}

fimath& fimath::defaultInstance() {
  static fimath instance{Factory{}};
  return instance;
}

const fimath& fimath::getDefaultFimath() { return defaultInstance(); }
void fimath::setDefaultFimath(const fimath& settings) { defaultInstance() = settings; }
void fimath::resetDefaultFimath() { defaultInstance() = fimath{Factory{}}; }

void fimath::setProductWordLength(int wordLength) {
  product_.wordLength = checkedWordLength<msg::nonPositiveProduct, msg::tooBigProduct>(wordLength);
}

void fimath::setMaxProductWordLength(int wordLength) {
  product_.maxWordLength = checkedWordLength<msg::nonPositiveMaxProduct, msg::tooBigMaxProduct>(wordLength);
}

void fimath::setSumWordLength(int wordLength) {
  sum_.wordLength = checkedWordLength<msg::nonPositiveSum, msg::tooBigSum>(wordLength);
}

void fimath::setMaxSumWordLength(int wordLength) {
  sum_.maxWordLength = checkedWordLength<msg::nonPositiveMaxSum, msg::tooBigMaxSum>(wordLength);
}

void fimath::setProductSlope(double slope) { setSlope(product_, slope); }
void fimath::setSumSlope(double slope) { setSlope(sum_, slope); }
bool fimath::setProductSlopeAdjustmentFactor(double factor) { return setFactor(product_, factor); }
bool fimath::setSumSlopeAdjustmentFactor(double factor) { return setFactor(sum_, factor); }

void fimath::setProductFormat(double wordLength, double fractionLength) {
  const int fraction = checkedInteger(fractionLength);
  setProductWordLength(checkedInteger(wordLength));
  setProductFractionLength(fraction);
}

void fimath::setSumFormat(double wordLength, double fractionLength) {
  const int fraction = checkedInteger(fractionLength);
  setSumWordLength(checkedInteger(wordLength));
  setSumFractionLength(fraction);
}

void fimath::setCStyle(int wordLength) {
  setProductWordLength(wordLength);
  setSumWordLength(wordLength);
  roundMode_ = RoundModeEnum::floor;
  overflowMode_ = OverflowModeEnum::wrap;
  product_.mode = ArithmeticModeEnum::KeepLSB;
  sum_.mode = ArithmeticModeEnum::KeepLSB;
  castBeforeSum_ = true;
}

void fimath::setCStyle(const tessel::HostArray& value) {
  constexpr int kDefaultWordLength = 32;
  if (!(value.isNumeric() || value.isLogical()) || value.numel() > 1 || value.isComplex())
    fail<msg::badCStyle>();
  const double number = value.isEmpty() ? 1 : value.realAt(0);
  if (std::isnan(number) || number != std::trunc(number)) fail<msg::badCStyle>();
  if (number == 0) return;
  if (number == 1) return setCStyle(kDefaultWordLength);
  // Limiting keeps far too long and negative lengths in the range of int; their own error tells of them.
  setCStyle(static_cast<int>(std::fmax(0, std::fmin(number, kMaxWordLength + 1))));
}

bool fimath::isCStyle() const {
  return roundMode_ == RoundModeEnum::floor && overflowMode_ == OverflowModeEnum::wrap &&
         product_.mode == ArithmeticModeEnum::KeepLSB && sum_.mode == ArithmeticModeEnum::KeepLSB &&
         product_.wordLength == sum_.wordLength && castBeforeSum_;
}

bool fimath::matches(const fimath& other) const {
  return roundMode_ == other.roundMode_ && overflowMode_ == other.overflowMode_ &&
         castBeforeSum_ == other.castBeforeSum_ && product_.matches(other.product_) && sum_.matches(other.sum_);
}

bool fimath::isequal(const fimath& other) const {
  return roundMode_ == other.roundMode_ && overflowMode_ == other.overflowMode_ &&
         castBeforeSum_ == other.castBeforeSum_ && product_ == other.product_ && sum_ == other.sum_;
}

fimath fimath::string2Fimath(std::string_view record) {
  RecordReader reader(record);
  fimath settings{Factory{}};
  settings.setRoundMode(reader.enumerated<RoundModeEnum>());
  settings.setOverflowMode(reader.enumerated<OverflowModeEnum>());
  settings.setProductMode(reader.enumerated<ArithmeticModeEnum>());
  settings.setSumMode(reader.enumerated<ArithmeticModeEnum>());
  settings.setMaxProductWordLength(reader.integer());
  settings.setMaxSumWordLength(reader.integer());
  settings.setProductWordLength(reader.integer());
  settings.setSumWordLength(reader.integer());
  settings.setProductFractionLength(reader.integer());
  settings.setSumFractionLength(reader.integer());
  settings.setCastBeforeSum(reader.integer() != 0);
  reader.finish();
  return settings;
}

void fimath::addToFimathMap(const std::string& tag, const fimath& settings) {
  if (!dictionary().try_emplace(tag, settings).second) fail<msg::keyExists>(tag.c_str());
}

fimath fimath::getFromFimathMap(const std::string& tag) {
  const auto entry = dictionary().find(tag);
  if (entry == dictionary().end()) fail<msg::invalidKey>();
  return entry->second;
}

void fimath::replaceInFimathMap(const std::string& tag, const fimath& settings) {
  dictionary().insert_or_assign(tag, settings);
}

void fimath::eraseFromFimathMap(const std::string& tag) { dictionary().erase(tag); }
bool fimath::fimathMapKeyExists(const std::string& tag) { return dictionary().contains(tag); }

}  // namespace embedded
