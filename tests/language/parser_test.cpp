#include "tessel/language/parser.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tessel/console.h"
#include "tessel/language/interpreter.h"

namespace tessel {
namespace {

struct BadProgram {
  std::string source;
  int line;
  int column;
  bool isUnfinished;
};

TEST(Parser, ErrorsNameTheirPlace) {
  const BadProgram programs[] = {
      {"x = )", 1, 5, false},
      {"x = 1;\n  y = 2 2", 2, 9, false},
      {"a = [1 2\n3 4", 1, 5, true},
      {"a = [1 2)", 1, 9, false},
      {"f(1, 2\n)", 1, 7, false},
      {"f(1,", 1, 2, true},
      {"x = 'abc\ny", 1, 5, false},
      {"x = 3 $ 4", 1, 7, false},
      {"for k = 1:3\n  x\n", 1, 1, true},
      {"if 1\nelse\nelse\nend", 3, 1, false},
      {"while 1, for k = 1, end", 1, 1, true},
      {"function f(a, a)\nend", 1, 15, false},
      {"function f()\nend\nfunction f()\nend", 3, 10, false},
      {"if 1, function f(), end, end", 1, 7, false},
      {"break", 1, 1, false},
      {"function f(varargin, a), end", 1, 20, false},
      {"\xEF\xBB\xBFx = )", 1, 5, false},
      {"%{ no block\nx = )", 2, 5, false},
      {"%{\n  a block\n\t%}\nx = )", 4, 5, false},
      {"x + 1 = 2", 1, 1, false},
      {"[a, 1] = f()", 1, 5, false},
      {"x = 0x", 1, 7, false},
      {"1e+", 1, 2, false},
      {"12abc", 1, 3, false},
      {"%{\nno end", 1, 1, true},
      {"x = ...", 1, 8, true},
      {"x = ...\n", 2, 1, true},
      {"a.", 1, 3, true},
      {"a.3", 1, 2, false},
      {"@", 1, 2, true},
      {"x(end", 1, 2, true},
      {"switch 1\ncase 2\n", 1, 1, true},
      {"try\ncatch e\n", 1, 1, true},
      {"end", 1, 1, false},
      {"\x80", 1, 1, false},
      {std::string("a\0b", 3), 1, 2, false},
  };
  for (const BadProgram& bad : programs) {
    SymbolTable variables;
    try {
      parseProgram(bad.source, "test", variables);
      ADD_FAILURE() << "no error for: " << bad.source;
    } catch (const SyntaxError& error) {
      EXPECT_EQ(error.line(), bad.line) << bad.source << "\n" << error.what();
      EXPECT_EQ(error.column(), bad.column) << bad.source << "\n" << error.what();
      EXPECT_EQ(error.isUnfinished(), bad.isUnfinished) << bad.source << "\n" << error.what();
    }
  }
}

TEST(Parser, CommentsEndBeforeTheLineDoes) {
  SymbolTable variables;
  const Program program = parseProgram("x = 1; % one\r\n# two", "test", variables);
  ASSERT_EQ(program.comments.size(), 2);
  EXPECT_EQ(program.comments[0].text + program.comments[1].text, "% one# two");
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int k = 0; k < count; ++k) result += text;
  return result;
}

TEST(Parser, DeepNestingIsAnError) {
  constexpr int kDepth = 100000;
  for (const char* opening : {"(", "[", "{", "f(", "c{", "-", "~", "2^-", "@()", "if 1,", "while 1,", "a.(",
                              "1+(", "try,", "x=[(", "switch 1, case 1,"}) {
    SymbolTable variables;
    EXPECT_THROW(parseProgram(repeated(opening, kDepth), "test", variables), SyntaxError) << opening;
  }
  for (const char* part : {"+1", "'", "^2", ":1", "&&1"}) {
    SymbolTable variables;
    EXPECT_THROW(parseProgram("x=1" + repeated(part, kDepth), "test", variables), SyntaxError) << part;
  }
}

TEST(Parser, WidePrograms) {
  Interpreter interpreter;
  EXPECT_NO_THROW(interpreter.run(interpreter.load("x = [" + repeated("1 ", 20000) + "];", "test")));
  EXPECT_NO_THROW(interpreter.run(interpreter.load(repeated("x(3) = 1; ", 20000), "test")));
  EXPECT_NO_THROW(interpreter.run(
      interpreter.load("if 0," + repeated(" elseif 0, x = 2;", 20000) + " else, x = 5; end", "test")));
  EXPECT_EQ(*interpreter.findVariable("x")->number(), 5);
}

/// Any sequence of tokens parses and runs, or raises an error.
TEST(Parser, RandomTokens) {
  // No loop without end and no function that reaches outside.
  const char* tokens[] = {
      "1",  "2.5",  "3i",  "'a'", "\"b\"", "x",     "y",      "z",    "numel",    "(",        ")",
      "[",  "]",    "{",   "}",   ",",     ";",     "\n",     " ",    " ",        " ",        "=",
      "==", "+",    "-",   "*",   ".*",    "/",     "^",      "'",    ".'",       ":",        "end",
      "if", "else", "for", "=",   "1:3",   "~",     "&&",     "|",    "<",        "@",        "@(x)",
      ".",  "f",    ".f",  "end", "try",   "catch", "switch", "case", "return",   "function", "break",
      "x(", "x{",   "x.f", "[]",  "...\n", "% c\n", "eval('", "')",   "cellfun(", "abs"};
  const unsigned seed = 20240917;
  std::mt19937 random(seed);
  std::uniform_int_distribution<std::size_t> pick(0, std::size(tokens) - 1);
  std::uniform_int_distribution<int> length(1, 14);
  int ran = 0;
  Interpreter interpreter;
  for (int k = 0; k < 60000; ++k) {
    std::string source = "clear(); x = 1:3; y = {1, 'a'}; z.f = 2;\n";
    for (int n = length(random); n > 0; --n) source += tokens[pick(random)];
    SCOPED_TRACE("seed " + std::to_string(seed) + ": " + source);
    const ConsoleRedirect silence;
    try {
      interpreter.run(interpreter.load(source, "test"));
      ++ran;
    } catch (const HostError&) {
      continue;
    }
  }
  EXPECT_GT(ran, 1000);
}

TEST(Parser, RandomBytes) {
  std::mt19937 random(7);
  for (int k = 0; k < 20000; ++k) {
    std::string source(random() % 40, ' ');
    for (char& c : source) c = static_cast<char>(k % 2 ? random() % 256 : 32 + random() % 96);
    SymbolTable variables;
    try {
      parseProgram(source, "test", variables);
    } catch (const SyntaxError& error) {
      EXPECT_GE(error.column(), 1);
    }
  }
}

}  // namespace
}  // namespace tessel
