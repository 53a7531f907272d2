// SPDX-License-Identifier: Apache-2.0
//
// The driver, the byte sinks, the engine's reading and writing of headers, and the file modes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Cnv_res_mem.h"
#include "reference/resample_model.h"
#include "support/dib.h"
#include "support/guarded_bytes.h"
#include "support/host_test.h"

namespace dibtest {
namespace {

using Bytes = std::vector<uint8_t>;

// A directory of its own for the files of one test.
class Scratch {
 public:
  Scratch() {
    char name[] = "/tmp/dibkit_driver_XXXXXX";
    EXPECT_NE(mkdtemp(name), nullptr);
    m_path = name;
  }
  ~Scratch() {
    for (const std::string& file : m_files) unlink(file.c_str());
    rmdir(m_path.c_str());
  }
  std::string Path(const std::string& name) {
    m_files.push_back(m_path + "/" + name);
    return m_files.back();
  }
  std::string Write(const std::string& name, const Bytes& bytes) {
    const std::string path = Path(name);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    EXPECT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(file);
    return path;
  }

 private:
  std::string m_path;
  std::vector<std::string> m_files;
};

// The content of `image` behind `before` bytes of `fill`.
Bytes Behind(size_t before, uint8_t fill, const Dib& image) {
  Bytes bytes(before + image.Bytes().size(), fill);
  std::copy(image.Bytes().begin(), image.Bytes().end(),
            bytes.begin() + static_cast<ptrdiff_t>(before));
  return bytes;
}

Bytes AsFile(const Dib& image) {
  Bytes bytes = Behind(14, 0, image);
  bytes[0] = 'B';
  bytes[1] = 'M';
  return bytes;
}

Bytes ReadBack(int file, size_t bytes) {
  Bytes content(bytes);
  const ssize_t got = pread(file, content.data(), bytes, 0);
  content.resize(got < 0 ? 0 : static_cast<size_t>(got));
  return content;
}

int OpenDescriptors() {
  int count = 0;
  for (int i = 0; i != 256; ++i) {
    if (fcntl(i, F_GETFD) != -1) ++count;
  }
  return count;
}

// Memory to memory -----------------------------------------------------------

class Driver : public HostTest {};

int Transform(unsigned short mode, const void* src, void* dst, unsigned short dpi = 150) {
  return LinearTransformMain(mode, src, dst, nullptr, dpi, 128);
}

TEST_F(Driver, MakesTheResultInTheCallersBlock) {
  Random random(1);
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    for (const bool color : {false, true}) {
      Dib image({.width = 13, .height = 7, .bits = bits});
      if (bits <= 8) color ? image.SetRandomTable(random) : image.SetRandomGrayTable(random);
      image.FillRandom(random);
      tagHANDLE* source = image.ToHandle();
      MakeReadOnly(source);
      const Bytes expected = ModelTransform(image, 200, 128);
      tagHANDLE* destination = GlobalAlloc(GHND, static_cast<unsigned>(expected.size()));
      EXPECT_EQ(Transform(0x22, &source, &destination, 200), CNV_OK);
      EXPECT_EQ(BytesOf(destination), expected) << bits << " bits";
      EXPECT_EQ(LockCount(source), 0u);
      EXPECT_EQ(LockCount(destination), 0u);
      GlobalFree(source);
      GlobalFree(destination);
    }
  }
}

// The whole engine in a block that is exactly as large as header, table and rows.
TEST_F(Driver, WritesNothingBeyondHeaderTableAndRows) {
  Random random(2);
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 4, 8, 16, 24, 32}) {
    for (const bool color : {false, true}) {
      Dib image({.width = 13, .height = 7, .bits = bits});
      if (bits <= 8) color ? image.SetRandomTable(random) : image.SetRandomGrayTable(random);
      image.FillRandom(random);
      const size_t entries = bits == 1   ? 2
                             : bits == 4 ? (color ? 0 : 16)
                             : bits == 8 ? (color ? 254 : 256)
                                         : 0;
      const size_t exact = 40 + 4 * entries + StrideOf(bits, 8) * 4;
      tagHANDLE* source = image.ToHandle();
      tagHANDLE* destination = GlobalAlloc(GHND, static_cast<unsigned>(exact));
      EXPECT_EQ(Transform(0x22, &source, &destination, 200), CNV_OK);
      const Bytes expected = ModelTransform(image, 200, 128);
      EXPECT_EQ(BytesOf(destination),
                Bytes(expected.begin(), expected.begin() + static_cast<ptrdiff_t>(exact)));
      GlobalFree(source);
      GlobalFree(destination);
    }
  }
}

TEST_F(Driver, WhatIsNotWrittenKeepsWhatTheBlockHeld) {
  Random random(3);
  Dib image({.width = 6, .height = 5, .bits = 32});
  image.FillRandom(random);
  tagHANDLE* source = image.ToHandle();
  FillBlocksWith(0x5A);
  tagHANDLE* destination = GlobalAlloc(GHND, 2000);
  EXPECT_EQ(Transform(0x22, &source, &destination, 300), CNV_OK);
  const Bytes bytes = BytesOf(destination);
  EXPECT_EQ(Bytes(bytes.begin() + 40, bytes.end()), Bytes(1960, 0x5A)) << "no maker, no rows";
  GlobalFree(source);
  GlobalFree(destination);
}

