#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/encoding_reference.h"
#include "support/pal_error.h"

using test::failed;
using test::invalid;
using test::Lines;
using test::LogLine;
using test::ok;
using test::Toc;

namespace {

namespace fs = std::filesystem;

const std::vector<const char *> elements{"id",       "version",  "reference_count", "state",
                                         "checksum", "deadline", "location",        "properties"};

struct Number {
  std::string Toc::*text;
  int32_t DepotEntry::*value;
};

const std::vector<Number> numbers{
    {&Toc::referenceCount, &DepotEntry::reference_count},
    {&Toc::state, &DepotEntry::state},
    {&Toc::checksum, &DepotEntry::checksum},
    {&Toc::deadline, &DepotEntry::deadline},
};

// Texts that stand in a TOC file as they are, without hiding anything in it.
const std::vector<std::string> oddTexts{
    "",
    " ",
    "%",
    "100%s%n%1$s",
    "a/b\\c/../d",
    "line\nbreak\r\n\tand tab",
    "<",
    ">",
    "<<>>",
    "a<b>c</b>",
    "<version",
    "version>",
    "<versions>",
    "&lt;id&gt;",
    "identity",
    "\x01\x7f\x80\xff",
    std::string(65536, 'l'),
};

// A record as a program has it; nothing in it is the library's.
class Record {
public:
  explicit Record(Toc toc, std::string properties = "")
      : toc_(std::move(toc)), properties_(std::move(properties)) {
    entry_.id = toc_.id.data();
    entry_.version = toc_.version.data();
    entry_.location = toc_.location.data();
    entry_.toc_path = tocPath_.data();
    entry_.properties = reinterpret_cast<unsigned char *>(properties_.data());
    entry_.properties_length = static_cast<uint32_t>(properties_.size());
    for (const Number &number : numbers) {
      entry_.*number.value = std::stoi(toc_.*number.text);
    }
  }
  Record(const Record &) = delete;
  Record &operator=(const Record &) = delete;

  DepotEntry *get() { return &entry_; }
  // What its TOC file has to hold.
  std::string expected() const {
    Toc toc = toc_;
    toc.properties = test::referenceEncode(properties_);
    return toc.bytes();
  }

private:
  Toc toc_;
  std::string properties_;
  std::string tocPath_ = "depot/made.xml";
  DepotEntry entry_{};
};

std::string bytesUpTo(size_t length) {
  std::string bytes(length, '\0');
  for (size_t i = 0; i < length; ++i) {
    bytes[i] = static_cast<char>(i * 7 + i / 256);
  }
  return bytes;
}

size_t openFiles() {
  return static_cast<size_t>(
      std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{}));
}

class DepotToc : public test::DepotTest {
protected:
  // The text that is built of a record, its NUL included.
  std::string build(Record &record) {
    char *text = nullptr;
    uint32_t length = 0;
    const PalError result = DepotEntrySetProperties(depot, record.get(), &text, &length);
    EXPECT_EQ(result, ok);
    std::string bytes = text == nullptr ? "" : std::string(text, length);
    PalMemoryFree(text);
    return bytes;
  }

  DepotEntry *read(const Toc &toc) { return DepotEntryNewFromToc(depot, toc.bytes().c_str()); }

  static std::string propertiesOf(const DepotEntry *entry) {
    return {reinterpret_cast<const char *>(entry->properties), entry->properties_length};
  }
};

} // namespace

TEST_F(DepotToc, IsTheTemplateFilledWithTheRecord) {
  Toc toc;
  toc.id = "a";
  toc.referenceCount = "2";
  toc.checksum = "-5";
  toc.location = "/d/00000117.0.dat";
  Record record(toc);
  const char expected[] = "<<id>a</id><version>1</version><reference_count>2</reference_count>"
                          "<state>1</state><checksum>-5</checksum><deadline>0</deadline>"
                          "<location>/d/00000117.0.dat</location><properties></properties>>";
  EXPECT_EQ(build(record), std::string(expected, sizeof(expected))) << "its NUL included";
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotEntrySetProperties entry\n"}, {3, "DepotEntrySetProperties exit\n"}}));
}

