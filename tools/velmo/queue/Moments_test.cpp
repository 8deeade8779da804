#include "Moments.h"

#include <gtest/gtest.h>

#include "Environment.h"
#include "LocalTime.h"

namespace velmo::cli {
namespace {

class MomentsTest : public testing::Test {
 public:
  MomentsTest(const MomentsTest&) = delete;
  MomentsTest& operator=(const MomentsTest&) = delete;

 protected:
  MomentsTest() {
    m_environment.set("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    tzset();
  }
  ~MomentsTest() override {
    m_environment.unset("TZ");
    tzset();
  }

  test::Environment m_environment;
  Moments m_moments;
};

TEST_F(MomentsTest, TimesAreThoseOfThePlatform) {
  for (const char* created : {"20250303140509", "20250303140000", "20250303145959",
                              "20250303150000", "20250303140560", "20251130235959"}) {
    EXPECT_EQ(momentOf(created), m_moments.of(created)) << created;
    EXPECT_TRUE(m_moments.of(created)) << created;
  }
}

TEST_F(MomentsTest, HoursInWhichTheClocksChangeAreThoseOfThePlatform) {
  for (const char* created :
       {"20250330015959", "20250330021500", "20250330030000", "20251026015959", "20251026030000"}) {
    EXPECT_EQ(momentOf(created), m_moments.of(created)) << created;
  }
}

TEST_F(MomentsTest, ClocksMayChangeByHalfAnHour) {
  m_environment.set("TZ", "LHST-10:30LHDT-11,M10.1.0,M4.1.0");
  tzset();
  for (const char* created : {"20251005015959", "20251005024500", "20251005030000"}) {
    EXPECT_EQ(momentOf(created), m_moments.of(created)) << created;
  }
}

TEST_F(MomentsTest, TextThatIsNotADateHasNone) {
  for (const char* created : {"", "2025030314", "2025030314050", "20251303140509", "2025030314050x",
                              "20250303146009", "00000000000000"}) {
    EXPECT_FALSE(m_moments.of(created)) << created;
  }
}

}  // namespace
}  // namespace velmo::cli
