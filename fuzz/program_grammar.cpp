/// Programs from a grammar: whatever their statements do, they print the same and leave the same values on the
/// array path and the element path.
#include <array>

#include "fmt/format.h"
#include "fuzz/input.h"
#include "fuzz/sandbox.h"

namespace {

using Texts = std::vector<const char*>;

/// Rules of the grammar, each of which draws what it is made of. The least choices make the shortest texts, so
/// that an input that is spent ends its program.
class Grammar {
 public:
  explicit Grammar(fuzz::Input& input) : input_(input) {}

  /// Errors of one statement leave those after it to run.
  std::string program() {
    std::string text = "function [r, s] = f(x, y), r = x; s = y;" + statement(1) +
                       "end\n"
                       "function r = g(varargin), r = varargin{1};" +
                       statement(1) +
                       "end\n"
                       "a = fi([0.5 -1.25; 3 7], 1, 16, 8); b = fi(-3.3, 1, 70, 40); c = {1, 'two', a}; d = "
                       "struct('f', a, 'g', 2); "
                       "e = 1:4; h = @(x) x + 1;\n";
    for (int left = kStatements; left > 0 && !input_.isEmpty(); --left)
      text += "try\n" + statement(kDepth) + "\ncatch error\ndisp(error.identifier), disp(error.message)\nend\n";
    return text;
  }

 private:
  static constexpr int kStatements = 12, kDepth = 3;

