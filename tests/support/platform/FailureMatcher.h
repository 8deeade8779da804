#ifndef VELMO_TEST_FAILUREMATCHER_H
#define VELMO_TEST_FAILUREMATCHER_H

#include <gmock/gmock.h>

#include <string>

#include "Failure.h"

namespace velmo::test {

/// Matches an Outcome that is exactly this failure.
inline testing::Matcher<const brix::velmo::Outcome&> isFailure(brix::velmo::Step step,
                                                               const std::string& subject,
                                                               int error = 0,
                                                               const std::string& target = "") {
  using brix::velmo::Failure;
  return testing::Optional(testing::AllOf(testing::Field("step", &Failure::step, step),
                                          testing::Field("subject", &Failure::subject, subject),
                                          testing::Field("error", &Failure::error, error),
                                          testing::Field("target", &Failure::target, target)));
}

}  // namespace velmo::test

#endif
