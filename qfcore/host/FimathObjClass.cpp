#include "qfcore/host/FimathObjClass.h"

#include <vector>

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/dialog.h"
#include "qfcore/host/storage.h"

namespace embedded::host {

namespace {

namespace property_type = tessel::property_type;

constexpr Message kTooManyInputs{"numforge:fimath:nargchk:tooManyInputs", "Too many input arguments"};
constexpr Message kMustBeFimath{"numforge:fimath:mustBeFimath", "This parameter must be a fimath."};
constexpr Message kNoTranspose{"numforge:fimath:transpose:notdefined",
                               "Transpose on fimath object is not defined."};
constexpr Message kNoCTranspose{"numforge:fimath:ctranspose:notdefined",
                                "Transpose on fimath object is not defined."};
constexpr Message kNoMethod{"Tessel:UndefinedFunction",
                            "No method '%s' with matching signature found for class embedded.fimath"};
constexpr Message kBadPairs{"numforge:fimath:set:badpairs",
                            "Properties are set by pairs of a name and a value."};

template <auto Getter>
HostArray get(const fimath& math) {
  return host::get<fimath, Getter>(math);
}
template <auto Setter>
bool set(fimath& math, const HostArray& value) {
  return host::set<fimath, Setter>(math, value);
}

template <auto Setter>
bool setFromText(fimath& math, const HostArray& text) {
  return host::setFromText<fimath, Setter>(math, text);
}

void setCStyle(fimath& math, const HostArray& value) { math.setCStyle(value); }

/// A text of the editing dialog that shows a fact of the product or of the sum register.
template <const RegisterSettings& (fimath::*Register)() const, std::string (RegisterSettings::*Text)() const>
HostArray dialogText(const fimath& math) {
  return toHost(((math.*Register)().*Text)());
}

const char* const kRoundModeType = "quantizer Round Mode";
const char* const kOverflowModeType = "quantizer Overflow Mode";
const char* const kArithmeticModeType = "fimathArithmeticModeEnum";
const char* const kPrecisionModeType = "fimathPrecisionModeEnum";

using F = fimath;
using R = RegisterSettings;
const Property<fimath> kProperties[] = {
    {"RoundMode", kRoundModeType, get<&F::roundMode>, set<&F::setRoundMode>,
     "Rounding of every quantization: to the next step toward infinity (ceil), minus infinity (floor) or 0 "
     "(fix); to the nearest step, a tie to the even one (convergent), toward infinity (nearest) or away from 0 "
     "(round)."},
    {"OverflowMode", kOverflowModeType, get<&F::overflowMode>, set<&F::setOverflowMode>,
     "What becomes of values out of range: the nearest bound (saturate), or the value without the bits above "
     "the word (wrap)."},
    {"PrecisionMode", kPrecisionModeType, get<&F::precisionMode>, set<&F::setPrecisionMode>,
     "Kept and copied; arithmetic does not read it."},
    {"ProductMode", kArithmeticModeType, get<&F::productMode>, set<&F::setProductMode>,
     "The type of products: as long as it takes (FullPrecision); ProductWordLength bits, the low ones "
     "(KeepLSB) or the high ones (KeepMSB); with ProductFractionLength as well (SpecifyPrecision)."},
    {"ProductWordLength", property_type::kInt32, get<&F::productWordLength>, set<&F::setProductWordLength>,
     "Word length of products; not under FullPrecision."},
    {"MaxProductWordLength", property_type::kInt32, get<&F::maxProductWordLength>,
     set<&F::setMaxProductWordLength>, "Largest word length of products under FullPrecision."},
    {"ProductFractionLength", property_type::kInt32, get<&F::productFractionLength>,
     set<&F::setProductFractionLength>, "Fraction length of products under SpecifyPrecision."},
    {"ProductFixedExponent", property_type::kInt32, get<&F::productFixedExponent>,
     set<&F::setProductFixedExponent>, "-ProductFractionLength."},
    {"ProductSlope", property_type::kDouble, get<&F::productSlope>, set<&F::setProductSlope>,
     "Slope of products under SpecifyPrecision."},
    {"ProductSlopeAdjustmentFactor", property_type::kDouble, get<&F::productSlopeAdjustmentFactor>,
     set<&F::setProductSlopeAdjustmentFactor>, "ProductSlope without its power of two."},
    {"ProductBias", property_type::kDouble, get<&F::productBias>, set<&F::setProductBias>,
     "Bias of products under SpecifyPrecision."},
    {"SumMode", kArithmeticModeType, get<&F::sumMode>, set<&F::setSumMode>,
     "The type of sums: as long as it takes (FullPrecision); SumWordLength bits, the low ones (KeepLSB) or the "
     "high ones (KeepMSB); with SumFractionLength as well (SpecifyPrecision)."},
    {"SumWordLength", property_type::kInt32, get<&F::sumWordLength>, set<&F::setSumWordLength>,
     "Word length of sums; not under FullPrecision."},
    {"MaxSumWordLength", property_type::kInt32, get<&F::maxSumWordLength>, set<&F::setMaxSumWordLength>,
     "Largest word length of sums under FullPrecision."},
    {"SumFractionLength", property_type::kInt32, get<&F::sumFractionLength>, set<&F::setSumFractionLength>,
     "Fraction length of sums under SpecifyPrecision."},
    {"SumFixedExponent", property_type::kInt32, get<&F::sumFixedExponent>, set<&F::setSumFixedExponent>,
     "-SumFractionLength."},
    {"SumSlope", property_type::kDouble, get<&F::sumSlope>, set<&F::setSumSlope>,
     "Slope of sums under SpecifyPrecision."},
    {"SumSlopeAdjustmentFactor", property_type::kDouble, get<&F::sumSlopeAdjustmentFactor>,
     set<&F::setSumSlopeAdjustmentFactor>, "SumSlope without its power of two."},
    {"SumBias", property_type::kDouble, get<&F::sumBias>, set<&F::setSumBias>,
     "Bias of sums under SpecifyPrecision."},
    {"CastBeforeSum", property_type::kBool, get<&F::castBeforeSum>, set<&F::setCastBeforeSum>,
     "Whether operands are brought into the sum's type before they are added."},
    {"PrivDlgProductWordLengthString", property_type::kString, dialogText<&F::product, &R::wordLengthString>,
     setFromText<&F::setProductWordLength>, "ProductWordLength as the dialog's text.", "ProductWordLength",
     true},
    {"PrivDlgMaxProductWordLengthString", property_type::kString,
     dialogText<&F::product, &R::maxWordLengthString>, setFromText<&F::setMaxProductWordLength>,
     "MaxProductWordLength as the dialog's text.", "MaxProductWordLength", true},
    {"PrivDlgProductFractionLengthString", property_type::kString,
     dialogText<&F::product, &R::fractionLengthString>, setFromText<&F::setProductFractionLength>,
     "ProductFractionLength as the dialog's text.", "ProductFractionLength", true},
    {"PrivDlgProductFixedExponentString", property_type::kString,
     dialogText<&F::product, &R::fixedExponentString>, setFromText<&F::setProductFixedExponent>,
     "ProductFixedExponent as the dialog's text.", "ProductFixedExponent", true},
    {"PrivDlgProductSlopeString", property_type::kString, dialogText<&F::product, &R::slopeString>,
     setFromText<&F::setProductSlope>, "ProductSlope as the dialog's text.", "ProductSlope", true},
    {"PrivDlgProductSlopeAdjustmentFactorString", property_type::kString,
     dialogText<&F::product, &R::slopeAdjustmentFactorString>, setFromText<&F::setProductSlopeAdjustmentFactor>,
     "ProductSlopeAdjustmentFactor as the dialog's text.", "ProductSlopeAdjustmentFactor", true},
    {"PrivDlgProductBiasString", property_type::kString, dialogText<&F::product, &R::biasString>,
     setFromText<&F::setProductBias>, "ProductBias as the dialog's text.", "ProductBias", true},
    {"PrivDlgSumWordLengthString", property_type::kString, dialogText<&F::sum, &R::wordLengthString>,
     setFromText<&F::setSumWordLength>, "SumWordLength as the dialog's text.", "SumWordLength", true},
    {"PrivDlgMaxSumWordLengthString", property_type::kString, dialogText<&F::sum, &R::maxWordLengthString>,
     setFromText<&F::setMaxSumWordLength>, "MaxSumWordLength as the dialog's text.", "MaxSumWordLength", true},
    {"PrivDlgSumFractionLengthString", property_type::kString, dialogText<&F::sum, &R::fractionLengthString>,
     setFromText<&F::setSumFractionLength>, "SumFractionLength as the dialog's text.", "SumFractionLength",
     true},
    {"PrivDlgSumFixedExponentString", property_type::kString, dialogText<&F::sum, &R::fixedExponentString>,
     setFromText<&F::setSumFixedExponent>, "SumFixedExponent as the dialog's text.", "SumFixedExponent", true},
    {"PrivDlgSumSlopeString", property_type::kString, dialogText<&F::sum, &R::slopeString>,
     setFromText<&F::setSumSlope>, "SumSlope as the dialog's text.", "SumSlope", true},
    {"PrivDlgSumSlopeAdjustmentFactorString", property_type::kString,
     dialogText<&F::sum, &R::slopeAdjustmentFactorString>, setFromText<&F::setSumSlopeAdjustmentFactor>,
     "SumSlopeAdjustmentFactor as the dialog's text.", "SumSlopeAdjustmentFactor", true},
    {"PrivDlgSumBiasString", property_type::kString, dialogText<&F::sum, &R::biasString>,
     setFromText<&F::setSumBias>, "SumBias as the dialog's text.", "SumBias", true},
    {"CStyle", property_type::kArray, get<&F::getCStyle>, setCStyle,
     "Arithmetic as in C: true, or a word length, sets products and sums that keep the least significant "
     "bits."},
};

// ----------------------------------------------------------------------------------------------------- methods

Arrays toText(Arrays& inputs, int) { return {toHost(fimathArgument(inputs[0]).toString())}; }

Arrays isEqual(Arrays& inputs, int) {
  bool equal = true;
  for (std::size_t i = 1; i < inputs.size() && equal; ++i) {
    const fimath *a = unwrapped<fimath>(inputs[0]), *b = unwrapped<fimath>(inputs[i]);
    equal = a && b && a->isequal(*b);
  }
  return {toHost(equal)};
}

Arrays isDifferent(Arrays& inputs, int) { return {toHost(isEqual(inputs, 1)[0].realAt(0) == 0)}; }

Arrays isFimath(Arrays& inputs, int) { return {toHost(unwrapped<fimath>(inputs[0]) != nullptr)}; }

Arrays copy(Arrays& inputs, int) { return {wrap(fimath(fimathArgument(inputs[0])))}; }

template <const Message& M>
Arrays refuse(Arrays&, int) {
  fail<M>();
}

Arrays setProperties(Arrays& inputs, int) {
  fimathArgument(inputs[0]);
  setPairs<fimath, kBadPairs>(inputs);
  return {};
}

/// The settings and the tag of a dictionary call. Raises the host's error for an unknown method otherwise.
std::pair<fimath&, std::string> dictionaryArguments(const Arrays& inputs, const char* method) {
  fimath* math = inputs.empty() ? nullptr : unwrapped<fimath>(inputs[0]);
  if (!math || inputs.size() != 2 || !inputs[1].isText()) fail<kNoMethod>(method);
  return {*math, inputs[1].toText()};
}

Arrays addToDictionary(Arrays& inputs, int) {
  const auto [math, tag] = dictionaryArguments(inputs, "AddToFimathDictionary");
  fimath::addToFimathMap(tag, math);
  return {};
}

Arrays getFromDictionary(Arrays& inputs, int) {
  const auto [math, tag] = dictionaryArguments(inputs, "GetFromFimathDictionary");
  return {wrap(fimath::getFromFimathMap(tag))};
}

Arrays tagExists(Arrays& inputs, int) {
  const auto [math, tag] = dictionaryArguments(inputs, "FimathDictionaryTagExists");
  return {toHost(fimath::fimathMapKeyExists(tag))};
}

Arrays setDefault(Arrays& inputs, int) {
  fimath::setDefaultFimath(fimathArgument(inputs[0]));
  return {};
}

Arrays resetDefault(Arrays&, int) {
  fimath::resetDefaultFimath();
  return {};
}

/// The dialog's properties of one register: those that its mode reads.
struct RegisterItems {
  const char *mode, *maxWordLength, *wordLength, *fractionLength, *slope, *bias;

