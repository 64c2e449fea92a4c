// SPDX-License-Identifier: MIT

#include "src/rest/CjsonCollectionUpdateHelp.h"

#include <string>

#include "src/rest/CjsonCollectionPathHandler.h"
#include "tests/support/RestFixture.h"

namespace {

class UpdateHelpTest : public RestFixture {
  protected:
    UpdateHelpTest() {
        m_controller.addPathHandler("c", m_collection);
        m_collection->putEntry("e", parse(R"({"id":"e","abc":null,"def":null})").release());
        m_collection->putEntry("f", parse(R"({"id":"f","abc":null})").release());
    }

    // Whether the value was taken.
    bool set(const char* entry, const char* attribute, const char* value) {
        JsonPtr json(cJSON_CreateString(value));
        if (!m_help.updateAttribute(entry, attribute, json.get())) {
            return false;
        }
        static_cast<void>(json.release());
        return true;
    }

    CjsonCollectionPathHandler* m_collection = new CjsonCollectionPathHandler;
    CjsonCollectionUpdateHelp m_help{m_collection};
};

}  // namespace

TEST_F(UpdateHelpTest, ReplacesTheAttributeInItsPlace) {
    EXPECT_TRUE(set("e", "abc", "1"));

    EXPECT_EQ(print_compact(m_collection->findEntry("e")), R"({"id":"e","abc":"1","def":null})");
}

TEST_F(UpdateHelpTest, RefusesAnUnknownEntryAndRecordsNothing) {
    subscribe(m_first, "/api/c");

    EXPECT_FALSE(set("unknown", "abc", "1"));

    m_help.notifyChanges();
    EXPECT_EQ(m_first.told(), Lines{});
}

TEST_F(UpdateHelpTest, RefusesAnAttributeThatTheEntryLacks) {
    subscribe(m_first, "/api/c");

    EXPECT_FALSE(set("e", "unknown", "1"));
    EXPECT_FALSE(set("e", "ABC", "1"));

    m_help.notifyChanges();
    EXPECT_EQ(m_first.told(), Lines{});
    EXPECT_EQ(print_compact(m_collection->findEntry("e")), R"({"id":"e","abc":null,"def":null})");
}

TEST_F(UpdateHelpTest, RefusesAnEntryWithoutAValue) {
    m_collection->putEntry("empty", nullptr);

    EXPECT_FALSE(set("empty", "abc", "1"));
}

TEST_F(UpdateHelpTest, TellsOfTwoChangesOfOneEntryOnce) {
    subscribe(m_first, "/api/c/e", R"({"data_include": "UPDATED"})");
    subscribe(m_second, "/api/c/e");
    set("e", "def", "2");
    set("e", "abc", "1");

    m_help.notifyChanges();

    EXPECT_EQ(m_first.told(), Lines{R"(Updated /api/c/e {"abc":"1","def":"2"})"});
    EXPECT_EQ(m_second.told(), Lines{R"(Updated /api/c/e {"id":"e","abc":"1","def":"2"})"});
}

TEST_F(UpdateHelpTest, TellsASubscriberWithoutDataOfThePathAlone) {
    subscribe(m_first, "/api/c/e", R"({"data_include": "NONE"})");
    set("e", "abc", "1");

    m_help.notifyChanges();

    EXPECT_EQ(m_first.told(), Lines{"Updated /api/c/e -"});
}

TEST_F(UpdateHelpTest, TellsTheLastValueOfAnAttributeThatWasSetTwice) {
    subscribe(m_first, "/api/c/e", R"({"data_include": "UPDATED"})");
    set("e", "abc", "1");
    set("e", "abc", "2");

    m_help.notifyChanges();

    EXPECT_EQ(m_first.told(), Lines{R"(Updated /api/c/e {"abc":"2"})"});
}

TEST_F(UpdateHelpTest, TellsOfEveryChangedEntryInNameOrder) {
    subscribe(m_first, "/api/c", R"({"data_include": "NONE"})");
    set("f", "abc", "1");
    set("e", "abc", "1");

    m_help.notifyChanges();

    EXPECT_EQ(m_first.told(), (Lines{"Updated /api/c/e -", "Updated /api/c/f -"}));
}

TEST_F(UpdateHelpTest, PassesOverAnEntryThatIsGone) {
    subscribe(m_first, "/api/c");
    set("e", "abc", "1");
    m_collection->removeEntry("e");

    m_help.notifyChanges();

    EXPECT_EQ(m_first.told(), Lines{});
}

TEST_F(UpdateHelpTest, NeedsNoNamesThatOutliveTheCall) {
    subscribe(m_first, "/api/c", R"({"data_include": "UPDATED"})");
    std::string entry = "e";
    std::string attribute = "abc";
    set(entry.c_str(), attribute.c_str(), "1");
    entry = "x";
    attribute = "y";

    m_help.notifyChanges();

    EXPECT_EQ(m_first.told(), Lines{R"(Updated /api/c/e {"abc":"1"})"});
}

TEST_F(UpdateHelpTest, NeitherAddsNorDeletesEntries) {
    EXPECT_FALSE(m_help.addEntry("g", nullptr));
    EXPECT_FALSE(m_help.deleteEntry("e"));

    EXPECT_TRUE(m_collection->isEntry("e"));
    EXPECT_FALSE(m_collection->isEntry("g"));
}
