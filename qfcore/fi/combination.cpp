/// Arrays made of several: concatenation, complex from real and imaginary parts; and sorting.
#include <algorithm>
#include <limits>
#include <numeric>
#include <optional>
#include <string_view>

#include "qfcore/fi/assignmentlog.h"
#include "qfcore/fi/expansion.h"
#include "qfcore/fi/fi.h"
#include "qfcore/fi/messages.h"
#include "qfcore/fi/positionmap.h"
#include "qfcore/number/messages.h"
#include "qfcore/number/stridesort.h"
#include "tessel/interpreter.h"

namespace embedded {

namespace {

constexpr Message kBadStride{"numforge:fi:sort:badstride",
                             "Stride times length must be positive and divide the number of elements."};
constexpr Message kNotReal{"numforge:fi:complex:notreal", "Real and imaginary parts must be real."};

}  // namespace

fi fi::pooled(const char* operation, const fi& model, const std::vector<const fi*>& operands) {
  std::size_t count = 0;
  bool isComplex = false;
  for (const fi* operand : operands) {
    model.errorIfNotAssignable(*operand);
    count += operand->numel_;
    isComplex = isComplex || operand->iscomplex();
  }
  if (count > std::numeric_limits<unsigned>::max()) fail<message::outOfMemory>();
  fi pool = model.unset({static_cast<unsigned>(count), 1}, isComplex);
  model.fillWithZeroValue(pool.imagPart_);
  pool.assignLogged(operation, [&] {
    unsigned place = 0;
    for (const fi* operand : operands) {
      const auto targets = ElementVisit::from(place), sources = ElementVisit::from(0);
      if (operand->getNumericType().isequal(model.getNumericType())) {
        operand->copyElements(pool, targets, sources, operand->numel_);
      } else {
        pool.storeQuantized(pool, targets, *operand, sources, operand->numel_);
      }
      place += operand->numel_;
    }
  });
  return pool;
}

namespace {

/// The size of what is joined, where the elements of the operands stand one behind the other in it: matrices of
/// as many rows side by side, columns below each other. Nothing for others.
std::optional<fi::Shape> sizeInOrder(std::string_view name, const std::vector<const fi*>& operands) {
  const bool isRow = name == "horzcat";
  if (!isRow && name != "vertcat") return std::nullopt;
  unsigned rows = 0, cols = 0;
  for (const fi* operand : operands) {
    const bool isFirst = operand == operands.front();
    const bool fits = isRow ? isFirst || operand->rows() == rows : operand->cols() == 1;
    if (operand->numDims() != 2 || operand->isempty() || !fits) return std::nullopt;
    rows = isRow ? operand->rows() : rows + operand->rows();
    cols = isRow ? cols + operand->cols() : 1;
  }
  return fi::Shape{rows, cols};
}

}  // namespace

fi fi::joined(const char* name, const fi& model, const std::vector<const fi*>& operands,
              tessel::Arrays leading) {
  if (const auto dims = sizeInOrder(name, operands)) {
    // The only way out of a function: what it returns is then made in its place.
    return [&] {
      fi pool = pooled(name, model, operands);
      pool.copyDimensions(dims->data(), static_cast<unsigned>(dims->size()));
      return pool;
    }();
  }
  double first = 0;
  for (const fi* operand : operands) {
    leading.push_back(positionMap(operand->dims_, first));
    first += operand->numel_;
  }
  const HostArray positions = tessel::callBuiltin(name, std::move(leading)).at(0);
  fi pool = pooled(name, model, operands);
  std::vector<unsigned> indices(positions.numel());
  std::transform(positions.real<double>(), positions.real<double>() + indices.size(), indices.begin(),
                 [](double position) { return static_cast<unsigned>(position - 1); });
  const Shape dims = shapeOf(positions);
  const bool inOrder = std::adjacent_find(indices.begin(), indices.end(), std::greater<>()) == indices.end();
  if (!inOrder) {
    fi result = pool.rearranged(dims, indices);
    result.assignmentQuantizer_ = std::move(pool.assignmentQuantizer_);
    return result;
  }
  pool.copyDimensions(dims.data(), static_cast<unsigned>(dims.size()));
  return pool;
}

// ----------------------------------------------------------------------------------------------------- complex

fi fi::complex() const {
  fi result = blank(dims_, true);
  copyElements(result, ElementVisit::from(0), ElementVisit::from(0), numel_);
  return result;
}

fi fi::complex(const fi& imaginary) const {
  if (iscomplex() || imaginary.iscomplex()) fail<kNotReal>();
  NumericType::errorIfComplexLogical(getNumericType().dataType(), true);
  errorIfNotAssignable(imaginary);
  const fi& shape = shapeOfResult(*this, imaginary);
  const auto visit = [](const fi& part) {
    return part.isscalar() ? ElementVisit::same(0) : ElementVisit::from(0);
  };
  fi result = unset(shape.dims_, true);
  copyElements(result, ElementVisit::from(0), visit(*this), shape.numel_);
  result.assignLogged("complex", [&] {
    result.storePart(result.imagPart_, ElementVisit::from(0), imaginary, imaginary.realPart_, visit(imaginary),
                     shape.numel_);
  });
  return result;
}

// ----------------------------------------------------------------------------------------------------- sorting

namespace {

/// Orders complex values by magnitude, then by angle from −π to π; exactly, by squares that lose no bit.
class ComplexOrder {
 public:
  explicit ComplexOrder(const fi& values)
      : re_(values.realPart(), Reading{}),
        im_(values.imagPart(), Reading{}),
        squares_(values.numel(), 2 * std::max(values.realPart().getprecision(), 26U) + 1, NumberVector{}),
        other_(squares_, CopyIndex{}) {
    number square(0.0, squares_.getprecision(), false);
    for (unsigned k = 0; k < values.numel(); ++k) {
      squares_[k] = re_[k];
      squares_ *= re_;
      square = im_[k];
      square *= im_;
      squares_ += square;
    }
  }

