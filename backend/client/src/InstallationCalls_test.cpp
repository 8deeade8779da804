#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "OrdinaryMachine.h"
#include "TaskInstallation.h"
#include "velmo.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;
using velmo::test::OrdinaryMachine;
using velmo::test::TaskInstallation;

const std::string kTask = "0050.20250303140509.J12.S1_x.T20250303140509-731.R-002.java";

class InstallationCallsTest : public testing::Test {
 protected:
  InstallationCallsTest() {
    place.writeHomePriorities("Normal=50\n");
  }

  ~InstallationCallsTest() override {
    velmo_close(handle);
  }

  velmo_installation* open() {
    if (handle == nullptr) {
      EXPECT_EQ(VELMO_OK, velmo_open(nullptr, &handle, &error)) << error.message;
    }
    return handle;
  }

  void queueTask(const std::string& name) const {
    place.directory.writeFile("var/taskqueue/" + name, "true\n");
  }

  const OrdinaryMachine machine;
  TaskInstallation place;
  velmo_installation* handle = nullptr;
  velmo_error error{};
};

// --- velmo_settings_from_environment ---

TEST_F(InstallationCallsTest, SettingsPointToTheEnvironment) {
  velmo_settings settings{};
  settings.size = sizeof settings;
  ASSERT_EQ(VELMO_OK, velmo_settings_from_environment(&settings));
  EXPECT_EQ(place.directory.path("tmp"), settings.tmp);
  EXPECT_EQ(sizeof settings, settings.size);
}

TEST_F(InstallationCallsTest, SettingsAreRefusedWithoutASize) {
  velmo_settings settings{};
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_settings_from_environment(&settings));
  EXPECT_EQ(nullptr, settings.tmp);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_settings_from_environment(nullptr));
}

// --- velmo_open ---

TEST_F(InstallationCallsTest, SeveralInstallationsCanBeOpen) {
  const std::string other = place.directory.makeDirectory("other");
  velmo_settings settings{};
  settings.size = sizeof settings;
  settings.var = other.c_str();
  velmo_installation* second = nullptr;
  ASSERT_EQ(VELMO_OK, velmo_open(&settings, &second, &error));
  EXPECT_STREQ((other + "/taskqueue").c_str(), velmo_queue_directory(second));
  EXPECT_EQ(place.directory.path("var/taskqueue"), velmo_queue_directory(open()));
  velmo_close(second);
}

TEST_F(InstallationCallsTest, NothingMissingIsRefusedWhenAnInstallationIsOpened) {
  velmo_settings settings{};
  settings.size = sizeof settings;
  ASSERT_EQ(VELMO_OK, velmo_open(&settings, &handle, &error));
  EXPECT_EQ(nullptr, velmo_queue_directory(handle));
  velmo_listing* listing = nullptr;
  EXPECT_EQ(VELMO_NOT_CONFIGURED, velmo_list(handle, &listing, &error));
  EXPECT_STREQ("VAR is not set", error.message);
  EXPECT_EQ(VELMO_NOT_CONFIGURED, velmo_cancel(handle, kTask.c_str(), &error));
  EXPECT_STREQ("VAR is not set", error.message);
}

TEST_F(InstallationCallsTest, RelativeVarHasNoQueue) {
  place.environment.set("VAR", "var");
  EXPECT_EQ(nullptr, velmo_queue_directory(open()));
  velmo_listing* listing = nullptr;
  EXPECT_EQ(VELMO_NOT_CONFIGURED, velmo_list(open(), &listing, &error));
  EXPECT_STREQ("VAR is not an absolute path: \"var\"", error.message);
}

TEST_F(InstallationCallsTest, FailureToOpenGivesNull) {
  const velmo_settings settings{};
  auto* out = reinterpret_cast<velmo_installation*>(&error);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_open(&settings, &out, &error));
  EXPECT_EQ(nullptr, out);
  EXPECT_THAT(error.message, StartsWith("the size of velmo_settings is 0"));
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_open(nullptr, nullptr, &error));
  EXPECT_STREQ("out is missing", error.message);
}

TEST_F(InstallationCallsTest, NoDescriptorStaysOpen) {
  const std::size_t before = velmo::test::openDescriptors();
  open();
  EXPECT_EQ(before, velmo::test::openDescriptors());
}

TEST_F(InstallationCallsTest, NullHandlesAreAllowedWhereTheyMakeSense) {
  velmo_close(nullptr);
  velmo_listing_free(nullptr);
  EXPECT_EQ(nullptr, velmo_queue_directory(nullptr));
  EXPECT_EQ(0U, velmo_listing_count(nullptr));
  EXPECT_EQ(nullptr, velmo_listing_name(nullptr, 0));
}

TEST_F(InstallationCallsTest, ErrnoStaysAsItWas) {
  open();
  errno = ERANGE;
  velmo_close(handle);
  handle = nullptr;
  velmo_listing_free(nullptr);
  static_cast<void>(velmo_parse_name("x", nullptr));
  static_cast<void>(velmo_cancel(nullptr, "x", nullptr));
  EXPECT_EQ(ERANGE, errno);
}

// --- velmo_check ---

struct Seen {
  std::vector<std::string> lines;
  std::vector<velmo_status> statuses;
};

void see(void* user, const velmo_error* finding) {
  auto* seen = static_cast<Seen*>(user);
  seen->lines.emplace_back(finding->message);
  seen->statuses.push_back(finding->status);
}

TEST_F(InstallationCallsTest, CheckFindsNothingWhenAllIsWell) {
  Seen seen;
  EXPECT_EQ(VELMO_OK, velmo_check(open(), nullptr, see, &seen));
  EXPECT_THAT(seen.lines, IsEmpty());
}

