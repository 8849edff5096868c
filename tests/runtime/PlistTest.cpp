#include <gtest/gtest.h>

#include <variant>

#include "runtime/PlistIO.h"

using namespace halvex;
using namespace halvex::plist;

namespace {

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

}  // namespace

TEST(Plist, XmlAndBinaryKeepEveryTypeAndValue) {
  const Value original = sample();
  EXPECT_EQ(parsed(toXml(original)), original);
  EXPECT_EQ(parsed(toBinary(original)), original);
  // Binary keeps fractions of a second; XML writes whole seconds, as the format does.
  const Value precise(Date{700000000.25});
  EXPECT_EQ(parsed(toBinary(precise)), precise);
  const std::string xml = toXml(original);
  EXPECT_NE(xml.find("<?xml"), std::string::npos);
  EXPECT_NE(xml.find("caff\xC3\xA8 &amp; &lt;tags&gt;"), std::string::npos);
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
