// SPDX-License-Identifier: Apache-2.0
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <array>
#include <memory>

#include "peers/bilevel_steps.h"
#include "peers/peers.h"

namespace dibkit::bench {
namespace {

// A matrix over memory that others own. OpenCV has one type for what it reads and what it writes.
cv::Mat Over(const unsigned char* rows, Pixels pixels, int width, int height, size_t stride) {
  int type = CV_8UC1;
  if (pixels == Pixels::kBgr24) {
    type = CV_8UC3;
  } else if (pixels == Pixels::kBgrx32) {
    type = CV_8UC4;
  } else if (pixels == Pixels::kWord555) {
    type = CV_8UC2;
  }
  return cv::Mat(height, width, type, const_cast<unsigned char*>(rows), stride);
}

cv::Mat SourceOf(const PeerJob& job) {
  const Picture& source = job.source;
  return Over(source.rows, source.pixels, source.width, source.height, source.stride);
}

cv::Mat NewResult(const PeerJob& job) {
  const size_t stride = StrideOf(job.result, job.width);
  return Over(ResultBlock(stride * static_cast<size_t>(job.height)), job.result, job.width,
              job.height, stride);
}

Bytes RowsOf(const cv::Mat& made) {
  return {made.data, made.step * static_cast<size_t>(made.rows)};
}

template <typename Call>
void Add(const PeerJob& job, const char* name, Call call, Contenders& contenders) {
  contenders.push_back({name,
                        Standing::kPeer,
                        {job.source.View()},
                        [job, call] {
                          cv::Mat made = NewResult(job);
                          call(SourceOf(job), made);
                          return RowsOf(made);
                        },
                        {}});
}

void AddResize(const PeerJob& job, Contenders& contenders) {
  Add(
      job, kOpenCvLinear,
      [](const cv::Mat& source, cv::Mat& made) {
        cv::resize(source, made, made.size(), 0, 0, cv::INTER_LINEAR);
      },
      contenders);
  Add(
      job, "OpenCV linear-exact",
      [](const cv::Mat& source, cv::Mat& made) {
        cv::resize(source, made, made.size(), 0, 0, cv::INTER_LINEAR_EXACT);
      },
      contenders);
}

// OpenCV has no bits: they become bytes, are resized, cut at the threshold and packed again.
void AddBilevelResize(const PeerJob& job, Contenders& contenders) {
  const auto steps = std::make_shared<BilevelSteps>();
  contenders.push_back(
      {kBilevelChain,
       Standing::kPeer,
       {job.source.View()},
       [job, steps]() -> Bytes {
         const Picture& source = job.source;
         const auto bytesOf = [](int width, int height) {
           return static_cast<size_t>(width) * static_cast<size_t>(height);
         };
         cv::Mat wide = Over(ResultBlock(bytesOf(source.width, source.height)), Pixels::kGray8,
                             source.width, source.height, static_cast<size_t>(source.width));
         cv::Mat resized = Over(ResultBlock(bytesOf(job.width, job.height)), Pixels::kGray8,
                                job.width, job.height, static_cast<size_t>(job.width));
         const size_t stride = StrideOf(Pixels::kBilevel, job.width);
         unsigned char* made = ResultBlock(stride * static_cast<size_t>(job.height));
         for (int y = 0; y < source.height; ++y) {
           steps->Expand(source.rows + static_cast<size_t>(y) * source.stride, source.width,
                         wide.ptr(y));
         }
         cv::resize(wide, resized, resized.size(), 0, 0, cv::INTER_LINEAR);
         cv::threshold(resized, resized, 127, 255, cv::THRESH_BINARY);
         for (int y = 0; y < job.height; ++y) {
           BilevelSteps::Pack(resized.ptr(y), job.width, made + static_cast<size_t>(y) * stride);
         }
         return {made, stride * static_cast<size_t>(job.height)};
       },
       {}});
}

template <int kCode>
void ConvertColors(const cv::Mat& source, cv::Mat& made) {
  cv::cvtColor(source, made, kCode);
}

void AddPaletteLookUp(const PeerJob& job, Contenders& contenders) {
  cv::Mat table(1, 256, CV_8UC3);
  for (int i = 0; i < 256; ++i) {
    const unsigned char* color = job.source.colors + 4 * i;
    table.at<cv::Vec3b>(i) = cv::Vec3b(color[0], color[1], color[2]);
  }
  Add(
      job, "OpenCV",
      [table](const cv::Mat& source, cv::Mat& made) {
        cv::cvtColor(source, made, cv::COLOR_GRAY2BGR);
        cv::LUT(made, table, made);
      },
      contenders);
}

void AddConversions(const PeerJob& job, Contenders& contenders) {
  const Pixels from = job.source.pixels;
  if (job.result == Pixels::kWord555 && from == Pixels::kBgr24) {
    Add(job, "OpenCV", ConvertColors<cv::COLOR_BGR2BGR555>, contenders);
  } else if (job.result == Pixels::kBgr24 && from == Pixels::kWord555) {
    Add(job, "OpenCV", ConvertColors<cv::COLOR_BGR5552BGR>, contenders);
  } else if (job.result == Pixels::kBgr24 && from == Pixels::kBgrx32) {
    Add(job, "OpenCV", ConvertColors<cv::COLOR_BGRA2BGR>, contenders);
  } else if (job.result == Pixels::kBgr24 && from == Pixels::kPalette8) {
    AddPaletteLookUp(job, contenders);
  }
}

}  // namespace

void AddOpenCv(const PeerJob& job, Contenders& contenders) {
  cv::setNumThreads(0);
  switch (job.work) {
    case Work::kResize:
      if (job.source.pixels == Pixels::kBilevel) {
        AddBilevelResize(job, contenders);
      } else {
        AddResize(job, contenders);
      }
      break;
    case Work::kConvert:
      AddConversions(job, contenders);
      break;
    case Work::kFlip:
      Add(
          job, "OpenCV", [](const cv::Mat& source, cv::Mat& made) { cv::flip(source, made, 0); },
          contenders);
      break;
    default:
      break;
  }
}

}  // namespace dibkit::bench
