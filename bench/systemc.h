/// The same jobs by SystemC's data types: a widely used library with the same formats, one object a value.
#pragma once

#define SC_INCLUDE_FX
// Only the data types are used, which do not depend on the version of C++ that the library was compiled for.
#define SC_DISABLE_API_VERSION_CHECK
#include <systemc>

#include "bench/operands.h"

namespace bench {

template <int WordLength, int FractionLength, sc_dt::sc_q_mode Round = sc_dt::SC_RND,
          sc_dt::sc_o_mode Overflow = sc_dt::SC_SAT>
using ScFixed = sc_dt::sc_fixed<WordLength, WordLength - FractionLength, Round, Overflow>;

using ScS16 = ScFixed<16, 15>;

/// `operation(operand...)` on arrays of `Operand`, into an array of `Result`.
template <class Operand = ScS16, class Result = ScS16, class Operation, class... Fills>
Contender bySystemC(const char* name, Operation operation, Fills... fills) {
  const auto valuesOf = [](const Values& doubles) {
    return std::vector<Operand>(doubles.begin(), doubles.end());
  };
  return {name,
          byLoop<Result>(
              [=](Result* result, std::size_t count, const auto*... operands) {
                for (std::size_t i = 0; i < count; ++i) result[i] = operation(operands[i]...);
              },
              [=](std::size_t elementCount) { return valuesOf(fills(elementCount)); }...),
          {},
          kSlowCount};
}

}  // namespace bench
