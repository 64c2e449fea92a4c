// SPDX-License-Identifier: MIT

#include "src/rest/BaseCollectionPathHandler.h"

#include <cstring>
#include <string>

#include "src/rest/CjsonCollectionPathHandler.h"
#include "tests/support/RestFixture.h"

namespace {

struct Lamp {
    explicit Lamp(int* counter) : destroyed(counter) {}
    Lamp(const Lamp&) = delete;
    Lamp& operator=(const Lamp&) = delete;
    ~Lamp() { ++*destroyed; }

    int* destroyed;
};

class Lamps : public BaseCollectionPathHandler<Lamp> {
  public:
    Lamps() : BaseCollectionPathHandler<Lamp>(EntryMemory::kDelete) {}
    JsonPtr createCJsonFromEntry(Lamp*) override { return parse(R"({"lamp":true})"); }
    void sync() override { ++syncs; }

    int syncs = 0;
};

class Texts : public BaseCollectionPathHandler<char> {
  public:
    Texts() : BaseCollectionPathHandler<char>(EntryMemory::kFree) {}
    JsonPtr createCJsonFromEntry(char* text) override { return JsonPtr(cJSON_CreateString(text)); }
};

class CollectionEntriesTest : public RestFixture {
  protected:
    CollectionEntriesTest() { m_controller.addPathHandler("lamps", m_lamps); }

    Lamps* m_lamps = new Lamps;
    int m_destroyed = 0;
};

}  // namespace

TEST_F(CollectionEntriesTest, AreAnEmptyArrayAtFirst) {
    const Answer answer = get("/api/lamps");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.text, "[]");
}

TEST_F(CollectionEntriesTest, AreListedAsTheSubclassDescribesThem) {
    m_lamps->putEntry("1", new Lamp(&m_destroyed));
    m_lamps->putEntry("2", new Lamp(&m_destroyed));

    EXPECT_EQ(get("/api/lamps").text, R"([{"lamp":true},{"lamp":true}])");
}

TEST_F(CollectionEntriesTest, AreReadOneByOne) {
    m_lamps->putEntry("1", new Lamp(&m_destroyed));

    const Answer answer = get("/api/lamps/1");

    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.text, R"({"lamp":true})");
}

TEST_F(CollectionEntriesTest, AreSynchronisedBeforeEachRead) {
    get("/api/lamps");
    get("/api/lamps/1");

    EXPECT_EQ(m_lamps->syncs, 2);
}

TEST_F(CollectionEntriesTest, AreNotFoundUnderOtherNames) {
    m_lamps->putEntry("1", new Lamp(&m_destroyed));

    EXPECT_EQ(get("/api/lamps/2").status, 404);
    EXPECT_FALSE(m_lamps->isEntry("2"));
    EXPECT_EQ(m_lamps->findEntry("2"), nullptr);
}

TEST_F(CollectionEntriesTest, RefuseAnUpdateThatTheCollectionDoesNotSupport) {
    m_lamps->putEntry("1", new Lamp(&m_destroyed));

    EXPECT_EQ(put("/api/lamps/1").status, 405);
    EXPECT_EQ(put("/api/lamps/2").status, 404);
}

TEST_F(CollectionEntriesTest, ExistButAreNotFoundWithoutAValue) {
    m_lamps->putEntry("1", nullptr);

    EXPECT_TRUE(m_lamps->isEntry("1"));
    EXPECT_EQ(get("/api/lamps/1").status, 404);
    EXPECT_EQ(get("/api/lamps").text, "[]");
}

TEST_F(CollectionEntriesTest, AreReleasedWhenTheyAreReplacedOrRemoved) {
    m_lamps->putEntry("1", new Lamp(&m_destroyed));

    m_lamps->putEntry("1", new Lamp(&m_destroyed));
    EXPECT_EQ(m_destroyed, 1);

    EXPECT_TRUE(m_lamps->removeEntry("1"));
    EXPECT_FALSE(m_lamps->removeEntry("1"));
    EXPECT_EQ(m_destroyed, 2);
}

TEST_F(CollectionEntriesTest, EndWithTheCollection) {
    m_lamps->putEntry("1", new Lamp(&m_destroyed));

    m_controller.removePathHandler("lamps");

    EXPECT_EQ(m_destroyed, 1);
}

TEST(CollectionEntryMemory, FreesWhatMallocMade) {
    RecordingRequest request("GET", "/api/texts", nullptr);
    Texts texts;
    texts.putEntry("a", strdup("text"));

    texts.readOperation(&request);

    EXPECT_EQ(print_compact(request.json().get()), R"(["text"])");  // the sanitizers see the free
}
