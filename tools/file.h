// Files of the user's: of any size, with failures that name them.
#ifndef SPRIG_TOOLS_FILE_H
#define SPRIG_TOOLS_FILE_H

#include <cstdint>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace tool {

// A descriptor, closed with its owner. Moved from, it is -1.
class Descriptor {
public:
  explicit Descriptor(int descriptor = -1) noexcept : descriptor_(descriptor) {}
  Descriptor(Descriptor &&other) noexcept;
  Descriptor &operator=(Descriptor other) noexcept;
  Descriptor(const Descriptor &) = delete;
  ~Descriptor();

  int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  int release() noexcept;

private:
  int descriptor_;
};

// A regular file to be read. Links are not followed where `isLinkFollowed` is false.
class InputFile {
public:
  explicit InputFile(const std::string &path, bool isLinkFollowed = true);

  // Reads as many bytes as there are, at most `length`; 0 at the end.
  size_t read(void *buffer, size_t length);
  void seek(uint64_t offset);
  uint64_t size() const;

private:
  std::string path_;
  Descriptor descriptor_;
};

// A file to be written, made where it is missing, never through a link. Nothing of it is lost in
// silence: close() tells of what the destructor could not.
class OutputFile {
public:
  enum class Start { empty, atEnd };
  explicit OutputFile(const std::string &path, Start start = Start::empty, mode_t mode = 0666);

  void write(std::string_view bytes);
  void truncate(uint64_t size);
  void close();
  const std::string &path() const noexcept { return path_; }

private:
  std::string path_;
  Descriptor descriptor_;
};

} // namespace tool

#endif
