#include "qfcore/host/features.h"

#include <cmath>
#include <string>

#include "qfcore/host/binding.h"
#include "qfcore/math/parallel.h"
#include "qfcore/types/features.h"
#include "qfcore/types/numerictype.h"
#include "tessel/registries.h"

namespace embedded {

using tessel::HostArray;

namespace {

constexpr Message kArgumentRequired{"Tessel:doubleOrCharArgRequired", "Double or Character argument required."};
constexpr Message kBadThreads{"numforge:threads:badvalue",
                              "The number of threads is an integer from 1 to 1024."};
constexpr Message kMustBeOnOff{"Tessel:mustBe01OffOn", "Value must be 0, 1, off, or on."};

bool switchValue(const HostArray& value) {
  if (value.isChar()) {
    const std::string text = value.isText() ? value.toText() : "";
    if (host::equalIgnoringCase(text, "on") || text == "1") return true;
    if (host::equalIgnoringCase(text, "off") || text == "0") return false;
    fail<kMustBeOnOff>();
  }
  const bool isDouble = value.arrayClass() == tessel::ArrayClass::Double;
  if ((!isDouble && !value.isLogical()) || !value.isScalar() || value.isComplex()) fail<kArgumentRequired>();
  if (value.realAt(0) != 0 && value.realAt(0) != 1) fail<kMustBeOnOff>();
  return value.realAt(0) != 0;
}

/// The rule of all switches; `read` and `write` are the switch itself.
template <class Read, class Write>
void featureSwitch(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs, Read read,
                   Write write) {
  if (outputCount > 1) tessel::raiseTooManyOutputs();
  if (inputCount > 1) tessel::raiseTooManyInputs();
  if (inputCount == 1) write(host::translated([&] { return switchValue(inputs[0]); }));
  outputs[0] = HostArray::scalar(read() ? 1.0 : 0.0);
}

void featureSwitch(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs, bool& state) {
  featureSwitch(
      outputCount, outputs, inputCount, inputs, [&] { return state; }, [&](bool on) { state = on; });
}

}  // namespace

void setFiTagLogging(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs) {
  featureSwitch(outputCount, outputs, inputCount, inputs, s_feature_fi_tag_logging);
}

void setFiStackTraceLogging(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs) {
  featureSwitch(outputCount, outputs, inputCount, inputs, s_feature_fi_stack_trace_logging);
}

void setFi33PlusMemoryFootprint(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs) {
  featureSwitch(outputCount, outputs, inputCount, inputs, s_feature_fi_33plus_memory_footprint);
}

void setNumericTypeUnspecifiedSign(int outputCount, HostArray* outputs, int inputCount,
                                   const HostArray* inputs) {
  featureSwitch(outputCount, outputs, inputCount, inputs, EmbeddedTypeSystem::numericTypeUnspecifiedSign,
                [](bool on) { EmbeddedTypeSystem::setNumericTypeUnspecifiedSign(on); });
}

void setThreads(int outputCount, HostArray* outputs, int inputCount, const HostArray* inputs) {
  if (outputCount > 1) tessel::raiseTooManyOutputs();
  if (inputCount > 1) tessel::raiseTooManyInputs();
  if (inputCount == 1) {
    host::translated([&] {
      const bool isNumber = inputs[0].isNumeric() && inputs[0].isScalar() && !inputs[0].isComplex();
      const double count = isNumber ? inputs[0].realAt(0) : 0;
      if (!(count >= 1 && count <= kMaxThreads) || count != std::floor(count)) fail<kBadThreads>();
      setThreadCount(static_cast<unsigned>(count));
    });
  }
  outputs[0] = HostArray::scalar(static_cast<double>(threadCount()));
}

void registerFeatures() {
  tessel::registerFeature("FiTagLogging", 0, setFiTagLogging);
  tessel::registerFeature("FiStackTraceLogging", 0, setFiStackTraceLogging);
  tessel::registerFeature("Fi33PlusMemoryFootprint", 1, setFi33PlusMemoryFootprint);
  tessel::registerFeature("NumerictypeUnspecifiedSign", 0, setNumericTypeUnspecifiedSign);
  tessel::registerFeature("Threads", threadCount(), setThreads);
}

}  // namespace embedded
