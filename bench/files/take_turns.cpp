// SPDX-License-Identifier: Apache-2.0
//
// dibkit_bench_turns TURNS < LIST
// dibkit_bench_turns --copy IN OUT BYTES
//
// Times whole processes. Each line of LIST is a task, a contender, its result file ("-" for none)
// and its command, separated by tabs; the words of the command are separated by single spaces and
// no shell sees them. The contenders of a task take turns. A turn is two runs of which the second
// counts: the first one touches the memory that the second one gets, which some virtual machines
// hand back while another contender keeps them busy.
// Prints for each contender, separated by tabs: task, contender, the medians of CPU milliseconds,
// of wall milliseconds and of the peak memory in KiB, and the size of its result in bytes. A
// command that fails gets "failed" instead.
//
// The second form reads IN and writes so many bytes to OUT, as plainly as a process can: the floor
// of what works on files.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Turn {
  double cpu;   // milliseconds
  double wall;  // milliseconds
  double peak;  // KiB
};

struct Contender {
  std::string task;
  std::string name;
  std::string result;
  std::vector<std::string> command;
  std::vector<Turn> turns{};
  bool hasFailed = false;
};

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) {
    parts.push_back(part);
  }
  return parts;
}

std::vector<Contender> ReadList() {
  std::vector<Contender> contenders;
  for (std::string line; std::getline(std::cin, line);) {
    const std::vector<std::string> fields = Split(line, '\t');
    if (fields.size() == 4) {
      contenders.push_back({fields[0], fields[1], fields[2], Split(fields[3], ' ')});
    }
  }
  return contenders;
}

double Milliseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

// False when the command cannot be run or fails. What it prints is thrown away.
bool Run(const std::vector<std::string>& command, Turn& turn) {
  std::vector<char*> words;
  for (const std::string& word : command) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
  }
  const auto start = std::chrono::steady_clock::now();
  pid_t child = -1;
  const int error = posix_spawnp(&child, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage{};
  if (error != 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
    return false;
  }
  const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
  turn = {Milliseconds(usage.ru_utime) + Milliseconds(usage.ru_stime), wall.count(),
          static_cast<double>(usage.ru_maxrss)};
  return true;
}

void TakeTurns(std::vector<Contender>& contenders, int turns) {
  for (int round = 0; round < turns; ++round) {
    for (Contender& contender : contenders) {
      Turn turn{};
      contender.hasFailed =
          contender.hasFailed || !Run(contender.command, turn) || !Run(contender.command, turn);
      contender.turns.push_back(turn);
    }
  }
}

double Median(const std::vector<Turn>& turns, double Turn::*figure) {
  std::vector<double> values;
  for (const Turn& turn : turns) {
    values.push_back(turn.*figure);
  }
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

void Print(const Contender& contender) {
  std::cout << contender.task << '\t' << contender.name << '\t';
  if (contender.hasFailed) {
    std::cout << "failed\n";
    return;
  }
  std::error_code none;
  const auto size = std::filesystem::file_size(contender.result, none);
  std::cout << Median(contender.turns, &Turn::cpu) << '\t' << Median(contender.turns, &Turn::wall)
            << '\t' << Median(contender.turns, &Turn::peak) << '\t' << (none ? 0 : size) << '\n';
}

int Copy(const char* from, const char* to, size_t bytes) {
  constexpr size_t kBlock = size_t{1} << 20;
  std::vector<char> block(kBlock);
  const int in = open(from, O_RDONLY);
  const int out = open(to, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (in < 0 || out < 0) {
    return 1;
  }
  while (read(in, block.data(), block.size()) > 0) {
  }
  while (bytes > 0) {
    const ssize_t put = write(out, block.data(), std::min(bytes, block.size()));
    if (put <= 0) {
      return 1;
    }
    bytes -= static_cast<size_t>(put);
  }
  return close(out) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::string(argv[1]) == "--copy") {
    return Copy(argv[2], argv[3], std::strtoull(argv[4], nullptr, 10));
  }
  const int turns = argc == 2 ? std::atoi(argv[1]) : 0;
  if (turns < 1) {
    std::cerr << "usage: dibkit_bench_turns TURNS < LIST\n";
    return 2;
  }
  std::vector<Contender> all = ReadList();
  while (!all.empty()) {
    const auto end = std::find_if(all.begin(), all.end(), [&](const Contender& contender) {
      return contender.task != all.front().task;
    });
    std::vector<Contender> task(all.begin(), end);
    all.erase(all.begin(), end);
    TakeTurns(task, turns);
    for (const Contender& contender : task) {
      Print(contender);
    }
  }
  return 0;
}
