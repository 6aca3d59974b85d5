#include "tessel/runtime/matrix_arithmetic.h"
#include "tessel/runtime/display.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "tessel/interruption.h"
#include "tessel/messages.h"
#include "tessel/products.h"
#include "tessel/runtime/arithmetic.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/elements.h"
#include "tessel/runtime/linearalgebra.h"

// LAPACK, which comes with the BLAS library; texts carry their length as a hidden last argument.
extern "C" {
using Complex = std::complex<double>;
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* pivots, int* info);
void zgetrf_(const int* m, const int* n, Complex* a, const int* lda, int* pivots, int* info);
void dgetrs_(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda,
             const int* pivots, double* b, const int* ldb, int* info, std::size_t);
void zgetrs_(const char* trans, const int* n, const int* nrhs, const Complex* a, const int* lda,
             const int* pivots, Complex* b, const int* ldb, int* info, std::size_t);
void dgecon_(const char* norm, const int* n, const double* a, const int* lda, const double* anorm,
             double* rcond, double* work, int* iwork, int* info, std::size_t);
void zgecon_(const char* norm, const int* n, const Complex* a, const int* lda, const double* anorm,
             double* rcond, Complex* work, double* rwork, int* info, std::size_t);
void dgelsy_(const int* m, const int* n, const int* nrhs, double* a, const int* lda, double* b, const int* ldb,
             int* pivots, const double* rcond, int* rank, double* work, const int* lwork, int* info);
void zgelsy_(const int* m, const int* n, const int* nrhs, Complex* a, const int* lda, Complex* b,
             const int* ldb, int* pivots, const double* rcond, int* rank, Complex* work, const int* lwork,
             double* rwork, int* info);
void zgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, Complex* a, const int* lda,
             double* s, Complex* u, const int* ldu, Complex* vt, const int* ldvt, Complex* work,
             const int* lwork, double* rwork, int* info, std::size_t, std::size_t);
void dgeev_(const char* jobvl, const char* jobvr, const int* n, double* a, const int* lda, double* re,
            double* im, double* vl, const int* ldvl, double* vr, const int* ldvr, double* work,
            const int* lwork, int* info, std::size_t, std::size_t);
void zgeev_(const char* jobvl, const char* jobvr, const int* n, Complex* a, const int* lda, Complex* values,
            Complex* vl, const int* ldvl, Complex* vr, const int* ldvr, Complex* work, const int* lwork,
            double* rwork, int* info, std::size_t, std::size_t);
}

namespace tessel {
namespace {

/// Calls the library's function of that name and type.
template <class Function, class... Arguments>
void callLibrary(const char* name, Arguments... arguments) {
  reinterpret_cast<Function*>(linearAlgebraFunction(name))(arguments...);
}

constexpr double kPrecision = std::numeric_limits<double>::epsilon();

void require2D(const char* name, const HostArray& a) {
  if (a.dims().size() > 2) {
    raiseError("Tessel:mustBe2D", fmt::format("Arguments of '{}' must have two dimensions.", name));
  }
}

int libraryInt(std::size_t count) {
  if (count > std::numeric_limits<int>::max()) raiseError("Tessel:matrixTooLarge", "The matrix is too large.");
  return static_cast<int>(count);
}

/// One part of a matrix as contiguous doubles; a part that is stored so is not copied.
class DoublePart {
 public:
  DoublePart(const HostArray& a, bool imaginary) {
    if (a.arrayClass() == ArrayClass::Double) {
      data_ = imaginary ? a.imag<double>() : a.real<double>();
    } else {
      copy_ = imaginary ? imaginaryParts(a) : realParts(a);
      data_ = copy_.data();
    }
  }
  const double* data() const { return data_; }

