// A file that takes another's place when all of it is written.
#ifndef SPRIG_TOOLS_PROPS_REPLACEMENT_H
#define SPRIG_TOOLS_PROPS_REPLACEMENT_H

#include <string>

#include <sys/stat.h>

#include "file.h"

namespace tool {

// Write to path(), then commit(). Who reads finds the old file or the new one, and who is killed
// leaves the old one. The new one has the old one's mode, else it is for its owner only. Others
// that replace the same file wait.
class Replacement {
public:
  // Links are followed. Throws Failure for what is there and may not be written.
  explicit Replacement(const std::string &target);
  ~Replacement();
  Replacement(const Replacement &) = delete;
  Replacement &operator=(const Replacement &) = delete;

  bool isOldThere() const { return static_cast<bool>(old_); }
  const std::string &path() const { return path_; }
  void commit();

private:
  void lockOld();
  bool isOldStillThere() const;
  void makeNew();

  std::string name_;   // as it was given
  std::string target_; // where links lead
  std::string path_;   // empty when it has taken its place
  Descriptor old_;     // locked
};

} // namespace tool

#endif
