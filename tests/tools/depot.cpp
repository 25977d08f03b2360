#include "tools/depot.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace test {

namespace fs = std::filesystem;

DepotToolTest::DepotToolTest() { fs::create_directory("depot"); }

std::string DepotToolTest::path(const std::string &id, const std::string &ending,
                                const std::string &version) const {
  return depot() + '/' + bucketOf(id, version) + ".0" + ending;
}

Outcome DepotToolTest::run(Arguments arguments) {
  arguments.insert(arguments.begin(), {"depot", "depot"});
  return sprig(arguments);
}

void DepotToolTest::add(const std::string &id, const std::string &content,
                        const std::string &keep) {
  writeFile("content", content);
  const Outcome outcome = run({"add", id + "^1", "content", "--keep", keep});
  EXPECT_EQ(outcome.status, 0) << outcome;
}

void DepotToolTest::put(Toc toc, const std::string &content) const {
  writeFile(path(toc.id, ".dat", toc.version), content);
  putWithoutData(std::move(toc));
}

void DepotToolTest::putWithoutData(Toc toc) const {
  toc.location = path(toc.id, ".dat", toc.version);
  writeFile(path(toc.id, ".xml", toc.version), toc.bytes());
}

Toc DepotToolTest::read(const std::string &id) const {
  Toc toc;
  EXPECT_TRUE(parseToc(readFile(path(id, ".xml")), toc)) << id;
  return toc;
}

void DepotToolTest::setTime(const std::string &path) {
  constexpr timespec time{1700000000, 0};
  const std::array<timespec, 2> times{time, time};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
}

std::vector<std::string> DepotToolTest::names() {
  std::vector<std::string> found;
  for (const auto &file : fs::directory_iterator("depot")) {
    if (file.path().extension() != ".lk") {
      found.push_back(file.path().filename().string());
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

Claim::Claim(const std::string &path) : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  EXPECT_EQ(flock(file_, LOCK_EX | LOCK_NB), 0) << path;
}

Claim::~Claim() { close(file_); }

} // namespace test
