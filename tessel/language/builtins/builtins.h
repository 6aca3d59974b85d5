/// The functions that scripts can call without any module, one family a source file.
#pragma once

#include <cstddef>

namespace tessel {

class Interpreter;

/// Registers every family below. Calling it again replaces the functions with themselves.
void registerBuiltins();

void registerConstructionBuiltins();
void registerInspectionBuiltins();
void registerMathBuiltins();
void registerNumberBuiltins();
void registerBitBuiltins();
void registerLocationBuiltins();
void registerValidationBuiltins();
void registerSignalBuiltins();
void registerReductionBuiltins();
void registerOrderingBuiltins();
void registerConversionBuiltins();
void registerTextBuiltins();
void registerFormatBuiltins();
void registerFileBuiltins();
void registerTimingBuiltins();
void registerPlotBuiltins();
void registerAxesBuiltins();
void registerFigureBuiltins();

/// Registers an example for each of all these functions.
void registerExamples();
/// The themes of the language, which are registered before those of modules.
std::size_t languageThemeCount();

/// Registers the functions that need the evaluator, its workspace or its call stack: `eval`, `feval`, `error`,
/// `cellfun`, `who`, …. `interpreter` must outlive every call of them.
void registerLanguageBuiltins(Interpreter& interpreter);

void registerEvaluationBuiltins(Interpreter& interpreter);
void registerMappingBuiltins(Interpreter& interpreter);
void registerErrorBuiltins(Interpreter& interpreter);
void registerWorkspaceBuiltins(Interpreter& interpreter);
void registerHelpBuiltins(Interpreter& interpreter);
void registerProgramBuiltins(Interpreter& interpreter);
void registerFilenameBuiltins(Interpreter& interpreter);
void registerStorageBuiltins(Interpreter& interpreter);
void registerStreamBuiltins(Interpreter& interpreter);
void registerScanningBuiltins(Interpreter& interpreter);

}  // namespace tessel
