/// Operations of arrays against exact rationals: random types, settings and shapes, with and without logging,
/// on the array path and the element path.
#include <functional>

#include "fuzz/input.h"
#include "qfcore/fi/fi.h"
#include "qfcore/fi/paths/path.h"
#include "tessel/messages.h"

namespace {

using namespace reference;
using embedded::ArithmeticModeEnum;
using embedded::qlogger;

constexpr int kLongestWord = 200;

struct Complex {
  mpq_class re, im;
};

/// One operation on the operands: its result, and what exact arithmetic makes of each element.
struct Case {
  const char* name;
  std::function<fi()> run;
  std::function<Complex(const fi& result, unsigned k)> expected;
};

class Operations {
 public:
  explicit Operations(fuzz::Input& input)
      : math_(settings(input)),
        type_(input.type(1, kLongestWord)),
        dims_{static_cast<unsigned>(input.integer(0, 5)), static_cast<unsigned>(input.integer(0, 3))},
        a_(operand(input, type_)),
        b_(operand(input, input.type(1, kLongestWord))),
        sameType_(operand(input, type_)),
        target_(input.type(1, kLongestWord)),
        places_(input.integer(-8, 8)) {}

  void check() const {
    for (const Case& each : cases()) {
      for (const bool elementPath : {false, true}) {
        for (const bool isLogging : {false, true}) {
          embedded::setElementPathOnly(elementPath);
          qlogger::setLogging(isLogging);
          check(each);
        }
      }
    }
  }

 private:
  static fimath settings(fuzz::Input& input) {
    fimath math(input.roundMode(), input.overflowMode());
    math.setProductMode(static_cast<ArithmeticModeEnum>(input.integer(0, 3)));
    math.setProductWordLength(input.integer(1, 2 * kLongestWord));
    math.setProductFractionLength(input.integer(-8, 2 * kLongestWord));
    math.setMaxProductWordLength(65535);
    math.setSumMode(static_cast<ArithmeticModeEnum>(input.integer(0, 3)));
    math.setSumWordLength(input.integer(1, kLongestWord));
    math.setSumFractionLength(input.integer(-8, kLongestWord));
    math.setMaxSumWordLength(65535);
    math.setCastBeforeSum(input.coin());
    return math;
  }

  fi operand(fuzz::Input& input, const NumericType& type) const {
    static const std::vector<unsigned> one{1, 1};
    return input.array(input.integer(0, 3) == 0 ? one : dims_, type, math_, input.integer(0, 3) == 0);
  }

  static Complex at(const fi& x, unsigned k) {
    k = x.isscalar() ? 0 : k;
    return {valueOf(x, k), imagOf(x, k)};
  }
  mpq_class q(const mpq_class& value, const NumericType& type) const {
    return quantized(value, type, math_.roundMode(), math_.overflowMode());
  }
  Complex q(const Complex& value, const NumericType& type) const {
    return {q(value.re, type), q(value.im, type)};
  }
  /// Within a sum's register: terms are cast where the settings say so.
  mpq_class sum(const mpq_class& x, const mpq_class& y, const NumericType& type) const {
    return math_.castBeforeSum() ? q(q(x, type) + q(y, type), type) : q(x + y, type);
  }
  /// Of operands that are not both complex. Complex products of short words are summed in doubles where these
  /// hold the sum, which the tests measure.
  Complex product(const Complex& x, const Complex& y, const NumericType& type) const {
    return {q(x.re * y.re, type), q(a_.iscomplex() ? x.im * y.re : x.re * y.im, type)};
  }
  Complex matrixElement(const fi& result, unsigned k) const {
    const NumericType productType = a_.getProductTypeForMpyOp(b_);
    const NumericType& type = result.getNumericType();
    Complex total{0, 0};
    const unsigned rows = a_.rows(), inner = a_.cols(), row = k % rows, column = k / rows;
    for (unsigned i = 0; i < inner; ++i) {
      const Complex term = product(at(a_, i * rows + row), at(b_, column * inner + i), productType);
      const auto add = [&](mpq_class& to, const mpq_class& part) {
        to = q(to + (math_.castBeforeSum() ? q(part, type) : part), type);
      };
      add(total.re, term.re);
      add(total.im, term.im);
    }
    return total;
  }
  mpz_class pattern(const mpq_class& value) const {
    return Format{true, type_.wordLength(), 0}.pattern(scaled(value, type_.fractionLength()).get_num());
  }
  mpq_class ofPattern(const mpz_class& bits) const {
    const Format format{type_.isSigned(), type_.wordLength(), 0};
    return scaled(mpq_class(format.stored(format.pattern(bits))), -type_.fractionLength());
  }
  template <class Combine>
  Complex combined(unsigned k, Combine combine) const {
    const Complex x = at(a_, k), y = at(sameType_, k);
    return {ofPattern(combine(pattern(x.re), pattern(y.re))), ofPattern(combine(pattern(x.im), pattern(y.im)))};
  }

