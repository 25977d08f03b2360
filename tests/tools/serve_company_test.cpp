// `sprig serve` with several receivers at once.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "tools/serving.h"

namespace {

using test::Answer;
using test::Arguments;
using test::Outcome;
using test::Receiver;

class ServeCompany : public test::ServingTest {
protected:
  // Has the first so many segments already.
  sprig::TableOfContents tableWith(size_t held) const {
    sprig::TableOfContents lacking(table);
    for (size_t i = 0; i < held; ++i) {
      lacking[i].set_offset(static_cast<uint64_t>(lacking[i].size()));
    }
    return lacking;
  }

  std::string contentWithout(size_t held) const {
    std::string rest;
    for (size_t i = held; i < files.size(); ++i) {
      rest += files[i].content;
    }
    return rest;
  }

  // All are connected, and have asked, before the first one takes anything.
  void expectThatTwentyAreServed(const Arguments &arguments) {
    constexpr size_t count = 20;
    start("dist", arguments);
    std::vector<std::unique_ptr<Receiver>> receivers;
    for (size_t i = 0; i < count; ++i) {
      receivers.push_back(std::make_unique<Receiver>("unix:s"));
      receivers.back()->ask(tableWith(i % 4));
    }
    test::Lines expected;
    for (size_t i = 0; i < count; ++i) {
      EXPECT_EQ(receivers[i]->take(), (Answer{contentWithout(i % 4), "end"})) << i;
      receivers[i].reset();
      EXPECT_EQ(line(), told(static_cast<int>(i + 1), gotAllBut(i % 4)));
    }
    EXPECT_EQ(stop(), (Outcome{0, "served 20 receivers\n", ""}));
  }

  static std::string gotAllBut(size_t held) {
    static const std::vector<std::string> texts{
        "sent 3 segments, 45.0 KiB; it had 0 segments already",
        "sent 2 segments, 30.0 KiB; it had 1 segment already",
        "sent 1 segment, 10.0 KiB; it had 2 segments already",
        "sent 0 segments, 0 B; it had 3 segments already"};
    return texts[held];
  }

  // How many descriptors the sender may have. Those that it has stay.
  void limitDescriptors(rlim_t count) {
    rlimit limit{};
    EXPECT_EQ(prlimit(server().pid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    limit.rlim_cur = std::min(count, limit.rlim_max);
    EXPECT_EQ(prlimit(server().pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
  }
};

} // namespace

TEST_F(ServeCompany, GivesEachOfTwentyWhatItLacks) {
  expectThatTwentyAreServed({"--receivers", "20"});
}

TEST_F(ServeCompany, LetsTheSeventeenthWait) { expectThatTwentyAreServed({}); }

TEST_F(ServeCompany, LetsAllButOneWait) { expectThatTwentyAreServed({"--receivers", "1"}); }

TEST_F(ServeCompany, ServesOthersWhileOneDoesNotRead) {
  start("large");
  {
    const Receiver lazy("unix:s");
    lazy.ask(large.table);
    EXPECT_EQ(Receiver("unix:s").get(large.table), (Answer{largeContent, "end"}));
    EXPECT_EQ(line(), told(2, "sent 1 segment, 2.0 MiB; it had 0 segments already"));
  }
  EXPECT_EQ(withoutAmount(line()), told(1, "sent 0 of 1 segment, SOME: it has vanished"));
}

TEST_F(ServeCompany, EndsWhenEnoughAreGone) {
  start("dist", {"--count", "2"});
  EXPECT_EQ(Receiver("unix:s").get({}).end, "end");
  {
    const Receiver second("unix:s");
    EXPECT_EQ(second.get({}).end, "end");
    const Receiver third("unix:s"); // stays in the queue
    third.ask({});
    shutdown(second.fd(), SHUT_WR);
    EXPECT_EQ(third.take(), (Answer{"", "closed"}));
  }
  EXPECT_EQ(server().wait(), (Outcome{0,
                                      told(1, "needed nothing") + "\n" + told(2, "needed nothing") +
                                          "\nserved 2 receivers\n",
                                      ""}));
}

TEST_F(ServeCompany, GivesTheNextOneThePlaceOfTheLast) {
  start("dist", {"--receivers", "1"});
  for (int number = 1; number <= 5; ++number) {
    EXPECT_EQ(Receiver("unix:s").get(table), (Answer{content, "end"}));
    EXPECT_EQ(line(), told(number, gotAllBut(0)));
  }
}

// Whoever is told second of those that leave is told after the one in the queue was tried.
TEST_F(ServeCompany, LetsAReceiverWaitThatItHasNoDescriptorFor) {
  constexpr rlim_t standardOnes = 3;
  start("dist");
  auto first = std::make_unique<Receiver>("unix:s");
  auto second = std::make_unique<Receiver>("unix:s");
  EXPECT_EQ(first->get({}).end, "end");
  EXPECT_EQ(second->get({}).end, "end");
  limitDescriptors(standardOnes);
  auto third = std::make_unique<Receiver>("unix:s");
  third->ask(table);
  first.reset();
  EXPECT_EQ(line(), told(1, "needed nothing"));
  second.reset();
  EXPECT_EQ(line(), told(2, "needed nothing"));
  limitDescriptors(RLIM_INFINITY);
  EXPECT_EQ(third->take(), (Answer{content, "end"}));
  third.reset();
  EXPECT_EQ(line(), told(3, gotAllBut(0)));
  EXPECT_EQ(stop(), (Outcome{0, "served 3 receivers\n", "warning: unix:s: Too many open files\n"}));
}
