// What docs/formats/stream-key.md and docs/formats/status.md show is what the code does.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "properties/layouts.h"
#include "runtime/adr/hex.h"
#include "support/streams.h"
#include "support/temporary_directory.h"

using test::Key;

namespace {

struct Example {
  std::string bytes;
  std::vector<size_t> offsets = {}; // as written before each row
  std::vector<size_t> counted = {}; // as they are
};

// "    OFFSET  BYTES  what they are"
void addRow(Example &example, const std::string &line) {
  const size_t start = strlen("    00000000  ");
  example.offsets.push_back(std::stoul(line, nullptr, 16));
  example.counted.push_back(example.bytes.size());
  example.bytes +=
      test::textOf(test::bytesOfHex(line.substr(start, line.find("  ", start) - start)));
}

// By their headings.
std::map<std::string, Example> examplesIn(const std::string &name) {
  std::ifstream file(SPRIG_SOURCE_DIR "/docs/formats/" + name);
  std::map<std::string, Example> examples;
  std::string heading;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('#')) {
      heading = line.substr(line.find(' ') + 1);
    } else if (line.starts_with("    0")) {
      addRow(examples[heading], line);
    }
  }
  for (const auto &[title, example] : examples) {
    EXPECT_EQ(example.offsets, example.counted) << title;
  }
  return examples;
}

class StatusDocument : public test::DirectoryTest {
protected:
  StatusDocument() {
    sprig_init();
    setenv("KRT_WORKDIR", directory.path().c_str(), 1);
  }
  ~StatusDocument() override { unsetenv("KRT_WORKDIR"); }
};

} // namespace

TEST(StreamKeyDocument, HasTheBytesOfItsKeys) {
  const std::map<std::string, Key> keys = [] {
    std::map<std::string, Key> made;
    made["Mobile"] = Key(file_stream_key_new(1, 3, "d1", "/a", "/b"));
    made["Not mobile"] = Key(file_stream_key_new(0, 3, "d1", "", "/b"));
    made["Without texts"] = Key(file_stream_key_new(1, 0));
    return made;
  }();
  const auto examples = examplesIn("stream-key.md");
  EXPECT_EQ(examples.size(), keys.size());
  for (const auto &[heading, key] : keys) {
    EXPECT_EQ(test::bytesOf(key), examples.at(heading).bytes) << heading;
  }
}

TEST_F(StatusDocument, HasTheBytesOfItsFile) {
  const test::Stream stream = test::networkStream();
  mobile_ep_create_progress(stream.get(), "d1");
  stream->segments = test::listOf(std::vector<test::Description>{{"/a", 40000, 0}});
  mobile_ep_init_progress(stream.get());
  for (int piece = 0; piece < 3; ++piece) {
    mobile_ep_update_progress(stream.get(), 4096 + 1);
  }
  const auto examples = examplesIn("status.md");
  ASSERT_EQ(examples.size(), 1U);
  EXPECT_EQ(test::readFile(directory / "mstat/d1.mds"), examples.at("Example").bytes);
}
