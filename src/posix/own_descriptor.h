// A descriptor that is this process's alone: a forked child does not keep it, not even until it
// notices. What belongs to the open description, such as a lock, then ends with this process.
#ifndef SPRIG_POSIX_OWN_DESCRIPTOR_H
#define SPRIG_POSIX_OWN_DESCRIPTOR_H

namespace sprig {

class OwnDescriptor {
public:
  OwnDescriptor();
  ~OwnDescriptor();
  OwnDescriptor(const OwnDescriptor &) = delete;
  OwnDescriptor &operator=(const OwnDescriptor &) = delete;

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ != -1; }

  // Takes over what a system call returned; -1 is none.
  void reset(int descriptor = -1);

private:
  static void watchForForks();
  static void closeAll();

  int descriptor_ = -1;
  OwnDescriptor *previous_ = nullptr; // in the list of all
  OwnDescriptor *next_ = nullptr;
};

} // namespace sprig

#endif
