// What docs/formats/stream-key.md and docs/formats/status.md show is what the code does.
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "properties/layouts.h"
#include "support/document.h"
#include "support/streams.h"
#include "support/temporary_directory.h"

using test::Key;

namespace {

std::map<std::string, test::Example> examplesIn(const std::string &name) {
  auto examples = test::readDocument(SPRIG_SOURCE_DIR "/docs/formats/" + name).examples;
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