TEST_F(Driver, ABilevelPixelIsOnlyEverSet) {
  Dib image({.width = 8, .height = 1, .bits = 1});
  image.SetBlackWhite();
  tagHANDLE* source = image.ToHandle();  // all black
  FillBlocksWith(0xFF);
  tagHANDLE* destination = GlobalAlloc(GHND, 52);
  EXPECT_EQ(Transform(0x22, &source, &destination, 300), CNV_OK);
  EXPECT_EQ(BytesOf(destination)[48], 0xFF);
  GlobalFree(source);
  GlobalFree(destination);
}

TEST_F(Driver, TheMemoryBitsYieldToTheFileBits) {
  tagHANDLE* handle = Dib(DibShape{}).ToHandle();
  const std::string missing = "/nonexistent/dibkit";
  EXPECT_EQ(Transform(0x03 | 0x20, missing.c_str(), &handle), CNV_SOURCE_UNREADABLE);
  EXPECT_EQ(Transform(0x02 | 0x30, &handle, const_cast<char*>(missing.c_str())),
            CNV_HEADER_NOT_WRITTEN);
  EXPECT_EQ(LockCount(handle), 0u);
  GlobalFree(handle);
}

TEST_F(Driver, AModeWithoutASourceIs11) {
  tagHANDLE* handle = Dib(DibShape{}).ToHandle();
  for (const unsigned short mode : std::initializer_list<unsigned short>{0, 0x20, 0x0C}) {
    EXPECT_EQ(Transform(mode, &handle, &handle), CNV_BAD_SOURCE);
  }
  GlobalFree(handle);
}

TEST_F(Driver, AModeWithoutADestinationIs6) {
  tagHANDLE* handle = Dib(DibShape{}).ToHandle();
  EXPECT_EQ(Transform(0x02, &handle, nullptr), CNV_HEADER_NOT_WRITTEN);
  EXPECT_EQ(LockCount(handle), 0u);
  GlobalFree(handle);
}

TEST_F(Driver, NullHandles) {
  tagHANDLE* null = nullptr;
  tagHANDLE* handle = Dib(DibShape{}).ToHandle();
  EXPECT_EQ(Transform(0x22, &null, &handle), CNV_SOURCE_UNREADABLE);
  EXPECT_EQ(Transform(0x22, &handle, &null), CNV_HEADER_NOT_WRITTEN);
  EXPECT_EQ(ReadHost().nullLocks, 0u);
  EXPECT_EQ(LockCount(handle), 0u);
  GlobalFree(handle);
}

TEST_F(Driver, EveryFailedLockReleasesBothSinks) {
  tagHANDLE* source = Dib({.width = 4, .height = 4, .bits = 24}).ToHandle();
  tagHANDLE* destination = GlobalAlloc(GHND, 2000);
  const unsigned faults = FailEach(Fault::kGlobalLock, [&](FaultRun& run) {
    const int status = run.Call([&] { return Transform(0x22, &source, &destination); });
    const int expected = !run.Met() || run.Nth() > 2 ? CNV_OK
                         : run.Nth() == 1            ? CNV_SOURCE_UNREADABLE
                                                     : CNV_HEADER_NOT_WRITTEN;
    EXPECT_EQ(status, expected);
    EXPECT_EQ(LockCount(source), 0u);
    EXPECT_EQ(LockCount(destination), 0u);
    EXPECT_EQ(ReadHost().liveBlocks, 2u);
  });
  EXPECT_EQ(faults, 4u);
  GlobalFree(source);
  GlobalFree(destination);
}

TEST_F(Driver, AFailureLeavesTheDestinationToItsOwner) {
  tagHANDLE* source = Dib({.width = 4, .height = 4, .bits = 24}).ToHandle();
  for (const unsigned nth : {1u, 2u}) {
    tagHANDLE* destination = GlobalAlloc(GHND, 2000);
    ArmFault(Fault::kGlobalAlloc, nth);
    EXPECT_EQ(Transform(0x22, &source, &destination), CNV_NO_MEMORY);
    DisarmFault(Fault::kGlobalAlloc);
    EXPECT_EQ(Dib::FromHandle(destination).Width(), 2) << "the header was written before";
    GlobalFree(destination);
  }
  GlobalFree(source);
}

// File modes -----------------------------------------------------------------

class FileModes : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    m_descriptors = OpenDescriptors();
  }
  void TearDown() override {
    EXPECT_EQ(OpenDescriptors(), m_descriptors) << "a descriptor was left open";
    HostTest::TearDown();
  }
  Scratch m_scratch;
  int m_descriptors = 0;
};

