// Progress of mobile endpoints: whose it is, what is counted, and when it is written.
#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "support/heap.h"
#include "support/log.h"
#include "support/process.h"
#include "support/streams.h"
#include "support/temporary_directory.h"

using test::Description;
using test::Failure;
using test::failureOf;
using test::Lines;
using test::List;

namespace {

namespace fs = std::filesystem;

using Keys = std::vector<std::string>;

Keys keysOf(const Properties &properties) {
  Keys keys;
  for (uint32_t i = 0; i < properties.length; ++i) {
    keys.emplace_back(properties.buffer[i].key);
  }
  return keys;
}

// Of a text property; "(none)" where it is missing.
std::string textIn(const Properties &properties, const char *key) {
  return properties_get_string2(&properties, key, "(none)");
}

Lines failedSave(size_t blanks, const std::string &id) {
  return {{-1, "sprig: Couldn't write progress file for distribution" + std::string(blanks, ' ') +
                   id + "\n"}};
}

int answerFor(uint8_t type, uint8_t flag) {
  std::array<uint8_t, 3> bytes{type, flag, flag};
  const StreamKey key{bytes.size(), bytes.size(), bytes.data()};
  return is_mobile_ep(&key);
}

class MobileProgress : public test::DirectoryTest {
protected:
  MobileProgress() {
    sprig_init();
    setenv("KRT_WORKDIR", directory.path().c_str(), 1);
  }
  ~MobileProgress() override { unsetenv("KRT_WORKDIR"); }

  void create(const std::string &id = "d1") {
    stream = test::networkStream();
    mobile_ep_create_progress(stream.get(), id.c_str());
    ASSERT_NE(stream->status, nullptr);
  }
  // What the distribution has, and what of it is there already.
  void init(const std::vector<Description> &segments) {
    stream->segments = test::listOf(segments);
    mobile_ep_init_progress(stream.get());
  }
  void create(int32_t size, int32_t offset) {
    create();
    init({{std::nullopt, size, offset}});
  }
  void update(int32_t code) const { mobile_ep_update_progress(stream.get(), code); }
  void receive(int32_t count) const { update(count + 1); }

  Properties &status() const { return *mstat_get_properties(stream->status); }
  std::string statusText(const char *key) const { return textIn(status(), key); }

  bool isWritten() const { return fs::exists(file); }
  // The file as another process finds it; it is gone then, so that the next one is new.
  std::string writtenText(const char *key) const {
    List written;
    properties_load_without_len(&written, file.c_str());
    fs::remove(file);
    return textIn(written, key);
  }
  std::string writtenLength() const { return isWritten() ? writtenText("c_len") : "(no file)"; }

  size_t filesThere() const {
    return static_cast<size_t>(
        std::distance(fs::directory_iterator(directory / "mstat"), fs::directory_iterator{}));
  }

  test::Stream stream;
  test::Log log;
  const std::string file = directory / "mstat/d1.mds";
};

using MobileTotals = MobileProgress;
using MobileError = MobileProgress;
using MobileSave = MobileProgress;

} // namespace

TEST(MobileKey, IsOneOfATypeThatCanBeWithItsFlag) {
  for (int type = 0; type < 256; ++type) {
    for (int flag = 0; flag < 256; ++flag) {
      const bool isMobile = (type == 2 || (type >= 4 && type <= 11)) && flag == 1;
      ASSERT_EQ(answerFor(static_cast<uint8_t>(type), static_cast<uint8_t>(flag)), isMobile ? 1 : 0)
          << type << ' ' << flag;
    }
  }
}

TEST(MobileKey, HasAtLeastThreeBytes) {
  const std::vector<uint8_t> bytes{2, 0, 1};
  for (uint32_t length = 0; length < bytes.size(); ++length) {
    std::vector<uint8_t> whole = bytes;
    const StreamKey followed{length, length, whole.data()};
    EXPECT_EQ(is_mobile_ep(&followed), 0) << length;
    const auto exact = std::make_unique<uint8_t[]>(length);
    std::copy_n(bytes.begin(), length, exact.get());
    const StreamKey alone{length, length, exact.get()};
    EXPECT_EQ(is_mobile_ep(&alone), 0) << length;
  }
  const StreamKey nothing{};
  EXPECT_EQ(is_mobile_ep(&nothing), 0);
}