  std::vector<Case> cases() const {
    const auto same = [](const fi& result) -> const NumericType& { return result.getNumericType(); };
    const bool isMatrixProduct = a_.cols() == b_.rows() && !a_.isscalar() && !b_.isscalar();
    std::vector<Case> all{
        {"plus", [&] { return a_.plus(b_); },
         [=, this](const fi& r, unsigned k) -> Complex {
           const Complex x = at(a_, k), y = at(b_, k);
           return {sum(x.re, y.re, same(r)), sum(x.im, y.im, same(r))};
         }},
        {"minus", [&] { return a_.minus(b_); },
         [=, this](const fi& r, unsigned k) -> Complex {
           const Complex x = at(a_, k), y = at(b_, k);
           const auto difference = [&](const mpq_class& u, const mpq_class& v) {
             return math_.castBeforeSum() ? q(q(u, same(r)) - q(v, same(r)), same(r)) : q(u - v, same(r));
           };
           return {difference(x.re, y.re), difference(x.im, y.im)};
         }},
        {"cast",
         [&] {
           fi x(a_);
           x.setNumericType(target_);
           return x;
         },
         [=, this](const fi& r, unsigned k) { return q(at(a_, k), same(r)); }},
        {"uminus", [&] { return a_.uminus(); },
         [=, this](const fi& r, unsigned k) {
           const Complex x = at(a_, k);
           return q(Complex{-x.re, -x.im}, same(r));
         }},
        {"bitand", [&] { return a_.fibitand(sameType_); },
         [this](const fi&, unsigned k) {
           return combined(k, [](const mpz_class& x, const mpz_class& y) { return mpz_class(x & y); });
         }},
        {"bitxor", [&] { return a_.bitxor(sameType_); },
         [this](const fi&, unsigned k) {
           return combined(k, [](const mpz_class& x, const mpz_class& y) { return mpz_class(x ^ y); });
         }},
        {"bitshift", [&] { return a_.bitshift(places_); },
         [this](const fi&, unsigned k) -> Complex {
           const Complex x = at(a_, k);
           const auto shifted = [&](const mpq_class& value) {
             return quantized(scaled(value, places_), type_, RoundModeEnum::floor, math_.overflowMode());
           };
           return {shifted(x.re), shifted(x.im)};
         }},
        {"text",
         [&] {
           fi x(1U, 1U, type_, math_);
           const int base = 2 + (places_ + 8) % 17;
           if (a_.isempty())
             x = a_;
           else
             x.base2num(a_.num2base(base), base);
           return x;
         },
         [this](const fi&, unsigned k) { return at(a_, k); }},
    };
    if (a_.isreal())
      all.push_back({"realabs", [&] { return a_.realabs(target_); },
                     [this](const fi&, unsigned k) {
                       return q(Complex{abs(at(a_, k).re), 0}, target_);
                     }});
    if (a_.isreal() || b_.isreal()) {
      all.push_back({"times", [&] { return a_.times(b_); },
                     [=, this](const fi& r, unsigned k) { return product(at(a_, k), at(b_, k), same(r)); }});
      if (isMatrixProduct)
        all.push_back({"mtimes", [&] { return a_.mtimes(b_); },
                       [this](const fi& r, unsigned k) { return matrixElement(r, k); }});
    }
    return all;
  }

  void check(const Case& each) const {
    fi result;
    try {
      result = each.run();
    } catch (const embedded::ErrorIdException& error) {
      // Sizes that do not agree, types that cannot be made; the tests know which.
      return;
    }
    for (unsigned k = 0; k < result.numel(); ++k) {
      const Complex found = at(result, k), wanted = each.expected(result, k);
      fuzz::require(found.re == wanted.re && found.im == wanted.im, each.name, " element ", k, ": ", found.re,
                    "+i", found.im, " instead of ", wanted.re, "+i", wanted.im, "\na ",
                    described(a_.getNumericType(), math_), " ", at(a_, k).re, "+i", at(a_, k).im, "\nb ",
                    b_.getNumericType().tostring(), "\nresult ", result.getNumericType().tostring(),
                    embedded::elementPathOnly() ? " element path" : " array path",
                    qlogger::getLogging() ? " logging" : "");
    }
  }

  fimath math_;
  NumericType type_;
  std::vector<unsigned> dims_;
  fi a_, b_, sameType_;
  NumericType target_;
  int places_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  tessel::setWarningEnabled("all", false);
  fuzz::Input input(bytes, count);
  Operations(input).check();
  return 0;
}
