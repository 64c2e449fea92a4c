// SPDX-License-Identifier: MIT

#include "device/configd/ConfigStore.h"

#include <gmock/gmock.h>

#include "Values.h"
#include "tests/support/TempDirectory.h"

using namespace std::string_literals;
using testing::HasSubstr;

namespace {

class ConfigStoreFile : public testing::Test {
  protected:
    std::unique_ptr<ConfigStore> Open() { return ConfigStore::open(m_directory.file("store.db")); }
    // What the next start would find.
    ConfigValues Stored() {
        ConfigValues values;
        const auto store = Open();
        EXPECT_TRUE(store != nullptr && store->load(KeyTree::kPersistent, values));
        return values;
    }

    std::string Content(const std::string& name) {
        std::ifstream file(m_directory.file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    TempDirectory m_directory;
};

}  // namespace

TEST_F(ConfigStoreFile, IsEmptyAtFirst) {
    EXPECT_EQ(Stored(), ConfigValues{});
}

TEST_F(ConfigStoreFile, KeepsRowsOfAllTypes) {
    ASSERT_TRUE(Open()->write({{"cfg.b", Binary("\0\xff"s)}, {"cfg.i", Number(7)}, {"cfg.s", Text("x")}}));

    EXPECT_EQ(Stored(),
              (ConfigValues{{"cfg.b", Binary("\0\xff"s)}, {"cfg.i", Number(7)}, {"cfg.s", Text("x")}}));
}

TEST_F(ConfigStoreFile, KeepsAnEmptyValue) {
    ASSERT_TRUE(Open()->write({{"cfg.e", Binary("")}}));

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.e", Binary("")}}));
}

TEST_F(ConfigStoreFile, ReplacesARow) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("old")}}));
    ASSERT_TRUE(Open()->write({{"cfg.a", Number(1)}}));

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.a", Number(1)}}));
}

TEST_F(ConfigStoreFile, RemovesARow) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("x")}, {"cfg.b", Text("y")}}));
    ASSERT_TRUE(Open()->write({{"cfg.a", std::nullopt}}));

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.b", Text("y")}}));
}

TEST_F(ConfigStoreFile, LoadsItsRowsOverWhatIsThere) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("own")}}));
    ConfigValues values{{"cfg.a", Text("factory")}, {"cfg.b", Text("factory")}};

    ASSERT_TRUE(Open()->load(KeyTree::kPersistent, values));

    EXPECT_EQ(values, (ConfigValues{{"cfg.a", Text("own")}, {"cfg.b", Text("factory")}}));
}

TEST_F(ConfigStoreFile, ARowOfTypeNoneTakesAKeyOut) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Deleted()}}));
    ConfigValues values{{"cfg.a", Text("factory")}};

    ASSERT_TRUE(Open()->load(KeyTree::kPersistent, values));

    EXPECT_EQ(values, ConfigValues{});
}

TEST_F(ConfigStoreFile, ClearRemovesEveryRow) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("x")}}));
    ASSERT_TRUE(Open()->clear());

    EXPECT_EQ(Stored(), ConfigValues{});
}

