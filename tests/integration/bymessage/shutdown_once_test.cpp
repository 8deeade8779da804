// Clients shut the protocol-buffer library down when they are destroyed. Its function is not
// synchronised, so it is called once in a process.

#include <gtest/gtest.h>
#include <velmo/VelmoFacadeWS.h>

#include <string>

#include "ClientProcess.h"
#include "ScriptedPeer.h"

namespace {

int g_shutdowns = 0;

}  // namespace

// Stands in front of the protocol-buffer library's.
namespace google::protobuf {

void ShutdownProtobufLibrary();

void ShutdownProtobufLibrary() {
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
