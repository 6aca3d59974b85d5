// Indexing: classes, colons into empty arrays, subscripts of every class, storage, index expressions of several
// levels.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tessel/interpreter.h"
#include "tessel/runtime/concatenate.h"
#include "tessel/runtime/convert.h"
#include "tessel/runtime/indexing.h"
#include "tessel/runtime/indexpath.h"
#include "tests/runtime/helpers.h"

namespace tessel {
namespace {

TEST(Indexing, SubscriptsOfEveryClass) {
  const HostArray a = row({10, 20, 30});
  for (ArrayClass c :
       {ArrayClass::Double, ArrayClass::Single, ArrayClass::Int8, ArrayClass::Uint8, ArrayClass::Int16,
        ArrayClass::Uint16, ArrayClass::Int32, ArrayClass::Uint32, ArrayClass::Int64, ArrayClass::Uint64}) {
    EXPECT_EQ(valuesOf(subsref(a, {convertTo(row({3, 1}), c)})), (std::vector<double>{30, 10})) << nameOf(c);
    EXPECT_EQ(errorOf([&] { subsref(a, {convertTo(num(0), c)}); }), "Tessel:badsubscript") << nameOf(c);
  }
  const double inf = std::numeric_limits<double>::infinity();
  for (double bad : {0.0, -1.0, 1.5, std::nan(""), inf, -inf}) {
    for (const Arrays& subscripts : {Arrays{num(bad)}, Arrays{num(1), num(bad)}, Arrays{row({1, bad})}}) {
      HostArray target = a;
      EXPECT_EQ(errorOf([&] { subsref(a, subscripts); }), "Tessel:badsubscript") << bad;
      EXPECT_EQ(errorOf([&] { subsasgn(target, subscripts, num(1)); }), "Tessel:badsubscript") << bad;
      EXPECT_EQ(errorOf([&] { deleteElements(target, subscripts); }), "Tessel:badsubscript") << bad;
    }
  }
  HostArray complexIndex = num(1);
  complexIndex.mutableImag<double>();
  for (const HostArray& bad :
       {HostArray::text("a"), HostArray::cell({1, 1}), HostArray::structure(), complexIndex}) {
    EXPECT_EQ(errorOf([&] { subsref(a, {bad}); }), "Tessel:badsubscript") << bad.className();
  }
  HostArray huge = a;
  EXPECT_EQ(errorOf([&] { subsasgn(huge, {num(1e14)}, num(1)); }), "Tessel:arrayTooLarge");
  EXPECT_EQ(errorOf([&] { subsref(a, {num(1e14)}); }), "Tessel:badindex");
}

struct ClassCase {
  HostArray target, rhs;
  ArrayClass resultClass;  // when `error` is empty
  std::vector<double> values;
  std::string error;
};

TEST(Indexing, AssignmentKeepsTheClassOfTheArray) {
  const auto as = [](const std::vector<double>& v, ArrayClass c) { return convertTo(row(v), c); };
  using enum ArrayClass;
  const ClassCase cases[] = {
      {as({1, 2}, Int8), num(200), Int8, {1, 127}, ""},
      {as({1, 2}, Int8), num(-2.5), Int8, {1, -3}, ""},
      {as({1, 2}, Uint8), num(std::nan("")), Uint8, {1, 0}, ""},
      {as({1, 2}, Int16), as({2147483647}, Int32), Int16, {1, 32767}, ""},
      {row({1.5, 2}), as({7}, Int8), Double, {1.5, 7}, ""},
      {as({1.5, 2}, Single), num(0.1), Single, {1.5, static_cast<double>(0.1f)}, ""},
      {mask({1, 2}, {0, 0}), num(5), Logical, {0, 1}, ""},
      {mask({1, 2}, {0, 0}), num(std::nan("")), Logical, {}, "Tessel:nologicalnan"},
      {HostArray::text("ab"), num(67), Char, {97, 67}, ""},
      {row({1, 2}), HostArray::text("A"), Double, {1, 65}, ""},
      {HostArray(), as({9}, Int8), Int8, {0, 9}, ""},
      {HostArray(), HostArray::text("x"), Char, {' ', 'x'}, ""},
      {HostArray(), mask({1, 1}, {1}), Logical, {0, 1}, ""},
      {HostArray::cell({1, 2}), num(1), Cell, {}, "Tessel:cellRhsRequired"},
      {row({1, 2}), HostArray::cell({1, 1}), Double, {}, "Tessel:conversionNotPossible"},
      {row({1, 2}), HostArray::structure(), Double, {}, "Tessel:conversionNotPossible"},
      {row({1, 2}), box(3), Double, {}, "Tessel:conversionNotPossible"},
      {HostArray::structure({1, 1}, {"a"}),
       HostArray::structure({1, 1}, {"b"}),
       Struct,
       {},
       "Tessel:dissimilarStructures"},
      {HostArray::structure({1, 1}, {"a"}), num(1), Struct, {}, "Tessel:conversionNotPossible"},
      {box(1), box(2, false), Object, {}, "Tessel:conversionNotPossible"},
  };
  for (const ClassCase& c : cases) {
    HostArray target = c.target;
    const std::string what = c.target.className() + " from " + c.rhs.className();
    EXPECT_EQ(errorOf([&] { subsasgn(target, {num(2)}, c.rhs); }), c.error) << what;
    EXPECT_EQ(target.dims(), c.error.empty() ? (Dimensions{1, 2}) : c.target.dims()) << what;
    if (!c.error.empty()) continue;
    EXPECT_EQ(target.arrayClass(), c.resultClass) << what;
    EXPECT_EQ(valuesOf(target), c.values) << what;
  }
}

TEST(Indexing, ComplexParts) {
  HostArray a = row({1, 2, 3}), z = num(5);
  z.mutableImag<double>()[0] = -1;
  subsasgn(a, {num(5)}, z);
  EXPECT_TRUE(a.isComplex());
  EXPECT_EQ(valuesOf(a), (std::vector<double>{1, 2, 3, 0, 5}));
  EXPECT_EQ(a.imagAt(4), -1);
  subsasgn(a, {num(5)}, num(7));
  EXPECT_EQ(a.imagAt(4), 0);
  HostArray flags = mask({1, 2}, {0, 1});
  EXPECT_EQ(errorOf([&] { subsasgn(flags, {num(1)}, z); }), "Tessel:complexNotConvertible");
}

TEST(Indexing, ColonsIntoAnEmptyArrayTakeTheSizeAssigned) {
  const HostArray column = matrix({3, 1}, {1, 2, 3});
  const struct {
    Arrays subscripts;
    HostArray rhs;
    Dimensions dims;
  } cases[] = {
      {{colon(), num(1)}, column, {3, 1}},
      {{colon(), num(2)}, column, {3, 2}},
      {{num(1), colon()}, column, {1, 3}},
      {{num(2), colon()}, row({1, 2}), {2, 2}},
      {{colon(), colon()}, row({1, 2, 3}), {1, 3}},
      {{colon(), num(3)}, num(5), {1, 3}},
      {{colon(), colon()}, matrix({1, 2, 3}, {1, 2, 3, 4, 5, 6}), {2, 3}},
      {{colon(), colon(), num(2)}, matrix({2, 2}, {1, 2, 3, 4}), {2, 2, 2}},
  };
  for (const auto& c : cases) {
    HostArray a;
    subsasgn(a, c.subscripts, c.rhs);
    EXPECT_EQ(a.dims(), c.dims);
    const HostArray back = subsref(a, c.subscripts);
    EXPECT_EQ(valuesOf(back), valuesOf(c.rhs));
  }
  HostArray a;
  EXPECT_EQ(errorOf([&] { subsasgn(a, {colon()}, column); }), "Tessel:subsassignnumelmismatch");
}

TEST(Indexing, UnsharedArraysAreWrittenInPlace) {
  HostArray a = HostArray::zeros(ArrayClass::Double, {100, 1});
  const double* before = a.real<double>();
  subsasgn(a, {num(3)}, num(1));
  subsasgn(a, {row({4, 6})}, row({2, 3}));
  HostArray copy = a;
  EXPECT_NE(a.mutableReal<double>(), copy.real<double>());
  EXPECT_EQ(copy.real<double>(), before);
  HostArray same = row({1, 2, 3});
  subsasgn(same, {row({3, 2, 1})}, same);
  EXPECT_EQ(valuesOf(same), (std::vector<double>{3, 2, 1}));
  std::size_t moves = 0;
  HostArray grown = row({1, 2});
  for (int i = 3; i <= 10000; ++i) {
    const double* old = grown.real<double>();
    subsasgn(grown, {num(i)}, num(i));
    moves += grown.real<double>() != old;
  }
  EXPECT_LT(moves, 100u);
  EXPECT_EQ(grown.realAt(9999), 10000);
}

// Index expressions

IndexLevel paren(Arrays s) { return {IndexLevel::Kind::Paren, std::move(s), {}}; }
IndexLevel brace(Arrays s) { return {IndexLevel::Kind::Brace, std::move(s), {}}; }
IndexLevel field(std::string name) { return {IndexLevel::Kind::Field, {}, std::move(name)}; }

double numberAt(const HostArray& a, const IndexPath& path) { return reference(a, path).at(0).scalarValue(); }

TEST(IndexPath, LevelsAppearAsTheyAreAssigned) {
  HostArray s;
  assign(s, IndexPath{field("list"), brace({num(2)}), field("x"), paren({num(1), num(3)})}, num(7));
  assign(s, IndexPath{paren({num(3)}), field("list")}, num(4));
  assign(s, IndexPath{paren({num(3)}), field("fresh"), paren({num(2)})}, num(5));
  EXPECT_EQ(s.dims(), (Dimensions{1, 3}));
  EXPECT_EQ(s.fieldNames(), (std::vector<std::string>{"list", "fresh"}));
  EXPECT_EQ(numberAt(s, {paren({num(1)}), field("list"), brace({num(2)}), field("x"), paren({num(3)})}), 7);
  EXPECT_EQ(numberAt(s, {paren({num(3)}), field("fresh"), paren({num(2)})}), 5);
  EXPECT_TRUE(reference(s, IndexPath{paren({num(2)}), field("list")})[0].isEmpty());
  EXPECT_EQ(reference(s, IndexPath{field("list")}).size(), 3u);

  HostArray c;
  assign(c, IndexPath{brace({num(1), num(2)})}, HostArray::text("ab"));
  assign(c, IndexPath{brace({num(1)})}, c);  // holds a copy of itself, not itself
  EXPECT_EQ(reference(c, IndexPath{brace({num(1)}), brace({num(2)}), paren({num(2)})})[0].toText(), "b");
  EXPECT_EQ(reference(c, IndexPath{brace({colon()})}).size(), 2u);
  assign(c, IndexPath{paren({num(1)})}, HostArray());
  EXPECT_EQ(c.dims(), (Dimensions{1, 1}));
}

TEST(IndexPath, ErrorsLeaveTheTargetAlone) {
  HostArray s = HostArray::structure({1, 1}, {"a"});
  s.mutableFieldAt("a") = row({1, 2, 3});
  const HostArray pair = concatenate(1, {s, s});
  const HostArray cells = cellOf({1, 2}, {row({1, 2}), HostArray()});
  const struct {
    HostArray target;
    IndexPath path;
    HostArray rhs;
    const char* error;
  } cases[] = {
      {s, {field("a"), paren({num(0)})}, num(1), "Tessel:badsubscript"},
      {s, {field("new"), paren({num(0)})}, num(1), "Tessel:badsubscript"},
      {s, {paren({num(4)}), field("new"), paren({num(1.5)})}, num(1), "Tessel:badsubscript"},
      {s, {field("a"), field("b")}, num(1), "Tessel:fieldAssignToNonStruct"},
      {s, {field("a"), brace({num(1)})}, num(1), "Tessel:cellAssignToNonCell"},
      {pair, {field("a")}, num(1), "Tessel:scalarStructRequired"},
      {pair, {paren({colon()}), field("a")}, num(1), "Tessel:notOneValue"},
      {cells, {brace({colon()})}, num(1), "Tessel:notOneValue"},
      {cells, {brace({num(1)}), paren({num(5)})}, row({1, 2}), "Tessel:subsassignnumelmismatch"},
      {cells, {brace({num(5)}), paren({num(5)})}, row({1, 2}), "Tessel:subsassignnumelmismatch"},
      {cells, {paren({num(1)}), paren({num(1)})}, num(1), "Tessel:parenLast"},
      {box(1), {field("None")}, num(1), "Tessel:noSuchProperty"},
      {box(1), {field("Value")}, num(-1), "test:negative"},
  };
  for (const auto& c : cases) {
    HostArray target = c.target;
    EXPECT_EQ(errorOf([&] { assign(target, c.path, c.rhs); }), c.error);
    EXPECT_EQ(target.dims(), c.target.dims()) << c.error;
    if (target.isStruct()) {
      EXPECT_EQ(target.fieldNames(), c.target.fieldNames()) << c.error;
      EXPECT_EQ(valuesOf(target.fieldAt("a")), valuesOf(row({1, 2, 3}))) << c.error;
    }
    if (target.isCell()) {
      EXPECT_EQ(valuesOf(target.cellAt(0)), valuesOf(row({1, 2}))) << c.error;
    }
    if (target.isObject()) {
      EXPECT_EQ(valueOf(target), 1) << c.error;
    }
  }
  const struct {
    HostArray value;
    IndexPath path;
    const char* error;
  } references[] = {
      {cells, {brace({colon()}), paren({num(1)})}, "Tessel:notOneValue"},
      {row({1}), {brace({num(1)})}, "Tessel:cellRefFromNonCell"},
      {row({1}), {field("a")}, "Tessel:structRefFromNonStruct"},
      {s, {field("b")}, "Tessel:nonExistentField"},
      {box(1), {field("None")}, "Tessel:noSuchProperty"},
      {cells, {brace({num(3)})}, "Tessel:badindex"},
  };
  for (const auto& c : references) EXPECT_EQ(errorOf([&] { reference(c.value, c.path); }), c.error);
}

TEST(IndexPath, ObjectsOfferPropertiesMethodsAndElements) {
  HostArray boxes = concatenate(1, {box(1), box(2)});
  const HostArray before = boxes;
  assign(boxes, IndexPath{paren({num(2)}), field("Value")}, num(20));
  assign(boxes, IndexPath{paren({num(4)}), field("Value")}, num(40));
  EXPECT_EQ(numberAt(boxes, {paren({num(2)}), field("Value")}), 20);
  EXPECT_EQ(numberAt(boxes, {paren({num(3)}), field("Value")}), 0);
  EXPECT_EQ(numberAt(boxes, {paren({num(4)}), field("sum"), paren({num(2)})}), 42);
  EXPECT_EQ(valueOf(before, 1), 2);
  EXPECT_EQ(reference(boxes, IndexPath{field("Value")}).size(), 4u);

  const HostArray handle = box(1, false);
  HostArray s;
  assign(s, IndexPath{field("h")}, handle);
  assign(s, IndexPath{field("h"), field("Value")}, num(9));
  EXPECT_EQ(valueOf(handle), 9);
}

/// A class that does its own indexing and passes everything but parentheses to the built-in one.
HostClass& listClass() {
  if (HostClass* existing = findClass("test.List")) return *existing;
  HostClass& c = getPackage("test").createClass("List");
  c.setValueClass(true);
  c.setFactory([&c](Arrays&) { return std::make_shared<Box>(c, 0); });
  c.addProperty({"Value", "double", [](HostObject& o) { return num(static_cast<Box&>(o).value); },
                 [](HostObject& o, const HostArray& v) { static_cast<Box&>(o).value = v.scalarValue(); }, ""});
  c.addMethod({{"subsref",
                [](Arrays& in, int) -> Arrays {
                  if (in[1].fieldAt("type").toText() == ".") return callBuiltin("subsref", in);
                  return {num(static_cast<Box&>(*in[0].objectAt()).value +
                              in[1].fieldAt("subs").cellAt(0).scalarValue())};
                },
                2, 2, 1, ""}});
  c.addMethod({{"subsasgn",
                [](Arrays& in, int) -> Arrays {
                  if (in[2].scalarValue() < 0) raiseError("test:negative", "Negative.");
                  auto& object = static_cast<Box&>(in[0].mutableObject());
                  object.value = in[1].fieldAt("subs").cellAt(0).scalarValue() * in[2].scalarValue();
                  return {std::move(in[0])};
                },
                3, 3, 1, ""}});
  return c;
}

TEST(IndexPath, ClassesTakeOverTheirOwnIndexing) {
  HostArray s;
  assign(s, IndexPath{field("list")}, listClass().create({}));
  const HostArray before = s;
  assign(s, IndexPath{field("list"), paren({num(5)})}, num(8));
  EXPECT_EQ(numberAt(s, {field("list"), paren({num(2)})}), 42);
  EXPECT_EQ(numberAt(s, {field("list"), field("Value")}), 40);
  EXPECT_EQ(numberAt(before, {field("list"), field("Value")}), 0);
  EXPECT_EQ(errorOf([&] { assign(s, IndexPath{field("list"), paren({num(1)})}, num(-1)); }), "test:negative");
  EXPECT_EQ(numberAt(s, {field("list"), field("Value")}), 40);
}

/// A class whose method "subsref" notes what it is asked, keeps the index structure if told to, and spoils it.
struct Keeper {
  static inline bool keeps = false;
  static inline void (*spoil)(HostArray& structure) = nullptr;
  static inline Arrays kept;
  static inline std::string asked;

