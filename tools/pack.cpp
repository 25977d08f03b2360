// `sprig pack`: makes a distribution of a directory tree.
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <sprig/sprig.hpp>

#include "digest.h"
#include "distribution.h"
#include "failure.h"
#include "file.h"
#include "json_line.h"
#include "output.h"
#include "subcommand.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

struct Options {
  std::string source;
  std::string destination;
  std::string id;
  uint64_t segmentSize = 64 << 20;
  bool isJson = false;
};

// A path as a segment's id: printable, and with nothing in it that has a meaning elsewhere.
std::string encodedPath(std::string_view path) {
  static constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-/";
  std::string id;
  for (const char letter : path) {
    if (plain.find(letter) != std::string_view::npos) {
      id += letter;
    } else {
      std::array<char, 4> escape{};
      (void)snprintf(escape.data(), escape.size(), "%%%02X", static_cast<unsigned char>(letter));
      id += escape.data();
    }
  }
  return id;
}

std::string below(std::string directory, const std::string &name) {
  return directory.append("/").append(name);
}

class Packer {
public:
  explicit Packer(const Options &options) : options_(options) {}

  Distribution pack() {
    distribution_.id = options_.id;
    makeDestination();
    try {
      addDirectory(options_.source, "");
      distribution_.save(options_.destination + '/' + Distribution::fileName);
    } catch (...) {
      emptyDestination();
      throw;
    }
    return std::move(distribution_);
  }

private:
  // So that the same line can be run again.
  void emptyDestination() const {
    std::error_code error;
    for (fs::directory_iterator entry(options_.destination, error), end; !error && entry != end;
         entry.increment(error)) {
      std::error_code stays;
      fs::remove(entry->path(), stays);
    }
  }

  // One that holds something else is left alone.
  void makeDestination() const {
    std::error_code error;
    fs::create_directory(options_.destination, error);
    if (error || !fs::is_directory(options_.destination)) {
      throw systemFailure(options_.destination, error ? error.value() : ENOTDIR);
    }
    if (!fs::is_empty(options_.destination)) {
      throw Failure(options_.destination + ": the directory is not empty",
                    "name a directory that does not exist yet");
    }
  }

  void addDirectory(const std::string &path, const std::string &name) {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error)) {
      names.push_back(entry->path().filename().string());
    }
    if (error) {
      throw systemFailure(path, error.value());
    }
    std::sort(names.begin(), names.end()); // so that packing again gives the same
    for (const std::string &child : names) {
      add(below(path, child), name.empty() ? child : below(name, child));
    }
  }

  void add(const std::string &path, const std::string &name) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == -1) {
      throw systemFailure(path);
    }
    if (name == ".sprig") {
      leaveOut(path, "the name is reserved");
    } else if (isDestination(status)) {
      leaveOut(path, "the distribution itself");
    } else if (S_ISDIR(status.st_mode)) {
      append(TreeEntry::Kind::directory, name, status);
      addDirectory(path, name);
    } else if (S_ISREG(status.st_mode)) {
      addFile(path, name, status);
    } else if (S_ISLNK(status.st_mode)) {
      append(TreeEntry::Kind::link, name, status).target = fs::read_symlink(path).string();
    } else {
      leaveOut(path, "neither a file nor a directory nor a link");
    }
  }

  static void leaveOut(const std::string &path, const char *reason) {
    warn(path + ": left out: " + reason);
  }

  bool isDestination(const struct stat &status) const {
    struct stat destination {};
    return stat(options_.destination.c_str(), &destination) == 0 &&
           destination.st_dev == status.st_dev && destination.st_ino == status.st_ino;
  }

  TreeEntry &append(TreeEntry::Kind kind, const std::string &name, const struct stat &status) {
    TreeEntry &entry = distribution_.tree.emplace_back();
    entry.path = name;
    entry.kind = kind;
    entry.mode = status.st_mode & 07777U;
    entry.modified = status.st_mtim.tv_sec;
    return entry;
  }

  void addFile(const std::string &path, const std::string &name, const struct stat &status) {
    TreeEntry &entry = append(TreeEntry::Kind::file, name, status);
    InputFile file(path, false);
    while (addSegment(file, entry)) {
      ++entry.segmentCount;
    }
  }

  // Makes a segment of what the file still has, up to the size of one; false at the end.
  bool addSegment(InputFile &file, const TreeEntry &entry) {
    const std::string stem = nextStem();
    const std::string path = options_.destination + '/' + stem + ".dat";
    Digest digest;
    const uint64_t size = copy(file, path, entry.mode & 0666U, digest);
    if (size == 0) {
      return false;
    }
    const sprig::Octets checksum = digest.finish();
    const uint32_t number = entry.segmentCount + 1;
    sprig::Segment segment(encodedPath(entry.path) +
                               (number > 1 ? '@' + std::to_string(number) : ""),
                           hexadecimal(checksum).substr(0, 16));
    segment.set_location(stem + ".dat");
    segment.set_size(size);
    segment.set_checksum(checksum);
    sprig::PropertyList description;
    description.put("segment", sprig::PropertyList(segment.description()));
    description.save(options_.destination + '/' + stem + ".toc", sprig::Layout::bare);
    distribution_.table.push_back(std::move(segment));
    return true;
  }

  std::string nextStem() const {
    std::array<char, 24> stem{};
    (void)snprintf(stem.data(), stem.size(), "%06zu", distribution_.table.size() + 1);
    return stem.data();
  }

  // The file is made with its first byte: an empty segment has none. Who may not read the one in
  // the tree may not read this one.
  uint64_t copy(InputFile &source, const std::string &path, mode_t mode, Digest &digest) {
    std::unique_ptr<OutputFile> file;
    uint64_t size = 0;
    while (size < options_.segmentSize) {
      const size_t count = source.read(
          buffer_.data(), std::min<uint64_t>(buffer_.size(), options_.segmentSize - size));
      if (count == 0) {
        break;
      }
      if (!file) {
        file = std::make_unique<OutputFile>(path, OutputFile::Start::empty, mode | S_IRUSR);
      }
      digest.add(buffer_.data(), count);
      file->write({buffer_.data(), count});
      size += count;
    }
    if (file) {
      file->close();
    }
    return size;
  }

  const Options &options_;
  Distribution distribution_;
  std::array<char, 65536> buffer_;
};

