// The messages of both libraries are the same: those that libvelmo-client encodes and parses by
// hand are held against Protocol Buffers. VELMO_TEST_MESSAGES sets how many are tried.

#include <gtest/gtest.h>
#include <velmo/velmo.pb.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "ReplyMessage.h"
#include "RequestMessage.h"
#include "WireMessages.h"

namespace {

using service::velmo::BaseMessage;
using velmo::client::parseReply;
using velmo::client::ReplyMessage;
using velmo::client::RequestFields;
using velmo::client::requestMessage;
using velmo::client::WireTaskType;
using velmo::test::textField;

long messageCount() {
  const char* given = std::getenv("VELMO_TEST_MESSAGES");
  return given != nullptr ? std::atol(given) : 30000;
}

// Texts and numbers at random, from a fixed seed.
class Random {
 public:
  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_engine);
  }

  char byte() {
    return static_cast<char>(below(256));
  }

  std::string text(std::size_t longest) {
    std::string text(below(longest + 1), '\0');
    for (char& character : text) {
      character = byte();
    }
    return text;
  }

  std::string printable(std::size_t longest) {
    std::string text(below(longest + 1), '\0');
    for (char& character : text) {
      character = static_cast<char>(' ' + below(95));
    }
    return text;
  }

  int number() {
    return static_cast<int>(static_cast<std::uint32_t>(m_engine()) >> below(32)) *
           (below(2) == 0 ? 1 : -1);
  }

 private:
  std::mt19937 m_engine{20240305};  // NOLINT: the same in every run
};

std::string byProtocolBuffers(const RequestFields& fields) {
  BaseMessage message;
  auto& request = *message.mutable_addtaskrequest();
  request.set_prioritytype(std::string(fields.priorityType));
  request.set_command(std::string(fields.command));
  request.set_tasktype(fields.taskType == WireTaskType::JavaClass ? service::velmo::JavaClass
                                                                  : service::velmo::ShellScript);
  request.set_deltatype(std::string(fields.deltaType));
  request.set_jobid(std::string(fields.jobId));
  request.set_subjobid(std::string(fields.subJobId));
  request.set_jobinfo(std::string(fields.jobInfo));
  request.set_relpriority(fields.relPriority);
  return message.SerializeAsString();
}

// The name in a reply that is whole and of the right kind.
std::optional<std::string> nameByProtocolBuffers(const std::string& bytes) {
  BaseMessage message;
  if (!message.ParseFromString(bytes) ||
      message.theMessage_case() != BaseMessage::kAddTaskResponse) {
    return std::nullopt;
  }
  return message.addtaskresponse().taskname();
}

std::optional<std::string> nameByHand(const std::string& bytes) {
  const ReplyMessage reply = parseReply(bytes);
  if (reply.kind != ReplyMessage::Kind::Named) {
    return std::nullopt;
  }
  return std::string(reply.name);
}

std::string hex(const std::string& bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    text += {kDigits[value >> 4U], kDigits[value & 15U], ' '};
  }
  return text;
}

std::string varint(Random& random, std::uint64_t number) {
  std::string bytes;
  for (; number > 0x7F; number >>= 7U) {
    bytes += static_cast<char>((number & 0x7FU) | 0x80U);
  }
  bytes += static_cast<char>(number);
  // Now and then a longer form of the same number.
  for (std::size_t i = random.below(40) == 0 ? random.below(10) : 0; i > 0; --i) {
    bytes.back() = static_cast<char>(static_cast<unsigned char>(bytes.back()) | 0x80U);
    bytes += '\0';
  }
  return bytes;
}

std::string key(Random& random, std::size_t number, std::size_t wireType) {
  return varint(random, number << 3U | wireType);
}

std::string anyField(Random& random, int depth);

std::string anyFields(Random& random, int depth) {
  std::string bytes;
  for (std::size_t i = random.below(4); i > 0; --i) {
    bytes += anyField(random, depth);
  }
  return bytes;
}

std::size_t anyNumber(Random& random) {
  return random.below(20) == 0 ? random.below(std::size_t{1} << 29U) : random.below(10);
}

