/// The evaluator: walks the tree of a program.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tessel/array.h"
#include "tessel/language/ast.h"
#include "tessel/language/function_files.h"
#include "tessel/language/function_values.h"
#include "tessel/language/parser.h"
#include "tessel/language/shared_variables.h"
#include "tessel/language/subscripts.h"
#include "tessel/language/value.h"
#include "tessel/messages.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/indexpath.h"

namespace tessel {

class OpenFiles;

/// The variables of one call of a function, or the workspace.
struct Frame {
  [[gnu::always_inline]] Frame(const ProgramPart& place, const FunctionCode* function,
                               std::vector<Value>& memory)
      : part(&place), code(function), slots(memory, place.symbols->names().size()) {}
  [[gnu::always_inline]] ~Frame() = default;
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  const std::string& name() const { return part->name; }
  const std::string& file() const { return part->file; }
  SymbolTable& symbols() const { return *part->symbols; }

  const ProgramPart* part;   ///< of the statement being executed
  const FunctionCode* code;  ///< null: the workspace
  Slots slots;
  std::unique_ptr<SharedLinks> shared = {};  ///< null where none is declared
  int line = 0;                              ///< of the statement being executed
  int inputCount = 0;
  int outputCount = 0;
  Frame* caller = nullptr;
};

/// One level of the call stack.
struct StackEntry {
  std::string file;
  std::string name;
  int line;
  int column = 0;  ///< 0 as long as it is not known
  static constexpr int kNoColumn = -1;
};

/// An error as `catch err` sees it.
struct ErrorRecord {
  std::string identifier;
  std::string text;
  std::vector<StackEntry> stack;  ///< innermost first
};

/// Leaves the program: thrown by the functions `exit` and `quit`, caught by whoever started the interpreter.
struct ExitRequest {
  int status;
};

/// Runs programs in a workspace. One at a time is attached to the runtime; its functions must not run in two
/// threads.
///
/// Names are looked up as variables, functions of the script, methods of the arguments, registered functions,
/// packages. Errors are HostError, also those of C++ itself ("Tessel:outOfMemory", "Tessel:internalError").
class Interpreter {
 public:
  /// Registers the built-in functions and attaches itself to the runtime.
  Interpreter();
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  /// Parses a program for the workspace and makes its functions known. Raises SyntaxError.
  Program load(std::string_view source, const std::string& file);
  /// Executes statements of `program`, which `load` returned, in the workspace. When an error is raised
  /// `lastError` knows it.
  void run(const Program& program);
  void run(const Statement& statement);
  /// From here on so many statements, passes of loops and calls may be executed; what goes on after them is
  /// interrupted, as by the user. For programs of which nobody knows whether they end.
  void limitSteps(std::uint64_t count) { stepsLeft_ = count; }
  const ErrorRecord& lastError() const { return lastError_; }
  void setLastError(ErrorRecord error) { lastError_ = std::move(error); }

  // What the built-in functions of the language need.

