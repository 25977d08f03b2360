// Where a distribution is received from.
#ifndef SPRIG_TOOLS_RECEIVE_SOURCE_H
#define SPRIG_TOOLS_RECEIVE_SOURCE_H

#include <string>
#include <vector>

#include <sprig/sprig.hpp>

#include "distribution.h"
#include "file.h"

namespace tool {

// What `--from` names. Its paths are absolute.
class Source {
public:
  // Throws Failure, status wrongUsage, for text that names none.
  Source(const std::string &text, const std::string &distributionFile);

  sprig::StreamType type() const noexcept { return type_; }
  bool isChannel() const noexcept { return type_ == sprig::StreamType::network; }
  // As it was given, for messages.
  std::string name() const;

  // Connects where it is a channel, and makes that the process's. Throws Failure.
  void open(int32_t session);
  // Reads what is to be received: from a file, or from the sender.
  Distribution distribution();
  // The key of the stream to read it with. A key for named files names those of the segments that
  // have a "data_path".
  sprig::StreamKey key(const std::string &id, sprig::ConstTableView table) const;
  // The directory whose files the table's locations name; empty unless the files are named.
  std::string directoryOfNamedFiles() const;

private:
  void openSilence(int32_t session);
  void openStandardStreams(int32_t session);
  Distribution askSender() const;

  std::string name_;
  std::string distributionFile_;
  std::string directory_;
  sprig::StreamType type_ = sprig::StreamType::network;
  Descriptor input_;
  Descriptor output_; // or the other end of a channel that nobody has
};

} // namespace tool

#endif