  void addTo(std::vector<const char*>& shown, const RegisterSettings& settings) const {
    shown.push_back(mode);
    const bool isFull = settings.mode == ArithmeticModeEnum::FullPrecision;
    shown.push_back(isFull ? maxWordLength : wordLength);
    if (settings.mode != ArithmeticModeEnum::SpecifyPrecision) return;
    if (settings.isSlopeBiasScaled())
      shown.insert(shown.end(), {slope, bias});
    else
      shown.push_back(fractionLength);
  }
};

constexpr RegisterItems kProductItems{"ProductMode",
                                      "PrivDlgMaxProductWordLengthString",
                                      "PrivDlgProductWordLengthString",
                                      "PrivDlgProductFractionLengthString",
                                      "PrivDlgProductSlopeString",
                                      "PrivDlgProductBiasString"};
constexpr RegisterItems kSumItems{"SumMode",
                                  "PrivDlgMaxSumWordLengthString",
                                  "PrivDlgSumWordLengthString",
                                  "PrivDlgSumFractionLengthString",
                                  "PrivDlgSumSlopeString",
                                  "PrivDlgSumBiasString"};

Arrays dialog(Arrays& inputs, int) {
  const fimath& math = fimathArgument(inputs[0]);
  std::vector<const char*> shown{"RoundMode", "OverflowMode"};
  kProductItems.addTo(shown, math.product());
  kSumItems.addTo(shown, math.sum());
  shown.push_back("CastBeforeSum");
  return {dialogSchema(inputs[0], shown)};
}

const Method kMethods[] = {
    {"disp", 1, 1, 0, disp<fimath>, "disp(F): prints the settings that matter."},
    {"isequal", 2, -1, 1, isEqual, "isequal(F, G): true when all settings of arithmetic are equal."},
    {"eq", 2, 2, 1, isEqual, "F == G: true when all settings of arithmetic are equal."},
    {"ne", 2, 2, 1, isDifferent, "F ~= G: true when a setting of arithmetic differs."},
    {"isfimath", 1, 1, 1, isFimath, "isfimath(F): true."},
    {"tostring", 1, 1, 1, toText, "tostring(F): the call that makes F again; 'fimath' for the default."},
    {"copy", 1, 1, 1, copy, "copy(F): another fimath with the same settings."},
    {"dialogschema", 1, 1, 1, dialog,
     "dialogschema(F): a structure that describes the dialog in which F is edited."},
    {"transpose", 1, 1, 1, refuse<kNoTranspose>, "F.': not defined."},
    {"ctranspose", 1, 1, 1, refuse<kNoCTranspose>, "F': not defined."},
    {"set", 1, -1, 0, setProperties, "set(F, name, value, ...): sets properties, all or none."},
    {"AddToFimathDictionary", 0, -1, 0, addToDictionary,
     "AddToFimathDictionary(F, tag): keeps a copy of F under a tag, in memory until the module ends."},
    {"GetFromFimathDictionary", 0, -1, 1, getFromDictionary,
     "GetFromFimathDictionary(F, tag): the settings kept under a tag."},
    {"FimathDictionaryTagExists", 0, -1, 1, tagExists,
     "FimathDictionaryTagExists(F, tag): whether settings are kept under a tag."},
    {"SetDefaultFimath", 1, 1, 0, setDefault,
     "SetDefaultFimath(F): new arrays and fimath objects start with F."},
    {"ResetDefaultFimath", 1, 1, 0, resetDefault,
     "ResetDefaultFimath(F): the factory settings are the default."},
};

}  // namespace

fimath& fimathArgument(const HostArray& array) {
  if (fimath* math = unwrapped<fimath>(array)) return *math;
  fail<kMustBeFimath>();
}

std::span<const Property<fimath>> FimathObjClass::properties() { return kProperties; }

std::shared_ptr<HostObject> FimathObjClass::createClassSpecificObject(Arrays&) { return make(fimath()); }

void FimathObjClass::init() {
  for (const auto* table : {&tableOf(RoundModeEnum{}), &tableOf(OverflowModeEnum{}),
                            &tableOf(ArithmeticModeEnum{}), &tableOf(PrecisionModeEnum{})}) {
    registeredEnum(*table);
  }
  hostClass().setHelp("Math settings: rounding, overflow, and how words grow in arithmetic.");
  hostClass().setPersistence(fimathPersistence());
  hostClass().addConstructor({});
  hostClass().setArgumentError(errorText<kTooManyInputs>());
  addProperties(hostClass(), properties());
  addMethods(hostClass(), kMethods);
}

void FimathObjClass::init_fi_methods() { addMethods(hostClass(), fimathArithmeticMethods()); }

}  // namespace embedded::host
