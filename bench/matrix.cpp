/// Products of square matrices; times are per multiply-add.
#include <cblas.h>

#include "bench/job.h"
#include "bench/operands.h"
#include "bench/systemc.h"

namespace bench {
namespace {

std::size_t cubed(std::size_t side) { return side * side * side; }

Fill square(double bound, unsigned seed) {
  return [=](std::size_t side) { return randomValues(side * side, bound, seed); };
}

Prepare byDgemm() {
  return [](std::size_t side) -> Work {
    return [=, a = square(1, 1)(side), b = square(1, 2)(side), c = Values(side * side)]() mutable {
      const int n = static_cast<int>(side);
      cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, n, n, n, 1, a.data(), n, b.data(), n, 0, c.data(),
                  n);
      benchmark::ClobberMemory();
    };
  };
}

Prepare byMtimes(double bound, const fimath& math) {
  return [=](std::size_t side) -> Work {
    const unsigned dims[] = {static_cast<unsigned>(side), static_cast<unsigned>(side)};
    const auto matrix = [&](unsigned seed) {
      return fi(square(bound, seed)(side).data(), dims, 2, s16(), math);
    };
    return [a = matrix(1), b = matrix(2)] { benchmark::DoNotOptimize(a.mtimes(b)); };
  };
}

/// Elements are summed in the order of the inner dimension, each product and each sum brought to `Term`, `Sum`.
template <class Sum, class Term>
Contender bySystemCProduct(double bound) {
  return {"SystemC", [=](std::size_t side) -> Work {
            const Values x = square(bound, 1)(side), y = square(bound, 2)(side);
            return [=, a = std::vector<ScS16>(x.begin(), x.end()), b = std::vector<ScS16>(y.begin(), y.end()),
                    c = std::vector<Sum>(side * side)]() mutable {
              for (std::size_t column = 0; column < side; ++column) {
                for (std::size_t row = 0; row < side; ++row) {
                  Sum& sum = c[column * side + row] = 0;
                  for (std::size_t k = 0; k < side; ++k) {
                    const Term term = a[k * side + row] * b[column * side + k];
                    sum += term;
                  }
                }
              }
              benchmark::ClobberMemory();
            };
          }};
}

// ------------------------------------------------------------------- every product and sum kept to s16,15

// Sums of this many products seldom saturate.
constexpr double kRoundedBound = 0.25;

/// c = a · b for column-major matrices whose side is a multiple of both tile sides. `scaled` holds stored
/// integers, so that a product is a stored integer too; c takes stored integers. A tile's sums stay in
/// registers.
template <std::size_t kRows>
QFCORE_VECTORISED void multiplyRounded(const double* __restrict scaled, const double* __restrict b,
                                       double* __restrict c, std::size_t side, Kept keep) {
  constexpr std::size_t kColumns = 4;
  for (std::size_t column = 0; column < side; column += kColumns) {
    for (std::size_t row = 0; row < side; row += kRows) {
      double sums[kColumns][kRows] = {};
      for (std::size_t k = 0; k < side; ++k) {
        const double* left = scaled + k * side + row;
        for (std::size_t j = 0; j < kColumns; ++j) {
          const double right = b[(column + j) * side + k];
          for (std::size_t i = 0; i < kRows; ++i) {
            sums[j][i] = keep.inRange(sums[j][i] + keep.inRange(std::floor(left[i] * right + 0.5)));
          }
        }
      }
      for (std::size_t j = 0; j < kColumns; ++j) std::copy_n(sums[j], kRows, c + (column + j) * side + row);
    }
  }
}

Prepare byTiles() {
  return [](std::size_t side) -> Work {
    return [=, a = square(kRoundedBound * kScale, 1)(side), b = square(kRoundedBound, 2)(side),
            c = Values(side * side)]() mutable {
      const auto multiply = side % 16 == 0 ? multiplyRounded<16> : multiplyRounded<4>;
      multiply(a.data(), b.data(), c.data(), side, Kept());
      benchmark::ClobberMemory();
    };
  };
}

}  // namespace

std::vector<Job> matrixJobs() {
  const char* exact = "matrix product s16,15, full precision, per multiply-add";
  const char* rounded = "matrix product, each product and sum kept to s16,15, per multiply-add";
  const Contender dgemm{"OpenBLAS dgemm", byDgemm()}, fiExact = subject("fi mtimes", byMtimes(1, fimath()));
  const Contender tiles{"tiled loop", byTiles()},
      fiRounded = subject("fi mtimes", byMtimes(kRoundedBound, keptTo16()));
  const auto within = [](Contender contender, Goal goal) {
    contender.goals.push_back(goal);
    return contender;
  };
  return {
      {exact, {dgemm, fiExact, bySystemCProduct<ScFixed<36, 30>, ScFixed<32, 30>>(1)}, {16}, cubed},
      {exact, {dgemm, within(fiExact, atMost(1.3, "OpenBLAS dgemm"))}, {256, 1024}, cubed},
      {rounded, {tiles, within(fiRounded, atMost(2, "tiled loop"))}, {4, 8}, cubed},
      {rounded,
       {tiles, within(fiRounded, atMost(2, "tiled loop")), bySystemCProduct<ScS16, ScS16>(kRoundedBound)},
       {16},
       cubed},
      {rounded, {tiles, within(fiRounded, atMost(2, "tiled loop", 0.5))}, {256}, cubed},
  };
}

}  // namespace bench
