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

/// `@name`: found again by its name at each call, unless it is local to its file.
class NamedFunctionValue final : public FunctionValue {
 public:
  /// `local` is the function of that name where only the file knows it in which the handle stands; else null.
  explicit NamedFunctionValue(std::string name, std::shared_ptr<const FunctionCode> local = nullptr)
      : name_{std::move(name), -1}, local_(std::move(local)) {}
  std::string text() const override { return '@' + name_.name.text(); }
  const NameReference& name() const { return name_; }
  const std::shared_ptr<const FunctionCode>& local() const { return local_; }

 private:
  NameReference name_;
  std::shared_ptr<const FunctionCode> local_;
};

/// `@(x) …` with the values that the variables of the surroundings had when it was made.
class AnonymousFunctionValue final : public FunctionValue {
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
