#include "qfcore/host/RefFimathObjClass.h"

#include "qfcore/host/FimathObjClass.h"

namespace embedded::host {

namespace {

constexpr Message kTooManyInputs{"numforge:fimath:nargchk:tooManyInputs", "Too many input arguments"};
constexpr Message kMustBeRefFimath{"numforge:fimath:mustBeReffimath", "This parameter must be a reffimath."};

fimathUserData& refFimathArgument(const HostArray& array) {
  if (fimathUserData* math = unwrapped<fimathUserData>(array)) return *math;
  fail<kMustBeRefFimath>();
}

Arrays getUserData(Arrays& inputs, int) { return {refFimathArgument(inputs[0]).getDlgUserData()}; }

Arrays setUserData(Arrays& inputs, int) {
  refFimathArgument(inputs[0]).setDlgUserData(inputs[1]);
  return {};
}

Arrays copy(Arrays& inputs, int) { return {wrap(fimathUserData(refFimathArgument(inputs[0])))}; }

const Method kMethods[] = {
    {"getDlgUserData", 1, 1, 1, getUserData, "getDlgUserData(R): the data that the editing dialog keeps."},
    {"setDlgUserData", 2, 2, 0, setUserData,
     "setDlgUserData(R, data): keeps any array for the editing dialog."},
    {"copy", 1, 1, 1, copy, "copy(R): another reffimath with the same settings and data."},
};

}  // namespace

RefFimathObjClass::RefFimathObjClass() : ObjClass(&FimathObjClass::getInstance().hostClass()) {}

std::shared_ptr<HostObject> RefFimathObjClass::createClassSpecificObject(Arrays&) {
  return make(fimathUserData());
}

void RefFimathObjClass::init() {
  hostClass().setHelp("Math settings that keep data of the host's editing dialog.");
  hostClass().addConstructor({});
  hostClass().setArgumentError(errorText<kTooManyInputs>());
  addMethods(hostClass(), kMethods);
}

}  // namespace embedded::host
