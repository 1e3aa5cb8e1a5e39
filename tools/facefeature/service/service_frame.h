// The frames of the service's protocol (docs/hosts.md): two 32-bit lengths, least significant byte
// first, then a header of the first length, then a body of the second.
#ifndef FACEFEATURE_TOOLS_SERVICE_SERVICE_FRAME_H
#define FACEFEATURE_TOOLS_SERVICE_SERVICE_FRAME_H

#include <cstddef>
#include <stdexcept>
#include <string>

namespace facefeature_tools {

constexpr size_t kFramePrefixBytes = 8;

struct ServiceFrame {
  std::string header;  // JSON
  std::string body;
};

// REQUIRES: both lengths fit 32 bits.
std::string encodeFrame(const ServiceFrame& frame);

// A frame that exceeds a limit, as a text for its sender.
class FrameTooLong : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Collects one frame from the pieces that a connection delivers.
class FrameReader {
 public:
  // The maximum sizes of a header and a body in bytes.
  FrameReader(size_t maxHeader, size_t maxBody) : maxHeader_(maxHeader), maxBody_(maxBody) {}

  // How many bytes are missing: of the prefix until that is complete, then of the frame. 0 for a
  // complete frame.
  size_t missing() const;
  // Appends bytes. Throws FrameTooLong when the prefix is complete and a length exceeds its limit,
  // before memory is allocated. REQUIRES: count <= missing().
  void append(const char* bytes, size_t count);

  bool isEmpty() const { return prefix_.empty(); }
  bool isComplete() const { return missing() == 0; }
  // The frame; the reader is then empty. REQUIRES: isComplete().
  ServiceFrame release();

 private:
  size_t headerLength() const;
  size_t bodyLength() const;

  size_t maxHeader_;
  size_t maxBody_;
  std::string prefix_;
  ServiceFrame frame_;
};

}  // namespace facefeature_tools

#endif