TEST_F(FileModes, AFileDestinationIs6AfterAnEmptyFileWasMade) {
  tagHANDLE* source = Dib({.width = 4, .height = 4, .bits = 24}).ToHandle();
  const std::string path = m_scratch.Path("out.bmp");
  const mode_t mask = umask(0);
  EXPECT_EQ(Transform(0x12, &source, const_cast<char*>(path.c_str())), CNV_HEADER_NOT_WRITTEN);
  umask(mask);
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 0);
  EXPECT_EQ(status.st_mode & 0777, 2u) << "others may write, nobody may read";
  GlobalFree(source);
}

TEST_F(FileModes, AFileSourceIs5WhenItsRowsAreAskedFor) {
  for (const uint16_t bits : std::initializer_list<uint16_t>{1, 8, 24}) {
    const std::string path =
        m_scratch.Write("in.bmp", AsFile(Dib({.width = 4, .height = 4, .bits = bits})));
    tagHANDLE* destination = GlobalAlloc(GHND, 3000);
    EXPECT_EQ(Transform(0x21, path.c_str(), &destination), CNV_SOURCE_UNREADABLE);
    const Dib header = Dib::FromHandle(destination);
    EXPECT_EQ(header.Width(), 2) << "header and table were written before";
    EXPECT_EQ(header.Bits(), bits);
    EXPECT_EQ(LockCount(destination), 0u);
    GlobalFree(destination);
    EXPECT_EQ(ReadHost().liveBlocks, 0u) << "the work buffers are released";
  }
}

TEST_F(FileModes, AFileThatCannotBeReadIs5) {
  tagHANDLE* destination = GlobalAlloc(GHND, 3000);
  EXPECT_EQ(Transform(0x21, m_scratch.Path("missing").c_str(), &destination),
            CNV_SOURCE_UNREADABLE);
  const Bytes whole = AsFile(Dib({.width = 4, .height = 4, .bits = 4}));
  // Everything up to the last byte of the table is needed.
  for (const size_t length : {0u, 13u, 14u, 53u, 54u, 57u, 117u}) {
    const Bytes part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
    const std::string path = m_scratch.Write("in.bmp", part);
    EXPECT_EQ(Transform(0x21, path.c_str(), &destination), CNV_SOURCE_UNREADABLE) << length;
    EXPECT_EQ(BytesOf(destination), Bytes(3000, 0)) << length;
  }
  GlobalFree(destination);
}

TEST_F(FileModes, AFileWithoutAResolutionIs11) {
  Dib image({.width = 4, .height = 4, .bits = 24});
  image.Set32(24, 38);
  const std::string path = m_scratch.Write("in.bmp", AsFile(image));
  tagHANDLE* destination = GlobalAlloc(GHND, 3000);
  EXPECT_EQ(Transform(0x21, path.c_str(), &destination), CNV_BAD_SOURCE);
  GlobalFree(destination);
}

TEST_F(FileModes, FileToFileEndsWith6) {
  const std::string in =
      m_scratch.Write("in.bmp", AsFile(Dib({.width = 4, .height = 4, .bits = 24})));
  const std::string out = m_scratch.Path("out.bmp");
  EXPECT_EQ(Transform(0x11, in.c_str(), const_cast<char*>(out.c_str())), CNV_HEADER_NOT_WRITTEN);
}

TEST_F(FileModes, TheSizeQueryReadsAFile) {
  const Dib image({.width = 40, .height = 30, .bits = 8});
  const std::string path = m_scratch.Write("in.bmp", AsFile(image));
  for (const unsigned short mode : std::initializer_list<unsigned short>{0x01, 0x03, 0x33}) {
    unsigned long size = 1;
    EXPECT_EQ(GetTransformImageMemorySize(mode, path.c_str(), 200, &size), CNV_OK);
    EXPECT_EQ(size, ModelSize(image, 200, 8));
  }
  unsigned long size = 1;
  EXPECT_EQ(GetTransformImageMemorySize(0x01, m_scratch.Path("missing").c_str(), 200, &size),
            CNV_SOURCE_UNREADABLE);
  EXPECT_EQ(size, 0u);
  const Bytes whole = AsFile(image);
  for (const size_t length : {0u, 14u, 53u}) {
    const Bytes part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
    const std::string cut = m_scratch.Write("cut.bmp", part);
    size = 1;
    EXPECT_EQ(GetTransformImageMemorySize(0x01, cut.c_str(), 200, &size), CNV_SOURCE_UNREADABLE);
    EXPECT_EQ(size, 0u);
  }
  const Bytes headers(whole.begin(), whole.begin() + 54);
  const std::string lone = m_scratch.Write("lone.bmp", headers);
  EXPECT_EQ(GetTransformImageMemorySize(0x01, lone.c_str(), 200, &size), CNV_OK);
}

// Byte sinks -----------------------------------------------------------------

class Sink : public FileModes {};

TEST_F(Sink, StartsWithNothing) {
  const CBufTransfer sink;
  EXPECT_EQ(sink.m_hHandle, nullptr);
  EXPECT_EQ(sink.m_iFile, -1);
  EXPECT_EQ(sink.m_pData, nullptr);
  EXPECT_EQ(sink.m_wKind, 0);
  EXPECT_EQ(sink.m_dwPosition, 0u);
}

