#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "velmo.h"

namespace {

struct Row {
  velmo_status_code status;
  int number;
  const char* text;
};

constexpr Row kRows[] = {
    {VELMO_OK, 0, "success"},
    {VELMO_INVALID_ARGUMENT, 1, "invalid argument"},
    {VELMO_NOT_CONFIGURED, 2, "not configured"},
    {VELMO_NOT_RUNNING, 3, "the service is not running"},
    {VELMO_TIMED_OUT, 4, "timed out"},
    {VELMO_STOPPED, 5, "stopped"},
    {VELMO_SYSTEM_ERROR, 6, "system error"},
    {VELMO_OUT_OF_MEMORY, 7, "out of memory"},
    {VELMO_UNREACHABLE, 8, "the service is unreachable"},
    {VELMO_CONNECTION_LOST, 9, "connection lost"},
    {VELMO_REFUSED, 10, "refused by the service"},
    {VELMO_IN_DOUBT, 11, "the task may be queued"},
    {VELMO_NOT_FOUND, 12, "not found"},
    {VELMO_UNEXPECTED_REPLY, 13, "unexpected reply"},
};

TEST(StatusCallsTest, NumbersOfTheStatusesNeverChange) {
  for (const Row& row : kRows) {
    EXPECT_EQ(row.number, static_cast<int>(row.status)) << row.text;
  }
}

TEST(StatusCallsTest, EachStatusHasAFewWords) {
  for (const Row& row : kRows) {
    EXPECT_STREQ(row.text, velmo_status_text(row.number));
  }
}

TEST(StatusCallsTest, NumberThatIsNotAStatusIsUnknown) {
  for (const int number : {14, 15, 255, -1, INT_MAX, INT_MIN}) {
    EXPECT_STREQ("unknown status", velmo_status_text(number)) << number;
  }
}

TEST(StatusCallsTest, VersionIsThatOfTheFileVersion) {
  EXPECT_STREQ(VELMO_VERSION_FILE, velmo_version());
}

TEST(StatusCallsTest, VersionIsThatOfTheHeader) {
  EXPECT_EQ(std::to_string(VELMO_VERSION_MAJOR) + "." + std::to_string(VELMO_VERSION_MINOR) + "." +
                std::to_string(VELMO_VERSION_PATCH),
            velmo_version());
}

}  // namespace
