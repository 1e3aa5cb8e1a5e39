#include "photo/photo.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "base/failure.h"
#include "support/private_temp_folder.h"
#include "support/seeded_random.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using facefeature_tools::decodePhoto;
using facefeature_tools::Photo;
using facefeature_tools::PhotoError;

constexpr uint32_t kWidth = 37;
constexpr uint32_t kHeight = 21;

Bytes noise(size_t count) {
  SeededRandom random;
  return random.bytes(count);
}

void expectPhoto(const Bytes& encoded, uint32_t width, uint32_t height, const Bytes& bgr) {
  const Photo photo = decodePhoto(encoded);
  EXPECT_EQ(static_cast<int32_t>(width), photo.width);
  EXPECT_EQ(static_cast<int32_t>(height), photo.height);
  EXPECT_EQ(3 * photo.width, photo.stride());
  EXPECT_TRUE(bgr == photo.pixels);
}

// The error message for these bytes. Fails the test if there is no error.
std::string errorOf(const Bytes& encoded) {
  try {
    decodePhoto(encoded);
  } catch (const PhotoError& error) {
    return error.what();
  }
  ADD_FAILURE() << "a broken picture was read";
  return "";
}

void expectEachShorterFileRefused(const Bytes& encoded) {
  ASSERT_NO_THROW(decodePhoto(encoded));
  for (size_t length = 0; length < encoded.size(); ++length) {
    const Bytes cut(encoded.begin(), encoded.begin() + static_cast<std::ptrdiff_t>(length));
    EXPECT_THROW(decodePhoto(cut), PhotoError) << "cut to " << length << " of " << encoded.size();
  }
}

TEST(Jpeg, ColourComesOutInBlueGreenRedOrder) {
  const Bytes jpeg = encodeJpeg(kWidth, kHeight, noise(3 * kWidth * kHeight));
  expectPhoto(jpeg, kWidth, kHeight, swapped(decodedSamples(jpeg, JCS_RGB)));
}

TEST(Jpeg, ProgressiveFilesAreRead) {
  JpegEncoding encoding;
  encoding.progressive = true;
  const Bytes jpeg = encodeJpeg(kWidth, kHeight, noise(3 * kWidth * kHeight), encoding);
  expectPhoto(jpeg, kWidth, kHeight, swapped(decodedSamples(jpeg, JCS_RGB)));
}

TEST(Jpeg, GrayGoesToAllThreeChannels) {
  const Bytes jpeg =
      encodeJpeg(kWidth, kHeight, noise(kWidth * kHeight), {1, JCS_GRAYSCALE, false, 90});
  Bytes wanted;
  for (const uint8_t gray : decodedSamples(jpeg, JCS_GRAYSCALE)) {
    wanted.insert(wanted.end(), 3, gray);
  }
  expectPhoto(jpeg, kWidth, kHeight, wanted);
}

TEST(Jpeg, PrintColoursAreRefusedWithAMessage) {
  const Bytes jpeg =
      encodeJpeg(kWidth, kHeight, noise(4 * kWidth * kHeight), {4, JCS_CMYK, false, 90});
  EXPECT_NE(std::string::npos, errorOf(jpeg).find("CMYK"));
}

TEST(Jpeg, FileCutAnywhereIsRefused) {
  expectEachShorterFileRefused(encodeJpeg(kWidth, kHeight, noise(3 * kWidth * kHeight)));
}

TEST(Jpeg, ProgressiveFileCutAnywhereIsRefused) {
  JpegEncoding encoding;
  encoding.progressive = true;
  expectEachShorterFileRefused(encodeJpeg(kWidth, kHeight, noise(3 * kWidth * kHeight), encoding));
}

