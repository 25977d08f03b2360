#include "serve/offer.h"

#include <filesystem>

#include "failure.h"
#include "output.h"

namespace tool {
namespace {

Distribution load(const std::string &directory) {
  const std::string path = directory + '/' + Distribution::fileName;
  std::error_code error;
  if (!std::filesystem::exists(path, error)) {
    throw Failure(printable(directory) + ": no distribution is there",
                  "\"sprig pack DIR -o DIST\" makes one");
  }
  return Distribution::load(path);
}

// Data lie in the distribution's own directory, and nothing else is sent.
bool isFileName(std::string_view location) {
  return !location.empty() && location != "." && location != ".." &&
         location.find('/') == std::string_view::npos;
}

} // namespace

Offer::Offer(const std::string &directory)
    : directory_(directory), distribution_(load(directory)), encoding_(distribution_.encode()) {
  for (const sprig::ConstSegmentView segment : distribution_.table) {
    if (!isFileName(segment.location())) {
      throw Failure(printable(directory) + ": not a distribution that can be used: the segment \"" +
                    printable(segment.id()) + "\" lies elsewhere: \"" +
                    printable(segment.location()) + '"');
    }
    index_.emplace(std::make_pair(segment.id(), segment.version()), index_.size());
  }
}

std::string_view Offer::encoding() const noexcept {
  return {reinterpret_cast<const char *>(encoding_.data()), encoding_.size()};
}

size_t Offer::find(std::string_view id, std::string_view version) const {
  const auto found = index_.find({id, version});
  return found == index_.end() ? size() : found->second;
}

uint64_t Offer::sizeOf(size_t segment) const {
  return static_cast<uint64_t>(distribution_.table[segment].size());
}

std::string Offer::dataPath(size_t segment) const {
  return directory_ + '/' + std::string(distribution_.table[segment].location());
}

} // namespace tool
