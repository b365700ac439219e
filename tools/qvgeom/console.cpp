#include "console.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <unistd.h>

#include "exit_code.h"

namespace tool {

namespace {

constexpr std::chrono::milliseconds kQuietStart{400};  // shorter work needs no bar
constexpr std::chrono::milliseconds kRedraw{100};
constexpr int kBarWidth = 30;

// What the signal handler reaches. Its cancel flag is lock-free.
qvUtil::Progress* interruptTarget = nullptr;

void onInterrupt(int) {
  if (interruptTarget) interruptTarget->cancel();
}

void installHandlers() {
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  // A second Ctrl-C ends the program at once, and a blocking read returns with the first.
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  // A reader that goes away shows as a failed write.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);  // likewise a file that grows past its limit
}

std::string minutes(double seconds) {
  const long whole = std::lround(std::min(seconds, 359999.0));
  char text[32];
  std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
  return text;
}

}  // namespace

Console::Console()
    : progress_([this](double fraction, char const* caption) { draw(fraction, caption); }),
      terminal_(isatty(STDERR_FILENO) == 1),
      start_(Clock::now()),
      lastDraw_(start_) {
  interruptTarget = &progress_;
  installHandlers();
  using Level = qvOS::AppOutput::Level;
  qvOS::AppOutput::getInstance().setSink(
      [this](Level level, char const* text) { showMessage(level == Level::error, text); });
}

Console::~Console() {
  clearBar();
  qvGeom::debugChannel().setSink({});
  qvOS::AppOutput::getInstance().setSink({});
  interruptTarget = nullptr;
}

void Console::setVerbose() {
  verbose_ = true;
  qvGeom::debugChannel().setSink([this](char const* text) {
    clearBar();
    std::fputs(text, stderr);
  });
}

void Console::note(const std::string& message) {
  if (!quiet_) print("qvgeom: " + message);
}

void Console::warn(const std::string& message) {
  if (!quiet_) print("qvgeom: warning: " + message);
}

void Console::error(const std::string& message) { print("qvgeom: " + message); }

void Console::print(const std::string& line) {
  clearBar();
  std::fprintf(stderr, "%s\n", line.c_str());
}

void Console::showMessage(bool isError, std::string text) {
  text.erase(text.find_last_not_of(" \n") + 1);
  if (isError) {
    warn(text);
  } else if (verbose_) {
    print(text);
  }
}

void Console::throwIfInterrupted() {
  if (progress_.cancelled()) throw Failure(kInterrupted, "interrupted");
}

void Console::draw(double fraction, char const* caption) {
  if (!terminal_ || quiet_) return;
  const auto now = Clock::now();
  if (now - start_ < kQuietStart || now - lastDraw_ < kRedraw) return;
  lastDraw_ = now;
  const int filled = static_cast<int>(fraction * kBarWidth);
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  const std::string left = fraction > 0.01 ? minutes(elapsed / fraction - elapsed) + " left" : "";
  std::fprintf(stderr, "\r\033[K[%s%s] %3d %%  %s  %s",
               std::string(static_cast<std::size_t>(filled), '#').c_str(),
               std::string(static_cast<std::size_t>(kBarWidth - filled), '.').c_str(),
               static_cast<int>(fraction * 100), left.c_str(), caption);
  std::fflush(stderr);
  barShown_ = true;
}

void Console::clearBar() {
  if (!barShown_) return;
  std::fputs("\r\033[K", stderr);
  barShown_ = false;
}

}  // namespace tool
