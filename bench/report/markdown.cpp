// SPDX-License-Identifier: Apache-2.0
#include "report/markdown.h"

#include <cstdio>
#include <fstream>
#include <string>

#include "peers/peers.h"

namespace dibkit::bench {
namespace {

std::string Format(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string Milliseconds(double nanoseconds) {
  const double ms = nanoseconds / 1e6;
  return Format(ms < 1 ? "%.3f" : ms < 100 ? "%.2f" : "%.0f", ms);
}

std::string Microseconds(double nanoseconds) { return Format("%.2f", nanoseconds / 1e3); }

using Formatter = std::string (*)(double);

std::string Cell(std::optional<double> value, Formatter format) {
  return value ? format(*value) : "–";
}

std::string Ratio(double ratio) { return Format("%.2f", ratio); }

std::string CpuName() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  }
  return "unknown CPU";
}

const char* NameOf(Kernels kernels) {
  switch (kernels) {
    case Kernels::kAvx512:
      return "AVX-512";
    case Kernels::kAvx2:
      return "AVX2";
    case Kernels::kPortable:
      return "neither AVX-512 nor AVX2";
  }
  return "";
}

void WriteHead(Kernels kernels, std::ostream& out) {
  out << "<!-- SPDX-License-Identifier: Apache-2.0 -->\n"
         "<!-- Written by scripts/bench.sh; do not edit. -->\n"
         "# Speed\n\n"
         "`./scripts/bench.sh` measures dibkit beside other libraries and writes this page. "
         "Times are worth their ratios only: another machine has other times.\n\n"
      << "This run: " << CpuName() << " (" << NameOf(kernels)
      << "), one thread. Peers: " << PeersFound() << ".\n\n"
      << R"(How it is measured:

- Whole calls through the exported functions, with everything that belongs to them: header, colour table,
  positions, the allocation of the result. Process CPU time, and the median of a contender's turns;
  contenders take turns in a fixed order.
- A page is A4 at the resolution of the source, 2480 x 3508 pixels at 300 dpi, drawn by code and the same on
  every run: `text` (letters on clean paper), `photo` (a picture in soft colours over most of the page),
  `noise` (the same with a scanner's noise), `random` (random bytes).
- The blocks that a turn takes from its host are zeroed and mapped beforehand. Peers write into such a block
  too, or, where they allocate their own results, get them from a heap whose pages stay mapped. Before each
  page-sized turn the source, the blocks and the heap are taken out of the caches. The columns marked *fresh*
  give the same with blocks from `calloc` inside the measured time on both sides.
- What a peer lets a program set up once and keep (a scaling context, a copy of the picture in its own
  format) is made outside of its turns. dibkit's own set-up is always inside.
- The floor is one `memcpy` of as many bytes as the source has and one of as many as the result.
- A peer is compared when it does the same work on the same pixel format, exact or not. Others are listed
  with what they do differently and not compared: 32-bit pixels for 24-bit ones, nearest pixels or areas for
  interpolation, a flip in place. A result whose mean value is another than ours is not counted as the same
  work.

)";
}

std::string LimitOf(const Goal& goal) {
  const std::string wide = "≤ " + Ratio(goal.withAvx512);
  return goal.withAvx512 == goal.withAvx2 ? wide : wide + " (" + Ratio(goal.withAvx2) + ")";
}

void WriteGoals(const std::vector<Verdict>& verdicts, std::ostream& out) {
  out << "## Goals\n\n"
         "Ratios of dibkit's time to another's; the goal for CPUs with AVX2 only is in "
         "parentheses. "
         "The worst of all tasks of a line counts.\n\n"
         "| task | to | goal | worst | where | reached |\n|---|---|---|---|---|---|\n";
  for (const Verdict& verdict : verdicts) {
    out << "| " << verdict.goal.row << " | " << verdict.goal.against << " | "
        << LimitOf(verdict.goal) << " | " << Ratio(verdict.worst) << " | " << verdict.worstTask
        << " | ";
    if (verdict.reached == verdict.tasks) {
      out << "yes";
    } else {
      out << "no (" << verdict.reached << " of " << verdict.tasks << ")";
    }
    out << " |\n";
  }
  out << "\n";
}

// Everyone who is in no column of their own.
std::string Others(const Result& result, const std::string& best) {
  std::string others;
  for (const auto& [name, time] : result.prepared) {
    if (name != kDibkitName && name != kFloorName && name != kOpenCvLinear && name != best) {
      others += (others.empty() ? "" : "; ") + name + " " + Milliseconds(time);
    }
  }
  return others;
}

void WritePage(const Result& result, std::ostream& out) {
  const std::optional<Best> best = BestPeer(result, result.prepared);
  const auto ratio = [&](const Medians& medians, const char* against) {
    return Cell(RatioTo(result, medians, against), Ratio);
  };
  out << "| " << result.task << " | " << result.page << " | "
      << Cell(TimeOf(result.prepared, kDibkitName), Milliseconds) << " | "
      << Cell(TimeOf(result.prepared, kFloorName), Milliseconds) << " | "
      << ratio(result.prepared, kFloorName) << " | "
      << Cell(TimeOf(result.prepared, kOpenCvLinear), Milliseconds) << " | "
      << ratio(result.prepared, kOpenCvLinear) << " | "
      << (best ? best->name + " " + Milliseconds(best->time) : "–") << " | "
      << ratio(result.prepared, kBestPeer) << " | "
      << Cell(TimeOf(result.fresh, kDibkitName), Milliseconds) << " | "
      << ratio(result.fresh, kBestPeer) << " | " << ratio(result.fresh, kFloorName) << " | "
      << Others(result, best ? best->name : "") << " |\n";
}

void WritePages(const std::vector<Result>& results, std::ostream& out) {
  out << "## Pages\n\nMilliseconds of CPU time. ÷ stands for dibkit's time divided by that of the "
         "column before it.\n\n"
         "| task | page | dibkit | floor | ÷ | OpenCV linear | ÷ | best peer | ÷ | fresh: dibkit | "
         "÷ best peer | ÷ floor | others "
         "|\n|---|---|---|---|---|---|---|---|---|---|---|---|---|\n";
  for (const Result& result : results) {
    WritePage(result, out);
  }
  out << "\n";
}

void WriteSmall(const std::vector<Result>& results, std::ostream& out) {
  out << "## Small pictures\n\nMicroseconds for a whole call, from warm caches, the result's "
         "allocation and release included. The plain form is the definition of each pixel with no "
         "set-up at all.\n\n"
         "| picture | dibkit | plain form | ÷ | OpenCV |\n|---|---|---|---|---|\n";
  for (const Result& result : results) {
    std::optional<double> openCv = TimeOf(result.prepared, kOpenCvLinear);
    if (!openCv) {
      openCv = TimeOf(result.prepared, kBilevelChain);
    }
    out << "| " << result.task << " | " << Cell(TimeOf(result.prepared, kDibkitName), Microseconds)
        << " | " << Cell(TimeOf(result.prepared, kPlainName), Microseconds) << " | "
        << Cell(RatioTo(result, result.prepared, kPlainName), Ratio) << " | "
        << Cell(openCv, Microseconds) << " |\n";
  }
  out << "\n";
}

void WriteLines(const std::vector<Result>& results, std::ostream& out) {
  out << "## Line makers alone\n\nMicroseconds for one row of a noisy page, made by an engine that "
         "a "
         "host set up by hand, from warm caches.\n\n"
         "| row | dibkit | plain form | ÷ |\n|---|---|---|---|\n";
  for (const Result& result : results) {
    out << "| " << result.task << " | " << Cell(TimeOf(result.prepared, kDibkitName), Microseconds)
        << " | " << Cell(TimeOf(result.prepared, kPlainName), Microseconds) << " | "
        << Cell(RatioTo(result, result.prepared, kPlainName), Ratio) << " |\n";
  }
  out << "\n";
}

void WriteGrowth(const std::vector<GrowthResult>& results, const std::string& title,
                 const char* axis, std::ostream& out) {
  out << title << "| " << axis << " | dibkit, ms | ms a megapixel | OpenCV linear, ms | ms a "
      << "megapixel |\n|---|---|---|---|---|\n";
  for (const GrowthResult& point : results) {
    out << "| " << Format("%g", point.x);
    for (const char* name : {kDibkitName, kOpenCvLinear}) {
      const std::optional<double> time = TimeOf(point.medians, name);
      out << " | " << Cell(time, Milliseconds) << " | "
          << (time ? Milliseconds(*time / point.megapixels) : "–");
    }
    out << " |\n";
  }
  out << "\n";
}

void WriteMemory(const std::vector<PeakMemory>& results, std::ostream& out) {
  out << "## Memory\n\nMiB for a page. The peak is what the process grew by during the call, the "
         "result included.\n\n| page | source | result | peak | beside the result |\n"
         "|---|---|---|---|---|\n";
  for (const PeakMemory& peak : results) {
    out << "| " << peak.kind << " | " << Format("%.1f", peak.sourceMiB) << " | "
        << Format("%.1f", peak.resultMiB) << " | " << Format("%.1f", peak.peakMiB) << " | "
        << Format("%.1f", peak.peakMiB - peak.resultMiB) << " |\n";
  }
  out << "\n";
}

}  // namespace

void WriteMarkdown(const Results& results, Kernels kernels, const std::string& plot,
                   std::ostream& out) {
  WriteHead(kernels, out);
  WriteGoals(Judge(results, kernels), out);
  WritePages(results.pages, out);
  WriteSmall(results.small, out);
  WriteLines(results.lines, out);
  const std::string title =
      "## How cost grows\n\n24 bits, 300→200, a megapixel of the source.\n\n"
      "![Cost of a megapixel by size of the picture and by resolution](" +
      plot + ")\n\n";
  WriteGrowth(results.growth, title, "megapixels", out);
  WriteGrowth(results.ratios, "An A4 page of 300 dpi, a megapixel of the result.\n\n", "to dpi",
              out);
  WriteMemory(results.memory, out);
}

}  // namespace dibkit::bench
