// Global and persistent variables.
#include <algorithm>

#include <fmt/format.h>
#include "tessel/language/interpreter.h"
#include "tessel/messages.h"

namespace tessel {

/// The variable that a declaration means. Raises "Tessel:persistentOutside".
std::shared_ptr<SharedVariable> Interpreter::sharedVariable(const Declaration& node,
                                                            const Declaration::Name& name) {
  const FunctionCode* code = frame_->code;
  if (!node.isGlobal && !code)
    raiseError("Tessel:persistentOutside", "Only functions have persistent variables.");
  std::shared_ptr<SharedVariable>& variable =
      node.isGlobal ? globals_[name.text] : code->persistents[name.slot];
  if (!variable) {
    variable = std::make_shared<SharedVariable>();
    if (!node.isGlobal) persistents_.push_back(variable);
  }
  return variable;
}

/// Raises "Tessel:declaredArgument" and "Tessel:declaredLate".
Interpreter::Flow Interpreter::executeNode(const Declaration& node) {
  Frame& frame = *frame_;
  const char* word = node.isGlobal ? "global" : "persistent";
  for (const Declaration::Name& name : node.names) {
    const auto isListed = [&](const std::vector<int>& slots) {
      return std::ranges::find(slots, name.slot) != slots.end();
    };
    if (frame.code && (isListed(frame.code->parameters) || isListed(frame.code->outputs))) {
      raiseError(
          "Tessel:declaredArgument",
          fmt::format("'{}' is an argument or a result of the function and cannot be {}.", name.text, word));
    }
    std::shared_ptr<SharedVariable> variable = sharedVariable(node, name);
    if (frame.slots[name.slot].isDefined()) {
      if (frame.shared && frame.shared->find(name.slot) == variable.get()) continue;
      raiseError("Tessel:declaredLate",
                 fmt::format("'{0}' has a value here: declare it {1} before, or clear it.", name.text, word));
    }
    if (!frame.shared) frame.shared = std::make_unique<SharedLinks>(frame.slots);
    frame.shared->remove(name.slot);
    frame.shared->add(name.slot, std::move(variable));
  }
  return Flow::Normal;
}

void Interpreter::clearVariable(const std::string& name) {
  const int slot = frame_->symbols().find(name);
  if (frame_->shared) frame_->shared->remove(slot);
  frame_->slots[slot].clear();
}

void Interpreter::clearVariables() {
  if (frame_->shared) frame_->shared->removeAll();
  frame_->slots.clear();
}

void Interpreter::clearGlobal(const std::string& name) {
  const auto found = globals_.find(name);
  if (found == globals_.end()) return;
  const std::shared_ptr<SharedVariable> variable = std::move(found->second);
  globals_.erase(found);
  variable->reset();
}

void Interpreter::clearGlobals() {
  while (!globals_.empty()) clearGlobal(std::string(globals_.begin()->first));
}

void Interpreter::clearPersistent(const FunctionCode& code) {
  for (const auto& [slot, variable] : code.persistents)
    if (!variable->isInUse()) variable->reset();
}

void Interpreter::clearPersistent() {
  std::erase_if(persistents_, [](const auto& each) {
    const std::shared_ptr<SharedVariable> variable = each.lock();
    if (variable && !variable->isInUse()) variable->reset();
    return !variable;
  });
}

}  // namespace tessel
