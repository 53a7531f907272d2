// SPDX-License-Identifier: Apache-2.0
//
// Ctrl-C and its like: noted, so that the work in hand can stop cleanly; and when it does not soon,
// because it waits for a pipe or is deep in a codec, the process ends all the same, as cleanly.
#ifndef DIBKIT_TOOLS_BATCH_JOBS_INTERRUPTION_H
#define DIBKIT_TOOLS_BATCH_JOBS_INTERRUPTION_H

#include <functional>
#include <string>

namespace dibkit::tool {

// To be called once, at the start of main, before there are threads. From then on a thread of its
// own takes SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGALRM, SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ and
// SIGPIPE, less those that the starter ignores (as nohup does); they interrupt no system call. When
// the process has not ended 60 ms after one, or when a second one comes, the thread takes away the
// temporary files, has the last words said, tells of the interruption and ends the process with
// status 128 + n; after another half second it ends it in any case.
void WatchForSignals();

// True once a signal was caught: a cancel hook, for any thread.
bool Interrupted();

// The first signal that was caught, or 0. A command that stops because of it, with whatever
// exception, exits with 128 + this.
int CaughtSignal();

// Prints "dibkit: SUBJECT: interrupted" ("dibkit: interrupted" for an empty subject), the first
// time that it is called; nothing after SIGPIPE, as nobody listens. Any thread.
void TellInterrupted(const std::string& subject);

// Said once before the process is ended in the middle of its work, on a thread of its own while all
// others go on: `words` must lock what it uses. An object keeps them registered as long as it
// lives; one at a time.
class LastWords {
 public:
  explicit LastWords(std::function<void()> words);
  LastWords(const LastWords&) = delete;
  LastWords& operator=(const LastWords&) = delete;
  ~LastWords();
};

}  // namespace dibkit::tool

#endif  // DIBKIT_TOOLS_BATCH_JOBS_INTERRUPTION_H
