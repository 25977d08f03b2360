#include "receive/transfer.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include <sys/vfs.h>

#include "failure.h"
#include "output.h"
#include "receive/interrupt.h"

namespace tool {
namespace {

using sprig::Command;
using sprig::StreamType;

constexpr int mostRounds = 3; // from the depot, from the channel, and once more

bool isOnCd(const std::string &path) {
  constexpr auto iso9660 = 0x9660;
  constexpr auto udf = 0x15013346;
  struct statfs system {};
  return statfs(path.c_str(), &system) == 0 && (system.f_type == iso9660 || system.f_type == udf);
}

// A stream over the depot does not ask by itself. A sender that has gone is not needed there.
Command polled(StreamType type) {
  try {
    return type == StreamType::depot ? sprig::poll_command() : Command::none;
  } catch (const sprig::Error &) {
    return Command::none;
  }
}

// What failed is also for those who follow the distribution's status.
void tellStatus(sprig::Stream &stream, const char *failure) {
  try {
    stream.set_status(printable(failure));
  } catch (const std::exception &) { // the failure itself is told
  }
}

} // namespace

Transfer::Transfer(const Distribution &distribution, Target &target, const Source &source,
                   DepotUse &depot, Progress &progress)
    : distribution_(distribution), target_(target), source_(source), depot_(depot),
      progress_(progress), fromHere_(distribution.table.size()) {
  Share &here = shareOf(shares_, Origin::here);
  for (size_t segment = 0; segment < fromHere_.size(); ++segment) {
    fromHere_[segment] = target_.have(segment);
    here.bytes += fromHere_[segment];
    here.segments += target_.isVerified(segment) ? 1 : 0;
  }
}

Command Transfer::run() {
  Command command = Command::none;
  for (int round = 0; round < mostRounds && command == Command::none && !target_.isAllVerified();
       ++round) {
    if (round > 0 && !source_.isChannel()) {
      break; // the same files are the same
    }
    command = readRound();
  }
  return command;
}

Command Transfer::readRound() {
  order_ = order();
  const sprig::TableOfContents table = this->table(order_);
  sprig::Stream stream(source_.key(distribution_.id, table));
  Command command = Command::none;
  try {
    stream.give_table(table);
    command = read(stream);
  } catch (const std::exception &failure) {
    part_.reset();
    if (!InterruptHandler::isInterrupted()) {
      tellStatus(stream, failure.what());
    }
    throw;
  }
  part_.reset(); // of a segment that goes on in another run
  stream.close();
  for (const size_t segment : discarded_) {
    depot_.discard(distribution_.table[segment]);
  }
  if (!discarded_.empty()) {
    discarded_.clear();
    giveUpDepot({});
  }
  return command;
}

// A stream looks into the depot for one segment after the other, until one is not there.
std::vector<size_t> Transfer::order() {
  const bool isAsked = source_.isChannel() && !isWithoutDepot_;
  const std::vector<bool> isInDepot =
      isAsked ? depot_.lookUp(distribution_.table) : std::vector<bool>(distribution_.table.size());
  std::vector<size_t> order(distribution_.table.size());
  for (size_t i = 0; i < order.size(); ++i) {
    order[i] = i;
  }
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    const auto rank = [&](size_t segment) {
      return isInDepot[segment] ? 0 : target_.isVerified(segment) ? 2 : 1;
    };
    return rank(a) < rank(b);
  });
  if (isAsked && depot_.isUsable()) {
    const auto found = static_cast<uint64_t>(std::count(isInDepot.begin(), isInDepot.end(), true));
    shareOf(shares_, Origin::depot).passedOver =
        "it has " + std::to_string(found) + " of " + counted(isInDepot.size(), "segment");
  }
  return order;
}

// What is verified needs not be found anywhere: it has a file by a name of its own, which nobody
// opens.
sprig::TableOfContents Transfer::table(const std::vector<size_t> &order) const {
  const std::string directory = source_.directoryOfNamedFiles();
  sprig::TableOfContents table;
  for (const size_t index : order) {
    sprig::Segment segment(distribution_.table[index]);
    segment.set_offset(target_.have(index));
    if (!directory.empty()) {
      const std::string location(segment.location());
      segment.description().put(SEGMENT_DATA_PATH_KEY,
                                directory + '/' + location.substr(location.rfind('/') + 1));
    } else if (!source_.isChannel() && target_.isVerified(index)) {
      segment.description().put(SEGMENT_DAT_FILE_KEY, "verified-" + std::to_string(index));
    }
    table.push_back(std::move(segment));
  }
  return table;
}

Command Transfer::read(sprig::Stream &stream) {
  return stream.type() == StreamType::network ? readNetwork(stream) : readFiles(stream);
}

Command Transfer::readFiles(sprig::Stream &stream) {
  std::unordered_map<std::string, size_t> segments;
  const sprig::ConstTableView table = stream.table();
  for (size_t i = 0; i < table.size(); ++i) {
    segments.emplace(table[i].data_path(), order_[i]);
  }
  const StreamType type = stream.type();
  for (;;) {
    InterruptHandler::endIfInterrupted();
    if (const Command command = polled(type); command != Command::none) {
      return command;
    }
    sprig::Piece piece(sprig::Piece::Kind::end);
    try {
      piece = stream.read();
    } catch (const sprig::Error &error) {
      if (type != StreamType::depot || InterruptHandler::isInterrupted()) {
        throw;
      }
      giveUpDepot(error.what());
      return Command::none;
    }
    if (piece.is_data()) {
      const std::string path(stream.file());
      const auto found = segments.find(path);
      if (found == segments.end()) {
        throw Failure(printable(path) + ": a file that was not asked for");
      }
      const size_t segment = found->second;
      if (target_.isVerified(segment)) {
        continue;
      }
      if (!part_ || part_->segment() != segment) {
        begin(segment, originOf(type, path));
      }
      take(piece.bytes()); // what a file has beyond its segment is nobody's
      continue;
    }
    finish();
    if (piece.kind() == sprig::Piece::Kind::command) {
      return piece.command();
    }
    if (piece.kind() == sprig::Piece::Kind::end) {
      refuseWhatIsMissing(originOf(type, ""));
      return Command::none;
    }
  }
}

