#include "RequestFrames.h"

#include <algorithm>

namespace brix::velmo {

namespace {

constexpr int kFinalFragment = 0x80;
constexpr int kBinary = 0x02;
constexpr int kContinuation = 0x00;

}  // namespace

RequestFrame requestFrameAt(std::size_t length, std::size_t offset, std::size_t frameSize) {
  const std::size_t remaining = length - offset;
  const std::size_t size = std::min({remaining, frameSize, kLargestFrame});
  const int opcode = offset == 0 ? kBinary : kContinuation;
  const int final = size == remaining ? kFinalFragment : 0;
  return {size, final | opcode};
}

}  // namespace brix::velmo