TEST_F(Sink, MemoryIsWrittenAtTheOffsetOrAppended) {
  GuardedBytes block(10);
  CBufTransfer sink;
  sink.m_pData = block.data();
  char abc[] = "abc";
  EXPECT_EQ(sink.SetData(2, 3, abc, 0), 1);
  EXPECT_EQ(sink.m_dwPosition, 5u);
  EXPECT_EQ(sink.SetData(1, 2, abc, 1), 1) << "relative to the position";
  EXPECT_EQ(sink.m_dwPosition, 8u);
  EXPECT_EQ(sink.SetData(0, 2, abc, 1), 1);
  EXPECT_EQ(sink.m_dwPosition, 10u);
  EXPECT_EQ(std::memcmp(block.data(), "\0\0abc\0abab", 10), 0);
  EXPECT_EQ(sink.SetData(9, 1, abc, 2), 1) << "only 1 appends";
  EXPECT_EQ(sink.m_dwPosition, 10u);
  EXPECT_EQ(block[9], 'a');
}

TEST_F(Sink, NothingLockedFails) {
  for (const unsigned short kind : std::initializer_list<unsigned short>{0, 1, 3}) {
    CBufTransfer sink;
    sink.m_wKind = kind;
    sink.m_dwPosition = 7;
    char byte = 0;
    EXPECT_EQ(sink.SetData(0, 1, &byte, 0), 0);
    EXPECT_EQ(sink.m_dwPosition, 7u);
  }
}

TEST_F(Sink, AFileIsWrittenOnlyWithAHandle) {
  const std::string path = m_scratch.Path("sink");
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  CBufTransfer sink;
  sink.m_wKind = 2;
  sink.m_iFile = file;
  char abc[] = "abc";
  EXPECT_EQ(sink.SetData(0, 3, abc, 1), 0);
  EXPECT_TRUE(ReadBack(file, 10).empty());

  sink.m_hHandle = reinterpret_cast<tagHANDLE*>(uintptr_t{0x10});
  EXPECT_EQ(sink.SetData(99, 3, abc, 1), 1) << "at the file position, whatever the offset";
  EXPECT_EQ(sink.m_dwPosition, 3u);
  EXPECT_EQ(sink.SetData(1, 3, abc, 0), 1) << "at the offset";
  EXPECT_EQ(sink.m_dwPosition, 4u);
  EXPECT_EQ(sink.SetData(0, 1, abc, 1), 1);
  EXPECT_EQ(sink.m_dwPosition, 5u);
  const Bytes content = ReadBack(file, 10);
  EXPECT_EQ(std::string(content.begin(), content.end()), "aabca");
}

TEST_F(Sink, AFileThatTakesNothingFails) {
  CBufTransfer sink;
  sink.m_wKind = 2;
  sink.m_iFile = open("/dev/null", O_RDONLY);
  sink.m_hHandle = reinterpret_cast<tagHANDLE*>(uintptr_t{0x10});
  char byte = 0;
  EXPECT_EQ(sink.SetData(0, 1, &byte, 0), 0);
  EXPECT_EQ(sink.SetData(0, 1, &byte, 1), 0);
  CBufTransfer closed;
  closed.m_wKind = 2;
  closed.m_hHandle = sink.m_hHandle;
  EXPECT_EQ(closed.SetData(0, 1, &byte, 0), 0) << "no descriptor";
  EXPECT_EQ(closed.SetData(0, 1, &byte, 1), 0);
}

TEST_F(Sink, ReleaseUnlocksMemoryOnce) {
  tagHANDLE* handle = GlobalAlloc(GHND, 10);
  GlobalLock(handle);
  {
    CBufTransfer sink;
    sink.m_wKind = 1;
    sink.m_hHandle = handle;
    sink.m_pData = static_cast<unsigned char*>(GlobalLock(handle));
  }
  EXPECT_EQ(LockCount(handle), 1u);
  for (const unsigned short kind : std::initializer_list<unsigned short>{0, 2, 3}) {
    CBufTransfer sink;
    sink.m_wKind = kind;
    sink.m_hHandle = handle;
    unsigned char data;
    sink.m_pData = &data;
  }
  EXPECT_EQ(LockCount(handle), 1u) << "only a memory sink unlocks";
  {
    CBufTransfer sink;
    sink.m_wKind = 1;
    sink.m_hHandle = handle;
  }
  EXPECT_EQ(LockCount(handle), 1u) << "what is not locked is not unlocked";
  GlobalUnlock(handle);
  GlobalFree(handle);
}

TEST_F(Sink, ReleaseClosesAFile) {
  const int file = open("/dev/null", O_RDONLY);
  for (const unsigned short kind : std::initializer_list<unsigned short>{0, 1, 3}) {
    CBufTransfer sink;
    sink.m_wKind = kind;
    sink.m_iFile = file;
  }
  EXPECT_NE(fcntl(file, F_GETFD), -1) << "only a file sink closes";
  {
    CBufTransfer sink;
    sink.m_wKind = 2;
    sink.m_iFile = file;
  }
  EXPECT_EQ(fcntl(file, F_GETFD), -1);
}

// The engine's own members ---------------------------------------------------

class Engine : public FileModes {};

