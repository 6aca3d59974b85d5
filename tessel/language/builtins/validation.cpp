// What a function demands of its arguments.
#include <algorithm>
#include <cctype>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/messages.h"

namespace tessel {
namespace {

using Exact = long double;  ///< holds integers of 64 bits as well

/// An argument as attributes see it: an object by its methods "size" and "double".
struct Subject {
  explicit Subject(const HostArray& array) : dims(realParts(callFunction("size", {array}).at(0))) {
    HostArray numbers = array;
    if (numbers.isObject()) numbers = callFunction("double", {numbers}).at(0);
    isReal = !numbers.isComplex();
    isNumeric = numbers.isNumeric() || numbers.isLogical() || numbers.isChar();
    values.resize(isNumeric ? numbers.numel() : 0);
    imaginary.resize(isReal ? 0 : numbers.numel());
    if (isNumeric) loadLine(numbers, 0, 1, values);
    if (!isReal) loadElements(numbers, true, 0, 1, imaginary.size(), imaginary.data());
  }
  double count() const {
    double product = 1;
    for (const double size : dims) product *= size;
    return product;
  }
  /// Of real and imaginary parts; objects and arrays without numbers have none.
  template <class Holds>
  bool all(const Holds& holds) const {
    return isNumeric && std::ranges::all_of(values, holds) && std::ranges::all_of(imaginary, holds);
  }
  template <class Holds>
  bool allReal(const Holds& holds) const {
    return isReal && all(holds);
  }
  /// Of neighbours.
  template <class Holds>
  bool ascends(const Holds& holds) const {
    const auto breaks = [&](Exact x, Exact y) { return !holds(x, y); };
    return isReal && isNumeric && std::ranges::adjacent_find(values, breaks) == values.end();
  }

