/// What the tests of conversions, indexing and shapes share.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qfcore/fi/fireference.h"
#include "tessel/messages.h"
#include "tests/fi/reference.h"

namespace reference {

using embedded::ErrorIdException;
using tessel::HostArray;

struct Failure {
  std::string identifier, text;
  /// The reason, without the names of who reports it.
  std::string reason() const { return identifier.substr(identifier.rfind(':') + 1) + "|" + text; }
};

/// What an action raises, if anything.
template <class Action>
std::optional<Failure> failureOf(Action action) {
  try {
    action();
  } catch (const ErrorIdException& error) {
    return Failure{error.identifier(), error.text()};
  } catch (const tessel::HostError& error) {
    return Failure{error.identifier(), error.what()};
  }
  return std::nullopt;
}

/// The identifier of what an action raises; empty when it succeeds.
template <class Action>
std::string errorOf(Action action) {
  const auto failure = failureOf(action);
  return failure ? failure->identifier : std::string();
}

/// Shape, complexity and every held value, as text.
inline std::string contents(const fi& x) {
  std::string text;
  for (const unsigned size : x.dims()) text += std::to_string(size) + "x";
  for (unsigned k = 0; k < x.numel(); ++k) {
    text += " " + valueOf(x, k).get_str();
    if (x.iscomplex()) text += "+i" + imagOf(x, k).get_str();
  }
  return text;
}

inline std::vector<unsigned> randomDims(Generator& random, int rank, int largest) {
  std::vector<unsigned> dims;
  for (int d = 0; d < rank; ++d)
    dims.push_back(static_cast<unsigned>(random.integer(0, 8) == 0 ? 0 : random.integer(1, largest)));
  while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
  return dims;
}

inline mpz_class storedOf(const mpq_class& held, const NumericType& type) {
  return scaled(held, type.fractionLength()).get_num();
}

/// The host's index structure of one level of parentheses, or of what `type` names.
inline HostArray indexOf(const std::vector<HostArray>& subscripts, const char* type = "()") {
  HostArray index = HostArray::structure({1, 1}, {"type", "subs"});
  HostArray subs = HostArray::cell({1, subscripts.size()});
  for (std::size_t k = 0; k < subscripts.size(); ++k) subs.mutableCellAt(k) = subscripts[k];
  index.mutableFieldAt("type") = HostArray::text(type);
  index.mutableFieldAt("subs") = subs;
  return index;
}

inline HostArray row(const std::vector<double>& values) {
  HostArray array = HostArray::zeros(tessel::ArrayClass::Double, {1, values.size()});
  std::copy(values.begin(), values.end(), values.empty() ? nullptr : array.mutableReal<double>());
  return array;
}

/// The same elements in so many bits, maybe more than their type takes.
inline fi inBits(fi x, unsigned precision) {
  const embedded::number re(x.realPart(), embedded::NumberVector{}), im(x.imagPart(), embedded::NumberVector{});
  x.setPrecision(precision);
  for (unsigned k = 0; k < x.numel(); ++k) {
    x.realPart()[k] = re[k];
    if (x.iscomplex()) x.imagPart()[k] = im[k];
  }
  return x;
}

/// A view of the same elements as an array's: of a whole array, or where they are a column maybe of some amid
/// others; or a view of such a view.
struct Viewed {
  fi target;
  unsigned first = 0;
  std::unique_ptr<fi> inner, view;

  Viewed(Random& random, const fi& elements) : target(elements) {
    makeView(random, elements);
    if (random.coin()) return;
    inner = std::move(view);
    view = std::make_unique<embedded::FiReference>(*inner);
  }
  bool isAmidOthers() const { return view->numel() != target.numel(); }

 private:
  void makeView(Random& random, const fi& elements) {
    if (elements.numDims() > 2 || elements.cols() != 1 || random.integer(0, 3) == 0) {
      view = std::make_unique<embedded::FiReference>(target);
      return;
    }
    first = static_cast<unsigned>(random.integer(0, 3));
    const unsigned rows = first + elements.numel() + static_cast<unsigned>(random.integer(0, 3));
    target = random.array({rows, 1}, elements.getNumericType(), elements.getFimath(), elements.iscomplex());
    target = inBits(target, elements.realPart().getprecision());
    for (unsigned k = 0; k < elements.numel(); ++k) {
      target.realPart()[first + k] = elements.realPart()[k];
      if (elements.iscomplex()) target.imagPart()[first + k] = elements.imagPart()[k];
    }
    view = std::make_unique<embedded::FiColumnReference>(target, first, elements.numel());
  }
};

}  // namespace reference
