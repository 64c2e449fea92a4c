// SPDX-License-Identifier: MIT

#include "src/rest/CjsonCollectionPathHandler.h"

#include "tests/support/RestFixture.h"

namespace {

class CjsonCollectionTest : public RestFixture {
  protected:
    CjsonCollectionTest() {
        m_controller.addPathHandler("c", m_collection);
        m_collection->putEntry("b", parse(R"({"id":"b","sub":{"n":[1]}})").release());
        m_collection->putEntry("a", parse(R"({"id":"a"})").release());
    }

    CjsonCollectionPathHandler* m_collection = new CjsonCollectionPathHandler;
};

}  // namespace

TEST_F(CjsonCollectionTest, ListsItsEntriesInNameOrder) {
    EXPECT_EQ(get("/api/c").text, R"([{"id":"a"},{"id":"b","sub":{"n":[1]}}])");
}

TEST_F(CjsonCollectionTest, KeepsItsEntriesThroughAList) {
    get("/api/c");

    EXPECT_EQ(print_compact(m_collection->findEntry("b")), R"({"id":"b","sub":{"n":[1]}})");
    EXPECT_EQ(m_collection->findEntry("b")->next, nullptr);
    EXPECT_EQ(get("/api/c").text, R"([{"id":"a"},{"id":"b","sub":{"n":[1]}}])");
}

TEST_F(CjsonCollectionTest, AnswersOneEntry) {
    EXPECT_EQ(get("/api/c/a").text, R"({"id":"a"})");
    EXPECT_EQ(get("/api/c/x").status, 404);
}

TEST_F(CjsonCollectionTest, DescribesAnEntryByADeepCopy) {
    const JsonPtr copy = m_collection->createCJsonFromEntry(m_collection->findEntry("b"));

    EXPECT_NE(copy.get(), m_collection->findEntry("b"));
    EXPECT_EQ(print_compact(copy.get()), R"({"id":"b","sub":{"n":[1]}})");
}
