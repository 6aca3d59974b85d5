/// What a function handle holds.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tessel/array.h"
#include "tessel/language/ast.h"
#include "tessel/language/value.h"

namespace tessel {

/// `@name`: found again by its name at each call.
class NamedFunctionValue : public FunctionValue {
 public:
  explicit NamedFunctionValue(std::string name) : name_(std::move(name)) {}
  std::string text() const override { return '@' + name_; }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

/// `@(x) …` with the values that the variables of the surroundings had when it was made.
class AnonymousFunctionValue : public FunctionValue {
 public:
  struct Capture {
    int slot;
    Value value;
  };
  AnonymousFunctionValue(std::shared_ptr<const FunctionCode> code, std::vector<Capture> captures)
      : code_(std::move(code)), captures_(std::move(captures)) {}
  std::string text() const override { return code_->text; }
  const std::shared_ptr<const FunctionCode>& code() const { return code_; }
  const std::vector<Capture>& captures() const { return captures_; }

 private:
  std::shared_ptr<const FunctionCode> code_;
  std::vector<Capture> captures_;
};

}  // namespace tessel
