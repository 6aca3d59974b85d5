#include "tessel/language/builtins/builtins.h"

namespace tessel {

void registerBuiltins() {
  registerConstructionBuiltins();
  registerInspectionBuiltins();
  registerMathBuiltins();
  registerNumberBuiltins();
  registerBitBuiltins();
  registerLocationBuiltins();
  registerValidationBuiltins();
  registerSignalBuiltins();
  registerReductionBuiltins();
  registerOrderingBuiltins();
  registerConversionBuiltins();
  registerTextBuiltins();
  registerFormatBuiltins();
  registerFileBuiltins();
  registerTimingBuiltins();
  registerPlotBuiltins();
  registerAxesBuiltins();
  registerFigureBuiltins();
  registerExamples();
}

void registerLanguageBuiltins(Interpreter& interpreter) {
  registerEvaluationBuiltins(interpreter);
  registerMappingBuiltins(interpreter);
  registerErrorBuiltins(interpreter);
  registerWorkspaceBuiltins(interpreter);
  registerHelpBuiltins(interpreter);
  registerProgramBuiltins(interpreter);
  registerFilenameBuiltins(interpreter);
  registerStorageBuiltins(interpreter);
  registerStreamBuiltins(interpreter);
  registerScanningBuiltins(interpreter);
}

}  // namespace tessel
