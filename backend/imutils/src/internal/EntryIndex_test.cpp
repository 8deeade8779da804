#include "EntryIndex.h"

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

namespace {

using brix::imutils::EntryIndex;
using brix::imutils::findEntry;
using brix::imutils::IMProperty;

class EntryIndexTest : public testing::Test {
 protected:
  // Appends entries until there are so many. Their values are their names.
  void growTo(std::size_t count) {
    while (m_owned.size() < count) {
      const std::string name = "n" + std::to_string(m_owned.size());
      m_owned.push_back(std::make_unique<IMProperty>(name.c_str(), name.c_str()));
      m_entries.push_back(m_owned.back().get());
    }
  }

  std::vector<std::unique_ptr<IMProperty>> m_owned;
  std::list<IMProperty*> m_entries;
};

TEST_F(EntryIndexTest, EachEntryIsFoundHoweverManyThereAre) {
  EntryIndex index(m_entries);
  for (const std::size_t count : {0U, 1U, 31U, 32U, 33U, 34U, 200U}) {
    growTo(count);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_EQ(m_owned[i].get(), index.find(("n" + std::to_string(i)).c_str()));
    }
    EXPECT_EQ(nullptr, index.find("n200"));
    EXPECT_EQ(nullptr, index.find("")) << count;
  }
}

TEST_F(EntryIndexTest, EntryIsFoundByItsNameAndNotByItsStart) {
  EntryIndex index(m_entries);
  growTo(40);
  EXPECT_EQ(nullptr, index.find("n"));
  EXPECT_EQ(nullptr, index.find("n10x"));
}

TEST_F(EntryIndexTest, FirstOfEntriesWithOneNameIsFoundBySearching) {
  growTo(2);
  const IMProperty other("n1", "other");
  IMProperty copy(other);
  m_entries.push_back(&copy);
  EXPECT_EQ(m_owned[1].get(), findEntry(m_entries, "n1"));
}

}  // namespace
