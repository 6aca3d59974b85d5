#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include <fmt/format.h>
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/interpreter.h"
#include "tessel/runtime/concatenate.h"
#include "tessel/runtime/indexpath.h"

namespace tessel {
namespace {

/// One call of `cellfun`, `arrayfun` or `structfun`.
struct Mapping {
  std::string name;
  bool isOverCells = false;  ///< the elements are what cells hold
  HostArray function;
  Arrays operands;  ///< at least one, all of one size
  Dimensions dims;
  bool isUniform = true;
  std::optional<HostArray> errorHandler;
};

Dimensions sizesOf(const HostArray& operand) {
  const HostArray size = callFunction("size", {operand}).at(0);
  Dimensions dims;
  for (std::size_t d = 0; d < size.numel(); ++d) dims.push_back(static_cast<std::size_t>(size.realAt(d)));
  return dims;
}

bool equalsIgnoringCase(const HostArray& array, std::string_view text) {
  if (!array.isText() || array.numel() != text.size()) return false;
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::equal(text.begin(), text.end(), array.real<char>(),
                    [&](char a, char b) { return lower(a) == lower(b); });
}

Mapping readMapping(Interpreter& interpreter, std::string name, Arrays inputs) {
  Mapping mapping;
  mapping.name = std::move(name);
  mapping.isOverCells = mapping.name != "arrayfun";
  while (inputs.size() >= 4) {
    HostArray& value = inputs.back();
    const HostArray& option = inputs[inputs.size() - 2];
    if (equalsIgnoringCase(option, "UniformOutput"))
      mapping.isUniform = interpreter.isTrue(Value(std::move(value)));
    else if (equalsIgnoringCase(option, "ErrorHandler"))
      mapping.errorHandler = std::move(value);
    else
      break;
    inputs.resize(inputs.size() - 2);
  }
  mapping.function = inputs[0];
  mapping.operands.assign(std::next(inputs.begin()), inputs.end());
  mapping.dims = sizesOf(mapping.operands[0]);
  for (const HostArray& operand : mapping.operands) {
    if (mapping.isOverCells && !operand.isCell())
      raiseInvalidArgument(mapping.name, "the operands must be cells.");
    if (sizesOf(operand) != mapping.dims) {
      raiseError("Tessel:dimagree", fmt::format("The operands of {} must have one size.", mapping.name));
    }
  }
  return mapping;
}

Arrays elementsAt(const Mapping& mapping, std::size_t position) {
  Arrays elements;
  for (const HostArray& operand : mapping.operands) {
    if (mapping.isOverCells) {
      elements.push_back(operand.cellAt(position));
    } else {
      const IndexPath path{
          {IndexLevel::Kind::Paren, {HostArray::scalar(static_cast<double>(position + 1))}, {}}};
      elements.push_back(reference(operand, path).at(0));
    }
  }
  return elements;
}

Arrays mapOne(Interpreter& interpreter, const Mapping& mapping, std::size_t position, int outputCount) {
  Arrays elements = elementsAt(mapping, position);
  if (!mapping.errorHandler) return interpreter.call(mapping.function, std::move(elements), outputCount);
  Arrays results;
  const auto error =
      interpreter.attempt([&] { results = interpreter.call(mapping.function, Arrays(elements), outputCount); });
  if (!error) return results;
  HostArray description = Interpreter::errorValue(*error);
  description.mutableFieldAt("index") = HostArray::scalar(static_cast<double>(position + 1));
  elements.insert(elements.begin(), std::move(description));
  return interpreter.call(*mapping.errorHandler, std::move(elements), outputCount);
}

HostArray cellOf(Arrays values, const Dimensions& dims) {
  HostArray cell = HostArray::cell(dims);
  for (std::size_t k = 0; k < values.size(); ++k) cell.mutableCellAt(k) = std::move(values[k]);
  return cell;
}

HostArray arrayOf(const std::string& name, const Arrays& values, const Dimensions& dims) {
  if (values.empty()) return HostArray::zeros(ArrayClass::Double, dims);
  for (const HostArray& value : values) {
    if (!value.isScalar() || value.arrayClass() > ArrayClass::Char) {
      raiseError(
          "Tessel:notUniform",
          fmt::format("{} collects scalars of built-in classes; use 'UniformOutput', false for others.", name));
    }
    if (value.arrayClass() != values[0].arrayClass()) {
      raiseError("Tessel:notUniform", fmt::format("{} collects values of one class, but met '{}' and '{}'.",
                                                  name, values[0].className(), value.className()));
    }
  }
  HostArray array = concatenate(1, values);
  array.reshape(dims);
  return array;
}

Arrays map(Interpreter& interpreter, const std::string& name, Arrays& inputs, int outputCount) {
  const Mapping mapping = readMapping(interpreter, name, inputs);
  std::size_t count = 1;
  for (const std::size_t d : mapping.dims) count *= d;
  std::vector<Arrays> columns(std::max(outputCount, 1));
  for (std::size_t k = 0; k < count; ++k) {
    Arrays results = mapOne(interpreter, mapping, k, outputCount);
    if (results.empty() && outputCount == 0) continue;
    if (results.size() < columns.size()) {
      raiseError("Tessel:notEnoughOutputs",
                 fmt::format("The function called by {} gives too few values.", name));
    }
    for (std::size_t i = 0; i < columns.size(); ++i) columns[i].push_back(std::move(results[i]));
  }
  if (columns[0].size() < count) return {};
  Arrays outputs;
  for (Arrays& column : columns) {
    outputs.push_back(mapping.isUniform ? arrayOf(name, column, mapping.dims)
                                        : cellOf(std::move(column), mapping.dims));
  }
  return outputs;
}

/// structfun(f, s, …): as cellfun with the fields; results that are not uniform come as fields of these names.
Arrays mapFields(Interpreter& interpreter, Arrays& inputs, int outputCount) {
  const HostArray structure = inputs[1];
  if (!structure.isStruct() || !structure.isScalar())
    raiseInvalidArgument("structfun", "the second argument must be one structure.");
  const std::vector<std::string>& names = structure.fieldNames();
  inputs[1] = HostArray::cell({names.size(), 1});
  for (std::size_t k = 0; k < names.size(); ++k) inputs[1].mutableCellAt(k) = structure.fieldAt(names[k]);
  const bool isUniform = readMapping(interpreter, "structfun", inputs).isUniform;
  Arrays results = map(interpreter, "structfun", inputs, outputCount);
  if (isUniform) return results;
  for (HostArray& result : results) {
    const HostArray values = std::exchange(result, HostArray::structure({1, 1}, names));
    for (std::size_t k = 0; k < names.size(); ++k) result.mutableFieldAt(names[k]) = values.cellAt(k);
  }
  return results;
}

}  // namespace

void registerMappingBuiltins(Interpreter& interpreter) {
  Interpreter* i = &interpreter;
  registerAll({
      {"cellfun", [i](Arrays& inputs, int n) { return map(*i, "cellfun", inputs, n); }, 2, -1, -1,
       "[a, ...] = cellfun(f, c, ...): calls f with the contents of cells, one after the other.\n"
       "With 'UniformOutput', false the results come as cells. 'ErrorHandler', g: g(err, ...) is called where "
       "f fails."},
      {"arrayfun", [i](Arrays& inputs, int n) { return map(*i, "arrayfun", inputs, n); }, 2, -1, -1,
       "[a, ...] = arrayfun(f, x, ...): calls f with the elements of arrays, one after the other.\n"
       "Options as in cellfun."},
      {"structfun", [i](Arrays& inputs, int n) { return mapFields(*i, inputs, n); }, 2, -1, -1,
       "[a, ...] = structfun(f, s): calls f with the fields of a structure, one after the other; a column of "
       "results.\n"
       "With 'UniformOutput', false the results are fields of the same names. 'ErrorHandler' as in cellfun."},
  });
}

}  // namespace tessel
