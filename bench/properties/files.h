// Files for the subjects that have no files of their own. Failures throw.
#ifndef SPRIG_BENCH_PROPERTIES_FILES_H
#define SPRIG_BENCH_PROPERTIES_FILES_H

#include <string>

namespace bench {

// Writes a file with the bytes' number in front of them, and reads it.
void writeFile(const std::string &path, const std::string &bytes);
std::string readFile(const std::string &path);

// A directory under TMPDIR, gone with the files in it at the end.
class Directory {
public:
  Directory();
  ~Directory();
  Directory(const Directory &) = delete;
  Directory &operator=(const Directory &) = delete;

  std::string operator/(const std::string &name) const { return path_ + '/' + name; }

private:
  std::string path_;
};

} // namespace bench

#endif
