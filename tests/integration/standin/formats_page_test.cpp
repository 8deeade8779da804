// Compares the captured bytes in docs/formats.md with the messages, the client's frames and the
// stand-in.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <velmo/velmo.pb.h>

#include <cctype>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "StandinProcess.h"
#include "WebSocketClient.h"
#include "WebSocketFrame.h"
#include "WireMessages.h"

namespace velmo::test {
namespace {

using service::velmo::BaseMessage;

using testing::HasSubstr;
using testing::MatchesRegex;

// The bytes at the beginning of a line: pairs of hexadecimal digits, separated by one blank.
std::string bytesOf(const std::string& line) {
  const auto isDigit = [&](std::size_t at) {
    return at < line.size() && std::isxdigit(static_cast<unsigned char>(line[at])) != 0;
  };
  std::string bytes;
  for (std::size_t at = 0; isDigit(at) && isDigit(at + 1); at += 3) {
    bytes += static_cast<char>(std::stoi(line.substr(at, 2), nullptr, 16));
  }
  return bytes;
}

// The blocks of the page that are marked "hex", as bytes.
std::vector<std::string> capturedBytes() {
  std::istringstream page(textOf(FORMATS_PAGE));
  std::vector<std::string> blocks;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    if (line == "```hex") {
      blocks.emplace_back();
      inside = true;
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      blocks.back() += bytesOf(line);
    }
  }
  return blocks;
}

class FormatsPageTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(5U, m_blocks.size());
  }

  const std::string& requestFrame() const {
    return m_blocks[0];
  }
  const std::string& request() const {
    return m_blocks[1];
  }
  const std::string& responseFrame() const {
    return m_blocks[2];
  }

  std::string taskName() const {
    BaseMessage message;
    EXPECT_TRUE(message.ParseFromString(responseFrame().substr(2)));
    return message.addtaskresponse().taskname();
  }

  std::vector<std::string> m_blocks = capturedBytes();
};

TEST_F(FormatsPageTest, RequestIsWhatItsDecodingSays) {
  EXPECT_EQ(envelopeOf({"Urgent", "echo hello", 2, "Later", "J12", "0", "#1USE=u#1JNA=n", 2}),
            request());
}

TEST_F(FormatsPageTest, RequestFrameIsTheRequestBehindItsMask) {
  EXPECT_EQ(clientFrame(kFinal | kBinary, request(), requestFrame().substr(2, 4)), requestFrame());
}

TEST_F(FormatsPageTest, AnswerIsTheNameThatThePageShows) {
  EXPECT_EQ("\x82\x39", responseFrame().substr(0, 2));
  EXPECT_THAT(textOf(FORMATS_PAGE), HasSubstr("\n    " + taskName() + "\n"));
}

TEST_F(FormatsPageTest, CloseFramesCarryTheCode1000) {
  EXPECT_EQ(clientFrame(kFinal | kClose, closePayload(1000, ""), m_blocks[3].substr(2, 4)),
            m_blocks[3]);
  EXPECT_EQ("\x88\x02" + closePayload(1000, ""), m_blocks[4]);
}

TEST_F(FormatsPageTest, CapturedFramesAreAnsweredAsThePageShows) {
  StandinProcess standin({"--port", "0", "--no-run"});
  WebSocketClient client(standin.port());
  client.shakeHands();
  client.send(requestFrame() + m_blocks[3]);
  const std::string answer = client.readToTheEnd();

  // Everything but the times.
  const std::string before = responseFrame().substr(0, 11);
  EXPECT_EQ(before, answer.substr(0, before.size()));
  BaseMessage message;
  ASSERT_TRUE(message.ParseFromString(answer.substr(2, answer.size() - 2 - m_blocks[4].size())));
  EXPECT_THAT(message.addtaskresponse().taskname(),
              MatchesRegex("0070\\.[0-9]+\\.J12\\.S0\\.T[0-9]+-1\\.R0002\\.sh"));
  EXPECT_EQ(m_blocks[4], answer.substr(answer.size() - m_blocks[4].size()));
  EXPECT_EQ("echo hello\n#1USE=u#1JNA=n\n",
            textOf(standin.home() / "var/taskqueue" / message.addtaskresponse().taskname()));
}

TEST_F(FormatsPageTest, ModulesXmlIsTheOneThatThePageShows) {
  const StandinProcess standin({"--port", "0"});
  std::istringstream lines(textOf(standin.environment().at("VELMO_MODULES_XML")));
  const std::string page = textOf(FORMATS_PAGE);
  for (std::string line; std::getline(lines, line);) {
    EXPECT_THAT(page, HasSubstr("    " + line.substr(0, line.find("port=\"")))) << line;
  }
}

}  // namespace
}  // namespace velmo::test
