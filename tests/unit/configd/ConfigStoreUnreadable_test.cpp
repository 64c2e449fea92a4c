// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>

#include "Values.h"
#include "device/configd/ConfigStore.h"
#include "tests/support/TempDirectory.h"

using testing::HasSubstr;

namespace {

// While it lives, what a database file holds from this offset on cannot be read: as on a disk that is dying.
class BrokenDisk {
  public:
    explicit BrokenDisk(sqlite3_int64 first_bad_byte) {
        s_first_bad_byte = first_bad_byte;
        s_system = sqlite3_vfs_find(nullptr);
        m_vfs = *s_system;
        m_vfs.zName = "broken-disk";
        m_vfs.xOpen = Open;
        sqlite3_vfs_register(&m_vfs, 1);
    }
    BrokenDisk(const BrokenDisk&) = delete;
    BrokenDisk& operator=(const BrokenDisk&) = delete;
    ~BrokenDisk() { sqlite3_vfs_unregister(&m_vfs); }

  private:
    static int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* flags_out) {
        const int result = s_system->xOpen(s_system, name, file, flags, flags_out);
        if (file->pMethods != nullptr && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
            s_system_methods = file->pMethods;
            s_methods = *file->pMethods;
            s_methods.xRead = Read;
            file->pMethods = &s_methods;
        }
        return result;
    }
    static int Read(sqlite3_file* file, void* buffer, int bytes, sqlite3_int64 offset) {
        return offset + bytes > s_first_bad_byte ? SQLITE_IOERR_READ
                                                 : s_system_methods->xRead(file, buffer, bytes, offset);
    }

    static inline sqlite3_int64 s_first_bad_byte = 0;
    static inline sqlite3_vfs* s_system = nullptr;
    static inline const sqlite3_io_methods* s_system_methods = nullptr;
    static inline sqlite3_io_methods s_methods{};
    sqlite3_vfs m_vfs{};
};

// While it lives, this process has no more rights on files than their modes give it.
class OrdinaryUser {
  public:
    OrdinaryUser() { EXPECT_TRUE(m_user != 0 || seteuid(65534) == 0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() { EXPECT_EQ(seteuid(m_user), 0); }

  private:
    uid_t m_user = geteuid();
};

// A store of a hundred pages that is whole, but out of reach.
class UnreadableStore : public testing::Test {
  protected:
    void SetUp() override {
        StoreRows rows;
        for (int i = 0; i < 100; ++i) {
            rows["cfg." + std::to_string(i)] = Text(std::string(4000, 'v'));
        }
        ASSERT_TRUE(ConfigStore::open(m_path)->write(rows));
    }
    // Why it cannot be opened.
    std::string Refusal() {
        testing::internal::CaptureStderr();
        EXPECT_EQ(ConfigStore::open(m_path), nullptr);
        return testing::internal::GetCapturedStderr();
    }
    void ExpectWhole() {
        ConfigValues values;
        const auto store = ConfigStore::open(m_path);
        ASSERT_NE(store, nullptr);
        EXPECT_TRUE(store->load(KeyTree::kPersistent, values));
        EXPECT_EQ(values.size(), 100U);
        EXPECT_FALSE(std::filesystem::exists(m_path + ".damaged-1"));
    }
    // For everybody: the test may run as root, whom no mode keeps out.
    void SetModes(std::filesystem::perms file) {
        std::filesystem::permissions(m_directory.path(), std::filesystem::perms::all);
        std::filesystem::permissions(m_path, file);
    }

    TempDirectory m_directory;
    std::string m_path = m_directory.file("store.db");
};

}  // namespace

TEST_F(UnreadableStore, StaysWhereItIsWhenItMayNotBeRead) {
    SetModes(std::filesystem::perms::none);
    {
        const OrdinaryUser user;
        EXPECT_THAT(Refusal(), HasSubstr("unable to open database file"));
    }

    SetModes(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    ExpectWhole();
}

TEST_F(UnreadableStore, StaysWhereItIsWhenItMayNotBeWritten) {
    SetModes(std::filesystem::perms::owner_read | std::filesystem::perms::others_read);
    {
        const OrdinaryUser user;
        EXPECT_THAT(Refusal(), HasSubstr("unable to open database file"));
    }

    SetModes(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    ExpectWhole();
}

TEST_F(UnreadableStore, StaysWhereItIsWhenTheDiskDoesNotGiveItsBeginning) {
    {
        const BrokenDisk disk(0);
        EXPECT_THAT(Refusal(), HasSubstr("disk I/O error"));
    }

    ExpectWhole();
}

TEST_F(UnreadableStore, StaysWhereItIsWhenTheDiskDoesNotGiveItsMiddle) {
    {
        const BrokenDisk disk(50 * 4096);
        EXPECT_THAT(Refusal(), HasSubstr("disk I/O error"));
    }

    ExpectWhole();
}

// A directory of that name is nothing of ours.
TEST_F(UnreadableStore, StaysWhereItIsWhenItIsNoFile) {
    const std::string directory = m_directory.file("directory");
    std::filesystem::create_directory(directory);
    m_path = directory;

    EXPECT_THAT(Refusal(), HasSubstr("unable to open database file"));

    EXPECT_TRUE(std::filesystem::is_directory(directory));
}
