#include "FrameMasks.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

namespace {

using velmo::client::FrameMasks;

std::string nextOf(FrameMasks& masks) {
  EXPECT_FALSE(masks.prepare());
  std::string mask(FrameMasks::kSize, '\0');
  masks.next(reinterpret_cast<std::uint8_t*>(mask.data()));
  return mask;
}

TEST(FrameMasksTest, MasksDiffer) {
  FrameMasks masks;
  std::set<std::string> all;
  for (int i = 0; i < 1000; ++i) {
    all.insert(nextOf(masks));
  }
  EXPECT_LE(999U, all.size());  // two of a thousand are equal once in nine thousand runs
}

TEST(FrameMasksTest, EachObjectHasOthers) {
  FrameMasks first;
  FrameMasks second;
  EXPECT_NE(nextOf(first) + nextOf(first) + nextOf(first),
            nextOf(second) + nextOf(second) + nextOf(second));
}

TEST(FrameMasksTest, MaskHasNoByteMoreThanFour) {
  FrameMasks masks;
  EXPECT_FALSE(masks.prepare());
  std::string bytes("....|");
  masks.next(reinterpret_cast<std::uint8_t*>(bytes.data()));
  EXPECT_EQ('|', bytes.back());
}

}  // namespace