TEST_F(InstallationCallsTest, CheckReturnsTheStatusOfTheFirstFinding) {
  place.semaphore.remove();
  velmo_task task{};
  task.size = sizeof task;
  Seen seen;
  EXPECT_EQ(VELMO_NOT_RUNNING, velmo_check(open(), &task, see, &seen));
  EXPECT_THAT(seen.statuses,
              ElementsAre(VELMO_NOT_RUNNING, VELMO_INVALID_ARGUMENT, VELMO_INVALID_ARGUMENT));
  EXPECT_THAT(seen.lines, ElementsAre(EndsWith("is missing; start the service"),
                                      "priority_class is missing; correct the call",
                                      "command is missing; correct the call"));
  EXPECT_EQ(VELMO_NOT_RUNNING, velmo_check(open(), nullptr, nullptr, nullptr));
}

TEST_F(InstallationCallsTest, CheckOfNullIsOneFinding) {
  Seen seen;
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_check(nullptr, nullptr, see, &seen));
  EXPECT_THAT(seen.lines, ElementsAre("installation is missing; correct the call"));
}

// --- velmo_list ---

TEST_F(InstallationCallsTest, ListingHasTheNamesOfTheTasks) {
  queueTask(kTask);
  queueTask("README");
  velmo_listing* listing = nullptr;
  ASSERT_EQ(VELMO_OK, velmo_list(open(), &listing, &error)) << error.message;
  queueTask("9" + kTask.substr(1));
  EXPECT_EQ(1U, velmo_listing_count(listing));
  EXPECT_EQ(kTask, velmo_listing_name(listing, 0));
  EXPECT_EQ(nullptr, velmo_listing_name(listing, 1));
  EXPECT_EQ(nullptr, velmo_listing_name(listing, static_cast<std::size_t>(-1)));
  velmo_listing_free(listing);
}

TEST_F(InstallationCallsTest, FailureToListGivesNull) {
  auto* listing = reinterpret_cast<velmo_listing*>(&error);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_list(nullptr, &listing, &error));
  EXPECT_STREQ("installation is missing", error.message);
  EXPECT_EQ(nullptr, listing);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_list(open(), nullptr, &error));
  EXPECT_STREQ("out is missing", error.message);
}

// --- velmo_cancel ---

TEST_F(InstallationCallsTest, CancelRemovesATaskOnce) {
  queueTask(kTask);
  EXPECT_EQ(VELMO_OK, velmo_cancel(open(), kTask.c_str(), &error));
  EXPECT_THAT(place.queue(), IsEmpty());
  EXPECT_EQ(VELMO_NOT_FOUND, velmo_cancel(open(), kTask.c_str(), &error));
  EXPECT_EQ("not in the queue (any more): \"" + kTask + "\"", error.message);
}

TEST_F(InstallationCallsTest, CancelNeedsTheNameOfATask) {
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_cancel(open(), nullptr, &error));
  EXPECT_STREQ("not the name of a task: \"\"", error.message);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_cancel(nullptr, kTask.c_str(), &error));
}

// --- velmo_parse_name ---

TEST_F(InstallationCallsTest, NameIsSplitIntoItsParts) {
  velmo_task_name parts;
  std::memset(&parts, 'x', sizeof parts);
  ASSERT_EQ(VELMO_OK, velmo_parse_name(kTask.c_str(), &parts));
  EXPECT_EQ(50, parts.priority);
  EXPECT_EQ(731, parts.task);
  EXPECT_EQ(-2, parts.relative_priority);
  EXPECT_STREQ("20250303140509", parts.created);
  EXPECT_STREQ("J12", parts.job);
  EXPECT_STREQ("1_x", parts.sub_job);
  EXPECT_STREQ("java", parts.type);
  EXPECT_EQ(VELMO_OK, velmo_parse_name(kTask.c_str(), nullptr));
}

TEST_F(InstallationCallsTest, OtherNamesLeaveThePartsUnchanged) {
  velmo_task_name parts;
  std::memset(&parts, 'x', sizeof parts);
  const velmo_task_name before = parts;
  const std::string longName = kTask + std::string(200, 'x');
  for (const char* name : {"", "README", longName.c_str()}) {
    EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_parse_name(name, &parts));
  }
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_parse_name(nullptr, &parts));
  EXPECT_EQ(0, std::memcmp(&before, &parts, sizeof parts));
}

// --- velmo_child_sub_job ---

TEST_F(InstallationCallsTest, ChildHasTheNumberBehindItsParents) {
  char subJob[VELMO_NAME_SIZE] = "";
  EXPECT_EQ(VELMO_OK, velmo_child_sub_job("3_x", "y", subJob, nullptr));
  EXPECT_STREQ("4_x_y", subJob);
  EXPECT_EQ(VELMO_OK, velmo_child_sub_job("3_x", nullptr, subJob, nullptr));
  EXPECT_STREQ("4_x", subJob);
  EXPECT_EQ(VELMO_OK, velmo_child_sub_job("3_x", "", nullptr, nullptr));
}

TEST_F(InstallationCallsTest, ChildOfAParentThatIsUnusableLeavesTheArrayUnchanged) {
  char subJob[VELMO_NAME_SIZE] = "before";
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_child_sub_job("12", "y", subJob, &error));
  EXPECT_STREQ("the parent's sub-job has no underscore: \"12\"", error.message);
  EXPECT_EQ(VELMO_INVALID_ARGUMENT, velmo_child_sub_job(nullptr, "y", subJob, &error));
  EXPECT_STREQ("parent is missing", error.message);
  EXPECT_STREQ("before", subJob);
}

}  // namespace
