#include "tessel/language/fourier.h"

#include <bit>
#include <cmath>
#include <kissfft.hh>
#include <numbers>
#include <optional>

#include "tessel/interruption.h"

namespace tessel {
namespace {

using Number = FourierTransform::Number;

/// Up to here the time that a prime factor takes, which is its square, is what a detour would take.
constexpr std::size_t kLargestFactor = 61;

std::size_t largestPrimeFactor(std::size_t n) {
  std::size_t largest = 1;
  for (std::size_t p = 2; p * p <= n; ++p)
    for (; n % p == 0; n /= p) largest = p;
  return std::max(largest, n);
}

/// exp(±πi·k²/n) with the square taken modulo 2n, where it is exact.
Number chirp(std::size_t k, std::size_t n, bool isPositive) {
  __extension__ using Wide = unsigned __int128;
  const auto square = static_cast<std::size_t>(static_cast<Wide>(k) * k % (2 * n));
  const long double angle =
      std::numbers::pi_v<long double> * static_cast<long double>(square) / static_cast<long double>(n);
  return std::polar(1.0L, isPositive ? angle : -angle);
}

}  // namespace

/// Lengths with a large prime factor become a convolution with a chirp, whose length is a power of two:
/// jk = (j² + k² − (j − k)²) / 2.
struct FourierTransform::Plan {
  Plan(std::size_t length, bool isInverse) : n(length), inverse(isInverse) {
    if (largestPrimeFactor(n) <= kLargestFactor) {
      direct.emplace(n, isInverse);
      return;
    }
    const std::size_t m = std::bit_ceil(2 * n - 1);
    direct.emplace(m, false);
    back.emplace(m, true);
    std::vector<Number> kernel(m);
    for (std::size_t k = 0; k < n; ++k) kernel[k] = kernel[(m - k) % m] = chirp(k, n, !inverse);
    spectrum.resize(m);
    direct->transform(kernel.data(), spectrum.data());
  }

  void transform(std::vector<Number>& values) const {
    std::vector<Number> result(values.size());
    direct->transform(values.data(), result.data());
    values.swap(result);
  }

  void convolve(std::vector<Number>& values) const {
    const std::size_t m = spectrum.size();
    std::vector<Number> padded(m), products(m);
    for (std::size_t k = 0; k < n; ++k) padded[k] = values[k] * chirp(k, n, inverse);
    direct->transform(padded.data(), products.data());
    for (std::size_t k = 0; k < m; ++k) products[k] *= spectrum[k];
    back->transform(products.data(), padded.data());
    for (std::size_t k = 0; k < n; ++k)
      values[k] = padded[k] / static_cast<long double>(m) * chirp(k, n, inverse);
  }

  std::size_t n;
  bool inverse;
  std::optional<kissfft<long double>> direct, back;
  std::vector<Number> spectrum;  ///< of the chirp; empty where the length needs none
};

FourierTransform::FourierTransform(std::size_t length, bool isInverse)
    : plan_(length > 1 ? std::make_unique<Plan>(length, isInverse) : nullptr) {}

FourierTransform::~FourierTransform() = default;

void FourierTransform::apply(std::vector<Number>& values) const {
  raiseIfInterrupted();
  if (!plan_) return;
  plan_->spectrum.empty() ? plan_->transform(values) : plan_->convolve(values);
}

}  // namespace tessel
