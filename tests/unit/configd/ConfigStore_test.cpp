#include "device/configd/ConfigStore.h"

#include <gmock/gmock.h>

#include "Values.h"
#include "tests/support/TempDirectory.h"

using namespace std::string_literals;
using testing::HasSubstr;

namespace {

class ConfigStoreFile : public testing::Test {
  protected:
    std::unique_ptr<ConfigStore> Open() { return ConfigStore::open(m_directory.file("store.db").c_str()); }
    // What the next start would find.
    ConfigValues Stored() {
        ConfigValues values;
        EXPECT_TRUE(Open()->load(values));
        return values;
    }

    TempDirectory m_directory;
};

}  // namespace

TEST_F(ConfigStoreFile, IsEmptyAtFirst) {
    EXPECT_EQ(Stored(), ConfigValues{});
}

TEST_F(ConfigStoreFile, KeepsRowsOfAllTypes) {
    ASSERT_TRUE(Open()->write(
        {{"cfg.b", Binary("\0\xff"s), 0}, {"cfg.i", Number(7), 0}, {"cfg.s", Text("x"), 0}}, {}));

    EXPECT_EQ(Stored(),
              (ConfigValues{{"cfg.b", Binary("\0\xff"s)}, {"cfg.i", Number(7)}, {"cfg.s", Text("x")}}));
}

TEST_F(ConfigStoreFile, KeepsAnEmptyValue) {
    ASSERT_TRUE(Open()->write({{"cfg.e", Binary(""), 0}}, {}));

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.e", Binary("")}}));
}

TEST_F(ConfigStoreFile, ReplacesARow) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("old"), 0}}, {}));
    ASSERT_TRUE(Open()->write({{"cfg.a", Number(1), 0}}, {}));

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.a", Number(1)}}));
}

TEST_F(ConfigStoreFile, RemovesARow) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("x"), 0}, {"cfg.b", Text("y"), 0}}, {}));
    ASSERT_TRUE(Open()->write({}, {"cfg.a"}));

    EXPECT_EQ(Stored(), (ConfigValues{{"cfg.b", Text("y")}}));
}

TEST_F(ConfigStoreFile, LoadsItsRowsOverWhatIsThere) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("own"), 0}}, {}));
    ConfigValues values{{"cfg.a", Text("factory")}, {"cfg.b", Text("factory")}};

    ASSERT_TRUE(Open()->load(values));

    EXPECT_EQ(values, (ConfigValues{{"cfg.a", Text("own")}, {"cfg.b", Text("factory")}}));
}

TEST_F(ConfigStoreFile, ARowOfTypeNoneTakesAKeyOut) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Deleted(), 0}}, {}));
    ConfigValues values{{"cfg.a", Text("factory")}};

    ASSERT_TRUE(Open()->load(values));

    EXPECT_EQ(values, ConfigValues{});
}

TEST_F(ConfigStoreFile, ClearRemovesEveryRow) {
    ASSERT_TRUE(Open()->write({{"cfg.a", Text("x"), 0}}, {}));
    ASSERT_TRUE(Open()->clear());

    EXPECT_EQ(Stored(), ConfigValues{});
}

TEST_F(ConfigStoreFile, SyncMovesEverythingIntoTheFile) {
    const auto store = Open();
    ASSERT_TRUE(store->write({{"cfg.a", Binary(std::string(100'000, 'x')), 0}}, {}));

    EXPECT_TRUE(store->sync());

    EXPECT_GT(std::filesystem::file_size(m_directory.file("store.db")), 100'000U);
}

TEST_F(ConfigStoreFile, CannotBeOpenedTwice) {
    const auto first = Open();
    testing::internal::CaptureStderr();

    EXPECT_EQ(Open(), nullptr);

    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("database is locked"));
}

TEST_F(ConfigStoreFile, SaysThatAFileIsNoStore) {
    const std::string path = m_directory.write("store.db", std::string(4096, 'x'));
    testing::internal::CaptureStderr();

    EXPECT_EQ(Open(), nullptr);

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "configd: cannot open the store '" + path + "': file is not a database\n");
}

TEST_F(ConfigStoreFile, AWriteToAFullDiskLeavesItAsItWas) {
    const auto store = Open();
    ASSERT_TRUE(store->write({{"cfg.a", Text("before"), 0}}, {}));
    {
        const FullDisk full_disk;

        EXPECT_FALSE(store->write({{"cfg.a", Text("after"), 0}}, {}));
        EXPECT_FALSE(store->clear());
    }

    ConfigValues values;
    EXPECT_TRUE(store->load(values));
    EXPECT_EQ(values, (ConfigValues{{"cfg.a", Text("before")}}));
}

TEST_F(ConfigStoreFile, TakesWritesAgainWhenTheDiskHasRoom) {
    const auto store = Open();
    {
        const FullDisk full_disk;
        EXPECT_FALSE(store->write({{"cfg.a", Text("lost"), 0}}, {}));
    }

    EXPECT_TRUE(store->write({{"cfg.a", Text("kept"), 0}}, {}));
}
