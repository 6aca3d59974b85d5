// Indexing: storage, objects, and the structures that their methods are given.
#include <gtest/gtest.h>

#include "tessel/interpreter.h"
#include "tessel/runtime/concatenate.h"
#include "tessel/runtime/indexing.h"
#include "tessel/runtime/indexpath.h"
#include "tests/runtime/helpers.h"

namespace tessel {
namespace {

IndexLevel paren(Arrays s) { return {IndexLevel::Kind::Paren, std::move(s), {}}; }
IndexLevel field(std::string name) { return {IndexLevel::Kind::Field, {}, std::move(name)}; }

double numberAt(const HostArray& a, const IndexPath& path) { return reference(a, path).at(0).scalarValue(); }

TEST(Indexing, ObjectsKeepToTheirClass) {
  HostArray object = box(1), numbers = row({1, 2});
  EXPECT_EQ(errorOf([&] { subsasgn(object, {num(2)}, box(2, false)); }), "Tessel:conversionNotPossible");
  EXPECT_EQ(errorOf([&] { subsasgn(numbers, {num(2)}, box(3)); }), "Tessel:conversionNotPossible");
  for (const Arrays& parts : {Arrays{box(1), box(1, false)}, Arrays{box(1), num(1)}})
    EXPECT_EQ(errorOf([&] { concatenate(1, parts); }), "Tessel:concatenationClasses");
  // Conversion is what a class's method of that name gives, if it is of that class.
  HostClass& converting = getPackage("test").createClass("Converting");
  converting.setFactory([&](Arrays&) { return std::make_shared<Box>(converting, 0); });
  static HostArray converted;
  converting.addMethod({{"double", [](Arrays&, int) { return Arrays{converted}; }, 1, 1, 1, ""}});
  const HostArray two = converting.create({}), nobody = HostArray::object(nullptr);
  HostArray structures = HostArray::structure({1, 2}, {"a"});
  converted = num(2);
  subsasgn(numbers, {num(1)}, two);
  EXPECT_EQ(valuesOf(numbers), (std::vector<double>{2, 2}));
  EXPECT_EQ(subsref(row({7, 8}), {two}).scalarValue(), 8);
  converted = HostArray::scalarOf(std::int8_t{2});
  EXPECT_EQ(errorOf([&] { subsasgn(numbers, {num(1)}, two); }), "Tessel:conversionNotPossible");
  converted = box(1);
  EXPECT_EQ(errorOf([&] { subsref(numbers, {two}); }), "Tessel:badsubscript");
  EXPECT_EQ(errorOf([&] { subsasgn(numbers, {num(1)}, nobody); }), "Tessel:conversionNotPossible");
  EXPECT_EQ(errorOf([&] { subsasgn(structures, {num(1)}, two); }), "Tessel:conversionNotPossible");
  EXPECT_EQ(valuesOf(numbers), (std::vector<double>{2, 2}));
  object = concatenate(1, {box(1), box(2)});
  EXPECT_EQ(errorOf([&] {
              assign(object, IndexPath{paren({num(1)}), field("Value")}, num(-1));
            }),
            "test:negative");
  EXPECT_EQ(valueOf(object), 1);
  EXPECT_EQ(object.numel(), 2u);
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

  EXPECT_EQ(errorOf([&] { assign(boxes, IndexPath{field("Value")}, num(5)); }), "Tessel:notOneValue");
  const MemberName value("Value");
  const HostArray nobody = HostArray::object(nullptr), nothing = HostArray::objects({}, {0, 0});
  for (const HostArray& none : {num(1), boxes, nobody}) EXPECT_FALSE(directProperty(none, value));
  EXPECT_EQ(reference(nobody, IndexPath{paren({num(1)})}).at(0).numel(), 1u);
  const IndexRange first[] = {{0}}, second[] = {{1}};
  EXPECT_EQ(directElements(nobody, first).value().objectAt(), nullptr);
  EXPECT_FALSE(directElements(nobody, second));
  EXPECT_EQ(errorOf([&] { reference(nobody, IndexPath{field("Value")}); }), "Tessel:mustBeScalar");
  EXPECT_TRUE(reference(nothing, IndexPath{field("Value")}).empty());
  HostArray grown = nothing, replaced = boxes;
  EXPECT_EQ(errorOf([&] {
              assign(grown, IndexPath{paren({num(1)}), field("Value")}, num(1));
            }),
            "Tessel:badindex");
  EXPECT_EQ(reference(num(5), IndexPath{}).at(0).scalarValue(), 5);
  assign(replaced, IndexPath{}, num(3));
  EXPECT_EQ(replaced.scalarValue(), 3);

  const HostArray handle = box(1, false);
  HostArray s;
  assign(s, IndexPath{field("h")}, handle);
  assign(s, IndexPath{field("h"), field("Value")}, num(9));
  EXPECT_EQ(valueOf(handle), 9);
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
                    if (!spoil) in.clear();
                    return {num(0)};
                  },
                  2, 2, 1, ""}});
    // It gives no result: what it has made of its first argument is the array.
    c.addMethod({{"subsasgn",
                  [](Arrays& in, int) -> Arrays {
                    static_cast<Box&>(in[0].mutableObject()).value = in[2].scalarValue();
                    return {};
                  },
                  3, 3, 1, ""}});
    return c;
  }
};

TEST(IndexPath, AMethodMayKeepOrChangeItsIndexStructure) {
  static HostArray keptSubs;
  constexpr void (*spoils[])(HostArray&) = {
      [](HostArray& s) {
        if (s.fieldAt("subs").isEmpty()) s.mutableFieldAt("subs") = HostArray::cell({1, 1, 2});
      },
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
  Keeper::spoil = nullptr;
  EXPECT_EQ(reference(object, IndexPath{paren({num(1)})}).at(0).scalarValue(), 0);
  HostArray assigned = object;
  assign(assigned, IndexPath{paren({num(1)})}, num(6));
  EXPECT_EQ(valueOf(assigned), 6);
  ASSERT_EQ(Keeper::kept.size(), wanted.size());
  for (std::size_t i = 0; i < wanted.size(); ++i) EXPECT_EQ(Keeper::textOf(Keeper::kept[i]), wanted[i]);
  Keeper::kept.clear();
  keptSubs = HostArray();
}

}  // namespace
}  // namespace tessel