// An engine that reads from these bytes.
struct Reading {
  explicit Reading(const Bytes& bytes) : block(bytes) {
    block.MakeReadOnly();
    source.m_pData = block.data();
    engine.m_pSource = &source;
  }
  GuardedBytes block;
  CBufTransfer source;
  CLinearTransformMem engine;
};

TEST_F(Engine, ReadsHeaderAndTable) {
  Random random(4);
  const struct {
    uint16_t bits;
    unsigned entries;
  } rows[] = {{0, 1},   {1, 2},  {2, 4},  {3, 8},  {4, 16},
              {8, 256}, {16, 0}, {24, 0}, {32, 0}, {30000, 0}};
  for (const auto& row : rows) {
    Dib image({.width = 0x1000D,
               .height = -7,
               .bits = row.bits,
               .xPels = PelsPerMeter(300),
               .yPels = PelsPerMeter(200),
               .clrUsed = 1,
               .tableEntries = static_cast<int>(row.entries),
               .rowBytes = 0});
    for (size_t i = 40; i != image.Bytes().size(); ++i) image.Bytes()[i] = random.Byte();
    Reading reading(image.Bytes());
    CLinearTransformMem& engine = reading.engine;
    EXPECT_EQ(engine.GetSourceImageInfo(), CNV_OK);
    EXPECT_EQ(engine.m_wSourceWidth, 13);
    EXPECT_EQ(engine.m_wSourceHeight, 65536 - 7);
    EXPECT_EQ(engine.m_wSourceBitCount, row.bits);
    EXPECT_EQ(engine.m_wSourceResolutionX, 300);
    EXPECT_EQ(engine.m_wSourceResolutionY, 200);
    EXPECT_EQ(engine.m_dwSourceRowBytes, StrideOf(row.bits, 13));
    EXPECT_EQ(engine.m_wSourceBitsOffset, 40 + 4 * row.entries);
    EXPECT_EQ(reading.source.m_dwPosition, 40 + 4 * row.entries);
    for (unsigned i = 0; i != 256; ++i) {
      const tagRGBQUAD& entry = engine.m_ColorTable[i];
      const Rgb expected = i < row.entries ? image.Color(i) : Rgb{0, 0, 0};
      EXPECT_EQ((Rgb{entry.rgbRed, entry.rgbGreen, entry.rgbBlue}), expected);
      EXPECT_EQ(entry.rgbReserved, 0);
    }
  }
}

TEST_F(Engine, ReadsFromTheSinksPosition) {
  Dib image({.width = 9, .height = 4, .bits = 1, .rowBytes = 0});
  image.SetBlackWhite(true);
  Reading reading(Behind(11, 0xEE, image));
  reading.source.m_dwPosition = 11;
  EXPECT_EQ(reading.engine.GetSourceImageInfo(), CNV_OK);
  EXPECT_EQ(reading.engine.m_wSourceWidth, 9);
  EXPECT_EQ(reading.engine.m_ColorTable[0].rgbBlue, 255);
  EXPECT_EQ(reading.engine.m_wSourceBitsOffset, 11 + 48);
}

TEST_F(Engine, ClassifiesTheSource) {
  Random random(5);
  const struct {
    uint16_t bits;
    bool color;
    unsigned short kind;
  } rows[] = {{1, false, 1},  {1, true, 1},  {4, false, 2},  {4, true, 0},
              {8, false, 3},  {8, true, 5},  {16, false, 0}, {24, false, 6},
              {32, false, 0}, {2, false, 0}, {5, false, 0},  {30000, false, 0}};
  for (const auto& row : rows) {
    Dib image({.bits = row.bits, .tableEntries = row.bits <= 8 ? 1 << row.bits : 0, .rowBytes = 0});
    if (row.color) {
      image.SetRandomTable(random);
    } else if (row.bits <= 8) {
      image.SetRandomGrayTable(random);
    }
    Reading reading(image.Bytes());
    reading.engine.m_wKind = 99;
    EXPECT_EQ(reading.engine.GetSourceImageInfo(), CNV_OK);
    EXPECT_EQ(reading.engine.m_wKind, row.kind) << row.bits;
  }
}

TEST_F(Engine, ASourceWithoutDataIs5) {
  CBufTransfer source;
  CLinearTransformMem engine;
  engine.m_pSource = &source;
  EXPECT_EQ(engine.GetSourceImageInfo(), CNV_SOURCE_UNREADABLE);
  source.m_wKind = 2;
  EXPECT_EQ(engine.GetSourceImageInfo(), CNV_SOURCE_UNREADABLE) << "no descriptor";
}

TEST_F(Engine, ReadsAFileBehindItsFileHeader) {
  Random random(6);
  Dib image({.width = 9, .height = 4, .bits = 4});
  image.SetRandomTable(random);
  Bytes file = AsFile(image);
  file[10] = 200;  // the data offset is not looked at
  const std::string path = m_scratch.Write("in.bmp", file);
  CBufTransfer source;
  source.m_wKind = 2;
  source.m_iFile = open(path.c_str(), O_RDWR);
  CLinearTransformMem engine;
  engine.m_pSource = &source;
  EXPECT_EQ(engine.GetSourceImageInfo(), CNV_OK);
  EXPECT_EQ(engine.m_wSourceWidth, 9);
  EXPECT_EQ(engine.m_wSourceBitsOffset, 14 + 40 + 64);
  EXPECT_EQ(source.m_dwPosition, 14u + 40 + 64);
  EXPECT_EQ(engine.m_ColorTable[15].rgbBlue, image.Color(15).blue);
}

