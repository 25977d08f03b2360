#include "home.h"

#include <cstdlib>
#include <filesystem>

#include <sprig/sprig.hpp>

#include "digest.h"
#include "failure.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

std::string variable(const char *name) {
  const char *value = getenv(name);
  return value == nullptr ? "" : value;
}

std::string made(const std::string &directory) {
  std::error_code error;
  fs::create_directories(directory, error);
  if (error) {
    throw systemFailure(directory, error.value(), "set XDG_STATE_HOME to a directory of yours");
  }
  return directory;
}

// Empty where the configuration names none.
std::string configuredDepot() {
  ConfigKey depot{"depot_dir", nullptr};
  char *file = sprig::call([] { return mrt_get_config_filespec(); });
  if (file != nullptr) {
    static_cast<void>(mrt_get_config_from_file(file, &depot, 1));
  }
  std::string directory = depot.value == nullptr ? "" : depot.value;
  mg_free(depot.value);
  mg_free(file);
  return directory;
}

} // namespace

std::string stateDirectory() {
  const std::string base = variable("XDG_STATE_HOME");
  const std::string home = variable("HOME");
  if (base.empty() && home.empty()) {
    throw Failure("neither HOME nor XDG_STATE_HOME is set",
                  "set XDG_STATE_HOME to a directory of yours");
  }
  return made(absolutePath(base.empty() ? home + "/.local/state/sprig" : base + "/sprig"));
}

void useWorkDirectory() {
  if (variable("KRT_WORKDIR").empty()) {
    setenv("KRT_WORKDIR", stateDirectory().c_str(), 1);
  }
}

std::string defaultDepot() {
  const std::string configured = configuredDepot();
  return configured.empty() ? stateDirectory() + "/depot" : absolutePath(configured);
}

std::string commandAddress(const std::string &distributionId) {
  Digest digest;
  digest.add(distributionId);
  // short, because the path of a socket must be
  return "unix:" + made(stateDirectory() + "/serve") + '/' +
         hexadecimal(digest.finish()).substr(0, 12);
}

std::string absolutePath(const std::string &path) {
  if (path.empty()) {
    throw Failure("an empty path", "name a file or a directory", wrongUsage);
  }
  return fs::absolute(path).lexically_normal().string();
}

std::string absoluteAddress(const std::string &address) {
  constexpr std::string_view scheme = "unix:";
  return address.starts_with(scheme) ? "unix:" + absolutePath(address.substr(scheme.size()))
                                     : address;
}

} // namespace tool