  /// Such as "() 1-by-2 7 7"; of levels behind the first, the types alone.
  static std::string textOf(const HostArray& structure) {
    const HostArray& subs = structure.fieldAt("subs");
    std::string text = structure.fieldAt("type").toText() + " " + std::to_string(subs.dim(0)) + "-by-" +
                       std::to_string(subs.dim(1));
    for (std::size_t i = 0; i < subs.numel(); ++i) text += " " + std::to_string(subs.cellAt(i).scalarValue());
    for (std::size_t i = 1; i < structure.numel(); ++i) text += " " + structure.fieldAt("type", i).toText();
    return text + " " + std::to_string(structure.fieldNames().size());
  }

  static HostClass& hostClass() {
    if (HostClass* existing = findClass("test.Keeper")) return *existing;
    HostClass& c = getPackage("test").createClass("Keeper");
    c.setFactory([&c](Arrays&) { return std::make_shared<Box>(c, 0); });
    c.addMethod({{"subsref",
                  [](Arrays& in, int) -> Arrays {
                    asked = textOf(in[1]);
                    if (keeps) kept.push_back(in[1]);
                    if (spoil) spoil(in[1]);
                    return {num(0)};
                  },
                  2, 2, 1, ""}});
    return c;
  }
};

TEST(IndexPath, AMethodMayKeepOrChangeItsIndexStructure) {
  static HostArray keptSubs;
  constexpr void (*spoils[])(HostArray&) = {
      [](HostArray&) {},
      [](HostArray& s) { s.mutableFieldAt("type") = HostArray::text("{}"); },
      [](HostArray& s) { s.mutableFieldAt("more") = num(1); },
      [](HostArray& s) { s.removeField("type"); },
      [](HostArray& s) { s.mutableFieldAt("subs") = num(1); },
      [](HostArray& s) {
        s.mutableFieldAt("subs").reshape({s.fieldAt("subs").numel(), 1});
      },
      [](HostArray& s) { keptSubs = s.fieldAt("subs"); },
      [](HostArray& s) {
        s = HostArray::structure({1, 2}, {"subs", "type"});
      },
      [](HostArray& s) { s = HostArray(); },
  };
  const HostArray object = Keeper::hostClass().create({});
  std::vector<std::string> wanted;
  for (int k = 0; k < 90; ++k) {
    Keeper::spoil = spoils[k % 9];
    Keeper::keeps = k % 7 == 0;
    const IndexLevel level = paren(Arrays(static_cast<std::size_t>(k % 3), num(k)));
    const IndexPath path = k % 5 == 4 ? IndexPath{level, field("name")} : IndexPath{level};
    std::string text = "() 1-by-" + std::to_string(k % 3);
    for (const HostArray& subscript : level.subscripts) text += " " + std::to_string(subscript.scalarValue());
    text += path.size() > 1 ? " . 2" : " 2";
    reference(object, path);
    EXPECT_EQ(Keeper::asked, text) << "call " << k;
    if (Keeper::keeps) wanted.push_back(text);
    if (k % 9 == 6) {
      EXPECT_EQ(keptSubs.numel(), level.subscripts.size());
    }
    for (std::size_t i = 0; k % 9 == 7 && i < keptSubs.numel(); ++i) {
      EXPECT_EQ(keptSubs.cellAt(i).scalarValue(), k - 1);
    }
  }
  ASSERT_EQ(Keeper::kept.size(), wanted.size());
  for (std::size_t i = 0; i < wanted.size(); ++i) EXPECT_EQ(Keeper::textOf(Keeper::kept[i]), wanted[i]);
  Keeper::kept.clear();
  keptSubs = HostArray();
}

TEST(IndexPath, FunctionsByName) {
  HostArray structure = makeIndexStructure(IndexPath{paren({row({1, 3}), colon()})});
  const HostArray a = matrix({3, 2}, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(valuesOf(callFunction("subsref", {a, structure})[0]), (std::vector<double>{1, 3, 4, 6}));
  const HostArray assigned = callFunction("builtin", {HostArray::text("subsasgn"), a, structure, num(0)})[0];
  EXPECT_EQ(valuesOf(assigned), (std::vector<double>{0, 2, 0, 0, 5, 0}));
  const HostArray left = callFunction("subsasgn", {a, structure, HostArray()})[0];
  EXPECT_EQ(left.dims(), (Dimensions{1, 2}));
  structure.mutableFieldAt("type") = HostArray::text("?");
  EXPECT_EQ(errorOf([&] { callFunction("subsref", {a, structure}); }), "Tessel:badIndexStructure");
  EXPECT_EQ(errorOf([&] { callFunction("subsref", {a, num(1)}); }), "Tessel:badIndexStructure");
}

}  // namespace
}  // namespace tessel
