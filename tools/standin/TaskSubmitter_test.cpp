#include "TaskSubmitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "Refusal.h"
#include "TemporaryDirectory.h"
#include "TemporaryTaskCounter.h"

namespace fs = std::filesystem;

namespace velmo::standin {
namespace {

using velmo::test::namesIn;
using velmo::test::readFile;
using velmo::test::TemporaryDirectory;

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

class TaskSubmitterTest : public testing::Test {
 protected:
  TaskSubmitterTest() {
    m_request.set_prioritytype("Urgent");
    m_request.set_command("echo 100%%");
    m_request.set_tasktype(service::velmo::ShellScript);
    m_request.set_jobid("J12");
  }

  tools::Variables variables() const {
    tools::Variables all = m_installation.variables();
    for (const auto& variable : m_counter.variables()) {
      all.push_back(variable);
    }
    return all;
  }

  std::string refusalOf(TaskSubmitter& submitter) const {
    try {
      return "queued " + submitter.submit(m_request);
    } catch (const Refusal& refusal) {
      EXPECT_EQ(CloseCode::kInternal, refusal.code());
      return refusal.what();
    }
  }

  TemporaryDirectory m_directory;
  Installation m_installation{m_directory.path() / "home", false};
  TemporaryTaskCounter m_counter;
  UnknownClasses m_unknownClasses{m_installation};
  service::velmo::AddTaskRequest m_request;
};

TEST_F(TaskSubmitterTest, FileHasTheReturnedNameAndTheCommandAsSent) {
  TaskSubmitter submitter(m_installation, variables(), m_unknownClasses);
  const std::string name = submitter.submit(m_request);
  EXPECT_THAT(name, MatchesRegex("0050\\.[0-9]+\\.J12\\.S0\\.T[0-9]+-1\\.R0000\\.sh"));
  EXPECT_EQ("echo 100%%\n", readFile(m_installation.queueDirectory() / name));
}

TEST_F(TaskSubmitterTest, EveryRequestUsesOneTaskIdentifier) {
  TaskSubmitter submitter(m_installation, variables(), m_unknownClasses);
  submitter.submit(m_request);
  EXPECT_THAT(submitter.submit(m_request), HasSubstr("-2.R0000."));
}

TEST_F(TaskSubmitterTest, WithoutATaskIdentifierTheRequestIsRefused) {
  unsetenv("SHARED_VELMO_TASKID");
  TaskSubmitter submitter(m_installation, m_installation.variables(), m_unknownClasses);
  EXPECT_EQ("no task identifier", refusalOf(submitter));
}

TEST_F(TaskSubmitterTest, FileThatCannotBeWrittenOrMovedIsNamedAndNotQueued) {
  TaskSubmitter submitter(m_installation, variables(), m_unknownClasses);
  fs::remove(m_installation.queueDirectory());
  EXPECT_THAT(refusalOf(submitter), HasSubstr("cannot rename"));
  EXPECT_THAT(namesIn(m_installation.directory() / "tmp"), IsEmpty());
  fs::remove(m_installation.directory() / "tmp");
  EXPECT_THAT(refusalOf(submitter), MatchesRegex("cannot make the file .*/tmp/.*"));
}

}  // namespace
}  // namespace velmo::standin
