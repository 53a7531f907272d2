// SPDX-License-Identifier: Apache-2.0
#include "batch/jobs/interruption.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "batch/terminal/escaped_name.h"
#include "batch/terminal/messages.h"
#include "dibkit/host/output_file.h"
#include "failure.h"

namespace dibkit::tool {
namespace {

constexpr timespec kGrace{0, 60'000'000};
constexpr std::chrono::milliseconds kFarewell{500};
constexpr size_t kWatcherStackBytes = size_t{256} << 10;

// Sent to the process as a whole: blocked everywhere and waited for.
constexpr std::array kAwaited{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU};
// Sent to the thread that writes: handled there, so that the write fails, and passed on.
constexpr std::array kRelayed{SIGPIPE, SIGXFSZ};

// Never destroyed: the watcher looks at it while the process ends.
struct Watch {
  std::atomic<int> caught{0};
  std::atomic<bool> told{false};
  sigset_t before{};  // blocked by the starter
  sigset_t awaited{};
  pthread_t thread{};
  std::mutex mutex;
  std::function<void()> words;
};

Watch& TheWatch() {
  static auto* const watch = new Watch;
  return *watch;
}

// A signal that wakes the watcher and means nothing more.
int Poke() { return SIGRTMIN; }

void Note(int number) {
  int none = 0;
  TheWatch().caught.compare_exchange_strong(none, number);
}

extern "C" void Relay(int number) {
  const int error = errno;
  Note(number);
  pthread_kill(TheWatch().thread, Poke());
  errno = error;
}

bool IsIgnored(int number) {
  struct sigaction present {};
  sigaction(number, nullptr, &present);
  return present.sa_handler == SIG_IGN;
}

void TellHastily() {
  Watch& watch = TheWatch();
  if (!watch.told.exchange(true) && watch.caught != SIGPIPE) {
    HastyMessage("dibkit: interrupted");
  }
}

void SayFarewell() noexcept {
  host::AbandonOutputFiles();
  Watch& watch = TheWatch();
  try {
    const std::lock_guard guard(watch.mutex);
    if (watch.words) {
      watch.words();
    }
  } catch (...) {
    // There is no time left to do anything about it.
  }
  TellHastily();
}

// What a farewell waits for may never come: a full pipe, a file system that does not answer.
void SayFarewellInTime() {
  struct Said {
    std::mutex mutex;
    std::condition_variable changed;
    bool all = false;
  };
  auto* const said = new Said;
  try {
    std::thread([said] {
      SayFarewell();
      const std::lock_guard guard(said->mutex);
      said->all = true;
      said->changed.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    SayFarewell();
    return;
  }
  std::unique_lock lock(said->mutex);
  said->changed.wait_for(lock, kFarewell, [said] { return said->all; });
}

void* WatchAndEnd(void* /*unused*/) {
  Watch& watch = TheWatch();
  while (watch.caught == 0) {
    const int number = sigwaitinfo(&watch.awaited, nullptr);
    if (number > 0 && number != Poke()) {
      Note(number);
    }
  }
  // A second signal ends the wait.
  sigtimedwait(&watch.awaited, nullptr, &kGrace);
  SayFarewellInTime();
  _exit(EXIT_CODE_SIGNAL + watch.caught);
}

bool StartWatcher(Watch& watch) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kWatcherStackBytes);
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  const int error = pthread_create(&watch.thread, &attributes, WatchAndEnd, nullptr);
  pthread_attr_destroy(&attributes);
  return error == 0;
}

void SetHandler(int number, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(number, &action, nullptr);
}

// A child has no watcher, and the signals that it is started with are its own matter.
void ReleaseChild() {
  for (const int number : kRelayed) {
    if (!IsIgnored(number)) {
      SetHandler(number, SIG_DFL);
    }
  }
  pthread_sigmask(SIG_SETMASK, &TheWatch().before, nullptr);
}

}  // namespace

void WatchForSignals() {
  Watch& watch = TheWatch();
  sigemptyset(&watch.awaited);
  sigaddset(&watch.awaited, Poke());
  for (const int number : kAwaited) {
    if (!IsIgnored(number)) {
      sigaddset(&watch.awaited, number);
    }
  }
  // Threads begin with the mask of the one that starts them, the watcher too.
  pthread_sigmask(SIG_BLOCK, &watch.awaited, &watch.before);
  if (!StartWatcher(watch)) {
    // Better ended roughly than not at all.
    pthread_sigmask(SIG_SETMASK, &watch.before, nullptr);
    return;
  }
  for (const int number : kRelayed) {
    if (!IsIgnored(number)) {
      SetHandler(number, Relay);
    }
  }
  pthread_atfork(nullptr, nullptr, ReleaseChild);
}

bool Interrupted() { return CaughtSignal() != 0; }

int CaughtSignal() { return TheWatch().caught.load(std::memory_order_relaxed); }

void TellInterrupted(const std::string& subject) {
  Watch& watch = TheWatch();
  if (!watch.told.exchange(true) && watch.caught != SIGPIPE) {
    Message("dibkit: " + (subject.empty() ? "" : EscapedName(subject) + ": ") + "interrupted");
  }
}

LastWords::LastWords(std::function<void()> words) {
  const std::lock_guard guard(TheWatch().mutex);
  TheWatch().words = std::move(words);
}

LastWords::~LastWords() {
  const std::lock_guard guard(TheWatch().mutex);
  TheWatch().words = nullptr;
}

}  // namespace dibkit::tool