TEST_F(ConfigStoreFile, SyncMovesEverythingIntoTheFile) {
    const auto store = Open();
    ASSERT_TRUE(store->write({{"cfg.a", Binary(std::string(100'000, 'x'))}}));

    EXPECT_TRUE(store->sync());

    EXPECT_GT(std::filesystem::file_size(m_directory.file("store.db")), 100'000U);
}

TEST_F(ConfigStoreFile, CannotBeOpenedTwice) {
    const auto first = Open();
    testing::internal::CaptureStderr();

    EXPECT_EQ(Open(), nullptr);

    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("database is locked"));
}

TEST_F(ConfigStoreFile, PassesOverRowsThatNobodyCouldHaveWritten) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("x")},
                               {"cfg.b c", Text("x")},
                               {"cfg.d", ConfigValue{300, "x"}},
                               {"ram.e", Text("x")}}));

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.a", Text("x")}}));
}

TEST_F(ConfigStoreFile, ADamagedFileIsMovedAside) {
    const std::string path = m_directory.write("store.db", std::string(4096, 'x'));

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_EQ(Content("store.db.damaged-1"), std::string(4096, 'x'));
}

TEST_F(ConfigStoreFile, AnEmptyFileIsMovedAside) {
    m_directory.write("store.db", "");

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_TRUE(std::filesystem::exists(m_directory.file("store.db.damaged-1")));
}

TEST_F(ConfigStoreFile, WhatWasMovedAsideEarlierStays) {
    m_directory.write("store.db.damaged-1", "first");
    m_directory.write("store.db.damaged-2-wal", "second");
    m_directory.write("store.db", "damaged, and no SQLite file at all");

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_EQ(Content("store.db.damaged-1"), "first");
    EXPECT_EQ(Content("store.db.damaged-2-wal"), "second");
    EXPECT_EQ(Content("store.db.damaged-3"), "damaged, and no SQLite file at all");
}

TEST_F(ConfigStoreFile, TheLogOfADamagedFileGoesWithIt) {
    m_directory.write("store.db", std::string(4096, 'x'));
    m_directory.write("store.db-wal", "log");

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_EQ(Content("store.db.damaged-1-wal"), "log");
}

// Pages in the middle, with their beginning as it should be: only reading them all finds it.
TEST_F(ConfigStoreFile, DamageBehindTheFirstPageIsFound) {
    ConfigValues values;
    StoreRows rows;
    for (int i = 0; i < 1000; ++i) {
        rows["cfg." + std::to_string(i)] = Text(std::string(100, 'v'));
    }
    ASSERT_TRUE(Open()->write(rows));
    std::string content = Content("store.db");
    content.replace(5 * 4096, 64, 64, '\xff');
    m_directory.write("store.db", content);

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_EQ(Content("store.db.damaged-1"), content);
}

TEST_F(ConfigStoreFile, AFileThatHasLostItsEndIsMovedAside) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Binary(std::string(100'000, 'x'))}}));
    std::filesystem::resize_file(m_directory.file("store.db"), 20'000);

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_TRUE(std::filesystem::exists(m_directory.file("store.db.damaged-1")));
}

TEST_F(ConfigStoreFile, ADatabaseOfSomethingElseIsMovedAside) {
    sqlite3* other = nullptr;
    sqlite3_open(m_directory.file("store.db").c_str(), &other);
    sqlite3_exec(other, "CREATE TABLE config (other TEXT)", nullptr, nullptr, nullptr);
    sqlite3_close(other);

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_TRUE(std::filesystem::exists(m_directory.file("store.db.damaged-1")));
}

TEST_F(ConfigStoreFile, OpensAndReadsWhenTheDiskIsFull) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("x")}}));
    const FullDisk full_disk;

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.a", Text("x")}}));
}

TEST_F(ConfigStoreFile, AWriteToAFullDiskLeavesItAsItWas) {
    const auto store = Open();
    ASSERT_TRUE(store->write({{"cfg.a", Text("before")}}));
    {
        const FullDisk full_disk;

        EXPECT_FALSE(store->write({{"cfg.a", Text("after")}}));
        EXPECT_FALSE(store->clear());
    }

    ConfigValues values;
    EXPECT_TRUE(store->load(KeyTree::kPersistent, values));
    EXPECT_EQ(values, (ConfigValues{{"cfg.a", Text("before")}}));
}

TEST_F(ConfigStoreFile, TakesWritesAgainWhenTheDiskHasRoom) {
    const auto store = Open();
    {
        const FullDisk full_disk;
        EXPECT_FALSE(store->write({{"cfg.a", Text("lost")}}));
    }

    EXPECT_TRUE(store->write({{"cfg.a", Text("kept")}}));
}

TEST_F(ConfigStoreFile, IsNotThereWhenItCouldNotBeBegun) {
    {
        const FullDisk full_disk;
        EXPECT_EQ(Open(), nullptr);
    }

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_FALSE(std::filesystem::exists(m_directory.file("store.db.damaged-1")));
}

TEST_F(ConfigStoreFile, WhatAnEarlierBeginningLeftIsNoDamage) {
    m_directory.write("store.db.new", "");

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_FALSE(std::filesystem::exists(m_directory.file("store.db.new")));
    EXPECT_FALSE(std::filesystem::exists(m_directory.file("store.db.damaged-1")));
}

TEST_F(ConfigStoreFile, WhatAnEarlierBeginningLeftMayBeBroken) {
    m_directory.write("store.db.new", std::string(5000, 'x'));

    EXPECT_EQ(Stored(), ConfigValues{});

    EXPECT_FALSE(std::filesystem::exists(m_directory.file("store.db.new")));
}

TEST_F(ConfigStoreFile, TheLogOfAStoreThatIsGoneIsNotWorkedIntoTheNewOne) {
    const auto store = Open();
    ASSERT_TRUE(store->write({{"cfg.a", Text("x")}}));
    std::filesystem::rename(m_directory.file("store.db-wal"), m_directory.file("kept"));
    m_directory.write("store.db-wal", Content("kept"));
    std::filesystem::remove(m_directory.file("store.db"));

    EXPECT_EQ(Stored(), ConfigValues{});
}