TEST(Jpeg, DamagedFileIsRefusedOrReadButNeverTerminatesTheProcess) {
  SeededRandom random;
  const Bytes good = encodeJpeg(kWidth, kHeight, random.bytes(3 * kWidth * kHeight));
  int refused = 0;
  for (int round = 0; round < 2000; ++round) {
    Bytes bad = good;
    for (int change = random.integer(1, 4); change > 0; --change) {
      const int32_t index = random.integer(2, static_cast<int32_t>(bad.size()) - 1);
      bad[static_cast<size_t>(index)] = static_cast<uint8_t>(random.integer(0, 255));
    }
    try {
      const Photo photo = decodePhoto(bad);
      EXPECT_EQ(photo.pixels.size(),
                3u * static_cast<size_t>(photo.width) * static_cast<size_t>(photo.height));
    } catch (const PhotoError&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 100);
}

TEST(Jpeg, DataThatRunOutBeforeTheEndMarkerAreRefused) {
  // The end marker is present, but half of the coded pixels are missing. libjpeg would fill the
  // rest with gray.
  const Bytes good = encodeJpeg(64, 64, noise(3 * 64 * 64));
  Bytes bad(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(good.size() / 2));
  bad.push_back(0xFF);
  bad.push_back(0xD9);
  EXPECT_NE(std::string::npos, errorOf(bad).find("is damaged or cut short (JPEG: "));
}

TEST(Jpeg, HeaderThatAsksForTooManyPixelsIsRefusedBeforeMemoryIsTaken) {
  Bytes jpeg = encodeJpeg(kWidth, kHeight, noise(3 * kWidth * kHeight));
  // The frame header: marker, length, bits, height, width.
  size_t at = 2;
  while (!(jpeg[at] == 0xFF && jpeg[at + 1] == 0xC0)) ++at;
  for (size_t i = at + 5; i < at + 9; ++i) jpeg[i] = 0xFA;
  EXPECT_NE(std::string::npos, errorOf(jpeg).find("64250 x 64250"));
}

TEST(Png, ColourComesOutInBlueGreenRedOrder) {
  const Bytes rgb = noise(3 * kWidth * kHeight);
  expectPhoto(encodePng(kWidth, kHeight, 8, SPNG_COLOR_TYPE_TRUECOLOR, rgb), kWidth, kHeight,
              swapped(rgb));
}

TEST(Png, InterlacedFilesAreRead) {
  const Bytes rgb = noise(3 * kWidth * kHeight);
  expectPhoto(encodePng(kWidth, kHeight, 8, SPNG_COLOR_TYPE_TRUECOLOR, rgb, {}, true), kWidth,
              kHeight, swapped(rgb));
}

TEST(Png, ColoursOfTransparentPixelsAreKept) {
  const Bytes rgba = noise(4 * kWidth * kHeight);
  Bytes wanted;
  for (size_t i = 0; i < rgba.size(); i += 4) {
    wanted.insert(wanted.end(), {rgba[i + 2], rgba[i + 1], rgba[i]});
  }
  expectPhoto(encodePng(kWidth, kHeight, 8, SPNG_COLOR_TYPE_TRUECOLOR_ALPHA, rgba), kWidth, kHeight,
              wanted);
}

TEST(Png, GrayOfEveryDepthIsSpreadOverTheWholeRange) {
  for (const int depth : {1, 2, 4, 8}) {
    const int largest = (1 << depth) - 1;
    const uint32_t perByte = static_cast<uint32_t>(8 / depth);
    const uint32_t rowBytes = (kWidth + perByte - 1) / perByte;
    const Bytes packed = noise(rowBytes * kHeight);
    Bytes wanted;
    for (uint32_t y = 0; y < kHeight; ++y) {
      for (uint32_t x = 0; x < kWidth; ++x) {
        const int byte = packed[y * rowBytes + x / perByte];
        const int shift = 8 - depth * static_cast<int>(x % perByte + 1);
        const int value = byte >> shift & largest;
        wanted.insert(wanted.end(), 3, static_cast<uint8_t>(value * 255 / largest));
      }
    }
    SCOPED_TRACE(depth);
    expectPhoto(
        encodePng(kWidth, kHeight, static_cast<uint8_t>(depth), SPNG_COLOR_TYPE_GRAYSCALE, packed),
        kWidth, kHeight, wanted);
  }
}

TEST(Png, SixteenBitsKeepTheirHighByte) {
  const Bytes high = noise(3 * kWidth * kHeight);
  Bytes samples;
  for (const uint8_t byte : high) {
    const uint16_t sample = static_cast<uint16_t>(256 * byte + 128);
    const uint8_t* raw = reinterpret_cast<const uint8_t*>(&sample);
    samples.insert(samples.end(), raw, raw + 2);
  }
  expectPhoto(encodePng(kWidth, kHeight, 16, SPNG_COLOR_TYPE_TRUECOLOR, samples), kWidth, kHeight,
              swapped(high));
}

TEST(Png, PaletteColoursAreLookedUp) {
  const Bytes palette = {1, 2, 3, 255, 40, 50, 60, 0, 7, 8, 9, 128, 250, 240, 230, 255};
  Bytes indices = noise(kWidth * kHeight);
  Bytes wanted;
  for (uint8_t& index : indices) {
    index &= 3;
    const uint8_t* entry = &palette[4u * index];
    wanted.insert(wanted.end(), {entry[2], entry[1], entry[0]});
  }
  expectPhoto(encodePng(kWidth, kHeight, 8, SPNG_COLOR_TYPE_INDEXED, indices, palette), kWidth,
              kHeight, wanted);
}

TEST(Png, FileCutAnywhereIsRefused) {
  expectEachShorterFileRefused(
      encodePng(kWidth, kHeight, 8, SPNG_COLOR_TYPE_TRUECOLOR, noise(3 * kWidth * kHeight)));
}

TEST(Png, AnyChangedByteIsDetected) {
  const Bytes good =
      encodePng(kWidth, kHeight, 8, SPNG_COLOR_TYPE_TRUECOLOR, noise(3 * kWidth * kHeight));
  for (size_t index = 0; index < good.size(); ++index) {
    Bytes bad = good;
    bad[index] ^= static_cast<uint8_t>(1u << index % 8);
    EXPECT_THROW(decodePhoto(bad), PhotoError) << "byte " << index << " of " << good.size();
  }
}

TEST(Png, HeaderThatAsksForTooManyPixelsIsRefusedBeforeMemoryIsTaken) {
  // A header of 2^30 x 2^30 with its checksum, and nothing after it.
  Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
  for (const int byte : {0x40, 0, 0, 0, 0x40, 0, 0, 0, 8, 2, 0, 0, 0}) {
    png.push_back(static_cast<uint8_t>(byte));
  }
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 12; i < png.size(); ++i) {
    crc ^= png[i];
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320u : 0);
  }
  crc = ~crc;
  for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<uint8_t>(crc >> shift));
  EXPECT_NE(std::string::npos, errorOf(png).find("1073741824 x 1073741824"));
}

