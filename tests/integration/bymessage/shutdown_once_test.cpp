// The first client that is destroyed shuts Protocol Buffers down. The function for it is not
// synchronised, so a process calls it once.

#include <gtest/gtest.h>
#include <velmo/VelmoFacadeWS.h>

#include <string>

#include "ClientProcess.h"
#include "ScriptedPeer.h"

namespace {

int g_shutdowns = 0;

}  // namespace

// Interposes the function of Protocol Buffers.
namespace google::protobuf {

void ShutdownProtobufLibrary();  // NOLINT(readability-identifier-naming): as it is called

void ShutdownProtobufLibrary() {  // NOLINT(readability-identifier-naming)
  ++g_shutdowns;
}

}  // namespace google::protobuf

namespace {

using velmo::test::answering;
using velmo::test::runAgainst;
using velmo::test::Tell;

TEST(ShutdownOnceTest, FirstClientDestroyedShutsProtocolBuffersDownAndNoOther) {
  const auto outcome =
      runAgainst({answering({}), answering({})}, [](unsigned short port, const Tell& tell) {
        for (int i = 0; i < 2; ++i) {
          { const VelmoFacadeWS client("127.0.0.1", port); }
          tell(std::to_string(g_shutdowns));
        }
      });
  EXPECT_EQ("1; 1; ", outcome.report) << outcome.errors;
  EXPECT_EQ("exit 0", outcome.end) << outcome.errors;
}

}  // namespace