  /// The innermost function being executed.
  Frame& frame() { return *frame_; }
  /// The value of a variable there, or null.
  const Value* findVariable(const std::string& name) const;
  void setVariable(const std::string& name, HostArray value) {
    assignVariable({name, frame_->symbols().slotOf(name), {}}, Value(std::move(value)), true);
  }
  /// Forgets a variable of the innermost function, which it has, or all of them; global ones keep their values
  /// elsewhere.
  void clearVariable(const std::string& name);
  void clearVariables();
  /// Forgets global variables everywhere: one, where there is one of that name, or all.
  void clearGlobal(const std::string& name);
  void clearGlobals();
  /// The persistent variables of functions that are not running start anew: of one function, or of all.
  static void clearPersistent(const FunctionCode& code);
  void clearPersistent();
  /// A function of the file being executed, of the program, or of a file.
  const FunctionCode* findScriptFunction(const std::string& name) const;
  const FunctionCode* findScriptFunction(const NameReference& name) const {
    if (name.functionsVersion != functionsVersion_) {
      name.function = findScriptFunction(name.name.text());
      name.functionsVersion = functionsVersion_;
    }
    return name.function;
  }
  std::vector<std::string> scriptFunctionNames() const;
  /// Calls `function`: a function value, or a text that names one.
  Arrays call(const HostArray& function, Arrays&& inputs, int outputCount);
  Arrays call(const std::string& name, Arrays&& inputs, int outputCount);
  /// Executes a text in the innermost function; with results wanted, it must be an expression.
  Arrays evaluateText(const std::string& text, int outputCount);
  /// Executes the program in a file in the innermost function. Raises "Tessel:syntaxError" and what the program
  /// raises.
  void runFile(const std::string& file);
  /// Functions in files. Whoever changes the folders that are searched tells it by `functionsChanged`.
  FunctionFiles& files() const { return files_; }
  void functionsChanged() { ++functionsVersion_; }
  /// Performs `action`. The error that it raises becomes the last one and is returned; interruption and
  /// ExitRequest pass on.
  std::optional<ErrorRecord> attempt(const std::function<void()>& action);
  /// Raises `error` again, at the place where it arose first.
  [[noreturn]] void raiseAgain(ErrorRecord error);
  /// Files that programs have opened; those that still are when the interpreter ends are closed.
  OpenFiles& openFiles() { return *openFiles_; }
  std::vector<StackEntry> callStack() const;
  /// A line of a program that was loaded last under the name `file`, from 1; nothing where there is none.
  std::optional<std::string_view> sourceLine(const std::string& file, int line) const;
  /// Is a value true as a condition: not empty and without a zero? Raises "Tessel:nologicalnan" and
  /// "Tessel:conditionNotLogical".
  bool isTrue(const Value& condition) {
    const double* number = condition.scalar();
    return number && *number == *number ? *number != 0 : isTrueArray(condition.toArray());
  }
  /// The structure that `catch err` assigns: identifier, message, stack.
  static HostArray errorValue(const ErrorRecord& error);
  /// Prints a value as a statement without semicolon does.
  void display(const HostArray& value, const std::string& name);

 private:
  enum class Flow { Normal, Break, Continue, Return };
  /// The array that `end` belongs to.
  struct EndContext {
    const HostArray& array;
    std::size_t position;  ///< of the subscript, from 0
    std::size_t count;
  };
  class CallDepth;
  struct DeepestMemory;
  class CallFrame;
  class BorrowedVariable;
  using Steps = std::vector<IndexStep>;
  using StepRange = std::span<const IndexStep>;
  static const MemberName kColon;

  /// Counts one step; raises "Tessel:interrupted" after the last one, and when the user interrupts.
  void countStep();

  // Statements
  Flow execute(const Block& block);
  Flow execute(const Statement& statement);
  void begin(const Statement& statement);
  Flow executeNode(const Statement& statement);
  Flow executeNode(const ExpressionStatement& node);
  Flow executeNode(const Assignment& node);
  Flow executeNode(const CompoundAssignment& node);
  void assignOne(const Assignment& node);
  void updateSteps(const CompoundAssignment& node, const Value& operand);
  const Block& chosenBlock(const IfStatement& node);
  Flow executeNode(const IfStatement& node);
  Flow executeNode(const WhileStatement& node);
  Flow executeNode(const ForStatement& node);
  template <class ValueAt>
  Flow executeLoop(const ForStatement& node, std::size_t count, const ValueAt& valueAt);
  Flow executeNode(const SwitchStatement& node);
  Flow executeNode(const TryStatement& node);
  Flow executeNode(const BreakStatement&) { return Flow::Break; }
  Flow executeNode(const ContinueStatement&) { return Flow::Continue; }
  Flow executeNode(const ReturnStatement&) { return Flow::Return; }
  Flow executeNode(const Declaration& node);
  Flow executeNode(const ListAssignment& node);
  Flow executeNode(const CommandOrExpression& node);
  std::shared_ptr<SharedVariable> sharedVariable(const Declaration& node, const Declaration::Name& name);
  std::vector<IndexPath> listedPaths(const AssignmentTarget& target);
  std::optional<Flow> executePass(const Block& body);
  bool matches(const HostArray& subject, const HostArray& label);
  bool isTrueArray(HostArray value);
  void assignVariable(const AssignmentTarget& target, Value&& value, bool isSilent);
  void assignSteps(const AssignmentTarget& target, Value&& value);
  void assignDeep(const AssignmentTarget& target, Value&& value);
  void assignSelected(const AssignmentTarget& target, const Subscripts& subscripts, Value&& value);
  void assignAt(int slot, const IndexPath& path, Value&& value);

