// SPDX-License-Identifier: Apache-2.0
//
// dibkit_ocr_measure [--threads N] [--truth DIRECTORY] IMAGE...
//
// Recognises pages whose text is known and prints for each, as it is read and in no order,
// separated by tabs: its path, the character errors (see error_rate.h), the characters of the true
// text, and the errors in percent of them. The true text of a page has the page's name, ending in
// .txt, and stands in DIRECTORY or else beside the page. Two threads unless told. Pages with the
// same pixels, resolution and text are recognised once. With no IMAGE the paths are read from
// standard input, one a line.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <iterator>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "ocr/error_rate.h"
#include "ocr/recogniser.h"

namespace {

using namespace dibkit::bench::ocr;
namespace fs = std::filesystem;

struct Arguments {
  unsigned threads = 2;
  std::string truth;
  std::vector<std::string> images;
};

// Pages that are alike.
struct Task {
  std::vector<std::string> images;
  std::string truth;
};

Arguments Parse(int argc, char** argv) {
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (word == "--threads" && i + 1 < argc) {
      arguments.threads = static_cast<unsigned>(std::strtoul(argv[++i], nullptr, 10));
    } else if (word == "--truth" && i + 1 < argc) {
      arguments.truth = argv[++i];
    } else if (word.starts_with("--")) {
      throw std::invalid_argument(
          "usage: dibkit_ocr_measure [--threads N] [--truth DIRECTORY] IMAGE...");
    } else {
      arguments.images.emplace_back(word);
    }
  }
  if (arguments.images.empty()) {
    for (std::string line; std::getline(std::cin, line);) {
      arguments.images.push_back(line);
    }
  }
  return arguments;
}

fs::path TruthOf(const Arguments& arguments, const fs::path& image) {
  const fs::path directory =
      arguments.truth.empty() ? image.parent_path() : fs::path(arguments.truth);
  return directory / image.filename().replace_extension(".txt");
}

std::string ReadText(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error(path.string() + ": cannot be opened");
  }
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Two pages with the same one look the same to a recogniser.
using Fingerprint = std::tuple<int, int, int, int, int, size_t>;

Fingerprint FingerprintOf(Pix* pix) {
  const auto* bytes = reinterpret_cast<const char*>(pixGetData(pix));
  const size_t size =
      size_t{4} * static_cast<size_t>(pixGetWpl(pix)) * static_cast<size_t>(pixGetHeight(pix));
  return {pixGetWidth(pix),
          pixGetHeight(pix),
          pixGetDepth(pix),
          pixGetXRes(pix),
          pixGetColormap(pix) != nullptr,
          std::hash<std::string_view>{}({bytes, size})};
}

std::vector<Task> TasksOf(const Arguments& arguments) {
  std::map<std::pair<std::string, Fingerprint>, std::vector<std::string>> alike;
  for (const std::string& image : arguments.images) {
    const std::string truth = TruthOf(arguments, image).string();
    alike[{truth, FingerprintOf(ReadImage(image).get())}].push_back(image);
  }
  std::vector<Task> tasks;
  for (auto& [key, images] : alike) {
    tasks.push_back({std::move(images), key.first});
  }
  return tasks;
}

void Print(const Task& task, const CharacterErrors& result) {
  static std::mutex guard;
  const std::lock_guard lock(guard);
  for (const std::string& image : task.images) {
    std::cout << image << '\t' << result.errors << '\t' << result.characters << '\t'
              << result.Percent() << '\n';
  }
  std::cout.flush();
}

// Takes tasks until there are none left.
void Work(const std::vector<Task>& tasks, std::atomic<size_t>& next) {
  Recogniser recogniser;
  for (size_t i = next++; i < tasks.size(); i = next++) {
    const OwnedPix page = ReadImage(tasks[i].images.front());
    Print(tasks[i], CompareTexts(ReadText(tasks[i].truth), recogniser.Text(page.get())));
  }
}

void RecogniseAll(const Arguments& arguments, const std::vector<Task>& tasks) {
  std::atomic<size_t> next = 0;
  std::vector<std::future<void>> threads;
  for (unsigned i = 0; i < std::max(arguments.threads, 1U); ++i) {
    threads.push_back(std::async(std::launch::async, [&] { Work(tasks, next); }));
  }
  for (std::future<void>& thread : threads) {
    thread.get();
  }
}

// Tesseract's own threads cost more than they bring. Their number is looked up when the program is
// loaded, so it starts once more.
void KeepToOneThreadEach(char** argv) {
  if (std::getenv("OMP_THREAD_LIMIT") == nullptr) {
    setenv("OMP_THREAD_LIMIT", "1", 1);
    execv("/proc/self/exe", argv);
  }
}

}  // namespace

int main(int argc, char** argv) {
  KeepToOneThreadEach(argv);
  try {
    const Arguments arguments = Parse(argc, argv);
    RecogniseAll(arguments, TasksOf(arguments));
    return 0;
  } catch (const std::invalid_argument& error) {
    std::cerr << error.what() << '\n';
    return 2;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
