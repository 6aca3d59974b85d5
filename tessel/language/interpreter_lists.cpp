// Assignments to targets that take several values each.
#include <algorithm>

#include <fmt/format.h>
#include "tessel/language/interpreter.h"
#include "tessel/language/interpreter_scopes.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/indexing.h"
#include "tessel/runtime/positions.h"

namespace tessel {
namespace {

using Kind = IndexLevel::Kind;

/// Subscripts of the single elements that a level selects in `array`, one list an element.
std::vector<Arrays> elementSubscripts(const IndexLevel& level, const HostArray& array) {
  const std::size_t count = level.subscripts.size();
  const Dimensions extents = folded(array.dims(), count);
  std::vector<Arrays> elements(1);
  for (std::size_t d = count; d-- > 0;) {
    const Positions positions = readSubscript(level.subscripts[d], extents[d]);
    std::vector<Arrays> longer;
    requireMemory(elementCount({elements.size(), positions.count}), 2 * (sizeof(Arrays) + sizeof(IndexPath)));
    longer.reserve(elements.size() * positions.count);
    for (const Arrays& rest : elements) {
      for (std::size_t k = 0; k < positions.count; ++k) {
        Arrays subscripts{HostArray::scalar(static_cast<double>(positions[k] + 1))};
        subscripts.insert(subscripts.end(), rest.begin(), rest.end());
        longer.push_back(std::move(subscripts));
      }
    }
    elements = std::move(longer);
  }
  return elements;
}

}  // namespace

/// The single places that a target names: contents of cells, or a field of several structures. Subscripts are
/// evaluated here, and so before the values.
std::vector<IndexPath> Interpreter::listedPaths(const AssignmentTarget& target) {
  const Value& variable = frame_->slots[target.slot];
  HostArray base = variable.isDefined() ? variable.toArray() : HostArray();
  const IndexPath path = resolvePath(base, target.steps, PathUse::Assign);
  // The level that may select several elements, and whether it has to be written first: s.f is s(:).f.
  std::size_t level = path.size() - 1;
  const bool isField = path[level].kind == Kind::Field;
  if (isField && level > 0 && path[level - 1].kind == Kind::Paren) --level;
  const IndexPath before(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(level));
  const HostArray array = before.empty() ? base : partAt(base, before, PathUse::Assign);
  const bool isWhole = isField && path[level].kind == Kind::Field;
  const bool isOne = path[level].kind == Kind::Paren && !isField;
  if (isOne || (!isWhole && path[level].subscripts.empty())) return {path};
  if (isWhole && (!array.isStruct() || array.isScalar())) return {path};
  const IndexLevel all{Kind::Paren, {HostArray::text(":")}, {}};
  std::vector<IndexPath> paths;
  for (Arrays& subscripts : elementSubscripts(isWhole ? all : path[level], array)) {
    IndexPath& single = paths.emplace_back(before);
    single.push_back({isWhole ? Kind::Paren : path[level].kind, std::move(subscripts), {}});
    single.insert(single.end(), path.begin() + static_cast<std::ptrdiff_t>(isWhole ? level : level + 1),
                  path.end());
  }
  return paths;
}

Interpreter::Flow Interpreter::executeNode(const ListAssignment& node) {
  std::vector<std::vector<IndexPath>> paths;
  std::size_t count = 0;
  for (const AssignmentTarget& target : node.targets) {
    paths.push_back(target.steps.empty() ? std::vector<IndexPath>(1) : listedPaths(target));
    count += paths.back().size();
  }
  Arrays values;
  evaluateAll(*node.value, static_cast<int>(count), values);
  if (values.size() < count) {
    raiseError("Tessel:notEnoughOutputs",
               fmt::format("{} values are assigned, but the right side gives {}.", count, values.size()));
  }
  Values given = valuesFrom(std::move(values));
  auto value = given.begin();
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const AssignmentTarget& target = node.targets[i];
    for (const IndexPath& path : paths[i]) {
      if (!path.empty())
        assignAt(target.slot, path, std::move(*value));
      else if (!target.name.empty())
        frame_->slots[target.slot] = std::move(*value);
      ++value;
    }
    const bool isShown = !node.isSilent && !target.name.empty() && frame_->slots[target.slot].isDefined();
    if (isShown) display(frame_->slots[target.slot].toArray(), target.name);
  }
  return Flow::Normal;
}

}  // namespace tessel