TEST_F(DepotToc, OfARecordWithEmptyStringsIsTheTemplateWithFourZeros) {
  Record record({.id = "", .version = "", .state = "0", .location = "", .properties = ""});
  const std::string bytes = build(record);
  EXPECT_EQ(bytes, record.expected());
  EXPECT_EQ(bytes.size(), 168U + 4 + 1);
}

TEST_F(DepotToc, HoldsStringsAsTheyAre) {
  for (std::string Toc::*member : {&Toc::id, &Toc::version, &Toc::location}) {
    for (const std::string &text : oddTexts) {
      Toc toc;
      toc.*member = text;
      Record record(toc);
      EXPECT_EQ(build(record), record.expected());
    }
  }
}

TEST_F(DepotToc, HoldsAnyNumber) {
  for (const int32_t number : {INT32_MIN, INT32_MIN + 1, -1, 0, 1, 9, 10, INT32_MAX}) {
    Toc toc;
    for (const Number &member : numbers) {
      toc.*member.text = std::to_string(number);
    }
    Record record(toc);
    EXPECT_EQ(build(record), record.expected());
  }
}

TEST_F(DepotToc, HoldsPropertiesOfAnyLengthInOneLine) {
  std::vector<size_t> lengths{597,  598,  599,  600,  1023,  1024,   4095,
                              4096, 4097, 8192, 8193, 65536, 1000000};
  for (size_t length = 0; length < 64; ++length) {
    lengths.push_back(length);
  }
  Toc toc;
  for (const Number &member : numbers) {
    toc.*member.text = std::to_string(INT32_MIN);
  }
  for (const size_t length : lengths) {
    Record record(toc, bytesUpTo(length));
    EXPECT_EQ(build(record), record.expected()) << length;
  }
}

TEST_F(DepotToc, HoldsMuchOfEverything) {
  const std::string much(65536, 'm');
  Record record({.id = much, .version = much, .location = much, .properties = ""},
                bytesUpTo(65536));
  EXPECT_EQ(build(record), record.expected());
}

TEST_F(DepotToc, IsNotBuiltWhereTheRecordHidesAnElement) {
  for (auto element = elements.begin() + 1; element != elements.end(); ++element) {
    Toc toc;
    toc.id = "hiding <" + std::string(*element) + "/>";
    Record record(toc);
    char *text = nullptr;
    uint32_t length = 0;
    EXPECT_EQ(DepotEntrySetProperties(depot, record.get(), &text, &length), invalid(2)) << toc.id;
    EXPECT_EQ(text, nullptr);
  }
}

TEST_F(DepotToc, IsReadIntoARecordOfTheHandle) {
  const DepotEntry *entry =
      read({"a", "1.0", "2", "1", "-5", "1700000000", "/d/00000117.0.dat", "AAECAw=="});
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotEntryNewFromToc entry\n"},
                                {3, "DepotEntryNew entry\n"},
                                {3, "DepotEntryNew exit\n"},
                                {3, "DepotEntryNewFromToc exit\n"}}));
  EXPECT_STREQ(entry->id, "a");
  EXPECT_STREQ(entry->version, "1.0");
  EXPECT_STREQ(entry->location, "/d/00000117.0.dat");
  EXPECT_EQ(entry->reference_count, 2);
  EXPECT_EQ(entry->state, 1);
  EXPECT_EQ(entry->checksum, -5);
  EXPECT_EQ(entry->deadline, 1700000000);
  EXPECT_EQ(propertiesOf(entry), std::string("\0\1\2\3\0\0", 6)) << "padding is counted";
  EXPECT_EQ(entry->toc_path, nullptr);
  EXPECT_EQ(entry->size, 0U);
  EXPECT_EQ(entry->open_count + entry->write_count, 0U);
  EXPECT_EQ(entry->access_time, 0);
  EXPECT_EQ(entry->modify_time, 0);
  EXPECT_EQ(loaded(), (std::vector<DepotEntry *>{const_cast<DepotEntry *>(entry)}));
}