  std::vector<double> dims;
  std::vector<Exact> values, imaginary;
  bool isReal, isNumeric;
};

struct Attribute {
  const char* name;
  const char* text;
  bool (*holds)(const Subject&);
};

bool isWhole(Exact x) { return x == std::floor(x) && std::isfinite(x); }
bool isVectorShape(const Subject& s) { return s.dims.size() == 2 && (s.dims[0] == 1 || s.dims[1] == 1); }

constexpr Attribute kAttributes[] = {
    {"2d", "two-dimensional", [](const Subject& s) { return s.dims.size() == 2; }},
    {"3d", "of three dimensions at most", [](const Subject& s) { return s.dims.size() <= 3; }},
    {"column", "a column", [](const Subject& s) { return s.dims.size() == 2 && s.dims[1] == 1; }},
    {"row", "a row", [](const Subject& s) { return s.dims.size() == 2 && s.dims[0] == 1; }},
    {"scalar", "a scalar", [](const Subject& s) { return s.count() == 1; }},
    {"vector", "a row or a column", isVectorShape},
    {"square", "a square matrix",
     [](const Subject& s) { return s.dims.size() == 2 && s.dims[0] == s.dims[1]; }},
    {"nonempty", "an array with elements", [](const Subject& s) { return s.count() > 0; }},
    {"nonsparse", "a full array", [](const Subject&) { return true; }},
    {"real", "real", [](const Subject& s) { return s.isReal; }},
    {"finite", "finite", [](const Subject& s) { return s.all([](Exact x) { return std::isfinite(x); }); }},
    {"nonnan", "free of NaN", [](const Subject& s) { return s.all([](Exact x) { return x == x; }); }},
    {"integer", "whole", [](const Subject& s) { return s.allReal(isWhole); }},
    {"even", "even", [](const Subject& s) { return s.allReal([](Exact x) { return std::fmod(x, 2) == 0; }); }},
    {"odd", "odd",
     [](const Subject& s) { return s.allReal([](Exact x) { return std::abs(std::fmod(x, 2)) == 1; }); }},
    {"binary", "0 or 1", [](const Subject& s) { return s.allReal([](Exact x) { return x == 0 || x == 1; }); }},
    {"positive", "positive", [](const Subject& s) { return s.allReal([](Exact x) { return x > 0; }); }},
    {"nonnegative", "zero or positive",
     [](const Subject& s) { return s.allReal([](Exact x) { return x >= 0; }); }},
    {"nonzero", "different from zero",
     [](const Subject& s) {
       if (s.isReal) return s.all([](Exact x) { return x != 0; });
       for (std::size_t k = 0; k < s.values.size(); ++k)
         if (s.values[k] == 0 && s.imaginary[k] == 0) return false;
       return true;
     }},
    {"increasing", "increasing",
     [](const Subject& s) { return s.ascends([](Exact x, Exact y) { return x < y; }); }},
    {"nondecreasing", "increasing or constant",
     [](const Subject& s) { return s.ascends([](Exact x, Exact y) { return x <= y; }); }},
    {"decreasing", "decreasing",
     [](const Subject& s) { return s.ascends([](Exact x, Exact y) { return x > y; }); }},
    {"nonincreasing", "decreasing or constant",
     [](const Subject& s) { return s.ascends([](Exact x, Exact y) { return x >= y; }); }},
};

/// One with a number, or the sizes, behind it.
struct Limit {
  const char* name;
  const char* word;  ///< of the identifier
  const char* text;
  bool (*holds)(const Subject&, double limit);
};

constexpr Limit kLimits[] = {
    {">", "Greater", "greater than",
     [](const Subject& s, double k) { return s.allReal([k](Exact x) { return x > k; }); }},
    {">=", "GreaterEqual", "at least",
     [](const Subject& s, double k) { return s.allReal([k](Exact x) { return x >= k; }); }},
    {"<", "Less", "less than",
     [](const Subject& s, double k) { return s.allReal([k](Exact x) { return x < k; }); }},
    {"<=", "LessEqual", "at most",
     [](const Subject& s, double k) { return s.allReal([k](Exact x) { return x <= k; }); }},
    {"numel", "Numel",
     "an array with this number of elements:", [](const Subject& s, double k) { return s.count() == k; }},
    {"nrows", "Nrows",
     "an array with this number of rows:", [](const Subject& s, double k) { return s.dims[0] == k; }},
    {"ncols", "Ncols",
     "an array with this number of columns:", [](const Subject& s, double k) { return s.dims[1] == k; }},
    {"ndims", "Ndims", "an array with this number of dimensions:",
     [](const Subject& s, double k) { return static_cast<double>(s.dims.size()) == k; }},
};

/// How the argument is called: "Expected input number 2, order," for a function "design".
std::string subjectText(const Arrays& in) {
  Arrays names(in.begin() + std::min<std::ptrdiff_t>(3, static_cast<std::ptrdiff_t>(in.size())), in.end());
  std::string text = "Expected input";
  if (!names.empty() && names.back().isNumeric()) {
    text += fmt::format(" number {}", countArgument("validateattributes", names.back()));
    names.pop_back();
  }
  if (names.size() > 1) text += fmt::format(", {},", textArgument("validateattributes", names[1]));
  const std::string function = names.empty() ? "" : textArgument("validateattributes", names[0]);
  return function.empty() ? text : function + ": " + text;
}

[[noreturn]] void refuse(const Arrays& in, std::string word, const std::string& text) {
  word[0] = static_cast<char>(std::toupper(word[0]));
  raiseError("Tessel:expected" + word, fmt::format("{} to be {}.", subjectText(in), text));
}

void requireClassAmong(const Arrays& in) {
  const std::vector<std::string> classes = textsArgument("validateattributes", in[1]);
  const auto isOne = [&](const std::string& name) {
    if (name == "numeric") return callFunction("isnumeric", {in[0]}).at(0).scalarValue() != 0;
    const std::string own = in[0].className();
    return own.ends_with("." + name) ||
           callFunction("isa", {in[0], HostArray::text(name)})[0].scalarValue() != 0;
  };
  if (in[1].isEmpty() || std::ranges::any_of(classes, isOne)) return;
  raiseError("Tessel:invalidType", fmt::format("{} to be of class {}; it is of class {}.", subjectText(in),
                                               fmt::join(classes, " or "), in[0].className()));
}

/// NaN among the sizes stands for any.
void requireSize(const Arrays& in, const Subject& subject, const HostArray& sizes) {
  requireReal("validateattributes", sizes);
  const std::vector<double> wanted = realParts(sizes);
  const auto fits = [](double size, double want) { return want != want || size == want; };
  if (std::ranges::equal(subject.dims, wanted, fits)) return;
  std::string text;
  for (const double size : wanted)
    text += (text.empty() ? "" : "x") + (size != size ? std::string("any") : fmt::format("{}", size));
  refuse(in, "Size", fmt::format("of the size {}; it is {}", text, fmt::join(subject.dims, "x")));
}

Arrays validateAttributes(Arrays& in, int) {
  requireClassAmong(in);
  if (!in[2].isCell()) raiseInvalidArgument("validateattributes", "the attributes are a cell.");
  const Subject subject(in[0]);
  const HostArray& attributes = in[2];
  for (std::size_t k = 0; k < attributes.numel(); ++k) {
    const std::string name = textArgument("validateattributes", attributes.cellAt(k));
    const auto isNamed = [&](const auto& row) { return name == row.name; };
    if (const auto* row = std::ranges::find_if(kAttributes, isNamed); row != std::end(kAttributes)) {
      if (!row->holds(subject)) refuse(in, row->name, row->text);
      continue;
    }
    const auto* limit = std::ranges::find_if(kLimits, isNamed);
    if (limit == std::end(kLimits) && name != "size")
      raiseInvalidArgument("validateattributes", fmt::format("there is no attribute '{}'.", name));
    if (++k == attributes.numel())
      raiseInvalidArgument("validateattributes", fmt::format("the attribute '{}' needs a value.", name));
    if (name == "size") {
      requireSize(in, subject, attributes.cellAt(k));
      continue;
    }
    const double value = numberArgument("validateattributes", attributes.cellAt(k));
    if (!limit->holds(subject, value)) refuse(in, limit->word, fmt::format("{} {}", limit->text, value));
  }
  return {};
}

}  // namespace

void registerValidationBuiltins() {
  registerAll({
      {"validateattributes", validateAttributes, 3, 6, 0,
       "validateattributes(a, classes, attributes), validateattributes(..., function, name, number): raises an "
       "error\n"
       "where a has none of the classes (a cell of texts, with 'numeric' and 'float'; empty: any) or lacks an "
       "attribute.\n"
       "Attributes: 2d 3d column row scalar vector square nonempty nonsparse real finite nonnan integer even "
       "odd binary positive\n"
       "nonnegative nonzero increasing nondecreasing decreasing nonincreasing; with a value behind it > >= < "
       "<= numel nrows ncols\n"
       "ndims and size, where NaN stands for any. The error is \"Tessel:expectedPositive\" and so on, "
       "\"Tessel:invalidType\" for a class.\n"
       "Objects count by their sizes and by what double(a) gives."},
  });
}

}  // namespace tessel