std::string group(Random& random, int depth) {
  const std::size_t number = anyNumber(random);
  std::string inside = anyFields(random, depth - 1);
  for (std::size_t i = random.below(50) == 0 ? random.below(110) : 0; i > 0; --i) {
    inside = key(random, 5, 3) + inside + key(random, 5, 4);
  }
  const std::size_t end = random.below(30) == 0 ? number + 1 : number;
  return key(random, number, 3) + inside + key(random, end, 4);
}

std::string anyField(Random& random, int depth) {
  switch (random.below(depth > 0 ? 9 : 6)) {
    case 0:
      return key(random, anyNumber(random), 0) +
             varint(random, static_cast<std::uint64_t>(random.number()));
    case 1:
      return key(random, anyNumber(random), 1) + std::string(8, random.byte());
    case 2:
      return key(random, anyNumber(random), 5) + std::string(4, random.byte());
    case 3:
      return textField(1, random.text(20));
    case 4:
    case 5: {
      const std::string text = random.text(20);
      return key(random, anyNumber(random), 2) + varint(random, text.size()) + text;
    }
    case 6:
      return group(random, depth);
    default:
      return textField(static_cast<unsigned>(1 + random.below(2)), anyFields(random, depth - 1));
  }
}

std::string mutated(Random& random, std::string bytes) {
  for (std::size_t i = random.below(4); i > 0 && !bytes.empty(); --i) {
    const std::size_t at = random.below(bytes.size());
    switch (random.below(4)) {
      case 0:
        bytes[at] = random.byte();
        break;
      case 1:
        bytes.erase(at, 1 + random.below(3));
        break;
      case 2:
        bytes.insert(at, random.text(3));
        break;
      default:
        bytes[at] =
            static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ (1U << random.below(8)));
    }
  }
  return bytes;
}

TEST(SameMessagesTest, RequestHasTheBytesThatProtocolBuffersWrites) {
  Random random;
  for (long i = messageCount(); i > 0; --i) {
    const std::vector<std::string> texts{random.printable(20),  random.printable(200),
                                         random.printable(5),   random.printable(20),
                                         random.printable(200), random.printable(300)};
    const RequestFields fields{
        texts[0],
        texts[1],
        random.below(2) == 0 ? WireTaskType::JavaClass : WireTaskType::ShellScript,
        texts[2],
        texts[3],
        texts[4],
        texts[5],
        random.number()};
    const std::string expected = byProtocolBuffers(fields);
    ASSERT_TRUE(expected == requestMessage(fields)) << hex(expected);
  }
}

TEST(SameMessagesTest, LongRequestsToo) {
  for (const std::size_t size : {126U, 127U, 128U, 16382U, 16383U, 16384U, 2097151U, 2097152U}) {
    const std::string command(size, 'c');
    const RequestFields fields{"Normal", command, WireTaskType::ShellScript, "", "", "0", "", -1};
    ASSERT_TRUE(byProtocolBuffers(fields) == requestMessage(fields)) << size;
  }
}

TEST(SameMessagesTest, MutatedReplyNamesTheSameTaskOrNone) {
  Random random;
  long named = 0;
  const long count = messageCount();
  for (long i = 0; i < count; ++i) {
    const std::string whole = random.below(3) == 0
                                  ? textField(2, textField(1, random.printable(40)))
                                  : anyFields(random, 3);
    const std::string bytes = mutated(random, whole);
    const std::optional<std::string> name = nameByHand(bytes);
    ASSERT_EQ(nameByProtocolBuffers(bytes), name) << hex(bytes);
    named += name ? 1 : 0;
  }
  EXPECT_GT(named, count / 20);
  EXPECT_LT(named, count / 2);
}

TEST(SameMessagesTest, GroupsAreSkippedToTheSameDepth) {
  for (const int depth : {1, 98, 99, 100, 101}) {
    std::string groups;
    for (int i = 0; i < depth; ++i) {
      groups = "\x2b" + groups + "\x2c";
    }
    for (const std::string& bytes :
         {textField(2, textField(1, "n")) + groups, textField(2, textField(1, "n") + groups)}) {
      EXPECT_EQ(nameByProtocolBuffers(bytes), nameByHand(bytes)) << depth;
    }
  }
}

}  // namespace
