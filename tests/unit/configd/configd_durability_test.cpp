// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include "RawClient.h"
#include "tests/support/RunningDatabase.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

// What is left after accidents of the program and its files.
class Durability : public RunningDatabase {
  protected:
    void Kill() {
        m_database->signal(SIGKILL);
        ASSERT_TRUE(m_database->awaitEnd().has_value());
    }
    // Until the bus has passed on what the client sent.
    static void AwaitBus(RawClient& client) {
        client.ask("cbus.status", "");
        ASSERT_NE(client.awaitReply(), "");
    }
    static int Modify(const char* key, std::string value) {
        config_data_t element{
            CONFIG_TYPE_BINARY, key, value.data(), static_cast<uint32_t>(value.size()), 0, 99};
        return config_modifyv(nullptr, 1, &element);
    }
};

class RuntimeStore : public Durability {
  protected:
    void SetUp() override {
        m_database_options = {"-r", m_directory.file("runtime.db")};
        RunningDatabase::SetUp();
    }
};

const std::string kLarge(500'000, 'x');

}  // namespace

TEST_F(Durability, VolatileValuesGoWithTheProgram) {
    ASSERT_EQ(Write("ram.test.a", "x"), 0);

    Kill();
    StartDatabase();

    EXPECT_EQ(Read("ram.test.a"), "(no value)");
}

TEST_F(RuntimeStore, VolatileValuesOutliveAKill) {
    ASSERT_EQ(Write("ram.test.a", "x"), 0);
    ASSERT_EQ(Write("dyn.test.a", "y"), 0);

    Kill();
    StartDatabase();

    EXPECT_EQ(Read("ram.test.a"), "x");
    EXPECT_EQ(Read("dyn.test.a"), "y");
}

TEST_F(RuntimeStore, WithoutItsFileVolatileValuesBeginAfresh) {
    ASSERT_EQ(Write("ram.platform.system_id", "other"), 0);
    Kill();
    std::filesystem::remove(m_directory.file("runtime.db"));
    std::filesystem::remove(m_directory.file("runtime.db-wal"));

    StartDatabase();

    EXPECT_EQ(Read("ram.platform.system_id"), "HM60");
}

TEST_F(RuntimeStore, CannotBeTheFileOfThePersistentValues) {
    m_database =
        Start(CONFIGD_PROGRAM, {"-s", m_directory.file("other.db"), "-r", m_directory.file("other.db")});

    EXPECT_EQ(WEXITSTATUS(m_database->awaitEnd().value_or(0)), 1);
    EXPECT_THAT(m_database->output(), HasSubstr("database is locked"));
}

// While more messages wait to be read, writes are gathered. These take so long that the end comes before the
// transaction: each is milliseconds of building a reply that is too large in the end.
TEST_F(Durability, WritesBySignalAreKeptByACleanEnd) {
    ASSERT_EQ(Modify("ram.test.large", std::string(1 << 20, 'x')), 0);
    const std::string slow = Vbuf(Elements(9, {"ram.test.large", Deleted(), 0}));
    RawClient writer;
    RawClient reader;
    m_database->signal(SIGSTOP);
    writer.send("config.writev", Vbuf({{"cfg.test.counter", Number(99), 0}}));
    AwaitBus(writer);
    writer.ask("config.stat.cfg.none", "");
    for (int i = 0; i < 30; ++i) {
        reader.ask("config.readv", slow);
    }
    AwaitBus(reader);

    m_database->signal(SIGCONT);
    ASSERT_NE(writer.awaitReply(), "");
    m_database->signal(SIGTERM);
    ASSERT_EQ(m_database->awaitEnd(), 0);
    StartDatabase();

    EXPECT_EQ(ReadInt("cfg.test.counter"), 99);
}

TEST_F(Durability, ADeletedFactoryKeyStaysDeletedAfterAKill) {
    config_delete("cfg.api.syslog.1.selector");
    config_delete("ram.platform.system_id");
    ASSERT_EQ(Read("cfg.api.syslog.1.selector"), "(no value)");

    Kill();
    StartDatabase();

    EXPECT_EQ(Read("cfg.api.syslog.1.selector"), "(no value)");
    EXPECT_EQ(Read("ram.platform.system_id"), "HM60");
}

