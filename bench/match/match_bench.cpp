// Matching names with wildcard patterns beside the matchers that a Debian system offers: one call,
// by the number of names that take turns; and patterns that keep a naive matcher busy for ever, by
// the number of letters that they are tried against.
#include <cstdio>
#include <exception>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fnmatch.h>

#include <benchmark/benchmark.h>
#include <glib.h>

#include <sprig/files.h>

#include "support/ratios.h"

namespace {

using Texts = std::vector<std::string>;
using TextMaker = std::function<Texts(int64_t size)>;

// Each is made from a pattern, and says whether a text matches it.

class SprigMatcher {
public:
  explicit SprigMatcher(const char *pattern) : pattern_(pattern) {}
  bool operator()(const std::string &text) const { return match(pattern_, text.c_str()) == 0; }

private:
  const char *pattern_;
};

class FnmatchMatcher {
public:
  explicit FnmatchMatcher(const char *pattern) : pattern_(pattern) {}
  bool operator()(const std::string &text) const { return fnmatch(pattern_, text.c_str(), 0) == 0; }

private:
  const char *pattern_;
};

class GlibMatcher {
public:
  explicit GlibMatcher(const char *pattern)
      : spec_(g_pattern_spec_new(pattern), g_pattern_spec_free) {}
  bool operator()(const std::string &text) const {
    return g_pattern_spec_match_string(spec_.get(), text.c_str()) != FALSE;
  }

private:
  std::unique_ptr<GPatternSpec, void (*)(GPatternSpec *)> spec_;
};

class GlibSimpleMatcher {
public:
  explicit GlibSimpleMatcher(const char *pattern) : pattern_(pattern) {}
  bool operator()(const std::string &text) const {
    return g_pattern_match_simple(pattern_, text.c_str()) != FALSE;
  }

private:
  const char *pattern_;
};

struct Comparison {
  const char *group;
  const char *pattern;
  bool hasSets; // which not every peer knows
  TextMaker makeTexts;
  std::vector<int64_t> sizes;
};

template <class Matcher>
void measure(benchmark::State &state, const char *pattern, const Texts &texts) {
  const Matcher matches(pattern);
  size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(matches(texts[next]));
    next = next + 1 == texts.size() ? 0 : next + 1;
  }
}

template <class Matcher> void add(const Comparison &comparison, const char *subject) {
  const std::string name = std::string(comparison.group).append("/").append(subject);
  auto *benchmark = benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
    measure<Matcher>(state, comparison.pattern, comparison.makeTexts(state.range(0)));
  });
  for (const int64_t size : comparison.sizes) {
    benchmark->Arg(size);
  }
}

void verify(const Comparison &comparison) {
  const SprigMatcher matches(comparison.pattern);
  const FnmatchMatcher fnmatchMatches(comparison.pattern);
  const GlibMatcher glibMatches(comparison.pattern);
  for (const std::string &text : comparison.makeTexts(comparison.sizes.front())) {
    const bool isMatch = matches(text);
    if (fnmatchMatches(text) != isMatch || (!comparison.hasSets && glibMatches(text) != isMatch)) {
      throw std::runtime_error("the matchers disagree: " + text);
    }
  }
}

void add(const Comparison &comparison) {
  verify(comparison);
  add<SprigMatcher>(comparison, "sprig");
  add<FnmatchMatcher>(comparison, "fnmatch");
  if (!comparison.hasSets) {
    add<GlibMatcher>(comparison, "glib-compiled");
    add<GlibSimpleMatcher>(comparison, "glib-simple");
  }
}

// Names as they lie in a directory of packages, in no order.
Texts names(int64_t count) {
  const char *const stems[] = {"base",  "kernel", "version", "verify", "manual",  "update",
                               "setup", "tools",  "library", "index",  "network", "fonts"};
  const char *const types[] = {"toc", "dat", "toc", "xml", "x1", "xz", "log", "itc"};
  uint32_t state = 1;
  const auto random = [&](size_t bound) {
    state = state * 1664525 + 1013904223;
    return (state >> 8) % bound;
  };
  Texts texts;
  for (int64_t k = 0; k < count; ++k) {
    std::string name = stems[random(std::size(stems))];
    name.append("-").append(std::to_string(random(1000)));
    texts.push_back(name.append(".").append(types[random(std::size(types))]));
  }
  return texts;
}

Texts letters(int64_t count) { return {std::string(static_cast<size_t>(count), 'a')}; }

Texts lettersAndMore(int64_t count) { return {letters(count).front() + "bc"}; }

constexpr char thirtyStars[] = "a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*a*b";

void addAll() {
  const std::vector<int64_t> counts = {64};
  const std::vector<int64_t> lengths = {20, 40, 80};
  const std::vector<int64_t> longest = {100000};
  add({"match-end", "*.toc", false, names, counts});
  add({"match-start", "ver*", false, names, counts});
  add({"match-sets", "[a-m]*[0-9].x?", true, names, counts});
  add({"match-stars", "a*a*a*a*a*a*a*a*b", false, letters, lengths});
  add({"match-stars-bc", "a*a*a*a*a*a*a*a*b", false, lettersAndMore, lengths});
  add({"match-30-stars", thirtyStars, false, letters, longest});
  add({"match-30-stars-bc", thirtyStars, false, lettersAndMore, longest});
}

} // namespace

int main(int argc, char **argv) {
  try {
    addAll();
    return bench::run(argc, argv);
  } catch (const std::exception &error) {
    (void)fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