  // Expressions
  [[gnu::always_inline]] Value evaluate(const Expression& expression) {
    if (const Value* value = valueInPlace(expression)) return *value;
    if (const auto* operation = std::get_if<BinaryOperation>(&expression.node)) return evaluateNode(*operation);
    const auto* index = std::get_if<IndexExpression>(&expression.node);
    return index ? evaluateNode(*index) : evaluateInner(expression);
  }
  /// The value of a constant or a variable, where it stands; null for other expressions.
  const Value* valueInPlace(const Expression& expression) const {
    if (const auto* name = std::get_if<NameReference>(&expression.node)) {
      const Value& variable = frame_->slots[name->slot];
      return variable.isDefined() ? &variable : nullptr;
    }
    const auto* constant = std::get_if<Constant>(&expression.node);
    return constant ? &constant->value : nullptr;
  }
  Value evaluateInner(const Expression& expression);
  Value operateFurther(const BinaryOperation& node);
  Value evaluateShortCircuit(const BinaryOperation& node);
  /// Appends all values of an expression, which may have none or several.
  void evaluateAll(const Expression& expression, int outputCount, Arrays& values);
  Value evaluateNode(const Constant& node) { return node.value; }
  Value evaluateNode(const NameReference& node);
  Value evaluateNode(const AllElements&) { return Value(HostArray::text(":")); }
  Value evaluateNode(const LastElement&);
  Value evaluateNode(const UnaryOperation& node);
  Value evaluateNode(const BinaryOperation& node);
  Value evaluateNode(const RangeExpression& node);
  Range evaluateRange(const RangeExpression& node);
  Value evaluateNode(const MatrixLiteral& node);
  Value evaluateNode(const IndexExpression& node);
  Value evaluateNode(const PartExpression& node);
  Value evaluateNode(const NamedHandle& node);
  Value evaluateNode(const AnonymousFunction& node);
  Arrays evaluateRow(const Expressions& elements);
  Value operateHere(Operator code, const MemberName& method, const Value& left, const Value& right);
  Value operate(Operator code, const MemberName& method, const Value& left, const Value& right);
  Value callOperator(const MemberName& method, Arrays&& operands);
  Value callOperator(const MemberName& method, const Value& left, const Value& right);

  // Indexing
  Arrays evaluateIndexed(const IndexExpression& node, int outputCount);
  /// Appends the values of an argument or an element of a matrix.
  void evaluateArgument(const Expression& expression, Arrays& values);
  Arrays argumentValues(const Expression& expression);
  Values evaluateArguments(const IndexStep* arguments);
  Arrays argumentArrays(const IndexStep* arguments);
  template <class Take>
  void forEachArgument(const IndexStep* arguments, const Take& take);
  void giveArguments(const IndexStep* arguments, CallFrame& frame);
  static void giveInputs(Arrays&& inputs, CallFrame& frame);
  Subscripts evaluateSubscripts(const IndexStep& step, const HostArray* indexed);
  void evaluateSubscript(const Expression& expression, Subscripts& subscripts);
  Value evaluateSteps(const IndexExpression& node);
  Value evaluatePart(const IndexExpression& node);
  Value evaluateElement(const IndexExpression& node, Value&& subscript);
  Value evaluateSelected(const IndexExpression& node, const Subscripts& subscripts);
  enum class PathUse { Read, Assign };
  IndexPath resolvePath(HostArray& base, StepRange steps, PathUse use);
  HostArray partAt(const HostArray& base, const IndexPath& path, PathUse use) const;
  Value lastPosition(const EndContext& context) const;
  Arrays referenceVariable(int slot, const Steps& steps, int outputCount);
  Arrays referenceFurther(HostArray base, StepRange steps, int outputCount);
  static Arrays referencePath(HostArray base, const IndexPath& path, int outputCount);

