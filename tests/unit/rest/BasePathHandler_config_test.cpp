// SPDX-License-Identifier: MIT

#include <memory>
#include <string>
#include <vector>

#include "src/rest/BasePathHandler.h"
#include "tests/support/ConfigFixture.h"

namespace {

class WatchingNode : public BasePathHandler {
  public:
    explicit WatchingNode(std::vector<std::string>& changes) : m_changes(changes) {}
    void onConfigChange(unsigned int count, const config_data_t* data) override {
        for (unsigned int i = 0; i < count; ++i) {
            m_changes.emplace_back(data[i].key);
        }
    }
    using BasePathHandler::deregisterConfigChange;
    using BasePathHandler::registerConfigChange;

  private:
    std::vector<std::string>& m_changes;
};

class IgnoringNode : public BasePathHandler {
  public:
    using BasePathHandler::registerConfigChange;
};

class PathHandlerConfigTest : public ConfigFixture {
  protected:
    // Announces the key and waits until a node that watches everything below "ram" has heard of it.
    void announceAndWait(const std::string& key) {
        m_database.announce({key});
        ASSERT_TRUE(turnUntil([this] { return !m_all_changes.empty(); }));
        m_all_changes.clear();
    }

    void SetUp() override { m_watches_all.registerConfigChange("ram."); }

    std::vector<std::string> m_all_changes;
    std::vector<std::string> m_changes;
    std::unique_ptr<WatchingNode> m_node = std::make_unique<WatchingNode>(m_changes);
    WatchingNode m_watches_all{m_all_changes};
};

}  // namespace

TEST_F(PathHandlerConfigTest, HearsOfChangesOfTheKeysThatItWatches) {
    m_node->registerConfigChange("ram.test.");
    m_database.setString("ram.test.a", "x");

    announceAndWait("ram.test.a");

    EXPECT_EQ(m_changes, std::vector<std::string>{"ram.test.a"});
}

TEST_F(PathHandlerConfigTest, DoesNotHearOfOtherKeys) {
    m_node->registerConfigChange("ram.test.");
    m_database.setString("ram.other", "x");

    announceAndWait("ram.other");

    EXPECT_TRUE(m_changes.empty());
}

TEST_F(PathHandlerConfigTest, HearsNoMoreAfterDeregistration) {
    m_node->registerConfigChange("ram.test.");
    m_database.setString("ram.test.a", "x");

    m_node->deregisterConfigChange("ram.test.");
    announceAndWait("ram.test.a");

    EXPECT_TRUE(m_changes.empty());
}

TEST_F(PathHandlerConfigTest, IsNotCalledAfterItsEnd) {
    m_node->registerConfigChange("ram.test.");
    m_database.setString("ram.test.a", "x");

    m_node.reset();
    announceAndWait("ram.test.a");

    EXPECT_TRUE(m_changes.empty());  // the sanitizers see a call of the dead node
}

TEST_F(PathHandlerConfigTest, IgnoresAChangeWithoutAnOverride) {
    IgnoringNode node;
    node.registerConfigChange("ram.test.");
    m_database.setString("ram.test.a", "x");

    announceAndWait("ram.test.a");

    EXPECT_EQ(node.getPath(), nullptr);
}
