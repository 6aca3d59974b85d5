/// The tree of a program: plain structures, one variant a family of nodes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "tessel/language/operators.h"
#include "tessel/language/value.h"
#include "tessel/runtime/arraydata.h"
#include "tessel/runtime/dispatch.h"

namespace tessel {

/// The variables of a function or a workspace by name. Slots stay as they are when names are added.
class SymbolTable {
 public:
  /// The slot of `name`, a new one when it has none.
  int slotOf(const std::string& name) {
    const auto [entry, isNew] = slots_.try_emplace(name, static_cast<int>(names_.size()));
    if (isNew) names_.push_back(name);
    return entry->second;
  }
  /// The slot of `name`, or −1.
  int find(const std::string& name) const {
    const auto entry = slots_.find(name);
    return entry == slots_.end() ? -1 : entry->second;
  }
  const std::vector<std::string>& names() const { return names_; }

 private:
  std::unordered_map<std::string, int> slots_;
  std::vector<std::string> names_;
};

struct Expression;
using ExpressionPtr = std::unique_ptr<Expression>;
using Expressions = std::vector<ExpressionPtr>;
struct FunctionCode;
class SharedVariable;

struct Constant {
  Value value;
};
/// A name that stands for a variable or is called.
struct NameReference {
  MemberName name;
  int slot;  ///< −1: no variable
  /// The function of the script that it named last, or null, and the state of the functions then.
  mutable const FunctionCode* function = nullptr;
  mutable std::uint64_t functionsVersion = 0;
};
/// A colon that stands alone as a subscript.
struct AllElements {};
/// `end` as a subscript.
struct LastElement {};
/// One operand; transposes too.
struct UnaryOperation {
  const OperatorInfo* info;
  ExpressionPtr operand;
  MemberName method{info->function};
};
struct BinaryOperation {
  const OperatorInfo* info;
  ExpressionPtr left;
  ExpressionPtr right;
  MemberName method{info->function};
};
struct RangeExpression {
  ExpressionPtr start;
  ExpressionPtr step;  ///< null: 1
  ExpressionPtr stop;
};
struct MatrixLiteral {
  std::vector<Expressions> rows;
  bool isCell;
};
struct IndexStep {
  enum class Kind { Paren, Brace, Field, DynamicField };
  Kind kind;
  Expressions arguments;  ///< of a dynamic field: the one that gives its name
  MemberName field;
  bool usesEnd = false;
  /// One argument of parentheses that is evaluated to one value without knowing the array.
  bool hasPlainArgument = false;
  /// Some argument may give none or several values.
  bool mayHaveLists = false;
  mutable FieldPlace place = {};  ///< of `field`
};
/// A name that is indexed or called.
struct IndexExpression {
  NameReference base;
  std::vector<IndexStep> steps;  ///< at least one
};
/// A literal or an expression in parentheses that is indexed.
struct PartExpression {
  ExpressionPtr base;
  std::vector<IndexStep> steps;  ///< at least one
};
struct NamedHandle {
  std::string name;
};
struct AnonymousFunction {
  struct Capture {
    int outerSlot;
    int innerSlot;
  };
  std::shared_ptr<const FunctionCode> code;
  std::vector<Capture> captures;
};

struct Expression {
  std::variant<Constant, NameReference, AllElements, LastElement, UnaryOperation, BinaryOperation,
               RangeExpression, MatrixLiteral, IndexExpression, PartExpression, NamedHandle, AnonymousFunction>
      node;
  /// Levels of the tree below and including this one.
  int height = 1;
};

/// Whether an expression may give none or several values: one that ends with braces or a field.
inline bool mayBeList(const Expression& expression) {
  const auto* index = std::get_if<IndexExpression>(&expression.node);
  const auto* part = std::get_if<PartExpression>(&expression.node);
  const std::vector<IndexStep>* steps = index ? &index->steps : part ? &part->steps : nullptr;
  return steps && steps->back().kind != IndexStep::Kind::Paren;
}

struct Statement;
using Block = std::vector<Statement>;

struct ExpressionStatement {
  ExpressionPtr expression;
  bool isSilent;
};
struct AssignmentTarget {
  std::string name;  ///< empty: the value is dropped (`~`)
  int slot = -1;
  std::vector<IndexStep> steps;
};
struct Assignment {
  std::vector<AssignmentTarget> targets;
  ExpressionPtr value;
  bool isSilent;
  bool isOne = false;  ///< One target, which is not dropped.
  /// The slot of that one where it is a variable as a whole; else −1.
  int wholeSlot = -1;
};
/// `x += 1`: what stands there already and the value give what is assigned.
struct CompoundAssignment {
  AssignmentTarget target;
  const OperatorInfo* info;
  ExpressionPtr value;
  bool isSilent;
  MemberName method{info->function};
};
/// `[c{1:2}, x, s.f] = f()`: targets that may take several values each.
struct ListAssignment {
  std::vector<AssignmentTarget> targets;
  ExpressionPtr value;
  bool isSilent;
};
struct Branch {
  ExpressionPtr condition;
  Block body;
};
struct IfStatement {
  std::vector<Branch> branches;
  Block otherwise;
};
struct WhileStatement {
  ExpressionPtr condition;
  Block body;
};
struct ForStatement {
  int slot;
  ExpressionPtr range;
  Block body;
};
struct SwitchStatement {
  ExpressionPtr subject;
  std::vector<Branch> cases;
  Block otherwise;
};
struct TryStatement {
  Block body;
  int errorSlot;  ///< −1: none
  Block handler;
};
struct BreakStatement {};
struct ContinueStatement {};
struct ReturnStatement {};
/// `global a b`, `persistent a b`.
struct Declaration {
  struct Name {
    std::string text;
    int slot;
  };
  bool isGlobal;
  std::vector<Name> names;
};
/// `a /b`, which divides where `a` is a variable, and else calls a function with the text `/b`.
struct CommandOrExpression {
  int slot;
  ExpressionStatement command;
  ExpressionStatement expression;  ///< null where the words are no expression
  std::string fault;               ///< then, what is wrong with them as one
  int faultColumn;                 ///< and where; 0 in another line, and in a text being evaluated
};

struct Statement {
  std::variant<ExpressionStatement, Assignment, IfStatement, WhileStatement, ForStatement, SwitchStatement,
               TryStatement, BreakStatement, ContinueStatement, ReturnStatement, CompoundAssignment,
               Declaration, ListAssignment, CommandOrExpression>
      node;
  int line = 0;
  int lastLine = 0;
};

/// Where statements stand, and their variables: a function, or the workspace, whose name is that of its file.
struct ProgramPart {
  std::string name;
  std::string file;
  /// Grows when `eval` names a new variable.
  std::shared_ptr<SymbolTable> symbols = std::make_shared<SymbolTable>();
};

/// The code of a named or anonymous function.
struct FunctionCode : ProgramPart {
  int line = 0;
  std::vector<int> parameters;  ///< slots; −1: the argument is dropped (`~`)
  bool hasVarargin = false;     ///< the last parameter takes all further arguments as a cell
  std::vector<int> outputs;
  bool hasVarargout = false;  ///< the last output spreads into all further results
  Block body;
  ExpressionPtr expression;  ///< of an anonymous function, which has no body
  std::string text;          ///< of an anonymous function, as it was written
  /// By slot; made by their declarations.
  mutable std::unordered_map<int, std::shared_ptr<SharedVariable>> persistents;

  /// Parameters, and outputs, that are one variable each.
  std::size_t fixedParameters() const { return parameters.size() - (hasVarargin ? 1 : 0); }
  std::size_t fixedOutputs() const { return outputs.size() - (hasVarargout ? 1 : 0); }
};

}  // namespace tessel