TEST(MobileKey, IsWhatStreamsOverFilesAreOpenedWith) {
  EXPECT_EQ(is_mobile_ep(test::Key(file_stream_key_new(1, 2, "d1", "/a")).get()), 1);
  EXPECT_EQ(is_mobile_ep(test::Key(file_stream_key_new(0, 2, "d1", "/a")).get()), 0);
  EXPECT_EQ(is_mobile_ep(test::Key(file_stream_key_new(1, 0)).get()), 0);
}

TEST_F(MobileProgress, BeginsWithFourProperties) {
  create();
  EXPECT_EQ(keysOf(status()), (Keys{"msid", "err", "close", "paused"}));
  EXPECT_EQ(statusText("msid"), "d1");
  for (const char *key : {"err", "close", "paused"}) {
    EXPECT_EQ(properties_get_boolean(&status(), key), 0) << key;
  }
}

TEST_F(MobileProgress, BeginsInMemory) {
  create();
  init({{"/a", 100, 0}});
  EXPECT_EQ(stream->status->file_name, nullptr);
  EXPECT_STREQ(stream->status->suffix, "mds");
  EXPECT_EQ(filesThere(), 0U);
}

TEST_F(MobileProgress, HasAnIdOfItsOwn) {
  std::string id = "d1";
  create(id);
  id = "xx";
  EXPECT_STREQ(stream->status->distribution_id, "d1");
  EXPECT_EQ(statusText("msid"), "d1");
}

TEST_F(MobileProgress, MayBeginAgain) {
  test::expectNothingLost([this] {
    create("d1");
    properties_put_boolean_dup(&status(), "err", 1);
    mobile_ep_create_progress(stream.get(), "d2");
    EXPECT_EQ(keysOf(status()), (Keys{"msid", "err", "close", "paused"}));
    EXPECT_EQ(statusText("msid"), "d2");
    EXPECT_EQ(properties_get_boolean(&status(), "err"), 0);
    stream.reset();
  });
}

TEST_F(MobileTotals, AreTheSumsOfTheSegments) {
  create();
  init({{"/a", 1500, 1500}, {"/b", 2750, 1000}, {std::nullopt, 1, 0}});
  EXPECT_EQ(stream->total_length->high, 4U);
  EXPECT_EQ(stream->total_length->low, 251U);
  EXPECT_EQ(stream->received_length->high, 2U);
  EXPECT_EQ(stream->received_length->low, 500U);
  EXPECT_EQ(keysOf(status()), (Keys{"msid", "err", "close", "paused", "t_len"}));
  EXPECT_EQ(statusText("t_len"), "4251\n");
  EXPECT_EQ(stream->unsaved, 0);
}

TEST_F(MobileTotals, AreShownWithThreeDigitsBehindTheThousands) {
  const auto shown = [this](const std::vector<Description> &segments) {
    create();
    init(segments);
    return statusText("t_len");
  };
  EXPECT_EQ(shown({}), "0000\n");
  EXPECT_EQ(shown({{"/a", 7, 0}}), "0007\n");
  EXPECT_EQ(shown({{"/a", 999, 0}, {"/b", 1, 0}}), "1000\n");
  EXPECT_EQ(shown({{"/a", 1000, 0}, {"/b", 5, 0}}), "1005\n");
  EXPECT_EQ(shown(std::vector<Description>(3, {"/a", INT32_MAX, 0})), "6442450941\n");
}