TEST_F(DepotToc, IsReadIntoANewRecordEachTime) {
  DepotEntry *first = read(Toc{});
  DepotEntry *second = read(Toc{});
  EXPECT_EQ(loaded(), (std::vector<DepotEntry *>{second, first}));
}

TEST_F(DepotToc, IsBuiltAndReadWithoutLocks) {
  // Every wait fails as long as the locks have no semaphores.
  const int32_t depotSet = std::exchange(depot->depotLock.handle->semid, -1);
  const int32_t entrySet = std::exchange(depot->entryLock.handle->semid, -1);
  Record record(Toc{});
  EXPECT_NE(DepotEntryNewFromToc(depot, build(record).c_str()), nullptr);
  EXPECT_EQ(log.upTo(2), Lines{});
  depot->depotLock.handle->semid = depotSet;
  depot->entryLock.handle->semid = entrySet;
}

TEST_F(DepotToc, IsReadWhateverItsOrderAndWhatElseItHolds) {
  const DepotEntry *entry = DepotEntryNewFromToc(
      depot,
      "<?xml?>\n<toc>\n <properties a=\"b\"></properties><state\t>1</state>\n<other>7</other>"
      "<deadline>4</deadline><checksum>3</checksum><location >/l</location>"
      "<reference_count>2</reference_count><versions>9</versions>"
      "<version>v</version><ident>8</ident><id>i</id><id>second</id>\n</toc>\n");
  ASSERT_NE(entry, nullptr);
  EXPECT_STREQ(entry->id, "i");
  EXPECT_STREQ(entry->version, "v");
  EXPECT_STREQ(entry->location, "/l");
  EXPECT_EQ(entry->reference_count, 2);
  EXPECT_EQ(entry->checksum, 3);
  EXPECT_EQ(entry->deadline, 4);
  EXPECT_EQ(propertiesOf(entry), "");
}

TEST_F(DepotToc, HasItsNumbersReadAsFarAsTheyGoAndHeldWithin32Bits) {
  const std::vector<std::pair<std::string, int32_t>> texts{
      {"", 0},
      {"1x", 1},
      {"x1", 0},
      {" \t\n 42 ", 42},
      {"+7", 7},
      {"-5", -5},
      {"--5", 0},
      {"0x10", 0},
      {"010", 10},
      {"2147483647", INT32_MAX},
      {"-2147483648", INT32_MIN},
      {"2147483648", INT32_MAX},
      {"-2147483649", INT32_MIN},
      {"4294967297", INT32_MAX},
      {"000000000000005", 5},
      {"999999999999999", INT32_MAX},
      {"-99999999999999", INT32_MIN},
      {"1 and 12 letter", 1},
  };
  for (const auto &[text, value] : texts) {
    Toc toc;
    for (const Number &number : numbers) {
      toc.*number.text = text;
    }
    const DepotEntry *entry = read(toc);
    ASSERT_NE(entry, nullptr) << text;
    for (const Number &number : numbers) {
      EXPECT_EQ(entry->*number.value, value) << text;
    }
  }
}

TEST_F(DepotToc, IsRefusedWithANumberOf16CharactersAndMore) {
  for (const std::string &text : {std::string("0000000000000005"), std::string("1               "),
                                  std::string(17, '1'), std::string(65536, '0')}) {
    for (const Number &number : numbers) {
      Toc toc;
      toc.*number.text = text;
      EXPECT_EQ(read(toc), nullptr) << text.size();
    }
  }
  EXPECT_TRUE(loaded().empty());
}