  std::string oneOf(const Texts& texts) { return input_.oneOf(texts); }
  std::string variable() { return oneOf({"a", "b", "c", "d", "e", "h", "x", "y"}); }
  std::string number() {
    static const Texts kNumbers{"1",     "2",           "0",   "-1",  "0.5",   "3",           "[]",
                                "7.75",  "-0.3",        "1e6", "2i",  "1/3",   "int8(5)",     "true",
                                "2^-40", "single(0.1)", "Inf", "NaN", "1e300", "uint64(2)^63"};
    return oneOf(kNumbers);
  }
  std::string word() {
    return std::to_string(input_.integer(0, 3) > 0 ? input_.integer(1, 70) : input_.integer(1, 300));
  }
  std::string setting() {
    static const Texts kSettings{"'RoundMode', 'floor'",
                                 "'RoundMode', 'convergent'",
                                 "'OverflowMode', 'wrap'",
                                 "'RoundMode', 'fix'",
                                 "'ProductMode', 'KeepLSB'",
                                 "'ProductMode', 'KeepMSB'",
                                 "'SumMode', 'KeepLSB'",
                                 "'SumMode', 'KeepMSB'",
                                 "'CastBeforeSum', false",
                                 "'SumMode', 'SpecifyPrecision'",
                                 "'ProductMode', 'SpecifyPrecision'"};
    return oneOf(kSettings);
  }
  std::string fixedPoint(int depth) {
    const std::string value = expression(depth);
    switch (input_.integer(0, 4)) {
      case 0: return fmt::format("fi({}, {:d}, {}, {})", value, input_.coin(), word(), input_.integer(-8, 80));
      case 1: return fmt::format("fi({}, {:d}, {})", value, input_.coin(), word());
      case 2:
        return fmt::format("fi({}, {:d}, {}, {}, {})", value, input_.coin(), word(),
                           oneOf({"0.25", "3", "1.5"}), number());
      case 3: return fmt::format("fi({}, 1, {}, {}, {})", value, word(), input_.integer(-8, 40), setting());
      default:
        return fmt::format("fi({}, numerictype({:d}, {}, {}), fimath({}, {}))", value, input_.coin(), word(),
                           input_.integer(-8, 80), setting(), setting());
    }
  }
  std::string subscript(int depth) {
    switch (input_.integer(0, 7)) {
      case 0: return std::to_string(input_.integer(1, 5));
      case 1: return ":";
      case 2: return "end";
      case 3: return "[2 1]";
      case 4: return "end+1";
      case 5: return oneOf({"2:end", "1:3", "end:-1:1", "2:2:end", "0:2", "3:6"});
      default: return expression(depth);
    }
  }
  std::string subscripts(int depth) {
    std::string text = "(" + subscript(depth);
    for (int more = input_.integer(0, 5); more > 3; --more) text += ", " + subscript(depth);
    return text + ")";
  }
  std::string property() {
    static const Texts kProperties{"double",
                                   "hex",
                                   "bin",
                                   "WordLength",
                                   "FractionLength",
                                   "int",
                                   "Signed",
                                   "dec",
                                   "oct",
                                   "data",
                                   "f",
                                   "RoundMode",
                                   "Slope",
                                   "Bias",
                                   "SumMode",
                                   "ProductWordLength",
                                   "OverflowMode",
                                   "Scaling",
                                   "DataTypeMode",
                                   "numerictype",
                                   "fimath",
                                   "SlopeAdjustmentFactor"};
    return oneOf(kProperties);
  }
  std::string called(int depth) {
    static const Texts kOfOne{"abs",       "double",     "sum",
                              "max",       "min",        "sqrt",
                              "real",      "imag",       "conj",
                              "numel",     "size",       "any",
                              "all",       "isreal",     "bitcmp",
                              "dec",       "hex",        "bin",
                              "num2sdec",  "find",       "sort",
                              "uminus",    "lsb",        "range",
                              "eps",       "realmax",    "logical",
                              "tostring",  "isempty",    "sign",
                              "squeeze",   "fliplr",     "tril",
                              "diag",      "int",        "intarray",
                              "pow2",      "single",     "numerictype",
                              "fimath",    "noverflows", "maxlog",
                              "transpose", "class",      "disp",
                              "f",         "g",          "h",
                              "toeplitz",  "isfi",       "reinterpretcast",
                              "int2str",   "num2str",    "mat2str",
                              "cumsum",    "prod",       "mean",
                              "floor",     "round",      "typecast"};
    static const Texts kOfTwo{
        "plus",    "minus",    "times",           "mtimes",   "rdivide", "divide",    "bitand",  "bitor",
        "bitxor",  "bitget",   "bitset",          "bitshift", "eq",      "lt",        "max",     "min",
        "sum",     "repmat",   "reshape",         "cat",      "isequal", "complex",   "pow2",    "sort",
        "horzcat", "vertcat",  "num2base",        "base2num", "hankel",  "circshift", "permute", "f",
        "g",       "copydata", "reinterpretcast", "mpy",      "strcat",  "mod",       "power",   "kron",
        "conv",    "dot",      "sosfilt"};
    static const Texts kOfThree{"filter", "filter", "bitset", "sum"};
    if (input_.coin()) {
      const std::string two = expression(depth) + ", " + expression(depth);
      if (input_.integer(0, 3) > 0) return fmt::format("{}({})", oneOf(kOfTwo), two);
      return fmt::format("{}({}, {})", oneOf(kOfThree), two, expression(depth));
    }
    return fmt::format("{}({})", oneOf(kOfOne), expression(depth));
  }
  std::string expression(int depth) {
    if (depth == 0) return input_.coin() ? number() : variable();
    --depth;
    switch (input_.integer(0, 16)) {
      case 0: return variable();
      case 1: return number();
      case 2:
      case 3: return fixedPoint(depth);
      case 4:
      case 5:
        return "(" + expression(depth) + ' ' +
               oneOf(
                   {"+", "-", ".*", "*", "./", "==", "<", "&", "^", ".^", ">=", "~=", "||", "&&", "\\", ":"}) +
               ' ' + expression(depth) + ")";
      case 6: return oneOf({"-", "~", "+"}) + expression(depth);
      case 7: return "(" + expression(depth) + ")" + oneOf({"'", ".'"});
      case 8: return variable() + subscripts(depth);
      case 9: return variable() + "." + property();
      case 10:
      case 11: return called(depth);
      case 12: return "[" + expression(depth) + oneOf({" ", "; ", ", "}) + expression(depth) + "]";
      case 13: return "{" + expression(depth) + ", " + expression(depth) + "}";
      case 14: return variable() + "{" + subscript(depth) + "}";
      case 15: return "@(x) (" + expression(depth) + ")";
      default:
        return oneOf({"cellfun(", "arrayfun("}) + "@(x) (" + expression(depth) + ")" +
               oneOf({", c)", ", e)", ", a, 'UniformOutput', false)"});
    }
  }
  std::string value(int depth) {
    return input_.integer(0, 3) > 0
               ? expression(depth)
               : oneOf({"'floor'", "'wrap'", "12", "'7f'", "'0101'", "'SpecifyPrecision'", "true"});
  }
  std::string target(int depth) {
    switch (input_.integer(0, 5)) {
      case 0: return variable();
      case 1:
      case 2: return variable() + subscripts(depth);
      case 3: return variable() + "." + property();
      case 4: return variable() + "{" + subscript(depth) + "}";
      default: return variable() + "." + property() + subscripts(depth);
    }
  }
  std::string statement(int depth) {
    const std::string end = oneOf({"", ";"}) + "\n";
    if (depth == 0) return variable() + " = " + expression(1) + end;
    --depth;
    switch (input_.integer(0, 14)) {
      case 0:
      case 1: return variable() + " = " + expression(depth + 1) + end;
      case 2:
      case 3:
      case 4: return target(depth) + " = " + value(depth + 1) + end;
      case 5: return target(depth) + " = []" + end;
      case 6: return expression(depth + 1) + end;
      case 7:
        return "if " + expression(depth) + ", " + statement(depth) + "else, " + statement(depth) + "end\n";
      case 8:
        return "for " + variable() + " = " + expression(depth) + ", " + statement(depth) + statement(depth) +
               "end\n";
      case 9:
        return "while " + expression(depth) + ", " + statement(depth) + oneOf({"break, ", "", "continue, "}) +
               "end\n";
      case 10:
        return "switch " + expression(depth) + "\ncase " + expression(depth) + ", " + statement(depth) +
               "otherwise, " + statement(depth) + "end\n";
      case 11:
        return "[" + target(depth) + ", " + variable() + "] = " + oneOf({"f", "max", "sort", "deal", "size"}) +
               "(" + expression(depth) + ", " + expression(depth) + ")" + end;
      case 12: return "fipref('LoggingMode', " + oneOf({"'On'", "'Off'"}) + ")" + end;
      case 13: return oneOf({"resetlog(", "resetlogging(", "eval("}) + variable() + ")" + end;
      default: return "clear('" + variable() + "')" + end;
    }
  }

  fuzz::Input& input_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  fuzz::Input input(bytes, count);
  const std::string program = Grammar(input).program();
  const fuzz::Outcome array = fuzz::run(program, false), element = fuzz::run(program, true);
  fuzz::require(array.isParsed, "refused:\n", program);
  if (array.isCutOff || element.isCutOff) return 0;
  fuzz::require(array.output == element.output, program, "\nprints on the array path\n", array.output,
                "\nand on the element path\n", element.output);
  for (const auto& [name, text] : array.values)
    fuzz::require(element.values.at(name) == text, program, '\n', name, " on the array path is\n", text,
                  "\nand on the element path\n", element.values.at(name));
  return 0;
}