TEST_F(Engine, IsGrayLooksAtAll256Entries) {
  CLinearTransformMem engine;
  EXPECT_EQ(engine.IsGrayImage(), 1);
  engine.m_wSourceBitCount = 4;
  for (unsigned i = 0; i != 256; ++i) {
    const uint8_t level = static_cast<uint8_t>(i);
    engine.m_ColorTable[i] = {level, level, level, static_cast<uint8_t>(~level)};
  }
  EXPECT_EQ(engine.IsGrayImage(), 1) << "the reserved byte does not count";
  for (const unsigned i : {0u, 15u, 16u, 255u}) {
    for (uint8_t tagRGBQUAD::*part :
         {&tagRGBQUAD::rgbBlue, &tagRGBQUAD::rgbGreen, &tagRGBQUAD::rgbRed}) {
      engine.m_ColorTable[i].*part ^= 1;
      EXPECT_EQ(engine.IsGrayImage(), 0) << i;
      engine.m_ColorTable[i].*part ^= 1;
    }
  }
}

TEST_F(Engine, WritesTheInfoHeader) {
  const struct {
    unsigned short bits;
    uint32_t colors;
  } rows[] = {{1, 2}, {4, 16}, {8, 256}, {16, 0}, {24, 0}, {32, 0}, {2, 0}};
  for (const auto& row : rows) {
    for (const int flag : {0, 2, -1}) {
      CLinearTransformMem engine;
      engine.m_wOutputBitCount = row.bits;
      engine.m_wOutputWidth = 65535;
      engine.m_wOutputHeight = 40000;
      engine.m_wOutputResolutionX = 300;
      engine.m_wOutputResolutionY = 200;
      GuardedBytes buffer(Bytes(40, 0xEE));
      engine.SetOutputBitmapInfoHeader(buffer.data(), flag);
      const Dib header = Dib::FromBytes(buffer.Copy());
      EXPECT_EQ(header.Get32(0), 40u);
      EXPECT_EQ(header.Get32(4), 65535u);
      EXPECT_EQ(header.Get32(8), 40000u);
      EXPECT_EQ(header.Get16(12), 1);
      EXPECT_EQ(header.Get16(14), row.bits);
      EXPECT_EQ(header.Get32(16), 0u);
      EXPECT_EQ(header.Get32(20), 0u);
      EXPECT_EQ(header.Get32(24), 11811u);
      EXPECT_EQ(header.Get32(28), 7874u);
      EXPECT_EQ(header.Get32(32), row.colors);
      EXPECT_EQ(header.Get32(36), row.colors);
    }
  }
}

TEST_F(Engine, WritesTheFileHeader) {
  const struct {
    unsigned short bits;
    uint32_t colors;
    uint32_t offset;
  } rows[] = {{1, 2, 62}, {4, 16, 118}, {8, 256, 1078}, {24, 0, 54}, {32, 0, 54}};
  for (const auto& row : rows) {
    CLinearTransformMem engine;
    engine.m_wOutputBitCount = row.bits;
    engine.m_wOutputWidth = 100;
    engine.m_wOutputHeight = 1000;
    engine.m_dwOutputRowBytes = 300;
    engine.m_wOutputResolutionX = 150;
    GuardedBytes buffer(Bytes(54, 0xEE));
    engine.SetOutputBitmapInfoHeader(buffer.data(), 1);
    Bytes bytes = buffer.Copy();
    EXPECT_EQ(bytes[0], 'B');
    EXPECT_EQ(bytes[1], 'M');
    const Dib file = Dib::FromBytes(bytes);
    EXPECT_EQ(file.Get32(2), row.colors + 300000 % 65536 + 54);
    EXPECT_EQ(file.Get32(6), 0u);
    EXPECT_EQ(file.Get32(10), row.offset);
    const Dib info = Dib::FromBytes(Bytes(bytes.begin() + 14, bytes.end()));
    EXPECT_EQ(info.Get32(0), 40u);
    EXPECT_EQ(info.Get32(4), 100u);
    EXPECT_EQ(info.Get16(14), row.bits);
    EXPECT_EQ(info.Get32(24), 5905u);
    EXPECT_EQ(info.Get32(36), row.colors);
  }
}

TEST_F(Engine, TheHighestResolutionFitsThreeBytes) {
  CLinearTransformMem engine;
  engine.m_wOutputResolutionX = 65535;
  Bytes buffer(40);
  engine.SetOutputBitmapInfoHeader(buffer.data(), 0);
  EXPECT_EQ(Dib::FromBytes(buffer).Get32(24), 655350000u / 254);
}

