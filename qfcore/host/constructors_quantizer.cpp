/// The arguments of `quantizer(...)`.
#include <optional>

#include "qfcore/host/NumericTypeObjClass.h"
#include "qfcore/host/QuantizerObjClass.h"

namespace embedded::host {

namespace {

constexpr Message kBadSignature{"numforge:quantizer:constructor:badsignature",
                                "QUANTIZER constructor signature not recognized."};
constexpr Message kSlopeBias{"numforge:quantizer:slopebias",
                             "Slope and bias scaling is not allowed in quantizers."};

/// Takes `word` as a value of Enum, in any case, and hands it to the quantizer's setter.
template <class Enum>
bool takeWord(quantizer& q, std::string_view word, void (quantizer::*setter)(Enum)) {
  for (const EmbeddedTypeSystem::EnumRow& row : tableOf(Enum{}).rows) {
    if (!equalIgnoringCase(row.text, word)) continue;
    (q.*setter)(static_cast<Enum>(row.value));
    return true;
  }
  return false;
}

bool takeModeWord(quantizer& q, std::string_view word) {
  return takeWord(q, word, &quantizer::setMode) || takeWord(q, word, &quantizer::setRoundMode) ||
         takeWord(q, word, &quantizer::setOverflowMode);
}

bool isFormat(const HostArray& array) { return array.isNumeric() && !array.isComplex() && array.numel() == 2; }

}  // namespace

quantizer quantizerFrom(const Arrays& arguments) {
  HostArray object = wrap(quantizer());
  quantizer& q = *unwrapped<quantizer>(object);
  // What a format's second number means depends on the mode, which may come behind it.
  std::optional<HostArray> format;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const HostArray& argument = arguments[i];
    if (const quantizer* other = unwrapped<quantizer>(argument)) {
      q = *other;
    } else if (const NumericType* type = unwrapped<NumericType>(argument)) {
      if (type->isSlopeBias()) fail<kSlopeBias>();
      q.set(*type, q.roundMode(), q.overflowMode());
    } else if (isFormat(argument)) {
      format = argument;
    } else if (!argument.isText()) {
      fail<kBadSignature>();
    } else if (!takeModeWord(q, argument.toText())) {
      const auto* row = findRow(QuantizerObjClass::properties(), argument.toText());
      if (!row || ++i == arguments.size()) fail<kBadSignature>();
      if (std::string_view(row->name) == "format" && isFormat(arguments[i]))
        format = arguments[i];
      else
        tessel::setProperty(object, row->name, arguments[i]);
    }
  }
  if (format) q.setFormat(format->realAt(0), format->realAt(1));
  // A quantizer of its own exists to count, whether or not arrays log; it starts with nothing counted.
  q.logger().reset();
  q.logger().setAlwaysOn(true);
  return std::move(q);
}

}  // namespace embedded::host
