#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>

#include "BeaconSDK/Classes/Common/Foundation/Archives/NSKeyedUnarchiver.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCoding.h"
#include "BeaconSDK/Classes/Common/Foundation/Archives/NSObject+AutoCodingFiles.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSValue.h"
#include "BeaconSDK/Platform/Api/Class.h"
#include "BeaconSDK/Platform/Simulated/SimulatedPlatform.h"

namespace ks {

namespace {

using testing::HasSubstr;

/// A record with one property of each kind, which may refer to another record.
class Note : public Object {
 public:
  static constexpr const char* kClassName = "Note";
  static const Class kClass;
  const Class& objectClass() const override { return kClass; }

  std::optional<std::string> text;
  bool flag = false;
  std::int8_t tiny = 0;
  float ratio = 0.5F;
  std::optional<Date> date;
  std::optional<UUID> uuid;
  CLLocationCoordinate2D place;
  std::shared_ptr<Note> next;
};
const Class Note::kClass{
    kClassName,
    nullptr,
    makeObject<Note>,
    {property("text", &Note::text), property("flag", &Note::flag), property("tiny", &Note::tiny),
     property("ratio", &Note::ratio), property("date", &Note::date), property("uuid", &Note::uuid),
     property("place", &Note::place), property("next", &Note::next)}};

std::string output(const std::string& command) {
  std::string text;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  std::array<char, 4096> buffer;
  while (const auto size = fread(buffer.data(), 1, buffer.size(), pipe)) {
    text.append(buffer.data(), size);
  }
  EXPECT_EQ(pclose(pipe), 0) << command << "\n" << text;
  return text;
}

const std::string kScript = std::string("python3 ") + KS_TEST_FOLDER "/archives.py ";

std::shared_ptr<Note> fullNote() {
  auto note = std::make_shared<Note>();
  note->text = "Grüße 😀";
  note->flag = true;
  note->tiny = -3;
  note->ratio = 0.1F;
  note->date = dateFromSecondsSince1970(1525435407.25);
  note->uuid = *UUID::fromString("11223344-5566-4778-8899-AABBCCDDEEFF");
  note->place = {45.07, -7.68};
  return note;
}

class NSKeyedArchiverTest : public testing::Test {
 protected:
  NSKeyedArchiverTest() { Platform::install(device_); }
  ~NSKeyedArchiverTest() override { Platform::install(nullptr); }
  std::string folder() { return device_->directories().temporary.string() + "/"; }
  std::string archived(const Value& value) {
    EXPECT_TRUE(NSKeyedArchiver::archiveRootObject(value, folder() + "ours.dat"));
    return folder() + "ours.dat";
  }
  std::shared_ptr<SimulatedPlatform> device_ = std::make_shared<SimulatedPlatform>();
};

}  // namespace

TEST_F(NSKeyedArchiverTest, RecordsComeBackWhole) {
  const auto note = fullNote();
  const auto read = NSKeyedUnarchiver::unarchiveObjectWithFile(archived(note));
  ASSERT_TRUE(read) << read.error().localizedDescription();
  const auto copy = read->objectOf<Note>();
  ASSERT_TRUE(copy);
  EXPECT_EQ(NSObjectAutoCoding::dictionaryRepresentation(*copy),
            NSObjectAutoCoding::dictionaryRepresentation(*note));
  EXPECT_EQ(copy->place, note->place);
  EXPECT_EQ(copy->ratio, 0.1F);
}

TEST_F(NSKeyedArchiverTest, ValuesComeBackEqual) {
  const Value values[] = {true,
                          0,
                          INT64_MIN,
                          UINT64_MAX,
                          -0.5,
                          1e300,
                          "",
                          "$null",
                          Data{},
                          Data(300, 7),
                          Null{},
                          Array{1, "a", Array{2.5}},
                          Set{{1, 2}},
                          Dictionary{{"$key", 1}, {"", Dictionary{}}},
                          std::string(70000, 'x'),
                          dateFromSecondsSince1970(-1e9)};
  for (const Value& value : values) {
    const auto read = NSKeyedUnarchiver::unarchiveObjectWithData(
        NSKeyedArchiver::archivedDataWithRootObject(value));
    ASSERT_TRUE(read) << value.description().substr(0, 40);
    EXPECT_EQ(*read, value) << value.description().substr(0, 40);
    EXPECT_EQ(read->className(), value.className());
  }
}

TEST_F(NSKeyedArchiverTest, SharedRecordsStayShared) {
  const auto one = fullNote();
  const auto two = std::make_shared<Note>();
  one->next = two;
  two->next = one;
  const Array list{one, two, one};
  const auto read = NSKeyedUnarchiver::unarchiveObjectWithFile(archived(list));
  ASSERT_TRUE(read);
  const auto& items = read->array()->items;
  EXPECT_EQ(items[0].object(), items[2].object());
  EXPECT_EQ(items[0].objectOf<Note>()->next, items[1].object());
  EXPECT_EQ(items[1].objectOf<Note>()->next, items[0].object());
  items[0].objectOf<Note>()->next->next = nullptr;
  two->next = nullptr;
}

TEST_F(NSKeyedArchiverTest, OtherReadersOpenOurFiles) {
  const std::string file = archived(Dictionary{{"notes", Array{fullNote(), fullNote()}}});
  const std::string graph = output(kScript + "describe " + file);
  EXPECT_THAT(graph, HasSubstr(R"("class": ["Note", "NSObject"])"));
  EXPECT_THAT(graph, HasSubstr(R"("NS.uuidbytes": "112233445566477888)"));
  EXPECT_THAT(graph, HasSubstr(R"("flag": true)"));
  EXPECT_THAT(graph, HasSubstr(R"("tiny": -3)"));
  EXPECT_THAT(output("plistutil -i " + file), HasSubstr("<string>Note</string>"));
}

TEST_F(NSKeyedArchiverTest, ReadsWhatOthersWrote) {
  output(kScript + "write " + folder());
  output("plistutil -i " + folder() + "every.bin -o " + folder() + "every.xml");
  output("plistutil -i " + folder() + "every.bin -f bin -o " + folder() + "again.bin");
  const Dictionary expected{{"text", "café 😀"},
                            {"wide", std::string(300, 'x')},
                            {"small", 7},
                            {"negative", -3},
                            {"huge", UINT64_MAX},
                            {"real", 2.5},
                            {"yes", true},
                            {"date", dateFromSecondsSince1970(978393600.5)},
                            {"uuid", *UUID::fromString("00010203-0405-0607-0809-0A0B0C0D0E0F")},
                            {"data", Data{0, 1, 255}},
                            {"list", Array{"café 😀", 7}},
                            {"again", Array{"café 😀", 7}},
                            {"set", Set{{7}}},
                            {"nothing", Null{}}};
  for (const char* name : {"every.bin", "every.xml", "again.bin"}) {
    const auto read = NSKeyedUnarchiver::unarchiveObjectWithFile(folder() + name);
    ASSERT_TRUE(read) << name << ": " << read.error().localizedDescription();
    EXPECT_EQ(*read, Value(expected)) << name << read->description();
    const Dictionary& dictionary = *read->dictionary();
    EXPECT_TRUE(dictionary.isMutable);
    EXPECT_EQ(dictionary["list"].identity(), dictionary["again"].identity());
  }
}

TEST_F(NSKeyedArchiverTest, TakesWhatOthersDoDifferently) {
  output(kScript + "write " + folder());
  const Dictionary expected{{"time", dateFromSecondsSince1970(978393600)},
                            {"url", "url"},
                            {"ordered", Array{"time", 7}},
                            {"7", "time"}};
  for (const char* name : {"kinds.bin", "converted.bin"}) {
    const auto read = NSKeyedUnarchiver::unarchiveObjectWithFile(folder() + name);
    ASSERT_TRUE(read) << name << ": " << read.error().localizedDescription();
    EXPECT_EQ(*read, Value(expected)) << read->description();
  }
  const auto shared = NSKeyedUnarchiver::unarchiveObjectWithFile(folder() + "shared.bin");
  ASSERT_TRUE(shared);
  const auto& texts = shared->array()->items;
  EXPECT_EQ(texts.front().identity(), texts.back().identity()) << "one text, 10,000 times";
}

TEST_F(NSKeyedArchiverTest, CachesLeaveOutBadRecords) {
  output(kScript + "write " + folder());
  const Value loaded = loadCacheFile(folder() + "records.bin");
  const auto& items = loaded.array()->items;
  EXPECT_FALSE(items[0].object());
  ASSERT_TRUE(items[1].objectOf<Note>());
  EXPECT_EQ(items[1].objectOf<Note>()->ratio, 0) << "no value of the initialiser's";
  EXPECT_FALSE(items[2].object());
  EXPECT_EQ(device_->console().lines().size(), 2U);
}

TEST_F(NSKeyedArchiverTest, SharedListsStaySmall) {
  Value nested = Array{"leaf"};
  for (int level = 0; level < 45; ++level) nested = Array{nested, nested};
  const Data archive = NSKeyedArchiver::archivedDataWithRootObject(nested);
  const auto read = NSKeyedUnarchiver::unarchiveObjectWithData(archive);
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, nested);
  EXPECT_LT(read->description().size(), 5U << 20);
  EXPECT_TRUE(read->description().ends_with("..."));
}

TEST_F(NSKeyedArchiverTest, HostileGraphsAreErrors) {
  output(kScript + "write " + folder());
  for (const char* name : {"looped", "deep", "lost", "stranger", "classless"}) {
    const auto read = NSKeyedUnarchiver::unarchiveObjectWithFile(folder() + name + ".bin");
    ASSERT_FALSE(read) << name;
    EXPECT_FALSE(read.error().localizedDescription().empty());
    EXPECT_TRUE(loadCacheFile(folder() + name + ".bin").isAbsent());
  }
  EXPECT_TRUE(NSKeyedUnarchiver::unarchiveObjectWithFile(folder() + "wide.bin"))
      << "2^64 paths through 64 shared lists take no longer than 64 lists";
}

TEST_F(NSKeyedArchiverTest, DamageNeverCrashes) {
  const Data good = NSKeyedArchiver::archivedDataWithRootObject(
      Array{fullNote(), Dictionary{{"k", Set{{1}}}}, 300, "é"});
  for (std::size_t size = 0; size < good.size(); ++size) {
    EXPECT_FALSE(NSKeyedUnarchiver::unarchiveObjectWithData({good.data(), size})) << size;
  }
  for (std::size_t place = 0; place < good.size(); ++place) {
    for (const int flip : {0x01, 0x10, 0x80, 0xFF}) {
      Data damaged = good;
      damaged[place] = static_cast<std::uint8_t>(damaged[place] ^ flip);
      try {
        (void)NSKeyedUnarchiver::unarchiveObjectWithData(damaged).ok();
      } catch (const AutocodingException& mismatch) {
        EXPECT_THAT(mismatch.reason(), HasSubstr("Expected '"));
      }
    }
  }
}

TEST_F(NSKeyedArchiverTest, WrongTypesRaise) {
  output(kScript + "write " + folder());
  try {
    (void)NSKeyedUnarchiver::unarchiveObjectWithFile(folder() + "mistyped.bin").ok();
    FAIL() << "a number was taken for a text";
  } catch (const AutocodingException& mismatch) {
    EXPECT_EQ(mismatch.reason(), "Expected 'text' to be a NSString, but was actually a NSNumber");
  }
  EXPECT_TRUE(loadCacheFile(folder() + "mistyped.bin").isAbsent());
}

TEST_F(NSKeyedArchiverTest, FilesAreSniffed) {
  const auto write = [&](const std::string& content) {
    std::ofstream(folder() + "any") << content;
    return NSObjectAutoCoding::objectWithContentsOfFile(folder() + "any");
  };
  EXPECT_EQ(write("<plist version=\"1.0\"><array><integer>1</integer></array></plist>"),
            Value(Array{1}));
  EXPECT_EQ(write("no list"), Value(Data{'n', 'o', ' ', 'l', 'i', 's', 't'}));
  EXPECT_TRUE(NSObjectAutoCoding::objectWithContentsOfFile(folder() + "missing").isAbsent());
  EXPECT_TRUE(NSObjectAutoCoding::writeToFile(fullNote(), folder() + "any", false));
  EXPECT_TRUE(NSObjectAutoCoding::objectWithContentsOfFile(folder() + "any").objectOf<Note>());
  EXPECT_FALSE(NSObjectAutoCoding::writeToFile(fullNote(), folder() + "no/such/file", true));
}

}  // namespace ks
