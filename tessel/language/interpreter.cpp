#include "tessel/language/interpreter.h"

#include <sys/resource.h>

#include <algorithm>
#include <new>
#include <utility>

#include <fmt/format.h>
#include "tessel/console.h"
#include "tessel/interpreter.h"
#include "tessel/language/builtins/builtins.h"
#include "tessel/language/files.h"
#include "tessel/language/interpreter_scopes.h"
#include "tessel/language/open_files.h"
#include "tessel/language/replaced.h"
#include "tessel/runtime/dispatch.h"
#include "tessel/runtime/interruption.h"

namespace tessel {

namespace {

/// Three quarters of the stack may be in use; the rest is for one deep expression and the functions it calls.
std::size_t allowedStack() {
  rlimit limit{RLIM_INFINITY, RLIM_INFINITY};
  getrlimit(RLIMIT_STACK, &limit);
  const bool isLimited = limit.rlim_cur != RLIM_INFINITY;
  return (isLimited ? static_cast<std::size_t>(limit.rlim_cur) : std::size_t{8} << 20) / 4 * 3;
}

}  // namespace

Interpreter::Interpreter()
    : stackBase_(static_cast<const char*>(__builtin_frame_address(0))),
      stackAllowed_(allowedStack()),
      files_([this](const std::string& file) {
        SymbolTable variables;
        return parsedFile(file, variables);
      }),
      openFiles_(std::make_unique<OpenFiles>()) {
  registerBuiltins();
  registerLanguageBuiltins(*this);
  LanguageHooks hooks;
  hooks.evaluate = [this](const std::string& text) {
    Arrays values = evaluateText(text, 1);
    return std::move(values.at(0));
  };
  hooks.stack = [this] {
    std::vector<std::string> lines;
    for (const StackEntry& entry : callStack()) lines.push_back(fmt::format("{}:{}", entry.name, entry.line));
    return lines;
  };
  hooks.names = [this] {
    std::vector<std::string> names = scriptFunctionNames();
    for (const std::string& name : frame_->symbols().names()) {
      if (findVariable(name)) names.push_back(name);
    }
    return names;
  };
  hooks.call = [this](const FunctionValue& function, Arrays inputs, int outputCount) {
    return callValue(function, std::move(inputs), outputCount);
  };
  attachLanguage(std::move(hooks));
}

Interpreter::~Interpreter() { attachLanguage({}); }

Program Interpreter::load(std::string_view source, const std::string& file) {
  sources_[file] = source;
  Program program = parseProgram(source, file, *workspacePart_.symbols);
  workspace_.slots.resize(workspacePart_.symbols->names().size());
  workspacePart_.name = workspacePart_.file = file;
  define(program);
  return program;
}

void Interpreter::define(const Program& program) {
  for (const auto& code : program.functions) {
    std::shared_ptr<const FunctionCode>& place = functions_[code->name];
    if (place) replacedFunctions_.push_back(std::move(place));
    place = code;
  }
  if (!program.functions.empty()) ++functionsVersion_;
}

Program Interpreter::parsedFile(const std::string& file, SymbolTable& variables) {
  const std::string& source = sources_[file] = readFile(file);
  try {
    return parseProgram(source, file, variables);
  } catch (const SyntaxError& e) {
    raiseError(e.identifier(), fmt::format("{} ({}:{}:{})", e.what(), file, e.line(), e.column()));
  }
}

void Interpreter::run(const Program& program) {
  runInWorkspace([&] { execute(program.statements); });
}

void Interpreter::run(const Statement& statement) {
  runInWorkspace([&] { execute(statement); });
}

void Interpreter::runInWorkspace(const std::function<void()>& action) {
  clearInterruption();
  errorStack_.clear();
  errorColumn_ = 0;
  files_.refresh();
  functionsChanged();
  replacedFunctions_.clear();
  files_.release();
  if (const auto error = attempt(action)) raiseError(error->identifier, error->text);
}

std::optional<ErrorRecord> Interpreter::attempt(const std::function<void()>& action) {
  try {
    action();
    return std::nullopt;
  } catch (const ExitRequest&) {
    throw;
  } catch (...) {
    ErrorRecord error = recordCurrentException();
    if (isInterruptionRequested()) throw;
    return error;
  }
}

/// The exception being handled, which becomes the last error.
ErrorRecord Interpreter::recordCurrentException() {
  ErrorRecord error;
  try {
    throw;
  } catch (const HostError& e) {
    error = {e.identifier(), e.what(), {}};
  } catch (const std::bad_alloc&) {
    error = {"Tessel:outOfMemory", "Out of memory.", {}};
  } catch (const std::exception& e) {
    error = {"Tessel:internalError", e.what(), {}};
  } catch (...) {
    error = {"Tessel:internalError", "An unknown exception.", {}};
  }
  if (errorStack_.empty()) keepErrorStack();
  error.stack = std::exchange(errorStack_, {});
  lastError_ = error;
  return error;
}

void Interpreter::raiseAgain(ErrorRecord error) {
  errorStack_ = std::move(error.stack);
  // Columns on the way from here are not those of the places that the record names.
  for (StackEntry& entry : errorStack_) entry.column = StackEntry::kNoColumn;
  raiseError(std::move(error.identifier), error.text);
}

std::vector<StackEntry> Interpreter::callStack() const {
  std::vector<StackEntry> stack;
  for (const Frame* frame = frame_; frame; frame = frame->caller) {
    stack.push_back({frame->file(), frame->name(), frame->line});
  }
  return stack;
}

const Value* Interpreter::findVariable(const std::string& name) const {
  const int slot = frame_->symbols().find(name);
  if (slot < 0 || static_cast<std::size_t>(slot) >= frame_->slots.size()) return nullptr;
  const Value& value = frame_->slots[slot];
  return value.isDefined() ? &value : nullptr;
}

const FunctionCode* Interpreter::findScriptFunction(const std::string& name) const {
  if (const auto local = files_.findLocal(frame_->file(), name)) return local.get();
  const auto found = functions_.find(name);
  return found == functions_.end() ? files_.find(name, frame_->file()) : found->second.get();
}

void Interpreter::keepErrorStack() noexcept {
  try {
    errorStack_ = callStack();
    errorStack_.front().column = std::exchange(errorColumn_, 0);
  } catch (...) {
    errorStack_.clear();  // Out of memory: the error keeps its text and loses its place.
  }
}

void Interpreter::noteColumn(int column) noexcept {
  if (errorStack_.empty()) {
    if (errorColumn_ == 0) errorColumn_ = column;
    return;
  }
  std::size_t depth = 0;
  for (const Frame* frame = frame_; frame; frame = frame->caller) ++depth;
  if (depth > errorStack_.size()) return;
  StackEntry& entry = errorStack_[errorStack_.size() - depth];
  if (entry.column == 0) entry.column = column;
}

std::optional<std::string_view> Interpreter::sourceLine(const std::string& file, int line) const {
  const auto source = sources_.find(file);
  if (source == sources_.end() || line < 1) return std::nullopt;
  std::string_view rest = source->second;
  for (int skipped = 1; skipped < line; ++skipped) {
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    rest.remove_prefix(end + 1);
  }
  return rest.substr(0, rest.find_first_of("\r\n"));
}

std::vector<std::string> Interpreter::scriptFunctionNames() const {
  std::vector<std::string> names = files_.names(frame_->file());
  for (const auto& [name, code] : functions_) names.push_back(name);
  std::sort(names.begin(), names.end());
  return names;
}

Arrays Interpreter::evaluateText(const std::string& text, int outputCount) {
  const CallDepth depth(*this);
  Frame& frame = *frame_;
  Program program;
  try {
    program = parseProgram(text, frame.file(), frame.symbols(), std::max(frame.line, 1));
  } catch (const SyntaxError& e) {
    raiseError(e.identifier(),
               fmt::format("{} (line {}, column {} of the evaluated text)", e.what(), e.line(), e.column()));
  }
  define(program);
  frame.slots.resize(std::max(frame.slots.size(), frame.symbols().names().size()));
  const Replaced<const EndContext*> noEnd(endContext_, nullptr);
  if (outputCount == 0) {
    execute(program.statements);
    return {};
  }
  const auto* statement =
      program.statements.size() == 1 ? std::get_if<ExpressionStatement>(&program.statements[0].node) : nullptr;
  if (!statement)
    raiseError("Tessel:notAnExpression", "An evaluated text that gives a value must be an expression.");
  Arrays values;
  evaluateAll(*statement->expression, outputCount, values);
  if (values.empty()) raiseError("Tessel:noValue", "The expression gives no value.");
  return values;
}

void Interpreter::runFile(const std::string& file) {
  const CallDepth depth(*this);
  Frame& frame = *frame_;
  const Program program = parsedFile(file, frame.symbols());
  define(program);
  frame.slots.resize(std::max(frame.slots.size(), frame.symbols().names().size()));
  const StackEntry caller{frame.file(), frame.name(), frame.line};
  const ProgramPart part{frame.code ? frame.name() : file, file, frame.part->symbols};
  const Replaced<const ProgramPart*> inFile(frame.part, &part);
  const Replaced<int> line(frame.line, frame.line);
  const Replaced<const EndContext*> noEnd(endContext_, nullptr);
  try {
    execute(program.statements);
  } catch (...) {
    if (errorStack_.empty()) keepErrorStack();
    std::size_t callers = 0;
    for (const Frame* below = frame.caller; below; below = below->caller) ++callers;
    if (callers <= errorStack_.size()) errorStack_.insert(errorStack_.end() - callers, caller);
    throw;
  }
}

void Interpreter::display(const HostArray& value, const std::string& name) {
  callBuiltin("display", {value, HostArray::text(name)}, 0);
}

}  // namespace tessel
