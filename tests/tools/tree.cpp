#include "tools/tree.h"

#include <filesystem>
#include <iomanip>

#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/channel.h"
#include "support/temporary_directory.h"

namespace test {
namespace {

namespace fs = std::filesystem;

using Kind = Node::Kind;

void setTime(const std::string &path, int64_t seconds) {
  const timespec times[]{{seconds, 0}, {seconds, 0}};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

void make(const std::string &path, const Node &node) {
  if (node.kind == Kind::directory) {
    fs::create_directory(path);
  } else if (node.kind == Kind::link) {
    fs::create_symlink(node.content, path);
  } else {
    writeFile(path, node.content);
    setTime(path, node.modified);
  }
}

Node read(const std::string &path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  if (S_ISLNK(status.st_mode)) {
    return link(fs::read_symlink(path).string());
  }
  if (S_ISDIR(status.st_mode)) {
    return folder(status.st_mode & 07777);
  }
  EXPECT_TRUE(S_ISREG(status.st_mode)) << path;
  return file(readFile(path), status.st_mode & 07777, status.st_mtim.tv_sec);
}

} // namespace

std::ostream &operator<<(std::ostream &stream, const Node &node) {
  constexpr size_t most = 60;
  static constexpr const char *names[]{"file", "directory", "link"};
  return stream << names[static_cast<size_t>(node.kind)] << " of mode " << std::oct << node.mode
                << std::dec << ", time " << node.modified << ", " << node.content.size()
                << " bytes: " << std::quoted(node.content.substr(0, most));
}

Node file(const std::string &content, unsigned mode, int64_t modified) {
  return {Kind::file, mode, modified, content};
}

Node folder(unsigned mode) { return {Kind::directory, mode, 0, ""}; }

Node link(const std::string &target) { return {Kind::link, 0, 0, target}; }

// Modes come last, and from below: one may forbid to write.
void makeTree(const std::string &top, const Tree &tree) {
  fs::create_directories(top);
  const fs::path directory = top;
  for (const auto &[path, node] : tree) {
    make(directory / path, node);
  }
  for (auto entry = tree.rbegin(); entry != tree.rend(); ++entry) {
    if (entry->second.kind != Kind::link) {
      const fs::path path = directory / entry->first;
      EXPECT_EQ(chmod(path.c_str(), entry->second.mode), 0) << path;
    }
  }
}

Tree readTree(const std::string &top) {
  Tree tree;
  for (const auto &entry : fs::recursive_directory_iterator(top)) {
    const std::string path = entry.path().string();
    tree.emplace(path.substr(top.size() + 1), read(path));
  }
  return tree;
}

Tree oddTree() {
  return {
      {"plain.txt", file("plain text\n")},
      {"empty", file("")},
      {"also empty", file("", 0600)},
      {"directory", folder(0750)},
      {"directory/within", folder(0700)},
      {"directory/within/large", file(dataOf(100000), 0640, 1000000000)},
      {"directory/within/plain.txt", file("plain text\n")},
      {"nothing in it", folder(01777)},
      {" a space, a comma; 100% \"quoted\" \\", file("odd\n")},
      {"new\nline", file("line\n")},
      {"not UTF-8 \xff\xfe", file("bytes\n")},
      {"\x1b[31mred", file("escaped\n")},
      {"-o", file("option\n")},
      {"--help", file("help\n")},
      {".hidden", file("hidden\n")},
      {"...", file("dots\n")},
      {"plain.txt@2", file("no slice\n")},
      {"%41", file("no escape\n")},
      {"read-only", file("fixed\n", 0444)},
      {"run me", file("#!/bin/sh\n", 04755)},
      {"before the epoch", file("old\n", 0644, -86400)},
      {"after 2038", file("new\n", 0644, 4102444800)},
      {"link", link("plain.txt")},
      {"link to a directory", link("directory/within")},
      {"link to nothing", link("/no\nwhere/at all")},
      {"link upwards", link("..")},
  };
}

} // namespace test