TEST_F(Engine, WritesATableForEachKind) {
  const struct {
    unsigned short kind;
    unsigned short bits;
    std::vector<Rgb> table;
  } rows[] = {{0, 24, {}},
              {1, 1, {{0, 0, 0}, {255, 255, 255}}},
              {2, 4,
               [] {
                 std::vector<Rgb> t;
                 for (int i = 0; i != 16; ++i) {
                   const uint8_t v = static_cast<uint8_t>(16 * i);
                   t.push_back({v, v, v});
                 }
                 return t;
               }()},
              {3, 8,
               [] {
                 std::vector<Rgb> t;
                 for (int i = 0; i != 256; ++i) {
                   const uint8_t v = static_cast<uint8_t>(i);
                   t.push_back({v, v, v});
                 }
                 return t;
               }()},
              {4, 8, {}},
              {5, 8, ModelColorCube()},
              {6, 24, {}}};
  for (const auto& row : rows) {
    GuardedBytes block(Bytes(40 + 4 * row.table.size(), 0xEE));
    CBufTransfer destination;
    destination.m_pData = block.data();
    CLinearTransformMem engine;
    engine.m_pDestination = &destination;
    engine.m_wOutputBitCount = row.bits;
    engine.m_wOutputKind = row.kind;
    EXPECT_EQ(engine.CreateOutputData(), CNV_OK);
    EXPECT_EQ(engine.m_wOutputBitsOffset, block.size());
    EXPECT_EQ(destination.m_dwPosition, block.size());
    for (size_t i = 0; i != row.table.size(); ++i) {
      const unsigned char* entry = block.data() + 40 + 4 * i;
      EXPECT_EQ((Rgb{entry[2], entry[1], entry[0]}), row.table[i]) << row.kind << ", " << i;
      EXPECT_EQ(entry[3], 0);
    }
  }
}

TEST_F(Engine, TheColorCubesCornersByHand) {
  const std::vector<Rgb> cube = ModelColorCube();
  ASSERT_EQ(cube.size(), 254u);
  GuardedBytes block(40 + 4 * 254);
  CBufTransfer destination;
  destination.m_pData = block.data();
  CLinearTransformMem engine;
  engine.m_pDestination = &destination;
  engine.m_wOutputKind = 5;
  engine.CreateOutputData();
  const auto entry = [&](size_t i) { return Bytes(&block[40 + 4 * i], &block[40 + 4 * i] + 4); };
  EXPECT_EQ(entry(0), (Bytes{0, 0, 0, 0}));
  EXPECT_EQ(entry(5), (Bytes{0, 0, 210, 0}));
  EXPECT_EQ(entry(6), (Bytes{0, 0, 255, 0}));
  EXPECT_EQ(entry(7), (Bytes{0, 51, 0, 0}));
  EXPECT_EQ(entry(42), (Bytes{51, 0, 0, 0}));
  EXPECT_EQ(entry(251), (Bytes{255, 255, 255, 0}));
}

TEST_F(Engine, APaletteImagesRowsBeginEightBytesEarly) {
  Random random(7);
  Dib image({.width = 4, .height = 1, .bits = 8});
  image.SetRandomTable(random);
  image.FillRandom(random);
  tagHANDLE* source = image.ToHandle();
  tagHANDLE* destination = GlobalAlloc(GHND, 1078 + 4);
  EXPECT_EQ(Transform(0x22, &source, &destination, 300), CNV_OK);
  const Bytes bytes = BytesOf(destination);
  EXPECT_EQ(Dib::FromBytes(bytes).Get32(32), 256u);
  for (size_t x = 0; x != 4; ++x) {
    EXPECT_EQ(bytes[1056 + x], ModelCubeIndex(image.PixelColor(x, 0)));
  }
  GlobalFree(source);
  GlobalFree(destination);
}

TEST_F(Engine, AnUnwritableDestinationIs6) {
  CBufTransfer destination;
  CLinearTransformMem engine;
  engine.m_pDestination = &destination;
  EXPECT_EQ(engine.CreateOutputData(), CNV_HEADER_NOT_WRITTEN);
  destination.m_wKind = 2;
  EXPECT_EQ(engine.CreateOutputData(), CNV_HEADER_NOT_WRITTEN);
}

TEST_F(Engine, AFileDestinationOfAHostsOwnTakesHeaderAndTable) {
  const std::string path = m_scratch.Path("own");
  CBufTransfer destination;
  destination.m_wKind = 2;
  destination.m_iFile = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  destination.m_hHandle = reinterpret_cast<tagHANDLE*>(uintptr_t{0x10});
  CLinearTransformMem engine;
  engine.m_pDestination = &destination;
  engine.m_wOutputBitCount = 1;
  engine.m_wOutputKind = 1;
  EXPECT_EQ(engine.CreateOutputData(), CNV_OK);
  EXPECT_EQ(engine.m_wOutputBitsOffset, 62);
  const Bytes bytes = ReadBack(destination.m_iFile, 100);
  ASSERT_EQ(bytes.size(), 62u);
  EXPECT_EQ(bytes[0], 'B');
  EXPECT_EQ(Bytes(bytes.end() - 8, bytes.end()), (Bytes{0, 0, 0, 0, 255, 255, 255, 0}));
}

