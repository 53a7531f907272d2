// SPDX-License-Identifier: Apache-2.0
#include "scanned_pages.h"

#include <sys/wait.h>

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace dibkit::test {
namespace {

constexpr int kNotHere = 3;

std::string TextOf(const std::string& path) {
  const Bytes bytes = ReadFile(path);
  return {bytes.begin(), bytes.end()};
}

}  // namespace

ScannedPages::ScannedPages(const std::string& options) {
  const std::string told = directory_.Path("told");
  const std::string command =
      DIBKIT_MAKE_PAGES " " + directory_.Path("") + " " + options + " 2>" + told;
  const int status = std::system(command.c_str());
  if (!WIFEXITED(status) || (WEXITSTATUS(status) != 0 && WEXITSTATUS(status) != kNotHere)) {
    throw std::runtime_error(TextOf(told));
  }
  if (WEXITSTATUS(status) == kNotHere) {
    missing_ = TextOf(told);
  }
}

std::string ScannedPages::Text(const std::string& page) const {
  return TextOf(Path(page + ".txt"));
}

std::vector<TrueWord> ScannedPages::Words(const std::string& page) const {
  std::vector<TrueWord> words;
  std::istringstream lines(TextOf(Path(page + ".words")));
  for (TrueWord word{}; lines >> word.text >> word.left >> word.top >> word.right >> word.bottom;) {
    words.push_back(word);
  }
  return words;
}

}  // namespace dibkit::test