TEST_F(Durability, ADamagedStoreIsMovedAsideAndFactoryValuesAreServed) {
    ASSERT_EQ(Write("cfg.test.a", "own"), 0);
    m_database->signal(SIGTERM);  // after a kill the log would still hold all of it
    ASSERT_EQ(m_database->awaitEnd(), 0);
    m_directory.write("store.db", std::string(20'000, 'x'));

    StartDatabase();

    EXPECT_EQ(Read("cfg.test.a"), "(no value)");
    EXPECT_EQ(Read("ram.platform.system_id"), "HM60");
    EXPECT_THAT(m_database->output(),
                HasSubstr("the store '" + m_directory.file("store.db") +
                          "' is damaged (file is not a database): it is now '" +
                          m_directory.file("store.db") + ".damaged-1', factory values are loaded"));
    EXPECT_EQ(Write("cfg.test.a", "new"), 0);
}

TEST_F(Durability, AnEmptyStoreIsMovedAside) {
    Kill();
    m_directory.write("store.db", "");

    StartDatabase();

    EXPECT_THAT(m_database->output(), HasSubstr("is damaged (the file is empty)"));
    EXPECT_TRUE(std::filesystem::exists(m_directory.file("store.db.damaged-1")));
}

TEST_F(Durability, AFullDiskRefusesAWriteAndReadsGoOn) {
    ASSERT_EQ(Write("cfg.test.a", "before"), 0);
    const FullDisk full_disk(100'000, m_database->pid());

    EXPECT_EQ(Modify("cfg.test.large", kLarge), -1);
    config_write_typed("cfg.test.other", kLarge.data(), static_cast<uint32_t>(kLarge.size()),
                       CONFIG_TYPE_BINARY);

    EXPECT_EQ(Read("cfg.test.large"), "(no value)");
    EXPECT_EQ(Read("cfg.test.other"), "(no value)");
    EXPECT_EQ(Read("cfg.test.a"), "before");
    EXPECT_EQ(Write("ram.test.a", "memory has room"), 0);
    EXPECT_THAT(m_database->output(), HasSubstr("writing to the store: "));
    EXPECT_THAT(m_database->output(), HasSubstr("write of 'cfg.test.other' refused with -1"));
}

TEST_F(Durability, WritesGoOnWhenTheDiskHasRoomAgain) {
    {
        const FullDisk full_disk(100'000, m_database->pid());
        ASSERT_EQ(Modify("cfg.test.large", kLarge), -1);
    }

    EXPECT_EQ(Modify("cfg.test.large", kLarge), 0);
    Kill();
    StartDatabase();

    std::string buffer(kLarge.size(), '\0');
    uint32_t length = 0;
    uint32_t type = 0;
    EXPECT_EQ(config_read_typed("cfg.test.large", buffer.data(), static_cast<uint32_t>(buffer.size()),
                                &length, &type),
              0);
    EXPECT_EQ(buffer, kLarge);
}

TEST_F(Durability, WhatDoesNotFitIsRefusedByStatusAndLoggedForASignal) {
    RawClient client;
    client.ask("config.modifyv", Vbuf({{"cfg.test.a b", Number(1), 0},
                                       {"cfg.test." + std::string(247, 'k'), Number(1), 0},
                                       {"cfg.test.large", Binary(std::string((1 << 20) + 1, 'x')), 0},
                                       {"cfg.test.fits", Number(1), 0}}));
    EXPECT_THAT(client.awaitStatuses(), ElementsAre(-1, -1, -6, 0));

    config_write_int("cfg.test.line\n[error]: (configd) end", 1);

    EXPECT_EQ(Read("cfg.test.fits"), "(no value)");
    EXPECT_THAT(m_database->output(),
                HasSubstr("write of 'cfg.test.line?[error]: (configd) end' refused with -1"));
}

TEST_F(Durability, AnnouncesThatItServes) {
    RawClient listener;
    listener.filter("config.start");
    listener.ask("config.stat.cfg.none", "");
    ASSERT_NE(listener.awaitReply(), "");

    Kill();
    StartDatabase();

    EXPECT_EQ(listener.awaitSignal(), "config.start");
}
