/// Methods of `embedded.fi` that compute.
#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/FimathObjClass.h"

namespace embedded::host {

namespace {

/// add(F, a, b): both operands take the settings F first.
template <auto Operation>
Arrays underSettings(Arrays& inputs, int) {
  const fimath& math = fimathArgument(inputs[0]);
  const fi* known = unwrapped<fi>(inputs[1]) ? unwrapped<fi>(inputs[1]) : &fiArgument(inputs[2]);
  fi a = operandBeside(inputs[1], *known), b = operandBeside(inputs[2], *known);
  a.setFimath(math);
  b.setFimath(math);
  return {toHost((a.*Operation)(b))};
}

const Method kFimathMethods[] = {
    {"add", 3, 3, 1, underSettings<&fi::plus>, "add(F, a, b): a + b under the settings F."},
    {"sub", 3, 3, 1, underSettings<&fi::minus>, "sub(F, a, b): a - b under the settings F."},
};

const Method kMethods[] = {
    {"plus", 2, 2, 1, binaryMethod<&fi::plus>, "plus(a, b), a + b: element-wise sum in the type of the sum."},
    {"minus", 2, 2, 1, binaryMethod<&fi::minus>, "minus(a, b), a - b: element-wise difference."},
    {"leadingdimension_sum", 1, 1, 1, askArray<&fi::leadingdimension_sum>,
     "leadingdimension_sum(a): the sum along the first dimension."},
};

}  // namespace

std::span<const Method> arithmeticMethods() { return kMethods; }
std::span<const Method> fimathArithmeticMethods() { return kFimathMethods; }
std::span<const Method> numericTypeArithmeticMethods() { return {}; }

}  // namespace embedded::host
