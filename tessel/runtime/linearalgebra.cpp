#include "tessel/runtime/linearalgebra.h"

#include <cblas.h>
#include <dlfcn.h>

#include <algorithm>
#include <string>

#include "tessel/messages.h"
#include "tessel/products.h"

namespace tessel {

namespace {

/// The name under which the system knows the library that this was compiled for.
constexpr const char* kLibrary = "libopenblas.so.0";

void* required(void* found) {
  if (found != nullptr) return found;
  const char* reason = dlerror();
  raiseError("Tessel:libraryNotLoaded", std::string("Library '") + kLibrary + "' cannot be loaded: " +
                                            (reason != nullptr ? reason : "unknown reason"));
}

}  // namespace

void* linearAlgebraFunction(const char* name) {
  static void* const library = required(dlopen(kLibrary, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE));
  return required(dlsym(library, name));
}

void multiplyAdd(int rows, int columns, int inner, double factor, const double* left, const double* right,
                 double keep, double* target) {
  static const auto product = reinterpret_cast<decltype(&cblas_dgemm)>(linearAlgebraFunction("cblas_dgemm"));
  product(CblasColMajor, CblasNoTrans, CblasNoTrans, rows, columns, inner, factor, left, std::max(rows, 1),
          right, std::max(inner, 1), keep, target, std::max(rows, 1));
}

}  // namespace tessel