TEST_F(Engine, LinearTransformFillsItsFields) {
  Random random(8);
  Dib image({.width = 31,
             .height = 21,
             .bits = 24,
             .xPels = PelsPerMeter(300),
             .yPels = PelsPerMeter(200)});
  image.FillRandom(random);
  Reading reading(image.Bytes());
  GuardedBytes out(static_cast<size_t>(ModelSize(image, 150, 24)));
  CBufTransfer destination;
  destination.m_pData = out.data();
  CLinearTransformMem& engine = reading.engine;
  engine.m_pDestination = &destination;
  EXPECT_EQ(engine.LinearTransform(0x22, nullptr, 150, 77), CNV_OK);
  EXPECT_EQ(engine.m_wMode, 0x22);
  EXPECT_EQ(engine.m_iThreshold, 77);
  EXPECT_EQ(engine.m_pProgress, nullptr);
  EXPECT_EQ(engine.m_dScaleX, 0.5);
  EXPECT_EQ(engine.m_dScaleY, 0.75);
  EXPECT_EQ(engine.m_wOutputWidth, 15);
  EXPECT_EQ(engine.m_wOutputHeight, 15);
  EXPECT_EQ(engine.m_wOutputBitCount, 24);
  EXPECT_EQ(engine.m_wOutputKind, 6);
  EXPECT_EQ(engine.m_wOutputResolutionX, 150);
  EXPECT_EQ(engine.m_wOutputResolutionY, 150);
  EXPECT_EQ(engine.m_dwOutputRowBytes, 48u);
  EXPECT_EQ(engine.m_wOutputBitsOffset, 40);
  EXPECT_EQ(out.Copy(), ModelTransform(image, 150, 77));
}

TEST_F(Engine, TheHistogramCountsEveryGrayValue) {
  Random random(9);
  Dib image({.width = 31, .height = 21, .bits = 8});
  image.SetGrayRamp();
  image.FillRandom(random);
  Reading reading(image.Bytes());
  GuardedBytes out(static_cast<size_t>(ModelSize(image, 200, 8)));
  CBufTransfer destination;
  destination.m_pData = out.data();
  reading.engine.m_pDestination = &destination;
  EXPECT_EQ(reading.engine.LinearTransform(0x22, nullptr, 200, 0), CNV_OK);
  std::vector<unsigned long> counts(256);
  const Dib result = Dib::FromBytes(out.Copy());
  for (size_t y = 0; y != result.Rows(); ++y) {
    for (size_t x = 0; x != static_cast<size_t>(result.Width()); ++x) ++counts[result.Pixel(x, y)];
  }
  for (size_t i = 0; i != 256; ++i) EXPECT_EQ(reading.engine.m_Histogram[i], counts[i]) << i;
}

TEST_F(Engine, GetImageLineCopiesFromMemory) {
  Random random(10);
  Bytes bytes(7 + 3 * 12);
  for (uint8_t& byte : bytes) byte = random.Byte();
  Reading reading(bytes);
  reading.engine.m_wSourceBitsOffset = 7;
  reading.engine.m_dwSourceRowBytes = 12;
  for (unsigned short line = 0; line != 3; ++line) {
    GuardedBytes row(12);
    EXPECT_EQ(reading.engine.GetImageLine(line, row.data()), 1);
    EXPECT_EQ(std::memcmp(row.data(), bytes.data() + 7 + 12 * line, 12), 0);
    EXPECT_EQ(reading.source.m_dwPosition, 7u + 12 * (line + 1u));
  }
  reading.source.m_pData = nullptr;
  unsigned char none;
  EXPECT_EQ(reading.engine.GetImageLine(0, &none), 0);
}

TEST_F(Engine, GetImageLineHasOnlyTheRowAtFileOffset0) {
  Bytes bytes(36);
  for (size_t i = 0; i != bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i);
  const std::string path = m_scratch.Write("rows", bytes);
  CBufTransfer source;
  source.m_wKind = 2;
  CLinearTransformMem engine;
  engine.m_pSource = &source;
  engine.m_dwSourceRowBytes = 12;
  GuardedBytes row(12);
  EXPECT_EQ(engine.GetImageLine(0, row.data()), 0) << "no descriptor";
  source.m_iFile = open(path.c_str(), O_RDWR);
  EXPECT_EQ(engine.GetImageLine(0, row.data()), 1);
  EXPECT_EQ(row.Copy(), Bytes(bytes.begin(), bytes.begin() + 12));
  EXPECT_EQ(source.m_dwPosition, 12u);
  EXPECT_EQ(engine.GetImageLine(1, row.data()), 0);
  engine.m_wSourceBitsOffset = 1;
  EXPECT_EQ(engine.GetImageLine(0, row.data()), 0);
  engine.m_wSourceBitsOffset = 0;
  engine.m_dwSourceRowBytes = 37;
  GuardedBytes longRow(37);
  EXPECT_EQ(engine.GetImageLine(0, longRow.data()), 0) << "a short read";
}

}  // namespace
}  // namespace dibtest
