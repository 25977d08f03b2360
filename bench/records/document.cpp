#include <cstdint>

#include "records/task.h"

namespace bench {

List makeSegments(size_t count) {
  List segments;
  segments.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    const auto seconds = static_cast<int32_t>(1700000000 + i);
    segments.push_back({{"id", "segment-" + number},
                        {"version", std::string("1.0.3")},
                        {"location", "/srv/images/office/segment-" + number + ".dat"},
                        {"size", static_cast<int32_t>(65536 + i)},
                        {"offset", 0},
                        {"ctime", seconds},
                        {"mtime", seconds},
                        {"checksum", Octets(16, static_cast<uint8_t>(i))},
                        {"disposable", false},
                        {"is_result", false},
                        {"is_collection", false},
                        {"del_at_src", false},
                        {"data_path", "/var/depot/17/segment-" + number + ".dat"}});
  }
  return segments;
}

Record makeStatus(size_t count) {
  Record status = {{"msid", std::string("distribution-1")},
                   {"err", false},
                   {"close", false},
                   {"paused", false},
                   {"t_len", std::string("268435456\n")},
                   {"c_len", std::string("134217728\n")}};
  for (size_t i = status.size(); i < count; ++i) {
    status.push_back({"note-" + std::to_string(i), std::string("as the method left it")});
  }
  return status;
}

} // namespace bench