Command Transfer::readNetwork(sprig::Stream &stream) {
  const sprig::ConstTableView table = stream.table();
  std::vector<size_t> missing;
  for (size_t i = 0; i < table.size(); ++i) {
    const size_t segment = order_[i];
    const std::string local(
        table[i].description().get_or(SEGMENT_DAT_FILE_KEY, std::string_view()));
    if (target_.isVerified(segment)) {
      continue;
    }
    if (local.empty()) {
      missing.push_back(segment);
    } else {
      copyFromDepot(segment, local);
    }
  }
  if (missing.empty()) {
    return Command::none; // nothing is asked of the sender
  }
  size_t next = 0;
  for (;;) {
    InterruptHandler::endIfInterrupted();
    const sprig::Piece piece = stream.read();
    if (piece.kind() == sprig::Piece::Kind::command) {
      return piece.command();
    }
    if (!piece.is_data()) {
      finish();
      refuseWhatIsMissing(Origin::channel);
      return Command::none;
    }
    for (std::string_view bytes = piece.bytes(); !bytes.empty();) {
      if (!part_) {
        if (next == missing.size()) {
          throw Failure(source_.name() + ": the sender sends more than its table tells");
        }
        begin(missing[next++], Origin::channel);
      }
      bytes = take(bytes);
    }
  }
}

// What the depot's file cannot give is missing, and then refused.
void Transfer::copyFromDepot(size_t segment, const std::string &path) {
  std::optional<InputFile> file;
  std::string failure;
  std::array<char, 65536> buffer;
  const auto read = [&]() -> size_t {
    try {
      if (!file) {
        file.emplace(path);
        file->seek(target_.have(segment));
      }
      return file->read(buffer.data(), buffer.size());
    } catch (const Failure &reading) {
      failure = reading.what();
      return 0;
    }
  };
  begin(segment, Origin::depot);
  while (const size_t count = part_ ? read() : 0) {
    InterruptHandler::endIfInterrupted();
    take({buffer.data(), count});
  }
  finish(failure);
}

// The sender has everything.
void Transfer::giveUpDepot(const std::string &why) {
  isWithoutDepot_ = true;
  DepotUse::hideFromStreams();
  part_.reset();
  if (!why.empty()) {
    warn("depot: " + why);
    shareOf(shares_, Origin::depot).passedOver = why;
  }
}

void Transfer::begin(size_t segment, Origin origin) {
  finish();
  part_ = std::make_unique<Part>(target_, segment);
  partOrigin_ = origin;
}

std::string_view Transfer::take(std::string_view bytes) {
  const std::string_view taken = bytes.substr(0, part_->missing());
  part_->write(taken);
  progress_.arrived(taken.size(), target_.haveInAll());
  if (part_->missing() == 0) {
    finish();
  }
  return bytes.substr(taken.size());
}

void Transfer::finish(const std::string &failure) {
  if (!part_) {
    return;
  }
  const std::unique_ptr<Part> part = std::move(part_);
  const size_t segment = part->segment();
  const uint64_t brought = target_.have(segment) - fromHere_[segment];
  if (const auto reason = part->finish()) {
    refuse(segment, partOrigin_, failure.empty() ? *reason : failure);
    return;
  }
  Share &share = shareOf(shares_, partOrigin_);
  share.bytes += brought;
  share.segments += 1;
}

bool Transfer::isRefused(size_t segment, Origin origin) const {
  return std::any_of(refusals_.begin(), refusals_.end(), [&](const Refusal &refusal) {
    return refusal.segment == segment && refusal.origin == origin;
  });
}

void Transfer::refuse(size_t segment, Origin origin, const std::string &reason) {
  shareOf(shares_, Origin::here).bytes -= fromHere_[segment];
  fromHere_[segment] = 0;
  if (origin == Origin::depot) {
    discarded_.push_back(segment);
  }
  if (!isRefused(segment, origin)) { // the same again needs not be told
    refusals_.push_back({segment, origin, reason});
    warn(std::string(sprig::ConstSegmentView(distribution_.table[segment]).id()) +
         ": refused: from the " + originNames[static_cast<size_t>(origin)] + ": " + reason);
  }
}

void Transfer::refuseWhatIsMissing(Origin origin) {
  for (size_t segment = 0; segment < distribution_.table.size(); ++segment) {
    if (!target_.isVerified(segment) && !isRefused(segment, origin)) {
      refusals_.push_back({segment, origin, "it has not come"});
    }
  }
}

Origin Transfer::originOf(StreamType type, const std::string &path) const {
  switch (type) {
  case StreamType::depot:
    return Origin::depot;
  case StreamType::named_files:
    return Origin::files;
  case StreamType::cd_drive:
    return Origin::cd;
  case StreamType::remote_dir_cd:
    return isOnCd(path) ? Origin::cd : Origin::directory;
  default:
    return Origin::directory;
  }
}

} // namespace tool
