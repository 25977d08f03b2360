// A test with a depot of its own, and the depot's files as a test makes and reads them: by hand,
// without the code under test.
#ifndef SPRIG_TESTS_SUPPORT_DEPOT_H
#define SPRIG_TESTS_SUPPORT_DEPOT_H

#include <cstdint>
#include <string>
#include <vector>

#include <sprig/depot.h>

#include "support/log.h"
#include "support/temporary_directory.h"

namespace test {

// What a TOC file says, each element as the text that stands in it.
struct Toc {
  std::string id = "segment";
  std::string version = "1";
  std::string referenceCount = "0";
  std::string state = "1";
  std::string checksum = "0";
  std::string deadline = "0";
  std::string location = "/nowhere";
  std::string properties;

  // The bytes of the file, its NUL included.
  std::string bytes() const;
};

// Whether a file holds a TOC and nothing else up to its first NUL, and what it says.
bool parseToc(const std::string &bytes, Toc &toc);

// The bucket of a pair, computed from the described hash in its plainest form.
std::string bucketOf(const std::string &id, const std::string &version);

// An open depot "depot" in a directory of its own, which is also the current one, with the log
// taken.
class DepotTest : public DirectoryTest {
protected:
  DepotTest();
  ~DepotTest() override;

  // A further handle on the same depot, as another process has it. Released with the test.
  Depot *openAnother();

  // The library's. The strings that handles leave behind when they move are released with the test.
  PalError DepotSetDir(Depot *handle, const char *path);
  PalError DepotSetDir_internal(Depot *handle, const char *path);

  // The path of a file in the depot, as entries have it: "depot/NAME".
  static std::string path(const std::string &name) { return "depot/" + name; }
  // Puts a TOC file with that name into the depot.
  static void putToc(const std::string &name, const Toc &toc);
  // Puts an entry's two files there, index 0 of its bucket unless told otherwise, and says which
  // location they have.
  static std::string putEntry(Toc toc, int index = 0);
  // What a TOC file says; the test fails where there is none that parses.
  static Toc readToc(const std::string &path);
  // The names in the depot, sorted; those with an ending, without it.
  static std::vector<std::string> names();
  static std::vector<std::string> stems(const std::string &ending);

  // An added entry, and one that was completed and loaded again.
  DepotEntry *add(const std::string &id, const std::string &version = "1");
  DepotEntry *addComplete(const std::string &id, const std::string &version = "1",
                          int32_t deadline = 0);
  // The records in the handle's list, newest first.
  std::vector<DepotEntry *> loaded() const;

  // What the semaphore of a lock file in the current directory stands at; -1 without one. Its set
  // can be taken away, so that every wait and post on it fails.
  static int semaphore(const std::string &lockFile);
  static void destroySemaphore(const std::string &lockFile);

  Log log;
  Depot *depot = nullptr;

private:
  using SetDirectory = PalError (*)(Depot *handle, const char *path);
  PalError setDirectory(SetDirectory set, Depot *handle, const char *path);

  std::string startDirectory_;
  std::vector<Depot *> others_;
  std::vector<char *> leftBehind_;
};

} // namespace test

#endif
