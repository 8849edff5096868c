#include <gtest/gtest.h>

#include "runtime/KeyedArchive.h"
#include "runtime/PlistIO.h"

namespace halvex {
namespace {

using plist::Array;
using plist::Dictionary;
using plist::Value;

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

// The layout as a foreign reader sees it is checked in InteropTest.
TEST(KeyedArchiveTest, StoresEqualScalarsOnceAndKeepsKindsApart) {
  const Value graph(Array{Value("same"), Value("same"), Value(std::int64_t{1}), Value(true), Value(1.0)});
  const auto archived = keyedarchive::archive(graph);
  const auto& objects = *archived.asDictionary()->find("$objects")->asArray();
  const auto& refs = *objects[1].asDictionary()->find("NS.objects")->asArray();
  ASSERT_EQ(refs.size(), 5u);
  EXPECT_EQ(refs[0], refs[1]);
  EXPECT_NE(refs[2], refs[3]);
  EXPECT_NE(refs[2], refs[4]);
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