TEST_F(MobileTotals, NeedSizeAndOffsetOfEachSegment) {
  const auto missing = [](const std::string &key) {
    return Failure{36, "Unable to find the property associated with the key %1$s.\n", {key}};
  };
  const auto failure = [this](const Description &last) {
    create();
    stream->segments = test::listOf(std::vector<Description>{{"/a", 7, 7}, last});
    return failureOf([this] { mobile_ep_init_progress(stream.get()); });
  };
  EXPECT_EQ(failure({"/b", std::nullopt, 7}), missing("size"));
  EXPECT_EQ(failure({"/b", 7, std::nullopt}), missing("offset"));
  EXPECT_EQ(failure({"/b"}), missing("size"));
  EXPECT_EQ(statusText("t_len"), "(none)");
}

TEST_F(MobileTotals, NeedNumbers) {
  for (const char *key : {SEGMENT_SIZE_KEY, SEGMENT_OFFSET_KEY}) {
    create();
    stream->segments = test::listOf(std::vector<Description>{{"/a", 7, 7}});
    properties_put_string_dup(&stream->segments->buffer[0], key, "7");
    EXPECT_EQ(failureOf([this] { mobile_ep_init_progress(stream.get()); }),
              (Failure{37, "The wrong property type was specified for the key %1$s.\n", {key}}));
  }
}

TEST_F(MobileProgress, IsWrittenWhenMoreThan10240BytesAreNew) {
  create(1000000, 0);
  receive(10240);
  EXPECT_FALSE(isWritten());
  EXPECT_EQ(stream->unsaved, 10240);
  EXPECT_EQ(statusText("c_len"), "(none)");
  receive(1);
  EXPECT_EQ(writtenLength(), "10241\n");
  EXPECT_EQ(stream->unsaved, 0);

  receive(10241);
  EXPECT_EQ(writtenLength(), "20482\n");
  receive(10240);
  EXPECT_EQ(writtenLength(), "(no file)");
}

TEST_F(MobileProgress, IsWrittenWithTheThirdOfThreeSmallPieces) {
  create(1000000, 0);
  receive(4096);
  receive(4096);
  EXPECT_EQ(writtenLength(), "(no file)");
  receive(4096);
  EXPECT_EQ(writtenLength(), "12288\n");
}

TEST_F(MobileProgress, CountsWhatWasThereAlready) {
  create(1000000, 500000);
  receive(20000);
  EXPECT_EQ(writtenLength(), "520000\n");
  EXPECT_EQ(stream->received_length->high, 520U);
  EXPECT_EQ(stream->received_length->low, 0U);
}

TEST_F(MobileProgress, IsCountedOnlyWhenItIsWritten) {
  create(1000000, 500);
  receive(7000);
  EXPECT_EQ(stream->received_length->high, 0U);
  EXPECT_EQ(stream->received_length->low, 500U);
  EXPECT_EQ(stream->unsaved, 7000);
}

TEST_F(MobileProgress, IsWrittenWhenEverythingHasArrived) {
  create(5000, 1000);
  receive(3999);
  EXPECT_EQ(writtenLength(), "(no file)");
  receive(1);
  EXPECT_EQ(writtenLength(), "5000\n");
}

TEST_F(MobileProgress, IsWrittenAtOnceWhereEverythingIsThere) {
  create(5000, 5000);
  update(1);
  EXPECT_EQ(statusText("c_len"), statusText("t_len"));
  EXPECT_EQ(writtenLength(), "5000\n");
  create(0, 0);
  update(1);
  EXPECT_EQ(writtenLength(), "0000\n");
}

TEST_F(MobileProgress, IsWrittenAgainAtTheEndOfWhatIsComplete) {
  create(5000, 0);
  receive(5000);
  EXPECT_EQ(writtenLength(), "5000\n");
  update(1);
  EXPECT_EQ(writtenLength(), "5000\n");
}

TEST_F(MobileProgress, IsNotWrittenAtTheEndOfWhatIsNotComplete) {
  create(5000, 0);
  receive(4999);
  update(1);
  EXPECT_EQ(writtenLength(), "(no file)");
  receive(2);
  EXPECT_EQ(writtenLength(), "(no file)") << "that is more than everything";
}

TEST_F(MobileProgress, IsNotChangedByZero) {
  create(5000, 5000);
  update(0);
  EXPECT_EQ(writtenLength(), "(no file)");
  EXPECT_EQ(stream->unsaved, 0);
  EXPECT_EQ(statusText("c_len"), "(none)");
}

