#include <gtest/gtest.h>

#include <variant>

#include "runtime/KeyedArchive.h"
#include "runtime/PlistIO.h"

namespace halvex {
namespace {

using namespace plist;

Value sample() {
  Dictionary inner{{"HalvexClassName", "HXApplication"}, {"appName", "/usr/bin/curl"}, {"rule", -3}};
  Array list{Value(true), Value(false), Value(1.5), Value(std::int64_t{1} << 40), Value(inner)};
  return Value(Dictionary{{"list", list},
                          {"data", Data{{0, 1, 2, 255}}},
                          {"date", Date{700000000}},
                          {"uid", Uid{17}},
                          {"empty", Dictionary{}},
                          {"text", "caffè & <tags>"}});
}

Value parsed(const std::string& bytes) {
  auto result = parse(bytes);
  if (auto* error = std::get_if<ParseError>(&result)) ADD_FAILURE() << error->message;
  auto* value = std::get_if<Value>(&result);
  return value ? *value : Value();
}

TEST(Plist, XmlAndBinaryKeepEveryTypeAndValue) {
  const Value original = sample();
  EXPECT_EQ(parsed(toXml(original)), original);
  EXPECT_EQ(parsed(toBinary(original)), original);
  // Binary keeps fractions of a second; XML writes whole seconds, as the format does.
  const Value precise(Date{700000000.25});
  EXPECT_EQ(parsed(toBinary(precise)), precise);
  EXPECT_TRUE(toXml(original).starts_with("<?xml")) << "the header a foreign reader looks for";
}

TEST(Plist, DictionaryKeysAreKeptSortedAndUniqueAndTypedViewsRefuseOtherTypes) {
  Dictionary d;
  d.set("zeta", 1);
  d.set("alpha", 2);
  d["mid"] = 3;
  d.set("alpha", 4);
  EXPECT_EQ(d.keys(), (std::vector<std::string>{"alpha", "mid", "zeta"}));
  EXPECT_EQ(d.find("alpha")->asInteger(), 4);
  EXPECT_TRUE(d.erase("mid"));
  EXPECT_FALSE(d.erase("mid"));
  EXPECT_EQ(d.find("mid"), nullptr);

  const Value text("5");
  EXPECT_FALSE(text.asInteger());
  EXPECT_FALSE(text.asBool());
  EXPECT_EQ(text.asArray(), nullptr);
  EXPECT_EQ(Value(3).asReal(), 3.0) << "an integer setting read as a real";
}

TEST(Plist, BadInputGivesAnErrorNeverACrash) {
  for (const std::string& junk : {std::string(), std::string("not a plist"), std::string("<plist><dict><key>a"),
                                  std::string("bplist00\x01\x02", 10), std::string(40, '\xff')}) {
    EXPECT_TRUE(std::holds_alternative<ParseError>(parse(junk))) << "accepted: " << junk;
  }
  std::string deep;
  for (int i = 0; i < 2000; ++i) deep += "<array>";
  for (int i = 0; i < 2000; ++i) deep += "</array>";
  EXPECT_TRUE(
      std::holds_alternative<ParseError>(parse("<?xml version=\"1.0\"?><plist version=\"1.0\">" + deep + "</plist>")));
}

// The sliced writer must write, byte for byte, what the whole-tree writer writes: a slice
// boundary that shifted indentation or dropped an item would go unseen by a reader that parses.
TEST(Plist, ArrayWrittenInSlicesIsTheTextOfTheWholeArray) {
  for (std::size_t count : {0U, 1U, 2U, 3U, 4U, 7U, 9U}) {
    Array items;
    XmlArrayWriter writer(3);
    for (std::size_t i = 0; i < count; ++i) {
      Value item = (i % 2) ? sample() : Value("item " + std::to_string(i));
      writer.append(item);
      items.push_back(std::move(item));
    }
    EXPECT_EQ(writer.finish(), toXml(Value(items))) << count << " items in slices of 3";
  }
  // A finished writer starts a new document.
  XmlArrayWriter writer(2);
  for (int i = 0; i < 5; ++i) writer.append(Value(i));
  (void)writer.finish();
  writer.append(Value("again"));
  EXPECT_EQ(writer.finish(), toXml(Value(Array{Value("again")})));
}

// The keyed archive, the form an encoded configuration travels in.
Value sampleGraph() {
  return Value(Array{
      Value(Dictionary{{"HalvexClassName", Value("HXApplication")},
                       {"appName", Value("Foo.app")},
                       {"appIsBundle", Value(true)},
                       {"appIsBlockedOrAllowed", Value(std::int64_t{4})},
                       {"appMatches", Value(Array{Value("@10.0.0.1"), Value("#_range1:2")})}}),
      Value(Dictionary{{"HalvexClassName", Value("HXPreferences")},
                       {"quietTime", Value(20.5)},
                       {"negative", Value(std::int64_t{-7})},
                       {"zeroInteger", Value(std::int64_t{0})},
                       {"falseFlag", Value(false)},
                       {"empty", Value(Array{})},
                       {"blob", Value(plist::Data{{0, 1, 2, 255}})},
                       {"when", Value(plist::Date{123456.25})}}),
      Value(),
      Value("HXApplication"),
      // Equal scalars of different kinds stay apart.
      Value(std::int64_t{1}),
      Value(true),
      Value(1.0),
  });
}

TEST(KeyedArchiveTest, RoundTripsEveryKindLosslesslyThroughBothFileForms) {
  const Value graph = sampleGraph();
  const auto archived = keyedarchive::archive(graph);
  for (const std::string& bytes : {plist::toXml(archived), plist::toBinary(archived)}) {
    auto parsed = plist::parse(bytes);
    ASSERT_TRUE(std::holds_alternative<Value>(parsed));
    auto back = keyedarchive::unarchive(std::get<Value>(parsed));
    ASSERT_TRUE(std::holds_alternative<Value>(back)) << std::get<keyedarchive::ArchiveError>(back).message;
    EXPECT_EQ(std::get<Value>(back), graph);
  }
  auto fromData = keyedarchive::unarchiveObjectWithData(keyedarchive::archivedDataWithRootObject(graph));
  ASSERT_TRUE(std::holds_alternative<Value>(fromData));
  EXPECT_EQ(std::get<Value>(fromData), graph);
}

TEST(KeyedArchiveTest, ReadsMutableClassesAndWrappedStringsAndRefusesBrokenArchives) {
  auto make = [](Array objects, Value root = Value(plist::Uid{1})) {
    return Value(Dictionary{{"$archiver", Value("NSKeyedArchiver")},
                            {"$version", Value(std::int64_t{100000})},
                            {"$top", Value(Dictionary{{"root", root}})},
                            {"$objects", Value(std::move(objects))}});
  };
  const Value mutableArray = make(Array{
      Value("$null"),
      Value(Dictionary{{"NS.objects", Value(Array{Value(plist::Uid{2}), Value(plist::Uid{0})})},
                       {"$class", Value(plist::Uid{3})}}),
      Value(Dictionary{{"NS.string", Value("wrapped")}, {"$class", Value(plist::Uid{4})}}),
      Value(Dictionary{{"$classname", Value("NSMutableArray")}}),
      Value(Dictionary{{"$classname", Value("NSMutableString")}}),
  });
  auto ok = keyedarchive::unarchive(mutableArray);
  ASSERT_TRUE(std::holds_alternative<Value>(ok));
  EXPECT_EQ(std::get<Value>(ok), Value(Array{Value("wrapped"), Value()}));

  const auto isError = [](const std::variant<Value, keyedarchive::ArchiveError>& r) {
    return std::holds_alternative<keyedarchive::ArchiveError>(r);
  };
  EXPECT_TRUE(isError(keyedarchive::unarchive(Value(Array{}))));
  EXPECT_TRUE(isError(keyedarchive::unarchive(make(Array{Value("$null")}, Value(plist::Uid{9})))));
  // A class nobody knows, and an array that holds itself.
  EXPECT_TRUE(
      isError(keyedarchive::unarchive(make(Array{Value("$null"), Value(Dictionary{{"$class", Value(plist::Uid{2})}}),
                                                 Value(Dictionary{{"$classname", Value("NSColor")}})}))));
  EXPECT_TRUE(isError(keyedarchive::unarchive(make(
      Array{Value("$null"),
            Value(Dictionary{{"NS.objects", Value(Array{Value(plist::Uid{1})})}, {"$class", Value(plist::Uid{2})}}),
            Value(Dictionary{{"$classname", Value("NSArray")}})}))));
  EXPECT_TRUE(isError(keyedarchive::unarchiveObjectWithData(plist::Data{{'x', 'y'}})));
}

}  // namespace
}  // namespace halvex
