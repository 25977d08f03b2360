// `sprig serve` at work, with a distribution of three segments or of one large one.
#ifndef SPRIG_TESTS_TOOLS_SERVING_H
#define SPRIG_TESTS_TOOLS_SERVING_H

#include <memory>
#include <string>
#include <vector>

#include "tools/made_distribution.h"
#include "tools/program.h"
#include "tools/receiver.h"

namespace test {

using Lines = std::vector<std::string>;

class ServingTest : public ToolTest {
protected:
  ServingTest() { sprig_init(); }

  // Serves a distribution, at "unix:s" unless the arguments say where. Returns what it has said
  // first.
  std::string start(const std::string &directory, Arguments arguments = {});
  // The next lines that it prints.
  std::string line() { return server_->readLine(); }
  // So many, sorted.
  Lines lines(size_t count);
  // Interrupts it and waits for its end.
  Outcome stop();
  RunningProgram &server() { return *server_; }

  // "receiver 1 (process 123): TEXT", where the process is this one.
  static std::string told(int number, const std::string &text);
  // The same line, where an amount of data that is left to chance is "SOME".
  static std::string withoutAmount(const std::string &line);

  const TreeFiles files{{"docs/manual", contentOf(15360, 1)},
                        {"image", contentOf(20480, 2)},
                        {"notes", contentOf(10240, 3)}};
  const std::string content = files[0].content + files[1].content + files[2].content;
  // In "dist", with the id "tree".
  const tool::Distribution distribution = makeDistribution("dist", "tree", files);
  const sprig::TableOfContents &table = distribution.table;

  // In "large", with more than a socket takes that nobody reads from.
  const std::string largeContent = contentOf(2 << 20, 4);
  const tool::Distribution large = makeDistribution("large", "large", {{"large", largeContent}});

private:
  std::unique_ptr<RunningProgram> server_;
};

} // namespace test

#endif
