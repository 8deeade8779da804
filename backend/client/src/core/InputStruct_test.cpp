#include "InputStruct.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ShownResult.h"

namespace {

using velmo::client::checkSize;
using velmo::test::shown;

struct Input {
  std::size_t size;
  const char* text;
};

constexpr std::size_t kLargest = 65536;

// A struct of the given size, all bytes behind `Input` 0, and its last byte as given.
std::string checkLarger(std::size_t size, char lastByte) {
  std::vector<std::size_t> memory(size / sizeof(std::size_t) + 1);
  char* const bytes = reinterpret_cast<char*>(memory.data());
  std::memcpy(bytes, &size, sizeof size);
  bytes[size - 1] = lastByte;
  return shown(checkSize(reinterpret_cast<const Input*>(bytes), "input"));
}

std::string notUnderstood(std::size_t size) {
  return "INVALID_ARGUMENT: input has fields that this version of the library does not know "
         "(size " +
         std::to_string(size) + ")";
}

// An `Input` at the end of readable memory.
class LastInput {
 public:
  LastInput() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    m_size = 2 * page;
    m_memory = mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* const guard = static_cast<char*>(m_memory) + page;
    mprotect(guard, page, PROT_NONE);
    m_input = reinterpret_cast<Input*>(guard - sizeof(Input));
  }

  LastInput(const LastInput&) = delete;
  LastInput& operator=(const LastInput&) = delete;

  ~LastInput() {
    munmap(m_memory, m_size);
  }

  Input* get() const {
    return m_input;
  }

 private:
  std::size_t m_size = 0;
  void* m_memory = nullptr;
  Input* m_input = nullptr;
};

TEST(InputStructTest, SizeOfThisVersionIsTaken) {
  const Input input{sizeof(Input), nullptr};
  EXPECT_EQ("OK", shown(checkSize(&input, "input")));
}

TEST(InputStructTest, SmallerSizeIsRefused) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, sizeof(Input) - 1}) {
    const Input input{size, nullptr};
    EXPECT_EQ("INVALID_ARGUMENT: the size of input is " + std::to_string(size) +
                  ": set it to the sizeof of the struct",
              shown(checkSize(&input, "input")));
  }
}

TEST(InputStructTest, LargerStructIsTakenIfTheRestIsZero) {
  for (const std::size_t size : {sizeof(Input) + 1, sizeof(Input) + 8, kLargest}) {
    EXPECT_EQ("OK", checkLarger(size, 0)) << size;
  }
}

TEST(InputStructTest, LargerStructWithAFieldThatIsSetIsRefused) {
  for (const std::size_t size : {sizeof(Input) + 1, sizeof(Input) + 8, kLargest}) {
    EXPECT_EQ(notUnderstood(size), checkLarger(size, 1)) << size;
  }
}

TEST(InputStructTest, SizeBeyondEveryStructIsRefusedUnread) {
  const LastInput input;
  for (const std::size_t size : {kLargest + 1, std::size_t{1} << 40U, SIZE_MAX}) {
    input.get()->size = size;
    EXPECT_EQ(notUnderstood(size), shown(checkSize(input.get(), "input")));
  }
}

TEST(InputStructTest, NothingBehindTheStructIsRead) {
  const LastInput input;
  for (const std::size_t size : {sizeof(Input), sizeof(Input) - 1}) {
    input.get()->size = size;
    EXPECT_EQ(size < sizeof(Input), checkSize(input.get(), "input").has_value());
  }
}

}  // namespace
