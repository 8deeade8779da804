#include "EntryIndex.h"

#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <random>
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

// Names of few characters, so that many are asked for again.
TEST_F(EntryIndexTest, AnyNameIsFoundAsBySearching) {
  EntryIndex index(m_entries);
  std::mt19937 random(20261122);
  for (int i = 0; i < 20000; ++i) {
    const std::string name(1 + random() % 3, static_cast<char>('!' + random() % 90));
    const std::string longer =
        name + std::string(random() % 3, static_cast<char>('a' + random() % 3));
    IMProperty* const searched = findEntry(m_entries, longer.c_str());
    ASSERT_EQ(searched, index.find(longer.c_str())) << longer;
    if (searched == nullptr) {
      m_owned.push_back(std::make_unique<IMProperty>(longer.c_str(), ""));
      m_entries.push_back(m_owned.back().get());
    }
  }
  EXPECT_LT(1000U, m_entries.size());
}

TEST_F(EntryIndexTest, FirstOfEntriesWithOneNameIsFoundBySearching) {
  growTo(2);
  const IMProperty other("n1", "other");
  IMProperty copy(other);
  m_entries.push_back(&copy);
  EXPECT_EQ(m_owned[1].get(), findEntry(m_entries, "n1"));
}

}  // namespace
