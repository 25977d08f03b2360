#include "receive/progress.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <iostream>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

#include "output.h"

namespace tool {
namespace {

using std::chrono::duration;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds betweenBars{200};
constexpr seconds betweenLines{5};

size_t terminalWidth() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

// Signals are for the thread that works: it is the one that waits for the channel.
void blockSignals(sigset_t &before) {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
}

} // namespace

Progress::Progress(std::string name, uint64_t total, uint64_t start, seconds stall, Style style)
    : name_(std::move(name)), total_(total), start_(start), stall_(stall), style_(style),
      reached_(start) {
  if (style_ == Style::silent) {
    return;
  }
  sigset_t before;
  blockSignals(before);
  display_ = std::thread([this] { run(); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Progress::~Progress() { end(); }

void Progress::arrived(uint64_t bytes, uint64_t reached) {
  received_ += bytes;
  reached_ = std::max(reached_.load(), reached);
  lastArrival_ = Clock::now();
}

void Progress::complete() { isComplete_ = true; }

void Progress::end() {
  if (!display_.joinable()) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    isEnded_ = true;
  }
  ended_.notify_one();
  display_.join();
  if (style_ == Style::bar) {
    showBar();
    std::cerr << '\n' << std::flush;
  }
}

void Progress::run() {
  std::unique_lock lock(mutex_);
  while (!isEnded_) {
    show();
    ended_.wait_for(lock, betweenBars);
  }
}

void Progress::show() {
  if (style_ == Style::bar) {
    showBar();
    return;
  }
  showPlain();
}

void Progress::showBar() {
  const bool isStalled = this->isStalled();
  const size_t barWidth = isStalled ? 10 : 24; // a stall takes more words
  const unsigned done = percent();
  const size_t filled = barWidth * done / 100;
  const std::string line =
      name_ + " [" + std::string(filled, '#') + std::string(barWidth - filled, '.') + "] " +
      std::to_string(done) + " % of " + shownSize(total_) +
      (isStalled ? ", stalled: nothing has arrived for " + shownDuration(stall_)
                 : ", " + rate() + timeLeft());
  std::cerr << '\r' << line.substr(0, terminalWidth() - 1) << "\x1b[K" << std::flush;
}

void Progress::showPlain() {
  const Clock::time_point now = Clock::now();
  if (isStalled() != isStallTold_) {
    isStallTold_ = !isStallTold_;
    if (isStallTold_) {
      std::cerr << name_ + ": stalled: nothing has arrived for " + shownDuration(stall_) + '\n'
                << std::flush;
    }
  } else if (style_ == Style::plain && now - lastLine_ >= betweenLines && !isStallTold_) {
    std::cerr << name_ + ": " + std::to_string(percent()) + " % of " + shownSize(total_) + ", " +
                     rate() + timeLeft() + '\n'
              << std::flush;
    lastLine_ = now;
  }
}

bool Progress::isStalled() const {
  return isAwaiting_ && Clock::now() - lastArrival_.load() >= stall_;
}

std::string Progress::rate() const {
  const double elapsed = duration<double>(Clock::now() - began_).count();
  return shownSize(
             static_cast<uint64_t>(static_cast<double>(received_) / std::max(elapsed, 0.001))) +
         "/s";
}

std::string Progress::timeLeft() const {
  const uint64_t reached = std::min(reached_.load(), total_);
  if (reached == start_ || isComplete_) {
    return "";
  }
  const double elapsed = duration<double>(Clock::now() - began_).count();
  const double left =
      elapsed * static_cast<double>(total_ - reached) / static_cast<double>(reached - start_);
  return ", " + shownDuration(seconds(static_cast<int64_t>(std::min(left, 1e9)))) + " left";
}

unsigned Progress::percent() const {
  if (isComplete_) {
    return 100;
  }
  constexpr uint64_t mostBeforeTheEnd = 99;
  const uint64_t share = total_ == 0 ? 0 : std::min(reached_.load(), total_) * 100 / total_;
  return static_cast<unsigned>(std::min(share, mostBeforeTheEnd));
}

} // namespace tool
