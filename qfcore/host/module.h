/// Entry points of the module, with C linkage.
#pragma once

#include <cstdint>

#include "qfcore/number/errors.h"

extern "C" {

/// One function that a module offers by its table; a list ends with an entry without a name.
struct TesselFcnEntry {
  const char* name;
  void (*function)();
};

/// A module's function table.
struct TesselFcnTable {
  const TesselFcnEntry* functions;
  std::uint64_t buildIdentifier;
};

/// Registers the module's classes, functions and feature switches with the host; while it is initialised, calls
/// do nothing.
QFCORE_API void TesselInitialize_qfcore();
/// Asks the package `embedded` to terminate; does nothing while the module is not initialised. Objects live on,
/// but the functions that make them raise "numforge:module:terminated" until the module is initialised again.
QFCORE_API void TesselTerminate_qfcore();
/// The module's function list, which is empty: everything is reached through classes and registered functions.
QFCORE_API const TesselFcnEntry* QueryTesselFcns_qfcore();
/// The table of that list.
QFCORE_API const TesselFcnTable* QueryTesselFcnTable_qfcore();
/// The module's version, such as "0.1.0".
QFCORE_API const char* TesselVersion_qfcore();
/// The day the module was built, as the compiler writes it.
QFCORE_API const char* TesselBuildDate_qfcore();
}
