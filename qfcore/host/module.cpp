#include "qfcore/host/module.h"

#include <utility>

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/FimathObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "qfcore/host/QloggerObjClass.h"
#include "qfcore/host/QuantizerObjClass.h"
#include "qfcore/host/RefFimathObjClass.h"
#include "qfcore/host/TypeObjClasses.h"
#include "qfcore/host/constructors.h"
#include "qfcore/host/examples.h"
#include "qfcore/host/features.h"
#include "qfcore/host/filogObjClass.h"
#include "tessel/module.h"

namespace {

// Nothing fills the list.
constexpr TesselFcnEntry kFunctions[] = {{nullptr, nullptr}};
constexpr TesselFcnTable kFunctionTable{kFunctions, 0x7166636f72650001};

bool isInitialised = false;

void createClasses() {
  using namespace embedded::host;
  createTypeClasses();
  NumericTypeObjClass::registerObjClass();
  QuantizerObjClass::registerObjClass();
  FimathObjClass::registerObjClass();
  RefFimathObjClass::registerObjClass();
  FiObjClass::registerObjClass();
  QloggerObjClass::registerObjClass();
  filogObjClass::registerObjClass();

  // The classes of types and settings get the methods that make arrays right after their own.
  NumericTypeObjClass::getInstance().init();
  NumericTypeObjClass::getInstance().init_fi_methods();
  QuantizerObjClass::getInstance().init();
  FimathObjClass::getInstance().init();
  FimathObjClass::getInstance().init_fi_methods();
  RefFimathObjClass::getInstance().init();
  FiObjClass::getInstance().init();
  QloggerObjClass::getInstance().init();
  filogObjClass::getInstance().init();
}

}  // namespace

void TesselInitialize_qfcore() {
  if (isInitialised) return;
  tessel::loadPackage("tessel.base");
  embedded::host::getEmbeddedPackage();
  createClasses();
  embedded::host::registerConstructors();
  embedded::registerFeatures();
  embedded::host::registerExamples();
  // Loaded once more by name, the module stays resident while the host runs.
  tessel::loadLibrary("qfcore");
  isInitialised = true;
}

void TesselTerminate_qfcore() {
  if (!std::exchange(isInitialised, false)) return;
  embedded::host::unregisterConstructors();
  embedded::host::terminateEmbeddedPackage();
}

const TesselFcnEntry* QueryTesselFcns_qfcore() { return kFunctions; }

const TesselFcnTable* QueryTesselFcnTable_qfcore() { return &kFunctionTable; }

const char* TesselVersion_qfcore() { return QFCORE_VERSION; }

const char* TesselBuildDate_qfcore() { return __DATE__; }