TEST_F(MobileProgress, IsNotCountedWithoutSegments) {
  create();
  receive(20000);
  EXPECT_EQ(writtenLength(), "(no file)");
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(MobileProgress, IsWrittenWithEverythingElse) {
  create(5000, 0);
  receive(5000);
  List written;
  properties_load_without_len(&written, file.c_str());
  EXPECT_EQ(keysOf(written), (Keys{"msid", "err", "close", "paused", "t_len", "c_len"}));
  EXPECT_NE(_t_generic_equal(TC_NEX_Sprig2_Properties, nullptr, &written, &status()), 0);
  EXPECT_EQ(filesThere(), 1U);
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(MobileProgress, IsWrittenAsInAPlainCount) {
  for (uint32_t seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto below = [&random](uint32_t limit) { return static_cast<int32_t>(random() % limit); };
    const int32_t total = below(200000);
    int32_t received = below(static_cast<uint32_t>(total) + 1);
    create(total, received);
    int32_t unsaved = 0;
    while (received + unsaved < total) {
      const int32_t count = std::min(below(12000), total - received - unsaved);
      receive(count);
      unsaved += count;
      std::string expected = "(no file)";
      if (unsaved > 10240 || received + unsaved == total) {
        received += unsaved;
        unsaved = 0;
        std::array<char, 32> text{};
        snprintf(text.data(), text.size(), "%d%03d\n", received / 1000, received % 1000);
        expected = text.data();
      }
      ASSERT_EQ(writtenLength(), expected);
      ASSERT_EQ(stream->unsaved, unsaved);
    }
  }
}

TEST_F(MobileError, IsWrittenAtOnce) {
  for (const int32_t code : {-1, -2, -3, INT32_MIN}) {
    create(5000, 0);
    receive(300);
    update(code);
    EXPECT_EQ(properties_get_boolean(&status(), "err"), 1) << code;
    EXPECT_EQ(stream->unsaved, 300);
    List written;
    properties_load_without_len(&written, file.c_str());
    EXPECT_EQ(properties_get_boolean(&written, "err"), 1);
    EXPECT_EQ(writtenLength(), "(none)");
  }
}

TEST_F(MobileError, LeavesTheLengthThatWasWritten) {
  create(100000, 0);
  receive(20000);
  receive(300);
  update(-1);
  EXPECT_EQ(writtenLength(), "20000\n");
}

TEST_F(MobileError, MayComeBeforeTheSegmentsAreKnown) {
  create();
  update(-1);
  List written;
  properties_load_without_len(&written, file.c_str());
  EXPECT_EQ(keysOf(written), (Keys{"msid", "err", "close", "paused"}));
  EXPECT_EQ(properties_get_boolean(&written, "err"), 1);
}

TEST_F(MobileError, StaysInWhatIsWrittenLater) {
  create(5000, 0);
  update(-1);
  receive(5000);
  List written;
  properties_load_without_len(&written, file.c_str());
  EXPECT_EQ(properties_get_boolean(&written, "err"), 1);
  EXPECT_EQ(textIn(written, "c_len"), "5000\n");
}

TEST_F(MobileSave, IsLoggedWhereItFailsAndDoneWithTheNextOne) {
  create(1000000, 0);
  fs::create_directory(file);
  receive(20000);
  EXPECT_EQ(log.lines(), failedSave(21, "d1"));
  EXPECT_EQ(filesThere(), 1U) << "nothing is left of the attempt";
  EXPECT_EQ(stream->unsaved, 0);
  EXPECT_EQ(statusText("c_len"), "20000\n") << "progress goes on in memory";

  log.clear();
  fs::remove(file);
  receive(100);
  EXPECT_EQ(writtenLength(), "(no file)");
  receive(20000);
  EXPECT_EQ(writtenLength(), "40100\n");
  EXPECT_EQ(log.lines(), Lines{});
}

TEST_F(MobileSave, OfAnErrorIsLoggedWhereItFails) {
  create(5000, 0);
  fs::create_directory(file);
  update(-1);
  EXPECT_EQ(log.lines(), failedSave(18, "d1"));
  EXPECT_EQ(properties_get_boolean(&status(), "err"), 1);
  fs::remove(file);
  receive(5000);
  EXPECT_EQ(writtenLength(), "5000\n");
}

TEST_F(MobileSave, IsLoggedWithoutAStatusDirectory) {
  create(5000, 0);
  fs::remove(directory / "mstat");
  receive(5000);
  EXPECT_EQ(log.lines(), failedSave(21, "d1"));
  log.clear();
  update(-1);
  EXPECT_EQ(log.lines(), failedSave(18, "d1"));
  fs::create_directory(directory / "mstat");
  update(1);
  EXPECT_EQ(writtenLength(), "5000\n");
}

TEST_F(MobileSave, IsLoggedWhereAFileIsInPlaceOfTheStatusDirectory) {
  create(5000, 0);
  fs::remove(directory / "mstat");
  test::writeFile(directory / "mstat", "");
  receive(5000);
  EXPECT_EQ(log.lines(), failedSave(21, "d1"));
}

TEST_F(MobileSave, IsLoggedWhereTheFileCannotHaveItsName) {
  const std::string longName(300, 'x');
  const std::string longPath(2000, 'x');
  for (const std::string &id : {longName, longPath, std::string("missing/d1")}) {
    create(id);
    init({{"/a", 5000, 0}});
    log.clear();
    receive(5000);
    EXPECT_EQ(log.lines(), failedSave(21, id));
    log.clear();
    update(-1);
    EXPECT_EQ(log.lines(), failedSave(18, id));
  }
}

TEST_F(MobileSave, LeavesTheOldFileWhereThereIsNoSpace) {
  test::Child child([this] {
    create(1000000, 0);
    receive(20000);
    signal(SIGXFSZ, SIG_IGN);
    const rlimit nothing{10, 10};
    CHILD_EXPECT(setrlimit(RLIMIT_FSIZE, &nothing) == 0);
    receive(20000);
    CHILD_EXPECT(log.lines() == failedSave(21, "d1"));
    return HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(filesThere(), 1U);
  EXPECT_EQ(writtenLength(), "20000\n");
}

TEST_F(MobileSave, NamesTheDistributionOfAStreamOverFiles) {
  stream.reset(file_stream_open("d1,/a"));
  mobile_ep_create_progress(stream.get(), stream->distribution_id);
  init({{"/a", 5000, 0}});
  fs::create_directory(file);
  receive(5000);
  EXPECT_EQ(log.lines(), failedSave(21, "d1"));
}

TEST_F(MobileSave, IsLoggedWhereThereCanBeNoStatusFile) {
  setenv("KRT_WORKDIR", std::string(2000, 'x').c_str(), 1);
  stream.reset(file_stream_open("d1,/a"));
  mobile_ep_create_progress(stream.get(), stream->distribution_id);
  EXPECT_EQ(stream->status, nullptr);
  init({{"/a", 5000, 0}});
  receive(5000);
  EXPECT_EQ(log.lines(), failedSave(21, "d1"));
  log.clear();
  update(-1);
  EXPECT_EQ(log.lines(), failedSave(18, "d1"));
}

TEST_F(MobileSave, LeavesNothingBehind) {
  const long before = test::openDescriptors();
  test::expectNothingLost([this] {
    create(100000, 0);
    receive(20000);
    receive(80000);
    update(-1);
    fs::remove(file);
    fs::create_directory(file);
    update(1);
    update(-1);
    fs::remove(file);
    stream.reset();
    log.clear();
  });
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(MobileTotals, LeaveNothingBehindWhereTheyFail) {
  test::expectNothingLost([this] {
    create();
    stream->segments = test::listOf(std::vector<Description>{{"/a", 7, 7}, {"/b", 7}});
    EXPECT_TRUE(failureOf([this] { mobile_ep_init_progress(stream.get()); }));
    stream.reset();
  });
}