TEST_F(DepotToc, IsRefusedWithoutAnyOfItsElements) {
  for (const char *element : elements) {
    const std::string name = element;
    const std::string closing = "</" + name + ">";
    for (const std::string &instead : {std::string(), "<" + name + "/>", closing}) {
      std::string text = Toc{}.bytes();
      const size_t start = text.find("<" + name + ">");
      text.replace(start, text.find(closing) + closing.size() - start, instead);
      log.clear();
      EXPECT_EQ(DepotEntryNewFromToc(depot, text.c_str()), nullptr) << text;
      Lines lines = log.lines();
      if (!lines.empty() && lines.back() == LogLine{3, "DepotEntryNewFromToc exit\n"}) {
        lines.pop_back();
      }
      EXPECT_EQ(lines, (Lines{{3, "DepotEntryNewFromToc entry\n"},
                              {3, "DepotEntryNew entry\n"},
                              {3, "DepotEntryNew exit\n"},
                              {3, "DepotFreeEntry_internal entry\n"},
                              {3, "DepotFreeEntry_internal exit\n"}}));
    }
  }
  EXPECT_TRUE(loaded().empty());
  EXPECT_EQ(semaphore("entry.lk"), 2);
}

TEST_F(DepotToc, IsReadAsSoonAsEachElementHasBegun) {
  Toc toc;
  toc.properties = "AAECAw==";
  const std::string text = toc.bytes();
  const size_t enough = text.find("<properties>") + strlen("<properties>");
  for (size_t length = 0; length < text.size(); ++length) {
    const DepotEntry *entry = DepotEntryNewFromToc(depot, text.substr(0, length).c_str());
    EXPECT_EQ(entry != nullptr, length >= enough) << text.substr(0, length);
  }
}

TEST_F(DepotToc, HasItsPropertiesDecodedLeniently) {
  const std::vector<std::pair<std::string, std::string>> texts{
      {"TWFu", "Man"},      {"TWE=", {"Ma\0", 3}},  {"TQ==", {"M\0\0", 3}},
      {"TWE", {"Ma\0", 3}}, {" TW\r\nFu\t", "Man"}, {"\xd4\xd7\xc6\xf5", "Man"},
      {" \n ", ""},
  };
  for (const auto &[text, properties] : texts) {
    Toc toc;
    toc.properties = text;
    const DepotEntry *entry = read(toc);
    ASSERT_NE(entry, nullptr) << text;
    EXPECT_EQ(propertiesOf(entry), properties);
  }
  Toc toc;
  toc.properties = "T*Fu";
  EXPECT_EQ(read(toc)->properties_length, 3U);
  toc.properties = "";
  EXPECT_EQ(read(toc)->properties, nullptr);
}

TEST_F(DepotToc, GivesBackWhatARecordHeld) {
  for (std::string Toc::*member : {&Toc::id, &Toc::version, &Toc::location}) {
    for (const std::string &text : oddTexts) {
      Toc toc;
      toc.*member = text;
      Record record(toc, bytesUpTo(3 * (text.size() % 2000)));
      const DepotEntry *entry = DepotEntryNewFromToc(depot, build(record).c_str());
      ASSERT_NE(entry, nullptr) << text;
      EXPECT_EQ(entry->id, toc.id);
      EXPECT_EQ(entry->version, toc.version);
      EXPECT_EQ(entry->location, toc.location);
      EXPECT_EQ(propertiesOf(entry), bytesUpTo(3 * (text.size() % 2000)));
    }
  }
}

TEST_F(DepotToc, MayHoldAnything) {
  const std::string whole = Toc{}.bytes();
  std::mt19937 random(22);
  for (int i = 0; i < 2000; ++i) {
    std::string text;
    while (random() % 40 != 0) {
      const size_t start = random() % whole.size();
      text += random() % 2 == 0 ? whole.substr(start, random() % 60)
                                : std::string(1, static_cast<char>(random()));
    }
    const size_t before = loaded().size();
    const DepotEntry *entry = DepotEntryNewFromToc(depot, text.c_str());
    EXPECT_EQ(loaded().size(), before + (entry == nullptr ? 0 : 1)) << text;
  }
  EXPECT_EQ(log.upTo(2), Lines{});
}

