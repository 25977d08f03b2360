// What another process does to the files of a depot is seen by the very next lookup, just as a walk
// through the directory would see it.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/encoding.h>

#include "support/depot.h"
#include "support/process.h"

using test::Child;
using test::Event;

namespace {

constexpr int changes = 10000;
constexpr int pairs = 12;
constexpr int fileIndexes = 6;

struct Pair {
  std::string id;
  std::string version;
};

// Half of the pairs share one bucket.
Pair pairNumber(int number) {
  if (number % 2 == 0) {
    return {"shared-prefix", std::to_string(number)};
  }
  return {std::to_string(number) + "-own", "1"};
}

// The other process: one random change after the other to the files of random pairs.
class Vandal {
public:
  explicit Vandal(unsigned seed) : random_(seed) {}

  void change() {
    const std::string name = someName();
    switch (draw(11)) {
    case 0:
    case 1:
    case 2:
      write(name);
      break;
    case 3:
      writeInPieces(name);
      break;
    case 4:
      test::writeFile("spare", somePair());
      std::filesystem::rename("spare", name);
      break;
    case 5:
      rename(name);
      break;
    case 10:
      exchange(name);
      break;
    case 6:
      truncate(name.c_str(), draw(60));
      break;
    case 7:
      std::filesystem::remove(name);
      if (draw(10) == 0) {
        std::filesystem::create_symlink("../elsewhere", name); // which has to be walked past
      }
      break;
    default:
      std::filesystem::remove_all(name);
    }
    if (draw(20) == 0) {
      test::writeFile("elsewhere", somePair()); // where links lead
    }
    if (draw(200) == 0) {
      std::filesystem::create_directory(someName() + "x.xml"); // which ends a walk
    }
    if (draw(20) == 0) {
      removeDirectories();
    }
  }

private:
  int draw(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }

  std::string someName() {
    const Pair pair = pairNumber(draw(pairs));
    return "depot/" + test::bucketOf(pair.id, pair.version) + "." +
           std::to_string(draw(fileIndexes)) + ".xml";
  }

  std::string somePair() {
    const Pair pair = pairNumber(draw(pairs));
    test::Toc toc;
    toc.id = pair.id;
    toc.version = pair.version;
    return toc.bytes();
  }

  void write(const std::string &name) { test::writeFile(name, somePair()); }

  void writeInPieces(const std::string &name) {
    const std::string text = somePair();
    std::ofstream file(name, std::ios::binary);
    file << text.substr(0, 20) << std::flush << text.substr(20);
  }

  void rename(const std::string &name) {
    std::error_code ignored;
    std::filesystem::rename(name, someName(), ignored);
  }

  void exchange(const std::string &name) {
    (void)renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, someName().c_str(), RENAME_EXCHANGE);
  }

  static void removeDirectories() {
    for (const auto &entry : std::filesystem::directory_iterator("depot")) {
      if (entry.is_directory() && !entry.is_symlink()) {
        std::filesystem::remove(entry.path());
      }
    }
  }

  std::mt19937 random_;
};

class DepotWatch : public test::DepotTest {
protected:
  // The entry that a plain walk through the directory finds, as its TOC file; empty for none. It
  // stops at the first file that describes the pair, or cannot be read.
  static std::string walk(const Pair &pair) {
    const std::string bucket = test::bucketOf(pair.id, pair.version);
    for (const auto &entry : std::filesystem::directory_iterator("depot")) {
      const std::string name = entry.path().filename();
      if (!name.starts_with(bucket) || !name.ends_with("xml")) {
        continue;
      }
      if (!std::filesystem::exists(entry.path()) || std::filesystem::is_directory(entry.path())) {
        return "";
      }
      std::string text = test::readFile(entry.path());
      if (content("id", text) == pair.id && content("version", text) == pair.version) {
        test::Toc whole;
        return test::parseToc(text, whole) ? "depot/" + name : "";
      }
    }
    return "";
  }

  static std::string content(const char *tag, std::string &text) {
    const TextRange range = getTagScope(tag, text.data(), nullptr, 0);
    return range.first == nullptr ? "" : std::string(range.first, range.last + 1);
  }

  std::string lookUp(const Pair &pair) {
    DepotEntry *entry = DepotGetEntry(depot, pair.id.c_str(), pair.version.c_str());
    if (entry == nullptr) {
      return "";
    }
    std::string found = entry->toc_path;
    EXPECT_EQ(entry->id, pair.id);
    EXPECT_EQ(entry->version, pair.version);
    EXPECT_EQ(DepotFreeEntry(depot, entry).palError, PAL_OK);
    return found;
  }
};

} // namespace

TEST_F(DepotWatch, SeesEveryChangeOfAnotherProcessAtOnce) {
  Event go;
  Event done;
  Child other([&] {
    Vandal vandal(4711);
    for (int i = 0; i < changes; ++i) {
      CHILD_EXPECT(go.await());
      vandal.change();
      done.raise();
    }
    return 0;
  });
  std::mt19937 random(1147);
  for (int i = 0; i < changes && !HasFailure(); ++i) {
    go.raise();
    ASSERT_TRUE(done.await());
    const Pair pair = pairNumber(static_cast<int>(random() % pairs));
    const std::string expected = walk(pair);
    EXPECT_EQ(lookUp(pair), expected) << "change " << i << ", " << pair.id << "^" << pair.version;
    log.clear();
  }
  EXPECT_EQ(other.wait(), 0);
}
