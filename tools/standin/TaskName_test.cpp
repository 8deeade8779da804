#include "TaskName.h"

#include <gtest/gtest.h>

#include <optional>
#include <vector>

namespace standin {
namespace {

struct GoodName {
  const char* name;
  const char* description;
};

const std::vector<GoodName> kGoodNames{
    {"0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
     "priority 0050, created 2025-03-03 14:05:09, job J12, sub-job 0, task 731, "
     "relative 2, type sh"},
    // a configured priority is not limited to four digits, nor is a relative one
    {"12000.20250303140509.J12.S0.T20250303140509-0.R-005.sh",
     "priority 12000, created 2025-03-03 14:05:09, job J12, sub-job 0, task 0, "
     "relative -5, type sh"},
    {"-005.20250303140509.J12.S0.T20250303140509-2147483646.R123456.java",
     "priority -005, created 2025-03-03 14:05:09, job J12, sub-job 0, task 2147483646, "
     "relative 123456, type java"},
    // dots and hyphens in the identifiers, as in a server's name
    {"0050.20250303140509.db.example-J-6.S4_x.y-z.T20250303140509-1.R0000.sh",
     "priority 0050, created 2025-03-03 14:05:09, job db.example-J-6, sub-job 4_x.y-z, "
     "task 1, relative 0, type sh"},
    // the last ".S" begins the sub-job
    {"0050.20250303140509.db.South-J1.S0.T20250303140509-1.R0000.sh",
     "priority 0050, created 2025-03-03 14:05:09, job db.South-J1, sub-job 0, task 1, "
     "relative 0, type sh"},
    // an identifier that looks like the part behind it
    {"0050.20250303140509.J1.S0.T20250303140509-1.R0000.sh.T20250303140509-2.R0000.sh",
     "priority 0050, created 2025-03-03 14:05:09, job J1, sub-job "
     "0.T20250303140509-1.R0000.sh, task 2, relative 0, type sh"},
    {"0050.20250303140509.J12.S.T20250303140509-1.R0000.",
     "priority 0050, created 2025-03-03 14:05:09, job J12, sub-job , task 1, relative "
     "0, type "},
    {"0050.20250303140509.J12.S0.T20250303140509-1.R0000.a.b",
     "priority 0050, created 2025-03-03 14:05:09, job J12, sub-job 0, task 1, relative "
     "0, type a.b"},
    {"9999.20161231235960.EMPTYJOB.S0.T20161231235960-1.R0000.sh",
     "priority 9999, created 2016-12-31 23:59:60, job EMPTYJOB, sub-job 0, task 1, "
     "relative 0, type sh"}};

const std::vector<const char*> kBadNames{
    "", ".", "README", ".0050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    // the priority is not written with four digits, or not a number, or beyond 32 bits
    "50.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "00050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "+050.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "high.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    "4294967296.20250303140509.J12.S0.T20250303140509-731.R0002.sh",
    // the time is cut, not in digits, no time of day, or not the same twice
    "0050.2025030314050.J12.S0.T2025030314050-731.R0002.sh",
    "0050.2025030314050x.J12.S0.T2025030314050x-731.R0002.sh",
    "0050.20251303140509.J12.S0.T20251303140509-731.R0002.sh",
    "0050.20250332140509.J12.S0.T20250332140509-731.R0002.sh",
    "0050.20250303240509.J12.S0.T20250303240509-731.R0002.sh",
    "0050.20250303146009.J12.S0.T20250303146009-731.R0002.sh",
    "0050.20250303140561.J12.S0.T20250303140561-731.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140510-731.R0002.sh",
    // no job, no sub-job
    "0050.20250303140509..S0.T20250303140509-731.R0002.sh",
    "0050.20250303140509.J12.T20250303140509-731.R0002.sh",
    // the task is missing, negative, padded, or beyond 31 bits
    "0050.20250303140509.J12.S0.T20250303140509-.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509--1.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509-0731.R0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509-2147483648.R0002.sh",
    // the relative priority is missing or short, and the type is missing
    "0050.20250303140509.J12.S0.T20250303140509-731.0002.sh",
    "0050.20250303140509.J12.S0.T20250303140509-731.R2.sh",
    "0050.20250303140509.J12.S0.T20250303140509-731.R.sh",
    "0050.20250303140509.J12.S0.T20250303140509-731.R0002",
    "0050.20250303140509.J12.S0.T20250303140509-731"};

TEST(TaskNameTest, NamesOfTaskFilesAreTakenApart) {
  for (const GoodName& row : kGoodNames) {
    const std::optional<TaskName> name = parseTaskName(row.name);
    ASSERT_TRUE(name) << row.name;
    EXPECT_EQ(row.description, describe(*name));
  }
}

TEST(TaskNameTest, OtherNamesAreRefused) {
  for (const char* name : kBadNames) {
    EXPECT_FALSE(parseTaskName(name)) << name;
  }
}

}  // namespace
}  // namespace standin