TEST(Ppm, ColourComesOutInBlueGreenRedOrder) {
  const Bytes rgb = noise(3 * kWidth * kHeight);
  expectPhoto(encodePpm(kWidth, kHeight, rgb), kWidth, kHeight, swapped(rgb));
}

TEST(Ppm, CommentsAndAnyBlanksMayBeInTheHeader) {
  Bytes ppm = bytesOfText("P6#x\n # 9 9\r\n2\t\f#\n1\v255 ");
  ppm.insert(ppm.end(), {'#', '\n', ' ', '9', '\t', '7'});
  expectPhoto(ppm, 2, 1, {' ', '\n', '#', '7', '\t', '9'});
}

TEST(Ppm, SamplesAreSpreadFromTheirLargestValueTo255) {
  expectPhoto(bytesOfText(std::string("P6 1 1 3 \1\2\3", 12)), 1, 1, {255, 170, 85});
  expectPhoto(bytesOfText(std::string("P6 1 1 65535 \0\0\x80\x80\xFF\xFF", 19)), 1, 1,
              {255, 128, 0});
}

TEST(Ppm, FileCutAnywhereIsRefused) { expectEachShorterFileRefused(encodePpm(5, 4, noise(60))); }

TEST(Ppm, BytesAfterThePictureAreIgnored) {
  expectPhoto(bytesOfText("P6 1 1 255 abcdef"), 1, 1, {'c', 'b', 'a'});
}

TEST(Ppm, BrokenHeadersAreRefused) {
  for (const char* text :
       {"P6", "P6 ", "P6 1", "P6 1 1", "P6 1 1 255", "P6 x 1 255 abc", "P6 -1 1 255 abc",
        "P6 1.0 1 255 abc", "P6 0 1 255 ", "P6 1 0 255 ", "P6 1 1 0 abc", "P6 1 1 65536 abcdef",
        "P6 99999999999999999999 1 255 abc", "P6 4294967295 4294967295 255 abc", "P6 # 1 1 255",
        "P6 1 1 100 aaz\xFF"}) {
    EXPECT_THROW(decodePhoto(bytesOfText(text)), PhotoError) << text;
  }
}

TEST(Photo, FormatIsDeterminedByTheContentNotByTheName) {
  const std::string path = privateTempFolder() + "/picture.jpg";
  std::FILE* file = std::fopen(path.c_str(), "wb");
  std::fputs("P6 1 1 255 abc", file);
  std::fclose(file);
  EXPECT_EQ((Bytes{'c', 'b', 'a'}), facefeature_tools::readPhoto(path).pixels);
}

TEST(Photo, OtherFilesAreRefusedWithAMessage) {
  EXPECT_EQ("is empty", errorOf({}));
  for (const char* text : {"P", "P5 1 1 255 a", "GIF89a", "{}", "\xFF", "\x89PN"}) {
    EXPECT_EQ("is not a JPEG, PNG or binary PPM (P6) picture", errorOf(bytesOfText(text)));
  }
}

TEST(Photo, FilesAreRecognisedByTheirFirstBytes) {
  const std::string path = privateTempFolder() + "/start";
  for (const std::string& start : {std::string("\xFF\xD8"), std::string("\x89PNG"),
                                   std::string("P6"), std::string("P6\n1 1")}) {
    writeText(path, start);
    EXPECT_TRUE(facefeature_tools::looksLikePhoto(path)) << start;
  }
  for (const char* start : {"", "\xFF", "\x89P", "\x89PNX", "P5", "p6", " P6"}) {
    writeText(path, start);
    EXPECT_FALSE(facefeature_tools::looksLikePhoto(path)) << start;
  }
  EXPECT_FALSE(facefeature_tools::looksLikePhoto(path + ".none"));
}

TEST(Photo, FileThatCannotBeReadIsNamed) {
  for (const std::string& path : {privateTempFolder() + "/none.png", privateTempFolder()}) {
    try {
      facefeature_tools::readPhoto(path);
      ADD_FAILURE() << path;
    } catch (const facefeature_tools::Failure& failure) {
      EXPECT_EQ(facefeature_tools::kBadInput, failure.code());
      EXPECT_EQ(0u, std::string(failure.what()).find(path + ": can't be "));
    }
  }
}

}  // namespace
}  // namespace facefeature_test
