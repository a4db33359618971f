#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/NSPropertyListSerialization.h"

namespace ks {

namespace {

/// A binary list whose objects are `objects`, with the given widths of offsets and references.
Data binaryList(const std::vector<Data>& objects, int offsetSize, int referenceSize) {
  Data file{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  std::vector<std::size_t> offsets;
  for (const Data& object : objects) {
    offsets.push_back(file.size());
    file.insert(file.end(), object.begin(), object.end());
  }
  const auto number = [&](std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i) {
      file.push_back(i < 8 ? static_cast<std::uint8_t>(value >> (8 * i)) : 0);
    }
  };
  const std::size_t table = file.size();
  for (const auto offset : offsets) number(offset, offsetSize);
  number(0, 6);
  number(static_cast<std::uint64_t>(offsetSize), 1);
  number(static_cast<std::uint64_t>(referenceSize), 1);
  number(objects.size(), 8);
  number(0, 8);
  number(table, 8);
  return file;
}

Result<Value> read(const Data& bytes) {
  return NSPropertyListSerialization::propertyListWithData(bytes);
}

Result<Value> readText(std::string_view text) { return read(Data(text.begin(), text.end())); }

}  // namespace

TEST(NSPropertyListSerializationTest, ReadsIntegersOfEveryWidth) {
  const std::pair<Data, Value> cases[] = {
      {{0x10, 0xFF}, 255},
      {{0x11, 0x80, 0x00}, 32768},
      {{0x12, 0xFF, 0xFF, 0xFF, 0xFF}, 4294967295},
      {{0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}, -2},
      {{0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, UINT64_MAX},
      {{0x22, 0x3F, 0xC0, 0, 0}, 1.5},
      {{0x23, 0xBF, 0xF8, 0, 0, 0, 0, 0, 0}, -1.5},
      {{0x09}, true},
      {{0x62, 0x00, 0xE9, 0x20, 0xAC}, "é€"}};
  for (const auto& [object, expected] : cases) {
    const auto value = read(binaryList({object}, 1, 1));
    ASSERT_TRUE(value) << value.error().localizedDescription();
    EXPECT_EQ(*value, expected);
  }
}

TEST(NSPropertyListSerializationTest, ReadsReferencesOfEveryWidth) {
  for (int size = 1; size <= 8; ++size) {
    Data list{0xA2};
    for (const std::uint8_t target : {1, 1}) {
      list.insert(list.end(), static_cast<std::size_t>(size - 1), 0);
      list.push_back(target);
    }
    const auto value = read(binaryList({list, {0x10, 5}}, size, size));
    ASSERT_TRUE(value) << size;
    EXPECT_EQ(*value, Value(Array{5, 5}));
  }
}

TEST(NSPropertyListSerializationTest, DamagedListsAreErrors) {
  const Data cases[] = {
      {},
      {'b', 'p', 'l', 'i', 's', 't', '0', '0'},
      binaryList({{0xA1, 0}}, 1, 1),  // contains itself
      binaryList({{0xA1, 9}}, 1, 1),  // leads nowhere
      binaryList({{0xAF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}, 1, 1),
      binaryList({{0x5F, 0x12, 0xFF, 0xFF, 0xFF, 0xFF}}, 1, 1),
      binaryList({{0xD1, 1, 1}, {0x10, 1}}, 1, 1),  // a key that is no text
      binaryList({{0x17}}, 1, 1),
      binaryList({{0xF0}}, 1, 1),
      binaryList({{0x51, 0xC3}}, 1, 1),
      binaryList({{0x09}}, 0, 1),
      binaryList({}, 1, 1)};
  for (const Data& bytes : cases) EXPECT_FALSE(read(bytes)) << bytes.size();
}

TEST(NSPropertyListSerializationTest, BothFormatsKeepValues) {
  const Value value = Dictionary{{"text", "a<b>&\"é"},
                                 {"list", Array{1, -2, 0.25, true}},
                                 {"data", Data{0, 255}},
                                 {"when", dateFromSecondsSince1970(1e9)},
                                 {"empty", Dictionary{}}};
  for (const auto format : {NSPropertyListFormat::xml, NSPropertyListFormat::binary}) {
    const auto bytes = NSPropertyListSerialization::dataWithPropertyList(value, format);
    ASSERT_TRUE(bytes);
    const auto back = read(*bytes);
    ASSERT_TRUE(back) << back.error().localizedDescription();
    EXPECT_EQ(*back, value);
  }
}

TEST(NSPropertyListSerializationTest, DamagedXmlIsAnError) {
  const std::string deep = "<plist>" + std::string(100000, ' ') + [] {
    std::string text;
    for (int i = 0; i < 100000; ++i) text += "<array>";
    return text;
  }();
  for (const std::string_view text :
       {std::string_view("<plist>"), std::string_view("<plist><integer>x</integer></plist>"),
        std::string_view("<plist><integer>99999999999999999999</integer></plist>"),
        std::string_view("<plist><dict><key>a</key></dict></plist>"),
        std::string_view("<plist><dict><integer>1</integer></dict></plist>"),
        std::string_view("<plist><date>tomorrow</date></plist>"),
        std::string_view("<plist><data>?</data></plist>"),
        std::string_view("<plist><what/></plist>"), std::string_view(deep)}) {
    EXPECT_FALSE(readText(text)) << text.substr(0, 60);
  }
}

}  // namespace ks
