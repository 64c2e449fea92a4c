// SPDX-License-Identifier: MIT

#include "device/diagd/config_trees.h"

#include <gmock/gmock.h>

#include "Unpacked.h"
#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "tests/support/FakeDatabase.h"

using testing::HasSubstr;

namespace {

class ConfigTrees : public testing::Test {
  protected:
    ConfigTrees() {
        config_init_cbus(m_connection.get(), nullptr);
        config_status("ram.none", nullptr);  // the other end has taken the connection
    }
    std::string Tree(const std::string& name) {
        report_add_configuration(m_report);
        return TextOf(m_report, "config/" + name + ".txt");
    }

    FakeDatabase m_database;
    COwned<_cbus_conn_t, cbus_conn_destroy> m_connection{cbus_conn_create(nullptr, "CBUS_CONNECTION")};
    Report m_report;
};

}  // namespace

TEST_F(ConfigTrees, EveryTreeHasAnEntryWithItsKeys) {
    m_database.setString("cfg.a", "1");
    m_database.setString("txt.b", "2");
    m_database.setString("ram.c", "3");
    m_database.setString("dyn.d", "4");

    report_add_configuration(m_report);

    EXPECT_EQ(TextOf(m_report, "config/cfg.txt"), "cfg.a = 1\n");
    EXPECT_EQ(TextOf(m_report, "config/txt.txt"), "txt.b = 2\n");
    EXPECT_EQ(TextOf(m_report, "config/ram.txt"), "ram.c = 3\n");
    EXPECT_EQ(TextOf(m_report, "config/dyn.txt"), "dyn.d = 4\n");
    EXPECT_EQ(m_report.notes(), "");
}

TEST_F(ConfigTrees, FindsKeysOfAnyUsualDepth) {
    m_database.setString("cfg.a", "1");
    m_database.setString("cfg.a.b.c.d.e.f.g.h.i.j.k.l.m.n.o", "15");

    EXPECT_EQ(Tree("cfg"), "cfg.a = 1\ncfg.a.b.c.d.e.f.g.h.i.j.k.l.m.n.o = 15\n");
}

TEST_F(ConfigTrees, ShowsANumber) {
    m_database.setInt("cfg.a", -42);

    EXPECT_EQ(Tree("cfg"), "cfg.a = -42\n");
}

TEST_F(ConfigTrees, ShowsTheSizeOfOtherValues) {
    m_database.setBinary("cfg.a", std::string("\0\1\2", 3));

    EXPECT_EQ(Tree("cfg"), "cfg.a = (type 16, 3 bytes)\n");
}

TEST_F(ConfigTrees, AnEmptyTextIsNothing) {
    m_database.setString("cfg.a", "");

    EXPECT_EQ(Tree("cfg"), "cfg.a = \n");
}

TEST_F(ConfigTrees, ATextStaysOnItsLine) {
    m_database.setString("cfg.a", "x\ncfg.b = \\ \xc3\xa9");

    EXPECT_EQ(Tree("cfg"), "cfg.a = x\\x0acfg.b = \\x5c \xc3\xa9\n");
}

TEST_F(ConfigTrees, ALongTextIsCut) {
    m_database.setString("cfg.a", std::string(5000, 'x'));

    EXPECT_EQ(Tree("cfg"), "cfg.a = " + std::string(4096, 'x') + "...\n");
}

TEST_F(ConfigTrees, ALargeTreeIsCutWithANote) {
    for (int i = 100; i < 400; ++i) {
        m_database.setString("cfg." + std::to_string(i), std::string(4096, 'x'));
    }

    EXPECT_LE(Tree("cfg").size(), (size_t{1} << 20) + 5000);
    EXPECT_THAT(m_report.notes(), HasSubstr("config/cfg.txt: cut, from cfg."));
}

TEST_F(ConfigTrees, ATreeWithoutKeysLeavesANote) {
    m_database.setString("cfg.a", "1");

    EXPECT_EQ(Tree("txt"), "(none)");
    EXPECT_THAT(m_report.notes(), HasSubstr("config/txt.txt: the database gives no keys\n"));
}

TEST_F(ConfigTrees, ALostBusLeavesANotePerTree) {
    m_database.closeConnection();

    report_add_configuration(m_report);

    EXPECT_TRUE(m_report.entries().empty());
    for (const char* tree : {"cfg", "txt", "ram", "dyn"}) {
        EXPECT_THAT(m_report.notes(),
                    HasSubstr(std::string("config/") + tree + ".txt: the database does not answer\n"));
    }
}
