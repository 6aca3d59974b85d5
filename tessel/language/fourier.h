/// The discrete Fourier transform.
#pragma once

#include <complex>
#include <cstddef>
#include <memory>
#include <vector>

namespace tessel {

/// Transforms of one length, of any factors; the time grows with n·log n also where n is prime. It computes
/// with 64 bits, so that the results are those of an exact transform to about one rounding to double.
class FourierTransform {
 public:
  using Number = std::complex<long double>;

  /// Forwards with the factor exp(−2πi·jk/n), or, inversely, with its conjugate; neither divides by n.
  FourierTransform(std::size_t length, bool isInverse);
  ~FourierTransform();
  FourierTransform(const FourierTransform&) = delete;
  FourierTransform& operator=(const FourierTransform&) = delete;

  /// Transforms as many numbers as the length in place.
  void apply(std::vector<Number>& values) const;

 private:
  struct Plan;
  std::unique_ptr<const Plan> plan_;
};

}  // namespace tessel