TEST_F(DepotToc, IsSavedWithOneNulForItsOwnerOnly) {
  const mode_t mask = umask(0);
  Record record(Toc{}, bytesUpTo(5000));
  EXPECT_EQ(DepotSaveEntry(depot, record.get()), ok);
  umask(mask);
  EXPECT_EQ(test::readFile("depot/made.xml"), record.expected());
  struct stat status {};
  ASSERT_EQ(stat("depot/made.xml", &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotSaveEntry entry\n"},
                                {3, "DepotSaveEntry_internal entry\n"},
                                {3, "DepotEntrySetProperties entry\n"},
                                {3, "DepotEntrySetProperties exit\n"},
                                {3, "DepotSaveEntry_internal exit\n"},
                                {3, "DepotSaveEntry exit\n"}}));
  EXPECT_EQ(names(), std::vector<std::string>{"made.xml"}) << "no data file";
  EXPECT_TRUE(loaded().empty());
}

TEST_F(DepotToc, KeepsTheTailOfALongerOneBehindItsNul) {
  Toc toc;
  Record before(toc, bytesUpTo(100));
  ASSERT_EQ(DepotSaveEntry(depot, before.get()), ok);
  toc.state = "0";
  toc.referenceCount = "12";
  Record after(toc);
  EXPECT_EQ(DepotSaveEntry(depot, after.get()), ok);
  const std::string text = after.expected();
  EXPECT_EQ(test::readFile("depot/made.xml"), text + before.expected().substr(text.size()));
  EXPECT_EQ(DepotSaveEntry(depot, before.get()), ok);
  EXPECT_EQ(test::readFile("depot/made.xml"), before.expected());
}

TEST_F(DepotToc, IsSavedWithoutTheLockByThoseWhoHoldIt) {
  destroySemaphore("entry.lk");
  Record record(Toc{});
  EXPECT_EQ(DepotSaveEntry_internal(depot, record.get()), ok);
  EXPECT_EQ(test::readFile("depot/made.xml"), record.expected());
  EXPECT_EQ(log.upTo(2), Lines{});
}

TEST_F(DepotToc, IsNotSavedWhereItCannotBeBuiltOpenedOrWritten) {
  Toc hiding;
  hiding.id = "<state/>";
  fs::create_directory("depot/directory");
  std::string paths[] = {"missing/made.xml", "depot/directory", "/dev/full", "c:\\made.xml"};
  const PalError results[] = {failed(ENOENT, 3), failed(EISDIR, 3), failed(ENOSPC, 2), invalid(2)};
  size_t open = 0;
  for (auto *save : {DepotSaveEntry, DepotSaveEntry_internal, DepotSaveEntry}) {
    open = openFiles();
    Record hidden(hiding);
    EXPECT_EQ(save(depot, hidden.get()), invalid(2));
    Record record(Toc{});
    for (size_t i = 0; i < std::size(paths); ++i) {
      record.get()->toc_path = paths[i].data();
      EXPECT_EQ(save(depot, record.get()), results[i]) << paths[i];
    }
    record.get()->toc_path = nullptr;
    EXPECT_EQ(save(depot, record.get()), invalid(1));
  }
  EXPECT_EQ(openFiles(), open) << "in the last round";
  EXPECT_EQ(names(), std::vector<std::string>{"directory"});
  EXPECT_EQ(log.upTo(2), Lines{});
  EXPECT_EQ(semaphore("entry.lk"), 2);
}

TEST_F(DepotToc, ThatTheSystemCutsShortCountsAsWrittenToAFullDisk) {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  ASSERT_NE(signal(SIGXFSZ, SIG_IGN), SIG_ERR);
  const rlimit shortLimit{100, limit.rlim_max};
  Record record(Toc{});
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &shortLimit), 0);
  const PalError result = DepotSaveEntry(depot, record.get());
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_EQ(result, failed(ENOSPC, 2));
  EXPECT_EQ(semaphore("entry.lk"), 2);
}