// "tree" of "a/tree" and of "a/tree/".
std::string nameOf(const std::string &directory) {
  const fs::path path = fs::absolute(directory).lexically_normal();
  return (path.has_filename() ? path : path.parent_path()).filename().string();
}

void prepare(Options &options) {
  std::error_code error;
  if (!fs::is_directory(options.source, error)) {
    throw systemFailure(options.source.empty() ? "\"\"" : printable(options.source),
                        error ? error.value() : ENOTDIR);
  }
  if (options.id.empty()) {
    options.id = nameOf(options.source);
  }
  refuseUnlessDistributionId(options.id);
  if (options.segmentSize == 0 || options.segmentSize > INT32_MAX) {
    throw Failure("--segment-size: a segment has between 1 byte and 2 GiB less one", {},
                  wrongUsage);
  }
}

int pack(Options options) {
  prepare(options);
  const Distribution distribution = Packer(options).pack();
  if (options.isJson) {
    const nlohmann::ordered_json result{{"distribution", distribution.id},
                                        {"files", distribution.fileCount()},
                                        {"bytes", distribution.size()},
                                        {"segments", distribution.table.size()}};
    std::cout << jsonLine(result);
  } else {
    std::cout << "packed " << printable(options.source) << " as " << distribution.id << " into "
              << printable(options.destination) << ": " << distribution.amountInSegments() << '\n';
  }
  return done;
}

} // namespace

void addPack(CLI::App &program, Action &action) {
  CLI::App &subcommand =
      addSubcommand(program, "pack", "Makes a distribution of a directory tree",
                    "  sprig pack site -o site.dist\n"
                    "  sprig pack site -o site.dist --id site-2.1 --segment-size 256M");
  const auto options = std::make_shared<Options>();
  subcommand.add_option("DIR", options->source, "the directory")->required();
  subcommand
      .add_option("-o,--output", options->destination,
                  "the distribution: a directory that does not exist yet, or is empty")
      ->required();
  subcommand.add_option("--id", options->id, "its id (default: the directory's name)");
  subcommand
      .add_option("--segment-size", options->segmentSize,
                  "where large files are cut: a number of bytes, or with K, M or G behind it (64M)")
      ->transform(CLI::AsSizeValue(false));
  subcommand.add_flag("--json", options->isJson, "print the result as JSON");
  subcommand.callback([&action, options] { action = [options] { return pack(*options); }; });
}

} // namespace tool