  // Calls
  Arrays callNamed(const NameReference& name, const Steps& steps, int outputCount);
  Arrays callWithArguments(const NameReference& name, const IndexStep* arguments, int outputCount);
  Arrays callHost(const MemberName& name, const IndexStep* arguments, Arrays&& inputs, int outputCount);
  Arrays callChangingMethod(const MethodInfo& method, int slot, Arrays&& inputs, int outputCount);
  Arrays callChangingMethod(const MethodInfo& method, int slot, StepRange steps, Arrays&& inputs,
                            int outputCount);
  Arrays callScriptFunction(const FunctionCode& code, Arrays&& inputs, int outputCount);
  Arrays callAnonymous(const AnonymousFunctionValue& function, Arrays&& inputs, int outputCount);
  Arrays callValue(const FunctionValue& function, Arrays&& inputs, int outputCount);
  std::optional<Arrays> callHandle(const HostArray& handle, const Steps& steps, int outputCount);
  // The same for one result, which makes no lists. Only the first one raises "Tessel:noValue" where there is
  // none.
  Value valueOfCall(const NameReference& name, const IndexStep* arguments);
  Value valueOfHost(const MemberName& name, const IndexStep* arguments);
  Value valueOfCall(const FunctionValue& function, const IndexStep* arguments);
  template <class GiveAll, class Collect>
  auto runFunction(const FunctionCode& code, const GiveAll& giveAll, int outputCount, const Collect& collect);
  template <class GiveAll, class Collect>
  auto runAnonymous(const AnonymousFunctionValue& function, const GiveAll& giveAll, int outputCount,
                    const Collect& collect);
  template <class Action>
  auto inFrame(Frame& frame, const Action& action);
  void keepErrorStack() noexcept;

  ErrorRecord recordCurrentException();
  /// Keeps where the error that is on its way arose in the innermost function; what is kept already stays.
  void noteColumn(int column) noexcept;
  template <class Action>
  auto located(int column, const Action& action);
  void runInWorkspace(const std::function<void()>& action);
  /// The program of a file, whose lines are kept. Raises "Tessel:syntaxError" with the place.
  Program parsedFile(const std::string& file, SymbolTable& variables);
  void define(const Program& program);

  ProgramPart workspacePart_;
  std::vector<Value> workspaceMemory_;
  std::unordered_map<std::string, std::shared_ptr<SharedVariable>> globals_;
  /// Of all functions.
  std::vector<std::weak_ptr<SharedVariable>> persistents_;
  Frame workspace_{workspacePart_, nullptr, workspaceMemory_};
  Frame* frame_ = &workspace_;
  const EndContext* endContext_ = nullptr;
  int callDepth_ = 0;
  std::uint64_t stepsLeft_ = UINT64_MAX;
  /// Where the stack stood at the beginning, and how much of it calls may use.
  const char* stackBase_;
  std::size_t stackAllowed_;
  std::unordered_map<std::string, std::shared_ptr<const FunctionCode>> functions_;
  std::uint64_t functionsVersion_ = 1;  ///< another one whenever functions were added
  /// Functions that others replaced while they may have been running.
  std::vector<std::shared_ptr<const FunctionCode>> replacedFunctions_;
  /// Looking a function up may read its file.
  mutable FunctionFiles files_;
  /// Memory for the variables of a call, which the calls at that depth leave to each other.
  struct CallMemory {
    std::vector<Value> values = {};
    std::unique_ptr<CallMemory> deeper = {};
  };
  CallMemory callMemory_;
  CallMemory* deepestMemory_ = &callMemory_;  ///< that is in use
  CallMemory& nextCallMemory() {
    if (!deepestMemory_->deeper) deepestMemory_->deeper = std::make_unique<CallMemory>();
    return *deepestMemory_->deeper;
  }
  std::unique_ptr<OpenFiles> openFiles_;
  ErrorRecord lastError_;
  /// Where the error on its way arose; empty until a function has been left.
  std::vector<StackEntry> errorStack_;
  /// Of the innermost function, as long as that has not been left.
  int errorColumn_ = 0;
  std::unordered_map<std::string, std::string> sources_;
};

}  // namespace tessel
