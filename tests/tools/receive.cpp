#include "tools/receive.h"

#include <filesystem>
#include <regex>

#include "support/process.h"

namespace test {
namespace {

namespace fs = std::filesystem;

Tree smallTree() {
  return {{"docs", folder()},
          {"docs/manual", file(dataOf(15360).substr(1) + 'm')},
          {"image", file(dataOf(20480), 0600, 1600000000)},
          {"notes", file(dataOf(10240).substr(1) + 'n', 0755)}};
}

} // namespace

ReceiveTest::ReceiveTest()
    : tree(smallTree()), content(tree.at("docs/manual").content + tree.at("image").content +
                                 tree.at("notes").content) {
  sprig_init();
  makeTree("tree", tree);
  packAgain();
}

Arguments ReceiveTest::fromSender(const Arguments &others) {
  return from(Sender::address(), others);
}

Arguments ReceiveTest::from(const std::string &source, const Arguments &others) {
  Arguments arguments{"receive", "--into", "out", "--from", source};
  arguments.insert(arguments.end(), others.begin(), others.end());
  return arguments;
}

void ReceiveTest::startWith(RunningProgram &program, Sender &sender, size_t bytes) const {
  const auto table = sender.begin();
  sender.sendData(sender.lacking(table).substr(0, bytes));
  EXPECT_TRUE(await([&] { return keptBytes("out") == bytes; })) << errorsOf(program);
}

void ReceiveTest::packAgain() {
  fs::remove_all("dist");
  EXPECT_EQ(sprig({"pack", "tree", "-o", "dist"}).status, 0);
}

void ReceiveTest::expectTree(const std::string &directory) {
  EXPECT_EQ(readTree(directory), readTree("tree"));
}

std::string timeless(const std::string &text) {
  static const std::regex progress("[^\n]* % of [^\n]*/s[^\n]*\n");
  static const std::regex day("\\d{4}-\\d{2}-\\d{2}");
  static const std::regex descriptor("fd:\\d+");
  return std::regex_replace(std::regex_replace(std::regex_replace(text, progress, ""), day, "DAY"),
                            descriptor, "fd:N");
}

Outcome timeless(const Outcome &outcome) {
  return {outcome.status, timeless(outcome.output), timeless(outcome.errors)};
}

std::string errorsOf(const RunningProgram &program) {
  return readFile("/proc/" + std::to_string(program.pid()) + "/fd/2");
}

// Files may come and go meanwhile.
uint64_t keptBytes(const std::string &directory) {
  uint64_t total = 0;
  std::error_code error;
  for (fs::directory_iterator entry(directory + "/.sprig/tree", error), end; !error && entry != end;
       entry.increment(error)) {
    const bool isPart = entry->path().filename().string().find('-') != std::string::npos;
    const uintmax_t size = entry->file_size(error);
    total += isPart && !error ? size : 0;
  }
  return total;
}

void damage(const std::string &path, size_t offset) {
  std::string bytes = readFile(path);
  ASSERT_LT(offset, bytes.size()) << path;
  bytes[offset] = static_cast<char>(~bytes[offset]);
  writeFile(path, bytes);
}

} // namespace test