 private:
  std::vector<double> copy_;
  const double* data_;
};

struct ProductSize {
  int rows, inner, columns;
};

/// So many multiplications are done at once, about a tenth of a second, but those of a few columns in any case:
/// fewer would make the library slow.
constexpr double kMultiplicationsAtOnce = 4e8;
constexpr int kLeastColumns = 8;

/// product += factor · a·b, for column-major matrices.
void addProduct(const ProductSize& size, double factor, const DoublePart& a, const DoublePart& b,
                double* product) {
  if (size.rows == 0 || size.inner == 0 || size.columns == 0) return;
  const double wanted = kMultiplicationsAtOnce / (static_cast<double>(size.rows) * size.inner);
  const int atOnce =
      static_cast<int>(std::clamp<double>(wanted, kLeastColumns, std::max(size.columns, kLeastColumns)));
  for (int first = 0; first < size.columns; first += atOnce) {
    const auto column = static_cast<std::size_t>(first);
    multiplyAdd(size.rows, std::min(atOnce, size.columns - first), size.inner, factor, a.data(),
                b.data() + column * size.inner, 1.0, product + column * size.rows);
    raiseIfInterrupted();
  }
}

HostArray floatProduct(const HostArray& a, const HostArray& b, const ProductSize& size,
                       ArrayClass resultClass) {
  const Dimensions dims{a.dim(0), b.dim(1)};
  HostArray product = HostArray::zeros(ArrayClass::Double, dims, a.isComplex() || b.isComplex());
  const DoublePart ar(a, false), br(b, false);
  addProduct(size, 1, ar, br, product.mutableReal<double>());
  if (a.isComplex() && b.isComplex()) {
    addProduct(size, -1, DoublePart(a, true), DoublePart(b, true), product.mutableReal<double>());
  }
  if (a.isComplex()) addProduct(size, 1, DoublePart(a, true), br, product.mutableImag<double>());
  if (b.isComplex()) addProduct(size, 1, ar, DoublePart(b, true), product.mutableImag<double>());
  product = narrowed(std::move(product));
  return resultClass == ArrayClass::Double ? product : convertTo(product, resultClass);
}

HostArray integerProduct(const HostArray& a, const HostArray& b, ArrayClass resultClass) {
  if (a.isComplex() || b.isComplex()) raiseComplexNotAllowed("mtimes");
  const std::size_t rows = a.dim(0), inner = a.dim(1), columns = b.dim(1);
  std::vector<long double> left(a.numel()), right(b.numel()), sums(rows * columns);
  loadElements(a, false, 0, 1, left.size(), left.data());
  loadElements(b, false, 0, 1, right.size(), right.data());
  for (std::size_t column = 0; column < columns; ++column)
    for (std::size_t k = 0; k < inner; ++k) {
      for (std::size_t row = 0; row < rows; ++row)
        sums[column * rows + row] += left[k * rows + row] * right[column * inner + k];
      raiseIfInterrupted();
    }
  HostArray product = HostArray::zeros(resultClass, {rows, columns});
  storeElements(product, false, 0, 1, sums.size(), sums.data());
  return product;
}

// The same names for real and complex matrices.
void factorize(int n, double* a, int* pivots, int* info) {
  callLibrary<decltype(dgetrf_)>("dgetrf_", &n, &n, a, &n, pivots, info);
}
void factorize(int n, Complex* a, int* pivots, int* info) {
  callLibrary<decltype(zgetrf_)>("zgetrf_", &n, &n, a, &n, pivots, info);
}

void substitute(int n, int columns, const double* a, const int* pivots, double* b) {
  int info = 0;
  callLibrary<decltype(dgetrs_)>("dgetrs_", "N", &n, &columns, a, &n, pivots, b, &n, &info, 1);
}
void substitute(int n, int columns, const Complex* a, const int* pivots, Complex* b) {
  int info = 0;
  callLibrary<decltype(zgetrs_)>("zgetrs_", "N", &n, &columns, a, &n, pivots, b, &n, &info, 1);
}

double reciprocalCondition(int n, const double* factors, double norm) {
  double rcond = 0;
  int info = 0;
  std::vector<double> work(4 * n);
  std::vector<int> integerWork(n);
  callLibrary<decltype(dgecon_)>("dgecon_", "1", &n, factors, &n, &norm, &rcond, work.data(),
                                 integerWork.data(), &info, 1);
  return rcond;
}
double reciprocalCondition(int n, const Complex* factors, double norm) {
  double rcond = 0;
  int info = 0;
  std::vector<Complex> work(2 * n);
  std::vector<double> realWork(2 * n);
  callLibrary<decltype(zgecon_)>("zgecon_", "1", &n, factors, &n, &norm, &rcond, work.data(), realWork.data(),
                                 &info, 1);
  return rcond;
}

void leastSquares(int m, int n, int columns, double* a, double* b, int ldb, int* pivots, double rcond,
                  double* work, int workLength) {
  int rank = 0, info = 0;
  callLibrary<decltype(dgelsy_)>("dgelsy_", &m, &n, &columns, a, &m, b, &ldb, pivots, &rcond, &rank, work,
                                 &workLength, &info);
}
void leastSquares(int m, int n, int columns, Complex* a, Complex* b, int ldb, int* pivots, double rcond,
                  Complex* work, int workLength) {
  int rank = 0, info = 0;
  std::vector<double> realWork(2 * n);
  callLibrary<decltype(zgelsy_)>("zgelsy_", &m, &n, &columns, a, &m, b, &ldb, pivots, &rcond, &rank, work,
                                 &workLength, realWork.data(), &info);
}

template <class S>
std::vector<S> matrixElements(const HostArray& a) {
  if constexpr (std::is_same_v<S, double>) {
    return realParts(a);
  } else {
    const std::vector<double> re = realParts(a), im = imaginaryParts(a);
    std::vector<S> values(re.size());
    for (std::size_t i = 0; i < re.size(); ++i) values[i] = {re[i], im[i]};
    return values;
  }
}

/// The greatest sum of magnitudes of a column.
template <class S>
double oneNorm(const std::vector<S>& a, std::size_t rows) {
  double norm = 0;
  for (std::size_t first = 0; first < a.size(); first += rows) {
    double sum = 0;
    for (std::size_t i = first; i < first + rows; ++i) sum += std::abs(a[i]);
    norm = std::max(norm, sum);
  }
  return norm;
}

template <class S>
std::vector<S> solveSquare(std::vector<S> a, std::vector<S> b, std::size_t size, std::size_t columns) {
  const int n = libraryInt(size);
  const double norm = oneNorm(a, size);
  std::vector<int> pivots(size);
  int info = 0;
  factorize(n, a.data(), pivots.data(), &info);
  if (info > 0) {
    warn("Tessel:singularMatrix", "Matrix is singular to working precision.");
    return std::vector<S>(b.size(), S(std::numeric_limits<double>::infinity()));
  }
  const double rcond = reciprocalCondition(n, a.data(), norm);
  if (!(rcond >= kPrecision)) {
    warn("Tessel:nearlySingularMatrix",
         fmt::format("Matrix is close to singular or badly scaled. Results may be inaccurate. RCOND = {:.6e}.",
                     rcond));
  }
  substitute(n, libraryInt(columns), a.data(), pivots.data(), b.data());
  return b;
}

template <class S>
std::vector<S> solveLeastSquares(std::vector<S> a, const std::vector<S>& b, std::size_t rows,
                                 std::size_t unknowns, std::size_t columns) {
  const std::size_t height = std::max(rows, unknowns);
  std::vector<S> work(1), padded(height * columns), solution(unknowns * columns);
  for (std::size_t c = 0; c < columns; ++c) std::copy_n(&b[c * rows], rows, &padded[c * height]);
  std::vector<int> pivots(unknowns, 0);
  const auto call = [&](int workLength) {
    leastSquares(libraryInt(rows), libraryInt(unknowns), libraryInt(columns), a.data(), padded.data(),
                 libraryInt(height), pivots.data(), kPrecision * static_cast<double>(height), work.data(),
                 workLength);
  };
  call(-1);  // asks for the best length of the work space
  const int workLength = static_cast<int>(std::real(work[0]));
  work.resize(workLength);
  call(workLength);
  for (std::size_t c = 0; c < columns; ++c) std::copy_n(&padded[c * height], unknowns, &solution[c * unknowns]);
  return solution;
}

template <class S>
HostArray solve(const HostArray& a, const HostArray& b, ArrayClass resultClass) {
  const std::size_t rows = a.dim(0), unknowns = a.dim(1), columns = b.dim(1);
  HostArray result = HostArray::zeros(resultClass, {unknowns, columns}, !std::is_same_v<S, double>);
  if (a.isEmpty() || b.isEmpty()) return narrowed(std::move(result));
  const std::vector<S> solution =
      rows == unknowns ? solveSquare(matrixElements<S>(a), matrixElements<S>(b), rows, columns)
                       : solveLeastSquares(matrixElements<S>(a), matrixElements<S>(b), rows, unknowns, columns);
  Results<double, S> results(result);
  forEachBlock(solution.size(), [&](std::size_t first, std::size_t count) {
    results.fill(first, count, [&](std::size_t i) { return solution[first + i]; });
  });
  return narrowed(std::move(result));
}

HostArray identity(std::size_t size) {
  HostArray result = HostArray::zeros(ArrayClass::Double, {size, size});
  for (std::size_t i = 0; i < size; ++i) result.mutableReal<double>()[i * size + i] = 1;
  return result;
}

}  // namespace

HostArray mtimes(const HostArray& a, const HostArray& b) {
  if (a.isScalar() || b.isScalar()) return times(a, b);
  const ArrayClass resultClass = arithmeticClass("mtimes", a, b);
  require2D("mtimes", a);
  require2D("mtimes", b);
  if (a.dim(1) != b.dim(0)) {
    raiseError("Tessel:innerdim",
               "Inner matrix dimensions must agree: " + sizeText(a) + " and " + sizeText(b) + ".");
  }
  if (isIntegerClass(resultClass)) return integerProduct(a, b, resultClass);
  return floatProduct(a, b, {libraryInt(a.dim(0)), libraryInt(a.dim(1)), libraryInt(b.dim(1))}, resultClass);
}

HostArray mldivide(const HostArray& a, const HostArray& b) {
  if (a.isScalar()) return ldivide(a, b);
  const ArrayClass resultClass = arithmeticClass("mldivide", a, b);
  if (isIntegerClass(resultClass)) raiseUndefinedFor("mldivide", a.isInteger() ? a : b);
  require2D("mldivide", a);
  require2D("mldivide", b);
  if (a.dim(0) != b.dim(0)) raiseSizesDiffer(a, b);
  return a.isComplex() || b.isComplex() ? solve<Complex>(a, b, resultClass) : solve<double>(a, b, resultClass);
}

HostArray mrdivide(const HostArray& a, const HostArray& b) {
  if (b.isScalar()) return rdivide(a, b);
  return transpose(mldivide(transpose(b), transpose(a)));
}

std::vector<double> singularValues(const HostArray& a) {
  requireNumeric("svd", a);
  require2D("svd", a);
  const int rows = libraryInt(a.dim(0)), columns = libraryInt(a.dim(1));
  const std::size_t count = std::min(a.dim(0), a.dim(1));
  std::vector<Complex> elements = matrixElements<Complex>(a), work(1);
  for (const Complex& z : elements) {
    if (!std::isfinite(z.real()) || !std::isfinite(z.imag())) return std::vector<double>(count, std::abs(z));
  }
  std::vector<double> values(count), realWork(5 * count + 1);
  int info = 0;
  const auto call = [&](int workLength) {
    const int one = 1;  // the unwanted factors need a leading dimension all the same
    callLibrary<decltype(zgesvd_)>("zgesvd_", "N", "N", &rows, &columns, elements.data(), &rows, values.data(),
                                   nullptr, &one, nullptr, &one, work.data(), &workLength, realWork.data(),
                                   &info, 1, 1);
  };
  call(-1);
  const int workLength = static_cast<int>(work[0].real());
  work.resize(workLength);
  call(workLength);
  return values;
}

namespace {

/// The eigenvalues of a matrix of numbers of one kind; what the library says of them.
int eigenvaluesOf(std::vector<double> elements, int order, std::vector<Complex>& values) {
  std::vector<double> re(values.size()), im(values.size()), work(34 * values.size());
  const int one = 1, workLength = static_cast<int>(work.size());
  int info = 0;
  callLibrary<decltype(dgeev_)>("dgeev_", "N", "N", &order, elements.data(), &order, re.data(), im.data(),
                                nullptr, &one, nullptr, &one, work.data(), &workLength, &info, 1, 1);
  for (std::size_t k = 0; k < values.size(); ++k) values[k] = {re[k], im[k]};
  return info;
}

int eigenvaluesOf(std::vector<Complex> elements, int order, std::vector<Complex>& values) {
  std::vector<Complex> work(33 * values.size());
  std::vector<double> realWork(2 * values.size());
  const int one = 1, workLength = static_cast<int>(work.size());
  int info = 0;
  callLibrary<decltype(zgeev_)>("zgeev_", "N", "N", &order, elements.data(), &order, values.data(), nullptr,
                                &one, nullptr, &one, work.data(), &workLength, realWork.data(), &info, 1, 1);
  return info;
}

}  // namespace

std::vector<Complex> eigenvalues(const HostArray& a) {
  requireNumeric("eig", a);
  require2D("eig", a);
  const int order = libraryInt(a.dim(0));
  std::vector<Complex> values(a.dim(0));
  const int info = a.isComplex() ? eigenvaluesOf(matrixElements<Complex>(a), order, values)
                                 : eigenvaluesOf(matrixElements<double>(a), order, values);
  if (info != 0) raiseError("Tessel:noConvergence", "The eigenvalues could not be found.");
  return values;
}

HostArray mpower(const HostArray& a, const HostArray& b) {
  if (a.isScalar() && b.isScalar()) return power(a, b);
  requireNumeric("mpower", a);
  requireReal("mpower", b);
  require2D("mpower", a);
  if (a.dim(0) != a.dim(1)) raiseError("Tessel:mustBeSquare", "The matrix must be square.");
  if (!b.isScalar() || b.realAt(0) != std::round(b.realAt(0)) || !(std::abs(b.realAt(0)) < 0x1p31)) {
    raiseError("Tessel:mpower", "The exponent of a matrix must be an integer.");
  }
  const double exponent = b.realAt(0);
  HostArray base = exponent < 0 ? mldivide(a, identity(a.dim(0))) : a, result = identity(a.dim(0));
  bool isIdentity = true;
  for (auto rest = static_cast<std::uint32_t>(std::abs(exponent)); rest != 0; rest >>= 1) {
    // A product with the identity would turn infinities into NaN.
    if (rest & 1) result = std::exchange(isIdentity, false) ? base : mtimes(result, base);
    if (rest > 1) base = mtimes(base, base);
  }
  return result;
}

HostArray transpose(const HostArray& a) {
  require2D("transpose", a);
  const std::size_t rows = a.dim(0), columns = a.dim(1);
  if ((rows == 1 || columns == 1) && !a.isFunction()) {
    HostArray result = a;
    result.reshape({columns, rows});
    return result;
  }
  std::vector<std::size_t> positions;
  positions.reserve(a.numel());
  for (std::size_t row = 0; row < rows; ++row)
    for (std::size_t column = 0; column < columns; ++column) positions.push_back(column * rows + row);
  return rearranged(a, positions, {columns, rows});
}

HostArray ctranspose(const HostArray& a) {
  HostArray result = transpose(a);
  if (!a.isComplex()) return result;
  return mapElements(result, a.arrayClass(), [](auto x) {
    if constexpr (std::is_arithmetic_v<decltype(x)>)
      return x;
    else
      return std::conj(x);
  });
}

}  // namespace tessel
