/// The extension `qfcore._qfcore`: the classes of the system in Python, walked from their tables.
#include "qfcore/host/module.h"
#include "python/extension/calls.h"
#include "python/extension/classes.h"
#include "python/extension/convert.h"
#include "python/extension/elements.h"
#include "python/extension/object.h"
#include "python/extension/records.h"

PYBIND11_MODULE(_qfcore, module) {
  TesselInitialize_qfcore();
  module.attr("version") = TesselVersion_qfcore();
  face::addMessages(module);
  face::addBaseTypes(module);
  face::addClasses(module);
  face::addElementFunctions(module);
  face::addRecordFunctions(module);
  module.def("set_hook", face::setHook);
}
