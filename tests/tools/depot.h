// A depot of the program's: its entries made by it or by hand, and what lies in it.
#ifndef SPRIG_TESTS_TOOLS_DEPOT_H
#define SPRIG_TESTS_TOOLS_DEPOT_H

#include <string>
#include <vector>

#include "support/depot.h"
#include "tools/program.h"

namespace test {

// The depot "depot" in the test's directory, empty at first.
class DepotToolTest : public ToolTest {
protected:
  DepotToolTest();

  // The depot's path from the root, and that of an entry's file in it, index 0 of its bucket.
  std::string depot() const { return directory / "depot"; }
  std::string path(const std::string &id, const std::string &ending,
                   const std::string &version = "1") const;

  // Runs a command on the depot.
  static Outcome run(Arguments arguments);
  // Adds an entry, version 1, with that content, as the program does.
  static void add(const std::string &id, const std::string &content,
                  const std::string &keep = "30d");
  // Makes an entry by hand, with its data unless it is to have none. The location becomes its own.
  void put(Toc toc, const std::string &content = "data") const;
  void putWithoutData(Toc toc) const;
  // What an entry's TOC file says, and a change of it.
  Toc read(const std::string &id) const;
  template <typename Change> void change(const std::string &id, Change change) const {
    Toc toc = read(id);
    change(toc);
    writeFile(path(id, ".xml"), toc.bytes());
  }
  // Sets when a file was last changed, as it is shown: 2023/11/14 22:13:20.
  static void setTime(const std::string &path);
  // The names in the depot but its lock files, sorted.
  static std::vector<std::string> names();
};

// A claim on an entry's data, as a process has it that fills the entry.
class Claim {
public:
  explicit Claim(const std::string &path);
  ~Claim();
  Claim(const Claim &) = delete;
  Claim &operator=(const Claim &) = delete;

private:
  int file_;
};

} // namespace test

#endif