  bool comesBefore(unsigned a, unsigned b) const {
    if (squares_[a] != other_[b]) return squares_ < other_;
    const bool aIsBelow = im_[a].isnegative(), bIsBelow = im_[b].isnegative();
    if (aIsBelow != bIsBelow) return aIsBelow;
    // On one half of a circle the angle grows with the real part below the axis, and falls above it.
    const number left(re_[a]);
    return aIsBelow ? left < re_[b] : re_[b] < left;
  }

 private:
  number re_, im_;
  number squares_, other_;
};

/// For each place, the element that a sort of the sequences puts there. Fills `index` with positions from 1 in
/// each sequence.
std::vector<unsigned> orderOfComplex(const fi& x, bool ascending, unsigned stride, unsigned length,
                                     double* index) {
  if (x.getNumericType().isSlopeBias()) fail<message::complexSlopeBias>("sort");
  const ComplexOrder order(x);
  std::vector<unsigned> positions(x.numel()), sequence(length);
  forEachSequence(x.numel(), stride, length, [&](std::size_t start) {
    const auto at = [&](unsigned place) { return static_cast<unsigned>(start) + place * stride; };
    std::iota(sequence.begin(), sequence.end(), 0U);
    std::stable_sort(sequence.begin(), sequence.end(), [&](unsigned a, unsigned b) {
      return ascending ? order.comesBefore(at(a), at(b)) : order.comesBefore(at(b), at(a));
    });
    for (unsigned i = 0; i < length; ++i) {
      positions[at(i)] = at(sequence[i]);
      index[at(i)] = sequence[i] + 1.0;
    }
  });
  return positions;
}

}  // namespace

fi fi::stridesort(bool ascending, unsigned stride, unsigned length, HostArray* index) const {
  const std::size_t block = std::size_t{stride} * length;
  if (numel_ > 0 && (block == 0 || numel_ % block != 0)) fail<kBadStride>();
  HostArray places =
      HostArray::zeros(tessel::ArrayClass::Double, tessel::Dimensions(dims_.begin(), dims_.end()));
  fi result = unset(dims_, iscomplex());
  if (numel_ > 0 && iscomplex()) {
    result = rearranged(dims_, orderOfComplex(*this, ascending, stride, length, places.mutableReal<double>()));
  } else if (numel_ > 0) {
    copyElements(result, ElementVisit::from(0), ElementVisit::from(0), numel_);
    result.realPart_.stridesort2(places.mutableReal<double>(), ascending, stride, length);
  }
  if (index) *index = std::move(places);
  return result;
}

}  // namespace embedded
